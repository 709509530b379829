// Making documents, empty or from text, and releasing them.

#include "common.hpp"
#include "functions/call_frame.hpp"
#include "libxml/xml.hpp"
#include "xml_owner.hpp"

#include <cstdio>
#include <utility>

namespace pkg_dbe_xml {

namespace {

// Blank texts are dropped, entities are replaced, nothing is loaded.
constexpr int k_parse_options =
    XML_PARSE_NOENT | XML_PARSE_DTDVALID | XML_PARSE_NOBLANKS | XML_PARSE_NONET | XML_PARSE_HUGE;

// Reports why a text is no document: libxml2's own first words, or the setting whose limit ended
// the parse.
[[noreturn]] void report_invalid_document(const host::parse_diagnostics &diagnostics) {
    char reason[sizeof diagnostics.first_error + 64];
    if (diagnostics.limit != nullptr) {
        std::snprintf(reason, sizeof reason, "the limit of the setting %s was reached",
                      diagnostics.limit);
    } else if (diagnostics.first_error[0] != '\0') {
        std::snprintf(reason, sizeof reason, "%s", diagnostics.first_error);
    } else {
        std::snprintf(reason, sizeof reason, "the text is not well-formed");
    }
    char context[sizeof reason + 64];
    if (diagnostics.line > 0) {
        std::snprintf(context, sizeof context, "line %d, column %d: %s", diagnostics.line,
                      diagnostics.column, reason);
    } else {
        std::snprintf(context, sizeof context, "%s", reason);
    }
    report(reports::invalid_document, {}, {}, context);
}

[[nodiscard]] xml_doc_ptr parse_document(const parse_text &text) {
    const xml_parser_ctxt_ptr context(host::get_new_parser_ctxt());
    host::parse_diagnostics diagnostics{};
    xml_doc_ptr document(host::xml_parse_doc(context.get(), text.bytes(), text.size(),
                                             k_parse_options, true, diagnostics));
    if (document == nullptr) {
        report_invalid_document(diagnostics);
    }
    return document;
}

[[nodiscard]] host::datum hand_over(xml_doc_ptr document) {
    const host::datum handle = register_document(document.get());
    static_cast<void>(document.release());
    return handle;
}

// Registers a parsed document. Before that, once its text has been given back, a last look at
// whether the statement was asked to stop: who cancels a parse finds no document.
[[nodiscard]] host::datum hand_over_parsed(xml_doc_ptr document) {
    host::check_for_interrupts();
    return hand_over(std::move(document));
}

} // namespace

host::datum create_dom_document(host::datum value) {
    xml_doc_ptr document = parse_document(parse_text(value, reports::text_too_large));
    return hand_over_parsed(std::move(document));
}

host::datum create_dom_document_of_object(host::object_number number) {
    xml_doc_ptr document =
        parse_document(parse_text(number, reports::text_too_large, host::current_memory_context()));
    return hand_over_parsed(std::move(document));
}

} // namespace pkg_dbe_xml

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

PKG_DBE_XML_RETURNING(xml_dom_free_document, call.null())
