-- The package xmldom, sets and scopes: rows instead of loops, and what the session holds

-- Steps.

CREATE FUNCTION xmldom.first_node(node xmldom.node) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xml_dom_first_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.first_node(xmldom.node) IS
    'first child, of a document too whatever stands first; get_next_sibling goes on from there';
CREATE FUNCTION xmldom.first_attribute(element xmldom.element) RETURNS xmldom.attr
    AS 'MODULE_PATHNAME', 'xml_dom_first_attribute' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.first_attribute(xmldom.element) IS
    'first attribute of an element';
CREATE FUNCTION xmldom.next_attribute(attribute xmldom.attr) RETURNS xmldom.attr
    AS 'MODULE_PATHNAME', 'xml_dom_next_attribute' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.next_attribute(xmldom.attr) IS
    'next attribute of the same element';
CREATE FUNCTION xmldom.next_element(node xmldom.node, top xmldom.node, name text) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xml_dom_next_element' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.next_element(xmldom.node, xmldom.node, text) IS
    'next element of that name in document order below top; * means any name';

-- Sets.

CREATE FUNCTION xmldom.nodes(list xmldom.node_list) RETURNS SETOF xmldom.node
    LANGUAGE SQL VOLATILE PARALLEL UNSAFE ROWS 100
BEGIN ATOMIC
    SELECT xmldom.item(nodes.list, place)
        FROM pg_catalog.generate_series(0, xmldom.get_length(nodes.list) - 1) AS place;
END;
COMMENT ON FUNCTION xmldom.nodes(xmldom.node_list) IS
    'members of a list, in its order';
CREATE FUNCTION xmldom.children(node xmldom.node) RETURNS SETOF xmldom.node
    LANGUAGE SQL VOLATILE PARALLEL UNSAFE ROWS 100
BEGIN ATOMIC
    WITH RECURSIVE found (child) AS (
        SELECT xmldom.first_node(children.node)
        UNION ALL
        SELECT xmldom.get_next_sibling(child) FROM found WHERE child IS NOT NULL
    )
    SELECT child FROM found WHERE child IS NOT NULL;
END;
COMMENT ON FUNCTION xmldom.children(xmldom.node) IS
    'all children of a node, blank texts too';
CREATE FUNCTION xmldom.attributes(element xmldom.element) RETURNS SETOF xmldom.attr
    LANGUAGE SQL VOLATILE PARALLEL UNSAFE ROWS 10
BEGIN ATOMIC
    WITH RECURSIVE found (attribute) AS (
        SELECT xmldom.first_attribute(attributes.element)
        UNION ALL
        SELECT xmldom.next_attribute(attribute) FROM found WHERE attribute IS NOT NULL
    )
    SELECT attribute FROM found WHERE attribute IS NOT NULL;
END;
COMMENT ON FUNCTION xmldom.attributes(xmldom.element) IS
    'attributes of an element';
CREATE FUNCTION xmldom.descendants(node xmldom.node, name text) RETURNS SETOF xmldom.element
    LANGUAGE SQL VOLATILE PARALLEL UNSAFE ROWS 100
BEGIN ATOMIC
    WITH RECURSIVE found (element) AS (
        SELECT xmldom.next_element(descendants.node, descendants.node, descendants.name)
        UNION ALL
        SELECT xmldom.next_element(element, descendants.node, descendants.name)
            FROM found WHERE element IS NOT NULL
    )
    SELECT element FROM found WHERE element IS NOT NULL;
END;
COMMENT ON FUNCTION xmldom.descendants(xmldom.node, text) IS
    'elements of that name below a node, in document order; * means any name';
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
    'frees every document and parser made since the scope began; their number';
CREATE FUNCTION xmldom.free_all() RETURNS integer
    AS 'MODULE_PATHNAME', 'xml_dom_free_all' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.free_all() IS
    'frees every document and parser of the session; their number';

CREATE VIEW xmldom.session AS
    SELECT CAST(count(document) AS integer) AS documents,
        xml_dom_get_session_tree_num() AS handles,
        sum(nodes) FILTER (WHERE document IS NULL) AS nodes,
        sum(bytes) FILTER (WHERE document IS NULL) AS bytes
    FROM pkg_dbe_xml_memory;
COMMENT ON VIEW xmldom.session IS
    'what this session holds: documents, handles, nodes of its trees, bytes of memory';
GRANT SELECT ON xmldom.session TO PUBLIC;
