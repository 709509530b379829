# shellcheck shell=bash
# Large objects as CLOBs: who may read and write them, pieces in every encoding, cancelled
# statements, and a long text there and back.
#
# PKG_DBE_XML_LONG_TEXT=1100 makes that text 1100 MB long instead of 8, and prints what it cost.
. "$(dirname "$0")/lib.sh"
megabytes=${PKG_DBE_XML_LONG_TEXT:-8}
[ "$megabytes" -lt 100 ] || ANSWER_TIMEOUT=1200

# --- privileges -------------------------------------------------------------------------------------

sql 'create role lob_owner' 'create role lob_reader' 'create role lob_writer' 'create role lob_other' >/dev/null
lo=$(sql 'set role lob_owner' "select lo_from_bytea(0, '<a>secret</a>')")
sql 'set role lob_owner' "grant select on large object $lo to lob_reader" \
    "grant select, update on large object $lo to lob_writer" >/dev/null
read_it="select xmldom.get_node_name(xmldom.get_document_element(xmldom.parse($lo)))"
write_it="select xmldom.write_to_clob(xmldom.parse('<b/>'), $lo) = $lo"
for role in lob_owner lob_reader lob_writer; do
    is "$role reads" "$(sql "set role $role" "$read_it")" a
done
is 'another role does not read' "$(sqlstate_of 'set role lob_other' "$read_it")" 42501
like 'and is told so by the server' "$(sql 'set role lob_other' "$read_it")" "permission denied for large object $lo"
is 'nor does its parser' "$(sqlstate_of 'set role lob_other' \
    "select xmlparser_parse_clob(xmlparser_new_parser(), $lo)")" 42501
for role in lob_reader lob_other; do
    is "$role does not write" "$(sqlstate_of "set role $role" "$write_it")" 42501
done
is 'what it held is still there' "$(sql "select convert_from(lo_get($lo), 'UTF8')")" '<a>secret</a>'
for role in lob_owner lob_writer; do
    is "$role writes" "$(sql "set role $role" "$write_it")" t
done
is 'lo_compat_privileges counts' "$(sql 'set lo_compat_privileges = on' 'set role lob_other' \
    "select xmldom.get_node_name(xmldom.get_document_element(xmldom.parse($lo)))")" b
made=$(sql 'set role lob_other' "select xmldom.write_to_large_object(xmldom.parse('<c/>'))")
is 'a new one belongs to who made it' \
    "$(sql "select pg_get_userbyid(lomowner) from pg_largeobject_metadata where oid = $made")" lob_other
is 'and is nobody else'"'"'s to read' "$(sqlstate_of 'set role lob_reader' "select xmldom.parse($made)")" 42501
is 'the size of a piece is the administrator'"'"'s' \
    "$(sqlstate_of 'set pkg_dbe_xml.large_object_piece = 9' 'set role lob_other' 'select xmldom.mark()' \
        'set pkg_dbe_xml.large_object_piece = 7')" 42501

# --- nodes as they are ------------------------------------------------------------------------------

# node_in OBJECT ARGUMENTS: what a large object holds once a small tree was written into it.
node_in() {
    sql "select xmldom.to_large_object(xmldom.parse('<a><b>one &amp; <i>two</i></b><c/></a>'), $1) as made \\gset" \
        "select convert_from(lo_get(:made), 'UTF8')" "select lo_unlink(:made)"
}
is 'a document in a new one, as it was' "$(node_in null)" '<a><b>one &amp; <i>two</i></b><c/></a>'$'\n1'
is 'the number 0 means a new one too' "$(node_in 0)" '<a><b>one &amp; <i>two</i></b><c/></a>'$'\n1'
is 'indented, with a declaration' "$(node_in 'null, 2, true')" '<?xml version="1.0"?>
<a>
  <b>one &amp; <i>two</i></b>
  <c/>
</a>'$'\n1'
is 'in place of something longer' "$(node_in "lo_from_bytea(0, repeat('x', 5000)::bytea)")" \
    '<a><b>one &amp; <i>two</i></b><c/></a>'$'\n1'
is 'an element brings its namespaces' "$(sql "select xmldom.to_large_object(
    xmldom.get_first_child(xmldom.get_document_element(xmldom.parse('<a xmlns:p=\"u\"><p:b/></a>')))) as made \\gset" \
    "select convert_from(lo_get(:made), 'UTF8')")" '<p:b xmlns:p="u"/>'
is 'what is read back is the same tree' "$(sql \
    "select xmldom.parse('<a x=\"&#10;\">t<!--c--><?p d?><![CDATA[<]]>&#233;</a>') as doc \\gset" \
    "select xmldom.to_large_object(:'doc'::xmldom.document) as made \\gset" \
    "select xmldom.is_equal_node(:'doc'::xmldom.document, xmldom.parse(:made))")" t
is 'nothing is written of null' "$(sqlstate_of 'select xmldom.to_large_object(null)')" 22004
is 'nor where there is no large object' "$(sqlstate_of \
    "select xmldom.to_large_object(xmldom.parse('<a/>'), 4294967295)")" 42704
