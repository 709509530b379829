-- The package xmldom, reading: what nodes are, where they stand, what they hold

-- Nodes.

CREATE FUNCTION xmldom.get_node_name(node xmldom.node) RETURNS text
    AS 'MODULE_PATHNAME', 'xmldom_get_node_name' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_node_name(xmldom.node) IS
    'name of a node: with prefix for elements and attributes, "#text" and the like for others';
CREATE FUNCTION xmldom.get_node_value(node xmldom.node) RETURNS text
    AS 'MODULE_PATHNAME', 'xmldom_get_node_value' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_node_value(xmldom.node) IS
    'data of an attribute, text, CDATA section, comment or processing instruction; null for other nodes';
CREATE FUNCTION xmldom.get_node_type(node xmldom.node) RETURNS integer
    AS 'MODULE_PATHNAME', 'xmldom_get_node_type' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_node_type(xmldom.node) IS
    '1 element, 2 attribute, 3 text, 4 CDATA section, 5 entity reference, 6 entity, 7 processing instruction, 8 comment, 9 document, 10 document type, 11 fragment';
CREATE FUNCTION xmldom.get_namespace_uri(node xmldom.node) RETURNS text
    AS 'MODULE_PATHNAME', 'xmldom_get_namespace_uri' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_namespace_uri(xmldom.node) IS
    'namespace of an element or attribute; null for none';
CREATE FUNCTION xmldom.get_prefix(node xmldom.node) RETURNS text
    AS 'MODULE_PATHNAME', 'xmldom_get_prefix' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_prefix(xmldom.node) IS
    'prefix of an element or attribute; null for none';
CREATE FUNCTION xmldom.get_local_name(node xmldom.node) RETURNS text
    AS 'MODULE_PATHNAME', 'xmldom_get_local_name' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_local_name(xmldom.node) IS
    'name without prefix, of an element or attribute';
CREATE FUNCTION xmldom.get_base_uri(node xmldom.node) RETURNS text
    AS 'MODULE_PATHNAME', 'xmldom_get_base_uri' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_base_uri(xmldom.node) IS
    'what relative references in a node are resolved against, by xml:base and the URI of the document';
CREATE FUNCTION xmldom.get_text_content(node xmldom.node) RETURNS text
    AS 'MODULE_PATHNAME', 'xmldom_get_text_content' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_text_content(xmldom.node) IS
    'text of a node and all below it, without comments and processing instructions; null for documents';
CREATE FUNCTION xmldom.get_owner_document(node xmldom.node) RETURNS xmldom.document
    AS 'MODULE_PATHNAME', 'xmldom_get_owner_document' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_owner_document(xmldom.node) IS
    'document that a node belongs to; null for documents';
CREATE FUNCTION xmldom.get_path(node xmldom.node) RETURNS text
    AS 'MODULE_PATHNAME', 'xmldom_get_path' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_path(xmldom.node) IS
    'XPath that leads to a node from anywhere in its tree';
CREATE FUNCTION xmldom.get_line_number(node xmldom.node) RETURNS integer
    AS 'MODULE_PATHNAME', 'xmldom_get_line_number' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_line_number(xmldom.node) IS
    'line of the text that a node was parsed from; null for CDATA sections, for nodes that were made, and beyond line 65,534';

-- Walking the tree.

CREATE FUNCTION xmldom.get_parent_node(node xmldom.node) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_get_parent_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_parent_node(xmldom.node) IS
    'parent of a node; null for documents, attributes and nodes in no tree';
CREATE FUNCTION xmldom.get_first_child(node xmldom.node) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_get_first_child' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_first_child(xmldom.node) IS
    'first child of a node, of a document, too, whatever comes first';
CREATE FUNCTION xmldom.get_last_child(node xmldom.node) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_get_last_child' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_last_child(xmldom.node) IS
    'last child of a node';
CREATE FUNCTION xmldom.get_previous_sibling(node xmldom.node) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_get_previous_sibling' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_previous_sibling(xmldom.node) IS
    'node in front of a node, below the same parent';
CREATE FUNCTION xmldom.get_next_sibling(node xmldom.node) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_get_next_sibling' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_next_sibling(xmldom.node) IS
    'node behind a node, below the same parent';
CREATE FUNCTION xmldom.get_child_nodes(node xmldom.node) RETURNS xmldom.node_list
    AS 'MODULE_PATHNAME', 'xmldom_get_child_nodes' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_child_nodes(xmldom.node) IS
    'list of the children of a node, blank texts too; the same list until they change';
CREATE FUNCTION xmldom.has_child_nodes(node xmldom.node) RETURNS boolean
    AS 'MODULE_PATHNAME', 'xmldom_has_child_nodes' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.has_child_nodes(xmldom.node) IS
    'whether a node has children';
