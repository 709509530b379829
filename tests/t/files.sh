# Writing files with the file system as an adversary, and in the middle of everything that can
# happen to a session.
. "$(dirname "$0")/lib.sh"

# A place of the server's own user, and what it holds.
place=$(mktemp -d /tmp/pkg_dbe_xml_files_XXXXXX)
trap 'umount "$place/small" 2>/dev/null; chmod -R u+w "$place"; rm -rf "$work" "$place"' EXIT
server=$(sql 'show data_directory')
owner=$(stat -c %U "$server")
mkdir "$place/out" "$place/elsewhere" "$place/small"
chown -R "$owner" "$place"
listing() { (cd "$1" && find . -mindepth 1 -printf '%P\n' | sort | tr '\n' ' '); }

sql "select xml_directory_create('out', '$place/out')" >/dev/null
big="xml_dom_new_document_clob('<a>' || repeat('<b>text</b>', 100000) || '</a>')"
small="xml_dom_new_document_clob('<small/>')"
doc() { sql "select xml_dom_write_to_file_doc($1, '$2')"; }
node() { sql "select xml_dom_write_to_file_node($1, '$2')"; }

# refused NAME FILE SQLSTATE: neither writer opens the file; of documents the report is always the
# same, of nodes its SQLSTATE is the operating system's.
refused() {
    like "$1: document" "$(doc "$small" "$2")" '58P04: failed to write to the file'
    like "$1: node" "$(node "$small" "$2")" "$3: The file cannot be opened or the file path does not exist: "
}

is 'a file is written' "$(doc "$small" out/x.xml)" ''
is 'its content' "$(tail -n 1 "$place/out/x.xml")" '<small/>'
is 'its rights are those of the files of the server' "$(stat -c '%U %a' "$place/out/x.xml")" "$owner 600"
is 'nothing else is left' "$(listing "$place/out")" 'x.xml '

# Links.
echo precious >"$place/elsewhere/target.xml"
chown "$owner" "$place/elsewhere/target.xml"
ln -s "$place/elsewhere/target.xml" "$place/out/link.xml"
refused 'a link in place of the file' out/link.xml '[0-9A-Z]{5}'
is 'its target is untouched' "$(cat "$place/elsewhere/target.xml")" precious
ln -s "$place/elsewhere/made.xml" "$place/out/dangling.xml"
refused 'a link to nowhere' out/dangling.xml '[0-9A-Z]{5}'
is 'nothing is made there' "$(listing "$place/elsewhere")" 'target.xml '
ln "$place/elsewhere/target.xml" "$place/out/hard.xml"
is 'a hard link is replaced' "$(doc "$small" out/hard.xml)" ''
is 'and its other name untouched' "$(cat "$place/elsewhere/target.xml")" precious
ln -s "$place/elsewhere" "$place/linked"
like 'a link is no directory object' "$(sql "select xml_directory_create('linked', '$place/linked')")" 'is not a directory'
mkdir "$place/swapped"
chown "$owner" "$place/swapped"
sql "select xml_directory_create('swapped', '$place/swapped')" >/dev/null
rmdir "$place/swapped"
ln -s "$place/elsewhere" "$place/swapped"
refused 'a link in place of the directory' swapped/x.xml 42809
ln -sfn "$server" "$place/swapped"
refused 'a link to the data directory' swapped/x.xml 42809
rm "$place/swapped"
refused 'a directory that is gone' swapped/x.xml 58P01

# Things that are no files.
mkdir "$place/out/directory.xml"
refused 'a directory in place of the file' out/directory.xml 42809
mkfifo "$place/out/pipe.xml"
chown "$owner" "$place/out/pipe.xml"
refused 'a pipe that nobody reads' out/pipe.xml 42501
ln -s /dev/full "$place/out/device.xml"
refused 'a link to a device' out/device.xml '[0-9A-Z]{5}'
if mknod "$place/out/full.xml" c 1 7 2>/dev/null; then
    chown "$owner" "$place/out/full.xml"
    refused 'a device' out/full.xml 42501
    rm "$place/out/full.xml"