objects='select count(*) from pg_largeobject_metadata'
before=$(sql "$objects")
is 'what cannot be written leaves none' "$(sqlstate_of "select xml_dom_new_document_clob('<a/>') as doc \\gset" \
    "select xml_dom_append_child(xml_dom_get_document_element(:'doc'), xml_dom_create_element(:'doc', '1')) is null" \
    "select xmldom.to_large_object(:'doc'::raw::xmldom.document)") $(sql "$objects")" "2200N $before"
put_it="select xmldom.to_large_object(xmldom.parse('<d/>'), $lo) = $lo"
for role in lob_reader lob_other; do
    is "$role puts no tree there" "$(sqlstate_of "set role $role" "$put_it")" 42501
done
is 'lob_writer puts one there' "$(sql 'set role lob_writer' "$put_it" "$write_it")" $'t\nt'
made=$(sql 'set role lob_other' "select xmldom.to_large_object(xmldom.parse('<c/>'))")
is 'a new one belongs to who wrote the tree' \
    "$(sql "select pg_get_userbyid(lomowner) from pg_largeobject_metadata where oid = $made")" lob_other

# --- errors within a transaction ----------------------------------------------------------------------

bad=$(sql "select lo_from_bytea(0, '<a>')")
open_session
tell 'begin' >/dev/null
for ((i = 0; i < 300; i++)); do
    # Descriptors would run out if each failure left one behind.
    printf '%s\n' "do \$\$ begin perform xmldom.parse($bad); exception when others then null; end \$\$" \
        "do \$\$ begin perform xmldom.write_to_clob(xmldom.parse('<a>&#233;</a>'), $lo); end \$\$"
done >"$work/steps"
mapfile -t steps <"$work/steps"
is 'failures and successes, 600 in one transaction' "$(tell "${steps[@]}" | sort | uniq -c)" ''
is 'none of them left a descriptor open' "$(tell "select lo_open($lo, 262144)")" 0
tell 'rollback' >/dev/null
is 'the transaction is undone' "$(tell "select convert_from(lo_get($lo), 'UTF8') ~ '<b/>'")" t
close_session

# --- encodings ----------------------------------------------------------------------------------------

# there_and_back ENCODING TEXT: reads and writes it in pieces of some sizes.
there_and_back() {
    local name piece
    name=t_large_objects_$(tr 'A-Z' 'a-z' <<<"$1")
    psql -X -q -d postgres \
        -c "create database $name template template0 encoding '$1' lc_collate 'C' lc_ctype 'C'" || exit 1
    PGDATABASE=$name client -c 'create extension pkg_dbe_xml' || exit 1
    for piece in 1 2 5; do
        is "$1: in pieces of $piece bytes" "$(PGDATABASE=$name sql \
            "set pkg_dbe_xml.large_object_piece = $piece" \
            "select lo_from_bytea(0, convert_to('<a>$2</a>', '$1')) as lo \\gset" \
            "select xmldom.write_to_clob(xmldom.get_document_element(xmldom.parse(:lo)), :lo) = :lo" \
            "select convert_from(lo_get(:lo), '$1')")" "t"$'\n'"<a>$2</a>"
    done
}
tree_there_and_back() {
    local name
    name=t_large_objects_$(tr 'A-Z' 'a-z' <<<"$1")
    is "$1: a tree, in pieces of 3 bytes" "$(PGDATABASE=$name sql 'set pkg_dbe_xml.large_object_piece = 3' \
        "select xmldom.to_large_object(xmldom.parse('<a>$2</a>')) as lo \\gset" \
        "select convert_from(lo_get(:lo), '$1')" \
        "select xmldom.to_text(xmldom.parse(:lo))")" "<a>$2</a>"$'\n'"<a>$2</a>"
}
there_and_back UTF8 'größe 日本語 𝄞'
there_and_back LATIN1 'größe'
there_and_back EUC_JP '日本語テキスト'
tree_there_and_back UTF8 'größe 日本語 𝄞'
tree_there_and_back LATIN1 'größe'
tree_there_and_back EUC_JP '日本語テキスト'
is 'LATIN1: a tree with a character that it does not have' "$(PGDATABASE=t_large_objects_latin1 sqlstate_of \
    "select xmldom.to_large_object(xmldom.parse('<a>&#9731;</a>'))")" 22P05
is 'LATIN1: a character that it does not have' "$(PGDATABASE=t_large_objects_latin1 sqlstate_of \
    "select xmldom.write_to_large_object(xmldom.parse('<a>&#9731;</a>'))")" 22P05
is 'EUC_JP: half a character' "$(PGDATABASE=t_large_objects_euc_jp sqlstate_of \
    "select lo_from_bytea(0, '\\x3c613ec63c2f613e') as lo \\gset" 'select xmldom.parse(:lo)')" 22021

# --- a long text --------------------------------------------------------------------------------------

