-- The package xmldom: putting nodes into a tree, replacing them and taking them out

CREATE FUNCTION xmldom.append_child(parent xmldom.node, new_child xmldom.node) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_append_child' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.append_child(xmldom.node, xmldom.node) IS
    'moves a node behind the last child of another, a fragment with all its children; returns the node';
CREATE FUNCTION xmldom.append_child(parent xmldom.node, new_child xmldom.element) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xmldom_append_child' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.append_child(xmldom.node, xmldom.element) IS
    'moves a node behind the last child of another, a fragment with all its children; returns the node';
CREATE FUNCTION xmldom.append_child(parent xmldom.node, new_child xmldom.text_node) RETURNS xmldom.text_node
    AS 'MODULE_PATHNAME', 'xmldom_append_child' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.append_child(xmldom.node, xmldom.text_node) IS
    'moves a node behind the last child of another, a fragment with all its children; returns the node';
CREATE FUNCTION xmldom.insert_before(parent xmldom.node, new_child xmldom.node, reference xmldom.node) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_insert_before' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.insert_before(xmldom.node, xmldom.node, xmldom.node) IS
    'moves a node in front of a child of another, behind the last one when the reference is null; returns the node';
CREATE FUNCTION xmldom.insert_before(parent xmldom.node, new_child xmldom.element, reference xmldom.node) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xmldom_insert_before' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.insert_before(xmldom.node, xmldom.element, xmldom.node) IS
    'moves a node in front of a child of another, behind the last one when the reference is null; returns the node';
CREATE FUNCTION xmldom.insert_before(parent xmldom.node, new_child xmldom.text_node, reference xmldom.node) RETURNS xmldom.text_node
    AS 'MODULE_PATHNAME', 'xmldom_insert_before' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.insert_before(xmldom.node, xmldom.text_node, xmldom.node) IS
    'moves a node in front of a child of another, behind the last one when the reference is null; returns the node';
CREATE FUNCTION xmldom.replace_child(parent xmldom.node, new_child xmldom.node, old_child xmldom.node) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_replace_child' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.replace_child(xmldom.node, xmldom.node, xmldom.node) IS
    'moves a node into the place of a child of another; returns the child, which is in no tree then';
CREATE FUNCTION xmldom.replace_child(parent xmldom.node, new_child xmldom.node, old_child xmldom.element) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xmldom_replace_child' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.replace_child(xmldom.node, xmldom.node, xmldom.element) IS
    'moves a node into the place of a child of another; returns the child, which is in no tree then';
CREATE FUNCTION xmldom.replace_child(parent xmldom.node, new_child xmldom.node, old_child xmldom.text_node) RETURNS xmldom.text_node
    AS 'MODULE_PATHNAME', 'xmldom_replace_child' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.replace_child(xmldom.node, xmldom.node, xmldom.text_node) IS
    'moves a node into the place of a child of another; returns the child, which is in no tree then';
CREATE FUNCTION xmldom.remove_child(parent xmldom.node, old_child xmldom.node) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_remove_child' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.remove_child(xmldom.node, xmldom.node) IS
    'removes a child from the tree; returns the child';
CREATE FUNCTION xmldom.remove_child(parent xmldom.node, old_child xmldom.element) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xmldom_remove_child' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.remove_child(xmldom.node, xmldom.element) IS
    'removes a child from the tree; returns the child';
CREATE FUNCTION xmldom.remove_child(parent xmldom.node, old_child xmldom.text_node) RETURNS xmldom.text_node
    AS 'MODULE_PATHNAME', 'xmldom_remove_child' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.remove_child(xmldom.node, xmldom.text_node) IS
    'removes a child from the tree; returns the child';
CREATE FUNCTION xmldom.append(parent xmldom.node, VARIADIC nodes xmldom.node[]) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_append' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.append(xmldom.node, VARIADIC xmldom.node[]) IS
    'moves nodes behind the last child of another; returns that other node';
