-- Calls of the packages beside the long-named functions that do the same: for each pair, a function
-- for either side that makes a small document, calls as often as it is told to, and frees the
-- document. What the calls find in the document is the same on both sides.
create table bench.pairs (
    number int generated always as identity, name text, package text, long_named text
);
insert into bench.pairs (name, package, long_named) values
    ('get_document_element', 'other := xmldom.get_document_element(document)',
        'other := xml_dom_get_document_element(document)'),
    ('get_parent_node', 'node := xmldom.get_parent_node(element)',
        'node := xml_dom_get_parent_node(element)'),
    ('get_first_child', 'node := xmldom.get_first_child(element)',
        'node := xml_dom_get_first_child(element)'),
    ('get_last_child', 'node := xmldom.get_last_child(element)',
        'node := xml_dom_get_last_child(element)'),
    ('get_next_sibling', 'node := xmldom.get_next_sibling(element)',
        'node := xml_dom_get_next_sibling(element)'),
    ('has_child_nodes', 'answer := xmldom.has_child_nodes(element)',
        'answer := xml_dom_has_child_nodes(element)'),
    ('get_child_nodes', 'list := xmldom.get_child_nodes(element)',
        'list := xml_dom_get_child_nodes(element)'),
    ('get_node_name, element', 'value := xmldom.get_node_name(element)',
        'value := xml_dom_get_node_name(element)'),
    ('get_node_name, attribute with a prefix', 'value := xmldom.get_node_name(attribute)',
        'value := xml_dom_get_node_name(attribute)'),
    ('get_node_name, text', 'value := xmldom.get_node_name(data)',
        'value := xml_dom_get_node_name(data)'),
    ('get_node_value, text', 'value := xmldom.get_node_value(data)',
        'value := xml_dom_get_node_value(data)'),
    ('get_node_value, attribute', 'value := xmldom.get_node_value(attribute)',
        'value := xml_dom_get_node_value(attribute)'),
    ('get_node_type', 'number := xmldom.get_node_type(element)',
        'number := xml_dom_get_node_type(element)'),
    ('get_tag_name', 'value := xmldom.get_tag_name(element)',
        'value := xml_dom_get_tagname(element)'),
    ('get_local_name', 'value := xmldom.get_local_name(element)',
        'value := xml_dom_get_localname(element)'),
    ('is_null', 'answer := xmldom.is_null(element)', 'answer := xml_dom_is_null(element)'),
    ('get_attribute', 'value := xmldom.get_attribute(element, ''date'')',
        'value := xml_dom_get_attribute(element, ''date'')'),
    ('get_attribute, of a name that is not there',
        'value := xmldom.get_attribute(element, ''absent'')',
        'value := xml_dom_get_attribute(element, ''absent'')'),
    ('get_attribute_ns', 'value := xmldom.get_attribute_ns(element, ''kind'', ''urn:kinds'')',
        'value := xml_dom_get_attribute_ns(element, ''kind'', ''urn:kinds'')'),
    ('get_attribute_node', 'attribute := xmldom.get_attribute_node(element, ''date'')',
        'attribute := xml_dom_get_attribute_node(element, ''date'')'),
    ('get_attribute_node_ns',
        'attribute := xmldom.get_attribute_node_ns(element, ''kind'', ''urn:kinds'')',
        'attribute := xml_dom_get_attribute_node(element, ''kind'', ''urn:kinds'')'),
    ('get_attributes', 'map := xmldom.get_attributes(element)',
        'map := xml_dom_get_attributes(plain)'),
    ('get_length, map', 'number := xmldom.get_length(map)', 'number := xml_dom_get_length(map)'),
    ('get_length, list', 'number := xmldom.get_length(list)', 'number := xml_dom_get_length(list)'),
    ('item, list', 'node := xmldom.item(list, 1)', 'node := xml_dom_item(list, 1)'),
    ('item, map', 'attribute := xmldom.item(map, 1)', 'attribute := xml_dom_item(map, 1)'),
    ('get_named_item', 'attribute := xmldom.get_named_item(map, ''date'')',
        'attribute := xml_dom_get_named_item(map, ''date'')'),
    ('get_named_item_ns',
        'attribute := xmldom.get_named_item_ns(map, ''kind'', ''urn:kinds'')',
        'attribute := xml_dom_get_named_item_ns(map, ''kind'', ''urn:kinds'')'),
    ('get_elements_by_tag_name, and free_node_list',
        'nothing := xmldom.free_node_list(xmldom.get_elements_by_tag_name(document, ''item'')) is null',
        'nothing := xml_dom_free_nodelist(xml_dom_get_elements_by_tagname_document(document, ''item'')) is null'),
    ('get_elements_by_tag_name_ns, and free_node_list',
        'nothing := xmldom.free_node_list(xmldom.get_elements_by_tag_name_ns(document, ''note'', ''urn:kinds'')) is null',
        'nothing := xml_dom_free_nodelist(xml_dom_get_elements_by_tagname_ns(document, ''note'', ''urn:kinds'')) is null'),
    ('get_children_by_tag_name, and free_node_list',
        'nothing := xmldom.free_node_list(xmldom.get_children_by_tag_name(element, ''item'')) is null',
        'nothing := xml_dom_free_nodelist(xml_dom_get_children_by_tagname(element, ''item'')) is null'),
    ('get_children_by_tag_name_ns, and free_node_list',
        'nothing := xmldom.free_node_list(xmldom.get_children_by_tag_name_ns(element, ''note'', ''urn:kinds'')) is null',
        'nothing := xml_dom_free_nodelist(xml_dom_get_children_by_tagname_ns(element, ''note'', ''urn:kinds'')) is null'),
    ('get_first_child, and free_node',
        'nothing := xmldom.free_node(xmldom.get_first_child(other)) is null',
        'nothing := xml_dom_free_node(xml_dom_get_first_child(other)) is null'),
    ('create_element', 'other := xmldom.create_element(document, ''item'')',
        'other := xml_dom_create_element(document, ''item'')'),
    ('create_element, and free_node',
        'nothing := xmldom.free_node(xmldom.create_element(document, ''item'')) is null',
        'nothing := xml_dom_free_node(xml_dom_create_element(document, ''item'')) is null'),
    ('create_element_ns',
        'other := xmldom.create_element_ns(document, ''note'', ''urn:notes'')',
        'other := xml_dom_create_element_ns(document, ''note'', ''urn:notes'')'),
    ('create_text_node', 'data := xmldom.create_text_node(document, ''an article'')',
        'data := xml_dom_create_text_node(document, ''an article'')'),
    ('create_attribute', 'attribute := xmldom.create_attribute(document, ''date'')',
        'attribute := xml_dom_create_attribute(document, ''date'')'),
    ('append_child, of the last child', 'node := xmldom.append_child(element, last)',
        'node := xml_dom_append_child(element, last)'),
    ('append_child, of an element that holds others',
        'node := xmldom.append_child(root, element)',
        'node := xml_dom_append_child(root, element)'),
    ('append_child, of a new element',
        'node := xmldom.append_child(root, xmldom.create_element(document, ''item''))',
        'node := xml_dom_append_child(root, xml_dom_create_element(document, ''item''))'),
    ('import_node', 'node := xmldom.import_node(document, element, true)',
        'node := xml_dom_import_node(document, element, true)'),
    ('set_attribute, there already',
        'nothing := xmldom.set_attribute(element, ''date'', ''2026-11-22'') is null',
        'nothing := xml_dom_set_attribute(element, ''date'', ''2026-11-22'') is null'),
    ('set_attribute, with a prefix',
        'nothing := xmldom.set_attribute(element, ''p:kind'', ''retail'') is null',
        'nothing := xml_dom_set_attribute(element, ''p:kind'', ''retail'') is null'),
    ('set_attribute, of a new element',
        'nothing := xmldom.set_attribute(xmldom.create_element(document, ''item''), ''sku'', ''A1'') is null',
        'nothing := xml_dom_set_attribute(xml_dom_create_element(document, ''item''), ''sku'', ''A1'') is null'),
    ('set_attribute, a value of 1,000 characters',
        'nothing := xmldom.set_attribute(element, ''date'', long_value) is null',
        'nothing := xml_dom_set_attribute(element, ''date'', long_value) is null'),
    ('set_node_value, text', 'nothing := xmldom.set_node_value(data, ''another article'') is null',
        'nothing := xml_dom_set_node_value(data, ''another article'') is null'),
    ('set_node_value, attribute',
        'nothing := xmldom.set_node_value(attribute, ''wholesale'') is null',
        'nothing := xml_dom_set_node_value(attribute, ''wholesale'') is null'),
    ('set_attribute_node, on its element',
        'nothing := xmldom.set_attribute_node(element, plain_attribute) is null',
        'nothing := xml_dom_set_attribute_node(element, plain_attribute) is null'),
    ('set_charset', 'nothing := xmldom.set_charset(document, ''UTF-8'') is null',
        'nothing := xml_dom_set_charset(document, ''UTF-8'') is null'),
    ('set_doctype', 'nothing := xmldom.set_doctype(document, ''orders'', ''orders.dtd'', null) is null',
        'nothing := xml_dom_set_doctype(document, ''orders'', ''orders.dtd'', null) is null'),
    ('write_to_clob, a document', 'value := xmldom.write_to_clob(document)',
        'value := xml_dom_write_to_clob_doc(document)'),
    ('write_to_clob, a node', 'value := xmldom.write_to_clob(element)',
        'value := xml_dom_write_to_clob_node(element)'),
    ('parse, and free_document', 'nothing := xmldom.free_document(xmldom.parse(content)) is null',
        'nothing := xml_dom_free_document(xml_dom_new_document_clob(content)) is null'),
    ('new_document, and free_document', 'nothing := xmldom.free_document(xmldom.new_document()) is null',
        'nothing := xml_dom_free_document(xml_dom_new_document_empty()) is null'),
    ('xmlparser.parse, get_document, free_document',
        'nothing := xmldom.free_document(xmlparser.get_document(xmlparser.parse(parser, content))) is null',
        'nothing := xmlparser_parse_clob(parser, content) is null; nothing := xml_dom_free_document(xmlparser_get_doc(parser)) is null'),
    ('new_parser and free_parser', 'nothing := xmlparser.free_parser(xmlparser.new_parser()) is null',
        'nothing := xmlparser_free_parser(xmlparser_new_parser()) is null');

