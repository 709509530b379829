-- Rows out of trees: columns by paths, converted by their types.
\set VERBOSITY default
CREATE TEMPORARY TABLE held AS SELECT xmldom.parse(
    '<orders xmlns:p="urn:p"><order id="1" day="2026-02-03" paid="true"><customer><name>Ann</name></customer>' ||
    '<item price="1.50">Pencil</item><item price="20">Desk</item><p:note>quick</p:note></order>' ||
    '<order id="2" paid="false"><customer><name>B<![CDATA[&]]>C</name></customer></order>' ||
    '<order id="3"><customer/><item price="7">Lamp <b>red</b></item></order></orders>') AS doc;

SELECT t.* FROM held, xmldom.rows(doc, '/orders/order', ARRAY['@id', 'customer/name', 'sum(item/@price)'])
    AS t(id int, customer text, total numeric);
-- The types' own functions convert; several nodes make an array; what is missing is null.
SELECT t.* FROM held, xmldom.rows(doc, '//order', ARRAY['@day', '@paid', 'item', 'item/@price', 'count(item)', 'string(@none)', 'boolean(item)'])
    AS t(day date, paid boolean, items text[], prices numeric[], count float8, none varchar(3), any_item bool);
SELECT t.* FROM held, ROWS FROM (xmldom.rows(doc, '//item', ARRAY['.', '../@id']) AS (item char(6), id bigint))
    WITH ORDINALITY AS t(item, id, place);
SELECT t.* FROM held, ROWS FROM (xmldom.rows(doc, '//item', ARRAY['.', '../@id']) AS (item char(9), id bigint))
    WITH ORDINALITY AS t(item, id, place);
-- Paths by the names of their columns.
SELECT t.* FROM held, xmldom.rows(doc, '//order', ARRAY[['customer', 'customer/name'], ['The Id', '@id']])
    AS t("The Id" int, customer text);
-- XML as it stands in the tree; truth as a number where a number is wanted.
SELECT t.* FROM held, xmldom.rows(doc, '//order', ARRAY['*', '*', 'item/@price', 'concat(@id, ''<'')', 'item = ''Desk'''])
    AS t(all_of_it xml, each xml[], prices xml, made xml, desk int);
SELECT t.* FROM xmldom.rows_of_text('<a xmlns="urn:a" b="&lt;1"><b/>x &amp; y</a>', '/*', ARRAY['.', '@b', 'text()'], NULL)
    AS t(whole xml, attribute xml, part xml);
-- Namespaces as pairs; a context below the document; attributes and texts as rows.
SELECT t.* FROM held, xmldom.rows(doc, '/orders/order[p:note]', ARRAY['n:note'], ARRAY['n', 'urn:p', 'p', 'urn:p']) AS t(note text);
SELECT t.* FROM held, xmldom.child_elements(xmldom.get_document_element(doc)) WITH ORDINALITY AS o(element, number),
    xmldom.rows(o.element, 'item', ARRAY['@price']) AS t(price numeric) ORDER BY number, price;
SELECT t.* FROM held, xmldom.rows(doc, '//@price', ARRAY['.', 'name(..)']) AS t(price numeric, of text);
SELECT t.* FROM held, xmldom.rows(doc, '//name/text()', ARRAY['.']) AS t(part text);
-- Nothing there.
SELECT count(*) FROM held, xmldom.rows(doc, '//none', ARRAY['.']) AS t(a text);
SELECT count(*) FROM xmldom.rows(NULL, '//none', ARRAY['.']) AS t(a text);
SELECT count(*) FROM xmldom.rows_of_text(NULL::text, '//none', ARRAY['.']) AS t(a text);
-- A text without a tree.
SELECT t.* FROM xmldom.rows_of_text('<a><b c="1"> x </b><b c="2"/></a>', '/a/b', ARRAY['@c', '.']) AS t(c int, text text);
SELECT t.* FROM xmldom.rows_of_text('<a><b c="1"/></a>'::xml, '/a/b', ARRAY['@c']) AS t(c int);
SELECT id, sum(c) FROM (VALUES (1, '<a><b c="1"/><b c="2"/></a>'), (2, '<a/>'), (3, '<a><b c="5"/></a>')) AS documents (id, document),
    LATERAL xmldom.rows_of_text(document, '/a/b', ARRAY['@c']) AS t(c int) GROUP BY id ORDER BY id;

