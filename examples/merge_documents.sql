-- Merges two documents: orders that only the second one has are imported, the lines of those that
-- both have are put together.

CREATE FUNCTION find_order(root raw, number text) RETURNS raw LANGUAGE plpgsql AS $$
DECLARE
    orders raw := xml_dom_get_children_by_tagname(root, 'order');
    candidate raw;
    found raw;
BEGIN
    FOR i IN 0 .. xml_dom_get_length(orders) - 1 LOOP
        candidate := xml_dom_make_element(xml_dom_item(orders, i));
        IF xml_dom_get_attribute(candidate, 'number') = number THEN
            found := candidate;
            EXIT;
        END IF;
    END LOOP;
    PERFORM xml_dom_free_nodelist(orders);
    RETURN found;
END
$$;

CREATE FUNCTION merge_orders(one text, two text) RETURNS text LANGUAGE plpgsql AS $$
DECLARE
    target raw := xml_dom_new_document_clob(one);
    source raw := xml_dom_new_document_clob(two);
    target_root raw := xml_dom_get_document_element(target);
    orders raw;
    lines raw;
    taken raw;
    present raw;
    result text;
BEGIN
    orders := xml_dom_get_children_by_tagname(xml_dom_get_document_element(source), 'order');
    FOR i IN 0 .. xml_dom_get_length(orders) - 1 LOOP
        taken := xml_dom_make_element(xml_dom_item(orders, i));
        present := find_order(target_root, xml_dom_get_attribute(taken, 'number'));
        -- Nodes belong to their document: the copy is made for the target and then appended.
        IF present IS NULL THEN
            PERFORM xml_dom_append_child(target_root, xml_dom_import_node(target, taken, true));
        ELSE
            lines := xml_dom_get_children_by_tagname(taken, 'line');
            FOR k IN 0 .. xml_dom_get_length(lines) - 1 LOOP
                PERFORM xml_dom_append_child(
                    present, xml_dom_import_node(target, xml_dom_item(lines, k), true));
            END LOOP;
        END IF;
    END LOOP;
    PERFORM xml_dom_free_document(source);
    result := xml_dom_write_to_buffer_doc(target);
    PERFORM xml_dom_free_document(target);
    RETURN result;
END
$$;

\pset tuples_only on
\pset format unaligned
SELECT merge_orders(
    '<orders xmlns:s="urn:stock"><order number="1"><line s:id="A1">2</line></order></orders>',
    '<orders xmlns:s="urn:stock"><order number="2" note="express"><line s:id="B7">1</line></order>'
    '<order number="1"><line s:id="C3">4</line></order></orders>');
SELECT 'handles left: ' || xml_dom_get_session_tree_num();
