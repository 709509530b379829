// Replacing the characters that have a meaning in markup. See text_escapes.hpp.

#include "write/text_escapes.hpp"

#include "host/error.hpp"
#include "text/hexadecimal.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string_view>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace pkg_dbe_xml {

namespace {

// Bytes of text that are escaped at a time; room is made for the longest outcome.
constexpr std::size_t k_piece = 4096;
// The longest that one byte becomes: "&#xFFFD;".
constexpr std::size_t k_longest_reference = 8;
// Bytes that are written ahead of what counts.
constexpr std::size_t k_block = 16;
// Bytes between two looks at whether the statement was asked to stop.
constexpr std::size_t k_bytes_between_polls = 1024 * 1024;
static_assert(k_bytes_between_polls % k_piece == 0);

enum class place { text, attribute };

// What a byte becomes; of size 0, the byte itself.
struct reference {
    char text[k_longest_reference];
    std::uint8_t size;
};

// All there are, without addresses: a table of addresses costs the first call of every session
// the pages it fills.
constexpr std::string_view k_reference_texts[] = {"",      "&lt;", "&gt;",   "&amp;",   "&#13;",
                                                  "&#10;", "&#9;", "&quot;", "&#xFFFD;"};
constexpr std::size_t k_reference_count = std::size(k_reference_texts);

constexpr std::array<reference, k_reference_count> k_references = [] {
    std::array<reference, k_reference_count> references{};
    for (std::size_t index = 0; index < k_reference_count; ++index) {
        const std::string_view text = k_reference_texts[index];
        std::copy(text.begin(), text.end(), references[index].text);
        references[index].size = static_cast<std::uint8_t>(text.size());
    }
    return references;
}();

// The place of a text in k_references; does not compile for one that is not there.
consteval std::uint8_t place_of(std::string_view text) {
    for (std::size_t index = 0; index < k_reference_count; ++index) {
        if (k_reference_texts[index] == text) {
            return static_cast<std::uint8_t>(index);
        }
    }
    throw "no such reference";
}

constexpr std::array<std::uint8_t, 256> make_places(place where, escape_rules rules) {
    std::array<std::uint8_t, 256> places{};
    if (rules == escape_rules::late) {
        for (std::size_t byte = 1; byte < 0x20; ++byte) {
            places[byte] = place_of("&#xFFFD;");
        }
    }
    places['<'] = place_of("&lt;");
    places['>'] = place_of("&gt;");
    places['&'] = place_of("&amp;");
    places['\r'] = place_of("&#13;");
    places['\n'] = where == place::attribute ? place_of("&#10;") : place_of("");
    places['\t'] = where == place::attribute ? place_of("&#9;") : place_of("");
    if (where == place::attribute) {
        places['"'] = place_of("&quot;");
    }
    return places;
}
// The place in k_references of what each byte becomes.
template <place where, escape_rules rules>
constexpr std::array<std::uint8_t, 256> k_places = make_places(where, rules);

#ifdef __SSE2__
// A bit for each of the 16 bytes that has to be replaced.
template <place where, escape_rules rules>
[[nodiscard]] inline unsigned find_special(__m128i block) noexcept {
    // "<" and ">" differ in one bit only, and no other byte becomes equal to ">" by setting it.
    __m128i found = _mm_cmpeq_epi8(_mm_or_si128(block, _mm_set1_epi8(2)), _mm_set1_epi8('>'));
    found = _mm_or_si128(found, _mm_cmpeq_epi8(block, _mm_set1_epi8('&')));
    const __m128i blanks = _mm_or_si128(_mm_cmpeq_epi8(block, _mm_set1_epi8('\n')),
                                        _mm_cmpeq_epi8(block, _mm_set1_epi8('\t')));
    if constexpr (rules == escape_rules::late) {
        const __m128i controls = _mm_cmpeq_epi8(_mm_min_epu8(block, _mm_set1_epi8(0x1F)), block);
        found = _mm_or_si128(found, _mm_andnot_si128(blanks, controls));
    } else {
        found = _mm_or_si128(found, _mm_cmpeq_epi8(block, _mm_set1_epi8('\r')));
    }
    if constexpr (where == place::attribute) {
        found = _mm_or_si128(found, _mm_cmpeq_epi8(block, _mm_set1_epi8('"')));
        found = _mm_or_si128(found, blanks);
    }
    return static_cast<unsigned>(_mm_movemask_epi8(found));
}
#endif

// Escapes `size` bytes to `next`, where there is room for size * k_longest_reference + k_block.
template <place where, escape_rules rules>
[[nodiscard]] char *escape(char *next, const char *text, std::size_t size) noexcept {
    const auto &places = k_places<where, rules>;
    const char *const end = text + size;
#ifdef __SSE2__
    while (static_cast<std::size_t>(end - text) >= k_block) {
        __m128i block;
        std::memcpy(&block, text, sizeof block);
        std::memcpy(next, &block, sizeof block);
        const unsigned special = find_special<where, rules>(block);
        if (special == 0) [[likely]] {
            text += k_block;
            next += k_block;
            continue;
        }
        const int plain = __builtin_ctz(special);
        const reference &found = k_references[places[static_cast<std::uint8_t>(text[plain])]];
        std::memcpy(next + plain, found.text, sizeof found.text);
        next += plain + found.size;
        text += plain + 1;
    }
#endif
    for (; text != end; ++text) {
        const reference &found = k_references[places[static_cast<std::uint8_t>(*text)]];
        if (found.size == 0) [[likely]] {
            *next++ = *text;
        } else {
            std::memcpy(next, found.text, sizeof found.text);
            next += found.size;
        }
    }
    return next;
}

template <place where, escape_rules rules>
void write_escaped(text_output &output, const xmlChar *bytes) {
    const auto *text = reinterpret_cast<const char *>(bytes);
    std::size_t left = std::strlen(text);
    while (left != 0) {
        const std::size_t piece = std::min(left, k_piece);
        char *const next = output.room(piece * k_longest_reference + k_block);
        output.advance_to(escape<where, rules>(next, text, piece));
        text += piece;
        left -= piece;
        if (left != 0 && left % k_bytes_between_polls < k_piece) [[unlikely]] {
            host::check_for_interrupts();
        }
    }
}

[[nodiscard]] bool is_ascii(const xmlChar *text) {
    std::size_t until_poll = k_bytes_between_polls;
    for (; *text != 0; ++text) {
        if (*text >= 0x80) {
            return false;
        }
        if (--until_poll == 0) [[unlikely]] {
            until_poll = k_bytes_between_polls;
            host::check_for_interrupts();
        }
    }
    return true;
}

[[nodiscard]] bool is_xml_character(unsigned value) noexcept {
    if (value < 0x20) {
        return value == 0x9 || value == 0xA || value == 0xD;
    }
    return value <= 0xD7FF || (value >= 0xE000 && value <= 0xFFFD) ||
           (value >= 0x10000 && value <= 0x10FFFF);
}

// The character at `text`, which begins with a byte beyond ASCII and a second one that is not
// zero, and its length in bytes; the first byte when there is no valid one. Continuation bytes are
// taken for what they are without a look, as libxml2 did.
struct decoded {
    unsigned value;
    int length;
};
[[nodiscard]] decoded decode(const std::uint8_t *text) noexcept {
    const decoded byte{text[0], 1};
    decoded result = byte;
    if (text[0] < 0xC0) {
        return result;
    }
    if (text[0] < 0xE0) {
        result = {(text[0] & 0x1FU) << 6U | (text[1] & 0x3FU), 2};
    } else if (text[0] < 0xF0 && text[2] != 0) {
        result = {(text[0] & 0x0FU) << 12U | (text[1] & 0x3FU) << 6U | (text[2] & 0x3FU), 3};
    } else if (text[0] < 0xF8 && text[2] != 0 && text[3] != 0) {
        result = {(text[0] & 0x07U) << 18U | (text[1] & 0x3FU) << 12U | (text[2] & 0x3FU) << 6U |
                      (text[3] & 0x3FU),
                  4};
    }
    return is_xml_character(result.value) ? result : byte;
}

constexpr unsigned k_replacement = 0xFFFD;

// The same of bytes of which each is looked at, but for the highest bits of the first. What is no
// character is the replacement character.
[[nodiscard]] decoded decode_strictly(const std::uint8_t *text) noexcept {
    constexpr decoded k_invalid{k_replacement, 1};
    const unsigned first = text[0];
    const int length = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    if (first < 0xC2) {
        return k_invalid;
    }
    unsigned value = first & (length == 2 ? 0x1FU : length == 3 ? 0x0FU : 0x07U);
    for (int place = 1; place < length; ++place) {
        if ((text[place] & 0xC0U) != 0x80U) { // the end of the text, too
            return k_invalid;
        }
        value = value << 6U | (text[place] & 0x3FU);
    }
    const unsigned least = length == 2 ? 0x80 : length == 3 ? 0x800 : 0x10000;
    if (value < least || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) {
        return k_invalid;
    }
    return {is_xml_character(value) ? value : k_replacement, length};
}

[[nodiscard]] char *write_hexadecimal_reference(char *next, unsigned value) noexcept {
    *next++ = '&';
    *next++ = '#';
    *next++ = 'x';
    int shift = 4 * ((31 - __builtin_clz(value)) / 4);
    for (; shift >= 0; shift -= 4) {
        *next++ = k_upper_digits[(value >> static_cast<unsigned>(shift)) & 0xFU];
    }
    *next++ = ';';
    return next;
}

template <escape_rules rules>
void write_ascii(text_output &output, const xmlChar *text, invalid_bytes rule) {
    constexpr bool k_passes_last_byte = rules == escape_rules::early;
    if (is_ascii(text)) {
        write_escaped<place::attribute, rules>(output, text);
        return;
    }
    std::size_t steps = 0;
    while (*text != 0) {
        if (++steps % k_bytes_between_polls == 0) [[unlikely]] {
            host::check_for_interrupts();
        }
        char *next = output.room(k_block + k_longest_reference);
        if (*text < 0x80 || (k_passes_last_byte && text[1] == 0)) {
            next = escape<place::attribute, rules>(next, reinterpret_cast<const char *>(text), 1);
            ++text;
        } else {
            const decoded character =
                rule == invalid_bytes::referred_to ? decode(text) : decode_strictly(text);
            next = write_hexadecimal_reference(next, character.value);
            text += character.length;
        }
        output.advance_to(next);
    }
}

} // namespace

void write_escaped_text(text_output &output, const xmlChar *text, escape_rules rules) {
    if (rules == escape_rules::early) {
        write_escaped<place::text, escape_rules::early>(output, text);
    } else {
        write_escaped<place::text, escape_rules::late>(output, text);
    }
}

void write_escaped_attribute(text_output &output, const xmlChar *text, escape_rules rules) {
    if (rules == escape_rules::early) {
        write_escaped<place::attribute, escape_rules::early>(output, text);
    } else {
        write_escaped<place::attribute, escape_rules::late>(output, text);
    }
}

void write_ascii_attribute(text_output &output, const xmlChar *text, escape_rules rules,
                           invalid_bytes rule) {
    if (rules == escape_rules::early) {
        write_ascii<escape_rules::early>(output, text, rule);
    } else {
        write_ascii<escape_rules::late>(output, text, rule);
    }
}

} // namespace pkg_dbe_xml
