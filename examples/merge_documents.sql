-- Merges two documents: orders that only the second one has are taken over, the lines of those that
-- both have are put together.

CREATE FUNCTION merge_orders(one text, two text) RETURNS text LANGUAGE plpgsql AS $$
DECLARE
    scope xmldom.scope := xmldom.mark();
    target xmldom.document := xmldom.parse(one);
    root xmldom.element := xmldom.get_document_element(target);
    taken xmldom.element;
    present xmldom.element;
    result text;
BEGIN
    FOR taken IN SELECT xmldom.xpath(xmldom.parse(two), '/orders/order') LOOP
        present := xmldom.xpath_first(root, 'order[@number = $number]',
            variables => array[array['number', xmldom.get_attribute(taken, 'number')]]);
        -- Nodes belong to their document: the copy is made for the target and then appended.
        IF present IS NULL THEN
            PERFORM xmldom.append_child(root, xmldom.import_node(target, taken, true));
        ELSE
            PERFORM xmldom.append_child(present, xmldom.import_node(target, line, true))
                FROM xmldom.child_elements(taken, 'line') AS line;
        END IF;
    END LOOP;
    result := xmldom.to_text(target, indent => 2);
    PERFORM xmldom.release(scope);
    RETURN result;
EXCEPTION WHEN OTHERS THEN
    PERFORM xmldom.release(scope);
    RAISE;
END
$$;

\pset tuples_only on
\pset format unaligned
SELECT merge_orders(
    '<orders xmlns:s="urn:stock"><order number="1"><line s:id="A1">2</line></order></orders>',
    '<orders xmlns:s="urn:stock"><order number="2" note="express"><line s:id="B7">1</line></order>'
    '<order number="1"><line s:id="C3">4</line></order></orders>');
SELECT 'documents left: ' || documents FROM xmldom.session;
