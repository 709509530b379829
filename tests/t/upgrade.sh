# shellcheck shell=bash
# From each older release by ALTER EXTENSION UPDATE: the new library under the old catalogue, what a
# session and a database hold on the way, and a catalogue that is that of a fresh installation.
. "$(dirname "$0")/lib.sh"

releases=$(cd "$(dirname "$0")/../releases" && pwd)
tests=$(cd "$releases/.." && pwd)
. "$tests/../scripts/common.sh"
extension_folder=$(sql "select setting from pg_config where name = 'SHAREDIR'")/extension
current=$(sql "select extversion from pg_extension where extname = 'pkg_dbe_xml'")

is 'the control file names the newest version' "$(sql "select version from pg_available_extension_versions
    where name = 'pkg_dbe_xml' order by string_to_array(version, '.')::int[] desc limit 1")" "$current"

# install_release VERSION DATABASE: the release's install script stands in the server's folder for
# that moment only; others who do the same wait meanwhile.
install_release() (
    exec {lock}<"$extension_folder"
    flock "$lock"
    script=$extension_folder/pkg_dbe_xml--$1.sql
    [ ! -e "$script" ] || as_root mv "$script" "$script.aside"
    trap 'as_root rm -f "$script"
        [ ! -e "$script.aside" ] || as_root mv "$script.aside" "$script"' EXIT
    as_root install -m 644 "$releases/pkg_dbe_xml--$1.sql" "$script"
    PGDATABASE=$2 sql "create extension pkg_dbe_xml version '$1'"
)
catalogue() { PGDATABASE=$1 client -f "$releases/catalogue.sql" 2>&1; }
new_database() { psql -X -q -d postgres -c "create database $1 template template0"; }

new_database t_upgrade_fresh
PGDATABASE=t_upgrade_fresh sql 'create extension pkg_dbe_xml'
catalogue t_upgrade_fresh >"$work/fresh"
unlike 'the catalogue can be read' "$(cat "$work/fresh")" 'ERROR|unknown [0-9]'

for script in "$releases"/pkg_dbe_xml--*.sql; do
    release=$(basename "${script#*--}" .sql)
    database=t_upgrade_${release//./_}
    new_database "$database"
    is "$release: installed" "$(install_release "$release" "$database")" ''
    export PGDATABASE=$database
    is "$release: it is this release" "$(sql "select extversion from pg_extension where extname = 'pkg_dbe_xml'")" "$release"

    # The new library under the old catalogue does what it does under its own.
    for name in raw documents reading changing parser; do
        psql -X -a -q <"$tests/sql/$name.sql" >"$work/$name.out" 2>&1
        is "$release: before the upgrade, tests/sql/$name.sql" \
            "$(diff "$tests/expected/$name.out" "$work/$name.out")" ''
    done

    # What a database and a session hold goes on.
    sql "select xml_directory_create('upgraded', '/tmp')" \
        'create table keeps (handle raw, document xmldom.document)' \
        "create function uses() returns text language plpgsql as
            \$\$begin return xmldom.write_to_buffer(xmldom.parse('<used/>')); end\$\$" \
        'create view looks as select * from pkg_dbe_xml_memory' >/dev/null
    open_session
    handle=$(tell "select xml_dom_new_document_clob('<kept/>')")
    tell "insert into keeps values ('$handle', '$handle')" >/dev/null
    is "$release: upgraded" "$(tell 'alter extension pkg_dbe_xml update')" ''
    like "$release: a handle made before" "$(tell 'select xml_dom_write_to_buffer_doc(handle) from keeps')" '<kept/>'
    like "$release: a handle of a package made before" "$(tell 'select xmldom.write_to_buffer(document) from keeps')" '<kept/>'
    is "$release: a view made before" "$(tell 'select document from looks where document is not null')" "$handle"
    close_session
    like "$release: a function made before" "$(sql 'select uses()')" '<used/>'
    is "$release: a directory object made before" "$(sql 'select name, path from pg_directory')" 'upgraded|/tmp'

    is "$release: now it is $current" "$(sql "select extversion from pg_extension where extname = 'pkg_dbe_xml'")" "$current"
    catalogue "$database" >"$work/upgraded"
    difference=$(diff "$work/fresh" "$work/upgraded" | grep '^[<>]' | head -n 40)
    is "$release: the catalogue is that of a fresh installation (<)" "$difference" ''
done

# Whatever is otherwise in a catalogue is seen.
noticed() {
    if ! PGDATABASE=t_upgrade_fresh client -v ON_ERROR_STOP=1 >"$work/changed" 2>&1 <<SQL; then
begin;
$1;
\i $releases/catalogue.sql
rollback;
SQL
        fail "noticed: $1" "$(head -n 5 "$work/changed")"
        return
    fi
    like "noticed: $1" "$(diff "$work/fresh" "$work/changed" | grep '^[<>]')" "$2"
}
noticed 'alter function xml_dom_is_null(raw) immutable' '> function public.xml_dom_is_null.*provolatile = i$'
noticed 'alter function xmldom.parse(text) cost 7' '> function xmldom.parse.*procost = 7$'
noticed 'alter function xml_directory_drop(text) reset search_path' '< function .*xml_directory_drop.* proconfig'
noticed "comment on function xml_dom_is_null(raw) is 'x'" '> function .*xml_dom_is_null.* comment 0 = x$'
noticed 'revoke all on function xml_dom_is_null(raw) from public' '> function .*xml_dom_is_null.* proacl = '
noticed 'alter extension pkg_dbe_xml drop function xml_dom_is_null(raw)' '< function .*xml_dom_is_null'
noticed "create function xmldom.more() returns int language sql as 'select 1';
    alter extension pkg_dbe_xml add function xmldom.more()" '> function xmldom.more\(\)'
noticed 'alter type raw set (storage = main)' '> type public.raw: typstorage = m$'
noticed 'alter type raw owner to pg_monitor' '> type public.raw: typowner = role pg_monitor$'
noticed 'alter extension pkg_dbe_xml drop cast (raw as bytea); drop cast (raw as bytea)' '< cast .public.raw AS pg_catalog.bytea'
noticed 'alter operator = (raw, raw) set (restrict = none)' '> operator public.=.* oprrest = -$'
noticed 'alter operator family raw_ops using btree drop function 2 (raw, raw)' '< .*raw_sortsupport'
noticed 'alter operator class raw_ops using hash rename to other' 'operator class .*other'
noticed "alter table pg_directory alter privileges set default '{1}'" '> default value .*written'
noticed 'alter table pg_directory alter privileges drop not null' '> table .*privileges attnotnull = false$'
noticed 'alter table pg_directory drop constraint pg_directory_pkey' '< table constraint '
noticed "update pg_extension set extconfig = null where extname = 'pkg_dbe_xml'" '< extension: extconfig = .*pg_directory'
noticed 'create or replace view pkg_dbe_xml_memory as select null::raw as document, 0::bigint as nodes, 0::bigint as bytes' \
    '> rule .*written'
noticed 'grant insert on pg_directory to public' '> table public.pg_directory: relacl'
noticed 'revoke usage on schema xmldom from public' '> schema xmldom: nspacl'
done_testing
