# shellcheck shell=bash
# What a session may take in all: a loop that forgets to release ends with an error that names the
# setting, and the session goes on.
. "$(dirname "$0")/lib.sh"

full='53400.*pkg_dbe_xml.max_session_memory|pkg_dbe_xml.max_session_memory.*53400'
open_session
tell "load 'pkg_dbe_xml'" "set pkg_dbe_xml.max_session_memory = '8MB'" >/dev/null
document=$(tell "select xml_dom_new_document_clob('<a><b>text</b></a>')")
root=$(tell "select xml_dom_get_document_element('$document')")
like 'a loop that makes handles' \
    "$(tell "do \$\$ declare n raw; begin loop n := xml_dom_get_first_child('$root'); end loop; end \$\$")" "$full"
at_most 'what the session takes, bytes' \
    "$(tell 'select bytes from pkg_dbe_xml_memory where document is null')" 8388608
like 'the document is there' "$(tell "select xml_dom_write_to_buffer_doc('$document')")" '<b>text</b>'
like 'a parse names the setting, too' \
    "$(tell "select xml_dom_new_document_clob('<a>' || repeat('<b/>', 100000) || '</a>')")" \
    'pkg_dbe_xml.max_session_memory'
is 'the document can be freed' "$(tell "select xml_dom_free_document('$document') is null")" f
like 'and there is room again' \
    "$(tell "select length(xml_dom_write_to_clob_doc(xml_dom_new_document_clob('<a>' || repeat('<b/>', 1000) || '</a>')))")" '^[0-9]'
document=$(tell "select xml_dom_new_document_clob('<a/>')")
like 'a loop that makes nodes' \
    "$(tell "do \$\$ declare n raw; begin loop n := xml_dom_create_element('$document', 'b'); end loop; end \$\$")" "$full"
like 'a loop that makes documents' \
    "$(tell "do \$\$ declare n raw; begin loop n := xml_dom_new_document_empty(); end loop; end \$\$")" "$full"
tell 'discard all' >/dev/null
like 'after DISCARD ALL' "$(tell "select xml_dom_write_to_buffer_doc(xml_dom_new_document_clob('<c/>'))")" '<c/>'
close_session
done_testing
