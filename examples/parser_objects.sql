-- Parser objects: one parser for many texts, with validation against the document's own DTD.

CREATE FUNCTION is_valid_note(source text) RETURNS text LANGUAGE plpgsql AS $$
DECLARE
    parser raw := xmlparser_new_parser();
    document raw;
    result text;
BEGIN
    -- On anyway for a new parser. An invalid document still parses: validity errors are a WARNING.
    PERFORM xmlparser_set_validation_mode(parser, true);
    PERFORM xmlparser_parse_buffer(parser, source);
    document := xmlparser_get_doc(parser);
    result := xml_dom_get_tagname(xml_dom_get_document_element(document));
    PERFORM xmlparser_free_parser(parser);
    -- The document was handed over: it outlives its parser.
    PERFORM xml_dom_free_document(document);
    RETURN result;
END
$$;

SELECT is_valid_note('<!DOCTYPE note [<!ELEMENT note (#PCDATA)>]><note>well</note>') AS valid;
SELECT is_valid_note('<!DOCTYPE note [<!ELEMENT note EMPTY>]><note>not so well</note>') AS invalid;

CREATE FUNCTION parse_all(sources text[]) RETURNS SETOF text LANGUAGE plpgsql AS $$
DECLARE
    parser raw := xmlparser_new_parser();
    document raw;
    source text;
BEGIN
    FOREACH source IN ARRAY sources LOOP
        PERFORM xmlparser_parse_clob(parser, source);
        document := xmlparser_get_doc(parser);
        IF document IS NULL THEN
            -- A WARNING has said why; the parser is as good as new.
            RETURN NEXT 'not well-formed';
        ELSE
            RETURN NEXT xml_dom_get_tagname(xml_dom_get_document_element(document));
            PERFORM xml_dom_free_document(document);
        END IF;
    END LOOP;
    PERFORM xmlparser_free_parser(parser);
END
$$;

SELECT * FROM parse_all(ARRAY['<a/>', '<b>', '<c/>']);
SELECT xml_dom_get_session_tree_num() AS handles;
