-- Parser objects: one parser for many texts, with validation against the document's own DTD.

CREATE FUNCTION is_valid_note(source text) RETURNS text LANGUAGE plpgsql AS $$
DECLARE
    parser xmlparser.parser := xmlparser.new_parser();
    doc xmldom.document;
    result text;
BEGIN
    -- On anyway for a new parser. An invalid document still parses: validity errors are a WARNING.
    parser := xmlparser.set_validation_mode(parser, true);
    doc := xmlparser.get_document(xmlparser.parse(parser, source));
    result := xmldom.get_tag_name(xmldom.get_document_element(doc));
    parser := xmlparser.free_parser(parser);
    -- The document was handed over: it outlives its parser.
    doc := xmldom.free_document(doc);
    RETURN result;
END
$$;

SELECT is_valid_note('<!DOCTYPE note [<!ELEMENT note (#PCDATA)>]><note>well</note>') AS valid;
SELECT is_valid_note('<!DOCTYPE note [<!ELEMENT note EMPTY>]><note>not so well</note>') AS invalid;

CREATE FUNCTION parse_all(sources text[]) RETURNS SETOF text LANGUAGE plpgsql AS $$
DECLARE
    parser xmlparser.parser := xmlparser.new_parser();
    doc xmldom.document;
    source text;
BEGIN
    FOREACH source IN ARRAY sources LOOP
        doc := xmlparser.get_document(xmlparser.parse(parser, source));
        IF doc IS NULL THEN
            -- A WARNING has said why; the parser is as good as new.
            RETURN NEXT 'not well-formed';
        ELSE
            RETURN NEXT xmldom.get_tag_name(xmldom.get_document_element(doc));
            doc := xmldom.free_document(doc);
        END IF;
    END LOOP;
    parser := xmlparser.free_parser(parser);
END
$$;

SELECT * FROM parse_all(ARRAY['<a/>', '<b>', '<c/>']);
SELECT documents, handles FROM xmldom.session;
