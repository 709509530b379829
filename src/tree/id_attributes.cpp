// Which attributes are IDs, and when that changes.

#include "tree/id_attributes.hpp"

#include "tree/text_compare.hpp"
#include "tree/typed_access.hpp"

#include <libxml/valid.h>

#include <cstddef>

namespace pkg_dbe_xml {

constinit PKG_DBE_XML_SESSION_STORAGE std::uint64_t id_changes = 0;
constinit PKG_DBE_XML_SESSION_STORAGE bool ids_are_kept = false;

namespace {

[[nodiscard]] bool is_xml_id(const xmlAttr *attribute) noexcept {
    return attribute->ns != nullptr && attribute->ns->prefix != nullptr &&
           same_text(attribute->ns->prefix, "xml") && same_text(attribute->name, "id");
}

[[nodiscard]] bool is_declared_by(xmlDtdPtr document_type, const xmlAttr *attribute) noexcept {
    if (document_type == nullptr || document_type->attributes == nullptr) {
        return false;
    }
    const xmlNode *const element = attribute->parent;
    // Declarations go by the names as they are written; the element's prefix is looked for in its
    // declared name by libxml2 itself only while it parses.
    const xmlAttribute *const declared =
        xmlGetDtdQAttrDesc(document_type, element->name, attribute->name,
                           attribute->ns == nullptr ? nullptr : attribute->ns->prefix);
    return declared != nullptr && declared->atype == XML_ATTRIBUTE_ID;
}

[[nodiscard]] bool is_declared_id(const xmlAttr *attribute) noexcept {
    const xmlDoc *const document = attribute->doc;
    return document != nullptr && attribute->parent != nullptr &&
           (is_declared_by(document->intSubset, attribute) ||
            is_declared_by(document->extSubset, attribute));
}

// Nodes of a tree that are looked through for IDs.
constexpr std::size_t k_nodes_looked_at = 64;

} // namespace

bool is_id_attribute(const xmlAttr *attribute) noexcept {
    if (is_xml_id(attribute)) {
        return true;
    }
    switch (attribute->atype) {
    case XML_ATTRIBUTE_ID:
        return true;
    case XML_ATTRIBUTE_CDATA: // a program made it none
        return false;
    default:
        return is_declared_id(attribute);
    }
}

bool may_hold_id(const xmlNode *top) noexcept {
    if (is_attribute(top)) {
        return is_id_attribute(reinterpret_cast<const xmlAttr *>(top));
    }
    std::size_t steps = 0;
    for (xmlNodePtr node = const_cast<xmlNodePtr>(top); node != nullptr;
         node = next_below(node, top)) {
        for (const xmlAttr *attribute = first_attribute(node); attribute != nullptr;
             attribute = attribute->next) {
            if (++steps > k_nodes_looked_at || is_id_attribute(attribute)) {
                return true;
            }
        }
        if (++steps > k_nodes_looked_at) {
            return true;
        }
    }
    return false;
}

void forget_parsed_id(xmlAttrPtr attribute) noexcept {
    if (attribute->atype == XML_ATTRIBUTE_ID && attribute->doc != nullptr) {
        xmlRemoveID(attribute->doc, attribute);
        attribute->atype = XML_ATTRIBUTE_ID;
    }
}

} // namespace pkg_dbe_xml
