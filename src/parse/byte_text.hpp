// Texts that come as bytes and say themselves how they are encoded.
#pragma once

#include "xml_owner.hpp"

#include <array>
#include <cstddef>
#include <string_view>

namespace pkg_dbe_xml {

// Bytes of a character that the end of a piece may leave over: more than a character has.
inline constexpr int k_cut_character = 8;

// How bytes say that they are encoded.
struct bytes_encoding {
    std::array<char, 61> name{}; // "" for UTF-8
    std::size_t mark = 0;        // bytes of a byte order mark
};
// What the first bytes of a text tell: by their byte order mark, else by the zero bytes in their
// first character, else by the encoding that the XML declaration names, else UTF-8.
[[nodiscard]] bytes_encoding encoding_of(std::string_view bytes) noexcept;

// The text of some bytes in UTF-8.
class byte_text {
  public:
    // Reports unsupported_character_set for a declared encoding that nobody knows,
    // undecodable_text, and out_of_memory; throws when the statement was asked to stop. Bytes in
    // UTF-8 are read where they lie.
    explicit byte_text(std::string_view bytes);
    [[nodiscard]] const char *bytes() const noexcept { return text_.data(); }
    [[nodiscard]] std::size_t size() const noexcept { return text_.size(); }

  private:
    void convert(std::string_view bytes, const char *encoding);

    std::string_view text_;
    xml_buffer_ptr converted_;
};

} // namespace pkg_dbe_xml
