// Looking for the attributes of an element by name, as the DOM does.
#pragma once

#include "tree/typed_access.hpp"

namespace pkg_dbe_xml {

// A name to look for. Without a URI (null) the name is a qualified one, prefix and all; with a URI,
// empty for no namespace, it is a local name.
class attribute_name {
  public:
    attribute_name(const xmlChar *name, const xmlChar *uri) noexcept : name_(name), uri_(uri) {}

    [[nodiscard]] bool matches(const xmlNode *attribute) const noexcept;
    // The first one in a chain of attributes; null when there is none.
    [[nodiscard]] xmlAttrPtr find_from(xmlAttrPtr attribute) const noexcept;
    [[nodiscard]] xmlAttrPtr find(const xmlNode *element) const noexcept {
        return find_from(first_attribute(element));
    }

  private:
    const xmlChar *name_;
    const xmlChar *uri_;
};

// The declaration that gives an element an attribute of this name by default; null when there is
// none. With a null URI in no namespace. Reports out_of_memory.
[[nodiscard]] xmlNodePtr declared_attribute(xmlNodePtr element, const xmlChar *name,
                                            const xmlChar *uri);

} // namespace pkg_dbe_xml
