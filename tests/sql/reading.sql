-- Reading a tree: every function, its null rule, its reports as the server shows them.
\set VERBOSITY default
\pset null '(null)'
SELECT xml_dom_get_session_tree_num(), xml_dom_get_doc_trees_info();
SELECT xml_dom_new_document_clob($x$<?xml version="1.0"?>
<!-- prolog -->
<!DOCTYPE shop [<!ATTLIST shop currency CDATA "EUR"><!ENTITY co "Company">]>
<shop xmlns="urn:shop" xmlns:p="urn:price" name="Corner">
  <item id="1" p:net="9.50">Tea &amp; <![CDATA[<milk>]]></item>
  <item id="2" p:net=""><p:tax>19</p:tax><?print now?><!--note--></item>
  <empty/>
</shop>
<!-- end -->$x$) AS doc \gset
SELECT xml_dom_get_document_element(:'doc') AS shop \gset
SELECT :'doc' AS document, :'shop' AS root;

-- Navigation.
SELECT xml_dom_get_node_name(xml_dom_get_parent_node(:'shop')) AS parent,
       xml_dom_get_parent_node(xml_dom_get_parent_node(:'shop')) AS above,
       xml_dom_get_node_name(xml_dom_get_first_child(:'doc')) AS first,
       xml_dom_get_node_name(xml_dom_get_last_child(:'doc')) AS last,
       xml_dom_get_next_sibling(xml_dom_get_last_child(:'doc')) AS after_last;
SELECT xml_dom_get_first_child(:'shop') AS item1 \gset
SELECT xml_dom_get_node_name(:'item1'), xml_dom_get_node_type(:'item1'),
       xml_dom_get_node_name(xml_dom_get_next_sibling(:'item1')),
       xml_dom_has_child_nodes(:'item1'), xml_dom_has_child_nodes(xml_dom_get_last_child(:'shop'));
SELECT xml_dom_get_first_child(:'item1') = xml_dom_get_first_child(:'item1') AS same_handle;

-- Names, values and types of all children of the document and of the second item.
CREATE FUNCTION children(node raw) RETURNS TABLE (type int, name text, value text)
LANGUAGE plpgsql AS $$
DECLARE
    list raw := xml_dom_get_child_nodes(node);
    child raw;
BEGIN
    FOR i IN 0 .. xml_dom_get_length(list) - 1 LOOP
        child := xml_dom_item(list, i);
        type := xml_dom_get_node_type(child);
        name := xml_dom_get_node_name(child);
        value := xml_dom_get_node_value(child);
        RETURN NEXT;
    END LOOP;
    PERFORM xml_dom_free_nodelist(list);
END
$$;
SELECT * FROM children(:'doc');
SELECT * FROM children(:'item1');
SELECT * FROM children(xml_dom_get_next_sibling(:'item1'));
SELECT * FROM children(xml_dom_get_last_child(:'shop'));

-- Attributes.
SELECT xml_dom_make_element(:'item1') AS item \gset
SELECT xml_dom_get_attribute(:'item', 'id') AS id, xml_dom_get_attribute(:'item', 'net') AS net,
       xml_dom_get_attribute(:'item', 'p:net') AS prefixed, xml_dom_get_attribute(:'item', 'none') AS none,
       xml_dom_get_attribute_ns(:'item', 'net', 'urn:price') AS in_ns,
       xml_dom_get_attribute_ns(:'item', 'id', 'urn:price') AS not_in_ns;
SELECT xml_dom_get_attribute(xml_dom_make_element(xml_dom_get_next_sibling(:'item1')), 'net') AS empty;
SELECT xml_dom_get_attribute(:'shop', 'currency') AS declared_default;
SELECT xml_dom_get_node_value(xml_dom_get_attribute_node(:'item', 'id')) AS two_arguments,
       xml_dom_get_node_name(xml_dom_get_attribute_node(:'item', 'net', 'urn:price')) AS three,
       xml_dom_get_node_name(xml_dom_get_attribute_node(:'item', 'net', NULL)) AS null_third,
       xml_dom_get_attribute_node(:'item', 'net', 'urn:none') AS other_namespace;
