-- The same as change_prices.sql with the long-named functions, for code that is written against them:
-- every price goes up by a percentage, except those that are marked as fixed.

CREATE TABLE price_list (name text, body text);
INSERT INTO price_list VALUES ('spring', $$<?xml version="1.0"?>
<price-list currency="EUR" valid-from="2024-03-01">
  <group name="Writing">
    <product sku="A1"><name>Pencil</name><price>0.95</price></product>
    <product sku="A2"><name>Fountain pen</name><price fixed="yes">24.00</price></product>
  </group>
  <group name="Furniture">
    <product sku="B7"><name>Desk lamp</name><price>120.00</price><!-- bulb not included --></product>
    <product sku="C3"><name>Chair &lt;folding&gt;</name><price><![CDATA[39.90]]></price></product>
  </group>
</price-list>$$);

CREATE FUNCTION change_prices(source text, percent numeric, valid_from date) RETURNS text
LANGUAGE plpgsql AS $$
DECLARE
    document raw := xml_dom_new_document_clob(source);
    root raw := xml_dom_get_document_element(document);
    prices raw := xml_dom_get_elements_by_tagname_element(root, 'price');
    price raw;
    content raw;
    old numeric;
    changed int := 0;
    result text;
BEGIN
    FOR i IN 0 .. xml_dom_get_length(prices) - 1 LOOP
        price := xml_dom_make_element(xml_dom_item(prices, i));
        CONTINUE WHEN xml_dom_get_attribute(price, 'fixed') = 'yes';
        -- The value is in the text below the element, or in a CDATA section.
        content := xml_dom_get_first_child(price);
        old := xml_dom_get_node_value(content)::numeric;
        PERFORM xml_dom_set_node_value(content, round(old * (1 + percent / 100), 2)::text);
        PERFORM xml_dom_set_attribute(price, 'was', old::text);
        changed := changed + 1;
    END LOOP;
    PERFORM xml_dom_set_attribute(root, 'valid-from', valid_from::text);
    PERFORM xml_dom_set_attribute(root, 'changed', changed::text);
    result := xml_dom_write_to_buffer_doc(document);
    -- Everything else, list and handles included, goes with the document.
    PERFORM xml_dom_free_document(document);
    RETURN result;
END
$$;

\pset tuples_only on
\pset format unaligned
SELECT change_prices(body, 5, '2024-09-01') FROM price_list;
SELECT 'handles left: ' || xml_dom_get_session_tree_num();
