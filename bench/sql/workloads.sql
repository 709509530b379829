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
create table bench.documents as
    select name, bench.orders(records) as content
    from (values ('10 kB', 42), ('1 MB', 4250), ('50 MB', 208000)) size(name, records);
alter table bench.documents alter content set storage external;

-- One call of a do-nothing C function.
create function bench.nothing(calls int) returns int language plpgsql as $$
declare h raw := '\x00000000000000000000000000'; begin
    for i in 1 .. calls loop h := bare.limit_nothing(h); end loop;
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
create function bench.items(elements int) returns text language sql as $$
    select '<items>' || string_agg(format('<item>%s</item>', n), '' order by n) || '</items>'
    from generate_series(1, elements) n
$$;
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

-- Parse, serialise, free.
create function bench.round_trip(content text) returns bigint language plpgsql as $$
declare document raw := xml_dom_new_document_clob(content); size bigint; begin
    size := octet_length(xml_dom_write_to_clob_doc(document));
    perform xml_dom_free_document(document);
    return size;
end $$;

-- Seconds of one execution; the smallest and the median of `rounds`.
create function bench.seconds(statement text) returns double precision language plpgsql as $$
declare begun timestamptz := clock_timestamp(); result text; begin
    execute statement into result;
    return extract(epoch from clock_timestamp() - begun);
end $$;

-- Kilobytes of this backend: a field of its status, VmHWM or RssAnon.
create function bench.kilobytes(field text) returns bigint language sql as $$
    select substring(pg_read_file('/proc/self/status', 0, 8192) from field || ':\s+(\d+)')::bigint
$$;
