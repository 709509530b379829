# shellcheck shell=bash
# DISCARD ALL: what a connection pool sends before it hands a session to the next client.
. "$(dirname "$0")/lib.sh"

contexts="select count(*) from pg_backend_memory_contexts where name like 'SessionXML%'"

open_session
handle=$(tell "select xml_dom_new_document_clob('<a><b/></a>')")
root=$(tell "select xml_dom_get_document_element('$handle')")
parser=$(tell 'select xmlparser_new_parser()')
like 'a document before' "$(tell "select xml_dom_write_to_buffer_doc('$handle')")" '<a>'
is 'two handles before' "$(tell 'select xml_dom_get_session_tree_num()')" 2
is 'two contexts before' "$(tell "$contexts")" 2

is 'DISCARD ALL succeeds' "$(tell 'discard all')" ''
is 'no context after' "$(tell "$contexts")" 0
like 'the document is unknown' "$(tell "select xml_dom_write_to_buffer_doc('$handle')")" '2200U'
like 'the node is unknown' "$(tell "select xml_dom_get_node_name('$root')")" '2200U'
like 'the parser is unknown' "$(tell "select xmlparser_get_doc('$parser')")" '2200X'
is 'no handle after' "$(tell 'select xml_dom_get_session_tree_num()')" 0

# The next client starts afresh, as often as needed.
for round in 1 2 3; do
    like "round $round: a document after" \
        "$(tell "select xml_dom_write_to_buffer_doc(xml_dom_new_document_clob('<r$round/>'))")" "<r$round/>"
    is "round $round: one handle" "$(tell 'select xml_dom_get_session_tree_num()')" 1
    is "round $round: a parser" "$(tell 'select xmlparser_new_parser() is not null')" t
    tell 'discard all' >/dev/null
done
is 'DISCARD ALL twice in a row' "$(tell 'discard all' 'discard all')" ''

# Numbers go on: what the client before kept never names something of the next one.
old=$(tell "select xml_dom_new_document_clob('<old/>')")
old_root=$(tell "select xml_dom_get_document_element('$old')")
tell 'discard all' >/dev/null
new=$(tell "select xml_dom_new_document_clob('<new/>')")
tell "select xml_dom_get_document_element('$new')" >/dev/null
like 'the old document is unknown' "$(tell "select xml_dom_write_to_buffer_doc('$old')")" '2200U'
like 'the old root is unknown' "$(tell "select xml_dom_get_node_name('$old_root')")" '2200U'
tell 'discard all' >/dev/null

# The other kinds of DISCARD, and one that fails, leave the documents alone.
handle=$(tell "select xml_dom_new_document_clob('<kept/>')")
tell 'discard plans' 'discard temp' 'discard sequences' >/dev/null
like 'DISCARD PLANS, TEMP and SEQUENCES keep documents' \
    "$(tell "select xml_dom_write_to_buffer_doc('$handle')")" '<kept/>'
like 'DISCARD ALL within a transaction fails' "$(tell 'begin' 'discard all' 'rollback')" '25001'
like 'and keeps documents' "$(tell "select xml_dom_write_to_buffer_doc('$handle')")" '<kept/>'

# A rollback keeps them too: handles are the session's, not the transaction's.
handle=$(tell 'begin' "select xml_dom_new_document_clob('<rolled/>')" 'rollback')
like 'a rollback keeps documents' "$(tell "select xml_dom_write_to_buffer_doc('$handle')")" '<rolled/>'
close_session
done_testing
