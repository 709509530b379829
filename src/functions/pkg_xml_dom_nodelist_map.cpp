// Node lists and named node maps: how many members there are, a member by its index, an attribute
// by its name.
//
// A list is an xmlList of nodes. A map is the chain of attributes that begins with the handle's
// object; a map whose element has no attributes names nothing.

#include "functions/call_frame.hpp"
#include "tree/text_compare.hpp"

#include <limits>

namespace pkg_dbe_xml {

namespace {

// Longest name or namespace URI, in bytes of the database encoding.
constexpr std::size_t k_longest_literal = 32767;

std::int32_t map_size(const xmlNode *attribute) noexcept {
    std::int32_t size = 0;
    for (; attribute != nullptr; attribute = attribute->next) {
        ++size;
    }
    return size;
}

std::int32_t checked_list_size(const XMLHashEntry &entry) {
    const std::size_t size = entry.object == nullptr ? 0 : list_size(entry);
    if (size > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max())) {
        report(reports::internal_function_failed);
    }
    return static_cast<std::int32_t>(size);
}

// A list that was given up has no items, whatever the index.
xmlNodePtr list_item(XMLHashEntry &entry, std::int32_t index) {
    if (entry.object == nullptr || index >= checked_list_size(entry)) {
        return nullptr;
    }
    if (index < 0) {
        report(reports::negative_index);
    }
    return list_member(entry, static_cast<std::size_t>(index));
}

// The item of a map is the value of an attribute: its first child, not the attribute itself.
xmlNodePtr map_item(const xmlNode *attribute, std::int32_t index) noexcept {
    if (index < 0) {
        return nullptr;
    }
    for (; attribute != nullptr && index > 0; --index) {
        attribute = attribute->next;
    }
    return attribute == nullptr ? nullptr : first_child(attribute);
}

// A name or namespace URI to look for. Reports literal_too_long.
class literal_argument {
  public:
    explicit literal_argument(host::datum value) : text_(value) {
        if (text_.size() > k_longest_literal) {
            report(reports::literal_too_long);
        }
        text_.to_utf8();
    }
    [[nodiscard]] const char *c_str() const noexcept { return text_.c_str(); }

  private:
    text_argument text_;
};

// Where the search for a name begins. The kind of the handle is not looked at, so from a node the
// search goes over its siblings; only a list has no such chain. Reports inconsistent_types.
xmlNodePtr chain_of(const XMLHashEntry &entry) {
    if (entry.object != nullptr && entry.kind == XMLDomNodeType::node_list) {
        report(reports::inconsistent_types);
    }
    return entry.kind == XMLDomNodeType::named_node_map ? first_of_map(entry)
                                                        : as_node(entry.object);
}

host::datum node_result(host::call &call, const XMLHashEntry &from, xmlNodePtr node) {
    return node == nullptr ? call.null() : mint_handle<XMLDomNodeType::node>(from, node);
}

} // namespace

PKG_DBE_XML_FUNCTION(xml_dom_get_length) {
    if (call.is_null(0)) {
        return host::from_int4(0);
    }
    const XMLHashEntry &entry = find_handle(call, 0);
    switch (entry.kind) {
    case XMLDomNodeType::node_list:
        return host::from_int4(checked_list_size(entry));
    case XMLDomNodeType::named_node_map:
        return host::from_int4(map_size(first_of_map(entry)));
    default:
        report(reports::inconsistent_types);
    }
}

PKG_DBE_XML_FUNCTION(xml_dom_item) {
    if (call.is_null(0) || call.is_null(1)) {
        return call.null();
    }
    XMLHashEntry &entry = find_handle(call, 0);
    if (!is_collection(entry)) {
        report(reports::inconsistent_types);
    }
    const std::int32_t index = call.int4(1);
    xmlNodePtr item = entry.kind == XMLDomNodeType::node_list
                          ? list_item(entry, index)
                          : map_item(first_of_map(entry), index);
    return node_result(call, entry, item);
}

PKG_DBE_XML_FUNCTION(xml_dom_get_named_item) {
    if (call.is_null(0) || call.is_null(1)) {
        return call.null();
    }
    const XMLHashEntry &entry = find_handle(call, 0);
    const literal_argument name(call.value(1));
    xmlNodePtr node = chain_of(entry);
    while (node != nullptr && !same_text(node->name, name.c_str())) {
        node = node->next;
    }
    return node_result(call, entry, node);
}

PKG_DBE_XML_FUNCTION(xml_dom_get_named_item_ns) {
    if (call.is_null(0) || call.is_null(1) || call.is_null(2)) {
        return call.null();
    }
    const XMLHashEntry &entry = find_handle(call, 0);
    const literal_argument name(call.value(1));
    const literal_argument uri(call.value(2));
    // An attribute without a namespace is found whatever the URI.
    xmlNodePtr node = chain_of(entry);
    for (; node != nullptr; node = node->next) {
        const xmlNs *record = namespace_of(node);
        if (same_text(node->name, name.c_str()) &&
            (record == nullptr || same_text(record->href, uri.c_str()))) {
            break;
        }
    }
    return node_result(call, entry, node);
}

} // namespace pkg_dbe_xml
