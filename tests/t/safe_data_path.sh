# shellcheck shell=bash
# pkg_dbe_xml.safe_data_path: a path that is not absolute is refused, and one that was stored
# before anybody could refuse it lets nothing be written.
. "$(dirname "$0")/lib.sh"

place=$(mktemp -d /tmp/pkg_dbe_xml_safe_XXXXXX)
trap 'rm -rf "$work" "$place"' EXIT
configuration=$(sql 'show config_file')
chown "$(stat -c %U "$(sql 'show data_directory')")" "$place"
setting=pkg_dbe_xml.safe_data_path
load="load 'pkg_dbe_xml'"
sql "select xml_directory_create('out', '$place')" >/dev/null
write="select xml_dom_write_to_file_doc(xml_dom_new_document_clob('<a/>'), 'out/x.xml')"
# While a session begins, psql shows no SQLSTATE.
warning="WARNING:  (22023: )?$setting is not an absolute path: \"safe\""
written() { [ -e "$place/x.xml" ] && echo written; rm -f "$place/x.xml"; }

# Whoever sets it is told.
for path in safe . ./safe ../safe '~' ' /tmp'; do
    is "refused: '$path'" "$(sqlstate_of "$load" "set $setting = '$path'")" 22023
done
answer=$(sql "$load" "set $setting = '/tmp'" "set $setting = 'safe'" "show $setting")
like 'the message' "$answer" "ERROR:  22023: invalid value for parameter \"$setting\": \"safe\""
like 'the reason' "$answer" '^DETAIL:  It is not an absolute path.$'
like 'the remedy' "$answer" '^HINT:  Name a directory from "/" on, or leave the setting empty.$'
is 'the older value stays' "$(tail -n 1 <<<"$answer")" /tmp
is 'absolute' "$(sql "$load" "set $setting = '$place'" "$write" "set $setting = '/'" "$write" "set $setting = ''" "$write")" ''
is 'and written below it' "$(written)" written
is 'by set_config' "$(sqlstate_of "$load" "select set_config('$setting', 'safe', true)")" 22023
is 'for a function' "$(sqlstate_of "$load" "create function f() returns int language sql set $setting = 'safe' as 'select 1'")" 22023
is 'for a database' "$(sqlstate_of "$load" "alter database $PGDATABASE set $setting = 'safe'")" 22023
is 'for a role' "$(sqlstate_of "$load" "alter role current_user set $setting = 'safe'")" 22023
is 'for the server' "$(sqlstate_of "$load" "alter system set $setting = 'safe'")" 22023
is 'nothing of it is stored' "$(sql "$load" "show $setting")" ''

# stored HOW: the setting is there before the library, which says so and lets nothing be written.
stored() {
    local answer
    answer=$(sql "$load" "show $setting" "$write")
    like "$1: a warning" "$answer" "^$warning"
    like "$1: what it means" "$answer" '^DETAIL:  No XML file can be written.$'
    like "$1: it stays" "$answer" '^safe$'
    like "$1: nothing can be written" "$answer" '^HINT:  Filename must be under the safe_data_path'
    is "$1: and is not" "$(written)" ''
}
stored_everywhere() {
    stored "$1"
    PGOPTIONS='-c session_preload_libraries=pkg_dbe_xml' stored "$1, loaded as the session begins"
}
PGOPTIONS="-c $setting=safe" stored 'an option of the connection'
sql "alter database $PGDATABASE set $setting = 'safe'"
stored_everywhere 'of the database'
sql "alter database $PGDATABASE reset $setting" "alter role current_user set $setting = 'safe'"
stored_everywhere 'of the role'
sql "alter role current_user reset $setting"

# Of the configuration file, also when it changes under a session.
open_session
tell "$load" >/dev/null
echo "$setting = 'safe'" >>"$configuration"
sql 'select pg_reload_conf()' >/dev/null
for ((i = 0; i < 100; i++)); do
    [ "$(tell "show $setting")" != safe ] || break
    sleep 0.05
done
like 'a session that was there' "$(tell "$write")" 'HINT:  Filename must be under the safe_data_path'
is 'writes nothing' "$(written)" ''
is 'a session reads and goes on' "$(tell "select xml_dom_write_to_buffer_node(xml_dom_get_document_element(xml_dom_new_document_clob('<a/>')))")" '<a/>'
is 'with parallel workers' "$(tell 'create table t as select generate_series(1, 20000) as i' \
    'set parallel_setup_cost = 0' 'set parallel_tuple_cost = 0' 'set min_parallel_table_scan_size = 0' \
    'explain (analyze, costs off, timing off, summary off) select count(*) from t' | grep -c 'Workers Launched: [1-9]')" 1
is 'and without a word of them' "$(tell 'select count(*) from t')" 20000
close_session
stored_everywhere 'of the server'
sed -i "\$d" "$configuration"
sql 'select pg_reload_conf()' >/dev/null
done_testing
