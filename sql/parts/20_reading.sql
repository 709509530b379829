-- Reading a tree: navigation, names and values, lists and maps, queries, search, diagnostics.

-- The document as a whole.

CREATE FUNCTION xml_dom_get_document_element(document raw) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_get_document_element' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_document_element(raw) IS
    'handle of the root element, null when there is none';

CREATE FUNCTION xml_dom_set_charset(document raw, charset text) RETURNS void
    AS 'MODULE_PATHNAME', 'xml_dom_set_charset' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_set_charset(raw, text) IS
    'sets the character set in which the document is written to files; null means UTF-8';

CREATE FUNCTION xml_dom_set_doctype(document raw, name text, system_id text, public_id text) RETURNS void
    AS 'MODULE_PATHNAME', 'xml_dom_set_doctype' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_set_doctype(raw, text, text, text) IS
    'sets the document type declaration; a null text is left out';

-- From a node to the next.

CREATE FUNCTION xml_dom_get_parent_node(node raw) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_get_parent_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_parent_node(raw) IS
    'handle of the parent; null for a document and for an attribute';

CREATE FUNCTION xml_dom_get_first_child(node raw) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_get_first_child' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_first_child(raw) IS
    'handle of the first child; of a document, the first element';

CREATE FUNCTION xml_dom_get_last_child(node raw) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_get_last_child' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_last_child(raw) IS
    'handle of the last child';

CREATE FUNCTION xml_dom_get_next_sibling(node raw) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_get_next_sibling' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_next_sibling(raw) IS
    'handle of the node after this one; null for an attribute';

CREATE FUNCTION xml_dom_get_child_nodes(node raw) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_get_child_nodes' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_child_nodes(raw) IS
    'list of the children; a blank text counts only where it is the only child';

CREATE FUNCTION xml_dom_has_child_nodes(node raw) RETURNS boolean
    AS 'MODULE_PATHNAME', 'xml_dom_has_child_nodes' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_has_child_nodes(raw) IS
    'whether the node has children; false for null and for an attribute, null for a released handle';

-- What a node is.

CREATE FUNCTION xml_dom_get_node_name(node raw) RETURNS text
    AS 'MODULE_PATHNAME', 'xml_dom_get_node_name' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_node_name(raw) IS
    'name of the node with its prefix; #text, #comment and so on for nodes that have none';

CREATE FUNCTION xml_dom_get_node_value(node raw) RETURNS text
    AS 'MODULE_PATHNAME', 'xml_dom_get_node_value' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_node_value(raw) IS
    'text of the node; null when it is empty, and for elements and documents';

CREATE FUNCTION xml_dom_get_node_type(node raw) RETURNS integer
    AS 'MODULE_PATHNAME', 'xml_dom_get_node_type' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_node_type(raw) IS
    'number of the node type: 1 element, 2 attribute, 3 text, 4 CDATA section, 5 entity reference, 7 processing instruction, 8 comment, 9 document, 14 document type';

CREATE FUNCTION xml_dom_get_attributes(node raw) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_get_attributes' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_attributes(raw) IS
    'map of the attributes of a node; the handle of an element needs xml_dom_makenode first';

-- Elements and their attributes.

CREATE FUNCTION xml_dom_get_tagname(element raw) RETURNS text
    AS 'MODULE_PATHNAME', 'xml_dom_get_tagname' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_tagname(raw) IS
    'name of the element with its prefix';

CREATE FUNCTION xml_dom_get_localname(node raw) RETURNS text
    AS 'MODULE_PATHNAME', 'xml_dom_get_localname' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_localname(raw) IS
    'name of an element, node or attribute without its prefix';

CREATE FUNCTION xml_dom_get_attribute(element raw, name text) RETURNS text
    AS 'MODULE_PATHNAME', 'xml_dom_get_attribute' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_attribute(raw, text) IS
    'value of the attribute of that name, whatever its namespace; null when there is none';

CREATE FUNCTION xml_dom_get_attribute_ns(element raw, name text, namespace_uri text) RETURNS text
    AS 'MODULE_PATHNAME', 'xml_dom_get_attribute_ns' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_attribute_ns(raw, text, text) IS
    'value of the attribute of that name in that namespace; null when there is none';