CREATE FUNCTION xmldom.get_document_element(document xmldom.document) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xmldom_get_document_element' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_document_element(xmldom.document) IS
    'root element of a document; null for an empty one';
CREATE FUNCTION xmldom.first_element_child(node xmldom.node) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xmldom_first_element_child' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.first_element_child(xmldom.node) IS
    'first child that is an element';
CREATE FUNCTION xmldom.last_element_child(node xmldom.node) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xmldom_last_element_child' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.last_element_child(xmldom.node) IS
    'last child that is an element';
CREATE FUNCTION xmldom.previous_element_sibling(node xmldom.node) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xmldom_previous_element_sibling' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.previous_element_sibling(xmldom.node) IS
    'nearest sibling in front that is an element';
CREATE FUNCTION xmldom.next_element_sibling(node xmldom.node) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xmldom_next_element_sibling' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.next_element_sibling(xmldom.node) IS
    'nearest sibling behind that is an element';
CREATE FUNCTION xmldom.child_element_count(node xmldom.node) RETURNS integer
    AS 'MODULE_PATHNAME', 'xmldom_child_element_count' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.child_element_count(xmldom.node) IS
    'number of children that are elements';

-- Comparing.

CREATE FUNCTION xmldom.is_same_node(node xmldom.node, other xmldom.node) RETURNS boolean
    AS 'MODULE_PATHNAME', 'xmldom_is_same_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.is_same_node(xmldom.node, xmldom.node) IS
    'whether two handles name one node';
CREATE FUNCTION xmldom.is_equal_node(node xmldom.node, other xmldom.node) RETURNS boolean
    AS 'MODULE_PATHNAME', 'xmldom_is_equal_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.is_equal_node(xmldom.node, xmldom.node) IS
    'whether two trees are alike: names, prefixes, attributes in any order, data, children in their order';
CREATE FUNCTION xmldom.contains(node xmldom.node, other xmldom.node) RETURNS boolean
    AS 'MODULE_PATHNAME', 'xmldom_contains' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.contains(xmldom.node, xmldom.node) IS
    'whether the other node is this one or is below it';
CREATE FUNCTION xmldom.compare_document_position(node xmldom.node, other xmldom.node) RETURNS integer
    AS 'MODULE_PATHNAME', 'xmldom_compare_document_position' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.compare_document_position(xmldom.node, xmldom.node) IS
    'where the other node is, a sum: 1 in another tree, 2 in front, 4 behind, 8 around, 16 inside, 32 in an order of the session''s own';
CREATE FUNCTION xmldom.lookup_prefix(node xmldom.node, namespace_uri text) RETURNS text
    AS 'MODULE_PATHNAME', 'xmldom_lookup_prefix' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.lookup_prefix(xmldom.node, text) IS
    'prefix of a namespace at a node';
CREATE FUNCTION xmldom.lookup_namespace_uri(node xmldom.node, prefix text) RETURNS text
    AS 'MODULE_PATHNAME', 'xmldom_lookup_namespace_uri' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.lookup_namespace_uri(xmldom.node, text) IS
    'namespace of a prefix at a node; the default namespace for a null prefix';
CREATE FUNCTION xmldom.is_default_namespace(node xmldom.node, namespace_uri text) RETURNS boolean
    AS 'MODULE_PATHNAME', 'xmldom_is_default_namespace' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.is_default_namespace(xmldom.node, text) IS
    'whether a namespace is the default one at a node; null and the empty text mean none';

-- Documents and document types.

CREATE FUNCTION xmldom.get_doctype(document xmldom.document) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_get_doctype' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_doctype(xmldom.document) IS
    'document type of a document';
CREATE FUNCTION xmldom.get_xml_version(document xmldom.document) RETURNS text
    AS 'MODULE_PATHNAME', 'xmldom_get_xml_version' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_xml_version(xmldom.document) IS
    'version in the XML declaration, 1.0 without one';
CREATE FUNCTION xmldom.get_xml_standalone(document xmldom.document) RETURNS boolean
    AS 'MODULE_PATHNAME', 'xmldom_get_xml_standalone' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_xml_standalone(xmldom.document) IS
    'whether the XML declaration says standalone="yes"';
CREATE FUNCTION xmldom.get_xml_encoding(document xmldom.document) RETURNS text
    AS 'MODULE_PATHNAME', 'xmldom_get_xml_encoding' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_xml_encoding(xmldom.document) IS
    'encoding in the XML declaration; null without one';
CREATE FUNCTION xmldom.get_input_encoding(document xmldom.document) RETURNS text
    AS 'MODULE_PATHNAME', 'xmldom_get_input_encoding' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_input_encoding(xmldom.document) IS
    'encoding that a parsed document declares, else UTF-8; null for a document that was made';
