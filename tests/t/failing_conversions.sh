# shellcheck shell=bash
# Conversions between the encoding of the database and UTF-8 that fail in the middle of a call, for an
# argument or for a result: because the conversion raises an error, or because the database has none
# any more. The server's own report comes through, the trees and the memory stay as they were, and the
# session goes on.
. "$(dirname "$0")/lib.sh"

place=$(mktemp -d /tmp/pkg_dbe_xml_conversions_XXXXXX)
trap 'rm -rf "$work" "$place"' EXIT
chown "$(stat -c %U "$(sql 'show data_directory')")" "$place"
root=$(cd "$(dirname "$0")/../.." && pwd)
make -s -C "$root" build/postgres/failing_conversion.so PG_CONFIG="${PG_CONFIG:-pg_config}" >"$work/make" 2>&1 ||
    sed 's/^/# /' "$work/make"
chmod 755 "$work"
install -m 644 "$root/build/postgres/failing_conversion.so" "$work/"

export PGDATABASE=t_failing_conversions_latin1
psql -X -q -d postgres \
    -c "create database $PGDATABASE template template0 encoding latin1 lc_collate 'C' lc_ctype 'C'" || exit 1
# The conversions stand before the server's own, for those who look there.
conversion='integer, integer, cstring, internal, integer, boolean'
is 'the calls and the conversions are prepared' "$(sql 'create extension pkg_dbe_xml' "\\i $(dirname "$0")/every_call.sql" \
    "select xml_directory_create('out', '$place')" \
    "create function fail_conversion_after(integer) returns void
        as '$work/failing_conversion', 'fail_conversion_after' language c strict" \
    "create function latin1_to_utf8($conversion) returns integer
        as '$work/failing_conversion', 'latin1_to_utf8' language c strict" \
    "create function utf8_to_latin1($conversion) returns integer
        as '$work/failing_conversion', 'utf8_to_latin1' language c strict" \
    'create schema failing' \
    "create default conversion failing.latin1_to_utf8 for 'LATIN1' to 'UTF8' from latin1_to_utf8" \
    "create default conversion failing.utf8_to_latin1 for 'UTF8' to 'LATIN1' from utf8_to_latin1")" ''
export PGCLIENTENCODING=LATIN1
own_first='set search_path = failing, pg_catalog, public'

# unchanged NAME: what every failed call left; an element stays when its namespace is refused, and
# goes with its document.
unchanged() {
    is "$1: the documents, handles and files are as they were" \
        "$(sql "select call, fault, state from outcomes where state <> '' and call !~ 'create_element_ns'")" ''
    is "$1: and what they take" \
        "$(sql "select call, fault, memory from outcomes where memory <> '' and call !~ 'create_element_ns'")" ''
}

# --- conversions that raise an error ----------------------------------------------------------------

# Every call with the first, the second, ... conversion and all after it failing, until it comes
# through.
is 'conversions that fail: no session ends' "$(sql "$own_first" "do \$\$ declare
        made calls;
        fault integer;
    begin
        for made in select * from calls order by call loop
            fault := 0;
            while attempt(made, fault::text, format('select fail_conversion_after(%s)', fault),
                    'select fail_conversion_after(-1)') <> '00000' and fault < 20 loop
                fault := fault + 1;
            end loop;
        end loop;
    end \$\$")" ''
echo "# $(sql "select count(*) || ' failed calls of ' || count(distinct call) || ' functions'
    from outcomes where code <> '00000'")"
is 'conversions that fail: each call comes through in the end' \
    "$(sql "select call from calls except select call from outcomes where code = '00000'")" ''
is 'conversions that fail: their own report each time' \
    "$(sql "select call, fault, code, message from outcomes where code <> '00000'
        and (code <> '58030' or message <> 'conversion failed on purpose')")" ''
# Functions for directories look in the server's own schema only.
is 'conversions that fail: in every function that takes text' \
    "$(sql "select call from calls where types && '{text,xml}' and call !~ '^xml_directory_'
        except select call from outcomes where fault = '0' and code = '58030'")" ''