-- What is refused.
SELECT xmldom.rows(doc, '//item', ARRAY['.']) FROM held;
SELECT t.* FROM held, xmldom.rows(doc, '//item', ARRAY['.', '@price']) AS t(item text);
SELECT t.* FROM held, xmldom.rows(doc, NULL, ARRAY['.']) AS t(item text);
SELECT t.* FROM held, xmldom.rows(doc, '//item', NULL) AS t(item text);
SELECT t.* FROM held, xmldom.rows(doc, '//item', ARRAY['.', NULL]) AS t(item text, none text);
SELECT t.* FROM held, xmldom.rows(doc, '//item', ARRAY[['.', '.']]) AS t(item text, none text);
SELECT t.* FROM held, xmldom.rows(doc, '//item', '{}') AS t(item text);
SELECT t.* FROM held, xmldom.rows(doc, '//item', ARRAY[['a', '.', '.']]) AS t(a text);
SELECT t.* FROM held, xmldom.rows(doc, '//item', ARRAY[[['a', '.']]]) AS t(a text);
SELECT t.* FROM held, xmldom.rows(doc, '//item', ARRAY[['a', '.'], ['c', '.']]) AS t(a text, b text);
SELECT t.* FROM held, xmldom.rows(doc, '//item', ARRAY[['a', '.'], ['a', '.']]) AS t(a text, b text);
SELECT t.* FROM held, xmldom.rows('\x01'::raw, '//item', ARRAY['.']) AS t(a text);
SELECT t.* FROM held, xmldom.rows(doc, '//item', ARRAY['.']) AS t(a void);
SELECT t.* FROM held, xmldom.rows(doc, '//item', ARRAY['preceding::namespace']) AS t(a text);
SELECT t.* FROM held, xmldom.rows(doc, '//item', ARRAY['namespace::*']) AS t(a text);
SELECT t.* FROM held, xmldom.rows(doc, 'count(//item)', ARRAY['.']) AS t(item text);
SELECT t.* FROM held, xmldom.rows(doc, '//item[', ARRAY['.']) AS t(item text);
SELECT t.* FROM held, xmldom.rows(doc, '//item', ARRAY['q:x']) AS t(item text);
SELECT t.* FROM held, xmldom.rows(doc, '//order', ARRAY['item']) AS t(item text);
SELECT t.* FROM held, xmldom.rows(doc, '//order', ARRAY['customer/name', '@id']) AS t(name text, id date);
SELECT t.* FROM held, xmldom.rows(doc, '//item', ARRAY['.'], NULL, 'ignore') AS t(item text);
SELECT t.* FROM xmldom.rows_of_text('<a><b></a>', '/a/b', ARRAY['.']) AS t(b text);
SELECT t.* FROM held, xmldom.rows(doc, '//order', ARRAY['@id'], ARRAY['one']) AS t(id int);

