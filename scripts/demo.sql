-- The story that ./demo tells: a real document read, queried, changed, written, released. Run by
-- scripts/demo_session, which has put the document into the table `document`.
\pset footer off
\timing on
\set ECHO queries

\echo
\echo '1. Open. A document is parsed once; its handle is a value that goes wherever values go.'
\echo

CREATE TABLE opened AS SELECT xmldom.parse(body) AS doc FROM document;

\echo
\echo '2. Query it with XPath. Nothing is parsed again.'
\echo

SELECT xmldom.xpath_number(doc, 'count(//m:mime-type)', '{{m, http://www.freedesktop.org/standards/shared-mime-info}}') AS types,
       xmldom.xpath_text(doc, '//m:mime-type[m:glob/@pattern = $p]/@type',
           '{{m, http://www.freedesktop.org/standards/shared-mime-info}}', '{{p, *.sql}}') AS "type of *.sql"
FROM opened;

\echo '3. Turn elements into rows of a table: a path for the rows, a path for each column.'
\echo

CREATE TABLE mime_type AS
SELECT type.*
FROM opened, xmldom.rows(doc, '/m:mime-info/m:mime-type', '{@type, m:comment[not(@xml:lang)], count(m:glob)}',
    '{{m, http://www.freedesktop.org/standards/shared-mime-info}}') AS type (name text, comment text, patterns integer);

\timing off
\echo
SELECT split_part(name, '/', 1) AS family, count(*) AS types, sum(patterns) AS patterns,
       min(comment) AS "for example"
FROM mime_type GROUP BY 1 ORDER BY 2 DESC LIMIT 3;

\echo '4. Look. The outline of one element, its translations and blank texts left out.'
\echo

CREATE TABLE pdf AS SELECT xmldom.xpath_first(doc, '//m:mime-type[@type = "application/pdf"]',
    '{{m, http://www.freedesktop.org/standards/shared-mime-info}}') AS element FROM opened;

SELECT line FROM pdf, string_to_table(xmldom.outline(element), E'\n') AS line
WHERE line NOT LIKE '%xml:lang%' AND line !~ '^ *"\\n *"$';

\echo '5. Change. Functions that change something return it, so calls nest.'
\echo

SELECT xmldom.outline(xmldom.set_attribute(
           xmldom.append_child(element, xmldom.create_element_ns(doc, 'glob',
               'http://www.freedesktop.org/standards/shared-mime-info')),
           'pattern', '*.portable')) AS appended
FROM opened, pdf;

\echo '6. Write. The changed document goes back into its table.'
\echo

\timing on
UPDATE document SET changed = xmldom.to_text(doc) FROM opened;
\timing off
\echo
SELECT pg_size_pretty(octet_length(changed)::bigint) AS written,
       replace(changed, '<glob pattern="*.portable"/>', '') = rtrim(body, E'\n')
           AS "one element more, else byte for byte the file"
FROM document;

\echo '7. Stream. Read in pieces, one record at a time: memory does not grow with the document.'
\echo

DO $$
DECLARE
    stream xmlparser.stream := xmlparser.open_stream('/m:mime-info/m:mime-type',
        '{{m, http://www.freedesktop.org/standards/shared-mime-info}}');
    record xmldom.document;
    body text := (SELECT body FROM document);
    records int := 0;
BEGIN
    FOR i IN 0 .. length(body) / 65536 LOOP
        stream := xmlparser.feed(stream, substr(body, 1 + i * 65536, 65536));
        LOOP
            record := xmlparser.next_record(stream);
            EXIT WHEN record IS NULL;
            records := records + 1;
            record := xmldom.free_document(record);
        END LOOP;
    END LOOP;
    RAISE NOTICE '% records, complete: %', records, xmlparser.is_complete(stream);
END
$$;
\echo

\echo '8. Give back. Trees live in the session, outside its transactions, until they are freed.'
\echo

SELECT documents, handles, nodes, pg_size_pretty(bytes) AS memory FROM xmldom.session;

SELECT xmldom.free_all() AS freed;

SELECT documents, handles, nodes FROM xmldom.session;

\set ECHO none
\echo 'More: ./demo psql to try for yourself, README.md, docs/tutorial.md, docs/guide.md, examples/.'
