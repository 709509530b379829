-- Changes the prices in a price list: every price goes up by a percentage, except those that are
-- marked as fixed; what changed is noted on the element, and the list gets a new date. The rest of
-- the text stays as it is, blanks and comments included.

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
    scope xmldom.scope := xmldom.mark();
    doc xmldom.document := xmldom.parse(source);
    root xmldom.element := xmldom.get_document_element(doc);
    price xmldom.element;
    old numeric;
    changed int := 0;
    result text;
BEGIN
    FOR price IN SELECT xmldom.xpath(doc, '//price[not(@fixed = "yes")]') LOOP
        old := xmldom.get_text_content(price);
        price := xmldom.set_text_content(price, round(old * (1 + percent / 100), 2)::text);
        price := xmldom.set_attribute(price, 'was', old::text);
        changed := changed + 1;
    END LOOP;
    root := xmldom.set_attribute(root, 'valid-from', valid_from::text);
    root := xmldom.set_attribute(root, 'changed', changed::text);
    result := xmldom.to_text(doc);
    PERFORM xmldom.release(scope);
    RETURN result;
EXCEPTION WHEN OTHERS THEN
    PERFORM xmldom.release(scope);
    RAISE;
END
$$;

\pset tuples_only on
\pset format unaligned
SELECT change_prices(body, 5, '2024-09-01') FROM price_list;
SELECT 'documents left: ' || documents FROM xmldom.session;
