-- Builds a document from the rows of a table.

CREATE TABLE product (sku text PRIMARY KEY, name text, price numeric, note text);
INSERT INTO product VALUES
    ('A1', 'Pencil', 0.95, NULL),
    ('B7', 'Desk lamp', 120.00, 'black & white'),
    ('C3', 'Chair <folding>', 39.90, NULL);

-- Appends an element with a text to `parent`; gives the element back.
CREATE FUNCTION append_element(document raw, parent raw, name text, content text) RETURNS raw
LANGUAGE plpgsql AS $$
DECLARE
    element raw := xml_dom_create_element(document, name);
    added raw := xml_dom_append_child(parent, element);
BEGIN
    IF content IS NOT NULL THEN
        PERFORM xml_dom_append_child(element, xml_dom_create_text_node(document, content));
    END IF;
    RETURN element;
END
$$;

CREATE FUNCTION catalogue() RETURNS text LANGUAGE plpgsql AS $$
DECLARE
    document raw := xml_dom_new_document_empty();
    root raw := xml_dom_create_element(document, 'catalogue');
    element raw;
    result text;
    row product;
BEGIN
    PERFORM xml_dom_set_doctype(document, 'catalogue', 'catalogue.dtd', NULL);
    PERFORM xml_dom_append_child(document, root);
    FOR row IN SELECT * FROM product ORDER BY sku LOOP
        element := append_element(document, root, 'product', NULL);
        PERFORM xml_dom_set_attribute(element, 'sku', row.sku);
        PERFORM append_element(document, element, 'name', row.name);
        PERFORM append_element(document, element, 'price', row.price::text);
        IF row.note IS NOT NULL THEN
            PERFORM append_element(document, element, 'note', row.note);
        END IF;
    END LOOP;
    result := xml_dom_write_to_buffer_doc(document);
    PERFORM xml_dom_free_document(document);
    RETURN result;
END
$$;

\pset tuples_only on
\pset format unaligned
SELECT catalogue();
SELECT 'handles left: ' || xml_dom_get_session_tree_num();
