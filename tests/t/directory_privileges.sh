# Who may write into a directory, and who may say so.
. "$(dirname "$0")/lib.sh"

place=$(mktemp -d /tmp/pkg_dbe_xml_rights_XXXXXX)
trap 'rm -rf "$work" "$place"' EXIT
chown "$(stat -c %U "$(sql 'show data_directory')")" "$place"

sql 'create role manager' 'create role member' 'create role stranger' 'create role crowd' \
    'create role inner_crowd in role crowd' 'create role other_super superuser' \
    'create role lazy noinherit in role crowd' \
    'grant pg_write_server_files to manager' >/dev/null
sql 'set role manager' "select xml_directory_create('out', '$place')" >/dev/null

# writes ROLE: the SQLSTATE of its attempt.
writes() {
    sqlstate_of "set role $1" \
        "select xml_dom_write_to_file_doc(xml_dom_new_document_clob('<a/>'), 'out/x.xml')"
}
is 'the owner writes' "$(writes manager)" 00000
is 'a superuser writes' "$(writes other_super)" 00000
is 'others do not' "$(writes stranger)" 42501
is 'nobody was granted' "$(sql "select privileges from pg_directory")" '{}'

sql 'set role manager' "select xml_directory_grant('out', 'crowd')" >/dev/null
is 'a role that was granted writes' "$(writes crowd)" 00000
is 'a member of it writes' "$(writes inner_crowd)" 00000
is 'a member that does not inherit does not' "$(writes lazy)" 42501
is 'but after SET ROLE it does' "$(sqlstate_of 'set session authorization lazy' 'set role crowd' \
    "select xml_dom_write_to_file_doc(xml_dom_new_document_clob('<a/>'), 'out/x.xml')")" 00000
is 'others still do not' "$(writes stranger)" 42501
sql 'grant crowd to stranger' >/dev/null
is 'a new member does' "$(writes stranger)" 00000
sql 'revoke crowd from stranger' >/dev/null
is 'and no longer when it has left' "$(writes stranger)" 42501
sql "select xml_directory_revoke('out', 'crowd')" >/dev/null
is 'a role that was revoked does not write' "$(writes crowd)" 42501
is 'nor its members' "$(writes inner_crowd)" 42501
is 'revoking what was not granted is no error' "$(sqlstate_of "select xml_directory_revoke('out', 'crowd')")" 00000

# The right of whoever runs the function, not of who is logged in.
sql "create function write_for_all() returns void language sql security definer
        set search_path = public, pg_temp as
    \$\$ select xml_dom_write_to_file_doc(xml_dom_new_document_clob('<a/>'), 'out/x.xml') \$\$" >/dev/null
is 'within a function of one who may' "$(sqlstate_of 'set role stranger' 'select write_for_all()')" 00000
is 'not within a function of one who may not' "$(sqlstate_of 'alter function write_for_all() owner to stranger' 'select write_for_all()')" 42501

# A revoke counts at once, also in a transaction that began before it.
sql "select xml_directory_grant('out', 'member')" >/dev/null
open_session
tell 'set role member' 'begin isolation level repeatable read' \
    "select xml_dom_write_to_file_doc(xml_dom_new_document_clob('<a/>'), 'out/x.xml')" >/dev/null
sql "select xml_directory_revoke('out', 'member')" >/dev/null
like 'revoked in the middle of a transaction' \
    "$(tell "select xml_dom_write_to_file_doc(xml_dom_new_document_clob('<a/>'), 'out/x.xml')")" 42501
tell rollback >/dev/null
close_session
# What is rolled back was not granted.
sql 'begin' "select xml_directory_grant('out', 'member')" 'rollback' >/dev/null
is 'a grant that was rolled back' "$(writes member)" 42501

# Renamed and dropped.
sql "select xml_directory_grant('out', 'member')" 'alter role member rename to renamed' >/dev/null
is 'a renamed role writes' "$(writes renamed)" 00000
is 'and is shown by its new name' "$(sql 'select privileges from pg_directory')" '{renamed}'
sql 'create role member' >/dev/null
is 'a new role of the old name does not' "$(writes member)" 42501
is 'a role that was granted can be dropped' "$(sqlstate_of 'drop role renamed')" 00000
sql 'create role renamed' >/dev/null
is 'a new role of the name of a dropped one does not' "$(writes renamed)" 42501
sql 'alter role manager rename to chief' >/dev/null
is 'a renamed owner writes' "$(writes chief)" 00000
sql 'drop role chief' >/dev/null
is 'a directory outlives its owner' "$(sql "select name, owner::text = '' from pg_directory")" 'out|t'
sql 'create role chief' >/dev/null
is 'and a new role of that name does not own it' "$(writes chief)" 42501
is 'superusers go on' "$(writes other_super)" 00000

