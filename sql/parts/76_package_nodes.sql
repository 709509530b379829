-- The package xmldom: new nodes, copies, names, documents

CREATE FUNCTION xmldom.new_document(root text DEFAULT NULL, uri text DEFAULT NULL, doctype xmldom.node DEFAULT NULL) RETURNS xmldom.document
    AS 'MODULE_PATHNAME', 'xmldom_new_document' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.new_document(text, text, xmldom.node) IS
    'new document, with a root element of that name and namespace and a copy of a document type, where they are given';
CREATE FUNCTION xmldom.create_element(document xmldom.document, tag_name text) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xmldom_create_element' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.create_element(xmldom.document, text) IS
    'new element in no namespace';
CREATE FUNCTION xmldom.create_element_ns(document xmldom.document, qualified_name text, uri text) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xmldom_create_element_ns' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.create_element_ns(xmldom.document, text, text) IS
    'new element in a namespace, with or without a prefix; in none when the URI is null';
CREATE FUNCTION xmldom.create_attribute(document xmldom.document, name text) RETURNS xmldom.attr
    AS 'MODULE_PATHNAME', 'xmldom_create_attribute' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.create_attribute(xmldom.document, text) IS
    'new attribute with an empty value';
CREATE FUNCTION xmldom.create_attribute_ns(document xmldom.document, qualified_name text, uri text) RETURNS xmldom.attr
    AS 'MODULE_PATHNAME', 'xmldom_create_attribute_ns' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.create_attribute_ns(xmldom.document, text, text) IS
    'new attribute in a namespace, with an empty value';
CREATE FUNCTION xmldom.create_text_node(document xmldom.document, data text) RETURNS xmldom.text_node
    AS 'MODULE_PATHNAME', 'xmldom_create_text_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.create_text_node(xmldom.document, text) IS
    'new text';
CREATE FUNCTION xmldom.create_comment(document xmldom.document, data text) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_create_comment' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.create_comment(xmldom.document, text) IS
    'new comment';
CREATE FUNCTION xmldom.create_cdata_section(document xmldom.document, data text) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_create_cdata_section' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.create_cdata_section(xmldom.document, text) IS
    'new CDATA section';
CREATE FUNCTION xmldom.create_processing_instruction(document xmldom.document, target text, data text) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_create_processing_instruction' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.create_processing_instruction(xmldom.document, text, text) IS
    'new processing instruction';
CREATE FUNCTION xmldom.create_entity_reference(document xmldom.document, name text) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_create_entity_reference' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.create_entity_reference(xmldom.document, text) IS
    'new reference to an entity that the document type declares';
CREATE FUNCTION xmldom.create_document_fragment(document xmldom.document) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_create_document_fragment' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.create_document_fragment(xmldom.document) IS
    'new fragment, a holder of nodes: inserting it inserts them all';
CREATE FUNCTION xmldom.clone_node(node xmldom.node, deep boolean DEFAULT false) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_clone_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.clone_node(xmldom.node, boolean) IS
    'copy of a node with its attributes, and with all below it when deep is true; a copy of a document is a new document';
CREATE FUNCTION xmldom.clone_node(node xmldom.element, deep boolean DEFAULT false) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xmldom_clone_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.clone_node(xmldom.element, boolean) IS
    'copy of a node with its attributes, and with all below it when deep is true; a copy of a document is a new document';
CREATE FUNCTION xmldom.clone_node(node xmldom.attr, deep boolean DEFAULT false) RETURNS xmldom.attr
    AS 'MODULE_PATHNAME', 'xmldom_clone_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.clone_node(xmldom.attr, boolean) IS
    'copy of a node with its attributes, and with all below it when deep is true; a copy of a document is a new document';
CREATE FUNCTION xmldom.clone_node(node xmldom.text_node, deep boolean DEFAULT false) RETURNS xmldom.text_node
    AS 'MODULE_PATHNAME', 'xmldom_clone_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.clone_node(xmldom.text_node, boolean) IS
    'copy of a node with its attributes, and with all below it when deep is true; a copy of a document is a new document';
CREATE FUNCTION xmldom.clone_node(node xmldom.document, deep boolean DEFAULT false) RETURNS xmldom.document
    AS 'MODULE_PATHNAME', 'xmldom_clone_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.clone_node(xmldom.document, boolean) IS
    'copy of a node with its attributes, and with all below it when deep is true; a copy of a document is a new document';
CREATE FUNCTION xmldom.import_node(document xmldom.document, node xmldom.node, deep boolean DEFAULT false) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_import_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.import_node(xmldom.document, xmldom.node, boolean) IS
    'copy of a node of another document for this one, with all below it when deep is true';
CREATE FUNCTION xmldom.import_node(document xmldom.document, node xmldom.element, deep boolean DEFAULT false) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xmldom_import_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.import_node(xmldom.document, xmldom.element, boolean) IS
    'copy of a node of another document for this one, with all below it when deep is true';
