-- Writing files, and directory objects.
\set VERBOSITY default
\pset null '(null)'
\set SHOW_CONTEXT never
SET client_min_messages = warning;
DROP ROLE IF EXISTS regress_xml_writer, regress_xml_group, regress_xml_manager;
CREATE ROLE regress_xml_writer;
CREATE ROLE regress_xml_group;
CREATE ROLE regress_xml_manager;
GRANT pg_write_server_files TO regress_xml_manager;
RESET client_min_messages;

-- A directory of the server that is this test's alone.
SELECT '/tmp/pkg_dbe_xml_regress_' || pg_backend_pid() AS folder \gset
\set command 'mkdir -p ' :folder '/sub; chmod 700 ' :folder
COPY (SELECT 1) TO PROGRAM :'command';

SELECT set_config('test.folder', :'folder', false) IS NOT NULL AS known;
CREATE FUNCTION file(name text) RETURNS text LANGUAGE sql AS
    $$ SELECT convert_from(pg_read_binary_file(current_setting('test.folder') || '/' || name), 'UTF8') $$;
CREATE FUNCTION file_bytes(name text) RETURNS bytea LANGUAGE sql AS
    $$ SELECT pg_read_binary_file(current_setting('test.folder') || '/' || name) $$;

-- Directory objects.
SELECT xml_directory_create('out', :'folder');
SELECT xml_directory_create('Sub', :'folder' || '/./sub//');
SELECT name, owner::oid = current_user::regrole AS owned, replace(path, :'folder', '...') AS path, privileges
    FROM pg_directory ORDER BY name;
SELECT xml_directory_create('out', '/tmp');
SELECT xml_directory_create('', '/tmp');
SELECT xml_directory_create('a/b', '/tmp');
SELECT xml_directory_create(E'a\nb', '/tmp');
SELECT xml_directory_create(repeat('n', 64), '/tmp');
SELECT xml_directory_create('relative', 'tmp');
SELECT xml_directory_create('relative', '');
SELECT xml_directory_create('control', E'/tmp/\n');
SELECT xml_directory_create(NULL, '/tmp');
SELECT xml_directory_create('null', NULL);
SELECT xml_directory_create('device', '/dev/null');
SELECT xml_directory_create('not_yet', '/nowhere/at/all');
SELECT xml_directory_drop('not_yet');
SELECT xml_directory_drop('not_yet');
SELECT xml_directory_grant('not_yet', 'regress_xml_writer');
SELECT xml_directory_grant('out', 'regress_xml_nobody');
SELECT xml_directory_revoke('out', 'regress_xml_nobody');
\set VERBOSITY sqlstate
SELECT xml_directory_create('data', current_setting('data_directory'));
SELECT xml_directory_create('data', current_setting('data_directory') || '/base');
SELECT xml_directory_create('data', current_setting('data_directory') || '/pg_wal');
\set VERBOSITY default

-- Documents.
SELECT xml_dom_new_document_clob('<a b="c"><d>text</d><e/></a>') AS document \gset
SELECT xml_dom_get_document_element(:'document') AS root \gset
SELECT xml_dom_write_to_file_doc(:'document', 'out/x.xml');
SELECT file('x.xml');
SELECT xml_dom_write_to_file_doc(:'document', 'OUT\x.xml', 'ISO-8859-1');
SELECT file('x.xml');
SELECT xml_dom_write_to_file_doc(:'document', 'out/x.xml', NULL);
SELECT file('x.xml');
SELECT xml_dom_write_to_file_doc(:'document', 'Sub/x.xml');
SELECT file('sub/x.xml') = file('x.xml') AS same;

-- Nodes.
SELECT xml_dom_write_to_file_node(:'root', 'out/n.xml');
SELECT file('n.xml');
SELECT xml_dom_write_to_file_node(:'root', 'out/n.xml', 'UTF-8');
SELECT file('n.xml');
SELECT xml_dom_write_to_file_node(:'document', 'out/n.xml');
SELECT file('n.xml');
SELECT xml_dom_write_to_file_node(xml_dom_get_attribute_node(:'root', 'b'), 'out/n.xml');
SELECT file('n.xml');
SELECT xml_dom_write_to_file_node(xml_dom_get_first_child(xml_dom_get_first_child(:'root')), 'out/n.xml');
SELECT file('n.xml');

-- Character sets; what a set cannot hold is written as a reference.
SELECT xml_dom_new_document_clob(convert_from('\x3c613ec3a920e697a520e282ac3c2f613e', 'UTF8')) AS mixed \gset
SELECT xml_dom_write_to_file_doc(:'mixed', 'out/c.xml', 'ISO-8859-1');
SELECT encode(file_bytes('c.xml'), 'escape');
SELECT xml_dom_write_to_file_doc(:'mixed', 'out/c.xml', 'EUC-JP');
SELECT encode(file_bytes('c.xml'), 'escape');
SELECT xml_dom_write_to_file_doc(:'mixed', 'out/c.xml', 'UTF-16');
SELECT substr(file_bytes('c.xml'), 1, 12), length(file_bytes('c.xml'));
SELECT xml_dom_write_to_file_node(:'mixed', 'out/c.xml', 'UTF-16BE');
SELECT substr(file_bytes('c.xml'), 1, 12);

