-- Prints any document as an indented outline.

CREATE FUNCTION outline(node raw, depth int DEFAULT 0) RETURNS SETOF text LANGUAGE plpgsql AS $$
DECLARE
    attributes raw := xml_dom_get_attributes(node);
    children raw := xml_dom_get_child_nodes(node);
    line text := repeat('  ', depth) || xml_dom_get_node_name(node);
    value text := xml_dom_get_node_value(node);
BEGIN
    FOR i IN 0 .. xml_dom_get_length(attributes) - 1 LOOP
        -- The item of a map is the text of an attribute; its parent is the attribute.
        line := line || format(' @%s=%s',
            xml_dom_get_node_name(xml_dom_get_parent_node(xml_dom_item(attributes, i))),
            quote_literal(xml_dom_get_node_value(xml_dom_item(attributes, i))));
    END LOOP;
    RETURN NEXT line || coalesce(': ' || value, '');
    FOR i IN 0 .. xml_dom_get_length(children) - 1 LOOP
        RETURN QUERY SELECT outline(xml_dom_item(children, i), depth + 1);
    END LOOP;
END
$$;

SELECT xml_dom_new_document_clob($xml$<?xml version="1.0"?>
<!-- a recipe -->
<!DOCTYPE recipe [<!ELEMENT step (#PCDATA)><!ENTITY oven "a hot oven">]>
<recipe xmlns:u="http://example.com/units" serves="4">
  <title>Bread &amp; butter</title>
  <ingredient u:unit="g" amount="500">flour</ingredient>
  <ingredient u:unit="ml" amount="300">water</ingredient>
  <?timer minutes="90"?>
  <step>Knead, <emph>rest</emph>, bake in &oven;.</step>
  <remark><![CDATA[1 < 2]]></remark>
</recipe>
$xml$) AS document \gset

\pset tuples_only on
\pset format unaligned
SELECT outline(xml_dom_makenode(:'document'));

-- The same of a part: everything below the first step.
SELECT outline(xml_dom_item(xml_dom_get_elements_by_tagname_document(:'document', 'step'), 0));

SELECT 'handles before the document is released: ' || (xml_dom_get_session_tree_num() > 0);
SELECT xml_dom_free_document(:'document');
SELECT 'and after: ' || xml_dom_get_session_tree_num();
