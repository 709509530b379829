-- The workloads, written once. Which functions they call is decided by the search path of the
-- session: the library's in public, or the limit's in bare.
create schema bench;

-- Orders: one element with six children and an attribute for each of `records`.
create function bench.orders(records int) returns text language sql as $$
    select '<?xml version="1.0"?><orders>' || string_agg(format(
        '<order id="%s"><customer>Customer %s &amp; Sons</customer><date>2026-%s-%s</date>'
        '<item>Article number %s</item><quantity>%s</quantity><price>%s.%s</price>'
        '<note>To be delivered to the gate</note></order>',
        n, n % 977, lpad((1 + n % 12)::text, 2, '0'), lpad((1 + n % 28)::text, 2, '0'), n * 7,
        1 + n % 9, n % 500, lpad((n % 100)::text, 2, '0')), '' order by n) || '</orders>'
    from generate_series(1, records) n
$$;
-- Items: that many elements with a number each.
create function bench.items(elements int) returns text language sql as $$
    select '<items>' || string_agg(format('<item>%s</item>', n), '' order by n) || '</items>'
    from generate_series(1, elements) n
$$;
create table bench.documents (name text, content text);
alter table bench.documents alter content set storage external;
insert into bench.documents
    select name, bench.orders(records)
    from (values ('10 kB', 42), ('1 MB', 4250), ('50 MB', 208000)) size(name, records)
    union all select '2,000 items', bench.items(2000)
    union all select '100,000 items', bench.items(100000);

-- Calls of a do-nothing C function, a handle in and a handle out; and as many of a function of the
-- library's, whose handles go with their document.
create function bench.nothing(calls int) returns int language plpgsql as $$
declare document raw := '\x00000000000000000000000000'; root raw; begin
    for i in 1 .. calls loop root := bare.limit_nothing(document); end loop;
    return calls;
end $$;
create function bench.calls(calls int) returns int language plpgsql as $$
declare document raw := xml_dom_new_document_clob('<a/>'); root raw; begin
    for i in 1 .. calls loop root := xml_dom_get_document_element(document); end loop;
    perform xml_dom_free_document(document);
    return calls;
end $$;

-- Every node of a document, by first child and next sibling, reading name and value.
create function bench.visit(content text) returns int language plpgsql as $$
declare
    document raw := xml_dom_new_document_clob(content);
    node raw := xml_dom_get_document_element(document);
    up raw[] := '{}'; depth int := 0; step raw; name text; value text; visited int := 0;
begin
    loop
        name := xml_dom_get_node_name(node);
        value := xml_dom_get_node_value(node);
        visited := visited + 1;
        step := xml_dom_get_first_child(node);
        if step is not null then
            depth := depth + 1; up[depth] := node; node := step; continue;
        end if;
        loop
            step := xml_dom_get_next_sibling(node);
            exit when step is not null or depth = 0;
            node := up[depth]; depth := depth - 1;
        end loop;
        exit when step is null;
        node := step;
    end loop;
    perform xml_dom_free_document(document);
    return visited;
end $$;

-- Elements with two attributes and a text, appended one by one, then written.
create function bench.build(elements int) returns int language plpgsql as $$
declare
    document raw := xml_dom_new_document_empty();
    root raw := xml_dom_append_child(document, xml_dom_create_element(document, 'items'));
    item raw; done raw; nothing boolean; written text;
begin
    for i in 1 .. elements loop
        item := xml_dom_create_element(document, 'item');
        nothing := xml_dom_set_attribute(item, 'sku', 'A1') is null;
        nothing := xml_dom_set_attribute(item, 'price', '12.50') is null;
        done := xml_dom_append_child(item, xml_dom_create_text_node(document, 'an article'));
        done := xml_dom_append_child(root, item);
    end loop;
    written := xml_dom_write_to_clob_doc(document);
    perform xml_dom_free_document(document);
    return length(written);
end $$;
create function bench.build_perform(elements int) returns int language plpgsql as $$
declare
    document raw := xml_dom_new_document_empty();
    root raw := xml_dom_append_child(document, xml_dom_create_element(document, 'items'));
    item raw; written text;
begin
    for i in 1 .. elements loop
        item := xml_dom_create_element(document, 'item');
        perform xml_dom_set_attribute(item, 'sku', 'A1');
        perform xml_dom_set_attribute(item, 'price', '12.50');
        perform xml_dom_append_child(item, xml_dom_create_text_node(document, 'an article'));
        perform xml_dom_append_child(root, item);
    end loop;
    written := xml_dom_write_to_clob_doc(document);
    perform xml_dom_free_document(document);
    return length(written);
end $$;

-- Search by tag name, then the sum of the text of all members through length and item.
create function bench.sum_items(content text) returns bigint language plpgsql as $$
declare
    document raw := xml_dom_new_document_clob(content);
    list raw := xml_dom_get_elements_by_tagname_document(document, 'item');
    total bigint := 0;
begin
    for i in 0 .. xml_dom_get_length(list) - 1 loop
        total := total
            + xml_dom_get_node_value(xml_dom_get_first_child(xml_dom_item(list, i)))::bigint;
    end loop;
    perform xml_dom_free_document(document);
    return total;
end $$;

-- Handles made and released one at a time.
create function bench.handles(count int) returns int language plpgsql as $$
declare
    document raw := xml_dom_new_document_clob('<a><b/></a>');
    root raw := xml_dom_get_document_element(document);
    node raw; nothing boolean;
begin
    for i in 1 .. count loop
        node := xml_dom_get_first_child(root);
        nothing := xml_dom_free_node(node) is null;
    end loop;
    perform xml_dom_free_document(document);
    return count;
