// Looking for the attributes of an element by name, as the DOM does.
#pragma once

#include "tree/text_compare.hpp"
#include "tree/typed_access.hpp"

namespace pkg_dbe_xml {

// A name to look for. Without a URI (null) the name is a qualified one, prefix and all; with a URI,
// empty for no namespace, it is a local name.
class attribute_name {
  public:
    attribute_name(const xmlChar *name, const xmlChar *uri) noexcept : name_(name), uri_(uri) {}

    [[nodiscard]] bool matches(const xmlAttr *attribute) const noexcept {
        // A map that was not made by the packages may begin with a document type.
        const xmlNs *const record = attribute->type == XML_ATTRIBUTE_NODE ? attribute->ns : nullptr;
        if (uri_ != nullptr) {
            const xmlChar *const uri = record == nullptr ? nullptr : record->href;
            return same_text(attribute->name, name_) &&
                   (uri == nullptr ? *uri_ == 0 : same_text(uri, uri_));
        }
        if (record == nullptr || record->prefix == nullptr) {
            return same_text(attribute->name, name_); // the name itself may hold a colon
        }
        return *record->prefix == *name_ && matches_with_prefix(attribute);
    }
    // The first one in a chain of attributes; null when there is none.
    [[nodiscard]] xmlAttrPtr find_from(xmlAttrPtr attribute) const noexcept {
        while (attribute != nullptr && !matches(attribute)) {
            attribute = attribute->next;
        }
        return attribute;
    }
    [[nodiscard]] xmlAttrPtr find(const xmlNode *element) const noexcept {
        return find_from(first_attribute(element));
    }

  private:
    // The same for a qualified name and an attribute that has a prefix.
    [[nodiscard]] bool matches_with_prefix(const xmlAttr *attribute) const noexcept;
    const xmlChar *name_;
    const xmlChar *uri_;
};

// Whether a document has a document type that may declare attributes.
[[nodiscard]] inline bool declares_attributes(const xmlDoc *document) noexcept {
    return document != nullptr && document->intSubset != nullptr;
}
// The declaration that gives an element an attribute of this name by default; null when there is
// none. With a null URI in no namespace. Reports out_of_memory.
[[nodiscard]] xmlNodePtr declared_attribute(xmlNodePtr element, const xmlChar *name,
                                            const xmlChar *uri);

} // namespace pkg_dbe_xml
