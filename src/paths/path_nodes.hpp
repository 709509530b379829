// Inside the room: nodes as the language sees them.
//
// A namespace node is no node of the tree: it is a record of the evaluation's, known by the lowest
// bit of its address. Everything that may meet one asks first.
#pragma once

#include "tree/text_compare.hpp"
#include "tree/typed_access.hpp"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace pkg_dbe_xml::paths {

// A declaration as it is in scope of an element.
struct namespace_node {
    xmlNodePtr element;
    const xmlNs *record; // null: the prefix xml
    std::size_t rank;    // among those of the element
};

[[nodiscard]] inline bool is_namespace(const xmlNode *node) noexcept {
    return (reinterpret_cast<std::uintptr_t>(node) & 1U) != 0;
}
[[nodiscard]] inline namespace_node *as_namespace(const xmlNode *node) noexcept {
    return reinterpret_cast<namespace_node *>(reinterpret_cast<std::uintptr_t>(node) - 1);
}
[[nodiscard]] inline xmlNodePtr as_node(namespace_node *record) noexcept {
    return reinterpret_cast<xmlNodePtr>(reinterpret_cast<std::uintptr_t>(record) + 1);
}
[[nodiscard]] inline bool is_element(const xmlNode *node) noexcept {
    return node->type == XML_ELEMENT_NODE;
}
// The node at the top of a tree that is no element of it.
[[nodiscard]] inline bool is_root_type(xmlElementType type) noexcept {
    return type == XML_DOCUMENT_NODE || type == XML_HTML_DOCUMENT_NODE ||
           type == XML_DOCUMENT_FRAG_NODE;
}
// Nodes whose children are nodes of the language.
[[nodiscard]] inline bool has_content(const xmlNode *node) noexcept {
    return is_element(node) || is_root_type(node->type);
}
// Nodes that node() selects. Entity references and declarations are none.
[[nodiscard]] inline bool is_node(const xmlNode *node) noexcept {
    switch (node->type) {
    case XML_ELEMENT_NODE:
    case XML_ATTRIBUTE_NODE:
    case XML_TEXT_NODE:
    case XML_CDATA_SECTION_NODE:
    case XML_PI_NODE:
    case XML_COMMENT_NODE:
    case XML_DOCUMENT_NODE:
    case XML_HTML_DOCUMENT_NODE:
    case XML_DOCUMENT_FRAG_NODE:
        return true;
    default:
        return false;
    }
}
[[nodiscard]] inline bool is_text(const xmlNode *node) noexcept {
    return node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE;
}
[[nodiscard]] inline xmlNodePtr parent_of(const xmlNode *node) noexcept {
    return is_namespace(node) ? as_namespace(node)->element : node->parent;
}
// The node that follows in the order of the document, attributes and namespaces apart; null behind
// the last one of the tree below `top`.
[[nodiscard]] inline xmlNodePtr next_of_tree(xmlNodePtr node, const xmlNode *top) noexcept {
    if (has_content(node) && node->children != nullptr) {
        return node->children;
    }
    while (node != top && node->next == nullptr) {
        node = node->parent;
    }
    return node == top ? nullptr : node->next;
}
// Attributes and namespaces stand beside the children of their element.
[[nodiscard]] inline bool stands_beside(const xmlNode *node) noexcept {
    return is_namespace(node) || is_attribute(node);
}
// "" for no namespace.
[[nodiscard]] inline const xmlChar *uri_or_empty(const xmlNs *record) noexcept {
    static const xmlChar none[1] = {0};
    return record == nullptr || record->href == nullptr ? none : record->href;
}

} // namespace pkg_dbe_xml::paths
