// Documents from text.
#include "parse/document_parsing.hpp"

#include "host/error.hpp"
#include "libxml/xml.hpp"
#include "parse/failure_words.hpp"
#include "parse/parse_text.hpp"
#include "registry.hpp"

#include <cstdio>
#include <utility>

namespace pkg_dbe_xml {

namespace {

// Blank texts are dropped, entities are replaced, nothing is loaded.
constexpr int k_parse_options =
    XML_PARSE_NOENT | XML_PARSE_DTDVALID | XML_PARSE_NOBLANKS | XML_PARSE_NONET | XML_PARSE_HUGE;

// Reports why a text is no document.
[[noreturn]] void report_invalid_document(const host::parse_diagnostics &diagnostics) {
    const failure_words reason(diagnostics);
    if (diagnostics.line <= 0) {
        report(reports::invalid_document, {}, {}, reason.view());
    }
    char context[sizeof reason + 64];
    std::snprintf(context, sizeof context, "line %d, column %d: %s", diagnostics.line,
                  diagnostics.column, reason.c_str());
    report(reports::invalid_document, {}, {}, context);
}

} // namespace

xml_doc_ptr parse_document(const char *text, std::size_t size, int options) {
    const xml_parser_ctxt_ptr context(host::get_new_parser_ctxt());
    host::parse_diagnostics diagnostics{};
    xml_doc_ptr document(
        host::xml_parse_doc(context.get(), text, size, options, true, diagnostics));
    if (document == nullptr) {
        report_invalid_document(diagnostics);
    }
    return document;
}

xml_doc_ptr parse_document(const parse_text &text, int options) {
    return parse_document(text.bytes(), text.size(), options);
}

xml_doc_ptr parse_for_call(const parse_text &text, host::element_watch *watch) {
    // As xmldom.parse reads a text; short texts may stand in their nodes, which nobody changes.
    constexpr int k_options =
        XML_PARSE_NOENT | XML_PARSE_NONET | XML_PARSE_HUGE | XML_PARSE_COMPACT;
    xml_parser_ctxt_ptr context(host::borrow_parser_ctxt());
    host::parse_diagnostics diagnostics{};
    xml_doc_ptr document(host::xml_parse_doc(context.get(), text.bytes(), text.size(), k_options,
                                             true, diagnostics, watch));
    if (document != nullptr) {
        host::give_parser_ctxt_back(context.release());
    } else if (watch == nullptr || !watch->stopped) {
        report_invalid_document(diagnostics);
    }
    return document;
}

host::datum hand_over_parsed(xml_doc_ptr document) {
    host::check_for_interrupts();
    return hand_over(std::move(document));
}

host::datum hand_over(xml_doc_ptr document) {
    const host::datum handle = register_document(document.get());
    static_cast<void>(document.release());
    return handle;
}

host::datum create_dom_document(host::datum value) {
    xml_doc_ptr document =
        parse_document(parse_text(value, reports::text_too_large), k_parse_options);
    return hand_over_parsed(std::move(document));
}

host::datum create_dom_document_of_object(host::object_number number) {
    xml_doc_ptr document =
        parse_document(parse_text(number, reports::text_too_large, host::current_memory_context()),
                       k_parse_options);
    return hand_over_parsed(std::move(document));
}

} // namespace pkg_dbe_xml