CREATE FUNCTION xmldom.get_document_uri(document xmldom.document) RETURNS text
    AS 'MODULE_PATHNAME', 'xmldom_get_document_uri' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_document_uri(xmldom.document) IS
    'URI of a document, as it was set';
CREATE FUNCTION xmldom.get_name(node xmldom.node) RETURNS text
    AS 'MODULE_PATHNAME', 'xmldom_get_name' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_name(xmldom.node) IS
    'name of an attribute, document type or entity';
CREATE FUNCTION xmldom.get_public_id(node xmldom.node) RETURNS text
    AS 'MODULE_PATHNAME', 'xmldom_get_public_id' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_public_id(xmldom.node) IS
    'public identifier of a document type or entity';
CREATE FUNCTION xmldom.get_system_id(node xmldom.node) RETURNS text
    AS 'MODULE_PATHNAME', 'xmldom_get_system_id' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_system_id(xmldom.node) IS
    'system identifier of a document type or entity';
CREATE FUNCTION xmldom.get_internal_subset(document_type xmldom.node) RETURNS text
    AS 'MODULE_PATHNAME', 'xmldom_get_internal_subset' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_internal_subset(xmldom.node) IS
    'declarations of a document type, written anew; null when there are none';
CREATE FUNCTION xmldom.get_entities(document_type xmldom.node) RETURNS xmldom.node_list
    AS 'MODULE_PATHNAME', 'xmldom_get_entities' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_entities(xmldom.node) IS
    'list of the entities that a document type declares';
CREATE FUNCTION xmldom.get_notation_name(entity xmldom.node) RETURNS text
    AS 'MODULE_PATHNAME', 'xmldom_get_notation_name' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_notation_name(xmldom.node) IS
    'notation of an entity that is not parsed; null for others';
CREATE FUNCTION xmldom.get_target(instruction xmldom.node) RETURNS text
    AS 'MODULE_PATHNAME', 'xmldom_get_target' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_target(xmldom.node) IS
    'target of a processing instruction';

-- Elements and attributes.

CREATE FUNCTION xmldom.get_tag_name(element xmldom.node) RETURNS text
    AS 'MODULE_PATHNAME', 'xmldom_get_tag_name' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_tag_name(xmldom.node) IS
    'name of an element with its prefix';
CREATE FUNCTION xmldom.get_attribute(element xmldom.node, name text) RETURNS text
    AS 'MODULE_PATHNAME', 'xmldom_get_attribute' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_attribute(xmldom.node, text) IS
    'value of the attribute of that name, prefix and all, or its default; null when there is none';
CREATE FUNCTION xmldom.get_attribute_ns(element xmldom.node, name text, namespace_uri text) RETURNS text
    AS 'MODULE_PATHNAME', 'xmldom_get_attribute_ns' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_attribute_ns(xmldom.node, text, text) IS
    'value of the attribute of that local name in a namespace; null and the empty text mean none';
CREATE FUNCTION xmldom.has_attribute(element xmldom.node, name text) RETURNS boolean
    AS 'MODULE_PATHNAME', 'xmldom_has_attribute' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.has_attribute(xmldom.node, text) IS
    'whether an element has an attribute of that name, prefix and all, or a default for it';
CREATE FUNCTION xmldom.has_attribute_ns(element xmldom.node, name text, namespace_uri text) RETURNS boolean
    AS 'MODULE_PATHNAME', 'xmldom_has_attribute_ns' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.has_attribute_ns(xmldom.node, text, text) IS
    'whether an element has an attribute of that local name in a namespace';
CREATE FUNCTION xmldom.get_attribute_node(element xmldom.node, name text) RETURNS xmldom.attr
    AS 'MODULE_PATHNAME', 'xmldom_get_attribute_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_attribute_node(xmldom.node, text) IS
    'attribute of that name, prefix and all';
CREATE FUNCTION xmldom.get_attribute_node_ns(element xmldom.node, name text, namespace_uri text) RETURNS xmldom.attr
    AS 'MODULE_PATHNAME', 'xmldom_get_attribute_node_ns' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_attribute_node_ns(xmldom.node, text, text) IS
    'attribute of that local name in a namespace';
CREATE FUNCTION xmldom.get_attributes(node xmldom.node) RETURNS xmldom.named_node_map
    AS 'MODULE_PATHNAME', 'xmldom_get_attributes' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_attributes(xmldom.node) IS
    'map of the attributes of an element; null for other nodes';
CREATE FUNCTION xmldom.has_attributes(node xmldom.node) RETURNS boolean
    AS 'MODULE_PATHNAME', 'xmldom_has_attributes' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.has_attributes(xmldom.node) IS
    'whether a node is an element with attributes';
