// Characters as markup. See markup_text.hpp.

#include "write/markup_text.hpp"

#include <array>
#include <cstddef>
#include <cstdint>

namespace pkg_dbe_xml {

namespace {

enum class sort : std::uint8_t {
    plain,
    in_text,
    in_attribute,
    carriage_return,
    beyond_ascii,
    none
};

// What is to be looked at in bytes: '<', '>' and '&' everywhere, others in attributes only.
constexpr std::array<sort, 256> make_sorts() {
    std::array<sort, 256> sorts{};
    for (std::size_t byte = 0; byte < sorts.size(); ++byte) {
        sorts[byte] = byte < 0x20 ? sort::none : byte < 0x80 ? sort::plain : sort::beyond_ascii;
    }
    sorts['\t'] = sorts['\n'] = sorts['"'] = sort::in_attribute;
    sorts['<'] = sorts['>'] = sorts['&'] = sort::in_text;
    sorts['\r'] = sort::carriage_return;
    return sorts;
}
constexpr std::array<sort, 256> k_sorts = make_sorts();

[[nodiscard]] sort sort_of(char byte) noexcept { return k_sorts[static_cast<unsigned char>(byte)]; }

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
        return "&#9;";
    case '\n':
        return "&#10;";
    default:
        return "&#13;";
    }
}

} // namespace

std::size_t character_size(std::string_view text) noexcept {
    const auto byte = [text](std::size_t place) -> std::uint32_t {
        return place < text.size() ? static_cast<unsigned char>(text[place]) : 0U;
    };
    const std::uint32_t first = byte(0);
    const std::size_t size = first >= 0xF0U ? 4 : first >= 0xE0U ? 3 : 2;
    std::uint32_t code = first & (0xFFU >> (size + 1));
    for (std::size_t place = 1; place < size; ++place) {
        if ((byte(place) & 0xC0U) != 0x80U) {
            return 0;
        }
        code = (code << 6U) | (byte(place) & 0x3FU);
    }
    constexpr std::array<std::uint32_t, 5> k_least{0, 0, 0x80, 0x800, 0x10000};
    const bool allowed = first >= 0xC2U && first < 0xF5U && code >= k_least[size] &&
                         (code < 0xD800U || code > 0xDFFFU) && code != 0xFFFEU && code != 0xFFFFU &&
                         code <= 0x10FFFFU;
    return allowed ? size : 0;
}

bool append_markup(text_output &output, std::string_view text, markup_place place) {
    std::size_t begin = 0; // of what was looked at and not yet written
    std::size_t next = 0;
    while (next < text.size()) {
        const sort found = sort_of(text[next]);
        if (found == sort::plain ||
            (found == sort::in_attribute && place != markup_place::attribute) ||
            (found == sort::in_text && place == markup_place::verbatim)) {
            ++next;
            continue;
        }
        if (found == sort::beyond_ascii) {
            const std::size_t size = character_size(text.substr(next));
            if (size == 0) {
                return false;
            }
            next += size;
            continue;
        }
        if (found == sort::none || place == markup_place::verbatim) {
            return false;
        }
        output.append(text.substr(begin, next - begin));
        output.append(reference_for(text[next]));
        begin = ++next;
    }
    output.append(text.substr(begin));
    return true;
}

bool has_only_characters(std::string_view text) noexcept {
    std::size_t next = 0;
    while (next < text.size()) {
        const sort found = sort_of(text[next]);
        const std::size_t size =
            found == sort::beyond_ascii ? character_size(text.substr(next)) : 1;
        if (size == 0 || found == sort::none) {
            return false;
        }
        next += size;
    }
    return true;
}

} // namespace pkg_dbe_xml
