-- Documents: made from text and from XML values, written as text, released.
\set VERBOSITY default
\pset null '(null)'
\pset format unaligned

-- A document in, a document out; blanks between elements are dropped, the text is indented.
SELECT xml_dom_write_to_buffer_doc(xml_dom_new_document_clob('<a>
    <b c="1"/>   <d>text &lt; &#228;</d></a>'));
SELECT xml_dom_write_to_clob_doc(xml_dom_new_document_clob('<a><b/></a>'));
SELECT xml_dom_write_to_buffer_doc(xml_dom_new_document_empty());
SELECT xml_dom_write_to_buffer_doc(xml_dom_new_document_clob(
    '<?xml version="1.0" encoding="ISO-8859-1" standalone="yes"?><!DOCTYPE a [<!ENTITY e "ent">]><a>&e;</a>'));

-- XML values are read as they are stored.
SELECT xml_dom_write_to_buffer_doc(xml_dom_new_document_xmltype('<a>€</a>'::xml));
SELECT xml_dom_write_to_buffer_doc(xml_dom_new_document_xmltype(
    '<?xml version="1.0" encoding="latin1"?><a b="ä"/>'::xml));
\set VERBOSITY terse
SELECT xml_dom_new_document_xmltype('just text'::xml);
\set VERBOSITY default

-- Nulls.
SELECT xml_dom_new_document_clob(NULL);
SELECT xml_dom_new_document_xmltype(NULL);
SELECT xml_dom_write_to_buffer_doc(NULL), xml_dom_write_to_clob_doc(NULL),
       xml_dom_write_to_buffer_node(NULL), xml_dom_write_to_clob_node(NULL);
SELECT xml_dom_free_document(NULL);

-- Texts that are no documents: the words of the parser and the place are in CONTEXT.
SELECT xml_dom_new_document_clob('<a>
<b>
  </a>');
CREATE FUNCTION pg_temp.refused(document text) RETURNS text LANGUAGE plpgsql AS $$
DECLARE
    context text;
BEGIN
    RETURN xml_dom_new_document_clob(document);
EXCEPTION WHEN OTHERS THEN
    GET STACKED DIAGNOSTICS context = PG_EXCEPTION_CONTEXT;
    RETURN concat_ws(' | ', SQLSTATE, SQLERRM,
                     regexp_replace(split_part(context, E'\n', 1), 'column \d+', 'column N'));
END $$;
SELECT pg_temp.refused(text)
    FROM (VALUES (''), ('text'), ('<a/>junk'), (E'<a>\n&nowhere;</a>'), ('<a')) AS v(text);
SET pkg_dbe_xml.max_depth = 3;
SELECT pg_temp.refused('<a><b><c/></b></a>') ~ '^.x[0-9a-f]{26}$' AS accepted;
SELECT pg_temp.refused('<a><b><c><d/></c></b></a>');
RESET pkg_dbe_xml.max_depth;
DO $$
DECLARE
    state text;
    message text;
    detail text;
    hint text;
    context text;
BEGIN
    PERFORM xml_dom_new_document_clob('<a b=1/>');
EXCEPTION WHEN OTHERS THEN
    GET STACKED DIAGNOSTICS state = RETURNED_SQLSTATE, message = MESSAGE_TEXT,
        detail = PG_EXCEPTION_DETAIL, hint = PG_EXCEPTION_HINT, context = PG_EXCEPTION_CONTEXT;
    RAISE NOTICE '% | % | % | % | %', state, message, detail, hint, split_part(context, E'\n', 1);
END $$;

-- Nothing outside the text is read.
SELECT xml_dom_write_to_buffer_doc(xml_dom_new_document_clob(
    '<!DOCTYPE a SYSTEM "/etc/passwd" [<!ENTITY e SYSTEM "file:///etc/passwd">]><a>[&e;]</a>'));

-- Handles that name no document.
SELECT xml_dom_write_to_buffer_doc('\x01'::raw);
SELECT xml_dom_write_to_clob_doc('\x00000000000000000000000001'::raw);
SELECT xml_dom_free_document('\x00'::raw);
SELECT xml_dom_free_document('\x77777777000000007777777701'::raw);

-- Handles in variables, in tables, in records.
DO $$
DECLARE
    document raw := xml_dom_new_document_clob('<r><i n="1">one</i><i n="2"/></r>');
    root raw := xml_dom_get_document_element(document);
    item raw := xml_dom_get_first_child(root);
    pair record;
BEGIN
    RAISE NOTICE '%', xml_dom_write_to_buffer_node(item);
    RAISE NOTICE '%', xml_dom_write_to_clob_node(xml_dom_get_first_child(item));
    RAISE NOTICE '%', xml_dom_write_to_buffer_node(xml_dom_get_attribute_node(
        xml_dom_make_element(item), 'n'));
    SELECT document AS document, item AS item INTO pair;
    RAISE NOTICE '%', xml_dom_write_to_clob_doc(pair.document);
    PERFORM xml_dom_write_to_buffer_doc(item);
EXCEPTION WHEN OTHERS THEN
    RAISE NOTICE '% %', SQLSTATE, SQLERRM;
END $$;
CREATE TEMP TABLE kept (name text, document raw);
INSERT INTO kept VALUES ('first', xml_dom_new_document_clob('<first/>')),
    ('second', xml_dom_new_document_clob('<?xml version="1.0" encoding="UTF-8"?><second x="ä"/>'));
SELECT name, xml_dom_write_to_buffer_doc(document) FROM kept ORDER BY name;
SELECT name, xml_dom_write_to_buffer_node(xml_dom_get_document_element(document)) FROM kept
    ORDER BY name;

-- Released, they are unknown; releasing again does nothing.
SELECT xml_dom_free_document(document) FROM kept;
SELECT xml_dom_write_to_buffer_doc(document) FROM kept WHERE name = 'first';
SELECT xml_dom_free_document(document) FROM kept;

-- Nodes that are not written, and empty ones.
DO $$
DECLARE
    document raw := xml_dom_new_document_clob('<r e=""><!--c--><?p?><![CDATA[x]]></r>');
    node raw := xml_dom_get_first_child(xml_dom_get_document_element(document));
BEGIN
    WHILE node IS NOT NULL LOOP
        BEGIN
            PERFORM xml_dom_write_to_buffer_node(node);
        EXCEPTION WHEN OTHERS THEN
            RAISE NOTICE '% %', SQLSTATE, SQLERRM;
        END;
        BEGIN
            PERFORM xml_dom_write_to_clob_node(node);
        EXCEPTION WHEN OTHERS THEN
            RAISE NOTICE '% %', SQLSTATE, SQLERRM;
        END;
        node := xml_dom_get_next_sibling(node);
    END LOOP;
    RAISE NOTICE '%, %',
        xml_dom_write_to_buffer_node(xml_dom_get_attribute_node(
            xml_dom_get_document_element(document), 'e')) IS NULL,
        xml_dom_write_to_clob_node(xml_dom_create_text_node(document, '')) IS NULL;
END $$;

-- Long documents come out as they went in.
WITH source AS (
    SELECT '<list>' || string_agg(format('<item n="%s">text &amp; ü %s</item>', i, i), '' ORDER BY i)
               || '</list>' AS text
    FROM generate_series(1, 20000) AS i
), document AS MATERIALIZED (
    SELECT text, xml_dom_new_document_clob(text) AS handle FROM source
)
SELECT length(text) AS length,
       replace(replace(xml_dom_write_to_buffer_doc(handle), E'\n  ', ''), E'\n', '')
           = '<?xml version="1.0" encoding="UTF-8"?>' || text AS same,
       xml_dom_write_to_buffer_doc(handle) = xml_dom_write_to_clob_doc(handle) AS both
FROM document;

-- A text that is compressed and kept out of line.
CREATE TABLE texts (t text, x xml);
INSERT INTO texts
    SELECT '<a>' || repeat('<b>some text</b>', 10000) || '</a>',
        ('<a>' || repeat('<b>some text</b>', 10000) || '</a>')::xml;
SELECT length(xml_dom_write_to_buffer_doc(xml_dom_new_document_clob(t))),
       length(xml_dom_write_to_buffer_doc(xml_dom_new_document_xmltype(x))) FROM texts;
DROP TABLE texts;

-- Entity bombs end at the limit of memory for one parse.
\set VERBOSITY terse
SELECT xml_dom_new_document_clob('<!DOCTYPE a [<!ENTITY e0 "xxxxxxxxxxxxxxxx">'
    || string_agg(format('<!ENTITY e%s "%s">', i, repeat(format('&e%s;', i - 1), 20)), '' ORDER BY i)
    || ']><a>&e9;</a>') FROM generate_series(1, 9) AS i;
