-- The package layer: handles under their own types, the DOM's methods as functions.
\set VERBOSITY terse

-- A document is built, walked, changed and written in expressions alone.
DO $$
DECLARE
    doc xmldom.document := xmldom.new_document();
    root xmldom.element := xmldom.append_child(doc, xmldom.create_element(doc, 'order'));
    item xmldom.element;
    node xmldom.node;
    attribute xmldom.attr;
BEGIN
    root := xmldom.set_attribute(xmldom.set_attribute(root, 'id', '17'), 'state', 'new');
    item := xmldom.append_child(root, xmldom.create_element(doc, 'item'));
    item := xmldom.set_attribute(item, 'sku', 'A1');
    node := xmldom.append_child(item, xmldom.create_text_node(doc, 'Pencil'));
    attribute := xmldom.set_node_value(xmldom.get_attribute_node(root, 'state'), 'done');
    RAISE NOTICE '% % %', xmldom.get_node_name(attribute), xmldom.get_node_value(attribute),
        xmldom.get_attribute(root, 'state');
    RAISE NOTICE '%', xmldom.write_to_buffer(doc);
    doc := xmldom.free_document(doc);
    RAISE NOTICE '% %', doc IS NULL, xmldom.is_null(doc);
END
$$;
SELECT xml_dom_get_session_tree_num() AS handles;

CREATE TEMPORARY TABLE held (doc xmldom.document, root xmldom.element);
INSERT INTO held SELECT doc, xmldom.get_document_element(doc) FROM xmldom.parse(
    '<!-- top --><r a="1" p:b="2" xmlns:p="urn:p"><x n="1"/>text<x n="2"><p:y/></x><!-- c --></r>') AS doc;
CREATE TEMPORARY VIEW root AS SELECT root FROM held;

-- Walking. What the DOM derives from a node is taken as a node, whatever the type of the handle.
SELECT xmldom.get_node_name(xmldom.get_first_child(root)) AS first,
       xmldom.get_node_name(xmldom.get_last_child(root)) AS last,
       xmldom.get_node_value(xmldom.get_next_sibling(xmldom.get_first_child(root))) AS next,
       xmldom.get_node_name(xmldom.get_parent_node(root)) AS parent,
       xmldom.get_length(xmldom.get_child_nodes(root)) AS children,
       xmldom.has_child_nodes(root) AS has_children FROM root;
SELECT xmldom.get_node_type(doc) AS document, xmldom.get_node_type(root) AS element,
       xmldom.get_node_type(xmldom.get_attribute_node(root, 'a')) AS attribute,
       xmldom.get_node_type(xmldom.create_text_node(doc, 'x')) AS text FROM held;
SELECT xmldom.get_node_name(xmldom.get_first_child(doc)) AS first,
       xmldom.get_length(xmldom.get_child_nodes(doc)) AS children FROM held;

-- Names and attributes.
SELECT xmldom.get_tag_name(xmldom.item(found, 0)::xmldom.element) AS tag,
       xmldom.get_local_name(xmldom.item(found, 0)) AS local, xmldom.get_length(found) AS found
FROM root, xmldom.get_elements_by_tag_name_ns(root, 'y', 'urn:p') AS found;
SELECT xmldom.get_attribute(root, 'a') AS a, xmldom.get_attribute_ns(root, 'b', 'urn:p') AS b,
       xmldom.get_node_value(xmldom.get_attribute_node_ns(root, 'b', 'urn:p')) AS b_node,
       xmldom.get_attribute(root, 'none') IS NULL AS none FROM root;
SELECT xmldom.get_length(map) AS length, xmldom.get_node_value(xmldom.item(map, 1)) AS second,
       xmldom.get_node_value(xmldom.get_named_item(map, 'a')::xmldom.attr) AS a,
       xmldom.get_node_value(xmldom.get_named_item_ns(map, 'b', 'urn:p')) AS b,
       xmldom.is_null(map) AS is_null
FROM root, xmldom.get_attributes(root) AS map;
SELECT xmldom.get_length(xmldom.get_attributes(xmldom.get_last_child(root))) AS of_a_comment FROM root;

-- Lists.
SELECT xmldom.get_length(xmldom.get_elements_by_tag_name(doc, 'x')) AS below_document,
       xmldom.get_length(xmldom.get_elements_by_tag_name(root, '*')) AS below_root,
       xmldom.get_length(xmldom.get_elements_by_tag_name_ns(doc, 'x', '*')) AS of_any_namespace,
       xmldom.get_length(xmldom.get_children_by_tag_name(root, 'x')) AS children,
       xmldom.get_length(xmldom.get_children_by_tag_name_ns(root, 'y', 'urn:p')) AS no_child,
       xmldom.is_null(xmldom.get_elements_by_tag_name(root, 'z')) AS empty FROM held;

