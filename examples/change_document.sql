-- Changes a document: new values, an attribute more, an element moved, another one imported.

CREATE FUNCTION raise_prices(source text, percent numeric) RETURNS text LANGUAGE plpgsql AS $$
DECLARE
    document raw := xml_dom_new_document_clob(source);
    root raw := xml_dom_get_document_element(document);
    prices raw := xml_dom_get_elements_by_tagname_element(root, 'price');
    price raw;
    content raw;
    old numeric;
    result text;
BEGIN
    FOR i IN 0 .. xml_dom_get_length(prices) - 1 LOOP
        price := xml_dom_make_element(xml_dom_item(prices, i));
        content := xml_dom_get_first_child(price);
        old := xml_dom_get_node_value(content)::numeric;
        -- An element has no value of its own: what changes is the text below it.
        PERFORM xml_dom_set_node_value(content, round(old * (1 + percent / 100), 2)::text);
        PERFORM xml_dom_set_attribute(price, 'was', old::text);
    END LOOP;

    -- Appending a node that stands elsewhere moves it: the first product becomes the last.
    PERFORM xml_dom_append_child(root, xml_dom_get_first_child(root));

    result := xml_dom_write_to_buffer_doc(document);
    PERFORM xml_dom_free_document(document);
    RETURN result;
END
$$;

CREATE FUNCTION add_product(source text, product text) RETURNS text LANGUAGE plpgsql AS $$
DECLARE
    document raw := xml_dom_new_document_clob(source);
    other raw := xml_dom_new_document_clob(product);
    copy raw;
    result text;
BEGIN
    -- A node belongs to its document: what comes from another one is imported, that is copied.
    copy := xml_dom_import_node(document, xml_dom_get_document_element(other), true);
    PERFORM xml_dom_append_child(xml_dom_get_document_element(document), copy);
    result := xml_dom_write_to_buffer_doc(document);
    PERFORM xml_dom_free_document(document), xml_dom_free_document(other);
    RETURN result;
END
$$;

\pset tuples_only on
\pset format unaligned
SELECT raise_prices('<catalogue><product sku="A1"><price>10.00</price></product>'
                    '<product sku="B7"><price>120.00</price></product></catalogue>', 5);
SELECT add_product('<catalogue><product sku="A1"/></catalogue>',
                   '<product sku="C3"><name>Chair</name></product>');
SELECT 'handles left: ' || xml_dom_get_session_tree_num();