# A row is 1,024 bytes, as it is written.
long=$(sql "select lo_create(0)")
sql "do \$\$
    declare
        row text := rpad('  <row number=\"17\">', 1017, '0123456789 ') || '</row>' || chr(10);
        piece bytea := convert_to(repeat(row, 1024), 'UTF8');
        place bigint := 46;
    begin
        perform lo_put($long, 0, convert_to('<?xml version=\"1.0\" encoding=\"UTF-8\"?>' || chr(10) ||
            '<rows>' || chr(10), 'UTF8'));
        for i in 1 .. $megabytes loop
            perform lo_put($long, place, piece);
            place := place + length(piece);
        end loop;
        perform lo_put($long, place, convert_to('</rows>' || chr(10), 'UTF8'));
    end \$\$"
size=$((46 + megabytes * 1048576 + 8))
size_of() { sql 'begin' "select lo_lseek64(lo_open($1, 262144), 0, 2)" 'commit'; }
is 'the long text is as long as it should be' "$(size_of "$long")" "$size"

# took NAME STATEMENTS: what a step in the open session answers, and what it cost.
took() {
    local begun name=$1
    shift
    begun=$(date +%s%N)
    tell "$@" >"$work/answer"
    printf '# %-28s %6d ms\n' "$name" $((($(date +%s%N) - begun) / 1000000))
    answer=$(cat "$work/answer")
}
open_session
backend=$(tell 'select pg_backend_pid()')
took "read $megabytes MB" "select xmldom.parse($long) as document \\gset"
is 'it is read' "$answer" ''
took "write $megabytes MB" "select xmldom.write_to_large_object(:'document'::raw::xmldom.document) as copy \\gset"
is 'it is written' "$answer" ''
copy=$(tell '\echo :copy')
is 'what was written is as long' "$(size_of "$copy")" "$size"
is 'and the same, page for page' "$(sql "select count(*) from
    (select pageno, data from pg_largeobject where loid = $long) as a
    full join (select pageno, data from pg_largeobject where loid = $copy) as b using (pageno, data)
    where a.pageno is null or b.pageno is null" "select count(*) > 0 from pg_largeobject where loid = $copy")" \
    "0"$'\n'"t"
is 'every row is there' "$(tell "select xmldom.get_length(xmldom.get_elements_by_tag_name(:'document'::raw::xmldom.document, 'row'))")" \
    $((megabytes * 1024))
took "write it again" "select xmldom.write_to_clob(:'document'::raw::xmldom.document, $copy) = $copy"
is 'it is written in place of itself' "$answer" t
is 'and is as long again' "$(size_of "$copy")" "$size"
took "the tree as it is" "select xmldom.to_large_object(:'document'::raw::xmldom.document) as copy \\gset"
is 'the tree is written' "$answer" ''
is 'and read back as the same' "$(tell \
    "select xmldom.is_equal_node(:'document'::raw::xmldom.document, xmldom.parse(:copy))")" t
printf '# %s\n' "$(sed -n 's/^VmHWM:[[:space:]]*/most memory of the backend: /p' "/proc/$backend/status" 2>/dev/null)"

# --- cancelled ------------------------------------------------------------------------------------------

# A piece of one byte makes the work on a short text last, and it is repeated.
sql "alter database $PGDATABASE set pkg_dbe_xml.large_object_piece = 1" >/dev/null
close_session
open_session
held='select bytes from pkg_dbe_xml_memory where document is null'
short=$(sql "select lo_from_bytea(0, convert_to('<a>' || repeat('0123456789', 200000) || '</a>', 'UTF8'))")
tell "select xmldom.parse('<a>' || repeat('0123456789', 200000) || '</a>') as document \\gset" >/dev/null
before=$(tell "$held")
for statement in "select count(xmldom.free_document(xmldom.parse($short)))" \
    "select count(xmldom.write_to_large_object(:'document'::raw::xmldom.document))" \
    "select count(xmldom.to_large_object(:'document'::raw::xmldom.document))"; do
    took "${statement:13:28} stopped" 'set statement_timeout = 300' \
        "$statement from generate_series(1, 1000)" 'reset statement_timeout'
    like "cancelled: $statement" "$answer" 57014
    at_most 'and keeps nothing' "$(tell "$held")" $((before + 4096))
done
is 'the session goes on' "$(tell "$read_it")" b
close_session
is 'no large object came of it' "$(sql "select count(*) from pg_largeobject_metadata where oid > $short")" 0

# --- too long -------------------------------------------------------------------------------------------

huge=$(sql 'select lo_create(0)')
sql 'begin' "select lo_truncate64(lo_open($huge, 131072), 2147483648)" 'commit' >/dev/null
like 'beyond 2147483647 bytes nothing is read' "$(sql "select xmldom.parse($huge)")" \
    '22023: out of XML string size maximum bound'
like 'nor by a parser' "$(sql "select xmlparser_parse_clob(xmlparser_new_parser(), $huge)")" \
    '22023: out of XML string size maximum bound'
done_testing
