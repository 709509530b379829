// Text in and out: documents from texts, XML values, bytes and large objects, and any node as a
// text, as bytes and in a large object.
//
// What is read keeps every blank, and what is written adds none unless it is told to.

#include "functions/package_arguments.hpp"
#include "host/large_object.hpp"
#include "parse/byte_text.hpp"
#include "parse/document_parsing.hpp"
#include "text/fetched_value.hpp"
#include "text/text_limits.hpp"
#include "write/encoded_text.hpp"
#include "write/markup_writer.hpp"
#include "write/object_writer.hpp"
#include "write/serialization.hpp"

#include <algorithm>
#include <cstring>
#include <optional>
#include <string_view>

namespace pkg_dbe_xml {

namespace {

constexpr package_function k_parse{"xmldom.parse", {"document", "blanks"}};
constexpr package_function k_to_text{"xmldom.to_text", {"node", "indent", "declaration"}};
constexpr package_function k_to_bytea{"xmldom.to_bytea",
                                      {"node", "encoding", "indent", "declaration"}};
constexpr package_function k_to_large_object{"xmldom.to_large_object",
                                             {"node", "large_object", "indent", "declaration"}};

constexpr int k_widest_indent = 32;

// Entities are replaced, nothing is loaded, nothing is added to what the text says.
[[nodiscard]] int parse_options(host::call &call) {
    constexpr int k_options = XML_PARSE_NOENT | XML_PARSE_NONET | XML_PARSE_HUGE;
    if (call.is_null(1)) {
        return k_options;
    }
    const utf8_argument blanks(call.value(1));
    if (std::strcmp(blanks.c_str(), "drop") == 0) {
        return k_options | XML_PARSE_NOBLANKS;
    }
    if (std::strcmp(blanks.c_str(), "keep") != 0) {
        package_call(call, k_parse).fail(reports::unknown_option, 1, {blanks.c_str(), "blanks"});
    }
    return k_options;
}

[[nodiscard]] const xmlDoc *as_document(const xmlNode *node) noexcept {
    return is_document(node) ? reinterpret_cast<const xmlDoc *>(node) : nullptr;
}

[[nodiscard]] int indent_argument(const host::call &call, int index) noexcept {
    return call.is_null(index) ? 0 : std::clamp(call.int4(index), 0, k_widest_indent);
}

// Whether the document had an XML declaration when it was parsed, or was given a part of one.
[[nodiscard]] bool has_declaration(const xmlNode *node) noexcept {
    const xmlDoc *const document = as_document(node);
    return document != nullptr && (document->standalone != -1 || document->encoding != nullptr);
}

[[nodiscard]] bool declaration_argument(const host::call &call, int index,
                                        const xmlNode *node) noexcept {
    return call.is_null(index) ? has_declaration(node) : call.boolean(index);
}

[[nodiscard]] const char *declared_encoding(const xmlNode *node) noexcept {
    const xmlDoc *const document = as_document(node);
    return document == nullptr ? nullptr : reinterpret_cast<const char *>(document->encoding);
}

[[nodiscard]] host::datum written_text(xmlNodePtr node, const markup_options &options) {
    text_output output(longest_value());
    write_markup(node, options, output);
    if (output.size() > longest_value()) {
        report(reports::over_one_gigabyte);
    }
    return inline_result(output);
}

} // namespace

// Arguments: text or XML value, blanks. Reports null_package_argument, unknown_option,
// text_too_large and invalid_document.
PKG_DBE_XML_FUNCTION(xmldom_parse_text) {
    host::StmtRetrySetQuerytUnsupportedFlag();
    package_call(call, k_parse).needs(0);
    const int options = parse_options(call);
    xml_doc_ptr document =
        parse_document(parse_text(call.value(0), reports::text_too_large), options);
    return hand_over_parsed(std::move(document));
}

// The same of bytes. Reports unsupported_character_set and undecodable_text too.
PKG_DBE_XML_FUNCTION(xmldom_parse_bytes) {
    host::StmtRetrySetQuerytUnsupportedFlag();
    package_call(call, k_parse).needs(0);
    const int options = parse_options(call);
    xml_doc_ptr document;
    {
        const fetched_value bytes(call.value(0));
        const byte_text text(bytes.view());
        document = parse_document(text.bytes(), text.size(), options);
    }
    return hand_over_parsed(std::move(document));
}

// The same of the text that a large object holds in the encoding of the database.
PKG_DBE_XML_FUNCTION(xmldom_parse_large_object) {
    host::StmtRetrySetQuerytUnsupportedFlag();
    package_call(call, k_parse).needs(0);
    const int options = parse_options(call);
    xml_doc_ptr document = parse_document(
        parse_text(call.uint4(0), reports::text_too_large, host::current_memory_context()),
        options);
    return hand_over_parsed(std::move(document));
}

// Arguments: node, indent, declaration. Reports unwritable_node and over_one_gigabyte.
PKG_DBE_XML_FUNCTION(xmldom_to_text) {
    const named_node named = package_call(call, k_to_text).needed_node(0);
    markup_options options;
    options.indent = indent_argument(call, 1);
    options.declaration = declaration_argument(call, 2, named.node);
    options.encoding = declared_encoding(named.node);
    return written_text(named.node, options);
}

// The node as an XML value, which has no use for the name of an encoding.
PKG_DBE_XML_FUNCTION(xmldom_to_xml) {
    const package_call here(call, k_to_text);
    const named_node named = here.node(0);
    if (!named) {
        return call.null();
    }
    markup_options options;
    options.declaration = has_declaration(named.node);
    return written_text(named.node, options);
}

// Arguments: node, encoding, indent, declaration. Reports unsupported_character_set too.
PKG_DBE_XML_FUNCTION(xmldom_to_bytea) {
    const package_call here(call, k_to_bytea);
    const named_node named = here.needed_node(0);
    std::optional<utf8_argument> wanted;
    if (!call.is_null(1)) {
        wanted.emplace(call.value(1));
    }
    const char *const declared = declared_encoding(named.node);
    const char *const encoding = wanted                ? wanted->c_str()
                                 : declared != nullptr ? declared
                                                       : "UTF-8";
    if (!is_known_encoding(encoding)) {
        here.fail(reports::unsupported_character_set, 1);
    }
    markup_options options;
    options.indent = indent_argument(call, 2);
    options.encoding = wanted || declared != nullptr ? encoding : nullptr;
    // Without a declaration nobody could read most encodings.
    options.declaration =
        call.is_null(3) ? has_declaration(named.node) || !tells_itself(encoding) : call.boolean(3);
    std::optional<encodability> bounds;
    if (!tells_itself(encoding)) {
        const host::xml_scope scope;
        options.bounds = &bounds.emplace(find_encoding_handler(encoding));
    }
    text_output output(longest_value());
    write_markup(named.node, options, output);
    if (output.size() > longest_value()) {
        report(reports::over_one_gigabyte);
    }
    if (is_utf8(encoding)) {
        return host::from_pointer(asserted(output.take_value(), k_no_result_room));
    }
    return encoded_result({output.c_str(), static_cast<std::size_t>(output.size())}, encoding);
}

// Arguments: node, large object (null or 0: a new one), indent, declaration. The large object.
PKG_DBE_XML_FUNCTION(xmldom_to_large_object) {
    host::StmtRetrySetQuerytUnsupportedFlag();
    const named_node named = package_call(call, k_to_large_object).needed_node(0);
    markup_options options;
    options.indent = indent_argument(call, 2);
    options.declaration = declaration_argument(call, 3, named.node);
    options.encoding = declared_encoding(named.node);
    const bool is_new = call.is_null(1) || call.uint4(1) == host::k_no_object;
    const host::object_number number = is_new ? host::create_large_object() : call.uint4(1);
    object_writer writer(number);
    const text_sink sink = writer.sink();
    text_output output(sink);
    write_markup(named.node, options, output);
    output.flush();
    writer.finish();
    return host::from_uint4(number);
}

} // namespace pkg_dbe_xml
