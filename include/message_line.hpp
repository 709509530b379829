// Messages of libxml2's as they are kept: one line, no longer than a bound.
#pragma once

#include <cstddef>
#include <string_view>

namespace pkg_dbe_xml {

// Without the end of the line, and cut between characters.
[[nodiscard]] inline std::string_view message_line(std::string_view text,
                                                   std::size_t longest) noexcept {
    while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) {
        text.remove_suffix(1);
    }
    if (text.size() > longest) {
        std::size_t size = longest;
        while (size > 0 && (static_cast<unsigned char>(text[size]) & 0xC0U) == 0x80U) {
            --size;
        }
        text = text.substr(0, size);
    }
    return text;
}

// A byte of it: control characters become blanks.
[[nodiscard]] inline char message_byte(char byte) noexcept {
    const auto value = static_cast<unsigned char>(byte);
    return value < 0x20U || value == 0x7FU ? ' ' : byte;
}

} // namespace pkg_dbe_xml
