-- Parser objects.

CREATE FUNCTION xmlparser_new_parser() RETURNS raw
    AS 'MODULE_PATHNAME', 'xmlparser_new_parser' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmlparser_new_parser() IS
    'handle of a new parser, which validates';

CREATE FUNCTION xmlparser_parse_clob(parser raw, document text) RETURNS void
    AS 'MODULE_PATHNAME', 'xmlparser_parse_clob' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmlparser_parse_clob(raw, text) IS
    'parses a text and keeps the document; a text that does not parse raises a warning, and there is no document';

CREATE FUNCTION xmlparser_parse_buffer(parser raw, document text) RETURNS void
    AS 'MODULE_PATHNAME', 'xmlparser_parse_buffer' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmlparser_parse_buffer(raw, text) IS
    'the same for a text of at most 32767 bytes';

CREATE FUNCTION xmlparser_get_doc(parser raw) RETURNS raw
    AS 'MODULE_PATHNAME', 'xmlparser_get_doc' LANGUAGE C VOLATILE STRICT PARALLEL UNSAFE;
COMMENT ON FUNCTION xmlparser_get_doc(raw) IS
    'the document parsed last as a document handle, null when there is none';

CREATE FUNCTION xmlparser_set_validation_mode(parser raw, validate boolean) RETURNS void
    AS 'MODULE_PATHNAME', 'xmlparser_set_validation_mode' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmlparser_set_validation_mode(raw, boolean) IS
    'whether later parses check documents against their document type; null means no';

CREATE FUNCTION xmlparser_get_validation_mode(parser raw) RETURNS boolean
    AS 'MODULE_PATHNAME', 'xmlparser_get_validation_mode' LANGUAGE C VOLATILE STRICT PARALLEL UNSAFE;
COMMENT ON FUNCTION xmlparser_get_validation_mode(raw) IS
    'whether parses check documents against their document type';

CREATE FUNCTION xmlparser_free_parser(parser raw) RETURNS void
    AS 'MODULE_PATHNAME', 'xmlparser_free_parser' LANGUAGE C VOLATILE STRICT PARALLEL UNSAFE;
COMMENT ON FUNCTION xmlparser_free_parser(raw) IS
    'frees the parser; documents it has handed over stay';