is 'conversions that fail: and in those that give it' \
    "$(sql "select count(distinct call) from outcomes where code = '58030' and call ~
        '^(xml_dom_get_(node_name|node_value|tagname|localname)|xml_dom_write_to_(buffer|clob)_(doc|node))\(raw\)'")" 8
is 'conversions that fail: an argument that was converted, then a result that is not' \
    "$(sql "select code from outcomes where call = 'xml_dom_get_attribute(raw,text)' order by fault")" \
    "$(printf '58030\n58030\n00000')"
unchanged 'conversions that fail'

# A report of the library quotes what was parsed: that has to be converted, too.
open_session
tell "$own_first" 'select hold()' >/dev/null
before=$(tell 'select state()' 'select xml_dom_get_memory_info()')
for fault in 0 1 2; do
    like "conversion $fault fails where a parse fails" \
        "$(tell "select fail_conversion_after($fault)" "select xml_dom_new_document_clob(E'<gr\\xf6\\xdfe></a>')")" \
        'ERROR:  58030: conversion failed on purpose'
done
tell 'select fail_conversion_after(-1)' >/dev/null
like 'without a fault its report quotes it' "$(tell "select xml_dom_new_document_clob(E'<gr\\xf6\\xdfe></a>')" |
    iconv -f latin1 -t utf8)" 'CONTEXT:.*größe'
for fault in 0 1; do
    like "conversion $fault fails outside of a block" \
        "$(tell "select fail_conversion_after($fault)" "select xmldom.set_attribute(element::xmldom.element, E'gr\\xf6\\xdfe', E'\\xfc') from held")" \
        'ERROR:  58030: conversion failed on purpose'
done
tell 'select fail_conversion_after(-1)' >/dev/null
is 'the document, the handles and the memory are as before' \
    "$(tell 'select state()' 'select xml_dom_get_memory_info()')" "$before"
is 'and all of it can be freed' "$(tell 'select xmldom.free_all() > 0' \
    'select count(*) from pkg_dbe_xml_memory where document is not null')" "$(printf 't\n0')"
close_session

# --- conversions that are gone ------------------------------------------------------------------------

# gone FROM TO: the database has no default conversion between them while a call runs.
gone() {
    local row="conforencoding = pg_char_to_encoding('$1') and contoencoding = pg_char_to_encoding('$2')
        and connamespace = 'pg_catalog'::regnamespace"
    is "no conversion from $1 to $2: no session ends" "$(sql 'truncate outcomes' 'set allow_system_table_mods = on' \
        "do \$\$ declare made calls; begin
            for made in select * from calls order by call loop
                perform attempt(made, '', \$prepare\$update pg_conversion set condefault = false where $row\$prepare\$,
                    \$restore\$update pg_conversion set condefault = true where $row\$restore\$);
            end loop;
        end \$\$")" ''
    echo "# no conversion from $1 to $2: $(sql "select count(*) from outcomes where code <> '00000'") failed calls"
    is "no conversion from $1 to $2: the server says so each time" \
        "$(sql "select call, code, message from outcomes where code <> '00000' and (code <> '42883' or
            message <> 'default conversion function for encoding \"$1\" to \"$2\" does not exist')
            and call not like 'xml_directory_drop%'")" '' # of what could not be made before
    unchanged "no conversion from $1 to $2"
}
gone LATIN1 UTF8
is 'no conversion from LATIN1 to UTF8: every function that takes text fails' \
    "$(sql "select call from calls where types && '{text,xml}' and call !~ '^xml_directory_'
        except select call from outcomes where code = '42883'")" ''
gone UTF8 LATIN1
like 'no conversion from UTF8 to LATIN1: functions that give text fail' \
    "$(sql "select count(*) from outcomes where code = '42883'")" '^[45][0-9]$'
is 'no conversion from UTF8 to LATIN1: others do not' \
    "$(sql "select code from outcomes where call = 'xml_dom_create_element(raw,text)'")" 00000
psql -X -q -d postgres -c "drop database $PGDATABASE"
done_testing
