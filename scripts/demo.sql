-- The story that ./demo tells: a real document read, changed, written, released. Run by
-- scripts/demo_session, which has put the document into the table `document`.
\pset footer off
\timing on
\set ECHO queries

\echo
\echo '1. Read. A document is parsed once; its handle is a value that goes wherever values go.'
\echo

CREATE TABLE opened AS SELECT xmldom.parse(body) AS doc FROM document;

\echo
CREATE TABLE mime_type AS
SELECT type AS element,
       xmldom.get_attribute(type, 'type') AS name,
       xmldom.get_node_value(xmldom.get_first_child(comment)) AS comment
FROM opened, xmldom.descendants(doc, 'mime-type') AS type,
     xmldom.next_element(type, type, 'comment') AS comment;

\timing off
\echo
SELECT split_part(name, '/', 1) AS family, count(*) AS types, min(comment) AS "for example"
FROM mime_type GROUP BY 1 ORDER BY 2 DESC LIMIT 3;

\echo '2. Look. The outline of one element, its translations left out.'
\echo

SELECT line FROM mime_type, string_to_table(xmldom.outline(element), E'\n') AS line
WHERE name = 'application/pdf' AND line NOT LIKE '%xml:lang%';

\echo '3. Change. Functions that change something give it back, so calls chain.'
\echo

SELECT xmldom.outline(xmldom.set_attribute(
           xmldom.append_child(element, xmldom.create_element_ns(doc, 'glob',
               'http://www.freedesktop.org/standards/shared-mime-info')),
           'pattern', '*.portable')) AS appended
FROM opened, mime_type WHERE name = 'application/pdf';

\echo '4. Write. The changed document goes back into its table.'
\echo

\timing on
UPDATE document SET changed = xmldom.to_text(doc) FROM opened;
\timing off
\echo
SELECT pg_size_pretty(octet_length(changed)::bigint) AS written,
       replace(changed, '<glob pattern="*.portable"/>', '') = rtrim(body, E'\n')
           AS "one element more, else byte for byte the file"
FROM document;

\echo '5. Give back. Trees live in the session, outside its transactions, until they are freed.'
\echo

SELECT documents, handles, nodes, pg_size_pretty(bytes) AS memory FROM xmldom.session;

SELECT xmldom.free_all() AS freed;

SELECT documents, handles, nodes FROM xmldom.session;

\set ECHO none
\echo 'More: ./demo psql to try for yourself, README.md, docs/guide.md, examples/.'
