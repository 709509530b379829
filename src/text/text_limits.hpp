// How long texts and values may become.
#pragma once

#include "host/lob.hpp"

#include <cstdint>

namespace pkg_dbe_xml {

// Largest value of one allocation, in bytes, header included: just below 1 GiB.
inline constexpr std::int64_t k_longest_value = 0x3FFFFFFF;
// What is added to the largest piece to give it.
inline constexpr std::int64_t k_piece_margin = k_longest_value - host::k_largest_piece;

// The same in force: it follows the host's piece size, which tests lower.
[[nodiscard]] inline std::int64_t longest_value() noexcept {
    return host::piece_size() + k_piece_margin;
}

} // namespace pkg_dbe_xml
