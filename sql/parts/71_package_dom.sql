-- The package xmldom: the methods of the DOM

-- Documents.

CREATE FUNCTION xmldom.set_charset(document xmldom.document, character_set text) RETURNS xmldom.document
    AS 'MODULE_PATHNAME', 'xmldom_set_charset' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_charset(xmldom.document, text) IS
    'sets the character set that the document declares, UTF-8 for null; returns the document';
CREATE FUNCTION xmldom.set_doctype(document xmldom.document, name text, system_id text, public_id text) RETURNS xmldom.document
    AS 'MODULE_PATHNAME', 'xmldom_set_doctype' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_doctype(xmldom.document, text, text, text) IS
    'sets name and identifiers of the document type, which is made if there is none; returns the document';
CREATE FUNCTION xmldom.free_document(document xmldom.document) RETURNS xmldom.document
    AS 'MODULE_PATHNAME', 'xmldom_free_document' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.free_document(xmldom.document) IS
    'releases a document with every handle that belongs to it, and the documents imported into it; returns null';

-- Handles that name nothing.

CREATE FUNCTION xmldom.is_null(node xmldom.node) RETURNS boolean
    AS 'MODULE_PATHNAME', 'xml_dom_is_null' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.is_null(xmldom.node) IS
    'whether the handle is null or names nothing any more';
CREATE FUNCTION xmldom.is_null(list xmldom.node_list) RETURNS boolean
    AS 'MODULE_PATHNAME', 'xml_dom_is_null' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.is_null(xmldom.node_list) IS
    'whether the list is null, released or empty';
CREATE FUNCTION xmldom.is_null(map xmldom.named_node_map) RETURNS boolean
    AS 'MODULE_PATHNAME', 'xml_dom_is_null' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.is_null(xmldom.named_node_map) IS
    'whether the handle is null';

-- Finding elements.

CREATE FUNCTION xmldom.get_children_by_tag_name(element xmldom.node, name text) RETURNS xmldom.node_list
    AS 'MODULE_PATHNAME', 'xmldom_get_children_by_tag_name' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_children_by_tag_name(xmldom.node, text) IS
    'list of the children with that qualified name; * means any';
CREATE FUNCTION xmldom.get_children_by_tag_name_ns(element xmldom.node, name text, namespace_uri text) RETURNS xmldom.node_list
    AS 'MODULE_PATHNAME', 'xmldom_get_children_by_tag_name_ns' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_children_by_tag_name_ns(xmldom.node, text, text) IS
    'list of the children with that local name in that namespace; * means any';

-- Attributes.




-- Writing.

CREATE FUNCTION xmldom.write_to_buffer(document xmldom.document) RETURNS text
    AS 'MODULE_PATHNAME', 'xml_dom_write_to_buffer_doc' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.write_to_buffer(xmldom.document) IS
    'document as a text below 1 GiB, with declaration and indentation';
CREATE FUNCTION xmldom.write_to_buffer(node xmldom.node) RETURNS text
    AS 'MODULE_PATHNAME', 'xml_dom_write_to_buffer_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.write_to_buffer(xmldom.node) IS
    'node with all below it as a text below 1 GiB; of an attribute the value';
CREATE FUNCTION xmldom.write_to_clob(document xmldom.document) RETURNS text
    AS 'MODULE_PATHNAME', 'xml_dom_write_to_clob_doc' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.write_to_clob(xmldom.document) IS
    'document as a CLOB, with declaration and indentation';
CREATE FUNCTION xmldom.write_to_clob(node xmldom.node) RETURNS text
    AS 'MODULE_PATHNAME', 'xml_dom_write_to_clob_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.write_to_clob(xmldom.node) IS
    'node with all below it as a CLOB; of an attribute the value';
CREATE FUNCTION xmldom.write_to_file(document xmldom.document, file text) RETURNS xmldom.document
    AS 'MODULE_PATHNAME', 'xml_dom_write_to_file_doc_returning' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.write_to_file(xmldom.document, text) IS
    'writes a document into DIRECTORY/NAME.xml; returns the document';
CREATE FUNCTION xmldom.write_to_file(document xmldom.document, file text, character_set text) RETURNS xmldom.document
    AS 'MODULE_PATHNAME', 'xml_dom_write_to_file_doc_returning' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.write_to_file(xmldom.document, text, text) IS
    'the same in a character set; returns the document';
CREATE FUNCTION xmldom.write_to_file(node xmldom.node, file text) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xml_dom_write_to_file_node_returning' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.write_to_file(xmldom.node, text) IS
    'writes a node into DIRECTORY/NAME.xml; returns the node';
CREATE FUNCTION xmldom.write_to_file(node xmldom.node, file text, character_set text) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xml_dom_write_to_file_node_returning' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.write_to_file(xmldom.node, text, text) IS
    'the same in a character set; returns the node';

-- Giving handles up.

CREATE FUNCTION xmldom.free_node(node xmldom.node) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xml_dom_free_node_returning' LANGUAGE C VOLATILE STRICT PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.free_node(xmldom.node) IS
    'gives a handle up, the tree stays; returns null';
CREATE FUNCTION xmldom.free_node_list(list xmldom.node_list) RETURNS xmldom.node_list
    AS 'MODULE_PATHNAME', 'xml_dom_free_nodelist_returning' LANGUAGE C VOLATILE STRICT PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.free_node_list(xmldom.node_list) IS
    'gives a list up, its members stay; returns null';
CREATE FUNCTION xmldom.free_named_node_map(map xmldom.named_node_map) RETURNS xmldom.named_node_map
    AS 'MODULE_PATHNAME', 'xml_dom_free_node_returning' LANGUAGE C VOLATILE STRICT PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.free_named_node_map(xmldom.named_node_map) IS
    'gives a map up, the attributes stay; returns null';
