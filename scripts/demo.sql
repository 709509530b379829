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

CREATE FUNCTION round_trip(given demo_document) RETURNS SETOF text LANGUAGE plpgsql AS $$
DECLARE
    document raw;
    again raw;
    as_text text;
    as_clob text;
    begun timestamptz := clock_timestamp();
BEGIN
    RETURN NEXT format('%s', given.name);
    document := xml_dom_new_document_clob(given.body);
    RETURN NEXT format('parsed            %s in %s', kilobytes(given.length), milliseconds(begun));

    begun := clock_timestamp();
    as_text := xml_dom_write_to_buffer_doc(document);
    RETURN NEXT format('written as text   %s in %s', kilobytes(octet_length(as_text)),
                       milliseconds(begun));
    begun := clock_timestamp();
    as_clob := xml_dom_write_to_clob_doc(document);
    RETURN NEXT format('written as a CLOB %s in %s', kilobytes(octet_length(as_clob)),
                       milliseconds(begun));

    again := xml_dom_new_document_clob(as_text);
    RETURN NEXT format('text and CLOB equal: %s; parsed and written once more, equal: %s',
                       as_text = as_clob, xml_dom_write_to_buffer_doc(again) = as_text);
    RETURN NEXT format('an excerpt:%s%s', E'\n\n', substr(as_text, strpos(as_text, '<mime-type '), 430));
    RETURN NEXT '';

    RETURN NEXT format('handles in the session: %s', xml_dom_get_session_tree_num());
    RETURN NEXT rtrim(xml_dom_get_doc_trees_info(), E'\n');
    begun := clock_timestamp();
    PERFORM xml_dom_free_document(document);
    PERFORM xml_dom_free_document(again);
    RETURN NEXT format('both freed                     in %s', milliseconds(begun));
    RETURN NEXT format('handles in the session: %s', xml_dom_get_session_tree_num());
    RETURN NEXT xml_dom_get_doc_trees_info();
END
$$;
SELECT round_trip(d) FROM demo_document d;
