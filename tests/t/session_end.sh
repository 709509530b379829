# shellcheck shell=bash
# The end of a session, with everything it made still alive.
. "$(dirname "$0")/lib.sh"

export PGOPTIONS='-c log_min_messages=debug1'
freed='DEBUG:  pkg_dbe_xml: objects of the session freed'
objects="select xml_dom_get_child_nodes(xml_dom_get_document_element(xml_dom_new_document_clob(
    '<a x=\"1\"><b/>text<c><d/></c></a>'))) is not null from generate_series(1, 200)"

# pid_lines PID: what the server logged for that backend.
pid_lines() { grep -E "\[$1\]" "$SERVER_LOG"; }

answer=$(sql 'select pg_backend_pid()' "select count(*) from ($objects) as made")
pid=$(head -n 1 <<<"$answer")
is 'a session makes two hundred documents and lists' "$(tail -n 1 <<<"$answer")" 200
logged "\[$pid\].*$freed"
like 'its end frees them' "$(pid_lines "$pid")" "$freed"

answer=$(sql 'select pg_backend_pid()' "select 1 from ($objects) as made limit 1" 'begin' "$objects" 'select 1/0')
pid=$(head -n 1 <<<"$answer")
logged "\[$pid\].*$freed"
like 'the end within a failed transaction frees them' "$(pid_lines "$pid")" "$freed"

answer=$(sql 'select pg_backend_pid()' 'select 1')
pid=$(head -n 1 <<<"$answer")
for ((i = 0; i < 200; i++)); do
    [ -e "/proc/$pid" ] || break
    sleep 0.05
done
is 'its backend has ended' "$(test -e "/proc/$pid" && echo no)" ''
unlike 'a session that made nothing has nothing to free' "$(pid_lines "$pid")" "$freed"

# Parser objects and nothing else.
answer=$(sql 'select pg_backend_pid()' 'select xmlparser_new_parser() is not null')
pid=$(head -n 1 <<<"$answer")
logged "\[$pid\].*$freed"
like 'parser objects are freed without a document' "$(pid_lines "$pid")" "$freed"

# Terminated between two calls: the documents are freed.
open_session
pid=$(tell 'select pg_backend_pid()')
tell "select count(*) from ($objects) as made" >/dev/null
sql "select pg_terminate_backend($pid)" >/dev/null
logged "\[$pid\].*$freed"
like 'an idle session that is terminated frees its documents' "$(pid_lines "$pid")" "$freed"
close_session

# Terminated within a call: nothing is touched, and the backend ends at once.
background victim "select count(*) from ($objects) as made" \
    "select xml_dom_new_document_clob('<a>' || repeat('<b><c/></b>', 40000000 / 4) || '</a>')"
wait_for_statement victim repeat
pid=$(sql "select pid from pg_stat_activity where application_name = 'victim'")
# Well within the parse: its text is in memory, and half a gigabyte of a tree of more than two.
resident=0
for ((i = 0; i < 600 && resident < 800000; i++)); do
    sleep 0.05
    resident=$(sed -n 's/^VmRSS:[[:space:]]*\([0-9]*\).*/\1/p' "/proc/$pid/status")
done
sql "select pg_terminate_backend($pid)" >/dev/null
like 'a session terminated within a call says so' "$(output_of victim)" '57P01'
unlike 'and frees nothing that may be half made' "$(pid_lines "$pid")" "$freed"

is 'the server goes on' "$(sql 'select xml_dom_write_to_buffer_doc(xml_dom_new_document_clob($$<a/>$$))' | grep -c '<a/>')" 1
done_testing
