-- The surface of the extension as a whole: what it declares, and how.
\set VERBOSITY default
CREATE TEMPORARY VIEW declared AS
    SELECT p.* FROM pg_proc AS p JOIN pg_depend AS d ON d.objid = p.oid
        AND d.classid = 'pg_proc'::regclass AND d.refclassid = 'pg_extension'::regclass AND d.deptype = 'e'
        JOIN pg_extension AS e ON e.oid = d.refobjid AND e.extname = 'pkg_dbe_xml';
CREATE TEMPORARY VIEW functions AS
    SELECT * FROM declared WHERE proname ~ '^(xml_dom|xmlparser)_' AND proname <> 'xml_dom_get_memory_info';

-- All of them, those with optional arguments once for each number of arguments, those that take a
-- large object for a text twice.
SELECT count(DISTINCT proname) AS names, count(*) AS declarations FROM functions;
SELECT proname, array_agg(pronargs ORDER BY pronargs) AS arguments FROM functions
    GROUP BY proname HAVING count(*) > 1 ORDER BY proname COLLATE "C";
SELECT proname, pronargs, prosrc FROM functions WHERE prosrc <> proname ORDER BY proname COLLATE "C";

-- And what stands beside them: administration and the type raw.
SELECT oid::regprocedure FROM declared
    WHERE oid NOT IN (SELECT oid FROM functions) AND proname ~ '^(raw|xml)_'
    ORDER BY proname COLLATE "C";

-- Everything is described: each object of both extensions, each column and each setting.
BEGIN;
CREATE EXTENSION pkg_dbe_xml_validate;
CREATE TEMPORARY VIEW members AS
    SELECT d.classid, d.objid FROM pg_depend AS d JOIN pg_extension AS e ON e.oid = d.refobjid
        WHERE d.refclassid = 'pg_extension'::regclass AND d.deptype = 'e' AND e.extname ~ '^pkg_dbe_xml'
            -- Arrays and rows belong to their types and views; some servers list them as well.
            AND NOT EXISTS (SELECT FROM pg_depend AS own
                WHERE own.classid = d.classid AND own.objid = d.objid AND own.deptype = 'i');
SELECT count(DISTINCT classid) >= 8 AS kinds, count(*) > 400 AS objects FROM members;
SELECT pg_describe_object(classid, objid, 0) AS not_described FROM members
    WHERE obj_description(objid, classid::regclass::text) IS NULL ORDER BY pg_describe_object(classid, objid, 0) COLLATE "C";
SELECT attrelid::regclass AS relation, attname AS not_described
    FROM members JOIN pg_class ON classid = 'pg_class'::regclass AND pg_class.oid = objid
        JOIN pg_attribute ON attrelid = objid AND attnum > 0 AND NOT attisdropped
    WHERE relkind IN ('r', 'v', 'm', 'c') AND col_description(objid, attnum) IS NULL ORDER BY 1, attnum;
SELECT extname AS not_described FROM pg_extension
    WHERE extname ~ '^pkg_dbe_xml' AND obj_description(oid, 'pg_extension') IS NULL;
SELECT documents FROM xmldom.session;
SELECT count(*) > 10 AS settings, count(*) FILTER (WHERE short_desc = '') AS not_described
    FROM pg_settings WHERE name ~ '^pkg_dbe_xml';
ROLLBACK;

-- With named arguments; never taken for constant, never run in a parallel worker.
SELECT proname FROM functions WHERE pronargs > 0 AND proargnames IS NULL ORDER BY 1;
SELECT proname FROM functions WHERE '' = ANY (proargnames) ORDER BY 1;
SELECT DISTINCT provolatile, proparallel, prosecdef, prokind, proretset FROM functions;

-- Null arguments are the functions' own affair but for these.
SELECT proname, pronargs FROM functions WHERE proisstrict ORDER BY proname COLLATE "C";

-- Arguments and results are of these types.
SELECT t::regtype, count(*) FROM (
    SELECT unnest(proargtypes::oid[] || prorettype) AS t FROM functions) AS used
    GROUP BY t ORDER BY t::regtype::text COLLATE "C";

-- Nobody but a superuser may install it, and it stays where it was installed.
SELECT superuser, trusted, relocatable FROM pg_available_extension_versions
    WHERE name = 'pkg_dbe_xml' AND installed;
