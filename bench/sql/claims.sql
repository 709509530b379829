-- The figures on the first screen of the README, taken on the spot: bench/claims.
\set ON_ERROR_STOP on
\pset footer off
SET client_min_messages = warning;
CREATE EXTENSION IF NOT EXISTS pkg_dbe_xml;

-- Milliseconds of one execution; a statement that its time limit stops counts up to there.
CREATE FUNCTION pg_temp.milliseconds(statement text) RETURNS numeric LANGUAGE plpgsql AS $$
DECLARE
    begun timestamptz := clock_timestamp();
BEGIN
    BEGIN
        EXECUTE statement;
    EXCEPTION WHEN query_canceled THEN
        NULL;
    END;
    RETURN round(extract(epoch FROM clock_timestamp() - begun) * 1000, 1);
END
$$;

-- 16,000 items, 1 MB.
CREATE TEMP TABLE source AS
    SELECT '<shop>' || string_agg(format('<item id="a%s"><name>name %s</name><price>%s</price></item>',
                                         i, i, i % 100), '') || '</shop>' AS body
    FROM generate_series(1, 16000) AS i;
CREATE TEMP TABLE opened AS SELECT body::xml AS value, xmldom.parse(body) AS doc FROM source;

-- Both sides in turns; the smallest of three.
CREATE TEMP TABLE measured (claim text, here numeric, server numeric);

INSERT INTO measured
SELECT '100 path queries of a document of 1 MB, parsing included', min(here), min(server)
FROM (SELECT pg_temp.milliseconds($sql$
                 SELECT xmldom.xpath_number(doc, '//item[@id = "a' || i * 150 || '"]/price')
                 FROM (SELECT xmldom.parse(body) AS doc FROM source OFFSET 0) AS parsed,
                      generate_series(1, 100) AS i $sql$) AS here,
             pg_temp.milliseconds($sql$
                 SELECT xpath('//item[@id = "a' || i * 150 || '"]/price/text()', value)
                 FROM opened, generate_series(1, 100) AS i $sql$) AS server
      FROM generate_series(1, 3)) AS rounds;

INSERT INTO measured
SELECT '16,000 rows of three columns, parsing included; the server by xmltable', min(here), min(server)
FROM (SELECT pg_temp.milliseconds($sql$
                 SELECT sum(price) FROM source, xmldom.rows_of_text(body, '/shop/item', '{@id, name, price}')
                     AS r (id text, name text, price int) $sql$) AS here,
             pg_temp.milliseconds($sql$
                 SELECT sum(price) FROM opened, xmltable('/shop/item' PASSING value
                     COLUMNS id text PATH '@id', name text PATH 'name', price int PATH 'price') AS r $sql$) AS server
      FROM generate_series(1, 3)) AS rounds;

-- Each of the 16,000 items is compared with all names behind it: without a limit, many seconds
-- on either side.
SET statement_timeout = '500ms';
SELECT pg_temp.milliseconds($sql$
    SELECT xmldom.xpath_number(doc, 'count(//item[not(following::name = name)])') FROM opened $sql$) AS here \gset
SET statement_timeout = '500ms';
SELECT pg_temp.milliseconds($sql$
    SELECT xpath('count(//item[not(following::name = name)])', value) FROM opened $sql$) AS server \gset
RESET statement_timeout;
INSERT INTO measured VALUES ('statement_timeout of 500 ms, a path query of many seconds', :here, :server);

SELECT claim, here AS "here, ms", server AS "the server's own, ms", round(server / here, 1) AS times
FROM measured;

-- The list of file types of the package shared-mime-info, 2.4 MB.
SELECT octet_length(body) AS "a real document",
       xmldom.to_text(xmldom.parse(body)) = rtrim(body, E'\n') AS "is written byte for byte as it was read"
FROM pg_read_file('/usr/share/mime/packages/freedesktop.org.xml') AS body;
SELECT xmldom.free_all() AS freed \gset
CREATE TEMP TABLE walked AS SELECT xmldom.parse(body) AS doc FROM source;
SELECT count(node) AS visited, (SELECT handles FROM xmldom.session) AS "handles then"
FROM walked, xmldom.descendants(doc) AS node;
SELECT count(node) AS "visited again", (SELECT handles FROM xmldom.session) AS "handles then"
FROM walked, xmldom.descendants(doc) AS node;
