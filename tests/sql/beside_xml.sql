-- The server's own xml type uses the same libxml2: neither disturbs the other.
\set VERBOSITY default
CREATE FUNCTION server_xml(text) RETURNS text LANGUAGE plpgsql AS $$
DECLARE detail text;
BEGIN
    RETURN xmlserialize(DOCUMENT xmlparse(DOCUMENT $1) AS text);
EXCEPTION WHEN OTHERS THEN
    GET STACKED DIAGNOSTICS detail = PG_EXCEPTION_DETAIL;
    RETURN sqlerrm || ': ' || split_part(detail, E'\n', 1);
END $$;
CREATE TEMPORARY TABLE texts (number serial, body text);
INSERT INTO texts (body) VALUES ('<a> <b/> </a>'), ('<a><b></a>'), ('<a>&e;</a>'),
    ('<!DOCTYPE a [<!ENTITY e SYSTEM "file:///etc/passwd">]><a>&e;</a>'),
    ('<!DOCTYPE a [<!ELEMENT a (b)>]><a/>');
CREATE TEMPORARY TABLE before AS SELECT number, server_xml(body) AS result FROM texts;
SELECT number, result FROM before WHERE number IN (1, 4, 5) ORDER BY number;
-- Between the two: documents that parse, that do not, and that meet a limit.
DO $$
BEGIN
    FOR i IN 1..3 LOOP
        PERFORM xml_dom_write_to_buffer_doc(xml_dom_new_document_clob(
            '<!DOCTYPE a [<!ELEMENT a (b)>]><a> <c/> </a>'));
        BEGIN
            PERFORM xml_dom_new_document_clob('<a><b></a>');
        EXCEPTION WHEN sqlstate '2200M' THEN NULL;
        END;
        BEGIN
            PERFORM xml_dom_new_document_clob(repeat('<a>', 3000));
        EXCEPTION WHEN sqlstate '2200M' THEN NULL;
        END;
    END LOOP;
END $$;
SELECT number, server_xml(body) AS result FROM texts
    EXCEPT SELECT number, result FROM before ORDER BY number;
SELECT xpath('/a/b/text()', '<a><b>c</b></a>') AS found, xml_is_well_formed('<a>') AS well_formed;
-- And in one statement, either way.
SELECT xml_dom_write_to_buffer_doc(xml_dom_new_document_clob(
    xmlserialize(CONTENT xmlelement(name a, xmlforest(1 AS b, 'c&d' AS e)) AS text)));
SELECT (xpath('/a/b', xml_dom_write_to_buffer_doc(xml_dom_new_document_clob('<a> <b>c</b> </a>'))::xml))[1];
DROP FUNCTION server_xml(text);
