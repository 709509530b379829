// Documents as text: the functions that write one to a buffer or a CLOB.

#include "functions/call_frame.hpp"
#include "write/serialization.hpp"
#include "write/tree_writer.hpp"

namespace dom = pkg_dbe_xml;

PKG_DBE_XML_FUNCTION(xml_dom_write_to_buffer_doc) {
    host::StmtRetrySetQuerytUnsupportedFlag();
    if (call.is_null(0)) {
        return call.null();
    }
    xmlDocPtr document = dom::require_document(dom::find_handle(call, 0));
    dom::text_output output(dom::longest_value());
    dom::write_document(document, output);
    dom::check_buffer_document_size(output.size());
    return dom::inline_result(output);
}

PKG_DBE_XML_FUNCTION(xml_dom_write_to_clob_doc) {
    host::StmtRetrySetQuerytUnsupportedFlag();
    if (call.is_null(0)) {
        return call.null();
    }
    xmlDocPtr document = dom::require_document(dom::find_handle(call, 0));
    dom::text_output output(dom::k_longest_dump);
    dom::write_document(document, output);
    dom::check_clob_document_size(output.size());
    return dom::clob_result(output);
}
