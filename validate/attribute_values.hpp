// How long values of attributes get before libxml2 checks them: it counts their bytes in an int,
// and writes beyond its memory where that overflows.
#pragma once

#include <libxml/tree.h>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <string_view>

namespace pkg_dbe_xml::validation {

// XML Schema is told of an ampersand as "&#38;".
inline constexpr std::size_t k_told_ampersand = 5;
inline constexpr std::size_t k_longest_told_value = INT_MAX - 1;
// For document type definitions libxml2 writes references for some characters, up to six bytes for
// each byte.
inline constexpr std::size_t k_longest_copied_value = INT_MAX / 6;

struct value_length {
    std::size_t bytes = 0;
    std::size_t ampersands = 0;
    // As XML Schema is told of it.
    [[nodiscard]] std::size_t told() const noexcept {
        return bytes + ampersands * (k_told_ampersand - 1);
    }
};

// Of the texts of an attribute; references to entities count for nothing. Ampersands are counted on
// demand.
[[nodiscard]] inline value_length length_of(const xmlAttr &attribute,
                                            bool with_ampersands) noexcept {
    value_length length;
    for (const xmlNode *piece = attribute.children; piece != nullptr; piece = piece->next) {
        if (piece->type == XML_ENTITY_REF_NODE || piece->content == nullptr) {
            continue;
        }
        const std::string_view text(reinterpret_cast<const char *>(piece->content));
        length.bytes += text.size();
        if (with_ampersands) {
            length.ampersands += static_cast<std::size_t>(std::ranges::count(text, '&'));
        }
    }
    return length;
}

} // namespace pkg_dbe_xml::validation
