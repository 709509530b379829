// Reading texts, CDATA sections, comments, processing instructions and attributes.
//
// Offsets and lengths count characters.

#include "functions/package_arguments.hpp"
#include "text/text_limits.hpp"
#include "tree/characters.hpp"
#include "tree/id_attributes.hpp"
#include "tree/node_text.hpp"
#include "tree/poll_counter.hpp"
#include "write/serialization.hpp"

#include <libxml/valid.h>

#include <charconv>
#include <cstring>
#include <string_view>

namespace pkg_dbe_xml {

namespace {

constexpr package_function k_get_data{"xmldom.get_data", {"node"}};
constexpr package_function k_get_length{"xmldom.get_length", {"node"}};
constexpr package_function k_substring_data{"xmldom.substring_data", {"node", "start", "count"}};
constexpr package_function k_get_whole_text{"xmldom.get_whole_text", {"text"}};
constexpr package_function k_is_element_content_whitespace{"xmldom.is_element_content_whitespace",
                                                           {"text"}};
constexpr package_function k_get_value{"xmldom.get_value", {"attribute"}};
constexpr package_function k_get_specified{"xmldom.get_specified", {"attribute"}};
constexpr package_function k_is_id{"xmldom.is_id", {"attribute"}};
constexpr package_function k_get_owner_element{"xmldom.get_owner_element", {"attribute"}};

[[nodiscard]] std::string_view data_of(const xmlNode *node) noexcept {
    const xmlChar *const content = own_content(node);
    return content == nullptr ? std::string_view("") : reinterpret_cast<const char *>(content);
}

// Whether the document type declares that the element holds elements only. Declarations go by the
// name with its prefix.
[[nodiscard]] bool holds_elements_only(const xmlNode *element) noexcept {
    xmlDtd *const type = element->doc == nullptr ? nullptr : element->doc->intSubset;
    if (type == nullptr) {
        return false;
    }
    const xmlChar *const prefix = element->ns == nullptr ? nullptr : element->ns->prefix;
    const xmlElement *const declared = xmlGetDtdQElementDesc(type, element->name, prefix);
    return declared != nullptr && declared->etype == XML_ELEMENT_TYPE_ELEMENT;
}

[[nodiscard]] host::datum view_result(std::string_view text) {
    return text_result(reinterpret_cast<const xmlChar *>(text.data()), text.size());
}

// A number as a report shows it.
struct number_words {
    char digits[24];
    std::size_t size;
    explicit number_words(std::int64_t number) noexcept
        : size(static_cast<std::size_t>(std::to_chars(digits, digits + sizeof digits, number).ptr -
                                        digits)) {}
    operator std::string_view() const noexcept { return {digits, size}; }
};

[[noreturn]] void fail_offset(const package_call &here, int index, std::int64_t offset,
                              const xmlNode *node) {
    here.fail(reports::index_size, index,
              {number_words(offset), node_words(node),
               number_words(static_cast<std::int64_t>(count_characters(data_of(node))))},
              node);
}

[[nodiscard]] bool is_text(const xmlNode *node) noexcept {
    return node != nullptr && (node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE);
}

} // namespace

PKG_DBE_XML_FUNCTION(xmldom_get_data) {
    const named_node named = package_call(call, k_get_data).node(0, k_character_data);
    return named ? view_result(data_of(named.node)) : call.null();
}

PKG_DBE_XML_FUNCTION(xmldom_get_length_of_data) {
    const named_node named = package_call(call, k_get_length).node(0, k_character_data);
    return named ? host::from_int4(static_cast<std::int32_t>(count_characters(data_of(named.node))))
                 : call.null();
}

// `count` characters from `start` on, or as many as there are. Reports index_size for a start
// beyond the end and for a negative number.
PKG_DBE_XML_FUNCTION(xmldom_substring_data) {
    const package_call here(call, k_substring_data);
    const named_node named = here.node(0, k_character_data);
    if (!named || call.is_null(1) || call.is_null(2)) {
        return call.null();
    }
    const std::string_view data = data_of(named.node);
    for (const int index : {1, 2}) {
        if (call.int4(index) < 0) {
            fail_offset(here, index, call.int4(index), named.node);
        }
    }
    const std::size_t begin = skip_characters(data, static_cast<std::size_t>(call.int4(1)));
    if (begin == std::string_view::npos) {
        fail_offset(here, 1, call.int4(1), named.node);
    }
    const std::string_view rest = data.substr(begin);
    return view_result(
        rest.substr(0, skip_characters(rest, static_cast<std::size_t>(call.int4(2)))));
}

// The data of a text and of the texts and CDATA sections beside it, in their order.
PKG_DBE_XML_FUNCTION(xmldom_get_whole_text) {
    const named_node named = package_call(call, k_get_whole_text).node(0, k_text);
    if (!named) {
        return call.null();
    }
    poll_counter poll;
    const xmlNode *text = named.node;
    while (is_text(text->prev)) {
        text = text->prev;
        poll.step();
    }
    text_output output(longest_value());
    for (; is_text(text); text = text->next) {
        const std::string_view data = data_of(text);
        output.append(data);
        poll.step_over(data.size());
    }
    if (output.size() > longest_value()) {
        report(reports::over_one_gigabyte);
    }
    return inline_result(output);
}

// Whether a blank text stands in an element that, by the document type, holds elements only.
PKG_DBE_XML_FUNCTION(xmldom_is_element_content_whitespace) {
    const named_node named = package_call(call, k_is_element_content_whitespace).node(0, k_text);
    if (!named) {
        return call.null();
    }
    const xmlNode *const text = named.node;
    const xmlNode *const parent = text->parent;
    return host::from_boolean(text->type == XML_TEXT_NODE && parent != nullptr &&
                              parent->type == XML_ELEMENT_NODE && xmlIsBlankNode(text) != 0 &&
                              holds_elements_only(parent));
}

PKG_DBE_XML_FUNCTION(xmldom_get_value) {
    const named_node named = package_call(call, k_get_value).node(0, k_attribute);
    if (!named) {
        return call.null();
    }
    text_room room;
    const text_piece value = node_text(named.node, room);
    return text_result(value.bytes, value.size);
}

// Attributes that stand in a tree are written there; defaults of the document type have no nodes.
PKG_DBE_XML_FUNCTION(xmldom_get_specified) {
    const named_node named = package_call(call, k_get_specified).node(0, k_attribute);
    return named ? host::from_boolean(true) : call.null();
}

// Whether elements are found by its value: declared so, called xml:id, or made so.
PKG_DBE_XML_FUNCTION(xmldom_is_id) {
    const named_node named = package_call(call, k_is_id).node(0, k_attribute);
    return named
               ? host::from_boolean(is_id_attribute(reinterpret_cast<const xmlAttr *>(named.node)))
               : call.null();
}

PKG_DBE_XML_FUNCTION(xmldom_get_owner_element) {
    const package_call here(call, k_get_owner_element);
    const named_node named = here.node(0, k_attribute);
    return named ? here.result(named, named.node->parent) : call.null();
}

} // namespace pkg_dbe_xml
