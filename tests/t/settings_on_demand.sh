# shellcheck shell=bash
# The settings are there for whoever asks for one or sets one in a session that has called the
# library, in whatever way, though up to version 15 they are not defined before.
. "$(dirname "$0")/lib.sh"

trap 'rm -rf "$work"' EXIT
configuration=$(sql 'show config_file')
call="select xml_dom_free_document(xml_dom_new_document_clob('<a/>'))"
depth=pkg_dbe_xml.max_depth
deep="select xml_dom_new_document_clob('<a><b><c/></b></a>') is null"

# Asked for.
is 'SHOW' "$(sql "$call" "show $depth" | tail -n 1)" 2048
is 'SHOW, in capitals' "$(sql "$call" "show Pkg_Dbe_Xml.Max_Depth" | tail -n 1)" 2048
is 'SHOW ALL' "$(sql "$call" 'show all' | grep -c '^pkg_dbe_xml\.')" 6
is 'current_setting' "$(sql "$call" "select current_setting('$depth')" | tail -n 1)" 2048
is 'current_setting that need not be there' \
    "$(sql "$call" "select current_setting('$depth', true)" | tail -n 1)" 2048
is 'pg_settings' "$(sql "$call" "select count(*) from pg_settings where name like 'pkg_dbe_xml.%'" | tail -n 1)" 6
is 'pg_settings in a function' "$(sql "$call" "do \$\$ begin raise notice 'there are %', (select count(*) from pg_settings where name like 'pkg_dbe_xml.%'); end \$\$" 2>&1 | grep -c 'there are 6')" 1
is 'SHOW in a function' "$(sql "$call" "do \$\$ declare found text; begin execute 'show $depth' into found; raise notice 'it is %', found; end \$\$" 2>&1 | grep -c 'it is 2048')" 1
is 'a name that is none of them' "$(sqlstate_of "$call" 'show pkg_dbe_xml.max_width')" 42704

# Set.
for value in 0 deep; do
    is "SET to $value" "$(sqlstate_of "$call" "set $depth = '$value'")" 22023
    is "SET LOCAL to $value" "$(sqlstate_of "$call" "begin" "set local $depth = '$value'")" 22023
    is "set_config to $value" "$(sqlstate_of "$call" "select set_config('$depth', '$value', false)")" 22023
    is "for a function, to $value" \
        "$(sqlstate_of "$call" "create function f() returns int language sql set $depth = '$value' as 'select 1'")" 22023
    is "for the database, to $value" "$(sqlstate_of "$call" "alter database $PGDATABASE set $depth = '$value'")" 22023
    is "for a role, to $value" "$(sqlstate_of "$call" "alter role current_user set $depth = '$value'")" 22023
    is "for the server, to $value" "$(sqlstate_of "$call" "alter system set $depth = '$value'")" 22023
done
sql 'create function plain() returns int language sql as $$ select 1 $$'
is 'for a function there is' "$(sqlstate_of "$call" "alter function plain() set $depth = 0")" 22023
is 'nothing of it is stored' "$(sql "show $depth" 2>&1 | grep -c unrecognized)" 1
if [ "${PG_VERSION:-15}" -ge 15 ]; then
    is 'SET of a name that is none of them' "$(sqlstate_of "$call" 'set pkg_dbe_xml.max_width = 1')" 42602
fi
is 'SET counts' "$(sqlstate_of "$call" "set $depth = 2" "$deep")" 2200M
is 'and so does set_config' "$(sqlstate_of "$call" "select set_config('$depth', '2', false)" "$deep")" 2200M
is 'and RESET' "$(sql "$call" "set $depth = 2" "reset $depth" "$deep" | tail -n 1)" f

# By whom.
sql 'create role pkg_dbe_xml_guest'
for how in "set $depth = 9" "select set_config('$depth', '9', false)"; do
    is "without the right: $how" "$(sqlstate_of "$call" 'set role pkg_dbe_xml_guest' "$how")" 42501
done
sql 'drop role pkg_dbe_xml_guest'

# Set in a way that nobody is asked about.
sql "create function shallow() returns boolean language plpgsql set $depth = 2
    as \$\$ begin return xml_dom_new_document_clob('<a><b><c/></b></a>') is null; end \$\$"
is 'a function brings it along' "$(sqlstate_of "$call" 'select shallow()')" 2200M
is 'and takes it away' "$(sql "$call" "select plain()" "$deep" | tail -n 1)" f
is 'an option of the connection' "$(PGOPTIONS="-c $depth=2" sqlstate_of "$deep")" 2200M
is 'an option of the connection that is wrong' \
    "$(PGOPTIONS="-c $depth=0" sql "$call" 2>&1 | grep -c "0 is outside the valid range for parameter \"$depth\"")" 1
is 'and is told when the library is loaded' \
    "$(PGOPTIONS="-c $depth=0" sql "load 'pkg_dbe_xml'" 2>&1 | grep -c "0 is outside the valid range for parameter \"$depth\"")" 1
open_session
tell "$call" >/dev/null
echo "$depth = 2" >>"$configuration"
sql 'select pg_reload_conf()' >/dev/null
for ((i = 0; i < 100; i++)); do
    ! tell "$deep" | grep -qx f || { sleep 0.05; continue; }
    break
done
like 'the configuration under a session' "$(tell "$deep")" "the limit of the setting $depth was reached"
is 'which shows it' "$(tell "show $depth")" 2
close_session
sed -i "\$d" "$configuration"
sql 'select pg_reload_conf()' >/dev/null
done_testing
