// The characters of texts and attribute values as markup, and what XML does not allow in them.
#pragma once

#include "text/text_output.hpp"

#include <cstddef>
#include <string_view>

namespace pkg_dbe_xml {

// What may not stand in markup as it is.
enum class markup_place { text, attribute, verbatim };

// Appends a text in UTF-8: in a text and in an attribute value with references for the characters
// that would be read otherwise, verbatim as it is. False, having written something or nothing, when
// it holds what XML has no character for, or what is no UTF-8; verbatim also for a carriage return,
// which would be read as a line feed.
[[nodiscard]] bool append_markup(text_output &output, std::string_view text, markup_place place);

// Bytes of the character that a text begins with, where that is none of ASCII; 0 when XML has no
// such character.
[[nodiscard]] std::size_t character_size(std::string_view text) noexcept;

// Whether a text holds nothing but characters of XML.
[[nodiscard]] bool has_only_characters(std::string_view text) noexcept;

} // namespace pkg_dbe_xml
