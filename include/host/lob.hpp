// Large values kept out of line, of 1 GiB and more, which can only be read in slices.
#pragma once

#include "host/text.hpp"

#include <cstdint>

namespace host {

// True for a pointer to a large value: first byte 1, second byte 128 or more.
[[nodiscard]] inline bool is_large_value(datum value) noexcept {
    const auto *bytes = reinterpret_cast<const std::uint8_t *>(value);
    return bytes[0] == 1 && bytes[1] >= 128;
}
// Length of a large value in bytes, four bytes for a header included.
[[nodiscard]] std::int64_t tupleam_get_toast_size_raw(datum value);
// At most `length` bytes from `offset` on, as a value in the current context; the caller may free
// it. Throws.
[[nodiscard]] varlena *tupleam_detoast_slice_value(datum value, std::int64_t offset,
                                                   std::int64_t length);

// Largest piece in which large values are read and built, in bytes: below the 1 GiB that one
// allocation may have.
inline constexpr std::int64_t k_largest_piece = 0x3FFFFE00;
// The piece size in force: k_largest_piece, or less in tests.
[[nodiscard]] std::int64_t piece_size() noexcept;

} // namespace host
