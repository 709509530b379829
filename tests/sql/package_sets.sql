-- The package layer: sets of handles, the picture of a tree, the session, scopes.
\set VERBOSITY terse
CREATE TEMPORARY TABLE held AS SELECT doc, xmldom.get_document_element(doc) AS root FROM xmldom.parse(
    '<!-- top --><r a="1" p:b="2" xmlns:p="urn:p"><x n="1"/>text<x n="2"><p:y><x n="3"/></p:y></x>' ||
    '<?do it?><![CDATA[<z>]]></r>') AS doc;

-- Members, children, attributes, descendants as rows, in order.
SELECT place, xmldom.get_node_name(node) AS name, xmldom.get_node_value(node) AS value
    FROM held, xmldom.children(root) WITH ORDINALITY AS children (node, place) ORDER BY place;
SELECT xmldom.get_node_name(node) AS name FROM held, xmldom.children(doc) AS node;
SELECT xmldom.get_attribute(node::xmldom.element, 'n') AS n
    FROM held, xmldom.nodes(xmldom.get_elements_by_tag_name(doc, 'x')) AS node;
SELECT pg_typeof(attribute), xmldom.get_node_name(attribute) AS name, xmldom.get_node_value(attribute) AS value
    FROM held, xmldom.attributes(root) AS attribute;
SELECT pg_typeof(element), xmldom.get_tag_name(element) AS tag, xmldom.get_attribute(element, 'n') AS n
    FROM held, xmldom.descendants(root, '*') AS element;
SELECT xmldom.get_attribute(element, 'n') AS n FROM held, xmldom.descendants(doc, 'x') AS element;
-- Only what stands below.
SELECT xmldom.get_attribute(below, 'n') AS n FROM held, xmldom.descendants(root, 'x') AS x,
    xmldom.descendants(x, 'x') AS below;
SELECT count(*) FROM held, xmldom.descendants(root, 'none');
-- Nothing there.
SELECT (SELECT count(*) FROM xmldom.nodes(NULL)) AS nodes, (SELECT count(*) FROM xmldom.children(NULL)) AS children,
    (SELECT count(*) FROM xmldom.attributes(NULL)) AS attributes,
    (SELECT count(*) FROM xmldom.descendants(NULL, 'x')) AS descendants,
    (SELECT count(*) FROM xmldom.children(xmldom.get_first_child(root))) AS of_an_empty_element,
    (SELECT count(*) FROM xmldom.nodes(xmldom.get_elements_by_tag_name(root, 'none'))) AS of_an_empty_list
    FROM held;
-- The rows are known by the handles that they have: nothing stays behind.
CREATE TEMPORARY TABLE handles AS SELECT xml_dom_get_session_tree_num() AS before;
SELECT count(*) FROM held, xmldom.descendants(root, '*');
SELECT xml_dom_get_session_tree_num() - before AS made FROM handles;
-- The set stands when the first row is seen: rows may be moved meanwhile.
SELECT count(xmldom.append_child(root, xmldom.set_attribute(element, 'moved', 'yes')))
    FROM held, xmldom.descendants(root, 'x') AS element;
SELECT xmldom.write_to_buffer(root) FROM held;
SELECT count(*) FROM xmldom.children('\x0102030405060708090a0b0c0d'::xmldom.node);

-- The picture of a tree.
SELECT xmldom.outline(doc) FROM held;
SELECT xmldom.outline(xmldom.first_attribute(root)) AS attribute, xmldom.outline(xmldom.get_last_child(root)) AS last,
    xmldom.outline(NULL) AS nothing FROM held;
SELECT xmldom.outline(xmldom.parse('<!DOCTYPE a [<!ENTITY e "f">]><a b="' || repeat('x', 70) || '">' ||
    repeat('é', 60) || '<b>one' || chr(10) || 'two' || chr(9) || '&e;</b><b xml:lang="en">' || repeat('é', 61) || '</b><c xmlns="urn:c"/></a>'));
-- Deep trees are not indented for ever.
SELECT length(xmldom.outline(xmldom.parse(repeat('<a>', 2000) || repeat('</a>', 2000)))) AS length;

