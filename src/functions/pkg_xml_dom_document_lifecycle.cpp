// Making documents, empty or from text, and releasing them.

#include "functions/call_frame.hpp"
#include "libxml/xml.hpp"
#include "parse/document_parsing.hpp"
#include "xml_owner.hpp"

#include <utility>

namespace dom = pkg_dbe_xml;

PKG_DBE_XML_FUNCTION(xml_dom_new_document_empty) {
    host::StmtRetrySetQuerytUnsupportedFlag();
    dom::xml_doc_ptr document;
    {
        const host::tree_scope scope;
        document.reset(xmlNewDoc(reinterpret_cast<const xmlChar *>("1.0")));
        if (document == nullptr || scope.refused()) {
            dom::report(dom::reports::out_of_memory);
        }
    }
    return dom::hand_over(std::move(document));
}

PKG_DBE_XML_FUNCTION(xml_dom_new_document_clob) {
    host::StmtRetrySetQuerytUnsupportedFlag();
    if (call.is_null(0)) {
        dom::report(dom::reports::null_column);
    }
    return dom::create_dom_document(call.value(0));
}

PKG_DBE_XML_FUNCTION(xml_dom_new_document_xmltype) {
    host::StmtRetrySetQuerytUnsupportedFlag();
    if (call.is_null(0)) {
        return call.null();
    }
    return dom::create_dom_document(call.value(0));
}

PKG_DBE_XML_FUNCTION(xml_dom_free_document) {
    if (!call.is_null(0)) {
        dom::xml_release_document(dom::check_raw_id_valid(call.value(0)));
    }
    return 0;
}
