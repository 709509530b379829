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

-- A row for each item; paths go up to its order, too. The paths have a prefix of their own for the
-- namespace of the document.
CREATE PROCEDURE read_orders(source text) LANGUAGE sql AS $$
    INSERT INTO order_item
    SELECT * FROM xmldom.rows_of_text(source, '/o:orders/o:order/o:item',
        '{../@id, ../@date, ../o:customer, ../o:customer/@country, @sku, o:quantity, o:price, ../o:note}',
        '{{o, http://example.com/orders}}')
        AS item (order_id int, ordered date, customer text, country text, sku text, quantity int,
                 price numeric, note text);
$$;

SELECT length(orders_document()) AS characters;
CALL read_orders(orders_document());

SELECT count(DISTINCT order_id) AS orders, count(*) AS items, sum(quantity * price) AS total
    FROM order_item;
SELECT * FROM order_item WHERE order_id IN (1001, 1010) ORDER BY order_id, sku;
SELECT country, customer, count(*) AS items, count(note) AS gifts
    FROM order_item GROUP BY country, customer ORDER BY country;

-- Nothing is left in the session.
SELECT documents, handles FROM xmldom.session;
