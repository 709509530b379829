-- Rows out of documents, by every means a PostgreSQL user has: three columns, an int, a text and a
-- numeric.
create extension plpython3u;
create schema bench;

create function bench.orders(first int, records int) returns xml language sql as $$
    select ('<?xml version="1.0"?><orders>' || string_agg(format(
        '<order id="%s"><customer>Customer %s &amp; Sons</customer><price>%s.%s</price></order>',
        n, n % 977, n % 500, lpad((n % 100)::text, 2, '0')), '' order by n) || '</orders>')::xml
    from generate_series(first, first + records - 1) n
$$;
create table bench.documents (name text, content xml);
alter table bench.documents alter content set storage external;
insert into bench.documents
    select name, bench.orders(1, records)
    from (values ('1 MB', 9300), ('20,000', 20000), ('1,000,000', 1000000)) size(name, records);
create table bench.small (content xml);
insert into bench.small select bench.orders(n * 10, 10) from generate_series(1, 100000) n;
vacuum analyze bench.documents, bench.small;

create function bench.lxml_rows(content xml)
    returns table (id int, customer text, price numeric) language plpython3u as $$
from lxml import etree
for order in etree.fromstring(content.encode('utf-8'), etree.XMLParser(huge_tree=True)):
    yield order.get('id'), order.findtext('customer'), order.findtext('price')
$$;

-- Each adds up what it reads: the sums of the ids and prices, and the longest of the names.
create view bench.by_rows_of_text as
    select d.name, sum(t.id) + sum(t.price) as total, max(length(t.customer)) as longest
    from bench.documents d, xmldom.rows_of_text(content, '/orders/order', array['@id', 'customer', 'price'])
        as t(id int, customer text, price numeric) group by d.name;
create view bench.by_xmltable as
    select d.name, sum(t.id) + sum(t.price) as total, max(length(t.customer)) as longest
    from bench.documents d, xmltable('/orders/order' passing content
        columns id int path '@id', customer text path 'customer', price numeric path 'price') as t
    group by d.name;
create view bench.by_lxml as
    select d.name, sum(t.id) + sum(t.price) as total, max(length(t.customer)) as longest
    from bench.documents d, bench.lxml_rows(content) t group by d.name;
create function bench.total_of_tree(tree xmldom.document) returns text language sql as $$
    select sum(t.id) + sum(t.price) || '/' || max(length(t.customer))
    from xmldom.rows(tree, '/orders/order', array['@id', 'customer', 'price'])
        as t(id int, customer text, price numeric)
$$;
create function bench.tree(wanted text) returns xmldom.document language sql as $$
    select xmldom.parse(content) from bench.documents where name = wanted
$$;
create view bench.small_by_rows_of_text as
    select sum(t.id) + sum(t.price) as total, max(length(t.customer)) as longest
    from bench.small, xmldom.rows_of_text(content, '/orders/order', array['@id', 'customer', 'price'])
        as t(id int, customer text, price numeric);
create view bench.small_by_xmltable as
    select sum(t.id) + sum(t.price) as total, max(length(t.customer)) as longest
    from bench.small, xmltable('/orders/order' passing content
        columns id int path '@id', customer text path 'customer', price numeric path 'price') as t;
create view bench.small_by_lxml as
    select sum(t.id) + sum(t.price) as total, max(length(t.customer)) as longest
    from bench.small, bench.lxml_rows(content) t;

-- The name of every element in document order, of a text and of a tree that is there already.
create function bench.lxml_names(content xml) returns setof text language plpython3u as $$
from lxml import etree
for element in etree.fromstring(content.encode('utf-8'), etree.XMLParser(huge_tree=True)).iter():
    yield element.tag
$$;
create function bench.lxml_tree(content xml) returns void language plpython3u as $$
from lxml import etree
GD['tree'] = etree.fromstring(content.encode('utf-8'), etree.XMLParser(huge_tree=True))
$$;
create function bench.lxml_names_of_tree() returns setof text language plpython3u as $$
for element in GD['tree'].iter():
    yield element.tag
$$;
-- Each gives the number of the names and their length in all.
create view bench.names_by_lxml as
    select count(*) || '/' || sum(length(tag)) as names
    from bench.documents d, bench.lxml_names(content) as tag where d.name = '1 MB';
create view bench.names_of_tree_by_lxml as
    select count(*) || '/' || sum(length(tag)) as names from bench.lxml_names_of_tree() as tag;
create function bench.names_of_tree(tree xmldom.document) returns text language sql as $$
    select count(*) || '/' || sum(length(xmldom.get_node_name(element)))
    from xmldom.descendants(tree) as element
$$;
create function bench.names_by_descendants() returns text language plpgsql as $$
declare tree xmldom.document := bench.tree('1 MB'); names text := bench.names_of_tree(tree); begin
    perform xmldom.free_document(tree);
    return names;
end $$;

create function bench.kilobytes(item text) returns bigint language sql as $$
    select substring(pg_read_file('/proc/self/status') from item || ':\s+(\d+) kB')::bigint
$$;
-- Seconds of the processor that this backend has taken.
create function bench.processor() returns float8 language sql as $$
    select (split_part(stat, ' ', 14)::float8 + split_part(stat, ' ', 15)::float8) / 100
    from pg_read_file('/proc/self/stat') as stat
$$;
-- Seconds of the processor for a statement, and its result, which all means must agree on.
create function bench.seconds(statement text, times int, out seconds float8, out result text)
    language plpgsql as $$
declare begun float8 := bench.processor(); begin
    for i in 1 .. times loop execute statement into result; end loop;
    seconds := (bench.processor() - begun) / times;
end $$;
