-- Reads a document of orders into a table.

CREATE TABLE order_item (
    order_id text,
    customer text,
    sku text,
    quantity int,
    price numeric
);

-- The text of the first child element of that name, null when there is none.
CREATE FUNCTION child_text(element raw, name text) RETURNS text LANGUAGE plpgsql AS $$
DECLARE
    list raw := xml_dom_get_children_by_tagname(element, name);
    child raw := xml_dom_item(list, 0);
    result text := xml_dom_get_node_value(xml_dom_get_first_child(child));
BEGIN
    PERFORM xml_dom_free_nodelist(list);
    RETURN result;
END
$$;

CREATE PROCEDURE read_orders(source text) LANGUAGE plpgsql AS $$
DECLARE
    document raw := xml_dom_new_document_clob(source);
    orders raw := xml_dom_get_elements_by_tagname_document(document, 'order');
    items raw;
    one_order raw;
    item raw;
BEGIN
    FOR i IN 0 .. xml_dom_get_length(orders) - 1 LOOP
        -- Members of a list are nodes; what asks for an element needs the cast.
        one_order := xml_dom_make_element(xml_dom_item(orders, i));
        items := xml_dom_get_children_by_tagname(one_order, 'item');
        FOR j IN 0 .. xml_dom_get_length(items) - 1 LOOP
            item := xml_dom_make_element(xml_dom_item(items, j));
            INSERT INTO order_item VALUES (
                xml_dom_get_attribute(one_order, 'id'),
                child_text(one_order, 'customer'),
                xml_dom_get_attribute(item, 'sku'),
                child_text(item, 'quantity')::int,
                child_text(item, 'price')::numeric);
        END LOOP;
    END LOOP;
    -- The document takes every handle made from it along.
    PERFORM xml_dom_free_document(document);
END
$$;

CALL read_orders($xml$<?xml version="1.0"?>
<orders xmlns="http://example.com/orders">
    <order id="1001">
        <customer>Ada Lovelace</customer>
        <item sku="A1"><quantity>2</quantity><price>9.50</price></item>
        <item sku="B7"><quantity>1</quantity><price>120.00</price></item>
    </order>
    <order id="1002">
        <customer>Smith &amp; Sons</customer>
        <item sku="A1"><quantity>10</quantity><price>8.90</price></item>
    </order>
</orders>
$xml$);

SELECT * FROM order_item ORDER BY order_id, sku;
SELECT order_id, sum(quantity * price) AS total FROM order_item GROUP BY order_id ORDER BY order_id;

-- Nothing is left in the session.
SELECT xml_dom_get_session_tree_num() AS handles;
