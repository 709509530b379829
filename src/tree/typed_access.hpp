// Reading members of libxml2 nodes only where the node type has them.
//
// Nodes of different types share only their first members; behind those, the same bytes are a
// namespace here, a notation table there, two integers elsewhere. Everything the library reads
// beyond the shared members is read through this header.
#pragma once

#include <libxml/tree.h>

namespace pkg_dbe_xml {

// DTDs and what stands in them: never changed, moved, released or written by any function, except
// for the three fields that setting the document type rewrites.
[[nodiscard]] inline bool is_declaration(xmlElementType type) noexcept {
    return type >= XML_DTD_NODE && type <= XML_NAMESPACE_DECL;
}
[[nodiscard]] inline bool is_document(const xmlNode *node) noexcept {
    return node->type == XML_DOCUMENT_NODE;
}
// Element or document: the types that equal 1 once the bit of value 8 is cleared.
[[nodiscard]] inline bool is_container(const xmlNode *node) noexcept {
    return (static_cast<unsigned>(node->type) & ~8U) == 1U;
}
[[nodiscard]] inline bool is_attribute(const xmlNode *node) noexcept {
    return node->type == XML_ATTRIBUTE_NODE;
}
// Children as every function sees them: an entity reference has none, since libxml2 lets it point
// at the declaration.
[[nodiscard]] inline xmlNodePtr first_child(const xmlNode *node) noexcept {
    return node->type == XML_ENTITY_REF_NODE ? nullptr : node->children;
}
[[nodiscard]] inline xmlNodePtr last_child(const xmlNode *node) noexcept {
    return node->type == XML_ENTITY_REF_NODE ? nullptr : node->last;
}
// First attribute of an element; null for every other node.
[[nodiscard]] inline xmlAttrPtr first_attribute(const xmlNode *node) noexcept {
    return node->type == XML_ELEMENT_NODE ? node->properties : nullptr;
}
// The external subset of a document, as long as it is a DTD of its own; null for every other node.
[[nodiscard]] inline xmlNodePtr external_subset(const xmlNode *node) noexcept {
    if (node->type != XML_DOCUMENT_NODE) {
        return nullptr;
    }
    const auto *document = reinterpret_cast<const xmlDoc *>(node);
    return document->extSubset == document->intSubset
               ? nullptr
               : reinterpret_cast<xmlNodePtr>(document->extSubset);
}
// What hangs on a node beside its children: the attributes of an element, the external subset of a
// document; null for every other node. Named node maps and counts begin here.
[[nodiscard]] inline xmlNodePtr first_beside_children(const xmlNode *node) noexcept {
    return node->type == XML_ELEMENT_NODE ? reinterpret_cast<xmlNodePtr>(node->properties)
                                          : external_subset(node);
}
// The default value in the declaration of an attribute; null for every other node.
[[nodiscard]] inline const xmlChar *declared_default(const xmlNode *node) noexcept {
    return node->type == XML_ATTRIBUTE_DECL
               ? reinterpret_cast<const xmlAttribute *>(node)->defaultValue
               : nullptr;
}
// Namespace of an element or attribute; null for every other node.
[[nodiscard]] inline xmlNsPtr namespace_of(const xmlNode *node) noexcept {
    return node->type == XML_ELEMENT_NODE || node->type == XML_ATTRIBUTE_NODE ? node->ns : nullptr;
}
// Namespace records declared on an element; null for every other node.
[[nodiscard]] inline xmlNsPtr declared_namespaces(const xmlNode *node) noexcept {
    return node->type == XML_ELEMENT_NODE ? node->nsDef : nullptr;
}
// The member of a namespace record that libxml2 makes room for and leaves alone; it advises against
// it from 2.15 on.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
[[nodiscard]] inline xmlDocPtr context_of(const xmlNs *record) noexcept { return record->context; }
inline void set_context(xmlNsPtr record, xmlDocPtr context) noexcept { record->context = context; }
#pragma GCC diagnostic pop
// Whether a node can leave its place and stand in a list: what the function below counts for.
[[nodiscard]] inline bool counts_lists(const xmlNode *node) noexcept {
    constexpr unsigned k_types = 1U << XML_ELEMENT_NODE | 1U << XML_TEXT_NODE |
                                 1U << XML_CDATA_SECTION_NODE | 1U << XML_ENTITY_REF_NODE |
                                 1U << XML_PI_NODE | 1U << XML_COMMENT_NODE;
    return (k_types >> node->type & 1U) != 0;
}
// The member of such a node that libxml2 has for its users and leaves alone.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
[[nodiscard]] inline unsigned short list_count(const xmlNode *node) noexcept { return node->extra; }
inline void set_list_count(xmlNodePtr node, unsigned short count) noexcept { node->extra = count; }
#pragma GCC diagnostic pop
// Text kept in the node itself: text, CDATA, processing instruction, comment; null for others.
[[nodiscard]] inline xmlChar *own_content(const xmlNode *node) noexcept {
    switch (node->type) {
    case XML_TEXT_NODE:
    case XML_CDATA_SECTION_NODE:
    case XML_PI_NODE:
    case XML_COMMENT_NODE:
        return node->content;
    default:
        return nullptr;
    }
}
[[nodiscard]] inline xmlNodePtr as_node(void *object) noexcept {
    return static_cast<xmlNodePtr>(object);
}
[[nodiscard]] inline xmlNodePtr as_node(xmlAttrPtr attribute) noexcept {
    return reinterpret_cast<xmlNodePtr>(attribute);
}
[[nodiscard]] inline xmlNodePtr as_node(xmlDocPtr document) noexcept {
    return reinterpret_cast<xmlNodePtr>(document);
}

// The node after `node` in document order below `top`, entering children but never those of an
// entity reference; null when the walk is over. Attributes are not visited.
[[nodiscard]] inline xmlNodePtr next_below(xmlNodePtr node, const xmlNode *top) noexcept {
    if (xmlNodePtr child = first_child(node)) {
        return child;
    }
    while (node != top) {
        if (node->next != nullptr) {
            return node->next;
        }
        node = node->parent;
        if (node == nullptr) {
            return nullptr;
        }
    }
    return nullptr;
}

} // namespace pkg_dbe_xml