-- The checks.
SELECT xml_dom_write_to_file_doc(NULL, 'out/x.xml');
SELECT xml_dom_write_to_file_doc(:'document', NULL);
SELECT xml_dom_write_to_file_node(NULL, NULL);
SELECT xml_dom_write_to_file_node(:'root', NULL, 'UTF-8');
SELECT xml_dom_write_to_file_doc(:'root', 'out/x.xml');
SELECT xml_dom_write_to_file_doc('\x001122', 'out/x.xml');
SELECT xml_dom_write_to_file_doc(:'document', '');
SELECT xml_dom_write_to_file_doc(:'document', 'x.xml');
SELECT xml_dom_write_to_file_doc(:'document', 'out/sub/x.xml');
SELECT xml_dom_write_to_file_doc(:'document', 'out/../x.xml');
SELECT xml_dom_write_to_file_doc(:'document', 'out/' || repeat('n', 256) || '.xml');
SELECT xml_dom_write_to_file_doc(:'document', 'out/x.XML');
SELECT xml_dom_write_to_file_doc(:'document', 'Nowhere/x.xml');
SELECT xml_dom_write_to_file_doc(:'document', 'out/x.xml', repeat('x', 61));
SELECT xml_dom_write_to_file_doc(:'document', 'out/x.xml', repeat('x', 60));
SELECT xml_dom_write_to_file_doc(:'document', E'out/a\nb.xml');
UPDATE pg_directory SET path = NULL WHERE name = 'Sub';
SELECT xml_dom_write_to_file_node(:'root', 'Sub/x.xml');
SELECT xml_directory_drop('Sub');
SELECT xml_dom_write_to_file_node(:'root', 'out/new.xml', NULL);
SELECT file('new.xml') = '' AS empty;
SELECT xml_dom_write_to_file_node(:'root', 'out/x.xml', 'unheard-of');
SELECT file('x.xml') LIKE '%<d>text</d>%' AS kept;

-- Protected names: of settings, and of others.
SELECT format($$SELECT xml_dom_write_to_file_doc(%L, %L)$$, :'document', 'out/' || name || '.xml')
    FROM unnest(ARRAY['postgresql.conf', 'pg_hba.conf', 'pg_ident.conf', 'my.key', 'x.rnd',
                      'openssl.cnf', 'before_pgaudit_after', 'server.log', 'initdb', 'patroni.yml']) AS name
    \gexec
SET session_preload_libraries = '/usr/lib/of_the_session';
SELECT xml_dom_write_to_file_doc(:'document', 'out/of_the_session.xml');
RESET session_preload_libraries;
SELECT xml_dom_write_to_file_doc(:'document', 'out/of_the_session.xml');

-- safe_data_path.
SET pkg_dbe_xml.safe_data_path = '/nowhere';
SELECT xml_dom_write_to_file_doc(:'document', 'out/x.xml');
SELECT set_config('pkg_dbe_xml.safe_data_path', :'folder', false) IS NOT NULL AS set;
SELECT xml_dom_write_to_file_doc(:'document', 'out/x.xml');
RESET pkg_dbe_xml.safe_data_path;

-- Who may do what.
SET ROLE regress_xml_writer;
SELECT xml_dom_new_document_clob('<mine/>') AS mine \gset
SELECT xml_dom_write_to_file_doc(:'mine', 'out/m.xml');
SELECT xml_directory_create('mine', '/tmp');
SELECT xml_directory_drop('out');
SELECT xml_directory_grant('out', 'regress_xml_writer');
SELECT xml_directory_revoke('out', 'regress_xml_writer');
SELECT count(*) FROM pg_directory;
INSERT INTO pg_directory (name, path) VALUES ('mine', '/tmp');
UPDATE pg_directory SET path = '/tmp';
DELETE FROM pg_directory;
TRUNCATE pg_directory;
SET pkg_dbe_xml.safe_data_path = '';
SET ROLE regress_xml_manager;
SELECT xml_directory_create('managed', '/tmp');
INSERT INTO pg_directory (name, path) VALUES ('mine', '/tmp');
SELECT name, owner, path, privileges FROM pg_directory WHERE name = 'managed';
SELECT xml_directory_grant('out', 'regress_xml_group');
SELECT xml_directory_grant('out', 'regress_xml_writer');
SELECT xml_directory_grant('out', 'regress_xml_writer');
SELECT privileges FROM pg_directory WHERE name = 'out';
SET ROLE regress_xml_writer;
SELECT xml_dom_write_to_file_doc(:'mine', 'out/m.xml');
SELECT xml_dom_write_to_file_doc(:'mine', 'managed/pkg_dbe_xml.xml');
RESET ROLE;
SELECT file('m.xml');
SELECT xml_directory_revoke('out', 'regress_xml_writer');
SET ROLE regress_xml_writer;
SELECT xml_dom_write_to_file_doc(:'mine', 'out/m.xml');
RESET ROLE;
GRANT regress_xml_group TO regress_xml_writer;
SET ROLE regress_xml_writer;
SELECT xml_dom_write_to_file_doc(:'mine', 'out/m.xml');
RESET ROLE;

-- Renamed roles keep their rights; of dropped ones nothing is left but an empty place.
ALTER ROLE regress_xml_group RENAME TO regress_xml_crowd;
SELECT privileges FROM pg_directory WHERE name = 'out';
DROP ROLE regress_xml_crowd;
SELECT privileges FROM pg_directory WHERE name = 'out';
CREATE ROLE regress_xml_crowd;
GRANT regress_xml_crowd TO regress_xml_writer;
SET ROLE regress_xml_writer;
SELECT xml_dom_write_to_file_doc(:'mine', 'out/m.xml');
RESET ROLE;
SELECT xml_directory_grant('out', 'regress_xml_writer');
SELECT privileges FROM pg_directory WHERE name = 'out';
SELECT xml_directory_drop('managed');
SELECT xml_directory_drop('out');
DROP FUNCTION file(text), file_bytes(text);
DROP ROLE regress_xml_writer, regress_xml_manager, regress_xml_crowd;
\set command 'rm -r ' :folder
COPY (SELECT 1) TO PROGRAM :'command';

