-- Parser objects.
\set VERBOSITY default
\pset null '(null)'

-- Parsers are numbered; the number and nine zeros are the handle.
SELECT xmlparser_new_parser() AS parser \gset
SELECT :'parser' AS parser;
SELECT xmlparser_new_parser() AS second \gset
SELECT :'second' AS second;
SELECT length(xmlparser_new_parser()::bytea) AS bytes;

-- Empty, holding, handed over.
SELECT xmlparser_get_doc(:'parser');
SELECT xmlparser_parse_clob(:'parser', '<a><b c="d"/> </a>');
SELECT xmlparser_get_doc(:'parser') AS document \gset
SELECT xml_dom_write_to_buffer_doc(:'document');
SELECT xmlparser_parse_buffer(:'parser', '<other/>');
SELECT xmlparser_get_doc(:'parser') AS other \gset
SELECT xml_dom_write_to_buffer_doc(:'document'), xml_dom_write_to_buffer_doc(:'other');

-- Asked twice, two handles name one tree, until the last of them is released.
SELECT xmlparser_get_doc(:'parser') AS again \gset
SELECT :'other'::raw = :'again'::raw AS same_handle;
SELECT xml_dom_set_attribute(xml_dom_get_document_element(:'other'), 'set', 'by the other');
SELECT xml_dom_write_to_buffer_doc(:'again');
SELECT xml_dom_free_document(:'other');
SELECT xml_dom_write_to_buffer_doc(:'again');
SELECT xml_dom_free_document(:'again');
SELECT xmlparser_get_doc(:'parser');

-- Nulls.
SELECT xmlparser_parse_clob(NULL, NULL);
SELECT xmlparser_parse_clob(:'parser', NULL);
SELECT xmlparser_parse_clob(NULL, '<a/>');
SELECT xmlparser_parse_buffer(NULL, NULL);
SELECT xmlparser_parse_buffer(:'parser', NULL);
SELECT xmlparser_get_doc(NULL);
SELECT xmlparser_get_validation_mode(NULL);
SELECT xmlparser_set_validation_mode(NULL, true);
SELECT xmlparser_free_parser(NULL);

-- Bounds.
SELECT xmlparser_parse_buffer(:'parser', '<a>' || repeat('x', 32767 - 7) || '</a>');
SELECT length(xml_dom_write_to_clob_doc(xmlparser_get_doc(:'parser'))) > 32767 AS parsed;
SELECT xmlparser_parse_buffer(:'parser', '<a>' || repeat('x', 32768 - 7) || '</a>');
CREATE TEMPORARY TABLE stored (short text, compressed text, outside text);
ALTER TABLE stored ALTER COLUMN outside SET STORAGE external;
INSERT INTO stored VALUES ('<short/>', '<compressed>' || repeat('x', 20000) || '</compressed>',
                           '<outside>' || repeat('x', 20000) || '</outside>');
SELECT xmlparser_parse_buffer(:'parser', short) FROM stored;
SELECT xml_dom_get_tagname(xml_dom_get_document_element(xmlparser_get_doc(:'parser')));
SELECT xmlparser_parse_buffer(:'parser', compressed) FROM stored;
SELECT xml_dom_get_tagname(xml_dom_get_document_element(xmlparser_get_doc(:'parser')));
SELECT xmlparser_parse_clob(:'parser', outside) FROM stored;
SELECT xml_dom_get_tagname(xml_dom_get_document_element(xmlparser_get_doc(:'parser')));
UPDATE stored SET compressed = repeat('x', 100000);
SELECT xmlparser_parse_buffer(:'parser', compressed) FROM stored;

