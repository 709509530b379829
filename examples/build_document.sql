-- Builds a document from the rows of a table.

CREATE TABLE product (sku text PRIMARY KEY, name text, price numeric, note text);
INSERT INTO product VALUES
    ('A1', 'Pencil', 0.95, NULL),
    ('B7', 'Desk lamp', 120.00, 'black & white'),
    ('C3', 'Chair <folding>', 39.90, NULL);

-- Appends an element with a text to `parent`; returns the element.
CREATE FUNCTION append_element(parent xmldom.element, name text, content text DEFAULT NULL)
RETURNS xmldom.element LANGUAGE sql
RETURN xmldom.append_child(parent, xmldom.set_text_content(
    xmldom.create_element(xmldom.get_owner_document(parent), name), content));

CREATE FUNCTION catalogue() RETURNS text LANGUAGE plpgsql AS $$
DECLARE
    doc xmldom.document := xmldom.new_document('catalogue');
    root xmldom.element := xmldom.get_document_element(doc);
    element xmldom.element;
    result text;
    row product;
BEGIN
    FOR row IN SELECT * FROM product ORDER BY sku LOOP
        element := xmldom.set_attribute(append_element(root, 'product'), 'sku', row.sku);
        PERFORM append_element(element, 'name', row.name),
                append_element(element, 'price', row.price::text);
        IF row.note IS NOT NULL THEN
            PERFORM append_element(element, 'note', row.note);
        END IF;
    END LOOP;
    result := xmldom.to_text(doc, indent => 2, declaration => true);
    doc := xmldom.free_document(doc);
    RETURN result;
END
$$;

\pset tuples_only on
\pset format unaligned
SELECT catalogue();
SELECT 'documents left: ' || documents FROM xmldom.session;
