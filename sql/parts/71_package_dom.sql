-- The package xmldom: the methods of the DOM

-- Documents.

CREATE FUNCTION xmldom.new_document() RETURNS xmldom.document
    AS 'MODULE_PATHNAME', 'xml_dom_new_document_empty' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.new_document() IS
    'new document without any node';
CREATE FUNCTION xmldom.set_charset(document xmldom.document, character_set text) RETURNS xmldom.document
    AS 'MODULE_PATHNAME', 'xml_dom_set_charset_returning' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_charset(xmldom.document, text) IS
    'sets the character set that the document declares, UTF-8 for null; the document';
CREATE FUNCTION xmldom.set_doctype(document xmldom.document, name text, system_id text, public_id text) RETURNS xmldom.document
    AS 'MODULE_PATHNAME', 'xml_dom_set_doctype_returning' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_doctype(xmldom.document, text, text, text) IS
    'sets the document type declaration; the document';
CREATE FUNCTION xmldom.free_document(document xmldom.document) RETURNS xmldom.document
    AS 'MODULE_PATHNAME', 'xml_dom_free_document_returning' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.free_document(xmldom.document) IS
    'releases a document with every handle that belongs to it; null';

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

CREATE FUNCTION xmldom.get_children_by_tag_name(element xmldom.element, name text) RETURNS xmldom.node_list
    AS 'MODULE_PATHNAME', 'xml_dom_get_children_by_tagname' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_children_by_tag_name(xmldom.element, text) IS
    'list of the children of that name';
CREATE FUNCTION xmldom.get_children_by_tag_name_ns(element xmldom.element, name text, namespace_uri text) RETURNS xmldom.node_list
    AS 'MODULE_PATHNAME', 'xml_dom_get_children_by_tagname_ns' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_children_by_tag_name_ns(xmldom.element, text, text) IS
    'list of the children of that name in that namespace';

-- Attributes.

CREATE FUNCTION xmldom.set_attribute(element xmldom.element, name text, value text) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xml_dom_set_attribute_returning' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_attribute(xmldom.element, text, text) IS
    'sets an attribute, a null value means the empty one; the element';
CREATE FUNCTION xmldom.set_attribute_ns(element xmldom.element, name text, value text, namespace_uri text) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xml_dom_set_attribute_ns_returning' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_attribute_ns(xmldom.element, text, text, text) IS
    'sets an attribute in a namespace, without declaring the namespace; the element';
CREATE FUNCTION xmldom.set_attribute_node(element xmldom.element, attribute xmldom.attr) RETURNS xmldom.attr
    AS 'MODULE_PATHNAME', 'xml_dom_set_attribute_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_attribute_node(xmldom.element, xmldom.attr) IS
    'puts an attribute in the place of one of its name; null when the element has none';
CREATE FUNCTION xmldom.remove_attribute_node(element xmldom.element, attribute xmldom.attr) RETURNS xmldom.attr
    AS 'MODULE_PATHNAME', 'xml_dom_remove_attribute_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.remove_attribute_node(xmldom.element, xmldom.attr) IS
    'takes an attribute off its element; a copy that stands nowhere, null when the element has none of its name';

-- New nodes.

CREATE FUNCTION xmldom.create_element(document xmldom.document, tag_name text) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xml_dom_create_element' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.create_element(xmldom.document, text) IS
    'new element of the document, in no tree yet';
CREATE FUNCTION xmldom.create_element_ns(document xmldom.document, qualified_name text, namespace_uri text) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xml_dom_create_element_ns' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.create_element_ns(xmldom.document, text, text) IS
    'new element with a default namespace of its own; none when the URI is null';
CREATE FUNCTION xmldom.create_text_node(document xmldom.document, data text) RETURNS xmldom.text_node
    AS 'MODULE_PATHNAME', 'xml_dom_create_text_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.create_text_node(xmldom.document, text) IS
    'new text of the document, in no tree yet';
