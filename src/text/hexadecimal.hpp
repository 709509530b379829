// Bytes as hexadecimal digits.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

namespace pkg_dbe_xml {

inline constexpr std::string_view k_upper_digits = "0123456789ABCDEF";
inline constexpr std::string_view k_lower_digits = "0123456789abcdef";

// Writes two digits for each byte; returns where they end.
inline char *write_hexadecimal(std::span<const std::byte> bytes, std::string_view digits,
                               char *next) noexcept {
    for (const std::byte byte : bytes) {
        *next++ = digits[std::to_integer<unsigned>(byte) >> 4U];
        *next++ = digits[std::to_integer<unsigned>(byte) & 15U];
    }
    return next;
}

} // namespace pkg_dbe_xml
