-- Run in the proxy by ./run: documents spread over three nodes, procedures that run where they are.
\pset footer off
\set ECHO queries

\echo
\echo '1. Real documents: a file for each file type of this machine, spread by its name.'
\echo

SELECT count(store_document(family || '/' || file, pg_read_file(folder || '/' || file))) AS stored
FROM pg_ls_dir('/usr/share/mime') AS family,
     format('/usr/share/mime/%s', family) AS folder,
     pg_ls_dir(folder) AS file
WHERE family <> 'packages' AND file LIKE '%.xml' AND (pg_stat_file(folder)).isdir;

\echo '2. One call: every node parses its own documents and counts; the rows are gathered.'
\echo

SELECT node, sum(comments) AS comments, count(*) AS languages
FROM count_comments() GROUP BY node ORDER BY node;

SELECT language, sum(comments) AS comments FROM count_comments()
WHERE language <> 'none' GROUP BY language ORDER BY comments DESC, language LIMIT 3;

\echo '3. One call: every node changes its own documents.'
\echo

SELECT * FROM mark_reviewed('image', 'somebody') ORDER BY node;

SELECT xmldom.get_attribute(xmldom.get_document_element(doc), 'reviewed-by')
FROM xmldom.parse(read_document('image/png.xml')) AS doc;

SELECT xmldom.free_all() AS "freed in the proxy";

\echo '4. Handles do not travel: what one names stays in the session that made it, on its node.'
\echo

CREATE TABLE opened AS SELECT open_document('image/png.xml') AS doc;

\set ON_ERROR_STOP off
SELECT xmldom.outline(doc) FROM opened;

\set ON_ERROR_STOP on
\echo
SELECT * FROM node_session() ORDER BY node;

\echo '5. The open document is given back, and nothing is left on any node.'
\echo

SELECT sum(freed) AS freed FROM free_session() AS freed;

SELECT * FROM node_session() ORDER BY node;
