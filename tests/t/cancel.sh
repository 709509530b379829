# shellcheck shell=bash
# Cancelled and timed-out statements: they stop soon, free what they made and leave the session
# usable.
. "$(dirname "$0")/lib.sh"

setup="create table big as select '<a>' || repeat('<b c=\"d\">text<e/></b>', 1500000) || '</a>' as x"
sql "$setup" >/dev/null
peak="select (regexp_match(pg_read_file('/proc/self/status'), 'VmHWM:\s+(\d+)'))[1]::integer"

# stops NAME STATEMENT: runs the statement under a timeout of 300 ms in the open session; it must end
# by that. Each repeats its call a thousand times, so that one is always running and the whole never
# ends by itself. How soon they end is printed; the unit tests count how often each call looks
# whether it is to stop.
stops() {
    local begin answer
    begin=$(date +%s%N)
    answer=$(tell "set statement_timeout = 300" "$2" 'reset statement_timeout')
    printf '# %-36s ended after %5d ms\n' "$1" $((($(date +%s%N) - begin) / 1000000))
    like "$1: ends as timed out" "$answer" 57014
}
parses='select count(xml_dom_free_document(xml_dom_new_document_clob(x))) from big, generate_series(1, 1000)'

open_session
tell "select xml_dom_free_document(xml_dom_new_document_clob('<a/>'))" >/dev/null
trees=$(tell 'select xml_dom_get_session_tree_num()')
stops 'a long parse' "$parses"
# What a cancelled parse made is used again by the next: ten of them never take more than one that
# comes to its end. (What is given back to the system in between is the C library's affair.)
for round in 1 2 3 4 5 6 7 8 9; do
    tell "set statement_timeout = 300" "$parses" 'reset statement_timeout' >/dev/null
done
after_ten=$(tell "$peak")
after_one=$(sql 'select xml_dom_free_document(xml_dom_new_document_clob(x)) from big' "$peak" | tail -n 1)
at_most 'ten cancelled parses take no more memory than one complete, kB' "$after_ten" "$after_one"
is 'no document is registered' "$(tell 'select xml_dom_get_session_tree_num()')" "$trees"
like 'the session goes on' "$(tell "select xml_dom_write_to_buffer_doc(xml_dom_new_document_clob('<ok/>'))")" '<ok/>'

parser=$(tell 'select xmlparser_new_parser()')
stops 'a long parse by a parser object' \
    "select count(xmlparser_parse_clob('$parser', x)) from big, generate_series(1, 1000)"
# The time may be up between two parses.
like 'the parser has no document, or a whole one' "$(tell "select xml_dom_get_length(xml_dom_get_elements_by_tagname_document(
    xmlparser_get_doc('$parser'), 'b'))")" '^(0?|1500000)$'
tell "select xmlparser_parse_clob('$parser', '<after/>')" >/dev/null
like 'the parser goes on' "$(tell "select xml_dom_write_to_buffer_doc(xmlparser_get_doc('$parser'))")" '<after/>'

# Loops of the library over a large tree: short ones are repeated by a set, so that some call is
# always running.
tell 'create temporary table held as select xml_dom_new_document_clob(x) as d from big' >/dev/null
is 'the large document is parsed' "$(tell 'select xml_dom_is_null(d) from held')" f
stops 'a search' \
    "select count(xml_dom_get_elements_by_tagname_document(d, 'nothing')) from held, generate_series(1, 1000)"
stops 'writing to text' \
    'select count(xml_dom_write_to_clob_doc(d)) from held, generate_series(1, 1000)'
stops 'counting' \
    'select count(xml_dom_get_doc_trees_info()) from generate_series(1, 1000)'
is 'the document is whole afterwards' \
    "$(tell 'select length(xml_dom_write_to_clob_doc(d)) >= (select length(x) from big) from held')" t
close_session

# Cancelled by somebody else.
background victim 'select xml_dom_new_document_clob(x) from big, generate_series(1, 1000)' 'select 1+1'
wait_for_statement victim generate_series
sleep 0.5
is 'a cancel is sent' "$(sql "select pg_cancel_backend(pid) from pg_stat_activity where application_name = 'victim'")" t
answer=$(output_of victim)
like 'the statement ends as cancelled' "$answer" '57014.*user request'
like 'its session goes on' "$answer" '^2$'

# A cancel that PL/pgSQL does not catch by OTHERS, and one that is asked for.
like 'a handler for query_canceled sees it' "$(sql 'set statement_timeout = 300' "do \$\$ begin
        perform xml_dom_free_document(xml_dom_new_document_clob(x)) from big, generate_series(1, 1000);
    exception when query_canceled then raise notice 'stopped: %', sqlstate; end \$\$")" 'stopped: 57014'
done_testing
