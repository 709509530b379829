// Between large values as the host keeps them and flat memory.
#pragma once

#include "host/text.hpp"

#include <cstdint>

namespace pkg_dbe_xml {

// Longest text that is parsed, in bytes.
inline constexpr std::int64_t k_longest_text = 2147483647;

// Copies the first `length` bytes of a large value into `destination`, piece by piece. Copies
// nothing when the length is 0 or less. Fails the assertion k_no_slice for a slice that cannot be
// read.
void copy_lob_to_flat_buffer(host::datum large_value, std::int64_t length, char *destination);
// A text value of any length in the caller's context, built from pieces. Reports
// piece_length_negative; throws when the statement was asked to stop.
[[nodiscard]] host::varlena *copy_flat_buffer_to_lob(std::int64_t length, const char *buffer);

} // namespace pkg_dbe_xml
