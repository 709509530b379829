-- What is in a document that nobody has described? Lists which elements occur where and how often,
-- with which attributes, and an example of their text.

CREATE TEMP TABLE opened AS SELECT xmldom.parse($xml$<?xml version="1.0"?>
<!DOCTYPE recipes [<!ENTITY oven "a hot oven">]>
<recipes>
  <recipe serves="4">
    <title>Bread &amp; butter</title>
    <ingredient unit="g" amount="500">flour</ingredient>
    <ingredient unit="ml" amount="300">water</ingredient>
    <step>Knead, <emph>rest</emph>, bake in &oven;.</step>
  </recipe>
  <recipe serves="2" quick="yes">
    <title>Omelette</title>
    <ingredient amount="4">eggs</ingredient>
    <step>Beat, fry.</step>
  </recipe>
</recipes>
$xml$) AS doc;

-- A node is a value: it can be grouped by, counted and compared. get_path without its indexes says
-- where an element is.
WITH element AS (
    SELECT e, regexp_replace(xmldom.get_path(e), '\[\d+\]', '', 'g') AS path
    FROM opened, xmldom.descendants(doc) AS e
)
SELECT path, count(DISTINCT e) AS elements,
       string_agg(DISTINCT xmldom.get_name(a), ' ') AS attributes,
       min(xmldom.get_text_content(e)) FILTER (WHERE NOT xmldom.child_element_count(e) > 0) AS "for example"
FROM element LEFT JOIN LATERAL xmldom.attributes(e) AS a ON true
GROUP BY path ORDER BY path;

-- The same of one part, as a picture.
SELECT xmldom.outline(xmldom.xpath_first(doc, '//step')) FROM opened;

SELECT xmldom.free_all() AS freed;