CREATE FUNCTION xmldom.get_elements_by_tag_name(node xmldom.node, name text) RETURNS xmldom.node_list
    AS 'MODULE_PATHNAME', 'xmldom_get_elements_by_tag_name' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_elements_by_tag_name(xmldom.node, text) IS
    'list of the elements of that name, prefix and all, below a document, element or fragment; * means any';
CREATE FUNCTION xmldom.get_elements_by_tag_name_ns(node xmldom.node, name text, namespace_uri text) RETURNS xmldom.node_list
    AS 'MODULE_PATHNAME', 'xmldom_get_elements_by_tag_name_ns' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_elements_by_tag_name_ns(xmldom.node, text, text) IS
    'list of the elements of that local name in a namespace below; * means any';
CREATE FUNCTION xmldom.get_value(attribute xmldom.node) RETURNS text
    AS 'MODULE_PATHNAME', 'xmldom_get_value' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_value(xmldom.node) IS
    'value of an attribute';
CREATE FUNCTION xmldom.get_specified(attribute xmldom.node) RETURNS boolean
    AS 'MODULE_PATHNAME', 'xmldom_get_specified' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_specified(xmldom.node) IS
    'true: attributes that the document type only gives by default are not in the tree';
CREATE FUNCTION xmldom.is_id(attribute xmldom.node) RETURNS boolean
    AS 'MODULE_PATHNAME', 'xmldom_is_id' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.is_id(xmldom.node) IS
    'whether get_element_by_id finds the element by this attribute';
CREATE FUNCTION xmldom.get_owner_element(attribute xmldom.node) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xmldom_get_owner_element' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_owner_element(xmldom.node) IS
    'element that an attribute is on';

-- Texts and their like; offsets and lengths are in characters.

CREATE FUNCTION xmldom.get_data(node xmldom.node) RETURNS text
    AS 'MODULE_PATHNAME', 'xmldom_get_data' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_data(xmldom.node) IS
    'data of a text, CDATA section, comment or processing instruction';
CREATE FUNCTION xmldom.get_length(node xmldom.node) RETURNS integer
    AS 'MODULE_PATHNAME', 'xmldom_get_length_of_data' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_length(xmldom.node) IS
    'characters of the data of a text, CDATA section, comment or processing instruction';
CREATE FUNCTION xmldom.substring_data(node xmldom.node, start integer, count integer) RETURNS text
    AS 'MODULE_PATHNAME', 'xmldom_substring_data' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.substring_data(xmldom.node, integer, integer) IS
    'characters of the data from an offset on, counted from 0';
CREATE FUNCTION xmldom.get_whole_text(text xmldom.node) RETURNS text
    AS 'MODULE_PATHNAME', 'xmldom_get_whole_text' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_whole_text(xmldom.node) IS
    'data of a text and of the texts and CDATA sections side by side with it';
CREATE FUNCTION xmldom.is_element_content_whitespace(text xmldom.node) RETURNS boolean
    AS 'MODULE_PATHNAME', 'xmldom_is_element_content_whitespace' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.is_element_content_whitespace(xmldom.node) IS
    'whether a blank text is where the document type has elements only';

-- Lists and maps.

CREATE FUNCTION xmldom.get_length(list xmldom.node_list) RETURNS integer
    AS 'MODULE_PATHNAME', 'xmldom_get_length' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_length(xmldom.node_list) IS
    'number of members of a list';
CREATE FUNCTION xmldom.item(list xmldom.node_list, item_index integer) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_item' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.item(xmldom.node_list, integer) IS
    'member of a list, from 0; null beyond the end';
CREATE FUNCTION xmldom.get_length(map xmldom.named_node_map) RETURNS integer
    AS 'MODULE_PATHNAME', 'xmldom_get_length_of_map' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_length(xmldom.named_node_map) IS
    'number of attributes in a map';
CREATE FUNCTION xmldom.item(map xmldom.named_node_map, item_index integer) RETURNS xmldom.attr
    AS 'MODULE_PATHNAME', 'xmldom_item_of_map' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.item(xmldom.named_node_map, integer) IS
    'attribute of a map, from 0; null beyond the end';
CREATE FUNCTION xmldom.get_named_item(map xmldom.named_node_map, name text) RETURNS xmldom.attr
    AS 'MODULE_PATHNAME', 'xmldom_get_named_item' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_named_item(xmldom.named_node_map, text) IS
    'attribute of that name, prefix and all';
CREATE FUNCTION xmldom.get_named_item_ns(map xmldom.named_node_map, name text, namespace_uri text) RETURNS xmldom.attr
    AS 'MODULE_PATHNAME', 'xmldom_get_named_item_ns' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_named_item_ns(xmldom.named_node_map, text, text) IS
    'attribute of that local name in a namespace';
