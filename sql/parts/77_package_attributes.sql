-- The package xmldom: setting and removing attributes, IDs

CREATE FUNCTION xmldom.set_attribute(element xmldom.node, name text, value text) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xmldom_set_attribute' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_attribute(xmldom.node, text, text) IS
    'sets an attribute, a null value removes it; returns the element';
CREATE FUNCTION xmldom.set_attribute_ns(element xmldom.node, qualified_name text, value text, uri text) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xmldom_set_attribute_ns' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_attribute_ns(xmldom.node, text, text, text) IS
    'sets an attribute in a namespace, which is declared where it has to be; a null value removes it; returns the element';
CREATE FUNCTION xmldom.remove_attribute(element xmldom.node, name text) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xmldom_remove_attribute' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.remove_attribute(xmldom.node, text) IS
    'removes an attribute, if there is one; returns the element';
CREATE FUNCTION xmldom.remove_attribute_ns(element xmldom.node, local_name text, uri text) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xmldom_remove_attribute_ns' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.remove_attribute_ns(xmldom.node, text, text) IS
    'removes an attribute in a namespace, if there is one; returns the element';
CREATE FUNCTION xmldom.set_attribute_node(element xmldom.node, attribute xmldom.attr) RETURNS xmldom.attr
    AS 'MODULE_PATHNAME', 'xmldom_set_attribute_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_attribute_node(xmldom.node, xmldom.attr) IS
    'puts an attribute on an element; returns the one of its name that it replaced, or null';
CREATE FUNCTION xmldom.set_attribute_node_ns(element xmldom.node, attribute xmldom.attr) RETURNS xmldom.attr
    AS 'MODULE_PATHNAME', 'xmldom_set_attribute_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_attribute_node_ns(xmldom.node, xmldom.attr) IS
    'puts an attribute on an element; returns the one of its name and namespace that it replaced, or null';
CREATE FUNCTION xmldom.remove_attribute_node(element xmldom.node, attribute xmldom.attr) RETURNS xmldom.attr
    AS 'MODULE_PATHNAME', 'xmldom_remove_attribute_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.remove_attribute_node(xmldom.node, xmldom.attr) IS
    'removes an attribute from its element; returns the attribute';
CREATE FUNCTION xmldom.set_value(attribute xmldom.node, value text) RETURNS xmldom.attr
    AS 'MODULE_PATHNAME', 'xmldom_set_value' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_value(xmldom.node, text) IS
    'sets the value of an attribute, null for the empty one; returns the attribute';
CREATE FUNCTION xmldom.set_named_item(map xmldom.named_node_map, attribute xmldom.attr) RETURNS xmldom.attr
    AS 'MODULE_PATHNAME', 'xmldom_set_named_item' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_named_item(xmldom.named_node_map, xmldom.attr) IS
    'puts an attribute on the element of a map; returns the one of its name that it replaced, or null';
CREATE FUNCTION xmldom.set_named_item_ns(map xmldom.named_node_map, attribute xmldom.attr) RETURNS xmldom.attr
    AS 'MODULE_PATHNAME', 'xmldom_set_named_item' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_named_item_ns(xmldom.named_node_map, xmldom.attr) IS
    'puts an attribute on the element of a map; returns the one of its name and namespace that it replaced, or null';
CREATE FUNCTION xmldom.remove_named_item(map xmldom.named_node_map, name text) RETURNS xmldom.attr
    AS 'MODULE_PATHNAME', 'xmldom_remove_named_item' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.remove_named_item(xmldom.named_node_map, text) IS
    'removes the attribute of that name from the element of a map; returns the attribute';
CREATE FUNCTION xmldom.remove_named_item_ns(map xmldom.named_node_map, local_name text, uri text) RETURNS xmldom.attr
    AS 'MODULE_PATHNAME', 'xmldom_remove_named_item_ns' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.remove_named_item_ns(xmldom.named_node_map, text, text) IS
    'removes the attribute of that name and namespace from the element of a map; returns the attribute';
CREATE FUNCTION xmldom.set_id_attribute(element xmldom.node, name text, is_id boolean) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xmldom_set_id_attribute' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_id_attribute(xmldom.node, text, boolean) IS
    'makes an attribute an ID, or none; returns the element';
CREATE FUNCTION xmldom.set_id_attribute_ns(element xmldom.node, local_name text, uri text, is_id boolean) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xmldom_set_id_attribute_ns' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_id_attribute_ns(xmldom.node, text, text, boolean) IS
    'makes an attribute in a namespace an ID, or none; returns the element';
CREATE FUNCTION xmldom.set_id_attribute_node(element xmldom.node, attribute xmldom.attr, is_id boolean) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xmldom_set_id_attribute_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_id_attribute_node(xmldom.node, xmldom.attr, boolean) IS
    'makes an attribute an ID, or none; returns the element';
