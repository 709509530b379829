// Looking for elements by name, as the DOM does: by the qualified name, or by namespace and local
// name.
#pragma once

#include "tree/text_compare.hpp"
#include "tree/typed_access.hpp"

#include <cstring>

namespace pkg_dbe_xml {

// A name to look for. Without a URI the name is a qualified one, prefix and all; with a URI it is a
// local name. A null or "*" as name or URI means any; an empty URI means no namespace.
class element_name {
  public:
    element_name(const xmlChar *name, const xmlChar *uri) noexcept
        : name_(as_pattern(name)), uri_(as_pattern(uri)), by_namespace_(uri != nullptr) {
        colon_ = by_namespace_ || name_ == nullptr ? nullptr : std::strchr(name_, ':');
    }

    [[nodiscard]] bool matches(const xmlNode *node) const noexcept {
        return node->type == XML_ELEMENT_NODE && (name_ == nullptr || has_name(node)) &&
               (uri_ == nullptr || has_uri(node->ns));
    }

  private:
    [[nodiscard]] static const char *as_pattern(const xmlChar *text) noexcept {
        const auto *const bytes = reinterpret_cast<const char *>(text);
        return bytes == nullptr || std::strcmp(bytes, "*") == 0 ? nullptr : bytes;
    }
    [[nodiscard]] bool has_name(const xmlNode *node) const noexcept {
        if (by_namespace_ || node->ns == nullptr || node->ns->prefix == nullptr) {
            return same_text(node->name, name_);
        }
        if (colon_ == nullptr || !same_text(node->name, colon_ + 1)) {
            return false;
        }
        const auto *const prefix = reinterpret_cast<const char *>(node->ns->prefix);
        const auto length = static_cast<std::size_t>(colon_ - name_);
        return std::strlen(prefix) == length && std::memcmp(prefix, name_, length) == 0;
    }
    [[nodiscard]] bool has_uri(const xmlNs *record) const noexcept {
        if (record == nullptr || record->href == nullptr) {
            return *uri_ == '\0';
        }
        return same_text(record->href, uri_);
    }

    const char *name_; // null: any
    const char *uri_;  // null: any
    bool by_namespace_;
    const char *colon_; // in `name_`, behind a prefix
};

} // namespace pkg_dbe_xml
