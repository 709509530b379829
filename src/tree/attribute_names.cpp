// Attributes by name. See attribute_names.hpp.

#include "tree/attribute_names.hpp"

#include "tree/node_text.hpp"

#include <cstring>

namespace pkg_dbe_xml {

namespace {

// Bytes of the prefix of a qualified name, -1 when it has none.
[[nodiscard]] int size_of_prefix(const xmlChar *name) noexcept {
    const auto *const bytes = reinterpret_cast<const char *>(name);
    const char *const colon = std::strchr(bytes, ':');
    return colon == nullptr || colon == bytes ? -1 : static_cast<int>(colon - bytes);
}

} // namespace

bool attribute_name::matches_with_prefix(const xmlAttr *attribute) const noexcept {
    const xmlChar *const prefix = attribute->ns->prefix;
    const int size = size_of_prefix(name_);
    return size >= 0 && xmlStrlen(prefix) == size && xmlStrncmp(prefix, name_, size) == 0 &&
           same_text(attribute->name, name_ + size + 1);
}

xmlNodePtr declared_attribute(xmlNodePtr element, const xmlChar *name, const xmlChar *uri) {
    if (!declares_attributes(element->doc)) {
        return nullptr;
    }
    // Under a null URI libxml2 would look in all namespaces.
    const bool in_none = uri == nullptr || *uri == 0;
    xmlNodePtr const found = look_up_attribute(element, name, in_none ? nullptr : uri);
    return found != nullptr && found->type == XML_ATTRIBUTE_DECL ? found : nullptr;
}

} // namespace pkg_dbe_xml
