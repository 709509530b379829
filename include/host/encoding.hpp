// Character sets.
#pragma once

#include <cstddef>

namespace host {

// The number of UTF-8 among the host's encodings.
inline constexpr int k_utf8 = 7;

// The encoding of the database; k_utf8 when it is UTF-8.
[[nodiscard]] int mb_get_database_encoding() noexcept;
// `length` bytes of text converted. Returns the argument itself when there is nothing to do, else
// a NUL-terminated copy in the current context, which the caller may free. `no_error` is false
// everywhere: a text that cannot be converted is the host's own error. Throws.
[[nodiscard]] char *mb_do_encoding_conversion(char *text, std::size_t length, int from, int to,
                                              bool no_error);

// For bytes that never went through the host's own checks: how many of the `length` bytes are whole
// characters of the encoding. All of them, or, where `last` is false and more bytes follow, all but
// a character that the end cuts. Where the encoding is none, characters are those of UTF-8. Throws
// the host's error for bytes that are no text, a zero byte included.
[[nodiscard]] std::size_t mb_check_text(const char *text, std::size_t length, int encoding,
                                        bool last);

} // namespace host
