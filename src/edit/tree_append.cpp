// Appending: what may stand where, what merges, what is replaced.
//
// libxml2's own append frees merged and replaced nodes, makes rings of ancestors and differs from
// version to version, so the links are set here.

#include "edit/tree_append.hpp"

#include "edit/tree_attributes.hpp"
#include "host/error.hpp"
#include "libxml/xml.hpp"
#include "tree/id_attributes.hpp"
#include "tree/immutable_nodes.hpp"

#include <cstddef>

namespace pkg_dbe_xml {

namespace {

// Levels between two looks at whether the statement was asked to stop.
constexpr std::size_t k_levels_between_polls = 65536;

[[nodiscard]] bool can_hold_children(xmlElementType type) noexcept {
    switch (type) {
    case XML_ELEMENT_NODE:
    case XML_ATTRIBUTE_NODE:
    case XML_TEXT_NODE:
    case XML_CDATA_SECTION_NODE:
    case XML_PI_NODE:
    case XML_COMMENT_NODE:
    case XML_DOCUMENT_NODE:
    case XML_DOCUMENT_FRAG_NODE:
        return true;
    default: // entity references show the children of their declarations
        return false;
    }
}

[[nodiscard]] bool can_be_child(xmlElementType type) noexcept {
    switch (type) {
    case XML_ELEMENT_NODE:
    case XML_ATTRIBUTE_NODE:
    case XML_TEXT_NODE:
    case XML_CDATA_SECTION_NODE:
    case XML_ENTITY_REF_NODE:
    case XML_PI_NODE:
    case XML_COMMENT_NODE:
        return true;
    default:
        return false;
    }
}

[[nodiscard]] bool is_in_attribute(const xmlNode *node) noexcept {
    return node->parent != nullptr && is_attribute(node->parent);
}

// Attributes hold texts, CDATA sections and entity references, and nothing below these. So trees
// never nest through attributes, and walks need not follow them down.
[[nodiscard]] bool respects_attributes(const xmlNode *parent, const xmlNode *child) noexcept {
    if (is_attribute(child)) {
        return parent->type == XML_ELEMENT_NODE;
    }
    if (is_attribute(parent)) {
        return (child->type == XML_TEXT_NODE || child->type == XML_CDATA_SECTION_NODE ||
                child->type == XML_ENTITY_REF_NODE) &&
               first_child(child) == nullptr;
    }
    // A text inside an attribute takes up the text of what is appended to it, but holds nothing.
    return !is_in_attribute(parent) ||
           merge_target(const_cast<xmlNodePtr>(parent), child) == parent;
}

// Whether `node` can stand above anything that could be a parent: an element with nothing but
// attributes can only stand above texts of these.
[[nodiscard]] bool may_be_above(const xmlNode *node, const xmlNode *parent) noexcept {
    if (is_attribute(node)) {
        return false; // its parent will be an element, which never stands below an attribute
    }
    return first_child(node) != nullptr ||
           (first_attribute(node) != nullptr && parent->type != XML_ELEMENT_NODE &&
            parent->type != XML_DOCUMENT_NODE);
}

[[nodiscard]] bool is_inside(const xmlNode *node, const xmlNode *top) {
    std::size_t levels = 0;
    while (node != nullptr && node != top) {
        node = node->parent;
        if (++levels % k_levels_between_polls == 0) {
            host::check_for_interrupts();
        }
    }
    return node == top;
}

void set_document(xmlNodePtr node, xmlDocPtr document) noexcept {
    if (node->type == XML_ENTITY_REF_NODE) {
        // The declaration it points to belongs to the old document.
        node->children = nullptr;
        node->last = nullptr;
    }
    node->doc = document;
}

void set_document_of_attribute(xmlAttrPtr attribute, xmlDocPtr document) noexcept {
    forget_parsed_id(attribute);
    attribute->doc = document;
    for (xmlNodePtr child = attribute->children; child != nullptr; child = child->next) {
        set_document(child, document);
    }
}

} // namespace

bool may_append(const xmlNode *parent, const xmlNode *child) {
    if (parent == child || !can_hold_children(parent->type) || !can_be_child(child->type) ||
        !respects_attributes(parent, child)) {
        return false;
    }
    if (may_be_above(child, parent) && is_inside(parent, child)) {
        return false;
    }
    return !is_immutable(parent) && !is_immutable(child);
}

xmlNodePtr merge_target(xmlNodePtr parent, const xmlNode *child) noexcept {
    if (parent->type == XML_TEXT_NODE && parent->content != nullptr) {
        return parent;
    }
    if (child->type != XML_TEXT_NODE) {
        return nullptr;
    }
    xmlNodePtr const last = parent->last == child ? child->prev : parent->last;
    // Texts with and without escaping do not merge; libxml2 tells them apart by this pointer.
    const bool merges = last != nullptr && last->type == XML_TEXT_NODE && last->name == child->name;
    return merges ? last : nullptr;
}

xmlAttrPtr replaced_attribute(const xmlNode *parent, const xmlNode *child) noexcept {
    if (!is_attribute(child)) {
        return nullptr;
    }
    const xmlNs *const record = namespace_of(child);
    xmlAttrPtr const found =
        find_attribute(parent, child->name, record == nullptr ? nullptr : record->href);
    return as_node(found) == child ? nullptr : found;
}

void set_document_of_tree(xmlNodePtr top, xmlDocPtr document) noexcept {
    if (is_attribute(top)) {
        set_document_of_attribute(reinterpret_cast<xmlAttrPtr>(top), document);
        return;
    }
    for (xmlNodePtr node = top; node != nullptr; node = next_below(node, top)) {
        set_document(node, document);
        for (xmlAttrPtr attribute = first_attribute(node); attribute != nullptr;
             attribute = attribute->next) {
            set_document_of_attribute(attribute, document);
        }
    }
}

void detach(xmlNodePtr node) noexcept { unlink_node(node); }

void link_last(xmlNodePtr parent, xmlNodePtr child) noexcept {
    child->parent = parent;
    child->prev = parent->last;
    if (parent->last != nullptr) {
        parent->last->next = child;
    } else {
        parent->children = child;
    }
    parent->last = child;
}

void move_below(xmlNodePtr parent, xmlNodePtr child) noexcept {
    const host::tree_scope scope;
    note_tree_change(child);
    unlink_node(child);
    xmlDocPtr const document =
        is_document(parent) ? reinterpret_cast<xmlDocPtr>(parent) : parent->doc;
    if (child->doc != document) {
        set_document_of_tree(child, document);
    }
    if (is_attribute(child)) {
        link_attribute(parent, reinterpret_cast<xmlAttrPtr>(child));
        return;
    }
    link_last(parent, child);
}

} // namespace pkg_dbe_xml
