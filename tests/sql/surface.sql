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

-- Described, with named arguments; never taken for constant, never run in a parallel worker.
SELECT proname FROM declared WHERE obj_description(oid, 'pg_proc') IS NULL ORDER BY 1;
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
