// The package xmldom: changing what nodes hold: values, texts, pieces of texts.
//
// Offsets and counts are in characters, offsets from 0. A count that reaches beyond the end means
// up to the end.

#include "edit/character_data.hpp"
#include "functions/package_changes.hpp"
#include "libxml/xml.hpp"

#include <cstdio>

namespace pkg_dbe_xml {

namespace {

constexpr package_function k_set_node_value{"xmldom.set_node_value", {"node", "value"}};
constexpr package_function k_set_text_content{"xmldom.set_text_content", {"node", "content"}};
constexpr package_function k_set_data{"xmldom.set_data", {"node", "data"}};
constexpr package_function k_append_data{"xmldom.append_data", {"node", "data"}};
constexpr package_function k_insert_data{"xmldom.insert_data", {"node", "at", "data"}};
constexpr package_function k_delete_data{"xmldom.delete_data", {"node", "at", "count"}};
constexpr package_function k_replace_data{"xmldom.replace_data", {"node", "at", "count", "data"}};
constexpr package_function k_split_text{"xmldom.split_text", {"text", "at"}};
constexpr package_function k_replace_whole_text{"xmldom.replace_whole_text", {"text", "content"}};
constexpr package_function k_normalize{"xmldom.normalize", {"node"}};

// A part of what a node holds, in bytes.
struct byte_range {
    std::size_t offset;
    std::size_t size;
};

// An argument that counts characters; it is not null. Reports index_size for a negative one.
[[nodiscard]] std::size_t character_argument(const package_call &here, const host::call &call,
                                             int index, const xmlNode *node) {
    here.needs(index);
    const std::int32_t number = call.int4(index);
    if (number < 0) {
        fail_offset(here, index, number, node);
    }
    return static_cast<std::size_t>(number);
}

// Arguments `index` (an offset) and, unless it is 0, `count_index`. Reports index_size.
[[nodiscard]] byte_range range_arguments(const package_call &here, const host::call &call,
                                         const xmlNode *node, int index, int count_index) {
    const std::size_t offset = character_argument(here, call, index, node);
    const xmlChar *const data = data_of(node);
    const std::size_t begin = bytes_of_characters(data, offset);
    if (begin == SIZE_MAX) {
        fail_offset(here, index, call.int4(index), node);
    }
    if (count_index == 0) {
        return {begin, 0};
    }
    const std::size_t count = character_argument(here, call, count_index, node);
    const std::size_t size = bytes_of_characters(data + begin, count);
    return {begin, size == SIZE_MAX ? static_cast<std::size_t>(xmlStrlen(data + begin)) : size};
}

// The node of argument 0, which holds text itself and may change.
[[nodiscard]] named_node data_node(const package_call &here) {
    const named_node node = here.needed_node(0, k_character_data);
    require_changeable(here, 0, node.node);
    return node;
}

// Puts a text in the place of a part; `index` is the argument that it comes from.
host::datum splice(const package_call &here, const named_node &node, const byte_range &range,
                   const xmlChar *inserted, int index) {
    require_data(here, index, XML_TEXT_NODE, inserted);
    xml_text_ptr data = spliced_data(node.node, range.offset, range.size, inserted);
    require_data(here, index, node.node->type, data.get());
    const host::datum result = here.same(0, node);
    set_data(family_of(*node.entry), node.node, std::move(data));
    return result;
}

host::datum set_whole_data(const package_call &here, const named_node &node,
                           const data_argument &data) {
    require_data(here, 1, node.node->type, data);
    const host::datum result = here.same(0, node);
    set_data(family_of(*node.entry), node.node, copy_of_text(data.text()));
    return result;
}

host::datum set_attribute_value(const package_call &here, const named_node &node,
                                const data_argument &value) {
    require_data(here, 1, XML_ATTRIBUTE_NODE, value);
    const host::datum result = here.same(0, node);
    set_value(family_of(*node.entry), reinterpret_cast<xmlAttrPtr>(node.node), value.text());
    return result;
}

// The children of an element or a fragment give way to one text, or to none.
host::datum set_only_text(const package_call &here, const named_node &node,
                          const data_argument &text) {
    require_data(here, 1, XML_TEXT_NODE, text);
    placement place(node.node, nullptr, leaving::all_children);
    xml_node_ptr made;
    if (!text.is_empty()) {
        made = new_text(node.node->doc, text.text());
        place.add(made.get());
    }
    require_place(here, 0, node.node, place.check());
    place.prepare();
    const host::datum result = here.same(0, node);
    place.carry_out();
    made.release();
    return result;
}

[[nodiscard]] bool holds_data(const xmlNode *node) noexcept {
    return (type_bits(node->type) & k_character_data.types) != 0;
}

} // namespace

PKG_DBE_XML_FUNCTION(xmldom_set_node_value) {
    const package_call here(call, k_set_node_value);
    const named_node node = here.needed_node(0);
    require_changeable(here, 0, node.node);
    const data_argument value(call, 1);
    if (is_attribute(node.node)) {
        return set_attribute_value(here, node, value);
    }
    if (!holds_data(node.node)) {
        here.fail(reports::no_value, 0, {node_words(node.node)}, node.node);
    }
    return set_whole_data(here, node, value);
}

PKG_DBE_XML_FUNCTION(xmldom_set_text_content) {
    const package_call here(call, k_set_text_content);
    const named_node node = here.needed_node(0);
    require_changeable(here, 0, node.node);
    const data_argument content(call, 1);
    if (is_attribute(node.node)) {
        return set_attribute_value(here, node, content);
    }
    if (holds_data(node.node)) {
        return set_whole_data(here, node, content);
    }
    if (node.node->type != XML_ELEMENT_NODE && node.node->type != XML_DOCUMENT_FRAG_NODE) {
        here.fail(reports::no_value, 0, {node_words(node.node)}, node.node);
    }
    return set_only_text(here, node, content);
}

PKG_DBE_XML_FUNCTION(xmldom_set_data) {
    const package_call here(call, k_set_data);
    const named_node node = data_node(here);
    const data_argument data(call, 1);
    return set_whole_data(here, node, data);
}

PKG_DBE_XML_FUNCTION(xmldom_append_data) {
    const package_call here(call, k_append_data);
    const named_node node = data_node(here);
    const optional_argument data(call, 1);
    if (node.node->type != XML_TEXT_NODE) {
        const auto end = static_cast<std::size_t>(xmlStrlen(data_of(node.node)));
        return splice(here, node, {end, 0}, data.or_empty(), 1);
    }
    require_data(here, 1, XML_TEXT_NODE, data.or_empty());
    const host::datum result = here.same(0, node);
    append_data(node.node, data.or_empty());
    return result;
}

PKG_DBE_XML_FUNCTION(xmldom_insert_data) {
    const package_call here(call, k_insert_data);
    const named_node node = data_node(here);
    const byte_range range = range_arguments(here, call, node.node, 1, 0);
    const optional_argument data(call, 2);
    return splice(here, node, range, data.or_empty(), 2);
}

PKG_DBE_XML_FUNCTION(xmldom_delete_data) {
    const package_call here(call, k_delete_data);
    const named_node node = data_node(here);
    const byte_range range = range_arguments(here, call, node.node, 1, 2);
    return splice(here, node, range, reinterpret_cast<const xmlChar *>(""), 0);
}

PKG_DBE_XML_FUNCTION(xmldom_replace_data) {
    const package_call here(call, k_replace_data);
    const named_node node = data_node(here);
    const byte_range range = range_arguments(here, call, node.node, 1, 2);
    const optional_argument data(call, 3);
    return splice(here, node, range, data.or_empty(), 3);
}

// The result is the new node, which holds what stands behind the offset.
PKG_DBE_XML_FUNCTION(xmldom_split_text) {
    const package_call here(call, k_split_text);
    const named_node text = here.needed_node(0, k_text);
    require_changeable(here, 0, text.node);
    const byte_range range = range_arguments(here, call, text.node, 1, 0);
    text_split split(text.node, range.offset);
    const host::datum result = here.result(text, split.made());
    split.carry_out();
    return result;
}

// The texts and CDATA sections side by side with the text give way to it, and it gets the content;
// an empty content takes it out too, and the result is null.
PKG_DBE_XML_FUNCTION(xmldom_replace_whole_text) {
    const package_call here(call, k_replace_whole_text);
    const named_node text = here.needed_node(0, k_text);
    require_changeable(here, 0, text.node);
    const optional_argument content(call, 1);
    require_data(here, 1, text.node->type, content.or_empty());
    xml_text_ptr data = copy_of_text(content.or_empty());
    family &owner = family_of(*text.entry);
    const bool goes = *content.or_empty() == 0;
    const host::datum result = goes ? here.null() : here.same(0, text);
    replace_run(owner, text.node, std::move(data), goes);
    return result;
}

PKG_DBE_XML_FUNCTION(xmldom_normalize) {
    const package_call here(call, k_normalize);
    const named_node node = here.needed_node(0);
    require_changeable(here, 0, node.node);
    const host::datum result = here.same(0, node);
    normalize_texts(family_of(*node.entry), node.node);
    return result;
}

} // namespace pkg_dbe_xml
