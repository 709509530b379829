// The scope for work that prints, loads or depends on libxml2's defaults.
//
// libxml2 keeps these per thread, except the entity loader, which is one per process: where
// sessions are threads it is set once, elsewhere it is put back with the rest.
#include "libxml/xml_service.hpp"

#include <libxml/globals.h>
#include <libxml/parserInternals.h>

#include <algorithm>
#include <cstring>
#include <mutex>
#include <string_view>

// Several of the defaults are deprecated in later versions, in favour of settings per context. They
// go on being obeyed, and so must be set.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace host {

constinit PKG_DBE_XML_SESSION_STORAGE pkg_dbe_xml::unrefused_work *current_offer = nullptr;

namespace {

constexpr int k_default_count = 8;

// What parsing and writing go by within a scope, in the order of read_defaults.
constexpr int k_scope_defaults[k_default_count] = {
    1, // blanks between elements are kept unless a parse drops them
    1, // written trees are indented where a writer asks for it
    0, // <a/>, not <a></a>
    0, // entities are substituted only where a parse asks for it
    0, // external subsets are not loaded
    0, // no validation unless asked for
    0, // no line numbers on nodes unless a parse asks for them
    0, // no pedantic warnings
};

constexpr const char *k_indent_string = "  ";

void read_defaults(int (&values)[k_default_count]) noexcept {
    values[0] = xmlKeepBlanksDefaultValue;
    values[1] = xmlIndentTreeOutput;
    values[2] = xmlSaveNoEmptyTags;
    values[3] = xmlSubstituteEntitiesDefaultValue;
    values[4] = xmlLoadExtDtdDefaultValue;
    values[5] = xmlDoValidityCheckingDefaultValue;
    values[6] = xmlLineNumbersDefaultValue;
    values[7] = xmlPedanticParserDefaultValue;
}

void write_defaults(const int (&values)[k_default_count]) noexcept {
    xmlKeepBlanksDefaultValue = values[0];
    xmlIndentTreeOutput = values[1];
    xmlSaveNoEmptyTags = values[2];
    xmlSubstituteEntitiesDefaultValue = values[3];
    xmlLoadExtDtdDefaultValue = values[4];
    xmlDoValidityCheckingDefaultValue = values[5];
    xmlLineNumbersDefaultValue = values[6];
    xmlPedanticParserDefaultValue = values[7];
}

// An input of its own, which is freed with the parse: the text outlives that, its location may not.
xmlParserInputPtr input_of(xmlParserCtxtPtr context, const char *location,
                           std::string_view text) noexcept {
    xmlParserInputBufferPtr const buffer = xmlParserInputBufferCreateMem(
        text.data(), static_cast<int>(text.size()), XML_CHAR_ENCODING_NONE);
    if (buffer == nullptr) {
        return nullptr;
    }
    xmlParserInputPtr const input = xmlNewIOInputStream(context, buffer, XML_CHAR_ENCODING_NONE);
    if (input == nullptr) {
        xmlFreeParserInputBuffer(buffer);
        return nullptr;
    }
    input->filename = reinterpret_cast<const char *>(xmlStrdup(BAD_CAST location));
    return input;
}

// Whatever a document names outside itself does not exist, unless somebody offers it.
xmlParserInputPtr load_offered(const char *url, const char * /*id*/,
                               xmlParserCtxtPtr context) noexcept {
    std::string_view text;
    if (current_offer == nullptr || url == nullptr || context == nullptr ||
        !current_offer->open(current_offer->state, url, text)) {
        return nullptr;
    }
    return input_of(context, url, text);
}

#ifdef PKG_DBE_XML_SESSIONS_ARE_THREADS
constinit std::once_flag loader_set{};
#endif

} // namespace

void ignore_generic_error(void * /*context*/, const char * /*format*/, ...) noexcept {}

xml_scope::xml_scope() noexcept
    : structured_error_(xmlStructuredError), structured_error_context_(xmlStructuredErrorContext),
      generic_error_(xmlGenericError), generic_error_context_(xmlGenericErrorContext),
      loader_(nullptr), indent_string_(xmlTreeIndentString), defaults_{}, changed_(false) {
    ++gate.quiet_scopes;
    xmlSetStructuredErrorFunc(nullptr, note_xml_error);
    xmlSetGenericErrorFunc(nullptr, ignore_generic_error);
#ifdef PKG_DBE_XML_SESSIONS_ARE_THREADS
    std::call_once(loader_set, xmlSetExternalEntityLoader, load_offered);
#else
    loader_ = xmlGetExternalEntityLoader();
    xmlSetExternalEntityLoader(load_offered);
#endif
    read_defaults(defaults_);
    changed_ = !std::ranges::equal(defaults_, k_scope_defaults) ||
               std::strcmp(indent_string_, k_indent_string) != 0;
    if (changed_) [[unlikely]] {
        xmlTreeIndentString = k_indent_string;
        write_defaults(k_scope_defaults);
    }
}

xml_scope::~xml_scope() {
    if (changed_) [[unlikely]] {
        write_defaults(defaults_);
        xmlTreeIndentString = indent_string_;
    }
#ifndef PKG_DBE_XML_SESSIONS_ARE_THREADS
    xmlSetExternalEntityLoader(loader_);
#endif
    xmlSetGenericErrorFunc(generic_error_context_, generic_error_);
    xmlSetStructuredErrorFunc(structured_error_context_, structured_error_);
    if (xmlGetLastError() != nullptr) {
        xmlResetLastError(); // its texts are of this session
    }
    --gate.quiet_scopes;
}

} // namespace host
