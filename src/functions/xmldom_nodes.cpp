// What a node of the packages is: its name, value and type, its namespace, its text, the document
// it belongs to.

#include "functions/package_arguments.hpp"
#include "libxml/xml.hpp"
#include "text/text_limits.hpp"
#include "tree/base_uri.hpp"
#include "tree/fixed_name.hpp"
#include "tree/node_path.hpp"
#include "tree/node_text.hpp"
#include "tree/text_compare.hpp"
#include "tree/text_content.hpp"
#include "write/serialization.hpp"

#include <cstring>

namespace pkg_dbe_xml {

namespace {

constexpr package_function k_get_node_name{"xmldom.get_node_name", {"node"}};
constexpr package_function k_get_node_value{"xmldom.get_node_value", {"node"}};
constexpr package_function k_get_node_type{"xmldom.get_node_type", {"node"}};
constexpr package_function k_get_namespace_uri{"xmldom.get_namespace_uri", {"node"}};
constexpr package_function k_get_prefix{"xmldom.get_prefix", {"node"}};
constexpr package_function k_get_local_name{"xmldom.get_local_name", {"node"}};
constexpr package_function k_get_base_uri{"xmldom.get_base_uri", {"node"}};
constexpr package_function k_get_text_content{"xmldom.get_text_content", {"node"}};
constexpr package_function k_get_owner_document{"xmldom.get_owner_document", {"node"}};
constexpr package_function k_get_tag_name{"xmldom.get_tag_name", {"element"}};
constexpr package_function k_get_name{"xmldom.get_name", {"node"}};
constexpr package_function k_get_target{"xmldom.get_target", {"instruction"}};
constexpr package_function k_get_path{"xmldom.get_path", {"node"}};
constexpr package_function k_get_line_number{"xmldom.get_line_number", {"node"}};

constexpr node_wish k_named{type_bits(XML_ATTRIBUTE_NODE, XML_DTD_NODE, XML_ENTITY_DECL),
                            "an attribute, a document type or an entity"};
constexpr node_wish k_instruction{type_bits(XML_PI_NODE), "a processing instruction"};

// The numbers that the DOM gives to types that libxml2 numbers otherwise.
[[nodiscard]] std::int32_t dom_type(const xmlNode *node) noexcept {
    switch (node->type) {
    case XML_DTD_NODE:
        return 10;
    case XML_ENTITY_DECL:
        return 6;
    default:
        return static_cast<std::int32_t>(node->type);
    }
}

[[nodiscard]] host::datum node_name(host::call &call, const xmlNode *node) {
    if (const char *const name = fixed_name(node->type)) {
        return text_or_null(call, reinterpret_cast<const xmlChar *>(name));
    }
    if (node->name == nullptr) {
        return call.null();
    }
    const xmlNs *const record = namespace_of(node);
    return name_result(record == nullptr ? nullptr : record->prefix, node->name);
}

template <const node_wish &wish>
[[nodiscard]] inline host::datum name_of(host::call &call, const package_function &function) {
    const named_node named = package_call(call, function).node(0, wish);
    return named ? node_name(call, named.node) : call.null();
}

[[nodiscard]] bool has_value(xmlElementType type) noexcept {
    switch (type) {
    case XML_ATTRIBUTE_NODE:
    case XML_TEXT_NODE:
    case XML_CDATA_SECTION_NODE:
    case XML_COMMENT_NODE:
    case XML_PI_NODE:
        return true;
    default:
        return false;
    }
}

// The value of a node that has one; an empty one is an empty text.
[[nodiscard]] host::datum value_result(const xmlNode *node) {
    text_room room;
    const text_piece value = node_text(node, room);
    return value.bytes == nullptr ? text_result(reinterpret_cast<const xmlChar *>(""), 0)
                                  : text_result(value.bytes, value.size);
}

// A text put together in an output, as the result. Reports over_one_gigabyte.
[[nodiscard]] host::datum output_result(text_output &output) {
    if (output.size() > longest_value()) {
        report(reports::over_one_gigabyte);
    }
    return inline_result(output);
}

// An element with a single text is read without a copy in between.
[[nodiscard]] const xmlNode *only_text(const xmlNode *node) noexcept {
    const xmlNode *const child = node->type == XML_ELEMENT_NODE ? node->children : nullptr;
    const bool is_text =
        child != nullptr && (child->type == XML_TEXT_NODE || child->type == XML_CDATA_SECTION_NODE);
    return is_text && child->next == nullptr ? child : nullptr;
}

} // namespace

PKG_DBE_XML_FUNCTION(xmldom_get_node_name) { return name_of<k_any_node>(call, k_get_node_name); }

PKG_DBE_XML_FUNCTION(xmldom_get_tag_name) { return name_of<k_element>(call, k_get_tag_name); }

PKG_DBE_XML_FUNCTION(xmldom_get_name) { return name_of<k_named>(call, k_get_name); }

PKG_DBE_XML_FUNCTION(xmldom_get_target) { return name_of<k_instruction>(call, k_get_target); }

PKG_DBE_XML_FUNCTION(xmldom_get_node_value) {
    const named_node named = package_call(call, k_get_node_value).node(0);
    return named && has_value(named.node->type) ? value_result(named.node) : call.null();
}

PKG_DBE_XML_FUNCTION(xmldom_get_node_type) {
    const named_node named = package_call(call, k_get_node_type).node(0);
    return named ? host::from_int4(dom_type(named.node)) : call.null();
}

PKG_DBE_XML_FUNCTION(xmldom_get_namespace_uri) {
    const named_node named = package_call(call, k_get_namespace_uri).node(0);
    const xmlNs *const record = named ? namespace_of(named.node) : nullptr;
    return text_or_null(call, uri_of(record));
}

PKG_DBE_XML_FUNCTION(xmldom_get_prefix) {
    const named_node named = package_call(call, k_get_prefix).node(0);
    const xmlNs *const record = named ? namespace_of(named.node) : nullptr;
    return text_or_null(call, record == nullptr ? nullptr : null_if_empty(record->prefix));
}

// Only elements and attributes have one.
PKG_DBE_XML_FUNCTION(xmldom_get_local_name) {
    const named_node named = package_call(call, k_get_local_name).node(0);
    const bool has_one =
        named && (named.node->type == XML_ELEMENT_NODE || is_attribute(named.node));
    return text_or_null(call, has_one ? named.node->name : nullptr);
}

PKG_DBE_XML_FUNCTION(xmldom_get_base_uri) {
    const named_node named = package_call(call, k_get_base_uri).node(0);
    if (!named) {
        return call.null();
    }
    const xml_text_ptr base = base_uri(named.node);
    return text_or_null(call, base.get());
}

// Null for documents and what is declared in document types.
PKG_DBE_XML_FUNCTION(xmldom_get_text_content) {
    const named_node named = package_call(call, k_get_text_content).node(0);
    if (!named || !has_text_content(named.node)) {
        return call.null();
    }
    if (const xmlNode *const text = only_text(named.node)) {
        return value_result(text);
    }
    text_output output(longest_value());
    append_text_content(named.node, output);
    return output_result(output);
}

// Null for documents themselves.
PKG_DBE_XML_FUNCTION(xmldom_get_owner_document) {
    const package_call here(call, k_get_owner_document);
    const named_node named = here.node(0);
    const bool has_one = named && !is_document(named.node) && named.node->doc != nullptr;
    return has_one ? here.result(named, as_node(named.node->doc)) : call.null();
}

// Null for nodes to which no path leads.
PKG_DBE_XML_FUNCTION(xmldom_get_path) {
    const named_node named = package_call(call, k_get_path).node(0);
    if (!named || !has_path(named.node)) {
        return call.null();
    }
    text_output output(longest_value());
    append_path(named.node, output);
    return output_result(output);
}

PKG_DBE_XML_FUNCTION(xmldom_get_line_number) {
    const named_node named = package_call(call, k_get_line_number).node(0);
    const std::int32_t line = named ? line_of(named.node) : 0;
    return line == 0 ? call.null() : host::from_int4(line);
}

} // namespace pkg_dbe_xml
