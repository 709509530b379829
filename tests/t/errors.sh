# shellcheck shell=bash
# The fields of a report as a client sees them, and what failing leaves behind: nothing.
. "$(dirname "$0")/lib.sh"

# fields STATEMENT: sqlstate|message|detail|hint of its failure, line feeds as "\n".
fields() {
    sql "do \$do\$ declare s text; m text; d text; h text; begin
            execute \$q\$$1\$q\$;
        exception when others then
            get stacked diagnostics s = returned_sqlstate, m = message_text, d = pg_exception_detail,
                h = pg_exception_hint;
            raise notice '%|%|%|%', s, m, d, replace(h, e'\n', '\n');
        end \$do\$" | sed -n 's/^NOTICE:  *00000: //p'
}

is 'a handle that is required' "$(fields "select xml_dom_create_element(null, 'x')")" \
    '22023|invalid PL/SQL DOM handle|The input dom handle is invalid.|Check the input dom handle.'
is 'a handle that is unknown' "$(fields "select xml_dom_get_node_name('\\x00'::raw)")" \
    '2200U|not find xmldom in hash|XML dom is not found in hash.|Check the input key.'
is 'a text that is no document' "$(fields "select xml_dom_new_document_clob('<a><b></a>')")" \
    '2200M|invalid XML document|The XML document is invalid.|Check the input parameter.'
is 'a null text' "$(fields "select xml_dom_new_document_clob(null)")" \
    '22023|fetched column value is NULL|The input parameter is NULL.|Check the input parameter.'
is 'a report with a hint of its own' "$(fields "select xmlparser_parse_clob(xmlparser_new_parser(), null)")" \
    '22004|Null value not allowed.|NULL value is not allowed.|2th argument is NULL.\nPlease ensure the argument is not NULL.'

answer=$(sql "select xml_dom_new_document_clob(e'<a>\n  <b>\n</a>')")
like 'the context of a failed parse names the line' "$answer" '^CONTEXT:.*line 3'
like 'the message stands once' "$(grep -c 'invalid XML document' <<<"$answer")" '^1$'
like 'the source is named without a folder' "$answer" '^LOCATION:  [a-z_]+, [a-z_]+\.cpp:[0-9]+$'
answer=$(sql "do \$\$ begin perform xml_dom_new_document_clob('<a'); end \$\$")
is 'the context of the caller follows, once' "$(grep -c 'PL/pgSQL function' <<<"$answer")" 1
like 'an error of the server keeps its own fields' "$(sql "select xml_dom_new_document_clob(convert_from('\\xff', 'UTF8'))")" '22021'

# A failed statement leaves the others whole.
is 'after an error in a subtransaction the document is there' "$(sql "do \$\$ declare d raw; begin
        d := xml_dom_new_document_clob('<kept/>');
        begin perform xml_dom_new_document_clob('<broken'); exception when others then null; end;
        raise notice 'name %', xml_dom_get_node_name(xml_dom_get_document_element(d)); end \$\$" |
    grep -c 'name kept$')" 1
like 'a document made before a rollback to a savepoint stays' "$(sql 'begin' 'savepoint s' \
    "select xml_dom_new_document_clob('<kept/>')" 'rollback to s' \
    "select xml_dom_write_to_buffer_doc('\\x00000000000000000200000001')" 'commit')" '<kept/>'
done_testing
