-- Changing a tree: making nodes, attributes, appending, importing, values, giving handles up.

-- New nodes. They belong to the document and stand in no tree until they are appended.

CREATE FUNCTION xml_dom_create_element(document raw, tag_name text) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_create_element' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_create_element(raw, text) IS
    'new element of the document';

CREATE FUNCTION xml_dom_create_element_ns(document raw, qualified_name text, namespace_uri text) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_create_element_ns' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_create_element_ns(raw, text, text) IS
    'new element with a default namespace of its own; none when the URI is null';

CREATE FUNCTION xml_dom_create_text_node(document raw, data text) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_create_text_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_create_text_node(raw, text) IS
    'new text of the document';

CREATE FUNCTION xml_dom_create_attribute(document raw, name text) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_create_attribute' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_create_attribute(raw, text) IS
    'new attribute of the document, with an empty value';

-- Attributes.

CREATE FUNCTION xml_dom_set_attribute(element raw, name text, value text) RETURNS void
    AS 'MODULE_PATHNAME', 'xml_dom_set_attribute' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_set_attribute(raw, text, text) IS
    'sets an attribute; a null value means the empty one';

CREATE FUNCTION xml_dom_set_attribute_ns(element raw, name text, value text, namespace_uri text) RETURNS void
    AS 'MODULE_PATHNAME', 'xml_dom_set_attribute_ns' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_set_attribute_ns(raw, text, text, text) IS
    'sets an attribute in a namespace, without declaring the namespace';

CREATE FUNCTION xml_dom_set_attribute_node(element raw, attribute raw) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_set_attribute_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_set_attribute_node(raw, raw) IS
    'puts an attribute in the place of one of its name; null when the element has none';

CREATE FUNCTION xml_dom_remove_attribute_node(element raw, attribute raw) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_remove_attribute_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_remove_attribute_node(raw, raw) IS
    'takes an attribute off its element; a copy that stands nowhere, null when the element has none of its name';

CREATE FUNCTION xml_dom_make_attr(node raw) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_make_attr' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_make_attr(raw) IS
    'handle as an attribute of what a node handle names';

-- The tree.

CREATE FUNCTION xml_dom_append_child(parent raw, child raw) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_append_child' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_append_child(raw, raw) IS
    'moves a node behind the last child of another; the handle of the node, or of the text it was merged into';

CREATE FUNCTION xml_dom_import_node(document raw, node raw) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_import_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_import_node(raw, raw) IS
    'copy of a node and its attributes for the document, without what stands below';

CREATE FUNCTION xml_dom_import_node(document raw, node raw, deep boolean) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_import_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_import_node(raw, raw, boolean) IS
    'copy of a node for the document, with all that stands below it when deep is true';

CREATE FUNCTION xml_dom_set_node_value(node raw, value text) RETURNS void
    AS 'MODULE_PATHNAME', 'xml_dom_set_node_value' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_set_node_value(raw, text) IS
    'sets the value of an attribute, text, CDATA section, comment or processing instruction';

-- Handles that are given up stay known and name nothing. A node in a tree stays there.

CREATE FUNCTION xml_dom_free_node(node raw) RETURNS void
    AS 'MODULE_PATHNAME', 'xml_dom_free_node' LANGUAGE C VOLATILE STRICT PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_free_node(raw) IS
    'gives a handle up; a node that stands in no tree and has no other handle goes out of use';

CREATE FUNCTION xml_dom_free_element(element raw) RETURNS void
    AS 'MODULE_PATHNAME', 'xml_dom_free_element' LANGUAGE C VOLATILE STRICT PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_free_element(raw) IS
    'gives the handle of an element up, as xml_dom_free_node does';

CREATE FUNCTION xml_dom_free_nodelist(list raw) RETURNS void
    AS 'MODULE_PATHNAME', 'xml_dom_free_nodelist' LANGUAGE C VOLATILE STRICT PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_free_nodelist(raw) IS
    'gives a list up; its members stay';
