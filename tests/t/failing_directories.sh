# shellcheck shell=bash
# Looking up where a file may be written fails: the table of directories or a catalogue is locked,
# renamed, emptied or damaged. Each time the report says why, no file appears, the document stays as
# it was, the session goes on, and with everything in order again it writes.
. "$(dirname "$0")/lib.sh"

place=$(mktemp -d /tmp/pkg_dbe_xml_directories_XXXXXX)
trap 'rm -rf "$work" "$place"' EXIT
chown "$(stat -c %U "$(sql 'show data_directory')")" "$place"
is 'the calls are prepared' "$(sql 'create extension pg_surgery' "\\i $(dirname "$0")/every_call.sql" \
    "select xml_directory_create('out', '$place')" \
    'create role directory_writer' 'create role directory_writers role directory_writer' \
    'grant all on held to directory_writer' "select xml_directory_grant('out', 'directory_writers')" | grep .)" ''

# A session that writes, of a superuser or of a member of the role that may, and one beside it that
# holds what the first one needs.
state='select xml_dom_write_to_clob_doc(document) from held'
start() {
    open_session
    tell 'set lock_timeout = 50' 'select hold()' >/dev/null
    [ $# -eq 0 ] || tell "set role $1" >/dev/null
    before=$(tell "$state" 'select xml_dom_get_memory_info()')
}
# fails NAME REGEX [DIRECTORY]: every function that writes files.
fails() {
    local call directory=${3:-out}
    for call in "xml_dom_write_to_file_doc(document, '$directory/x.xml')" \
        "xml_dom_write_to_file_doc(document, '$directory/x.xml', 'UTF-8')" \
        "xml_dom_write_to_file_node(element, '$directory/x.xml')" \
        "xml_dom_write_to_file_node(element, '$directory/x.xml', 'UTF-8')" \
        "xmldom.write_to_file(document::xmldom.document, '$directory/x.xml')" \
        "xmldom.write_to_file(element::xmldom.node, '$directory/x.xml', 'UTF-8')"; do
        like "$1: ${call%%(*}" "$(tell "select $call from held")" "ERROR:  $2"
    done
    is "$1: no file" "$(ls -A "$place")" ''
    is "$1: the document, the handles and the memory are as before" \
        "$(tell "$state" 'select xml_dom_get_memory_info()')" "$before"
}
writes() {
    is "$1" "$(tell "select xml_dom_write_to_file_doc(document, 'out/x.xml') from held")$(ls -A "$place")" x.xml
    rm -f "$place/x.xml"
}
# while_locked TABLE COMMAND...: while a session beside holds the table.
while_locked() {
    background holder 'begin' "lock table $1 in access exclusive mode" 'select pg_sleep(60)'
    wait_for_statement holder 'pg_sleep' || fail "a session holds $1"
    "${@:2}"
    sql "select pg_terminate_backend(pid) from pg_stat_activity where application_name = 'holder'" >/dev/null
    output_of holder >/dev/null
    rm -f "$work/holder.ended"
}
locked='55P03: canceling statement due to lock timeout'

start
writes 'all in order: written'
while_locked pg_directory fails 'the table is locked' "$locked"
writes 'the table is free again: written'
while_locked pg_extension fails 'the catalogue of extensions is locked' "$locked"
writes 'the catalogue of extensions is free again: written'
tell 'set lock_timeout = 0' 'set statement_timeout = 50' >/dev/null
while_locked pg_directory fails 'the statement times out at the lock' '57014: canceling statement due to statement timeout'
tell 'reset statement_timeout' 'set lock_timeout = 50' >/dev/null
writes 'there is time again: written'
changes() {
    for call in "xml_directory_create('other', '/tmp')" "xml_directory_drop('out')" \
        "xml_directory_grant('out', 'directory_writer')" "xml_directory_revoke('out', 'directory_writers')"; do
        like "the table is locked: ${call%%(*}" "$(tell "select $call")" "ERROR:  $locked"
    done
}
kept=$(sql 'select * from pg_directory')
while_locked pg_directory changes
is 'the table is locked: nothing is changed' "$(sql 'select * from pg_directory')" "$kept"

sql 'alter table pg_directory rename to renamed' >/dev/null
fails 'the table is renamed' '29P01: directory name "out" does not exists in table pg_directory'
sql 'alter table renamed rename to pg_directory' >/dev/null
writes 'the table has its name again: written'
sql 'create table directories as table pg_directory' 'delete from pg_directory' >/dev/null
fails 'the table is empty' '29P01: directory name "out" does not exists in table pg_directory'
sql 'insert into pg_directory select * from directories' >/dev/null
writes 'the table is filled again: written'
close_session

# A role that has to be looked up among the members.
start directory_writer
while_locked pg_auth_members fails 'the catalogue of members is locked' "$locked"
writes 'the catalogue of members is free again: written'

# Values of a row that lie out of line, and of which a piece is gone.
sql 'alter table pg_directory alter path set storage external, alter privileges set storage external' \
    "select xml_directory_create('far', '/tmp')" "select xml_directory_create('many', '$place')" \
    "update pg_directory set path = '/' || repeat('x', 3000) where name = 'far'" \
    "update pg_directory set privileges = (select array_agg(oid::oid::xml_directory_role)
        from generate_series(1, 3000) as oid) where name = 'many'" \
    "do \$\$ declare
        toast regclass := (select reltoastrelid from pg_class where oid = 'pg_directory'::regclass);
        killed tid[];
    begin
        execute format('select array_agg(ctid) from %s where chunk_seq = 0', toast) into killed;
        assert array_length(killed, 1) = 2;
        perform heap_force_kill(toast, killed);
    end \$\$" >"$work/damaged"
is 'the table is damaged' "$(grep . "$work/damaged")" ''
lost='XX001: unexpected chunk number 1 \(expected 0\) for toast value '
fails 'the roles of a directory cannot be read' "$lost" many
fails 'the path of a directory cannot be read' "$lost" far
writes 'another row is whole: written'

for row in $(sql "select ctid from pg_directory where name in ('far', 'many')"); do
    sql "select heap_force_kill('pg_directory', array['$row'::tid])" >/dev/null
done
fails 'a row is gone' '29P01: directory name "many" does not exists in table pg_directory' many
writes 'another row is there: written'

close_session

# Columns that a superuser changes, until the transaction ends. Dropped ones still have values.
start
altered='ERROR:  55000: table "pg_directory" has other columns than the extension pkg_dbe_xml gave it'
for change in 'drop column path' 'drop column privileges' 'drop column owner' 'drop column name' \
    'alter path type bytea using path::bytea' "alter privileges type text[] using '{x}'" \
    'alter owner type bigint using owner::oid::bigint' 'alter name type varchar'; do
    like "$change" "$(tell begin 'alter table pg_directory drop constraint pg_directory_path_check,
            alter privileges drop default' "alter table pg_directory $change" \
        "select xml_dom_write_to_file_doc(document, 'out/x.xml') from held" rollback)" "^$altered\$"
    is "$change: nothing is changed" "$(ls -A "$place")$(tell "$state" 'select xml_dom_get_memory_info()')" "$before"
done
writes 'the columns are as they were: written'
sql 'alter extension pkg_dbe_xml drop table pg_directory' 'drop table pg_directory' >/dev/null
fails 'the table is gone' '29P01: directory name "out" does not exists in table pg_directory'
is 'all of it can be freed' "$(tell 'select xmldom.free_all() > 0' \
    'select count(*) from pkg_dbe_xml_memory where document is not null')" "$(printf 't\n0')"
close_session
done_testing
