-- What older parts are changed by. The functions of the packages are made anew by the parts behind
-- this one; whatever of the database uses one of them in a way that the server keeps (a view, an SQL
-- function with a body that is parsed) stops the upgrade with the server's own error, which names it.

DROP CAST (xmldom.node AS xmldom.element);
DROP CAST (xmldom.node AS xmldom.attr);
DROP VIEW xmldom.session;
DO $$
DECLARE
    dropped regprocedure;
BEGIN
    FOR dropped IN
        SELECT p.oid FROM pg_catalog.pg_proc AS p
            JOIN pg_catalog.pg_namespace AS n ON n.oid = p.pronamespace
            JOIN pg_catalog.pg_language AS l ON l.oid = p.prolang
            JOIN pg_catalog.pg_depend AS d ON d.objid = p.oid AND d.deptype = 'e'
                AND d.classid = 'pg_catalog.pg_proc'::pg_catalog.regclass
            JOIN pg_catalog.pg_extension AS e ON e.oid = d.refobjid AND e.extname = 'pkg_dbe_xml'
            WHERE n.nspname IN ('xmldom', 'xmlparser')
            ORDER BY l.lanname DESC, p.oid -- those in SQL, which use the others, first
    LOOP
        EXECUTE pg_catalog.format('DROP FUNCTION %s', dropped);
    END LOOP;
END
$$;