-- Types that are made of others: domains ask about nulls too, composites and enums are read.
CREATE DOMAIN positive AS int CHECK (VALUE > 0);
CREATE DOMAIN present AS text NOT NULL;
CREATE TYPE id_pair AS (a int, b text);
CREATE TYPE mood AS ENUM ('true', 'false');
SELECT t.* FROM held, xmldom.rows(doc, '//order', ARRAY['@id', '@paid', 'concat(''('', @id, '',x)'')']) AS t(id positive, paid mood, pair id_pair);
SELECT t.* FROM held, xmldom.rows(doc, '//order', ARRAY['@id - 2']) AS t(id positive);
SELECT t.* FROM held, xmldom.rows(doc, '//order', ARRAY['@day']) AS t(day present);
CREATE DOMAIN prices AS numeric(6,1)[] CHECK (VALUE[1] > 1);
CREATE DOMAIN some_prices AS prices NOT NULL;
SELECT t.* FROM held, xmldom.rows(doc, '//order', ARRAY['item/@price']) AS t(prices prices);
SELECT t.* FROM held, xmldom.rows(doc, '//order', ARRAY['item/@price']) AS t(prices some_prices);
SELECT t.* FROM held, xmldom.rows(doc, '//order', ARRAY['@id']) AS t(ids prices);
SELECT t.* FROM held, xmldom.rows(doc, '//order', ARRAY['item/@price']) AS t(prices positive[]);
SELECT t.* FROM held, xmldom.rows(doc, '//order', ARRAY['@day']) AS t(day present[]);
SELECT t.* FROM held, xmldom.rows(doc, '//order', ARRAY['@id', '@id', 'concat(''['', @id, '',9]'')', 'concat(''{"a":'', @id, ''}'')', 'concat(''\x0'', @id)'])
    AS t(class regclass, day interval hour to second, range int4range, json jsonb, bytes bytea);
-- A conversion that frees the tree, calls the function itself, or fails half way.
CREATE FUNCTION meddles(value text) RETURNS boolean LANGUAGE plpgsql AS $$
BEGIN
    PERFORM xmldom.free_all();
    PERFORM xmldom.parse('<other/>');
    PERFORM * FROM xmldom.rows_of_text('<a><b/></a>', '/a/b', ARRAY['.']) AS t(b text);
    RETURN true;
END
$$;
CREATE DOMAIN meddled AS text CHECK (meddles(VALUE));
SELECT t.* FROM held, xmldom.rows(doc, '//item', ARRAY['.', '@price']) AS t(item meddled, price numeric);
SELECT count(*) FROM held, xmldom.children(doc);
SELECT t.* FROM xmldom.rows_of_text('<a><b>1</b><b>2</b></a>', '/a/b', ARRAY['.', '. + 1']) AS t(b meddled, c int);
SELECT xmldom.free_all();
CREATE FUNCTION spoils(value text) RETURNS boolean LANGUAGE plpgsql AS $$
BEGIN
    IF value = '1' THEN
        RAISE NOTICE 'seen %', value;
    ELSIF value = '2' THEN
        BEGIN
            PERFORM xmldom.parse('<left/>');
            RAISE division_by_zero;
        EXCEPTION WHEN division_by_zero THEN NULL;
        END;
    ELSIF value = '3' THEN
        COMMIT;
    ELSIF value = '4' THEN
        EXECUTE 'DISCARD ALL';
    ELSIF value = '5' THEN
        PERFORM * FROM xmldom.rows_of_text('<a><b>4</b></a>', '/a/b', ARRAY['.']) AS t(b spoiled);
    ELSE
        RAISE EXCEPTION 'spoiled by %', value;
    END IF;
    RETURN true;
END
$$;
CREATE DOMAIN spoiled AS text CHECK (spoils(VALUE));
SELECT t.* FROM xmldom.rows_of_text('<a><b>1</b><b>2</b></a>', '/a/b', ARRAY['.']) AS t(b spoiled);
SELECT xmldom.free_all();
SELECT t.* FROM xmldom.rows_of_text('<a><b>3</b></a>', '/a/b', ARRAY['.']) AS t(b spoiled);
SELECT t.* FROM xmldom.rows_of_text('<a><b>4</b></a>', '/a/b', ARRAY['.']) AS t(b spoiled);
SELECT t.* FROM xmldom.rows_of_text('<a><b>5</b></a>', '/a/b', ARRAY['.']) AS t(b spoiled);
SELECT t.* FROM xmldom.rows_of_text('<a><b>6</b></a>', '/a/b', ARRAY['.']) AS t(b spoiled);
SELECT t.* FROM xmldom.rows_of_text('<a><b>' || repeat('long ', 50) || '</b></a>', '/a/b', ARRAY['.']) AS t(b int);
SELECT documents, handles, nodes FROM xmldom.session;