# Who may manage, and who may touch the table.
manage="select xml_directory_create('mine', '/tmp')|select xml_directory_drop('out')|select xml_directory_grant('out', 'stranger')|select xml_directory_revoke('out', 'stranger')"
touch="insert into pg_directory (name, path) values ('mine', '/tmp')|update pg_directory set path = '/tmp'|delete from pg_directory|truncate pg_directory|alter table pg_directory disable trigger all|drop table pg_directory|create trigger t before insert on pg_directory execute function suppress_redundant_updates_trigger()"
IFS='|' read -ra statements_to_try <<<"$manage|$touch"
for statement in "${statements_to_try[@]}"; do
    is "a stranger may not: ${statement:0:50}" "$(sqlstate_of 'set role stranger' "$statement")" 42501
done
sql 'create role second_manager' 'grant pg_write_server_files to second_manager' >/dev/null
IFS='|' read -ra statements_to_try <<<"$touch"
for statement in "${statements_to_try[@]}"; do
    is "nor a manager: ${statement:0:50}" "$(sqlstate_of 'set role second_manager' "$statement")" 42501
done
is 'everybody may look' "$(sql 'set role stranger' 'select name from pg_directory')" out
is 'a manager may manage' "$(sqlstate_of 'set role second_manager' "select xml_directory_grant('out', 'stranger')" \
    "select xml_directory_revoke('out', 'stranger')" "select xml_directory_drop('out')")" 00000
# A table or an operator of the same name elsewhere is not mistaken for the catalogue's.
sql 'create schema trap authorization stranger' >/dev/null
sql 'set role stranger' "create table trap.pg_directory (name text, owner oid, path text, privileges oid[])" \
    "insert into trap.pg_directory values ('trap', 'stranger'::regrole, '$place', '{}')" >/dev/null
is 'a table of the same name' "$(sqlstate_of 'set role stranger' 'set search_path = trap, public' \
    "select xml_dom_write_to_file_doc(xml_dom_new_document_clob('<a/>'), 'trap/x.xml')")" 29P01

# The safe path belongs to superusers, and confines those too.
for statement in "set pkg_dbe_xml.safe_data_path = ''" \
    "select set_config('pkg_dbe_xml.safe_data_path', '/', false)" \
    "alter role stranger set pkg_dbe_xml.safe_data_path = '/'" \
    "alter database $PGDATABASE set pkg_dbe_xml.safe_data_path = '/'"; do
    is "a stranger may not: ${statement:0:60}" "$(sqlstate_of "load 'pkg_dbe_xml'" 'set role stranger' "$statement")" 42501
done
mkdir "$place/safe"
chown "$(stat -c %U "$place")" "$place/safe"
sql "select xml_directory_create('out', '$place')" "select xml_directory_create('safe', '$place/safe')" \
    "select xml_directory_grant('out', 'stranger')" "select xml_directory_grant('safe', 'stranger')" \
    "load 'pkg_dbe_xml'" "alter database $PGDATABASE set pkg_dbe_xml.safe_data_path = '$place/safe'" >/dev/null
write() {
    sql "set role $1" "select xml_dom_write_to_file_doc(xml_dom_new_document_clob('<a/>'), '$2/x.xml')"
}
like 'outside the safe path' "$(write stranger out)" "42501: You must use the filename under $place/safe\."
like 'superusers too' "$(write other_super out)" '42501'
is 'inside it' "$(write stranger safe)" ''
sql 'reset pkg_dbe_xml.safe_data_path' "alter database $PGDATABASE reset pkg_dbe_xml.safe_data_path" >/dev/null
is 'without it' "$(write stranger out)" ''

# In another schema, and without the extension.
sql 'drop extension pkg_dbe_xml' 'create schema somewhere' \
    'create extension pkg_dbe_xml schema somewhere' >/dev/null
is 'the extension in a schema of its own' "$(sqlstate_of 'set search_path = somewhere' \
    "select xml_directory_create('out', '$place')" "select xml_directory_grant('out', 'stranger')" \
    'set role stranger' 'reset search_path' \
    "select count(*) from (select 1) as one")" 00000
sql 'grant usage on schema somewhere to stranger' >/dev/null
is 'its functions by their full names' "$(sqlstate_of 'set role stranger' \
    "select somewhere.xml_dom_write_to_file_doc(somewhere.xml_dom_new_document_clob('<a/>'), 'out/x.xml')")" 00000
done_testing
