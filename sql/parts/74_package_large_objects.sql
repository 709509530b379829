-- The packages, large objects: documents read from and written to PostgreSQL's large objects

-- Large objects.

CREATE FUNCTION xmlparser.parse(parser xmlparser.parser, large_object oid) RETURNS xmlparser.parser
    AS 'MODULE_PATHNAME', 'xmlparser_parse_large_object_returning' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmlparser.parse(xmlparser.parser, oid) IS
    'parses a large object and keeps the document; a text that does not parse raises a warning, and there is no document; returns the parser';
CREATE FUNCTION xmldom.write_to_large_object(document xmldom.document) RETURNS oid
    AS 'MODULE_PATHNAME', 'xml_dom_write_to_large_object_doc' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.write_to_large_object(xmldom.document) IS
    'new large object with the document as text, with declaration and indentation';
CREATE FUNCTION xmldom.write_to_large_object(node xmldom.node) RETURNS oid
    AS 'MODULE_PATHNAME', 'xml_dom_write_to_large_object_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.write_to_large_object(xmldom.node) IS
    'new large object with a node and all below it as text; of an attribute the value';
CREATE FUNCTION xmldom.write_to_clob(document xmldom.document, large_object oid) RETURNS oid
    AS 'MODULE_PATHNAME', 'xml_dom_write_to_large_object_doc' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.write_to_clob(xmldom.document, oid) IS
    'writes the document into a large object, in place of what that held, 0 for a new one; returns the large object';
CREATE FUNCTION xmldom.write_to_clob(node xmldom.node, large_object oid) RETURNS oid
    AS 'MODULE_PATHNAME', 'xml_dom_write_to_large_object_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.write_to_clob(xmldom.node, oid) IS
    'the same for a node and all below it; of an attribute the value';
