// libxml2's texts, which end in a zero byte: comparing them, and their length.
#pragma once

#include <libxml/xmlstring.h>

#include <cstddef>
#include <cstring>

namespace pkg_dbe_xml {

// A null text is equal to none.
[[nodiscard]] inline bool same_text(const xmlChar *left, const xmlChar *right) noexcept {
    return left != nullptr && right != nullptr && *left == *right &&
           std::strcmp(reinterpret_cast<const char *>(left),
                       reinterpret_cast<const char *>(right)) == 0;
}

// Bytes of a text without its zero byte; 0 for null.
[[nodiscard]] inline std::size_t length_of(const xmlChar *text) noexcept {
    return text == nullptr ? 0 : std::strlen(reinterpret_cast<const char *>(text));
}

} // namespace pkg_dbe_xml
