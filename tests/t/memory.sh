# shellcheck shell=bash
# Memory: contexts under their own names, and sessions that do not grow.
. "$(dirname "$0")/lib.sh"

rss="(regexp_match(pg_read_file('/proc/self/status'), 'VmRSS:\s+(\d+)'))[1]::integer"
names="select string_agg(distinct name, ' ' order by name) from pg_backend_memory_contexts where name ~ 'XML'"

open_session
is 'no context at first' "$(tell "$names")" ''
tell "select xml_dom_new_document_clob('<a/>')" >/dev/null
like 'the context of the documents under its name' "$(tell "$names")" 'SessionXMLDOMMemoryContext'
like 'the document table under its name' "$(tell "$names")" 'XMLDOM doc map'
tell 'select xmlparser_new_parser()' >/dev/null
like 'the context of the parsers under its name' "$(tell "$names")" 'SessionXMLMemoryContext'
like 'the table of parsers under its name' "$(tell "$names")" 'XMLPARSER map'
at_most 'a registry with one document and one parser, bytes' \
    "$(tell "select sum(total_bytes) from pg_backend_memory_contexts where name ~ 'XML'")" 131072
close_session

# grows NAME LIMIT_KB WARM ROUNDS BODY: runs the body WARM times, then ROUNDS times more, in one
# session; resident memory may grow by the limit between.
grows() {
    local answer
    answer=$(sql "do \$\$ declare before integer; d raw; n raw; p raw; t text; begin
            for i in 1..$3 loop $5 end loop;
            before := $rss;
            for i in 1..$4 loop $5 end loop;
            raise notice 'grown by % kB', $rss - before;
        end \$\$" | sed -n 's/^NOTICE:.*grown by \(-\{0,1\}[0-9]*\) kB$/\1/p')
    at_most "$1 leave memory flat, kB" "${answer:-no answer}" "$2"
}

# flat NAME WARM ROUNDS BODY: the same with 20 bytes for each round, less than anything that could be
# forgotten takes.
flat() {
    grows "$1" $(($3 * 20 / 1024)) "$2" "$3" "$4"
}

flat '100,000 failing parses' 2000 100000 \
    "begin d := xml_dom_new_document_clob('<a><b></a>'); exception when sqlstate '2200M' then null; end;"
flat '100,000 unknown handles' 2000 100000 \
    "begin n := xml_dom_get_first_child('\\x00000000000000000100000001'); exception when sqlstate '2200U' then null; end;"
flat '100,000 errors of the server' 2000 100000 \
    "begin d := xml_dom_new_document_clob(convert_from('\\xff', 'UTF8')); exception when sqlstate '22021' then null; end;"
flat '100,000 rounds of parse, write, free' 2000 100000 \
    "d := xml_dom_new_document_clob('<a x=\"1\"><b>text</b><c/></a>'); t := xml_dom_write_to_buffer_doc(d); perform xml_dom_free_document(d);"
flat '100,000 rounds of a parser object' 2000 100000 \
    "p := xmlparser_new_parser(); perform xmlparser_parse_clob(p, '<a><b>text</b></a>'); perform xmlparser_free_parser(p);"
flat '100,000 documents of a parser object' 2000 100000 \
    "if p is null then p := xmlparser_new_parser(); perform xmlparser_parse_clob(p, '<a/>'); d := xmlparser_get_doc(p); end if;
     perform xml_dom_free_document(xmlparser_get_doc(p));"
flat '100,000 nodes made and released in one document' 5000 100000 \
    "if d is null then d := xml_dom_new_document_clob('<a/>'); end if;
     n := xml_dom_create_element(d, 'x'); perform xml_dom_free_node(n);"
grows '200 parses of a text of 1 MB' 8000 20 200 \
    "d := xml_dom_new_document_clob('<a>' || repeat('<b c=\"d\">text</b>', 62500) || '</a>'); perform xml_dom_free_document(d);"
# Most of what a large document took goes back to the machine.
left_resident=$(sql "do \$\$ declare d raw; begin
        d := xml_dom_new_document_clob('<a>' || repeat('<b c=\"d\">text</b>', 1900000) || '</a>');
        perform xml_dom_free_document(d);
        raise notice 'resident % kB', $rss;
    end \$\$" | sed -n 's/^NOTICE:.*resident \([0-9]*\) kB$/\1/p')
at_most 'resident after a document of 30 MB was released, kB' "${left_resident:-no answer}" 160000
done_testing
