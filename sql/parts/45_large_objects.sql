-- Large objects: CLOBs of any size as PostgreSQL's large objects. Their bytes are text in the
-- encoding of the database; who may read and write them is the server's affair.

CREATE FUNCTION xml_dom_new_document_clob(large_object oid) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_new_document_large_object' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_new_document_clob(oid) IS
    'handle of a new document parsed from a large object of at most 2147483647 bytes';

CREATE FUNCTION xmlparser_parse_clob(parser raw, large_object oid) RETURNS void
    AS 'MODULE_PATHNAME', 'xmlparser_parse_large_object' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmlparser_parse_clob(raw, oid) IS
    'parses a large object of at most 2147483647 bytes and keeps the document; a text that does not parse raises a warning, and there is no document';

CREATE FUNCTION xml_dom_write_to_clob_doc(document raw, large_object oid) RETURNS oid
    AS 'MODULE_PATHNAME', 'xml_dom_write_to_large_object_doc' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_write_to_clob_doc(raw, oid) IS
    'writes the document as indented text of at most 2147483647 bytes into a large object, in place of what that held, 0 for a new one; the large object';

CREATE FUNCTION xml_dom_write_to_clob_node(node raw, large_object oid) RETURNS oid
    AS 'MODULE_PATHNAME', 'xml_dom_write_to_large_object_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_write_to_clob_node(raw, oid) IS
    'writes an element, text or document as indented text of at most 2147483647 bytes, or the value of an attribute, into a large object, in place of what that held, 0 for a new one; the large object';
