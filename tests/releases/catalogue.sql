-- Everything the catalogue holds of the extension, one line for each property of each object, so that
-- two databases can be compared: numbers of objects are replaced by what they name. Which columns hold
-- such numbers is the server's own knowledge, so that no property has to be listed here.
-- Run with `psql -X -A -t -q`.
SET search_path = pg_catalog;

-- What a number in a column of a catalogue names; some columns show the name themselves.
CREATE FUNCTION pg_temp.named(catalogue oid, number text) RETURNS text
LANGUAGE sql STABLE AS $$
    SELECT CASE WHEN number !~ '^[0-9]+$' THEN number
        WHEN number = '0' THEN 'none'
        ELSE coalesce((SELECT type || ' ' || identity
            FROM pg_identify_object(catalogue, CAST(number AS oid), 0)), 'unknown ' || number) END
$$;

-- A row of a catalogue without numbers of objects and without what differs between equal databases.
CREATE FUNCTION pg_temp.without_numbers(catalogue oid, content jsonb) RETURNS jsonb
LANGUAGE plpgsql STABLE AS $$
DECLARE
    reference record;
BEGIN
    content := content - ARRAY['oid', 'relfilenode', 'relpages', 'reltuples', 'relallvisible',
        'relallfrozen', 'relfrozenxid', 'relminmxid', 'reltoastrelid', 'prosqlbody',
        'proargdefaults', 'conbin', 'adbin', 'ev_action', 'ev_qual', 'typdefaultbin'];
    FOR reference IN
        SELECT fkcols[1] AS name, pktable, is_array FROM pg_get_catalog_foreign_keys()
        WHERE fktable = catalogue AND cardinality(fkcols) = 1 AND content -> fkcols[1] <> 'null'
    LOOP
        IF reference.is_array THEN
            content := jsonb_set(content, ARRAY[reference.name], coalesce((
                SELECT jsonb_agg(pg_temp.named(reference.pktable, number) ORDER BY place)
                FROM regexp_split_to_table(translate(content ->> reference.name, ',[]{}"', ' '), ' +')
                    WITH ORDINALITY AS numbers (number, place)
                WHERE number <> ''), '[]'));
        ELSE
            content := jsonb_set(content, ARRAY[reference.name],
                to_jsonb(pg_temp.named(reference.pktable, content ->> reference.name)));
        END IF;
    END LOOP;
    RETURN content;
END
$$;

-- What the server can write as SQL instead of in its own form.
CREATE FUNCTION pg_temp.written(catalogue oid, number oid, content jsonb) RETURNS text
LANGUAGE plpgsql STABLE AS $$
BEGIN
    CASE CAST(catalogue AS regclass)
        WHEN 'pg_proc'::regclass THEN RETURN pg_get_functiondef(number);
        WHEN 'pg_constraint'::regclass THEN RETURN pg_get_constraintdef(number);
        WHEN 'pg_rewrite'::regclass THEN RETURN pg_get_ruledef(number);
        WHEN 'pg_attrdef'::regclass THEN
            RETURN (SELECT pg_get_expr(adbin, adrelid) FROM pg_attrdef WHERE oid = number);
        WHEN 'pg_class'::regclass THEN
            IF content ->> 'relkind' = 'i' THEN
                RETURN pg_get_indexdef(number) || ' ' || (SELECT (to_jsonb(i) - ARRAY['indexrelid',
                    'indrelid', 'indclass', 'indcollation', 'indexprs', 'indpred'])::text
                    FROM pg_index AS i WHERE indexrelid = number);
            END IF;
            RETURN NULL;
        ELSE RETURN NULL;
    END CASE;
END
$$;

-- The objects of the extension and the parts they are made of (columns' defaults, constraints, array
-- types, rules, members of operator classes), but for the table of overlong values and its index.
CREATE TEMPORARY TABLE objects AS
WITH RECURSIVE found (classid, objid, member) AS (
    SELECT d.classid, d.objid, true FROM pg_depend AS d
    WHERE d.refclassid = 'pg_extension'::regclass AND d.deptype = 'e'
        AND d.refobjid = (SELECT oid FROM pg_extension WHERE extname = 'pkg_dbe_xml')
    UNION
    SELECT d.classid, d.objid, false FROM pg_depend AS d JOIN found AS f
        ON d.refclassid = f.classid AND d.refobjid = f.objid
    WHERE d.deptype IN ('i', 'a') AND NOT EXISTS (SELECT FROM pg_class AS c
        WHERE d.classid = 'pg_class'::regclass AND c.oid = d.objid AND c.relkind = 't')
)
SELECT classid, objid, bool_or(member) AS member, pg_temp.named(classid, CAST(objid AS text)) AS name
FROM found GROUP BY classid, objid;

CREATE TEMPORARY TABLE properties (name text, property text, value text);

DO $$
DECLARE
    object record;
    content jsonb;
BEGIN
    FOR object IN SELECT * FROM objects LOOP
        EXECUTE format('SELECT to_jsonb(row_) FROM %s AS row_ WHERE oid = $1',
            CAST(object.classid AS regclass)) INTO STRICT content USING object.objid;
        INSERT INTO properties
            SELECT object.name, key, value #>> '{}'
            FROM jsonb_each(pg_temp.without_numbers(object.classid, content))
            UNION ALL
            SELECT object.name, 'written', pg_temp.written(object.classid, object.objid, content)
            UNION ALL
            SELECT object.name, 'member of the extension', object.member::text;
    END LOOP;
END
$$;

-- Columns, comments, the rights that came with the extension, and what depends on what.
INSERT INTO properties
    -- A server may stamp each column with a version of its own.
    SELECT o.name, 'column ' || a.attname || ' ' || c.key,
        regexp_replace(c.value #>> '{}', '"pg_attver=[0-9]+"', '"pg_attver"')
    FROM objects AS o JOIN pg_attribute AS a ON a.attrelid = o.objid AND a.attnum > 0,
        jsonb_each(pg_temp.without_numbers('pg_attribute'::regclass, to_jsonb(a))) AS c
    WHERE o.classid = 'pg_class'::regclass
    UNION ALL
    SELECT o.name, 'comment ' || d.objsubid, d.description
    FROM objects AS o JOIN pg_description AS d ON d.classoid = o.classid AND d.objoid = o.objid
    UNION ALL
    SELECT o.name, 'first rights ' || p.objsubid, p.initprivs::text
    FROM objects AS o JOIN pg_init_privs AS p ON p.classoid = o.classid AND p.objoid = o.objid
    UNION ALL
    SELECT o.name, 'depends',
        concat_ws(' ', d.objsubid, d.deptype, pg_temp.named(d.refclassid, d.refobjid::text), d.refobjsubid)
    FROM objects AS o JOIN pg_depend AS d ON d.classid = o.classid AND d.objid = o.objid
    UNION ALL
    SELECT 'extension', e.key, e.value #>> '{}'
    FROM pg_extension AS x,
        jsonb_each(pg_temp.without_numbers('pg_extension'::regclass, to_jsonb(x))) AS e
    WHERE x.extname = 'pkg_dbe_xml'
    UNION ALL
    SELECT 'extension', 'comment', obj_description(oid, 'pg_extension')
    FROM pg_extension WHERE extname = 'pkg_dbe_xml';

SELECT line FROM (
    SELECT name || ': ' || property || ' = ' || replace(coalesce(value, 'null'), E'\n', ' ') AS line
    FROM properties
) AS lines ORDER BY line COLLATE "C";
