-- Handles of the packages as values: what is one, equality, joins, grouping, indexes.
\set VERBOSITY terse
CREATE TEMPORARY TABLE held AS SELECT xmldom.parse('<r a="1"><x/>text<x><y/></x></r>') AS doc;
CREATE TEMPORARY TABLE nodes AS
    SELECT place, node FROM held, xmldom.descendants(doc) WITH ORDINALITY AS below (node, place);

-- The same node is the same handle, whichever way it was reached and whatever its type.
SELECT r.node = above AS reached, pg_typeof(r.node) AS one, pg_typeof(above) AS other
    FROM nodes AS r, nodes AS x, xmldom.ancestors(x.node) AS above WHERE r.place = 1 AND x.place = 2 LIMIT 1;
SELECT doc = ancestor AS document FROM held, nodes, xmldom.ancestors(node) WITH ORDINALITY AS above (ancestor, height)
    WHERE nodes.place = 1;
SELECT count(*) AS rows, count(DISTINCT ancestor) AS nodes FROM nodes, xmldom.ancestors(node) AS ancestor;
SELECT below, count(*) FROM (SELECT count(DISTINCT node) AS below FROM nodes, xmldom.ancestors(node) AS ancestor
    GROUP BY ancestor) AS counted GROUP BY below ORDER BY below;
SELECT count(*) FROM nodes AS a JOIN nodes AS b ON a.node = b.node;
SELECT count(*) FROM nodes WHERE node IN (SELECT ancestor FROM nodes, xmldom.ancestors(node) AS ancestor);
SELECT count(*) FROM nodes AS a JOIN nodes AS b ON a.node < b.node;
SET enable_hashjoin = off; SET enable_nestloop = off;
SELECT count(*) FROM nodes AS a JOIN nodes AS b ON a.node = b.node;
RESET enable_hashjoin; RESET enable_nestloop;
CREATE UNIQUE INDEX ON nodes (node);
CREATE INDEX ON nodes USING hash (node);
INSERT INTO nodes SELECT 0, node FROM nodes LIMIT 1;
SET enable_seqscan = off;
SELECT place FROM nodes WHERE node = (SELECT xmldom.children(doc)::xmldom.element FROM held);
RESET enable_seqscan;
-- Lists, maps, parsers and scopes too; each with its own kind.
SELECT a = a AS same, a <> b AS other, a > b OR a < b AS ordered FROM held,
    LATERAL (SELECT xmldom.get_child_nodes(doc) AS a, xmldom.get_elements_by_tag_name(doc, '') AS b) AS lists;
SELECT count(DISTINCT parser) FROM (VALUES (xmlparser.new_parser()), (xmlparser.new_parser())) AS made (parser);
SELECT count(DISTINCT scope) FROM (SELECT xmldom.mark() FROM generate_series(1, 3)) AS made (scope);
SELECT doc = xmlparser.new_parser() FROM held;

-- What is no handle is refused where it is read.
SELECT '\X00000000010000000200000001'::xmldom.node;
SELECT '\x0000000001000000020000000A'::xmldom.element, '\x0000000001000000020000000a'::xmldom.scope;
\set VERBOSITY default
SELECT xmldom.get_document_element('<a/>');
SELECT xmldom.append(xmldom.get_document_element(doc), 'a text') FROM held;
SELECT '<a>ééééééééééééééééééééééééééééééééééééééé</a>'::xmldom.document;
SELECT ''::xmlparser.parser;
SELECT '\x000000000100000002000000g1'::xmldom.node;
SELECT '\x00'::xmldom.node;
-- A value of raw is looked at when it is used.
SELECT '\x00'::raw::xmldom.node AS shown;
SELECT count(*) FROM xmldom.children('\x00'::raw::xmldom.node);
-- And what names nothing any more, or not what is wanted.
SELECT xmldom.free_node(node) FROM nodes WHERE place = 3;
SELECT count(*) FROM nodes, xmldom.children(node) WHERE place = 3;
SELECT count(*) FROM held, xmldom.nodes(doc::raw::xmldom.node_list);
SELECT node::xmldom.node::xmldom.attr FROM nodes WHERE place = 2;
SELECT NULL::xmldom.node::xmldom.element IS NULL AS nothing;

-- What people call is what they see.

SELECT count(*) FROM pg_proc WHERE proname LIKE 'dom\_%' AND pronamespace <> 'xmldom_internal'::regnamespace;