CREATE FUNCTION xmldom.append(parent xmldom.element, VARIADIC nodes xmldom.node[]) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xmldom_append' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.append(xmldom.element, VARIADIC xmldom.node[]) IS
    'moves nodes behind the last child of another; returns that other node';
CREATE FUNCTION xmldom.prepend(parent xmldom.node, VARIADIC nodes xmldom.node[]) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_prepend' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.prepend(xmldom.node, VARIADIC xmldom.node[]) IS
    'moves nodes in front of the first child of another; returns that other node';
CREATE FUNCTION xmldom.prepend(parent xmldom.element, VARIADIC nodes xmldom.node[]) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xmldom_prepend' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.prepend(xmldom.element, VARIADIC xmldom.node[]) IS
    'moves nodes in front of the first child of another; returns that other node';
CREATE FUNCTION xmldom.replace_children(parent xmldom.node, VARIADIC nodes xmldom.node[]) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_replace_children' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.replace_children(xmldom.node, VARIADIC xmldom.node[]) IS
    'moves nodes into another in the place of all its children; returns that other node';
CREATE FUNCTION xmldom.replace_children(parent xmldom.element, VARIADIC nodes xmldom.node[]) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xmldom_replace_children' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.replace_children(xmldom.element, VARIADIC xmldom.node[]) IS
    'moves nodes into another in the place of all its children; returns that other node';
CREATE FUNCTION xmldom.before(node xmldom.node, VARIADIC nodes xmldom.node[]) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_before' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.before(xmldom.node, VARIADIC xmldom.node[]) IS
    'moves nodes in front of another, among its siblings; returns that other node';
CREATE FUNCTION xmldom.before(node xmldom.element, VARIADIC nodes xmldom.node[]) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xmldom_before' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.before(xmldom.element, VARIADIC xmldom.node[]) IS
    'moves nodes in front of another, among its siblings; returns that other node';
CREATE FUNCTION xmldom.after(node xmldom.node, VARIADIC nodes xmldom.node[]) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_after' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.after(xmldom.node, VARIADIC xmldom.node[]) IS
    'moves nodes behind another, among its siblings; returns that other node';
CREATE FUNCTION xmldom.after(node xmldom.element, VARIADIC nodes xmldom.node[]) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xmldom_after' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.after(xmldom.element, VARIADIC xmldom.node[]) IS
    'moves nodes behind another, among its siblings; returns that other node';
CREATE FUNCTION xmldom.replace_with(node xmldom.node, VARIADIC nodes xmldom.node[]) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_replace_with' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.replace_with(xmldom.node, VARIADIC xmldom.node[]) IS
    'moves nodes into the place of another; returns that other node, which is in no tree then';
CREATE FUNCTION xmldom.replace_with(node xmldom.element, VARIADIC nodes xmldom.node[]) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xmldom_replace_with' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.replace_with(xmldom.element, VARIADIC xmldom.node[]) IS
    'moves nodes into the place of another; returns that other node, which is in no tree then';
CREATE FUNCTION xmldom.replace_children(parent xmldom.node) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_replace_children' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.replace_children(xmldom.node) IS
    'removes all children of a node; returns the node';
CREATE FUNCTION xmldom.replace_children(parent xmldom.element) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xmldom_replace_children' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.replace_children(xmldom.element) IS
    'removes all children of a node; returns the node';
CREATE FUNCTION xmldom.remove(node xmldom.node) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_remove' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.remove(xmldom.node) IS
    'removes a node from its tree, if it is in one; returns the node';
CREATE FUNCTION xmldom.remove(node xmldom.element) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xmldom_remove' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.remove(xmldom.element) IS
    'removes a node from its tree, if it is in one; returns the node';
CREATE FUNCTION xmldom.remove(node xmldom.text_node) RETURNS xmldom.text_node
    AS 'MODULE_PATHNAME', 'xmldom_remove' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.remove(xmldom.text_node) IS
    'removes a node from its tree, if it is in one; returns the node';