fi
rm -r "$place/out"/{link,dangling,hard,directory,pipe,device}.xml

# The server's own directories, whatever the catalogue says, and by whatever road.
like 'the data directory is no directory object' "$(sql "select xml_directory_create('data', '$server')")" '42P17'
sql "insert into pg_directory (name, path) values ('data', '$server'), ('base', '$server/base'),
    ('wal', '$server/pg_wal'), ('dots', '/tmp/../$server/global')" >/dev/null
for directory in data base wal dots; do
    refused "$directory" "$directory/x.xml" 42501
done
mkdir "$place/space"
chown "$owner" "$place/space"
sql "create tablespace pkg_dbe_xml_space location '$place/space'" >/dev/null
sql "insert into pg_directory (name, path)
    values ('space', '$place/space/' || (pg_ls_dir('$place/space')))" >/dev/null
refused 'a tablespace' space/x.xml 42501
sql "drop tablespace pkg_dbe_xml_space" >/dev/null
sql "insert into pg_directory (name, path) values ('relative', null)" >/dev/null
like 'the catalogue holds no relative paths' "$(sql "insert into pg_directory (name, path) values ('r', 'base')")" '23514'

# Names.
for name in '..%2felsewhere%2fx.xml' 'x%00.xml' ' .xml' '$(id).xml' '-rf.xml' 'ä日.xml'; do
    is "a name as it is: $name" "$(sql "select xml_dom_write_to_file_doc($small, \$\$out/$name\$\$)")" ''
    [ -f "$place/out/$name" ] && pass "the file is there: $name" || fail "the file is there: $name"
done
like 'a line feed in the name' "$(sql "select xml_dom_write_to_file_doc($small, E'out/a\\nb.xml')")" '58P04: The file name is invalid'
is 'nothing came into being elsewhere' "$(listing "$place/elsewhere")" 'target.xml '
find "$place/out" -mindepth 1 ! -name x.xml -delete

# Writes that fail leave the old file.
if mount -t tmpfs -o "size=64k,mode=777" tmpfs "$place/small" 2>/dev/null; then
    sql "select xml_directory_create('small', '$place/small')" >/dev/null
    doc "$small" small/x.xml >/dev/null
    for write in doc node; do
        like "a full disk: $write" "$($write "$big" small/x.xml)" '58P04: failed to write to the file'
        like "a full disk, why: $write" "$($write "$big" small/x.xml)" 'No space left on device'
    done
    is 'the old file is as it was' "$(tail -n 1 "$place/small/x.xml")" '<small/>'
    is 'nothing else is left there' "$(listing "$place/small")" 'x.xml '
    mount -o remount,ro "$place/small"
    refused 'a disk mounted for reading' small/x.xml 42501
    refused 'a disk mounted for reading, a new file' small/new.xml 42501
    umount "$place/small"
fi
chmod 500 "$place/out"
refused 'a directory that may not be written' out/x.xml 42501
chmod 700 "$place/out"
chmod 400 "$place/out/x.xml"
refused 'a file that may not be written' out/x.xml 42501
chmod 640 "$place/out/x.xml"
is 'a file that may' "$(doc "$small" out/x.xml)" ''
is 'keeps its rights' "$(stat -c %a "$place/out/x.xml")" 640

# Sessions that end or are stopped in the middle of writing. The pipe below holds the writer up: it
# would be refused, so the directory is one that writes slowly instead, by a large document.
slow="select xml_dom_write_to_file_doc(d, 'out/x.xml') from (select xml_dom_new_document_clob('<a>' ||
    repeat('<b>text</b>', 300000) || '</a>') as d) as made, generate_series(1, 1000)"