-- Changes give the handle they changed.
SELECT xmldom.set_attribute(root, 'c', '3')::raw = root::raw AS attribute,
       xmldom.set_attribute_ns(root, 'd', '4', 'urn:d')::raw = root::raw AS attribute_ns,
       xmldom.set_charset(doc, 'UTF-8')::raw = doc::raw AS charset,
       xmldom.set_doctype(doc, 'r', 'r.dtd', NULL)::raw = doc::raw AS doctype FROM held;
SELECT xmldom.set_node_value(node, 'other')::raw = node::raw AS same, xmldom.get_node_value(node) AS value
    FROM root, xmldom.get_next_sibling(xmldom.get_first_child(root)) AS node;
SELECT xmldom.append_child(root, element)::raw = element::raw AS same
    FROM held, xmldom.create_element_ns(doc, 'z', 'urn:z') AS element;
SELECT xmldom.set_attribute(NULL, 'c', '3');
SELECT xmldom.set_attribute(root, NULL, '3') FROM root;
SELECT xmldom.set_attribute_node(element, attribute) IS NULL AS put,
       xmldom.set_attribute_node(element, xmldom.set_node_value(second, '6'))::raw = attribute::raw AS replaced,
       xmldom.get_attribute(element, 'e') AS e,
       xmldom.remove_attribute_node(element, second)::raw = second::raw AS removed,
       xmldom.get_attribute(element, 'e') IS NULL AS gone
    FROM held, xmldom.create_element(doc, 'w') AS element, xmldom.create_attribute(doc, 'e') AS attribute,
        xmldom.create_attribute(doc, 'e') AS second;
SELECT xmldom.write_to_buffer(doc) FROM held;

-- Copies, CLOBs, values of type xml.
SELECT xmldom.write_to_clob(xmldom.import_node(other, root)) AS shallow,
       length(xmldom.write_to_clob(xmldom.import_node(other, root, true))) > 100 AS deep,
       xmldom.write_to_clob(other) AS other, xmldom.free_document(other) IS NULL AS freed
    FROM root, xmldom.parse('<o/>'::xml) AS other;

-- Casts: up they cost nothing, down they look at the node.
SELECT root::xmldom.node::raw = root::raw AS up, root::xmldom.node::xmldom.element::raw = root::raw AS down,
       root::raw::xmldom.element::text = root::text AS raw, doc::xmldom.node::xmldom.document = doc AS document
    FROM (SELECT doc FROM held) AS documents, xmldom.child_elements(doc) AS root;
SELECT xmldom.get_last_child(root)::xmldom.attr FROM root;
SELECT xmldom.get_next_sibling(xmldom.get_first_child(root))::xmldom.element FROM root;
SELECT doc::xmldom.node::xmldom.element FROM held;
SELECT root::xmldom.node::xmldom.attr FROM root;
SELECT root::xmldom.node::xmldom.text_node FROM root;
SELECT root::xmldom.node::xmldom.document FROM root;
SELECT xmldom.get_tag_name(xmldom.get_first_child(root)::xmldom.element) FROM root;
DO $$
DECLARE
    root xmldom.element := (SELECT root FROM root);
    element xmldom.element;
BEGIN
    element := xmldom.get_first_child(root); -- an assignment casts
    RAISE NOTICE '%', xmldom.get_attribute(element, 'n');
    element := xmldom.get_next_sibling(element);
EXCEPTION WHEN OTHERS THEN
    RAISE NOTICE '%', SQLERRM;
END
$$;

-- What a step gives is taken where an element is wanted, and looked at.
SELECT xmldom.get_attribute(xmldom.get_first_child(root), 'n') FROM root;
-- The type checker finds wrong kinds.
SELECT xmldom.create_element(root, 'n') FROM root;
SELECT xmldom.item(root, 0) FROM root;
SELECT xmldom.get_first_child(xmldom.get_child_nodes(root)) FROM root;
SELECT xmldom.free_document(root) FROM root;
SELECT xmldom.free_node_list(root) FROM root;
SELECT xmldom.append_child(root, doc, doc) FROM held;
SELECT xmldom.get_node_name(xml_dom_new_document_empty());
SELECT xmlparser.get_document(doc) FROM held;

-- Handles given up.
SELECT xmldom.free_node(node) IS NULL AS node, xmldom.is_null(node) AS is_null,
       xmldom.free_node_list(list) IS NULL AS list, xmldom.is_null(list) AS list_is_null,
       xmldom.free_named_node_map(map) IS NULL AS map
    FROM root, xmldom.get_first_child(root) AS node, xmldom.get_child_nodes(root) AS list,
        xmldom.get_attributes(root) AS map;
