-- Streams: records out of documents that come in pieces.
\set VERBOSITY default

-- Piece by piece, cut anywhere.
BEGIN;
CREATE TEMPORARY TABLE pieces (number integer, piece text);
INSERT INTO pieces VALUES (1, '<feed xmlns:p="urn:p"><entry id="1"><na'), (2, 'me>One</name><p:x/></en'),
    (3, 'try><entry id="2"/><other/>'), (4, '<entry id="3">&lt;</entry></feed>');
DO $$
DECLARE
    stream xmlparser.stream := xmlparser.open_stream('/feed/entry');
    record xmldom.document;
    piece text;
BEGIN
    FOR piece IN SELECT p.piece FROM pieces AS p ORDER BY number LOOP
        PERFORM xmlparser.feed(stream, piece);
        LOOP
            record := xmlparser.next_record(stream);
            EXIT WHEN record IS NULL;
            RAISE NOTICE '%: %', xmlparser.record_number(stream), xmldom.to_text(record);
            PERFORM xmldom.free_document(record);
        END LOOP;
        RAISE NOTICE 'complete: %', xmlparser.is_complete(stream);
    END LOOP;
    PERFORM xmlparser.close_stream(stream);
END $$;
COMMIT;

-- Bytes, in the encoding that they name; large objects in slices.
CREATE FUNCTION records(path text, VARIADIC parts bytea[]) RETURNS SETOF text LANGUAGE plpgsql AS $$
DECLARE
    stream xmlparser.stream := xmlparser.open_stream(path);
    record xmldom.document;
    part bytea;
BEGIN
    FOREACH part IN ARRAY parts LOOP
        PERFORM xmlparser.feed(stream, part);
        LOOP
            record := xmlparser.next_record(stream);
            EXIT WHEN record IS NULL;
            RETURN NEXT xmldom.to_text(record);
            PERFORM xmldom.free_document(record);
        END LOOP;
    END LOOP;
    IF NOT xmlparser.is_complete(stream) THEN
        RETURN NEXT '(not complete)';
    END IF;
END $$;
SELECT * FROM records('//r', '<?xml version="1.0" encoding="ISO-8859-1"?><f><r>', '\xe4'::bytea, '</r></f>');
SELECT * FROM records('//r', '\xfffe3c00', '\x660000'::bytea);
SELECT * FROM records('//r', '\xfffe3c0066003e003c0072002f003e003c002f00', '\x66003e00');
SELECT * FROM records('//r', '<f><r/><r>', 'cut short');

-- What is wrong with a text is told with its place, and once more when asked again.
SELECT * FROM records('//r', '<f><r/>', E'\n<r></f>');
SELECT * FROM records('//r', '<f><r/></f>', '<f/>');
SELECT xmlparser.open_stream('/feed/entry[1]');
SELECT xmlparser.open_stream('/feed/p:entry');
SELECT xmlparser.open_stream('/feed/p:entry', array['p']);
SELECT xmlparser.open_stream(NULL);

-- A stream ends with its transaction, and with the block that is rolled back.
SELECT xmlparser.open_stream('//r') AS stream \gset
SELECT xmlparser.next_record(:'stream');
DO $$
DECLARE
    outer_stream xmlparser.stream := xmlparser.open_stream('//r');
    inner_stream xmlparser.stream;
BEGIN
    PERFORM xmlparser.feed(outer_stream, '<f><r>1</r>');
    BEGIN
        inner_stream := xmlparser.open_stream('//r');
        PERFORM xmlparser.feed(inner_stream, '<f><r/><a></b>');
        RAISE NOTICE '%', xmldom.to_text(xmlparser.next_record(inner_stream));
        PERFORM xmlparser.next_record(inner_stream);
    EXCEPTION WHEN OTHERS THEN
        RAISE NOTICE '%', sqlerrm;
    END;
    RAISE NOTICE '%', xmldom.to_text(xmlparser.next_record(outer_stream));
    PERFORM xmlparser.next_record(inner_stream);
EXCEPTION WHEN OTHERS THEN
    RAISE NOTICE '%', sqlerrm;
END $$;
SELECT xmldom.free_all() > 0 AS records_stayed;

-- Null.
SELECT xmlparser.next_record(NULL);
SELECT xmlparser.feed(NULL, 'x'::text);
SELECT xmlparser.is_complete(NULL), xmlparser.close_stream(NULL), xmlparser.record_number(NULL);
DROP FUNCTION records;

-- Rows, in one statement.
SELECT * FROM xmlparser.rows('<f xmlns="urn:f"><r i="1"><n>One</n></r><r i="2"><n>Two</n></r><r/></f>'::text, '/f:f/f:r',
    array['@i', 'f:n'], array['f', 'urn:f']) AS t(id integer, name text);
SELECT * FROM xmlparser.rows(convert_to('<?xml version="1.0" encoding="ISO-8859-15"?><f><r>€</r></f>', 'LATIN9'), '//r',
    array['.']) AS t(v text);
\set feed 4711
SELECT lo_from_bytea(:feed, convert_to('<f>' || string_agg(format('<r><i>%s</i></r>', i), '' ORDER BY i) || '</f>', 'UTF8'))
    FROM generate_series(1, 10000) AS i;
SELECT count(*), sum(i), min(i) FROM xmlparser.rows(:feed, '/f/r', array['i'], skip => 10, notice_every => 4000) AS t(i integer);
SELECT * FROM xmlparser.rows(:feed, '/f/r', array['i']) AS t(i smallint) LIMIT 2;
SELECT count(*) FROM xmlparser.rows(:feed, '/f/r', array['i']) AS t(i boolean);
SELECT lo_unlink(:feed);
SELECT count(*) FROM xmlparser.rows(:feed, '/f/r', array['i']) AS t(i integer);
SELECT * FROM xmlparser.rows('<f><r/>'::text, '/f/r', array['i']) AS t(i integer);
SELECT count(*) FROM xmlparser.rows(NULL::text, '/f/r', array['i']) AS t(i integer);
SELECT documents FROM xmldom.session;
