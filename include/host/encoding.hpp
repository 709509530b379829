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

} // namespace host