CREATE FUNCTION xmldom.create_attribute(document xmldom.document, name text) RETURNS xmldom.attr
    AS 'MODULE_PATHNAME', 'xml_dom_create_attribute' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.create_attribute(xmldom.document, text) IS
    'new attribute of the document, with an empty value';

-- Changing the tree.

CREATE FUNCTION xmldom.append_child(parent xmldom.node, child xmldom.node) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xml_dom_append_child' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.append_child(xmldom.node, xmldom.node) IS
    'moves a node behind the last child of another; the node, or the text it was merged into';
CREATE FUNCTION xmldom.append_child(parent xmldom.node, child xmldom.element) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xml_dom_append_child_returning' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.append_child(xmldom.node, xmldom.element) IS
    'moves an element behind the last child of a node; the element';
CREATE FUNCTION xmldom.import_node(document xmldom.document, node xmldom.node) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xml_dom_import_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.import_node(xmldom.document, xmldom.node) IS
    'copy of a node and its attributes for the document, without what stands below';
CREATE FUNCTION xmldom.import_node(document xmldom.document, node xmldom.node, deep boolean) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xml_dom_import_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.import_node(xmldom.document, xmldom.node, boolean) IS
    'copy of a node for the document, with all that stands below it when deep is true';
CREATE FUNCTION xmldom.set_node_value(node xmldom.node, value text) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xml_dom_set_node_value_returning' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_node_value(xmldom.node, text) IS
    'sets the value of an attribute, text, CDATA section, comment or processing instruction; the node';
CREATE FUNCTION xmldom.set_node_value(attr xmldom.attr, value text) RETURNS xmldom.attr
    AS 'MODULE_PATHNAME', 'xml_dom_set_node_value_returning' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_node_value(xmldom.attr, text) IS
    'sets the value of an attribute; the attribute';
CREATE FUNCTION xmldom.set_node_value(text_node xmldom.text_node, value text) RETURNS xmldom.text_node
    AS 'MODULE_PATHNAME', 'xml_dom_set_node_value_returning' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_node_value(xmldom.text_node, text) IS
    'sets the value of a text; the text';

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
    'writes a document into DIRECTORY/NAME.xml; the document';
CREATE FUNCTION xmldom.write_to_file(document xmldom.document, file text, character_set text) RETURNS xmldom.document
    AS 'MODULE_PATHNAME', 'xml_dom_write_to_file_doc_returning' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.write_to_file(xmldom.document, text, text) IS
    'the same in a character set; the document';
CREATE FUNCTION xmldom.write_to_file(node xmldom.node, file text) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xml_dom_write_to_file_node_returning' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.write_to_file(xmldom.node, text) IS
    'writes a node into DIRECTORY/NAME.xml; the node';
CREATE FUNCTION xmldom.write_to_file(node xmldom.node, file text, character_set text) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xml_dom_write_to_file_node_returning' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.write_to_file(xmldom.node, text, text) IS
    'the same in a character set; the node';

-- Giving handles up.

CREATE FUNCTION xmldom.free_node(node xmldom.node) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xml_dom_free_node_returning' LANGUAGE C VOLATILE STRICT PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.free_node(xmldom.node) IS
    'gives a handle up, the tree stays; null';
CREATE FUNCTION xmldom.free_node_list(list xmldom.node_list) RETURNS xmldom.node_list
    AS 'MODULE_PATHNAME', 'xml_dom_free_nodelist_returning' LANGUAGE C VOLATILE STRICT PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.free_node_list(xmldom.node_list) IS
    'gives a list up, its members stay; null';
CREATE FUNCTION xmldom.free_named_node_map(map xmldom.named_node_map) RETURNS xmldom.named_node_map
    AS 'MODULE_PATHNAME', 'xml_dom_free_node_returning' LANGUAGE C VOLATILE STRICT PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.free_named_node_map(xmldom.named_node_map) IS
    'gives a map up, the attributes stay; null';
