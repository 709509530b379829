-- Large objects as CLOBs: documents read from them and written into them.
\set VERBOSITY default
\pset null '(null)'
\pset format unaligned
CREATE FUNCTION pg_temp.held(large_object oid) RETURNS text LANGUAGE sql AS
    $$ SELECT convert_from(lo_get(large_object), 'UTF8') $$;

-- The size of a piece can be set where it was set before the first call.
SET pkg_dbe_xml.large_object_piece = 1048576;

-- Read.
SELECT lo_from_bytea(0, convert_to('<a> <b c="€">text</b> </a>', 'UTF8')) AS source \gset
SELECT xml_dom_write_to_buffer_doc(xml_dom_new_document_clob(:source)) AS document;
SELECT xmldom.get_node_name(xmldom.get_document_element(xmldom.parse(:source))) AS root;
SELECT xmlparser_new_parser() AS parser \gset
SELECT xmlparser_parse_clob(:'parser', :source);
SELECT xml_dom_write_to_buffer_doc(xmlparser_get_doc(:'parser')) AS document;
SELECT xmldom.write_to_buffer(xmlparser.get_document(xmlparser.parse(xmlparser.new_parser(), :source))) AS document;

-- Written: into a new one, and into one that there is, in place of what it held.
SELECT xml_dom_new_document_clob('<a b="1">text<c/></a>') AS document \gset
SELECT xml_dom_get_document_element(:'document') AS root \gset
SELECT xml_dom_write_to_clob_doc(:'document', 0) AS target \gset
SELECT pg_temp.held(:target);
SELECT xml_dom_write_to_clob_node(:'root', :target) = :target AS same;
SELECT pg_temp.held(:target);
SELECT lo_put(:target, 0, convert_to(repeat('old ', 3000), 'UTF8'));
SELECT xml_dom_write_to_clob_node(xml_dom_get_attribute_node(:'root', 'b'), :target) = :target AS same;
SELECT pg_temp.held(:target);
SELECT xml_dom_write_to_clob_doc(:'document', :target) = :target AS same;
SELECT pg_temp.held(:target) = xml_dom_write_to_clob_doc(:'document') AS as_the_text;

-- In the packages.
SELECT xmldom.write_to_large_object(:'document'::raw::xmldom.document) AS target \gset
SELECT pg_temp.held(:target);
SELECT xmldom.write_to_large_object(xmldom.get_document_element(:'document'::raw::xmldom.document)) AS other \gset
SELECT pg_temp.held(:other);
SELECT xmldom.write_to_clob(:'document'::raw::xmldom.document, :other) = :other AS same;
SELECT xmldom.write_to_clob(xmldom.get_document_element(:'document'::raw::xmldom.document), 0) AS third \gset
SELECT pg_temp.held(:other) = pg_temp.held(:target) AS same, pg_temp.held(:third);

-- What is null as a text is an empty large object.
SELECT xml_dom_write_to_clob_node(xml_dom_create_text_node(:'document', '')) AS text;
SELECT xml_dom_write_to_clob_node(xml_dom_create_text_node(:'document', ''), :other) = :other AS same;
SELECT length(lo_get(:other));

-- Nulls.
SELECT xml_dom_new_document_clob(NULL::oid);
SELECT xmldom.parse(NULL::oid);
SELECT xmlparser_parse_clob(:'parser', NULL::oid);
SELECT xmlparser_parse_clob(NULL, :source);
SELECT xml_dom_write_to_clob_doc(NULL, :target), xml_dom_write_to_clob_node(NULL, 0),
       xmldom.write_to_large_object(NULL::xmldom.document), xmldom.write_to_clob(NULL::xmldom.node, 0);
SELECT xml_dom_write_to_clob_doc(:'document', NULL);

-- Texts are still texts: literals, nulls, parameters, and all that becomes a text by itself.
SELECT pg_typeof(xml_dom_new_document_clob('<a/>')), pg_typeof(xmldom.parse('<a/>')),
       pg_typeof(xmldom.parse('<a/>'::xml));
SELECT count(xml_dom_new_document_clob(text)) FROM (VALUES ('<a/>')) AS v(text);
SELECT count(xml_dom_new_document_clob(text::varchar)), count(xml_dom_new_document_clob(text::name)),
       count(xml_dom_new_document_clob(text::char(4))), count(xmldom.parse(text::varchar))
    FROM (VALUES ('<a/>')) AS v(text);
