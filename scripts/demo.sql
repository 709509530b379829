-- The story that ./demo tells. Run by scripts/demo_session.
\set document /usr/share/mime/packages/freedesktop.org.xml
\pset tuples_only on
\pset format unaligned
\pset pager off

CREATE TABLE demo_document (name text, body text, length bigint);
INSERT INTO demo_document
    SELECT :'document', body, octet_length(body) FROM pg_read_file(:'document') AS body;

\echo
\echo '1. A real document, parsed inside PostgreSQL and written back'
\echo

CREATE FUNCTION milliseconds(since timestamptz) RETURNS text LANGUAGE sql AS $$
    SELECT lpad(to_char(extract(epoch FROM clock_timestamp() - since) * 1000, 'FM99990.0'), 8)
        || ' ms'
$$;
CREATE FUNCTION kilobytes(bytes bigint) RETURNS text LANGUAGE sql AS $$
    SELECT lpad(to_char(bytes / 1000.0, 'FM999990.0'), 8) || ' kB'
$$;

CREATE FUNCTION took(since timestamptz) RETURNS text LANGUAGE sql AS $$
    SELECT 'in ' || milliseconds(since)
$$;

CREATE FUNCTION round_trip(given demo_document) RETURNS SETOF text LANGUAGE plpgsql AS $$
DECLARE
    document raw;
    again raw;
    as_text text;
    as_clob text;
    begun timestamptz := clock_timestamp();
BEGIN
    RETURN NEXT given.name;
    document := xml_dom_new_document_clob(given.body);
    RETURN NEXT format('parsed            %s %s', kilobytes(given.length), took(begun));

    begun := clock_timestamp();
    as_text := xml_dom_write_to_buffer_doc(document);
    RETURN NEXT format('written as text   %s %s', kilobytes(octet_length(as_text)), took(begun));
    begun := clock_timestamp();
    as_clob := xml_dom_write_to_clob_doc(document);
    RETURN NEXT format('written as a CLOB %s %s', kilobytes(octet_length(as_clob)), took(begun));

    again := xml_dom_new_document_clob(as_text);
    RETURN NEXT format('text and CLOB equal: %s; parsed and written once more, equal: %s',
                       as_text = as_clob, xml_dom_write_to_buffer_doc(again) = as_text);
    RETURN NEXT format('the same bytes as in the file: %s', as_text = given.body);
    RETURN NEXT E'an excerpt:\n';
    RETURN NEXT (SELECT string_agg(line, E'\n' ORDER BY number) FROM
                 string_to_table(substr(as_text, strpos(as_text, '<mime-type '), 2000), E'\n')
                     WITH ORDINALITY AS t (line, number) WHERE number <= 6);

    RETURN NEXT format(E'\nhandles in the session: %s, two documents', xml_dom_get_session_tree_num());
    begun := clock_timestamp();
    PERFORM xml_dom_free_document(document);
    PERFORM xml_dom_free_document(again);
    RETURN NEXT format('both freed                     %s', took(begun));
    RETURN NEXT format('handles in the session: %s', xml_dom_get_session_tree_num());
    RETURN NEXT xml_dom_get_doc_trees_info();
END
$$;
SELECT round_trip(d) FROM demo_document d;

\echo
\echo '2. The same document, read into a table'
\echo

CREATE TABLE mime_type (type text, comment text, globs int);

CREATE FUNCTION read_types(given demo_document) RETURNS SETOF text LANGUAGE plpgsql AS $$
DECLARE
    begun timestamptz := clock_timestamp();
    document raw := xml_dom_new_document_clob(given.body);
    types raw := xml_dom_get_elements_by_tagname_document(document, 'mime-type');
    element raw;
    comments raw;
BEGIN
    FOR i IN 0 .. xml_dom_get_length(types) - 1 LOOP
        element := xml_dom_make_element(xml_dom_item(types, i));
        comments := xml_dom_get_children_by_tagname(element, 'comment');
        INSERT INTO mime_type VALUES (
            xml_dom_get_attribute(element, 'type'),
            xml_dom_get_node_value(xml_dom_get_first_child(xml_dom_item(comments, 0))),
            xml_dom_get_length(xml_dom_get_children_by_tagname(element, 'glob')));
    END LOOP;
    RETURN NEXT format('%s rows through %s handles %s', xml_dom_get_length(types),
                       xml_dom_get_session_tree_num(), took(begun));
    PERFORM xml_dom_free_document(document);
