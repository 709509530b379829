// Characters in canonical form. See canonical_text.hpp.

#include "write/canonical_text.hpp"

#include "write/markup_text.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace pkg_dbe_xml {

namespace {

// Bytes that are looked at between two looks for a request to stop.
constexpr std::size_t k_piece = 256 * 1024;

enum : std::uint8_t { k_plain, k_reference, k_beyond_ascii, k_none };
using byte_sorts = std::array<std::uint8_t, 256>;

constexpr byte_sorts make_sorts(std::string_view references) {
    byte_sorts sorts{};
    for (std::size_t byte = 0; byte < sorts.size(); ++byte) {
        sorts[byte] = byte < 0x20 ? k_none : byte < 0x80 ? k_plain : k_beyond_ascii;
    }
    sorts['\t'] = sorts['\n'] = k_plain;
    for (const char byte : references) {
        sorts[static_cast<unsigned char>(byte)] = k_reference;
    }
    return sorts;
}

// By canonical_place.
constexpr std::array<byte_sorts, 3> k_sorts{make_sorts("<>&\r"), make_sorts("<&\"\t\n\r"),
                                            make_sorts("\r")};

[[nodiscard]] std::string_view reference_for(char byte) noexcept {
    switch (byte) {
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '&':
        return "&amp;";
    case '"':
        return "&quot;";
    case '\t':
        return "&#x9;";
    case '\n':
        return "&#xA;";
    default:
        return "&#xD;";
    }
}

// Appends up to a place at or a little behind `end`, where a character ends, and returns it; npos
// for what is no character.
[[nodiscard]] std::size_t append_piece(text_output &output, std::string_view text,
                                       std::size_t begin, std::size_t end,
                                       const byte_sorts &sorts) {
    std::size_t next = begin;
    while (next < end) {
        const std::uint8_t sort = sorts[static_cast<unsigned char>(text[next])];
        if (sort == k_plain) [[likely]] {
            ++next;
        } else if (sort == k_beyond_ascii) {
            const std::size_t size = character_size(text.substr(next));
            if (size == 0) {
                return std::string_view::npos;
            }
            next += size;
        } else if (sort == k_reference) {
            output.append(text.substr(begin, next - begin));
            output.append(reference_for(text[next]));
            begin = ++next;
        } else {
            return std::string_view::npos;
        }
    }
    output.append(text.substr(begin, next - begin));
    return next;
}

} // namespace

bool append_canonical(text_output &output, std::string_view text, canonical_place place,
                      poll_counter &poll) {
    const byte_sorts &sorts = k_sorts[static_cast<std::size_t>(place)];
    std::size_t next = 0;
    while (next < text.size()) {
        const std::size_t begin = next;
        next = append_piece(output, text, begin, std::min(text.size(), begin + k_piece), sorts);
        if (next == std::string_view::npos) {
            return false;
        }
        poll.step_over(next - begin);
    }
    return true;
}

} // namespace pkg_dbe_xml
