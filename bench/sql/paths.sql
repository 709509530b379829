-- Rows of path queries out of a tree that is open, here and in lxml: bench/paths.
\set ON_ERROR_STOP on
\pset footer off
SET client_min_messages = warning;
SET jit = off;
CREATE EXTENSION IF NOT EXISTS pkg_dbe_xml;
CREATE EXTENSION IF NOT EXISTS plpython3u;

CREATE FUNCTION pg_temp.milliseconds(statement text, OUT took numeric, OUT answer text) LANGUAGE plpgsql AS $$
DECLARE
    begun timestamptz := clock_timestamp();
BEGIN
    EXECUTE statement INTO answer;
    took := extract(epoch FROM clock_timestamp() - begun) * 1000;
END
$$;

CREATE FUNCTION pg_temp.open_in_lxml(body text) RETURNS void LANGUAGE plpython3u AS $$
from lxml import etree
GD['tree'] = etree.fromstring(body.encode(), etree.XMLParser(huge_tree=True))
GD['paths'] = {}
$$;
-- The text of each node, as a row. Compiled paths are kept, as they are here.
CREATE FUNCTION pg_temp.texts_in_lxml(path text) RETURNS SETOF text LANGUAGE plpython3u AS $$
from lxml import etree
compiled = GD['paths'].get(path)
if compiled is None:
    compiled = GD['paths'][path] = etree.XPath(path)
found = compiled(GD['tree'].getroottree())
if isinstance(found, list):
    return (''.join(node.itertext()) if isinstance(node, etree._Element) else str(node) for node in found)
return [str(int(found)) if isinstance(found, float) and found.is_integer() else str(found)]
$$;

CREATE TEMP TABLE source AS
    SELECT '<r>' || string_agg(format('<item id="%s"><name>thing %s</name><price>%s.25</price>'
                                      '<note>a short note for %s</note></item>',
                                      i, i, i % 1000, i), E'\n') || '</r>' AS body
    FROM generate_series(1, :megabytes * 10300) AS i;
CREATE TEMP TABLE opened AS SELECT xmldom.parse(body) AS doc FROM source;
SELECT pg_temp.open_in_lxml(body) AS opened FROM source \gset

CREATE TEMP TABLE asked (place int, path text, is_set bool);
INSERT INTO asked VALUES
    (1, '//item', true), (2, '/r/item/price', true), (3, '//item[@id=''777'']', true),
    (4, '//item[price > 500]/name', true), (5, '/r/item[100]', true), (6, '/r/item[last()]', true),
    (7, 'count(//*)', false), (8, '//item[contains(name, ''7'')]', true),
    (9, '//price/parent::item/@id', true), (10, '//item/following-sibling::item[1]', true),
    (11, '//name | //price', true), (12, 'string(/r)', false);
-- These take libxml2's evaluator minutes on a large tree.
DELETE FROM asked WHERE place IN (9, 10, 11) AND :megabytes > 1;

CREATE TEMP TABLE measured AS
SELECT place, path, min(here.took) AS here, min(lxml.took) AS lxml,
       bool_and(here.answer IS NOT DISTINCT FROM lxml.answer) AS same, max(here.answer) AS answer
FROM asked, generate_series(1, 5) AS round,
     LATERAL pg_temp.milliseconds(CASE WHEN is_set
         THEN format('SELECT count(t) || ''/'' || sum(length(t)) FROM (SELECT xmldom.get_text_content(n)
                          FROM opened, xmldom.xpath(doc, %L) AS n) AS rows(t)', path)
         ELSE format('SELECT count(t) || ''/'' || sum(length(t)) FROM (SELECT xmldom.xpath_text(doc, %L) FROM opened) AS rows(t)', path) END
         || format(' -- round %s', round)) AS here,
     LATERAL pg_temp.milliseconds(format('SELECT count(t) || ''/'' || sum(length(t))
                          FROM pg_temp.texts_in_lxml(%L) AS t -- round %s', path, round)) AS lxml
GROUP BY place, path;

SELECT path, answer AS "rows/characters", round(here, 2) AS "here, ms", round(lxml, 2) AS "lxml, ms",
       round(here / lxml, 2) AS ratio, CASE WHEN same THEN 'same' ELSE 'DIFFER' END AS answers
FROM measured ORDER BY place;
SELECT round(exp(avg(ln(here / lxml))), 2) AS "geometric mean" FROM measured;