-- Validation: the document comes back all the same, and the user is told.
SELECT xmlparser_get_validation_mode(:'parser');
SELECT xmlparser_parse_clob(:'parser', '<!DOCTYPE a [<!ELEMENT a (b)><!ELEMENT b EMPTY>]>
<a>
  <c/>
  <d/></a>');
SELECT xmlparser_get_doc(:'parser') IS NOT NULL AS has_document;
SELECT xmlparser_parse_clob(:'parser', '<!DOCTYPE a [<!ELEMENT a EMPTY>]><a> </a>');
SELECT xmlparser_parse_clob(:'parser', '<!DOCTYPE a [<!ELEMENT a EMPTY>]><a/>');
SELECT xmlparser_parse_clob(:'parser', '<a><without_a_doctype/></a>');
SELECT xmlparser_set_validation_mode(:'parser', false);
SELECT xmlparser_get_validation_mode(:'parser');
SELECT xmlparser_parse_clob(:'parser', '<!DOCTYPE a [<!ELEMENT a EMPTY>]><a> </a>');
SELECT xmlparser_set_validation_mode(:'parser', true);
SELECT xmlparser_get_validation_mode(:'parser');
SELECT xmlparser_set_validation_mode(:'parser', NULL);
SELECT xmlparser_get_validation_mode(:'parser');

-- Texts that do not parse leave the parser empty, and say why.
SELECT xmlparser_parse_clob(:'parser', '<a>
  <b></a>');
SELECT xmlparser_get_doc(:'parser');
SELECT xmlparser_parse_clob(:'parser', '');
SET client_min_messages = error;
SELECT xmlparser_parse_clob(:'parser', 'no xml');
RESET client_min_messages;
SET pkg_dbe_xml.max_depth = 3;
SELECT xmlparser_parse_clob(:'parser', '<a><b><c/></b></a>');
SELECT xmlparser_get_doc(:'parser') IS NOT NULL AS has_document;
SELECT xmlparser_parse_clob(:'parser', '<a><b><c><d/></c></b></a>');
SELECT xmlparser_get_doc(:'parser');
RESET pkg_dbe_xml.max_depth;

-- Parsers keep blank texts and add default attributes.
SELECT xmlparser_parse_clob(:'parser', '<!DOCTYPE a [<!ATTLIST a b CDATA "default">]><a> <c/> </a>');
SELECT xml_dom_write_to_buffer_node(xml_dom_get_document_element(xmlparser_get_doc(:'parser')));

-- Freed: unknown to all but the one that frees.
SELECT xmlparser_free_parser(:'parser');
SELECT xmlparser_free_parser(:'parser');
SELECT xml_dom_write_to_buffer_doc(:'document');
SELECT xmlparser_get_doc(:'parser');
SELECT xmlparser_parse_clob(:'parser', '<a/>');
SELECT xmlparser_parse_buffer(:'parser', '<a/>');
SELECT xmlparser_set_validation_mode(:'parser', true);
SELECT xmlparser_get_validation_mode(:'parser');
SELECT xmlparser_get_doc('\x00112233');

-- In PL/pgSQL, and across a rolled-back subtransaction.
DO $$
DECLARE
    p raw := xmlparser_new_parser();
    d raw;
BEGIN
    BEGIN
        PERFORM xmlparser_parse_clob(p, '<kept/>');
        PERFORM xmlparser_parse_buffer(p, repeat('x', 40000));
    EXCEPTION WHEN invalid_parameter_value THEN
        RAISE NOTICE '%: %', sqlstate, sqlerrm;
    END;
    d := xmlparser_get_doc(p);
    RAISE NOTICE '%', xml_dom_write_to_buffer_doc(d);
    PERFORM xmlparser_free_parser(p);
    PERFORM xml_dom_free_document(d);
END
$$;

-- What a parse complained of, for programs.
DO $$
DECLARE
    p xmlparser.parser := xmlparser.parse(xmlparser.new_parser(), E'<!DOCTYPE a [<!ELEMENT a (b)><!ELEMENT b EMPTY>]>\n<a>\n<c/></a>');
    found record;
BEGIN
    FOR found IN SELECT * FROM xmlparser.get_complaints(p) LOOP
        RAISE NOTICE '%: %: %', found.line, found.level, found.message;
    END LOOP;
    PERFORM xmlparser.parse(p, E'<a>\n<b></a>');
    RAISE NOTICE '%', (SELECT (line, level) FROM xmlparser.get_complaints(p) LIMIT 1);
    PERFORM xmlparser.parse(p, '<a/>');
    RAISE NOTICE '% complaints', (SELECT count(*) FROM xmlparser.get_complaints(p));
    PERFORM xmlparser.free_parser(p);
    PERFORM xmlparser.get_complaints(p);
EXCEPTION WHEN no_data_found OR SQLSTATE '2200U' OR SQLSTATE '2200X' THEN
    RAISE NOTICE '%: %', sqlstate, sqlerrm;
END $$;
SELECT count(*) FROM xmlparser.get_complaints(null);
