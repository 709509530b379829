# Directory objects come back from a dump, with the rights of roles that were renamed or dropped.
. "$(dirname "$0")/lib.sh"

table='select name, owner, path, privileges from pg_directory order by name'
tricky='tricky "quoted", {braced} \back'
sql 'create role dumped_owner' 'create role dumped_writer' 'create role dumped_gone' \
    'create role dumped_gone_owner' 'create role "16384"' "create role \"${tricky//\"/\"\"}\"" \
    'grant pg_write_server_files to dumped_owner, dumped_gone_owner' >/dev/null
sql 'set client_min_messages = error' \
    'set role dumped_owner' "select xml_directory_create('out', '/tmp/dumped_out')" \
    "select xml_directory_grant('out', 'dumped_writer')" \
    "select xml_directory_grant('out', 'dumped_gone')" \
    "select xml_directory_grant('out', '16384')" \
    "select xml_directory_grant('out', '${tricky}')" \
    'set role dumped_gone_owner' "select xml_directory_create('Ähre', E'/tmp/dumped \\u00e4')" >/dev/null
gone=$(sql "select 'dumped_gone'::regrole::oid, 'dumped_gone_owner'::regrole::oid")
sql "insert into pg_directory (name, path) values ('no path', null)" \
    'alter role dumped_writer rename to dumped_renamed' \
    'drop role dumped_gone' 'drop role dumped_gone_owner' >/dev/null
before=$(sql "$table")
like 'the renamed role is in the dump-to-be' "$before" dumped_renamed
unlike 'the dropped one is not' "$before" 'dumped_gone'

# restored NAME FORMAT...: into a new database by that format of dump.
restored() {
    local database=$1
    shift
    PGDATABASE=postgres psql -X -q -c "create database $database"
    if [ "$1" = plain ]; then
        pg_dump t_dump_restore >"$work/dump.sql" && psql -X -q -v ON_ERROR_STOP=1 -d "$database" -f "$work/dump.sql" 2>&1 >/dev/null
    else
        pg_dump "-F$1" -f "$work/dump.$1" t_dump_restore && pg_restore -e -d "$database" "$work/dump.$1" 2>&1
    fi
}
is 'a plain dump restores without a word' "$(restored restored_plain plain)" ''
is 'the catalogue is the same' "$(PGDATABASE=restored_plain sql "$table")" "$before"
is 'a custom dump restores without a word' "$(restored restored_custom c)" ''
is 'the catalogue is the same again' "$(PGDATABASE=restored_custom sql "$table")" "$before"
like 'the dump holds names, not numbers' "$(sed -n '/^COPY .*pg_directory/,/^\\\./p' "$work/dump.sql")" 'dumped_renamed'
unlike 'and no numbers of dropped roles' "$(sed -n '/^COPY .*pg_directory/,/^\\\./p' "$work/dump.sql")" "${gone%|*}|${gone#*|}"
is 'extension objects are not dumped themselves' "$(grep -cE 'CREATE (TABLE|FUNCTION|TYPE) .*(pg_directory|xml_d)' "$work/dump.sql")" 0

# A second dump is the first, byte for byte.
pg_dump -d restored_plain >"$work/again.sql"
is 'dumped again it is the same' \
    "$(diff <(grep -v '^.\(un\)\?restrict ' "$work/dump.sql") <(grep -v '^.\(un\)\?restrict ' "$work/again.sql"))" ''

# Whoever may dump the rest of a database can dump the catalogue, too.
sql 'create role dumping_role login' >/dev/null
is 'an ordinary role dumps' "$(pg_dump --role=dumping_role t_dump_restore 2>&1 >"$work/ordinary.sql")" ''
is 'the same' "$(diff <(grep -v '^.\(un\)\?restrict ' "$work/dump.sql") <(grep -v '^.\(un\)\?restrict ' "$work/ordinary.sql"))" ''

# The rights are those of before.
rights() {
    PGDATABASE=$1 sqlstate_of "set role \"$2\"" \
        "select xml_dom_write_to_file_doc(xml_dom_new_document_clob('<a/>'), 'out/x.xml')"
}
for database in t_dump_restore restored_plain restored_custom; do
    for role in dumped_owner dumped_renamed 16384 "${tricky//\"/\"\"}"; do
        is "$database: $role may write (and finds no directory)" "$(rights $database "$role")" 58P04
    done
    PGDATABASE=postgres psql -X -q -c 'create role dumped_stranger' 2>/dev/null
    is "$database: others may not" "$(rights $database dumped_stranger)" 42501
done

# Where a role is missing its place stays empty, and everything else comes back.
PGDATABASE=restored_plain sql 'drop extension pkg_dbe_xml' >/dev/null
sed 's/dumped_renamed/dumped_missing/' "$work/dump.sql" >"$work/missing.sql"
PGDATABASE=postgres psql -X -q -c 'drop database restored_plain' -c 'create database restored_plain'
answer=$(psql -X -q -v ON_ERROR_STOP=1 -d restored_plain -f "$work/missing.sql" 2>&1)
like 'a missing role draws a warning' "$answer" 'WARNING:  role "dumped_missing" does not exist'
is 'and nothing more' "$(grep -c 'ERROR' <<<"$answer")" 0
is 'the others are there' "$(PGDATABASE=restored_plain sql "$table")" "${before//dumped_renamed/\"\"}"
PGDATABASE=postgres psql -X -q -c 'create role dumped_missing'
is 'a role made later does not step in' "$(rights restored_plain dumped_missing)" 42501

# All of the server at once, roles included.
pg_dumpall --globals-only >"$work/globals.sql"
like 'pg_dumpall has the roles' "$(cat "$work/globals.sql")" 'CREATE ROLE dumped_renamed'

# A fresh extension has an empty catalogue, and dropping it takes the catalogue along.
PGDATABASE=restored_custom sql 'drop extension pkg_dbe_xml' 'create extension pkg_dbe_xml' >/dev/null
is 'a fresh catalogue is empty' "$(PGDATABASE=restored_custom sql 'select count(*) from pg_directory')" 0
done_testing
