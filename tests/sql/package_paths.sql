-- Path queries of the package xmldom.
\set VERBOSITY default
CREATE TEMPORARY TABLE tree AS
    SELECT xmldom.parse('<shop xmlns:p="urn:p"><item id="1"><name>pen</name><price>2.50</price></item>'
        '<item id="2"><name>ink</name><price>10</price></item><p:item id="3"/></shop>') AS doc;

-- Rows in document order, with attributes and texts as nodes of their own.
SELECT xmldom.get_node_name(node), xmldom.get_node_value(node)
    FROM tree, xmldom.xpath(doc, '//item[price > 5]/@id | //name/text()') AS node;
SELECT count(*), count(DISTINCT node::raw) FROM tree, xmldom.xpath(doc, '//*') AS node;
SELECT count(*) FROM tree, xmldom.xpath(doc, '//none') AS node;

-- One node, a text, a number, a truth value.
SELECT xmldom.get_node_value(xmldom.xpath_first(doc, '//name/text()')) AS first,
       xmldom.xpath_first(doc, '//none') IS NULL AS none,
       xmldom.xpath_text(doc, '//name') AS text,
       xmldom.xpath_text(doc, 'concat(count(//item), " items")') AS made,
       xmldom.xpath_number(doc, 'sum(//price)') AS sum,
       xmldom.xpath_number(doc, '//name') AS no_number,
       xmldom.xpath_number(doc, '//none') AS missing,
       xmldom.xpath_exists(doc, '//item') AS there,
       xmldom.xpath_exists(doc, '//item[price > 100]') AS not_there
    FROM tree;

-- The same node is the same handle, and a node can be started from.
SELECT xmldom.xpath_first(doc, '//price')::raw = xmldom.xpath_first(doc, '/shop/item/price')::raw AS same,
       xmldom.xpath_text(xmldom.xpath_first(doc, '//item[2]'), 'name') AS from_node,
       xmldom.xpath_text(xmldom.xpath_first(doc, '//item[2]'), '/shop/item/name') AS from_root
    FROM tree;

-- Namespaces and variables come in pairs.
SELECT xmldom.xpath_number(doc, 'count(//q:item)', ARRAY[ARRAY['q', 'urn:p']]) AS of_two_columns,
       xmldom.xpath_number(doc, 'count(//q:item)', ARRAY['q', 'urn:p']) AS of_one
    FROM tree;
SELECT xmldom.xpath_text(doc, '//item[@id = $id]/name', variables => ARRAY[ARRAY['id', '2']]) FROM tree;

-- Nulls.
SELECT count(*) FROM xmldom.xpath(NULL, '//a');
SELECT count(*) FROM tree, xmldom.xpath(doc, NULL);
SELECT xmldom.xpath_first(NULL, '/') IS NULL, xmldom.xpath_text(NULL, '/'), xmldom.xpath_number(doc, NULL),
       xmldom.xpath_exists(NULL, '/') FROM tree;

-- Errors.
SELECT xmldom.xpath_text(doc, '/shop/[1]') FROM tree;
SELECT xmldom.xpath_text(doc, '//item[price > 5') FROM tree;
SELECT xmldom.xpath_text(doc, '//p:item') FROM tree;
SELECT xmldom.xpath_text(doc, '$id') FROM tree;
SELECT xmldom.xpath_text(doc, 'lower-case(//name)') FROM tree;
SELECT xmldom.xpath_text(doc, 'count("item")') FROM tree;
SELECT count(*) FROM tree, xmldom.xpath(doc, 'count(//item)');
SELECT xmldom.xpath_first(doc, '/shop/namespace::p') FROM tree;
SELECT xmldom.xpath_text(doc, '/shop/namespace::p') FROM tree;
SELECT xmldom.xpath_text(doc, '/', ARRAY['p']) FROM tree;
SELECT xmldom.xpath_text(doc, '/', ARRAY['p', NULL]) FROM tree;
SELECT xmldom.xpath_text(doc, repeat('(', 300)) FROM tree;

-- Limits.
SET pkg_dbe_xml.max_path_work = 1000;
SELECT xmldom.xpath_number(xmldom.parse('<a>' || repeat('<b/>', 2000) || '</a>'), 'count(//*)');
RESET pkg_dbe_xml.max_path_work;
SET pkg_dbe_xml.max_path_memory = '64kB';
SELECT xmldom.xpath_text(xmldom.parse('<a>' || repeat('x', 100000) || '<b/>y</a>'), 'string(/a)') IS NULL;
RESET pkg_dbe_xml.max_path_memory;

SELECT xmldom.free_all() > 0 AS freed;
