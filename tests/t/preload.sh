# shellcheck shell=bash
# The library loaded when the server starts, together with another one that takes part in utility
# statements, before and behind it.
. "$(dirname "$0")/lib.sh"

export PGOPTIONS='-c log_min_messages=debug1'
freed='DEBUG:  pkg_dbe_xml: objects of the session freed'

version=$(sql 'show server_version_num' | cut -c1-2)

# restart_after STATEMENT: changes the server's settings and restarts it.
restart_after() {
    sql "$1" >/dev/null
    pg_ctlcluster "$version" regress restart || fail "restart after: $1"
}

for libraries in 'pkg_dbe_xml, pg_stat_statements' 'pg_stat_statements, pkg_dbe_xml'; do
    restart_after "alter system set shared_preload_libraries = $libraries"
    is "$libraries: both are loaded" "$(sql 'show shared_preload_libraries')" "$libraries"
    sql 'create extension if not exists pg_stat_statements' 'select pg_stat_statements_reset()' >/dev/null

    open_session
    pid=$(tell 'select pg_backend_pid()')
    handle=$(tell "select xml_dom_new_document_clob('<a/>')")
    tell 'discard all' >/dev/null
    like "$libraries: DISCARD ALL frees the documents" "$(tell "select xml_dom_write_to_buffer_doc('$handle')")" '2200U'
    like "$libraries: a document after" \
        "$(tell "select xml_dom_write_to_buffer_doc(xml_dom_new_document_clob('<b/>'))")" '<b/>'
    close_session
    logged "\[$pid\].*$freed"
    like "$libraries: the end of the session frees it" "$(grep -E "\[$pid\]" "$SERVER_LOG")" "$freed"
    is "$libraries: the other library saw the statement" \
        "$(sql "select calls from pg_stat_statements where query ilike 'discard all%'")" 1
done

# The sums of all sessions, which only a library loaded with the server can keep.
sums='select documents, transaction_documents, parsers, tree_bytes > 0, handle_bytes > 0 from xmldom.sessions where pid ='
open_session
pid=$(tell 'select pg_backend_pid()')
tell "select xmldom.parse('<kept/>') is null" "set pkg_dbe_xml.lifetime = 'transaction'" begin "select xmldom.parse('<a/>') is null" \
    'select xmlparser.new_parser() is null' >/dev/null
is 'another session is seen with what it holds' "$(sql "$sums $pid")" '2|1|1|t|t'
tell commit >/dev/null
is 'and at the end of its transaction' "$(sql "$sums $pid")" '1|0|0|t|t'
tell 'discard all' >/dev/null
# libxml2 2.9 keeps something for itself once it has been used, 2.15 nothing.
is 'and after DISCARD ALL' "$(sql "select documents, transaction_documents, parsers, tree_bytes < 2000, handle_bytes
    from xmldom.sessions where pid = $pid")" '0|0|0|t|0'
close_session
for ((i = 0; i < 100; i++)); do
    [ "$(sql "$sums $pid")" != '' ] || break
    sleep 0.05
done
is 'it is gone when it has ended' "$(sql "$sums $pid")" ''
is 'the asker is among them' "$(sql "select xmldom.parse('<a/>') is null" \
    'select documents from xmldom.sessions where pid = pg_backend_pid()' | tail -n 1)" 1
background victim "select xmldom.parse('<a/>') is null" "select xmldom.parse('<a>' || repeat('<b><c/></b>', 10000000) || '</a>') is null"
wait_for_statement victim repeat
pid=$(sql "select pid from pg_stat_activity where application_name = 'victim'")
sql "select pg_terminate_backend($pid)" >/dev/null
output_of victim >/dev/null
is 'one that was terminated within a call is gone, too' "$(sql "$sums $pid")" ''
sql 'create role onlooker' >/dev/null
like 'it is not for everybody' "$(sql 'set role onlooker' 'select * from xmldom.sessions')" 'ERROR:  42501'
is 'but for those who monitor the server' "$(sql 'grant pg_monitor to onlooker' 'set role onlooker' \
    'select count(*) >= 0 from xmldom.sessions')" t
sql 'drop role onlooker' >/dev/null
restart_after 'alter system reset shared_preload_libraries'
like 'a library loaded on demand cannot tell' "$(sql 'select * from xmldom.sessions')" \
    'ERROR:  55000: what other sessions hold is not known'
is 'loaded on demand again' "$(sql "select xml_dom_get_session_tree_num()")" 0
done_testing