-- Rows that are not read to the end, and a cursor that outlives its transaction.
CREATE TEMPORARY TABLE large AS SELECT xmldom.parse('<r>' || repeat('<x n="1"/>', 5000) || '</r>') AS doc;
SELECT n FROM large, xmldom.rows(doc, '/r/x', ARRAY['@n']) AS t(n int) LIMIT 1;
BEGIN;
DECLARE kept CURSOR WITH HOLD FOR SELECT sum(n) OVER (ROWS UNBOUNDED PRECEDING) FROM large, xmldom.rows(doc, '/r/x', ARRAY['@n']) AS t(n int);
COMMIT;
SELECT xmldom.free_all();
FETCH 2 FROM kept;
CLOSE kept;
SELECT documents, handles, nodes FROM xmldom.session;

-- Values are bit for bit what the server makes of the same words, and so are its complaints.
CREATE FUNCTION of_words(word text, type text, by_rows boolean) RETURNS text LANGUAGE plpgsql AS $$
DECLARE
    value text;
    send text := CASE type WHEN 'numeric' THEN 'numeric_send' ELSE type || 'send' END;
BEGIN
    EXECUTE CASE WHEN by_rows THEN format('SELECT %s(t.v) FROM xmldom.rows_of_text(%L, ''/a/b'', ARRAY[''.'']) AS t(v %s)',
            send, '<a><b>' || word || '</b></a>', type)
        ELSE format('SELECT %s(CAST(%L AS %s))', send, word, type) END INTO value;
    RETURN value;
EXCEPTION WHEN data_exception THEN
    RETURN sqlerrm;
END
$$;
WITH digits(digits) AS (VALUES ('0'), ('00'), ('1'), ('9'), ('10'), ('99'), ('0100'), ('9999'), ('10000'), ('0000000'), ('00120000'),
        ('2147483647'), ('2147483648'), ('2147483649'), ('99990000'), ('123456789012345'), ('999999999999999'), ('100000000000000'),
        ('1000000000000000'), ('9223372036854775807'), ('9223372036854775808'), ('9223372036854775809'), ('12345678901234567890123')),
    words(word) AS (
        SELECT sign || CASE WHEN decimals = 0 THEN digits ELSE overlay(digits PLACING '.' FROM length(digits) - decimals + 1 FOR 0) END
        FROM digits, unnest(ARRAY['', '-']) AS sign, generate_series(0, length(digits)) AS decimals
        UNION ALL SELECT unnest(ARRAY['', '-', '+1', ' 1 ', '1.', '-.', '1.2.3', '1..2', '--1', '1-', '1e3', '1E-3', '0x1A', '1_000', 'NaN',
            'Infinity', '-inf', '1/2', '1:2', '٣', repeat('9', 400), repeat('x', 124), repeat('x', 125), repeat('x', 126), repeat('x', 127), repeat('ü', 63)])),
    told AS (SELECT word, type, of_words(word, type, true) AS by_rows, of_words(word, type, false) AS by_cast
        FROM words, unnest(ARRAY['int4', 'int8', 'numeric', 'text', 'varchar']) AS type)
SELECT type, count(*) > 300 AS many, count(*) FILTER (WHERE by_rows LIKE '\\x%') > CASE WHEN type LIKE 'int_' THEN 20 ELSE 280 END AS values,
    string_agg(word, ' ') FILTER (WHERE by_rows IS DISTINCT FROM by_cast) AS different
FROM told GROUP BY type ORDER BY type;
-- Of one row, next to each other.
SELECT length(t.a), t.b, t.c, length(t.d), t.e, t.f[2:]
    FROM generate_series(124, 128) AS n,
    xmldom.rows_of_text('<a><b>' || repeat('x', n) || '</b><c>1.50</c><d>-7</d></a>', '/a', ARRAY['b', 'c', 'd', 'b', 'c', '*'])
        AS t(a text, b text, c int, d varchar, e numeric, f text[]) WHERE length(t.f[1]) = n;
SELECT t.* FROM xmldom.rows_of_text('<a b="1.23"/>', '/a', ARRAY['@b', '@b', '@b', '@b']) AS t(a numeric(3,1), b numeric, c varchar(4), d numeric[]);