SELECT xml_dom_get_attributes(:'item1') AS map \gset
SELECT xml_dom_get_length(:'map'), xml_dom_get_node_value(xml_dom_item(:'map', 1)) AS second,
       xml_dom_item(:'map', 2) AS beyond, xml_dom_item(:'map', -1) AS negative,
       xml_dom_get_node_name(xml_dom_get_named_item(:'map', 'net')) AS named,
       xml_dom_get_node_name(xml_dom_get_named_item_ns(:'map', 'net', 'urn:price')) AS named_ns,
       xml_dom_get_named_item_ns(:'map', 'net', 'urn:none') AS other_namespace,
       xml_dom_get_node_name(xml_dom_get_named_item_ns(:'map', 'id', 'urn:none')) AS without_namespace;

-- Tag names.
SELECT xml_dom_get_elements_by_tagname_ns(:'doc', '*', 'urn:price') AS list \gset
SELECT xml_dom_get_length(:'list'),
       xml_dom_get_tagname(xml_dom_make_element(xml_dom_item(:'list', 0))) AS tag_name,
       xml_dom_get_localname(xml_dom_item(:'list', 0)) AS local_name,
       xml_dom_get_tagname(:'shop') AS in_default_namespace;
SELECT xml_dom_get_length(xml_dom_get_elements_by_tagname_document(:'doc', 'item')) AS items,
       xml_dom_get_length(xml_dom_get_elements_by_tagname_document(:'doc', '*')) AS all_elements,
       xml_dom_get_length(xml_dom_get_elements_by_tagname_element(:'shop', 'shop')) AS itself,
       xml_dom_get_length(xml_dom_get_elements_by_tagname_element(:'shop', 'tax')) AS below,
       xml_dom_get_length(xml_dom_get_children_by_tagname(:'shop', 'tax')) AS children_only,
       xml_dom_get_length(xml_dom_get_children_by_tagname(:'shop', 'item')) AS child_items,
       xml_dom_get_length(xml_dom_get_children_by_tagname_ns(:'shop', 'item', 'urn:shop')) AS in_ns,
       xml_dom_get_length(xml_dom_get_children_by_tagname_ns(:'shop', 'item', 'urn:price')) AS in_other;

-- Null arguments.
SELECT xml_dom_get_document_element(NULL), xml_dom_get_parent_node(NULL), xml_dom_get_first_child(NULL),
       xml_dom_get_last_child(NULL), xml_dom_get_next_sibling(NULL), xml_dom_get_child_nodes(NULL);
SELECT xml_dom_get_node_value(NULL), xml_dom_get_node_name(NULL), xml_dom_get_node_type(NULL),
       xml_dom_get_attributes(NULL), xml_dom_get_attribute_ns(NULL, 'a', 'u'),
       xml_dom_get_attribute_ns(:'item', NULL, 'u'), xml_dom_get_attribute_ns(:'item', 'a', NULL);
SELECT xml_dom_get_length(NULL), xml_dom_item(NULL, 0), xml_dom_item(:'list', NULL),
       xml_dom_get_named_item(NULL, 'a'), xml_dom_get_named_item(:'map', NULL),
       xml_dom_get_named_item_ns(:'map', 'a', NULL);
SELECT xml_dom_get_attribute(NULL, 'a'), xml_dom_get_attribute(:'item', NULL), xml_dom_get_tagname(NULL),
       xml_dom_get_localname(NULL), xml_dom_get_attribute_node(NULL, 'a'),
       xml_dom_get_attribute_node(:'item', NULL, 'u');
SELECT xml_dom_get_children_by_tagname(NULL, 'a'), xml_dom_get_children_by_tagname_ns(:'item', 'a', NULL),
       xml_dom_get_elements_by_tagname_document(:'doc', NULL),
       xml_dom_get_elements_by_tagname_element(NULL, 'a'),
       xml_dom_get_elements_by_tagname_ns(:'doc', 'a', NULL);
SELECT xml_dom_makenode(NULL), xml_dom_make_element(NULL), xml_dom_is_null(NULL),
       xml_dom_has_child_nodes(NULL), xml_dom_get_detail_doc_tree_info(NULL);