-- What the session holds.
SELECT xmldom.free_all() AS freed;
SELECT documents, handles, nodes, bytes BETWEEN 0 AND 100000 AS little FROM xmldom.session;
SELECT xmldom.get_tag_name(root) FROM held;
CREATE TEMPORARY TABLE kept AS SELECT xmldom.parse('<a b="c">text</a>') AS doc, xmlparser.new_parser() AS parser;
SELECT documents, handles, nodes, bytes BETWEEN 500 AND 200000 AS little FROM xmldom.session;

-- A scope: what was made since goes, what was there before stays.
DO $$
DECLARE
    scope xmldom.scope := xmldom.mark();
    inner_scope xmldom.scope;
    doc xmldom.document := xmldom.parse('<x/>');
    parser xmlparser.parser := xmlparser.new_parser();
BEGIN
    inner_scope := xmldom.mark();
    PERFORM xmldom.parse('<y/>'), xmldom.new_document();
    RAISE NOTICE '% of %', xmldom.release(inner_scope), (SELECT documents FROM xmldom.session);
    RAISE NOTICE '%', xmldom.get_tag_name(xmldom.get_document_element(doc));
    PERFORM xmlparser.get_document(xmlparser.parse(parser, '<z/>'));
    RAISE NOTICE '% %', xmldom.release(scope), xmldom.release(scope);
    PERFORM xmlparser.get_validation_mode(parser);
EXCEPTION WHEN OTHERS THEN
    RAISE NOTICE '%', SQLERRM;
END
$$;
SELECT documents FROM xmldom.session;
SELECT xmldom.write_to_buffer(doc) IS NOT NULL AS stays, xmlparser.get_validation_mode(parser) FROM kept;
-- A document that an older parser gave goes too, and the parser stays.
DO $$
DECLARE
    scope xmldom.scope := xmldom.mark();
    parser xmlparser.parser := (SELECT parser FROM kept);
BEGIN
    PERFORM xmlparser.get_document(xmlparser.parse(parser, '<z/>'));
    RAISE NOTICE '%', xmldom.release(scope);
    RAISE NOTICE '%', xmlparser.get_document(parser) IS NULL;
END
$$;

-- Also after an error, in the handler.
CREATE FUNCTION price_of(source text) RETURNS numeric LANGUAGE plpgsql AS $$
DECLARE
    scope xmldom.scope := xmldom.mark();
    price numeric;
BEGIN
    price := xmldom.get_attribute(xmldom.get_document_element(xmldom.parse(source)), 'price')::numeric;
    PERFORM xmldom.release(scope);
    RETURN price;
EXCEPTION WHEN OTHERS THEN
    PERFORM xmldom.release(scope);
    RAISE;
END
$$;
SELECT price_of('<item price="12.50"/>');
SELECT price_of('<item price="a lot"/>');
SELECT documents FROM xmldom.session;
-- Of a transaction that fails, too: scopes are not transactional.
CREATE TEMPORARY TABLE begun AS SELECT xmldom.mark() AS scope;
BEGIN;
SELECT xmldom.parse('<lost/>') IS NOT NULL AS made;
SELECT 1 / 0;
ROLLBACK;
SELECT xmldom.release(scope) FROM begun;
SELECT documents FROM xmldom.session;
-- Handles are unknown afterwards, and stay so.
SELECT xmldom.release(NULL) IS NULL AS nothing;
SELECT xmldom.release('\x0102030405060708090a0b0c0d');
SELECT xmldom.release('\x01'::raw::xmldom.scope);
SELECT xmldom.free_all() AS freed, xmldom.free_all() AS again;
SELECT xmldom.parse('<n/>') IS NOT NULL AS made;
SELECT xmldom.write_to_buffer(doc) FROM kept;
SELECT xmlparser.get_validation_mode(parser) FROM kept;
SELECT xmldom.free_all() AS freed;

-- Everybody sees his own session.
CREATE ROLE pkg_dbe_xml_clerk;
SET ROLE pkg_dbe_xml_clerk;
SELECT documents, handles FROM xmldom.session;
SELECT count(*) FROM xmldom.children(xmldom.parse('<a/>'));
SELECT xmldom.free_all() AS freed;
RESET ROLE;
DROP ROLE pkg_dbe_xml_clerk;
DROP FUNCTION price_of;