SELECT xmlparser_parse_clob(:'parser', '<a/>'), xmlparser_parse_clob(NULL, '<a/>');
SELECT count(xmlparser.parse(xmlparser.new_parser(), '<a/>'));
\set VERBOSITY terse
SELECT xml_dom_new_document_clob(NULL);
SELECT xmldom.parse(NULL);
SELECT xmlparser_parse_clob(:'parser', NULL);
SELECT xml_dom_new_document_clob('17');
PREPARE parse_clob AS SELECT xml_dom_new_document_clob($1);
PREPARE parse AS SELECT xmldom.parse($1);
PREPARE parser_clob AS SELECT xmlparser_parse_clob($1, $2);
SELECT name, parameter_types FROM pg_prepared_statements ORDER BY name;
DEALLOCATE ALL;
-- Numbers are not.
SELECT count(xml_dom_new_document_clob(:source)), count(xml_dom_new_document_clob(:source::bigint)),
       count(xml_dom_new_document_clob(:'source'::oid));

-- Large objects that there are not, and what is no document.
SELECT xml_dom_new_document_clob(0::oid);
SELECT xml_dom_write_to_clob_doc(:'document', 1);
SELECT xml_dom_write_to_clob_doc(:'root', 0);
SELECT xml_dom_write_to_clob_node(xml_dom_get_first_child(
    xml_dom_get_document_element(xml_dom_new_document_clob('<a><!-- c --></a>'))), 0);
SELECT lo_from_bytea(0, convert_to('<a>', 'UTF8')) AS bad \gset
SELECT xml_dom_new_document_clob(:bad);
SELECT xmlparser_parse_clob(:'parser', :bad);
SELECT xmlparser_get_doc(:'parser') IS NULL AS empty;
SELECT lo_put(:bad, 0, '\x3c613eff3c2f613e') \g /dev/null
SELECT xml_dom_new_document_clob(:bad);
SELECT lo_put(:bad, 0, '\x3c613e003c2f613e') \g /dev/null
SELECT xml_dom_new_document_clob(:bad);

-- A piece at a time, whatever its size: characters of several bytes are cut.
SELECT lo_from_bytea(0, convert_to('<a>é€𝄞' || repeat('日本', 2000) || '</a>', 'UTF8')) AS source \gset
SELECT xmldom.parse(:source) AS document \gset
SELECT md5(xmldom.write_to_clob(:'document'::raw::xmldom.document)) AS expected \gset
SET pkg_dbe_xml.large_object_piece = 1;
SELECT md5(xmldom.write_to_clob(xmldom.parse(:source))) = :'expected' AS read;
SET pkg_dbe_xml.large_object_piece = 7;
SELECT md5(xmldom.write_to_clob(xmldom.parse(:source))) = :'expected' AS read;
SELECT xmldom.write_to_clob(:'document'::raw::xmldom.document, :source) = :source AS same;
SELECT md5(lo_get(:source)) = :'expected' AS written;
SHOW pkg_dbe_xml.large_object_piece;
RESET pkg_dbe_xml.large_object_piece;
SELECT count(*) FROM pg_settings WHERE name = 'pkg_dbe_xml.large_object_piece';

-- Nothing stays open: a descriptor opened afterwards is the first.
BEGIN;
SELECT xmldom.write_to_clob(:'document'::raw::xmldom.document, :other) = :other AS same;
SELECT xmldom.get_node_name(xmldom.get_document_element(xmldom.parse(:other))) AS root;
SELECT lo_open(:target, 262144);
COMMIT;

-- The transaction takes them back.
BEGIN;
SAVEPOINT before;
SELECT xmldom.write_to_clob(:'document'::raw::xmldom.document, :target) = :target AS same;
SELECT xmldom.write_to_large_object(:'document'::raw::xmldom.document) AS fresh \gset
ROLLBACK TO before;
SELECT count(*) FROM pg_largeobject_metadata WHERE oid = :fresh;
SELECT md5(pg_temp.held(:target)) = :'expected' AS changed;
COMMIT;
-- A statement reads what was there when it began, as with lo_get.
\set VERBOSITY sqlstate
SELECT xmldom.parse(xmldom.write_to_large_object(xmldom.parse('<a/>')));
SELECT lo_get(lo_from_bytea(0, 'x'));

SELECT count(lo_unlink(oid)) > 0 AS unlinked FROM pg_largeobject_metadata;
SELECT xml_dom_get_session_tree_num() > 0 AS trees, xmldom.free_all() > 0 AS freed;