END
$$;
SELECT read_types(d) FROM demo_document d;
\pset tuples_only off
\pset format aligned
SELECT split_part(type, '/', 1) AS family, count(*) AS types, sum(globs) AS patterns,
       min(comment) AS "for example"
FROM mime_type GROUP BY 1 ORDER BY 2 DESC LIMIT 4;
\pset tuples_only on
\pset format unaligned

\echo '3. A document built from rows, and changed'
\echo

CREATE FUNCTION build() RETURNS SETOF text LANGUAGE plpgsql AS $$
DECLARE
    document raw := xml_dom_new_document_empty();
    root raw := xml_dom_create_element(document, 'families');
    element raw;
    family record;
BEGIN
    PERFORM xml_dom_append_child(document, root);
    FOR family IN SELECT split_part(type, '/', 1) AS name, count(*) AS types FROM mime_type
                  GROUP BY 1 ORDER BY 2 DESC LIMIT 3 LOOP
        element := xml_dom_create_element(document, 'family');
        PERFORM xml_dom_set_attribute(element, 'types', family.types::text);
        PERFORM xml_dom_append_child(element, xml_dom_create_text_node(document, family.name));
        PERFORM xml_dom_append_child(root, element);
    END LOOP;
    RETURN NEXT rtrim(xml_dom_write_to_buffer_doc(document), E'\n');

    -- The first family goes to the end, and says so.
    element := xml_dom_make_element(xml_dom_get_first_child(root));
    PERFORM xml_dom_append_child(root, element);
    PERFORM xml_dom_set_node_value(xml_dom_get_first_child(element), 'moved & changed');
    RETURN NEXT E'\nafter moving and changing the first:\n';
    RETURN NEXT xml_dom_write_to_buffer_node(root);
    PERFORM xml_dom_free_document(document);
END
$$;
SELECT build();

\echo
\echo '4. Documents that mean harm'
\echo

CREATE FUNCTION try_to_parse(what text, source text) RETURNS SETOF text LANGUAGE plpgsql AS $$
DECLARE
    begun timestamptz := clock_timestamp();
    document raw;
    reason text;
BEGIN
    RETURN NEXT format('%s, %s bytes', what, octet_length(source));
    document := xml_dom_new_document_clob(source);
    RETURN NEXT format('  parses as: %s',
        xml_dom_write_to_buffer_node(xml_dom_get_document_element(document)));
    PERFORM xml_dom_free_document(document);
EXCEPTION WHEN SQLSTATE '2200M' THEN
    GET STACKED DIAGNOSTICS reason = PG_EXCEPTION_CONTEXT;
    RETURN NEXT format('  refused %s: %s', took(begun), split_part(reason, E'\n', 1));
END
$$;
SELECT try_to_parse('an external entity',
    '<!DOCTYPE a [<!ENTITY e SYSTEM "file:///etc/passwd">]><a>[&e;]</a>');
SELECT try_to_parse('entities in entities in entities', '<!DOCTYPE a [<!ENTITY x0 "xxxxxxxxxxxxxxxx">'
    || string_agg(format('<!ENTITY x%s "&x%s;&x%s;&x%s;&x%s;&x%s;&x%s;&x%s;&x%s;">',
        i, i-1, i-1, i-1, i-1, i-1, i-1, i-1, i-1), '' ORDER BY i) || ']><a>&x9;</a>')
FROM generate_series(1, 9) AS i;
SELECT try_to_parse('a million levels', repeat('<a>', 1000000));
SELECT try_to_parse('no XML at all', '<a><b></a>');

\echo
SELECT 'handles in the session at the end: ' || xml_dom_get_session_tree_num();
\echo
\echo 'More: examples/, docs/guide.md, and ./demo psql to try for yourself.'