SELECT xmldom.free_node(NULL) IS NULL AS null_node;
SELECT xmldom.free_document(doc) IS NULL AS freed FROM held;
SELECT xmldom.get_tag_name(root) FROM root;

-- Files: the handle comes back, too.
SELECT '/tmp/pkg_dbe_xml_package_' || pg_backend_pid() AS folder \gset
\set command 'mkdir -p ' :folder '; chmod 700 ' :folder
COPY (SELECT 1) TO PROGRAM :'command';
SELECT xml_directory_create('package', :'folder');
SELECT xmldom.write_to_file(doc, 'package/a.xml')::raw = doc::raw AS document,
       xmldom.write_to_file(doc, 'package/b.xml', 'ISO-8859-1')::raw = doc::raw AS in_latin1,
       xmldom.write_to_file(root, 'package/c.xml')::raw = root::raw AS element,
       xmldom.write_to_file(root, 'package/d.xml', 'UTF-8')::raw = root::raw AS in_utf8,
       xmldom.free_document(doc) IS NULL AS freed
    FROM xmldom.parse('<a><b/></a>') AS doc, xmldom.get_document_element(doc) AS root;
SELECT name, pg_read_file(:'folder' || '/' || name) AS written FROM unnest(ARRAY['a.xml', 'b.xml', 'c.xml', 'd.xml']) AS name;
SELECT xmldom.write_to_file(xmldom.new_document(), 'package/e.txt');
SELECT xml_directory_drop('package');
\set command 'rm -r ' :folder
COPY (SELECT 1) TO PROGRAM :'command';
SELECT xmldom.free_all() > 0 AS freed;

-- Parser objects.
DO $$
DECLARE
    parser xmlparser.parser := xmlparser.set_validation_mode(xmlparser.new_parser(), false);
    doc xmldom.document;
BEGIN
    RAISE NOTICE '%', xmlparser.get_validation_mode(parser);
    doc := xmlparser.get_document(xmlparser.parse(parser, '<a><b/></a>'));
    RAISE NOTICE '%', xmldom.get_tag_name(xmldom.get_document_element(doc));
    doc := xmldom.free_document(doc);
    doc := xmlparser.get_document(xmlparser.parse_buffer(parser, '<c/>'));
    parser := xmlparser.free_parser(parser);
    RAISE NOTICE '% %', xmldom.get_tag_name(xmldom.get_document_element(doc)), parser IS NULL;
    doc := xmldom.free_document(doc);
END
$$;
SELECT xmlparser.get_document(xmlparser.parse(xmlparser.new_parser(), '<a>')) IS NULL AS no_document;

-- Everybody may use it.
CREATE ROLE pkg_dbe_xml_clerk;
SET ROLE pkg_dbe_xml_clerk;
SELECT xmldom.get_tag_name(xmldom.get_document_element(doc)) AS tag, xmldom.free_document(doc) IS NULL AS freed
    FROM xmldom.parse('<a/>') AS doc;
RESET ROLE;
DROP ROLE pkg_dbe_xml_clerk;

-- It reads like a reference: every function, type, schema and column is described, every argument named.
SELECT p.oid::regprocedure FROM pg_proc AS p WHERE pronamespace::regnamespace::text IN ('xmldom', 'xmlparser')
    AND (obj_description(oid, 'pg_proc') IS NULL OR (pronargs > 0 AND proargnames IS NULL));
SELECT t.oid::regtype FROM pg_type AS t WHERE typnamespace::regnamespace::text IN ('xmldom', 'xmlparser')
    AND typtype = 'b' AND typcategory <> 'A' AND obj_description(oid, 'pg_type') IS NULL;
SELECT attrelid::regclass, attname FROM pg_attribute WHERE attnum > 0
    AND attrelid IN ('xmldom.session'::regclass, 'pkg_dbe_xml_memory'::regclass, 'pg_directory'::regclass)
    AND col_description(attrelid, attnum) IS NULL;
SELECT oid::regnamespace, obj_description(oid, 'pg_namespace') FROM pg_namespace
    WHERE nspname IN ('xmldom', 'xmlparser') ORDER BY 1;
-- Of the functions only those are strict that do not look at nulls themselves.
SELECT p.oid::regprocedure FROM pg_proc AS p WHERE pronamespace::regnamespace::text IN ('xmldom', 'xmlparser')
    AND proisstrict AND prolang = (SELECT oid FROM pg_language WHERE lanname = 'c') ORDER BY 1;
