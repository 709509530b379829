// Bytes of a text that come in pieces, to UTF-8: what byte_text does with bytes at hand.
#pragma once

#include "growing_array.hpp"
#include "parse/byte_text.hpp"
#include "text/encoding_handler.hpp"
#include "xml_owner.hpp"

#include <cstddef>
#include <string_view>

namespace pkg_dbe_xml {

using piece_of_text = growing_array<char, 64>;

class byte_decoder {
  public:
    byte_decoder() noexcept = default;
    // Adds bytes, and to `text` what can be made of them by now. False from bytes on that are no
    // text in their encoding; what came before them is added. Reports unsupported_character_set and
    // out_of_memory; throws when the statement was asked to stop, and is then of no use any more.
    // Memory is the current context's.
    [[nodiscard]] bool add(std::string_view bytes, piece_of_text &text);
    // Whether bytes wait for others.
    [[nodiscard]] bool holds_bytes() const noexcept;
    // "UTF-8" until it is known.
    [[nodiscard]] const char *encoding() const noexcept;

  private:
    void decide();
    [[nodiscard]] bool convert_piece(std::string_view bytes);
    [[nodiscard]] bool convert(std::string_view bytes, piece_of_text &text);

    bool decided_ = false;
    bytes_encoding encoding_;
    piece_of_text beginning_; // until the encoding is known
    encoding_handler_ptr handler_;
    xml_buffer_ptr rest_; // of a character that a piece has cut
    xml_buffer_ptr converted_;
};

} // namespace pkg_dbe_xml
