// Counting characters of UTF-8 text.
#pragma once

#include <cstddef>
#include <string_view>

namespace pkg_dbe_xml {

// A byte that goes on with a character begun before.
[[nodiscard]] constexpr bool is_continuation(char byte) noexcept {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

[[nodiscard]] inline std::size_t count_characters(std::string_view text) noexcept {
    std::size_t count = 0;
    for (const char byte : text) {
        count += is_continuation(byte) ? 0 : 1;
    }
    return count;
}

// Bytes that the first `count` characters take; npos when there are fewer.
[[nodiscard]] inline std::size_t skip_characters(std::string_view text,
                                                 std::size_t count) noexcept {
    for (std::size_t place = 0; place < text.size(); ++place) {
        if (!is_continuation(text[place]) && count-- == 0) {
            return place;
        }
    }
    return count == 0 ? text.size() : std::string_view::npos;
}

} // namespace pkg_dbe_xml
