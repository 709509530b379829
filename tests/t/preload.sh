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
restart_after 'alter system reset shared_preload_libraries'
is 'loaded on demand again' "$(sql "select xml_dom_get_session_tree_num()")" 0
done_testing
