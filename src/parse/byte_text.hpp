// Texts that come as bytes and say themselves how they are encoded.
#pragma once

#include "xml_owner.hpp"

#include <cstddef>
#include <string_view>

namespace pkg_dbe_xml {

// The text of some bytes in UTF-8: by their byte order mark, else by the zero bytes in their first
// character, else by the encoding that the XML declaration names, else UTF-8.
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
