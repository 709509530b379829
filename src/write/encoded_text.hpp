// Texts as bytes in an encoding.
#pragma once

#include "host/call.hpp"
#include "text/encoding_handler.hpp"
#include "text/text_output.hpp"
#include "xml_owner.hpp"

#include <cstdint>
#include <string_view>

namespace pkg_dbe_xml {

// Whether a name stands for UTF-8, in which texts are kept anyway.
[[nodiscard]] bool is_utf8(const char *encoding) noexcept;
// Whether an encoding is known by its byte order mark, or by the zero bytes in its first character:
// it needs no declaration.
[[nodiscard]] bool tells_itself(const char *encoding) noexcept;
// Whether there is a converter of that name, and what it writes tells how to read it: by its first
// bytes or in a declaration. Reports out_of_memory.
[[nodiscard]] bool is_known_encoding(const char *encoding);

// A bytea with a text of UTF-8 in an encoding that is_known_encoding; characters that it does not
// have become references. Reports out_of_memory and over_one_gigabyte; throws when the statement
// was asked to stop.
[[nodiscard]] host::datum encoded_result(std::string_view text, const char *encoding);

// Whether what a character becomes in an encoding is the same wherever it stands: known of the
// common ones.
[[nodiscard]] bool is_without_state(const char *encoding) noexcept;
// Counts the bytes that a text of UTF-8 becomes in such an encoding, without a byte order mark.
class encoded_size {
  public:
    // Reports out_of_memory.
    explicit encoded_size(const char *encoding);
    // Whether libxml2 knows the encoding; nothing is to be counted otherwise.
    [[nodiscard]] bool is_known() const noexcept { return handler_ != nullptr; }
    // Takes the text. Reports out_of_memory; throws when the statement was asked to stop.
    [[nodiscard]] text_sink sink() noexcept { return {this, take, nullptr, 65536}; }
    [[nodiscard]] std::int64_t bytes() const noexcept { return bytes_; }

  private:
    static void take(void *own, std::string_view bytes);
    void take_piece(std::string_view bytes);
    encoding_handler_ptr handler_;
    xml_buffer_ptr piece_;
    xml_buffer_ptr made_;
    std::int64_t bytes_ = 0;
};

} // namespace pkg_dbe_xml