-- The functions of a pair are called bench.package_NUMBER and bench.long_named_NUMBER.
do $do$
declare
    content text := '<orders xmlns:p="urn:kinds"><order id="7" p:kind="retail" date="2026-01-01">'
        '<customer>Customer 7 &amp; Sons</customer><item>Article number 49</item>'
        '<p:note>To the gate</p:note><price>12.50</price></order><order id="8"/></orders>';
    pair record; side text; statement text;
begin
    for pair in select * from bench.pairs loop
        for side, statement in values ('package', pair.package), ('long_named', pair.long_named) loop
            execute format(case side when 'package' then $package$
                create function bench.package_%s(calls int) returns int language plpgsql as $$
                declare
                    content text := %L; long_value text := repeat('articles, ', 100);
                    document xmldom.document := xmldom.parse(content);
                    root xmldom.element := xmldom.get_document_element(document);
                    other xmldom.element := root;
                    element xmldom.element := xmldom.get_first_child(root);
                    last xmldom.node := xmldom.get_last_child(element);
                    attribute xmldom.attr := xmldom.get_attribute_node(element, 'p:kind');
                    plain_attribute xmldom.attr := xmldom.get_attribute_node(element, 'id');
                    data xmldom.text_node := xmldom.get_first_child(xmldom.get_first_child(element));
                    list xmldom.node_list := xmldom.get_child_nodes(element);
                    map xmldom.named_node_map := xmldom.get_attributes(element);
                    parser xmlparser.parser := xmlparser.new_parser();
                    node xmldom.node; value text; number int; answer boolean; nothing boolean;
                begin
                    for i in 1 .. calls loop %s; end loop;
                    perform xmlparser.free_parser(parser), xmldom.free_document(document);
                    return calls;
                end $$ $package$ else $long_named$
                create function bench.long_named_%s(calls int) returns int language plpgsql as $$
                declare
                    content text := %L; long_value text := repeat('articles, ', 100);
                    document raw := xml_dom_new_document_clob(content);
                    root raw := xml_dom_make_element(xml_dom_get_document_element(document));
                    other raw := root;
                    plain raw := xml_dom_get_first_child(root);
                    element raw := xml_dom_make_element(plain);
                    last raw := xml_dom_get_last_child(element);
                    attribute raw := xml_dom_get_attribute_node(element, 'kind', 'urn:kinds');
                    plain_attribute raw := xml_dom_get_attribute_node(element, 'id');
                    data raw := xml_dom_get_first_child(xml_dom_get_first_child(element));
                    list raw := xml_dom_get_child_nodes(element);
                    map raw := xml_dom_get_attributes(plain);
                    parser raw := xmlparser_new_parser();
                    node raw; value text; number int; answer boolean; nothing boolean;
                begin
                    for i in 1 .. calls loop %s; end loop;
                    perform xmlparser_free_parser(parser), xml_dom_free_document(document);
                    return calls;
                end $$ $long_named$ end, pair.number, content, statement);
        end loop;
    end loop;
end $do$;
