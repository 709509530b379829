// libxml2's texts, which end in a zero byte: comparing them, their length, and the two namespaces
// that every document knows.
#pragma once

#include <libxml/tree.h>

#include <cstddef>
#include <cstring>
#include <string_view>

namespace pkg_dbe_xml {

inline constexpr const char *k_xml_uri = "http://www.w3.org/XML/1998/namespace";
inline constexpr const char *k_xmlns_uri = "http://www.w3.org/2000/xmlns/";

[[nodiscard]] inline const xmlChar *as_xml(const char *text) noexcept {
    return reinterpret_cast<const xmlChar *>(text);
}

// A null text is equal to none. `right` is not null where it is a text of ours.
[[nodiscard]] inline bool same_text(const xmlChar *left, const char *right) noexcept {
    const auto *const bytes = reinterpret_cast<const char *>(left);
    return bytes != nullptr && *bytes == *right && std::strcmp(bytes, right) == 0;
}
[[nodiscard]] inline bool same_text(const xmlChar *left, const xmlChar *right) noexcept {
    return right != nullptr && same_text(left, reinterpret_cast<const char *>(right));
}
// The same where a text may be absent from both: null is equal to null.
[[nodiscard]] inline bool same_or_absent(const xmlChar *left, const xmlChar *right) noexcept {
    return left == right || same_text(left, right);
}

// Bytes of a text without its zero byte; 0 for null.
[[nodiscard]] inline std::size_t length_of(const xmlChar *text) noexcept {
    return text == nullptr ? 0 : std::strlen(reinterpret_cast<const char *>(text));
}
// Empty for null.
[[nodiscard]] inline std::string_view view_of(const xmlChar *text) noexcept {
    return text == nullptr ? std::string_view("", 0)
                           : std::string_view(reinterpret_cast<const char *>(text));
}

// An empty text counts as none.
[[nodiscard]] inline const xmlChar *null_if_empty(const xmlChar *text) noexcept {
    return text == nullptr || *text == 0 ? nullptr : text;
}
// The URI of a record, null for none and for the empty one, which takes a default namespace back.
[[nodiscard]] inline const xmlChar *uri_of(const xmlNs *record) noexcept {
    return record == nullptr ? nullptr : null_if_empty(record->href);
}

} // namespace pkg_dbe_xml