end $$;

-- An attribute of each order read, another one set.
create function bench.read_and_set(content text) returns bigint language plpgsql as $$
declare
    document raw := xml_dom_new_document_clob(content);
    list raw := xml_dom_get_elements_by_tagname_document(document, 'order');
    item raw; nothing boolean; total bigint := 0;
begin
    for i in 0 .. xml_dom_get_length(list) - 1 loop
        item := xml_dom_make_element(xml_dom_item(list, i));
        total := total + xml_dom_get_attribute(item, 'id')::bigint;
        nothing := xml_dom_set_attribute(item, 'state', 'open') is null;
    end loop;
    perform xml_dom_free_document(document);
    return total;
end $$;

-- Two attributes of each order read and one set, all its attributes by their map.
create function bench.attributes(content text) returns int language plpgsql as $$
declare
    document raw := xml_dom_new_document_clob(content);
    orders raw := xml_dom_get_elements_by_tagname_document(document, 'order');
    item raw; attributes raw; value text; nothing boolean; seen int := 0;
begin
    for i in 0 .. xml_dom_get_length(orders) - 1 loop
        item := xml_dom_item(orders, i);
        attributes := xml_dom_get_attributes(item);
        seen := seen + xml_dom_get_length(attributes);
        value := xml_dom_get_node_value(xml_dom_item(attributes, 0));
        value := xml_dom_get_node_value(xml_dom_get_named_item(attributes, 'id'));
        item := xml_dom_make_element(item);
        value := xml_dom_get_attribute(item, 'id');
        value := xml_dom_get_attribute(item, 'absent');
        nothing := xml_dom_set_attribute(item, 'state', 'open') is null;
    end loop;
    perform xml_dom_free_document(document);
    return seen;
end $$;

-- The children of each order by a list of them, and by a list of those of a name.
create function bench.lists(content text) returns int language plpgsql as $$
declare
    document raw := xml_dom_new_document_clob(content);
    orders raw := xml_dom_get_child_nodes(xml_dom_get_document_element(document));
    item raw; list raw; child raw; nothing boolean; seen int := 0;
begin
    for i in 0 .. xml_dom_get_length(orders) - 1 loop
        item := xml_dom_item(orders, i);
        list := xml_dom_get_child_nodes(item);
        for j in 0 .. xml_dom_get_length(list) - 1 loop
            child := xml_dom_item(list, j);
            seen := seen + 1;
        end loop;
        nothing := xml_dom_free_nodelist(list) is null;
        list := xml_dom_get_children_by_tagname(xml_dom_make_element(item), 'price');
        child := xml_dom_item(list, 0);
        nothing := xml_dom_free_nodelist(list) is null;
    end loop;
    perform xml_dom_free_document(document);
    return seen;
end $$;

-- Each order copied into another document, appended there, its first text changed and written.
create function bench.copies(content text) returns int language plpgsql as $$
declare
    document raw := xml_dom_new_document_clob(content);
    target raw := xml_dom_new_document_clob('<copies/>');
    root raw := xml_dom_get_document_element(target);
    node raw := xml_dom_get_first_child(xml_dom_get_document_element(document));
    copy raw; nothing boolean; written bigint := 0;
begin
    while node is not null loop
        copy := xml_dom_append_child(root, xml_dom_import_node(target, node, true));
        nothing := xml_dom_set_node_value(
            xml_dom_get_first_child(xml_dom_get_first_child(copy)), 'Customer') is null;
        written := written + octet_length(xml_dom_write_to_buffer_node(copy));
        node := xml_dom_get_next_sibling(node);
    end loop;
    perform xml_dom_free_document(document), xml_dom_free_document(target);
    return written;
end $$;

-- One parser object for many texts.
create function bench.parses(content text, times int) returns bigint language plpgsql as $$
declare
    parser raw := xmlparser_new_parser(); document raw; nothing boolean; size bigint := 0;
begin
    nothing := xmlparser_set_validation_mode(parser, false) is null;
    for i in 1 .. times loop
        nothing := xmlparser_parse_buffer(parser, content) is null;
        document := xmlparser_get_doc(parser);
        size := size + octet_length(xml_dom_get_tagname(xml_dom_get_document_element(document)));
        nothing := xml_dom_free_document(document) is null;
    end loop;
    perform xmlparser_free_parser(parser);
    return size;
end $$;

-- The packages: descendants as rows, attributes by the functions of the package.
create function bench.packages(content text) returns bigint language plpgsql as $$
declare
    document xmldom.document := xmldom.parse(content); size bigint;
begin
    select sum(length(xmldom.get_attribute(item, 'id'))) into size
    from xmldom.descendants(document, 'order') as item;
    perform xmldom.free_all();
    return size;
end $$;

-- Parse, serialise, free.
create function bench.round_trip(content text) returns bigint language plpgsql as $$
declare document raw := xml_dom_new_document_clob(content); size bigint; begin
    size := octet_length(xml_dom_write_to_clob_doc(document));
    perform xml_dom_free_document(document);
    return size;
end $$;

-- Seconds of one execution.
create function bench.seconds(statement text) returns double precision language plpgsql as $$
declare begun timestamptz := clock_timestamp(); result text; begin
    execute statement into result;
    return extract(epoch from clock_timestamp() - begun);
end $$;

-- Kilobytes of this backend: a field of its status, VmHWM or RssAnon.
create function bench.kilobytes(field text) returns bigint language sql as $$
    select substring(pg_read_file('/proc/self/status', 0, 8192) from field || ':\s+(\d+)')::bigint
$$;
