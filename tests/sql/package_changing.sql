-- Changing trees with the package xmldom: what SQL sees of it.
\set VERBOSITY terse

CREATE FUNCTION written(node xmldom.node) RETURNS text LANGUAGE SQL AS 'SELECT xmldom.write_to_buffer(node)';

-- Functions chain: each gives the node that was put, taken out or changed.
SELECT written(xmldom.append_child(root, xmldom.set_attribute(xmldom.create_element(doc, 'b'), 'k', '1')::xmldom.node)) AS child,
       written(root) AS root
    FROM xmldom.new_document('a') AS doc, xmldom.get_document_element(doc) AS root;

-- Lists of nodes are written as they come, of whatever types.
SELECT written(xmldom.append(root, xmldom.create_text_node(doc, 'one '), xmldom.create_element(doc, 'b'),
                             xmldom.create_comment(doc, 'note'))) AS appended,
       written(xmldom.prepend(root, xmldom.create_processing_instruction(doc, 'go', 'there'),
                              xmldom.create_cdata_section(doc, '<&>'))) AS prepended
    FROM xmldom.new_document('a') AS doc, xmldom.get_document_element(doc) AS root;
SELECT written(xmldom.append(xmldom.create_element(doc, 'list'), VARIADIC (
           SELECT array_agg(xmldom.set_attribute(xmldom.create_element(doc, 'row'), 'n', number::text)::xmldom.node
                            ORDER BY number DESC) FROM generate_series(1, 3) AS number))) AS rows
    FROM xmldom.new_document() AS doc;
SELECT written(xmldom.replace_children(root)) AS emptied, written(xmldom.replace_children(root, VARIADIC '{}')) AS again
    FROM xmldom.parse('<a>text<b/></a>') AS doc, xmldom.get_document_element(doc) AS root;
SELECT written(root) FROM xmldom.parse('<a><b/><c/></a>') AS doc, xmldom.get_document_element(doc) AS root,
    xmldom.get_last_child(root) AS last,
    xmldom.before(last, xmldom.create_element(doc, 'x')) AS before,
    xmldom.after(last, xmldom.create_element(doc, 'y'), xmldom.create_element(doc, 'z')) AS after,
    xmldom.replace_with(xmldom.get_first_child(root), xmldom.create_text_node(doc, 't')) AS replaced;

-- Namespaces are declared where names need them.
SELECT written(xmldom.append_child(root, xmldom.create_element_ns(doc, 'soap:Body', 'urn:soap'))) AS body, written(root) AS envelope
    FROM xmldom.new_document('soap:Envelope', 'urn:soap') AS doc, xmldom.get_document_element(doc) AS root;
SELECT written(xmldom.set_attribute_ns(xmldom.set_attribute(root, 'xmlns:p', 'urn:p'), 'p:k', '1', 'urn:p')) AS declared
    FROM xmldom.new_document('a') AS doc, xmldom.get_document_element(doc) AS root;
SELECT xmldom.set_attribute(root, 'xmlns:p', 'urn:other') FROM xmldom.parse('<p:a xmlns:p="urn:p"/>') AS doc,
    xmldom.get_document_element(doc) AS root;

-- Copies, other documents, names.
SELECT written(xmldom.clone_node(root)) AS shallow, written(xmldom.clone_node(root, true)) AS deep,
       xmldom.write_to_buffer(xmldom.clone_node(doc, true)) AS document, written(xmldom.import_node(other, root, true)) AS imported,
       written(xmldom.adopt_node(other, xmldom.get_first_child(root))) AS adopted, written(root) AS rest,
       written(xmldom.rename_node(root, 'p:z', 'urn:z')) AS renamed
    FROM xmldom.parse('<a k="1"><b/></a>') AS doc, xmldom.get_document_element(doc) AS root, xmldom.new_document() AS other;
SELECT xmldom.append_child(xmldom.get_document_element(other), xmldom.get_document_element(doc))
    FROM xmldom.new_document('a') AS doc, xmldom.new_document('b') AS other;

-- Texts.
SELECT xmldom.get_node_value(xmldom.insert_data(data, 2, '--')) AS inserted, xmldom.get_node_value(xmldom.delete_data(data, 0, 1)) AS deleted,
       xmldom.get_node_value(xmldom.replace_data(data, 0, 1, 'N')) AS replaced, xmldom.get_node_value(xmldom.append_data(data, '!')) AS appended,
       xmldom.get_node_value(xmldom.split_text(data, 3)) AS split
    FROM xmldom.new_document() AS doc, xmldom.create_text_node(doc, 'text') AS data;
SELECT written(xmldom.normalize(xmldom.append(root, xmldom.create_text_node(doc, 'a'), xmldom.create_text_node(doc, ''),
                                              xmldom.create_text_node(doc, 'b')))) AS joined,
       written(xmldom.set_text_content(root, 'a < b')) AS content
    FROM xmldom.new_document('a') AS doc, xmldom.get_document_element(doc) AS root;
SELECT xmldom.insert_data(xmldom.create_text_node(doc, 'text'), 5, 'x') FROM xmldom.new_document() AS doc;

-- What could not be read again is not made.
SELECT xmldom.create_element(doc, 'not a name') FROM xmldom.new_document() AS doc;
SELECT xmldom.create_comment(doc, 'a -- b') FROM xmldom.new_document() AS doc;
SELECT xmldom.append_child(doc, xmldom.create_text_node(doc, 'x')) FROM xmldom.new_document() AS doc;
SELECT xmldom.append_child(doc, xmldom.create_element(doc, 'x')) FROM xmldom.new_document('a') AS doc;
\set VERBOSITY default
SELECT xmldom.append_child(root, root) FROM xmldom.new_document('a') AS doc, xmldom.get_document_element(doc) AS root;
\set VERBOSITY terse

-- IDs.
SELECT xmldom.get_attribute(xmldom.get_element_by_id(doc, '2'), 'n') AS found, xmldom.get_element_by_id(doc, '3') IS NULL AS none,
       xmldom.get_tag_name(xmldom.get_element_by_id(xmldom.parse('<a xml:id="x"/>'), 'x')) AS declared
    FROM xmldom.parse('<l><e n="a" k="1"/><e n="b" k="2"/></l>') AS doc, xmldom.get_document_element(doc) AS root,
        xmldom.set_id_attribute(xmldom.get_last_child(root)::xmldom.element, 'k', true) AS marked;

DROP FUNCTION written;
SELECT xmldom.free_all() > 0 AS freed;