writing() {
    local i
    for ((i = 0; i < 400; i++)); do
        compgen -G "$place/out/.pkg_dbe_xml.*" >/dev/null && return 0
        sleep 0.02
    done
    return 1
}
whole() { tail -c 5 "$place/out/x.xml" | grep -qF '</a>' || grep -qF '<small/>' "$place/out/x.xml"; }
background cancelled "$slow" 'select 1+1'
writing && pass 'a session writes' || fail 'a session writes'
sql "select pg_cancel_backend(pid) from pg_stat_activity where application_name = 'cancelled'" >/dev/null
answer=$(output_of cancelled)
like 'it is cancelled' "$answer" '57014'
like 'and goes on' "$answer" '^2$'
is 'no passing file is left' "$(listing "$place/out")" 'x.xml '
whole && pass 'the file is whole' || fail 'the file is whole'
background terminated "$slow"
writing && pass 'another session writes' || fail 'another session writes'
sql "select pg_terminate_backend(pid) from pg_stat_activity where application_name = 'terminated'" >/dev/null
output_of terminated >/dev/null
is 'a session that is terminated leaves no passing file' "$(listing "$place/out")" 'x.xml '
whole && pass 'the file is whole then' || fail 'the file is whole then'

# Two sessions that write one file: it is always one of the two, whole.
for one in first second; do
    background $one "select xml_dom_write_to_file_doc(d, 'out/x.xml') from (select
        xml_dom_new_document_clob('<$one>' || repeat('<b>text</b>', 2000) || '</$one>') as d) as made,
        generate_series(1, 100)"
done
torn=0
for ((i = 0; i < 100; i++)); do
    copy=$(cat "$place/out/x.xml")
    case $copy in
    *'<first>'*'</first>' | *'<second>'*'</second>' | *'<a>'*'</a>' | *'<small/>') ;;
    *) torn=$((torn + 1)) ;;
    esac
done
output_of first >/dev/null
output_of second >/dev/null
is 'a reader never sees half a file' "$torn" 0
is 'nothing else is left' "$(listing "$place/out")" 'x.xml '

# A statement that writes many files holds no descriptor of any.
open_session
backend=$(tell 'select pg_backend_pid()')
tell "select count(xml_dom_write_to_file_doc(d, 'out/x.xml')) from (select $small as d) as made, generate_series(1, 10)" >/dev/null
before=$(find "/proc/$backend/fd" -mindepth 1 | wc -l)
tell "select count(xml_dom_write_to_file_doc(d, 'out/x.xml')) from (select $small as d) as made, generate_series(1, 300)" >/dev/null
tell "select xml_dom_write_to_file_node($small, 'out/x.xml', 'none') from generate_series(1, 10)" >/dev/null
at_most 'descriptors held' "$(find "/proc/$backend/fd" -mindepth 1 | wc -l)" "$((before + 1))"
close_session

# Other encodings of the database: names of files are UTF-8, contents what is asked for.
PGDATABASE=postgres psql -X -q -c "create database t_files_latin1 template template0 encoding 'LATIN1' lc_collate 'C' lc_ctype 'C'"
export PGDATABASE=t_files_latin1
sql 'create extension pkg_dbe_xml' "select xml_directory_create('CAFÉ', '$place/out')" >/dev/null
is 'a directory and a file with letters of LATIN1' \
    "$(sql "select xml_dom_write_to_file_doc(xml_dom_new_document_clob('<a>é</a>'), 'CAFÉ/é.xml')")" ''
is 'the name is UTF-8' "$(listing "$place/out")" 'x.xml é.xml '
is 'the content is UTF-8' "$(tail -n 1 "$place/out/é.xml")" '<a>é</a>'
sql "select xml_dom_write_to_file_doc(xml_dom_new_document_clob('<a>é</a>'), 'CAFÉ/é.xml', 'ISO-8859-1')" >/dev/null
is 'or LATIN1' "$(tail -n 1 "$place/out/é.xml" | iconv -f LATIN1 -t UTF-8)" '<a>é</a>'
like 'an unknown directory is named in UTF-8' "$(sql "select xml_dom_write_to_file_doc($small, 'Ñ/x.xml')")" '29P01: directory name "[Ññ]" does not'
export PGDATABASE=t_files
done_testing
