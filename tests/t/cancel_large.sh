# shellcheck shell=bash
# Documents of 200 MB, cancelled while they are parsed, whatever they are made of: what the statement
# had made is given back.
#
# Prints how long each took to end after its time was up; the unit tests count how often a parse
# looks whether it is to stop.
. "$(dirname "$0")/lib.sh"

sql 'create table large (name text, body text)' 'alter table large alter body set storage external' \
    "insert into large values ('elements', '<a>' || repeat('<b c=\"d\">text<e/></b>', 9500000) || '</a>')" \
    "insert into large values ('one text', '<a>' || repeat('text of a long node ', 10000000) || '</a>')" \
    "insert into large values ('one comment', '<a><!--' || repeat('text of a long node ', 10000000) || '--></a>')" \
    "insert into large values ('one attribute', '<a b=\"' || repeat('text of a long node ', 10000000) || '\"/>')" \
    "insert into large values ('one CDATA section', '<a><![CDATA[' || repeat('text of a long node ', 10000000) || ']]></a>')" \
    "insert into large values ('entities', '<!DOCTYPE a [<!ENTITY e \"text\">]><a>' || repeat('<b>&e;</b>', 20000000) || '</a>')" >/dev/null
held='select bytes from pkg_dbe_xml_memory where document is null'

documents='select documents from xmldom.session'

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
        left=$(tell "$documents")
        if [[ $answer == *57014* ]]; then
            printf '# %-18s cancelled after %4d ms: ended %4d ms later, %d left\n' "$document" "$timeout" "$late" "$left"
            # The time may be up between the end of the call and that of the statement; the document
            # is then there like any other.
            at_most "$document, $timeout ms: a document at most is left" "$left" 1
        else
            # Parsed before its time was up; there is nothing to cancel.
            like "$document, $timeout ms: parsed in time" "$answer" '^\\x[0-9a-f]{26}$'
            is "$document, $timeout ms: the document is there" "$left" 1
        fi
        is "$document, $timeout ms: free_all frees what is there" "$(tell 'select xmldom.free_all()')" "$left"
        tell "select xml_dom_free_document(xml_dom_new_document_clob('<a/>'))" >/dev/null
        at_most "$document, $timeout ms: all is given back, bytes" "$(tell "$held")" $((before + 4096))
    done
done

parser=$(tell 'select xmlparser_new_parser()')
after_timeout 800 "select count(xmlparser_parse_clob('$parser', body)) from large, generate_series(1, 1000)
    where name = 'elements'"
like 'a parser object: cancelled' "$answer" 57014
printf '# %-18s cancelled after %4d ms: ended %4d ms later\n' 'parser object' 800 "$late"
is 'a parser object: it goes on' "$(tell "select xmlparser_parse_clob('$parser', '<after/>') is null" \
    "select xml_dom_get_tagname(xml_dom_get_document_element(xmlparser_get_doc('$parser')))" | tail -n 1)" after
close_session
done_testing
