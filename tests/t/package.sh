# shellcheck shell=bash
# The packages: schemas of that name, any search path, dumping, scopes after a cancel.
. "$(dirname "$0")/lib.sh"

count="select count(*) from xmldom.parse('<a><b/><b/></a>') as doc, xmldom.descendants(doc, 'b')"
schemas="select count(*) from pg_namespace where nspname in ('xmldom', 'xmlparser')"

# Whatever the search path, also when the extension stands in a schema of its own.
is 'without a search path' "$(sql "set search_path = ''" "$count")" 2
is 'the schemas go with the extension' "$(sql 'drop extension pkg_dbe_xml' "$schemas")" 0
is 'nothing to add to' "$(sqlstate_of 'create schema xmldom' 'create extension pkg_dbe_xml')" 42P06
is 'and nothing is left of it' "$(sql 'drop schema xmldom' "$schemas")" 0
is 'in a schema of its own' "$(sqlstate_of 'create schema own_place' 'create extension pkg_dbe_xml schema own_place')" 00000
is 'sets there' "$(sql "$count")" 2
is 'the picture there' "$(sql "select xmldom.outline(xmldom.get_document_element(xmldom.parse('<a b=\"c\"/>')))")" 'a b="c"'
is 'the session there' "$(sql "select documents, handles from xmldom.session")" '0|0'
is 'all of it for a role without any right' "$(sql 'create role t_package_user' 'set role t_package_user' \
    "$count" 'select documents, handles from xmldom.session' 'select xmldom.release(xmldom.mark()), xmldom.free_all()' |
    tr '\n' ' ')" '2 1|3 0|1 '
like 'which may make nothing in the schemas' "$(sqlstate_of 'set role t_package_user' \
    'create function xmldom.f() returns int language sql as $$select 1$$')" 42501
is 'back again' "$(sqlstate_of 'drop extension pkg_dbe_xml' 'create extension pkg_dbe_xml')" 00000

# Every function stands on the library's own, without a layer of SQL.
is 'no layer between' "$(sql "select string_agg(proname, ' ' order by proname) from pg_proc join pg_language as l on l.oid = prolang
    where pronamespace in ('xmldom'::regnamespace, 'xmlparser'::regnamespace) and lanname <> 'c'")" \
    ''

# A table of typed handles and a function over them are dumped and come back.
sql 'create table held (doc xmldom.document, scope xmldom.scope)' "insert into held values ('\x00000000000000000200000001', '\x01000000ffffffff0200000001')" \
    'create function root_of(held xmldom.document) returns xmldom.element language sql as
        $$select xmldom.get_document_element(held)$$' >"$work/made"
is 'made what is to be dumped' "$(cat "$work/made")" ''
pg_dump -d "$PGDATABASE" >"$work/dump.sql" 2>"$work/dump.err"
is 'dumped' "$(cat "$work/dump.err")" ''
unlike 'the functions of the extension are not in it' "$(cat "$work/dump.sql")" 'CREATE FUNCTION xmldom'
psql -X -q -d postgres -c 'create database t_package_restored'
psql -X -q -v ON_ERROR_STOP=1 -d t_package_restored -f "$work/dump.sql" >"$work/restore.out" 2>"$work/restore.err"
is 'restored' "$(cat "$work/restore.err")" ''
is 'with its values' "$(sql '\c t_package_restored' 'select * from held')" '\x00000000000000000200000001|\x01000000ffffffff0200000001'
is 'and its function' "$(sql '\c t_package_restored' \
    "select xmldom.get_tag_name(root_of(xmldom.parse('<restored/>')))")" restored

# A statement that is cancelled leaves its documents behind; a scope begun before takes them.
open_session
tell 'create temporary table begun as select xmldom.mark() as scope' >"$work/begun"
answer=$(tell 'do $$
declare
    doc xmldom.document;
begin
    for number in 1..20 loop
        doc := xmldom.parse($x$<a><b/></a>$x$);
    end loop;
    perform pg_cancel_backend(pg_backend_pid()), pg_sleep(60);
end
$$')
like 'cancelled' "$answer" 57014
is 'documents stayed behind' "$(tell 'select documents from xmldom.session')" 20
is 'the scope takes them all' "$(tell 'select xmldom.release(scope) > 0 from begun' \
    'select documents, handles, nodes from xmldom.session' | tr '\n' ' ')" 't 0|0|0 '
answer=$(tell "create temporary table large as select xmldom.parse('<a>' || repeat('<b/>', 3000000) || '</a>') as doc" \
    "set statement_timeout = '50ms'" 'select count(xmldom.outline(doc)) from large, generate_series(1, 10000)' 'reset statement_timeout')
like 'a long picture is cancelled' "$answer" 57014
answer=$(tell "set statement_timeout = '50ms'" "select count(*) from large, generate_series(1, 10000) as number,
    xmldom.descendants(doc, 'none' || number)" 'reset statement_timeout')
like 'and so is a long search' "$answer" 57014
is 'the document is as it was' "$(tell "select xmldom.get_tag_name(xmldom.get_document_element(doc)) from large")" a

# After DISCARD ALL there is nothing left to free, and counting begins afresh.
is 'free_all after DISCARD ALL' "$(tell 'discard all' 'select xmldom.free_all()' \
    "select xmldom.parse('<a/>') is not null" 'select xmldom.free_all()' | tr '\n' ' ')" '0 t 1 '
close_session
done_testing
