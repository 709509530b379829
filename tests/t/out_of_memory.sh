# shellcheck shell=bash
# A backend that may not grow any more: calls fail with the server's or the library's report of it,
# what was there stays whole, and the session goes on.
. "$(dirname "$0")/lib.sh"

open_session
tell "create temporary table big as select '<a>' || repeat('<b c=\"d\">text<e/></b>', 400000) || '</a>' as x" >/dev/null
pid=$(tell 'select pg_backend_pid()')
like 'a document before' "$(tell "select xml_dom_write_to_buffer_doc(xml_dom_new_document_clob('<before/>'))")" '<before/>'

# limit BYTES|unlimited: the soft limit of the backend. Another backend sets it, since it takes the
# same user.
limit() { sql "copy (select 1) to program 'cat >/dev/null; prlimit --pid $pid --as=$1:'"; }
size() { sed -n 's/^VmSize:[^0-9]*\([0-9]*\) kB/\1/p' "/proc/$pid/status"; }
# room MEGABYTES [KILOBYTES]: what the backend may take besides what it has, or besides that much.
room() { limit $((${2:-$(size)} * 1024 + $1 * 1048576)); }
whole=$(sed -n 's/^Max address space *[^ ]* *\([^ ]*\) .*/\1/p' "/proc/$pid/limits") # the hard limit
all_room() { limit "$whole"; }

# The parse needs more than 250 MB: limits that end it in its text, at its beginning and later on.
# Reckoned from the size before all parses, since what one took is there for the next.
start=$(size)
handles=$(tell 'select xml_dom_get_session_tree_num()')
for megabytes in 2 4 8 12 16 24 32 48 64 80 96 128 160; do
    room "$megabytes" "$start"
    answer=$(tell 'select xml_dom_new_document_clob(x) from big')
    like "$megabytes MB: the parse fails for want of memory" "$answer" '53200'
    like "$megabytes MB: a small document can be made" \
        "$(tell "select xml_dom_is_null(xml_dom_new_document_clob('<small/>'))")" '^f$'
    all_room
done
is 'nothing else was registered' "$(tell 'select xml_dom_get_session_tree_num()')" $((handles + 13))

# A large document is there: reading and writing it with little room.
tell 'create temporary table held as select xml_dom_new_document_clob(x) as d from big' >/dev/null
length=$(tell 'select length(xml_dom_write_to_clob_doc(d)) from held')
failures=0
for megabytes in 1 2 4 8 12 16 24 32; do
    room "$megabytes"
    answer=$(tell 'select length(xml_dom_write_to_clob_doc(d)) from held')
    like "$megabytes MB: writing gives all or fails for want of memory" "$answer" "^$length\$|53200"
    [ "$answer" = "$length" ] || failures=$((failures + 1))
    tell 'select xml_dom_get_length(xml_dom_get_elements_by_tagname_document(d, $$b$$)) from held' \
        'select xml_dom_import_node(xml_dom_new_document_empty(), d, true) is not null from held' >/dev/null
    all_room
done
like 'some writing did fail' "$failures" '^[1-8]$'
is 'the document is whole' "$(tell 'select length(xml_dom_write_to_clob_doc(d)) from held')" "$length"
is 'and can be searched' \
    "$(tell 'select xml_dom_get_length(xml_dom_get_elements_by_tagname_document(d, $$b$$)) from held')" 400000
is 'and released' "$(tell 'select xml_dom_free_document(d) from held' | wc -l)" 1
close_session
done_testing
