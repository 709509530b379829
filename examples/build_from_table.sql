-- Builds a document of 10,000 elements from the rows of a table, and gives every handle up on the
-- way, so that the session holds no more than a few at any time.

CREATE TABLE measurement (station int, hour int, celsius numeric, PRIMARY KEY (station, hour));
INSERT INTO measurement
    SELECT station, hour, round((10 + station % 7 + 8 * sin(hour * pi() / 12))::numeric, 1)
    FROM generate_series(1, 400) AS station, generate_series(0, 23) AS hour;

CREATE FUNCTION measurements() RETURNS text LANGUAGE plpgsql AS $$
DECLARE
    document raw := xml_dom_new_document_empty();
    root raw := xml_dom_create_element(document, 'measurements');
    station raw;
    reading raw;
    appended raw;
    content raw;
    row measurement;
    result text;
BEGIN
    appended := xml_dom_append_child(document, root);
    FOR row IN SELECT * FROM measurement m ORDER BY m.station, m.hour LOOP
        IF row.hour = 0 THEN
            station := xml_dom_create_element(document, 'station');
            appended := xml_dom_append_child(root, station);
            PERFORM xml_dom_set_attribute(station, 'id', row.station::text);
        END IF;
        reading := xml_dom_create_element(document, 'celsius');
        PERFORM xml_dom_set_attribute(reading, 'hour', row.hour::text);
        content := xml_dom_create_text_node(document, row.celsius::text);
        -- Appending gives a further handle of the node; one that is not needed is given up.
        PERFORM xml_dom_free_node(xml_dom_append_child(reading, content)),
                xml_dom_free_node(xml_dom_append_child(station, reading)),
                xml_dom_free_node(content), xml_dom_free_element(reading);
    END LOOP;
    result := xml_dom_write_to_clob_doc(document);
    PERFORM xml_dom_free_document(document);
    RETURN result;
END
$$;

\pset tuples_only on
\pset format unaligned
CREATE TABLE written AS SELECT measurements() AS document;
SELECT string_agg(line, E'\n')
    FROM (SELECT string_to_table(document, E'\n') AS line FROM written LIMIT 6) AS first_lines;
SELECT count(*) || ' elements' FROM written, regexp_matches(document, '<[a-z]', 'g');
SELECT 'handles left: ' || xml_dom_get_session_tree_num();