CREATE FUNCTION xml_dom_get_attribute_node(element raw, name text) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_get_attribute_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_attribute_node(raw, text) IS
    'handle of the attribute of that name, whatever its namespace';

CREATE FUNCTION xml_dom_get_attribute_node(element raw, name text, namespace_uri text) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_get_attribute_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_attribute_node(raw, text, text) IS
    'handle of the attribute of that name in that namespace; a null namespace means any';

-- Searching.

CREATE FUNCTION xml_dom_get_children_by_tagname(element raw, name text) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_get_children_by_tagname' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_children_by_tagname(raw, text) IS
    'list of the children of that name';

CREATE FUNCTION xml_dom_get_children_by_tagname_ns(element raw, name text, namespace_uri text) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_get_children_by_tagname_ns' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_children_by_tagname_ns(raw, text, text) IS
    'list of the children of that name in that namespace';

CREATE FUNCTION xml_dom_get_elements_by_tagname_document(document raw, name text) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_get_elements_by_tagname_document' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_elements_by_tagname_document(raw, text) IS
    'list of all elements of that name, in document order; * means any name';

CREATE FUNCTION xml_dom_get_elements_by_tagname_element(element raw, name text) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_get_elements_by_tagname_element' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_elements_by_tagname_element(raw, text) IS
    'list of all elements of that name below the element, in document order; * means any name';

CREATE FUNCTION xml_dom_get_elements_by_tagname_ns(node raw, name text, namespace_uri text) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_get_elements_by_tagname_ns' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_elements_by_tagname_ns(raw, text, text) IS
    'list of all elements of that name in that namespace below the document or element; * means any';

-- Lists and maps.

CREATE FUNCTION xml_dom_get_length(collection raw) RETURNS integer
    AS 'MODULE_PATHNAME', 'xml_dom_get_length' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_length(raw) IS
    'number of members of a list or map; 0 for null';

CREATE FUNCTION xml_dom_item(collection raw, item_index integer) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_item' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_item(raw, integer) IS
    'member of a list, from 0; of a map the text of an attribute. Null beyond the end';

CREATE FUNCTION xml_dom_get_named_item(map raw, name text) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_get_named_item' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_named_item(raw, text) IS
    'handle of the attribute of that name in a map';

CREATE FUNCTION xml_dom_get_named_item_ns(map raw, name text, namespace_uri text) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_get_named_item_ns' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_named_item_ns(raw, text, text) IS
    'handle of the attribute of that name in a map, in that namespace or in none';

-- Handles.

CREATE FUNCTION xml_dom_makenode(handle raw) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_makenode' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_makenode(raw) IS
    'handle as a node of what an attribute, document, element or text handle names';

CREATE FUNCTION xml_dom_make_element(node raw) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_make_element' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_make_element(raw) IS
    'handle as an element of what a node handle names; not for texts, documents and attributes';

CREATE FUNCTION xml_dom_is_null(handle raw) RETURNS boolean
    AS 'MODULE_PATHNAME', 'xml_dom_is_null' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_is_null(raw) IS
    'whether the handle is null, released, or an empty list';

-- What the session holds.

CREATE FUNCTION xml_dom_get_session_tree_num() RETURNS integer
    AS 'MODULE_PATHNAME', 'xml_dom_get_session_tree_num' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_session_tree_num() IS
    'number of handles in the session';

CREATE FUNCTION xml_dom_get_doc_trees_info() RETURNS text
    AS 'MODULE_PATHNAME', 'xml_dom_get_doc_trees_info' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_doc_trees_info() IS
    'a line for each handle that names a document: its bytes, the number of nodes, the size when written';

CREATE FUNCTION xml_dom_get_detail_doc_tree_info(handle raw) RETURNS text
    AS 'MODULE_PATHNAME', 'xml_dom_get_detail_doc_tree_info' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_detail_doc_tree_info(raw) IS
    'number of elements, attributes and texts in a node, its following siblings and all below';
