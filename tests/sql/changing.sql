-- Changing a tree: every function, its null rule, its reports as the server shows them.
\set VERBOSITY default
\pset null '(null)'
\pset format unaligned

-- A document from nothing.
SELECT xml_dom_new_document_empty() AS doc \gset
SELECT xml_dom_create_element(:'doc', 'order') AS root \gset
SELECT xml_dom_create_element_ns(:'doc', 'item', 'urn:shop') AS item \gset
SELECT xml_dom_create_text_node(:'doc', 'pencil & paper') AS data \gset
SELECT xml_dom_create_attribute(:'doc', 'sku') AS sku \gset
SELECT xml_dom_set_node_value(:'sku', 'A1 & "B2"') AS set_value;
SELECT xml_dom_append_child(:'doc', :'root') IS NOT NULL AS root,
       xml_dom_append_child(:'root', :'item') IS NOT NULL AS item,
       xml_dom_append_child(:'item', :'data') IS NOT NULL AS data,
       xml_dom_append_child(:'item', :'sku') IS NOT NULL AS sku;
SELECT xml_dom_set_attribute(:'root', 'number', '1') IS NULL AS set_attribute,
       xml_dom_set_attribute(:'root', 'empty', NULL) IS NULL AS set_empty,
       xml_dom_set_attribute_ns(:'root', 'seen', 'yes', 'urn:log') IS NULL AS set_ns;
SELECT xml_dom_write_to_buffer_doc(:'doc');
SELECT xml_dom_get_attribute_ns(:'root', 'seen', 'urn:log') AS seen,
       xml_dom_get_attribute(:'root', 'empty') AS empty,
       xml_dom_get_node_value(:'sku') AS sku, :'doc' AS document, :'root' AS root_handle;

-- Texts merge, attributes replace, nodes move.
SELECT xml_dom_create_text_node(:'doc', ' and ink') AS more \gset
SELECT xml_dom_get_node_value(xml_dom_append_child(:'item', :'more')) AS merged;
SELECT xml_dom_get_node_value(:'more');
SELECT xml_dom_create_attribute(:'doc', 'sku') AS other \gset
SELECT xml_dom_append_child(:'item', :'other') IS NOT NULL AS replaced;
SELECT xml_dom_get_node_value(:'sku');
SELECT xml_dom_append_child(:'doc', xml_dom_create_element(:'doc', 'aside')) AS aside \gset
SELECT xml_dom_append_child(:'aside', :'item') IS NOT NULL AS moved;
SELECT xml_dom_write_to_buffer_doc(:'doc');

-- Values are stored as they are.
SELECT xml_dom_set_node_value(:'other', 'AT&T; &amp; <x>') AS set_value;
SELECT xml_dom_get_node_value(:'other') AS value;
SELECT xml_dom_write_to_buffer_node(:'item');

-- Attribute nodes.
SELECT xml_dom_new_document_clob('<a x="1" y="2"><b x="3"/></a>') AS doc2 \gset
SELECT xml_dom_get_document_element(:'doc2') AS a \gset
SELECT xml_dom_get_attribute_node(xml_dom_make_element(xml_dom_get_first_child(:'a')), 'x') AS x3 \gset
SELECT xml_dom_set_attribute_node(:'a', :'x3') = :'x3' AS the_same_handle;
SELECT xml_dom_remove_attribute_node(:'a', xml_dom_get_attribute_node(:'a', 'y')) AS y \gset
SELECT xml_dom_get_node_value(:'y') AS taken_off, xml_dom_write_to_buffer_node(:'a') AS left_over;
SELECT xml_dom_set_attribute_node(:'a', xml_dom_create_attribute(:'doc2', 'never')) AS never_adds;
SELECT xml_dom_get_node_name(xml_dom_make_attr(xml_dom_makenode(:'x3'))) AS attribute;

-- Copies from another document.
SELECT xml_dom_import_node(:'doc2', :'item') AS shallow \gset
SELECT xml_dom_import_node(:'doc2', :'item', true) AS deep \gset
SELECT xml_dom_import_node(:'doc2', :'item', NULL) AS null_deep \gset
SELECT xml_dom_append_child(:'a', :'shallow') IS NOT NULL AS shallow,
       xml_dom_append_child(:'a', :'deep') IS NOT NULL AS deep,
       xml_dom_append_child(:'a', :'null_deep') IS NOT NULL AS null_deep;
SELECT xml_dom_write_to_buffer_doc(:'doc2');

-- Handles given up.
SELECT xml_dom_get_child_nodes(:'a') AS list \gset
SELECT xml_dom_free_nodelist(:'list') AS freed, xml_dom_is_null(:'list') AS is_null;
SELECT xml_dom_free_nodelist(:'list');
SELECT xml_dom_free_node(:'shallow') AS freed, xml_dom_is_null(:'shallow') AS is_null,
       xml_dom_free_node(:'shallow') AS again, xml_dom_free_element(:'a') AS element;
SELECT xml_dom_set_attribute(:'a', 'x', '1') AS nothing_done;
SELECT xml_dom_free_node(:'doc2') AS document, xml_dom_is_null(:'deep') AS is_null;

-- Null arguments.
SELECT xml_dom_create_attribute(NULL, 'x') AS create_attribute,
       xml_dom_set_attribute(NULL, 'x', '1') AS set_attribute,
       xml_dom_set_attribute_ns(NULL, 'x', '1', 'u') AS set_attribute_ns,
       xml_dom_set_attribute_node(NULL, :'x3') AS set_attribute_node,
       xml_dom_remove_attribute_node(NULL, :'x3') AS remove_attribute_node,
       xml_dom_make_attr(NULL) AS make_attr, xml_dom_append_child(NULL, NULL) AS append_child,
       xml_dom_import_node(NULL, NULL) AS import2, xml_dom_import_node(NULL, NULL, NULL) AS import3,
       xml_dom_set_node_value(NULL, 'v') AS set_node_value, xml_dom_free_node(NULL) AS free_node,
       xml_dom_free_element(NULL) AS free_element, xml_dom_free_nodelist(NULL) AS free_nodelist;

-- Reports.
SELECT xml_dom_create_element(NULL, 'a');
SELECT xml_dom_create_element(:'doc', NULL);
SELECT xml_dom_create_element(:'doc', repeat('n', 32768));
SELECT length(xml_dom_get_tagname(xml_dom_create_element(:'doc', repeat('n', 32767))));
SELECT xml_dom_create_element(:'root', 'a');
SELECT xml_dom_create_element_ns(:'doc', 'a', repeat('n', 32768));
SELECT xml_dom_create_text_node(NULL, 'a');
SELECT xml_dom_create_attribute(:'doc', NULL);
SELECT xml_dom_set_attribute(:'doc', 'x', '1');
SELECT xml_dom_set_attribute_node(:'root', NULL);
SELECT xml_dom_make_attr(:'root');
SELECT xml_dom_append_child(:'root', NULL);
SELECT xml_dom_append_child(:'item', :'item');
SELECT xml_dom_append_child(:'item', :'aside');
SELECT xml_dom_append_child(:'root', xml_dom_new_document_empty());
SELECT xml_dom_import_node(:'root', :'item', true);
SELECT xml_dom_set_node_value(:'root', 'v');
SELECT xml_dom_set_node_value(:'deep', 'v');
SELECT xml_dom_free_node('\x00');
SELECT xml_dom_free_nodelist(:'root');
