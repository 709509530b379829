-- What an administrator sees of the memory behind the documents of a session.
\set VERBOSITY default
SELECT * FROM pkg_dbe_xml_memory WHERE document IS NOT NULL;
CREATE TEMPORARY TABLE held (name text, document raw);
INSERT INTO held VALUES ('small', xml_dom_new_document_clob('<a/>')),
    ('large', xml_dom_new_document_clob('<a>' || repeat('<b c="d">some text</b>', 1000) || '</a>'));
SELECT name, nodes, bytes BETWEEN 100 AND 2000 AS small, bytes BETWEEN 300000 AND 700000 AS large
    FROM held JOIN pkg_dbe_xml_memory USING (document) ORDER BY name;
SELECT bytes >= (SELECT sum(bytes) FROM pkg_dbe_xml_memory WHERE document IS NOT NULL) * 0.9 AS all_of_it,
    nodes FROM pkg_dbe_xml_memory WHERE document IS NULL;
SELECT xml_dom_free_document(document) FROM held;
SELECT document, nodes, bytes < 50000 AS little FROM pkg_dbe_xml_memory;
SELECT xml_dom_get_memory_info() ~ '^all 0 [0-9]+$' AS as_text;
-- Everybody sees the memory of his own session.
CREATE ROLE pkg_dbe_xml_reader;
SET ROLE pkg_dbe_xml_reader;
SELECT count(*) FROM pkg_dbe_xml_memory;
RESET ROLE;
DROP ROLE pkg_dbe_xml_reader;

-- Document by document: when it was made, with what it ends, and its memory, handles included.
SELECT xmldom.free_all() IS NOT NULL AS freed;
SELECT * FROM xmldom.documents;
SET pkg_dbe_xml.lifetime = 'transaction';
BEGIN;
CREATE TEMPORARY TABLE lived ON COMMIT DROP AS
    SELECT 'small' AS name, xmldom.parse('<a/>') AS document;
SET LOCAL pkg_dbe_xml.lifetime = 'session';
INSERT INTO lived VALUES ('large', xmldom.parse('<a>' || repeat('<b/>', 10000) || '</a>'));
SELECT name, lifetime, nodes, bytes BETWEEN 500 AND 2000000 AS likely,
    made BETWEEN now() - interval '1 second' AND clock_timestamp() + interval '1 second' AS just_now
    FROM lived JOIN xmldom.documents ON lived.document::raw = documents.document::raw ORDER BY name;
SELECT bytes AS before FROM xmldom.documents WHERE lifetime = 'transaction' \gset
SELECT count(xml_dom_get_document_element(document::raw)) FROM lived, generate_series(1, 1000) WHERE name = 'small';
SELECT bytes - :before >= 1000 * 48 AS handles_count FROM xmldom.documents WHERE lifetime = 'transaction';
COMMIT;
SELECT lifetime, nodes FROM xmldom.documents;
RESET pkg_dbe_xml.lifetime;
SELECT xmldom.free_all();
SELECT * FROM xmldom.sessions;
