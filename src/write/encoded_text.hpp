// Texts as bytes in an encoding.
#pragma once

#include "host/call.hpp"

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

} // namespace pkg_dbe_xml
