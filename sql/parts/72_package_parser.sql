-- The package xmlparser: parser objects

CREATE FUNCTION xmlparser.new_parser() RETURNS xmlparser.parser
    AS 'MODULE_PATHNAME', 'xmlparser_new_parser' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmlparser.new_parser() IS
    'new parser, which validates';
CREATE FUNCTION xmlparser.parse(parser xmlparser.parser, document text) RETURNS xmlparser.parser
    AS 'MODULE_PATHNAME', 'xmlparser_parse_clob_returning' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmlparser.parse(xmlparser.parser, text) IS
    'parses a text and keeps the document; a text that does not parse raises a warning, and there is no document; returns the parser';
CREATE FUNCTION xmlparser.parse_buffer(parser xmlparser.parser, document text) RETURNS xmlparser.parser
    AS 'MODULE_PATHNAME', 'xmlparser_parse_buffer_returning' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmlparser.parse_buffer(xmlparser.parser, text) IS
    'the same for a text of at most 32767 bytes';
CREATE FUNCTION xmlparser.get_document(parser xmlparser.parser) RETURNS xmldom.document
    AS 'MODULE_PATHNAME', 'xmlparser_get_doc' LANGUAGE C VOLATILE STRICT PARALLEL UNSAFE;
COMMENT ON FUNCTION xmlparser.get_document(xmlparser.parser) IS
    'the document parsed last, null when there is none; it outlives the parser';
CREATE FUNCTION xmlparser.get_complaints(parser xmlparser.parser) RETURNS TABLE (line integer, level text, message text)
    AS 'MODULE_PATHNAME', 'xmlparser_get_complaints' LANGUAGE C VOLATILE PARALLEL UNSAFE ROWS 10;
COMMENT ON FUNCTION xmlparser.get_complaints(xmlparser.parser) IS
    'what the last parse complained of, in the order of the text: warning, error where the document is not valid, fatal where it is none; up to 1000 complaints are kept until the next parse';
CREATE FUNCTION xmlparser.set_validation_mode(parser xmlparser.parser, validate boolean) RETURNS xmlparser.parser
    AS 'MODULE_PATHNAME', 'xmlparser_set_validation_mode_returning' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmlparser.set_validation_mode(xmlparser.parser, boolean) IS
    'whether later parses check documents against their document type; null means no; returns the parser';
CREATE FUNCTION xmlparser.get_validation_mode(parser xmlparser.parser) RETURNS boolean
    AS 'MODULE_PATHNAME', 'xmlparser_get_validation_mode' LANGUAGE C VOLATILE STRICT PARALLEL UNSAFE;
COMMENT ON FUNCTION xmlparser.get_validation_mode(xmlparser.parser) IS
    'whether parses check documents against their document type';
CREATE FUNCTION xmlparser.free_parser(parser xmlparser.parser) RETURNS xmlparser.parser
    AS 'MODULE_PATHNAME', 'xmlparser_free_parser_returning' LANGUAGE C VOLATILE STRICT PARALLEL UNSAFE;
COMMENT ON FUNCTION xmlparser.free_parser(xmlparser.parser) IS
    'frees the parser, documents it has handed over stay; returns null';