SELECT xml_dom_set_charset(NULL, 'none') IS NULL AS charset,
       xml_dom_set_doctype(NULL, 'a', 'b', 'c') IS NULL AS doctype;

-- Handles that name nothing.
SELECT xml_dom_makenode(:'shop') AS freed \gset
SELECT xml_dom_free_node(:'freed');
SELECT xml_dom_is_null(:'freed'), xml_dom_get_node_type(:'freed'), xml_dom_get_node_name(:'freed'),
       xml_dom_get_first_child(:'freed'), xml_dom_get_attributes(:'freed'),
       xml_dom_has_child_nodes(:'freed'), xml_dom_makenode(:'freed');
SELECT xml_dom_free_nodelist(:'list');
SELECT xml_dom_is_null(:'list'), xml_dom_get_length(:'list'), xml_dom_item(:'list', 0);
SELECT xml_dom_is_null(:'map'), xml_dom_is_null(xml_dom_get_child_nodes(xml_dom_get_last_child(:'shop'))),
       xml_dom_is_null(:'doc');

-- Reports.
SELECT xml_dom_get_node_name('\x00');
SELECT xml_dom_get_node_name('\x00000000000000000300000001');
SELECT xml_dom_get_first_child(:'map');
SELECT xml_dom_get_attributes(:'shop');
SELECT xml_dom_get_attribute(:'item1', 'id');
SELECT xml_dom_get_attribute_ns(:'item1', 'id', 'urn:price');
SELECT xml_dom_get_localname(:'doc');
SELECT xml_dom_makenode(:'item1');
SELECT xml_dom_make_element(:'doc');
SELECT xml_dom_make_element(xml_dom_get_first_child(:'item1'));
SELECT xml_dom_get_attribute_node(:'doc', 'id');
SELECT xml_dom_get_attribute_node(:'freed', 'id');
SELECT xml_dom_get_length(:'doc');
SELECT xml_dom_item(:'shop', 0);
SELECT xml_dom_item(xml_dom_get_child_nodes(:'shop'), -1);
SELECT xml_dom_get_named_item(:'map', repeat('n', 32768));
SELECT xml_dom_set_charset(:'doc', 'no such set');
SELECT xml_dom_set_charset(:'doc', repeat('x', 61));
SELECT xml_dom_set_charset(:'shop', 'UTF-8');
SELECT xml_dom_set_charset(:'freed', 'UTF-8');
SELECT xml_dom_set_doctype(:'doc', repeat('n', 32501), NULL, NULL);
SELECT xml_dom_set_doctype(:'doc', repeat('n', 20000), repeat('s', 20000), NULL);

-- Root, character set and document type.
SELECT xml_dom_new_document_clob('<r>é</r>') AS other \gset
SELECT xml_dom_set_charset(:'other', 'ISO-8859-1'), xml_dom_set_doctype(:'other', 'r', 'r.dtd', '-//X//R//EN');
SELECT xml_dom_write_to_buffer_doc(:'other');
SELECT xml_dom_set_doctype(:'other', 'r', 'other.dtd', NULL);
SELECT xml_dom_write_to_buffer_doc(:'other');
SELECT xml_dom_get_document_element(xml_dom_new_document_empty()) AS no_root;

-- What the session holds.
SELECT xml_dom_free_document(:'doc');
SELECT xml_dom_get_node_name(:'doc');
SELECT xml_dom_new_document_clob('<a><b c="d"/></a>') AS third \gset
SELECT xml_dom_get_detail_doc_tree_info(:'third');
SELECT xml_dom_get_detail_doc_tree_info(xml_dom_get_document_element(:'third'));
SELECT xml_dom_free_document(:'other');
SELECT xml_dom_get_doc_trees_info() ~ '^(\|ID:[0-9A-F]{26}\t\|Node count:\d+\t\|Memory used:\d+ byte\t\|\n)+$'
       AS form, xml_dom_get_session_tree_num() > 0 AS some;

-- Handles survive what the transaction does.
BEGIN;
SELECT xml_dom_get_document_element(:'third') AS inside \gset
ROLLBACK;
SELECT xml_dom_get_tagname(:'inside');
DROP FUNCTION children(raw);
