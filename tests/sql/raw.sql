-- Type raw: text form, casts, comparison, grouping, joining, indexing, binary form.
\set VERBOSITY default
SET bytea_output = hex;
SELECT '\x0102ff'::raw, ''::raw, 'abc'::raw, '\x'::raw;
SELECT 'a\'::raw;
SELECT '\x1'::raw;
SELECT '\x1g'::raw;
SET bytea_output = escape;
SELECT 'abc'::raw, '\x00ff'::raw;
RESET bytea_output;

-- Casts: assignment and explicit, both ways; no implicit one.
SELECT '\x01'::bytea::raw, '\x02'::raw::bytea;
CREATE TABLE casts (r raw, b bytea);
INSERT INTO casts VALUES ('\x0a'::bytea, '\x0b'::raw) RETURNING *;
SELECT length('\x0102'::raw);
SELECT length('\x0102'::raw::bytea), encode('\x0102'::raw::bytea, 'base64');
DROP TABLE casts;

-- Comparison.
SELECT a, b, a = b AS eq, a <> b AS ne, a < b AS lt, a <= b AS le, a > b AS gt, a >= b AS ge
    FROM (VALUES ('\x01'::raw, '\x01'::raw), ('\x01', '\x02'), ('\x0100', '\x01'), ('', '\x00'),
                 ('\xff', '\x7f')) AS v(a, b);
SELECT raw_cmp('\x01', '\x02'), raw_cmp('\x02', '\x02'), raw_cmp('\x0200', '\x02');
SELECT '\x01'::raw = NULL;
SELECT r, count(*) FROM (VALUES ('\x01'::raw), ('\x02'), ('\x01')) AS v(r) GROUP BY r ORDER BY r;
SELECT DISTINCT r FROM (VALUES ('\x03'::raw), ('\x02'), ('\x03')) AS v(r) ORDER BY r DESC;

-- Indexes and joins of every kind.
CREATE TABLE handles (id integer, r raw);
INSERT INTO handles SELECT i, int4send(i % 500)::raw FROM generate_series(1, 2000) AS i;
CREATE INDEX handles_btree ON handles (r);
CREATE INDEX handles_hash ON handles USING hash (r);
ANALYZE handles;
SET enable_seqscan = off;
SET enable_bitmapscan = off;
SELECT count(*) FROM handles WHERE r = int4send(7)::raw;
SELECT count(*) FROM handles WHERE r >= int4send(490)::raw;
EXPLAIN (COSTS off) SELECT id FROM handles WHERE r > int4send(498)::raw ORDER BY r;
RESET enable_seqscan;
RESET enable_bitmapscan;
SET enable_mergejoin = off;
SET enable_nestloop = off;
SELECT count(*) FROM handles a JOIN handles b ON a.r = b.r;
SET enable_mergejoin = on;
SET enable_hashjoin = off;
SELECT count(*) FROM handles a JOIN handles b ON a.r = b.r;
RESET enable_mergejoin;
RESET enable_nestloop;
RESET enable_hashjoin;
DROP TABLE handles;

-- Stored out of line, and in arrays, composites and binary copies.
CREATE TYPE pair AS (name text, r raw);
CREATE TABLE stored (r raw, rs raw[], p pair);
INSERT INTO stored SELECT repeat('ab', 100000)::bytea::raw, ARRAY['\x01'::raw, NULL, '\x02'],
    ROW('n', '\x03')::pair;
SELECT length(r::bytea), rs, (p).r, p FROM stored;
SELECT raw_send(r) = r::bytea AS sent FROM stored;
SELECT '{"\\x0102",NULL}'::raw[];
DROP TABLE stored;
DROP TYPE pair;

-- Every operator class is complete, every function of the type is described.
SELECT opcname, amvalidate(o.oid), m.amname
    FROM pg_opclass o JOIN pg_am m ON m.oid = opcmethod WHERE opcname = 'raw_ops' ORDER BY amname;
SELECT p.proname FROM pg_proc p WHERE p.proname LIKE 'raw\_%'
    AND obj_description(p.oid, 'pg_proc') IS NULL ORDER BY 1;
