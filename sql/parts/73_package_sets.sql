-- The package xmldom, sets and scopes: rows instead of loops, and what the session holds

-- Steps.

CREATE FUNCTION xmldom.first_node(node xmldom.node) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xml_dom_first_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.first_node(xmldom.node) IS
    'first child, of a document, too, whatever comes first; continue with get_next_sibling';
CREATE FUNCTION xmldom.first_attribute(element xmldom.node) RETURNS xmldom.attr
    AS 'MODULE_PATHNAME', 'xml_dom_first_attribute' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.first_attribute(xmldom.node) IS
    'first attribute of an element';
CREATE FUNCTION xmldom.next_attribute(attribute xmldom.node) RETURNS xmldom.attr
    AS 'MODULE_PATHNAME', 'xml_dom_next_attribute' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.next_attribute(xmldom.node) IS
    'next attribute of the same element';
CREATE FUNCTION xmldom.next_element(node xmldom.node, top xmldom.node, name text) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xml_dom_next_element' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.next_element(xmldom.node, xmldom.node, text) IS
    'next element of that name in document order below top; * means any name';

-- Sets.

CREATE FUNCTION xmldom.children(node xmldom.node) RETURNS SETOF xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_children' LANGUAGE C VOLATILE PARALLEL UNSAFE COST 10 ROWS 20;
COMMENT ON FUNCTION xmldom.children(xmldom.node) IS
    'all children of a node, blank texts too';
CREATE FUNCTION xmldom.child_elements(node xmldom.node, name text DEFAULT NULL, uri text DEFAULT NULL) RETURNS SETOF xmldom.element
    AS 'MODULE_PATHNAME', 'xmldom_child_elements' LANGUAGE C VOLATILE PARALLEL UNSAFE COST 10 ROWS 20;
COMMENT ON FUNCTION xmldom.child_elements(xmldom.node, text, text) IS
    'children that are elements; of that qualified name, or with a URI of that local name in that namespace; null and * mean any';
CREATE FUNCTION xmldom.attributes(node xmldom.node) RETURNS SETOF xmldom.attr
    AS 'MODULE_PATHNAME', 'xmldom_attributes' LANGUAGE C VOLATILE PARALLEL UNSAFE COST 10 ROWS 5;
COMMENT ON FUNCTION xmldom.attributes(xmldom.node) IS
    'attributes of an element';
CREATE FUNCTION xmldom.descendants(node xmldom.node, name text DEFAULT NULL, uri text DEFAULT NULL) RETURNS SETOF xmldom.element
    AS 'MODULE_PATHNAME', 'xmldom_descendants' LANGUAGE C VOLATILE PARALLEL UNSAFE COST 10 ROWS 100;
COMMENT ON FUNCTION xmldom.descendants(xmldom.node, text, text) IS
    'elements below a node in document order; of that qualified name, or with a URI of that local name in that namespace; null and * mean any';
CREATE FUNCTION xmldom.nodes(list xmldom.node_list) RETURNS SETOF xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_nodes' LANGUAGE C VOLATILE PARALLEL UNSAFE COST 10 ROWS 100;
COMMENT ON FUNCTION xmldom.nodes(xmldom.node_list) IS
    'members of a list, in its order';
CREATE FUNCTION xmldom.following_siblings(node xmldom.node) RETURNS SETOF xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_following_siblings' LANGUAGE C VOLATILE PARALLEL UNSAFE COST 10 ROWS 20;
COMMENT ON FUNCTION xmldom.following_siblings(xmldom.node) IS
    'the siblings behind a node, nearest first';
CREATE FUNCTION xmldom.ancestors(node xmldom.node) RETURNS SETOF xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_ancestors' LANGUAGE C VOLATILE PARALLEL UNSAFE COST 10 ROWS 10;
COMMENT ON FUNCTION xmldom.ancestors(xmldom.node) IS
    'the parent of a node, its parent and so on, the document last';
CREATE FUNCTION xmldom.outline(node xmldom.node) RETURNS text
    AS 'MODULE_PATHNAME', 'xml_dom_outline' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.outline(xmldom.node) IS
    'picture of a node and all below it, a line for each node; long texts are cut short';

-- Scopes.

CREATE FUNCTION xmldom.mark() RETURNS xmldom.scope
    AS 'MODULE_PATHNAME', 'xml_dom_mark_scope' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.mark() IS
    'scope that begins now, for release';
CREATE FUNCTION xmldom.release(scope xmldom.scope) RETURNS integer
    AS 'MODULE_PATHNAME', 'xml_dom_release_scope' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.release(xmldom.scope) IS
    'frees every document and parser made since the scope began; returns their number';
CREATE FUNCTION xmldom.free_all() RETURNS integer
    AS 'MODULE_PATHNAME', 'xml_dom_free_all' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.free_all() IS
    'frees every document, parser and stream of the session; returns their number';

CREATE VIEW xmldom.session AS
    SELECT CAST(count(document) AS integer) AS documents,
        xml_dom_get_session_tree_num() AS handles,
        sum(nodes) FILTER (WHERE document IS NULL) AS nodes,
        sum(bytes) FILTER (WHERE document IS NULL) AS bytes
    FROM pkg_dbe_xml_memory;
COMMENT ON VIEW xmldom.session IS
    'what this session holds: documents, handles, nodes of its trees, bytes of memory';
COMMENT ON COLUMN xmldom.session.documents IS 'open documents';
COMMENT ON COLUMN xmldom.session.handles IS 'handles of documents, nodes, lists and maps';
COMMENT ON COLUMN xmldom.session.nodes IS 'nodes of all trees, documents, attributes and their texts included';
COMMENT ON COLUMN xmldom.session.bytes IS 'memory of trees and handles';
GRANT SELECT ON xmldom.session TO PUBLIC;
