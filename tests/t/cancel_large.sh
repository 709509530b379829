# shellcheck shell=bash
# Documents of 200 MB, cancelled while they are parsed: the statement ends soon, whatever the
# document is made of, and what it had made is given back.
#
# Prints how long each took to end after its time was up.
. "$(dirname "$0")/lib.sh"

sql 'create table large (name text, body text)' 'alter table large alter body set storage external' \
    "insert into large values ('elements', '<a>' || repeat('<b c=\"d\">text<e/></b>', 9500000) || '</a>')" \
    "insert into large values ('one text', '<a>' || repeat('text of a long node ', 10000000) || '</a>')" \
    "insert into large values ('one comment', '<a><!--' || repeat('text of a long node ', 10000000) || '--></a>')" \
    "insert into large values ('one attribute', '<a b=\"' || repeat('text of a long node ', 10000000) || '\"/>')" \
    "insert into large values ('one CDATA section', '<a><![CDATA[' || repeat('text of a long node ', 10000000) || ']]></a>')" \
    "insert into large values ('entities', '<!DOCTYPE a [<!ENTITY e \"text\">]><a>' || repeat('<b>&e;</b>', 20000000) || '</a>')" >/dev/null
held='select bytes from pkg_dbe_xml_memory where document is null'

# after_timeout MILLISECONDS STATEMENT: runs it in the open session under that timeout.
after_timeout() {
    local begun ended
    begun=$(date +%s%N)
    answer=$(tell "set statement_timeout = $1" "$2" 'reset statement_timeout')
    ended=$(date +%s%N)
    late=$(((ended - begun) / 1000000 - $1))
}

open_session
tell "select xml_dom_free_document(xml_dom_new_document_clob('<a/>'))" >/dev/null
before=$(tell "$held")
for document in elements 'one text' 'one comment' 'one attribute' 'one CDATA section' entities; do
    for timeout in 400 1200; do
        after_timeout "$timeout" "select xml_dom_new_document_clob(body) from large where name = '$document'"
        if [[ $answer == *57014* ]]; then
            printf '# %-18s cancelled after %4d ms: ended %4d ms later\n' "$document" "$timeout" "$late"
            at_most "$document, $timeout ms: ends soon, ms" "$late" 1000
        else
            # Parsed before its time was up; there is nothing to cancel.
            like "$document, $timeout ms: parsed in time" "$answer" '^\\x[0-9a-f]{26}$'
            tell "select xml_dom_free_document('${answer%%$'\n'*}')" >/dev/null
        fi
        tell "select xml_dom_free_document(xml_dom_new_document_clob('<a/>'))" >/dev/null
        at_most "$document, $timeout ms: all is given back, bytes" "$(tell "$held")" $((before + 4096))
    done
done

parser=$(tell 'select xmlparser_new_parser()')
after_timeout 800 "select xmlparser_parse_clob('$parser', body) from large where name = 'elements'"
like 'a parser object: cancelled' "$answer" 57014
printf '# %-18s cancelled after %4d ms: ended %4d ms later\n' 'parser object' 800 "$late"
at_most 'a parser object: ends soon, ms' "$late" 1000
is 'a parser object: it is empty' "$(tell "select xmlparser_get_doc('$parser') is null")" t
close_session
done_testing