CREATE FUNCTION xmldom.import_node(document xmldom.document, node xmldom.attr, deep boolean DEFAULT false) RETURNS xmldom.attr
    AS 'MODULE_PATHNAME', 'xmldom_import_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.import_node(xmldom.document, xmldom.attr, boolean) IS
    'copy of a node of another document for this one, with all below it when deep is true';
CREATE FUNCTION xmldom.import_node(document xmldom.document, node xmldom.text_node, deep boolean DEFAULT false) RETURNS xmldom.text_node
    AS 'MODULE_PATHNAME', 'xmldom_import_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.import_node(xmldom.document, xmldom.text_node, boolean) IS
    'copy of a node of another document for this one, with all below it when deep is true';
CREATE FUNCTION xmldom.adopt_node(document xmldom.document, node xmldom.node) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_adopt_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.adopt_node(xmldom.document, xmldom.node) IS
    'takes a node out of its document for another one; returns the handle that names it there';
CREATE FUNCTION xmldom.adopt_node(document xmldom.document, node xmldom.element) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xmldom_adopt_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.adopt_node(xmldom.document, xmldom.element) IS
    'takes a node out of its document for another one; returns the handle that names it there';
CREATE FUNCTION xmldom.adopt_node(document xmldom.document, node xmldom.attr) RETURNS xmldom.attr
    AS 'MODULE_PATHNAME', 'xmldom_adopt_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.adopt_node(xmldom.document, xmldom.attr) IS
    'takes a node out of its document for another one; returns the handle that names it there';
CREATE FUNCTION xmldom.adopt_node(document xmldom.document, node xmldom.text_node) RETURNS xmldom.text_node
    AS 'MODULE_PATHNAME', 'xmldom_adopt_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.adopt_node(xmldom.document, xmldom.text_node) IS
    'takes a node out of its document for another one; returns the handle that names it there';
CREATE FUNCTION xmldom.rename_node(node xmldom.node, qualified_name text, uri text DEFAULT NULL) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_rename_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.rename_node(xmldom.node, text, text) IS
    'gives an element or attribute another name and namespace; returns the node';
CREATE FUNCTION xmldom.rename_node(node xmldom.element, qualified_name text, uri text DEFAULT NULL) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xmldom_rename_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.rename_node(xmldom.element, text, text) IS
    'gives an element or attribute another name and namespace; returns the node';
CREATE FUNCTION xmldom.rename_node(node xmldom.attr, qualified_name text, uri text DEFAULT NULL) RETURNS xmldom.attr
    AS 'MODULE_PATHNAME', 'xmldom_rename_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.rename_node(xmldom.attr, text, text) IS
    'gives an element or attribute another name and namespace; returns the node';
CREATE FUNCTION xmldom.set_prefix(node xmldom.node, prefix text) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_set_prefix' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_prefix(xmldom.node, text) IS
    'gives an element or attribute another prefix for its namespace, null for none; returns the node';
CREATE FUNCTION xmldom.set_prefix(node xmldom.element, prefix text) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xmldom_set_prefix' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_prefix(xmldom.element, text) IS
    'gives an element or attribute another prefix for its namespace, null for none; returns the node';
CREATE FUNCTION xmldom.set_prefix(node xmldom.attr, prefix text) RETURNS xmldom.attr
    AS 'MODULE_PATHNAME', 'xmldom_set_prefix' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_prefix(xmldom.attr, text) IS
    'gives an element or attribute another prefix for its namespace, null for none; returns the node';
CREATE FUNCTION xmldom.set_xml_version(document xmldom.document, version text) RETURNS xmldom.document
    AS 'MODULE_PATHNAME', 'xmldom_set_xml_version' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_xml_version(xmldom.document, text) IS
    'sets the version that the document declares, 1.0 for null; returns the document';
CREATE FUNCTION xmldom.set_xml_standalone(document xmldom.document, standalone boolean) RETURNS xmldom.document
    AS 'MODULE_PATHNAME', 'xmldom_set_xml_standalone' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_xml_standalone(xmldom.document, boolean) IS
    'sets whether the document declares that it stands alone, null to say nothing about it; returns the document';
CREATE FUNCTION xmldom.set_document_uri(document xmldom.document, uri text) RETURNS xmldom.document
    AS 'MODULE_PATHNAME', 'xmldom_set_document_uri' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_document_uri(xmldom.document, text) IS
    'sets where the document is said to come from; returns the document';
CREATE FUNCTION xmldom.normalize_document(document xmldom.document) RETURNS xmldom.document
    AS 'MODULE_PATHNAME', 'xmldom_normalize_document' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.normalize_document(xmldom.document) IS
    'joins neighbouring texts and declares what names use and nothing declares; returns the document';
CREATE FUNCTION xmldom.get_element_by_id(document xmldom.document, id text) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xmldom_get_element_by_id' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_element_by_id(xmldom.document, text) IS
    'first element with that ID; IDs are the attributes that the document type declares so, xml:id, and those that set_id_attribute made one';
