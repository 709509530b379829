-- Reads a document of 1,000 orders into a table.

CREATE TABLE order_item (
    order_id int,
    ordered date,
    customer text,
    country text,
    sku text,
    quantity int,
    price numeric,
    note text
);

-- The document, as another system would send it: a namespace, attributes, elements that may be
-- missing, text with entities.
CREATE FUNCTION orders_document() RETURNS text LANGUAGE sql AS $$
    WITH item AS (
        SELECT o, string_agg(format('<item sku="%s-%s"><quantity>%s</quantity><price currency="EUR">'
                                    '%s</price></item>', chr(65 + o % 26), 100 + i, 1 + (o * i) % 9,
                                    to_char((o * 37 + i * 101) % 9000 / 100.0 + 1, 'FM990.00')),
                             E'\n    ' ORDER BY i) AS items
        FROM generate_series(1, 1000) AS o, generate_series(1, 5) AS i
        WHERE i <= 1 + o % 5
        GROUP BY o)
    SELECT E'<?xml version="1.0"?>\n<orders xmlns="http://example.com/orders">\n  '
        || string_agg(format(E'<order id="%s" date="%s">\n    <customer country="%s">%s</customer>'
                             '\n    %s%s\n  </order>', 1000 + o, date '2024-01-01' + o % 365,
                             (ARRAY['DE', 'FR', 'JP'])[1 + o % 3],
                             (ARRAY['Ada Lovelace', 'Smith &amp; Sons', 'Žofia Nováková'])[1 + o % 3],
                             items, CASE WHEN o % 10 = 0 THEN E'\n    <note>gift</note>' END),
                      E'\n  ' ORDER BY o)
        || E'\n</orders>\n'
    FROM item
$$;

-- The first child element of that name; names nothing when there is none.
CREATE FUNCTION child_element(element raw, name text) RETURNS raw LANGUAGE plpgsql AS $$
DECLARE
    list raw := xml_dom_get_children_by_tagname(element, name);
    child raw := xml_dom_make_element(xml_dom_item(list, 0));
BEGIN
    PERFORM xml_dom_free_nodelist(list);
    RETURN child;
END
$$;
CREATE FUNCTION text_of(element raw) RETURNS text LANGUAGE sql
RETURN xml_dom_get_node_value(xml_dom_get_first_child(element));

CREATE PROCEDURE read_orders(source text) LANGUAGE plpgsql AS $$
DECLARE
    document raw := xml_dom_new_document_clob(source);
    orders raw := xml_dom_get_elements_by_tagname_document(document, 'order');
    one_order raw;
    customer raw;
    items raw;
    item raw;
BEGIN
    FOR i IN 0 .. xml_dom_get_length(orders) - 1 LOOP
        -- Members of a list are nodes; what asks for an element needs the cast.
        one_order := xml_dom_make_element(xml_dom_item(orders, i));
        customer := child_element(one_order, 'customer');
        items := xml_dom_get_children_by_tagname(one_order, 'item');
        FOR j IN 0 .. xml_dom_get_length(items) - 1 LOOP
            item := xml_dom_make_element(xml_dom_item(items, j));
            INSERT INTO order_item VALUES (
                xml_dom_get_attribute(one_order, 'id')::int,
                xml_dom_get_attribute(one_order, 'date')::date,
                text_of(customer),
                xml_dom_get_attribute(customer, 'country'),
                xml_dom_get_attribute(item, 'sku'),
                text_of(child_element(item, 'quantity'))::int,
                text_of(child_element(item, 'price'))::numeric,
                text_of(child_element(one_order, 'note')));
        END LOOP;
    END LOOP;
    -- The document takes every handle made from it along.
    PERFORM xml_dom_free_document(document);
END
$$;

SELECT length(orders_document()) AS characters;
CALL read_orders(orders_document());

SELECT count(DISTINCT order_id) AS orders, count(*) AS items, sum(quantity * price) AS total
    FROM order_item;
SELECT * FROM order_item WHERE order_id IN (1001, 1010) ORDER BY order_id, sku;
SELECT country, customer, count(*) AS items, count(note) AS gifts
    FROM order_item GROUP BY country, customer ORDER BY country;

-- Nothing is left in the session.
SELECT xml_dom_get_session_tree_num() AS handles;
