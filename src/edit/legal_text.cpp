// Names and data as XML 1.0 (fifth edition) allows them, which is what libxml2 reads.

#include "edit/legal_text.hpp"

#include "tree/text_compare.hpp"

#include <array>
#include <cstdint>
#include <cstring>

namespace pkg_dbe_xml {

namespace {

struct character {
    std::uint32_t code;
    std::uint32_t size; // 0: no UTF-8
};

// Bytes behind the first of a character that is no ASCII; 4 for a byte that begins none.
[[nodiscard]] std::uint32_t bytes_behind(xmlChar first) noexcept {
    if (first >= 0xC2 && first < 0xE0) {
        return 1;
    }
    if (first >= 0xE0 && first < 0xF0) {
        return 2;
    }
    return first >= 0xF0 && first < 0xF5 ? 3 : 4;
}

// Read in a text that a zero byte ends, which no character holds.
constexpr std::size_t k_up_to_zero = 4;

// The character at the beginning of a text, of several bytes, `size` of which are there at most.
[[nodiscard]] character read_long_character(const xmlChar *text, std::size_t size) noexcept {
    const std::uint32_t behind = bytes_behind(*text);
    if (behind == 4 || behind >= size) {
        return {0, 0};
    }
    std::uint32_t code = *text & (0x3FU >> behind);
    for (std::uint32_t index = 1; index <= behind; ++index) {
        if ((text[index] & 0xC0U) != 0x80U) {
            return {0, 0};
        }
        code = (code << 6U) | (text[index] & 0x3FU);
    }
    constexpr std::uint32_t k_least[4] = {0, 0x80, 0x800, 0x10000};
    return code < k_least[behind] ? character{0, 0} : character{code, behind + 1};
}

// The character at the beginning of a text; the zero byte at its end is a character of size 1.
[[nodiscard]] inline character read_character(const xmlChar *text,
                                              std::size_t size = k_up_to_zero) noexcept {
    return *text < 0x80 ? character{*text, 1} : read_long_character(text, size);
}

[[nodiscard]] bool is_xml_character(character read) noexcept {
    if (read.size == 0) {
        return false;
    }
    const std::uint32_t code = read.code;
    if (code < 0x20) {
        return code == 0x9 || code == 0xA || code == 0xD;
    }
    return code <= 0xD7FF || (code >= 0xE000 && code <= 0xFFFD) ||
           (code >= 0x10000 && code <= 0x10FFFF);
}

struct code_range {
    std::uint32_t first;
    std::uint32_t last;
};

constexpr code_range k_name_starts[] = {
    {'A', 'Z'},       {'_', '_'},       {'a', 'z'},       {0xC0, 0xD6},     {0xD8, 0xF6},
    {0xF8, 0x2FF},    {0x370, 0x37D},   {0x37F, 0x1FFF},  {0x200C, 0x200D}, {0x2070, 0x218F},
    {0x2C00, 0x2FEF}, {0x3001, 0xD7FF}, {0xF900, 0xFDCF}, {0xFDF0, 0xFFFD}, {0x10000, 0xEFFFF},
};
// What names hold beside those.
constexpr code_range k_name_rest[] = {
    {'-', '.'}, {'0', '9'}, {0xB7, 0xB7}, {0x300, 0x36F}, {0x203F, 0x2040},
};

template <std::size_t Count>
[[nodiscard]] constexpr bool is_in(const code_range (&ranges)[Count], std::uint32_t code) noexcept {
    for (const code_range &range : ranges) {
        if (code < range.first) {
            return false;
        }
        if (code <= range.last) {
            return true;
        }
    }
    return false;
}

// The same for the characters that most names consist of.
constexpr std::uint8_t k_starts_name = 1;
constexpr std::uint8_t k_stands_in_name = 2;
constexpr std::uint32_t k_ascii_end = 0x80;
constexpr auto k_ascii = [] {
    std::array<std::uint8_t, 0x100> kinds{}; // of bytes; those of longer characters have none
    for (std::uint32_t code = 0; code < k_ascii_end; ++code) {
        const bool starts = is_in(k_name_starts, code);
        kinds[code] =
            static_cast<std::uint8_t>((starts ? k_starts_name : 0) |
                                      (starts || is_in(k_name_rest, code) ? k_stands_in_name : 0));
    }
    return kinds;
}();

// What is no UTF-8 has the code 0, which stands in no name.
[[nodiscard]] bool starts_name(character read) noexcept {
    return read.code < k_ascii_end ? (k_ascii[read.code] & k_starts_name) != 0
                                   : is_in(k_name_starts, read.code);
}
[[nodiscard]] bool is_name_character(character read) noexcept {
    return read.code < k_ascii_end
               ? (k_ascii[read.code] & k_stands_in_name) != 0
               : is_in(k_name_starts, read.code) || is_in(k_name_rest, read.code);
}

// The next "prefix" or "name" of a qualified name: ends at a colon or the end of the text, which
// `text` points to then.
[[nodiscard]] text_check check_any_name_part(const xmlChar *&text, std::size_t &place) noexcept {
    const character first = read_character(text);
    if (first.size == 1 && first.code == ':') {
        return {text_fault::stray_colon, place};
    }
    if (!starts_name(first)) {
        return {first.size == 1 && first.code == 0 ? text_fault::empty_name
                                                   : text_fault::name_start,
                place};
    }
    for (character read = first; read.code != 0 && read.code != ':'; read = read_character(text)) {
        if (!is_name_character(read)) {
            return {text_fault::name_character, place};
        }
        text += read.size;
        ++place;
    }
    return *text == 0 || *text == ':' ? text_check{}
                                      : text_check{text_fault::name_character, place};
}

// The same, for nearly all names in a look at each byte.
[[nodiscard]] inline text_check check_name_part(const xmlChar *&text, std::size_t &place) noexcept {
    const xmlChar *end = text;
    while ((k_ascii[*end] & k_stands_in_name) != 0) {
        ++end;
    }
    if ((*end == 0 || *end == ':') && (k_ascii[*text] & k_starts_name) != 0) [[likely]] {
        place += static_cast<std::size_t>(end - text);
        text = end;
        return {};
    }
    return check_any_name_part(text, place);
}

[[nodiscard]] bool is_blank(xmlChar byte) noexcept {
    return byte == ' ' || byte == '\t' || byte == '\n' || byte == '\r';
}

// What a kind of data must not hold beside what is no character.
struct data_rules {
    const char *sequence; // null: any
    text_fault fault;     // of it
    bool is_text;         // carriage returns are written as references
};

[[nodiscard]] data_rules rules_for(xmlElementType type) noexcept {
    switch (type) {
    case XML_COMMENT_NODE:
        return {"--", text_fault::double_hyphen, false};
    case XML_PI_NODE:
        return {"?>", text_fault::instruction_end, false};
    case XML_CDATA_SECTION_NODE:
        return {"]]>", text_fault::section_end, false};
    default:
        return {nullptr, text_fault::none, true};
    }
}

// The place of a character, counted from 1.
[[nodiscard]] std::size_t place_of(const xmlChar *text, const xmlChar *character) noexcept {
    std::size_t place = 1;
    for (; text != character; ++text) {
        place += (*text & 0xC0U) == 0x80U ? 0 : 1;
    }
    return place;
}

[[nodiscard]] text_check check_by(const data_rules &rules, const xmlChar *text,
                                  std::size_t size) noexcept {
    if (rules.is_text && is_plain(text, size)) {
        return {};
    }
    const std::size_t length = rules.sequence == nullptr ? 0 : std::strlen(rules.sequence);
    const xmlChar *const end = text + size;
    for (const xmlChar *next = text; next != end;) {
        if (rules.is_text && static_cast<xmlChar>(*next - 0x20) < k_ascii_end - 0x20) {
            ++next;
            continue;
        }
        const auto left = static_cast<std::size_t>(end - next);
        const character read = read_character(next, left);
        if (!is_xml_character(read)) {
            return {text_fault::character, place_of(text, next)};
        }
        if (!rules.is_text) {
            if (read.code == '\r') {
                return {text_fault::carriage_return, place_of(text, next)};
            }
            if (left >= length && std::memcmp(next, rules.sequence, length) == 0) {
                return {rules.fault, place_of(text, next)};
            }
        }
        next += read.size;
    }
    return {};
}

} // namespace

const char *words_for(text_fault fault) noexcept {
    switch (fault) {
    case text_fault::none:
        return "nothing is wrong";
    case text_fault::empty_name:
        return "a name has at least one character";
    case text_fault::name_start:
        return "a name begins with a letter or an underscore";
    case text_fault::name_character:
        return "a name holds letters, digits, underscores, hyphens and full stops only";
    case text_fault::stray_colon:
        return "a colon stands only between a prefix and a name";
    case text_fault::reserved_target:
        return "no processing instruction is called \"xml\"";
    case text_fault::character:
        return "XML has no such character";
    case text_fault::carriage_return:
        return "a carriage return is kept only in texts and attributes";
    case text_fault::double_hyphen:
        return "a comment cannot hold \"--\"";
    case text_fault::hyphen_at_end:
        return "a comment cannot end in \"-\"";
    case text_fault::instruction_end:
        return "a processing instruction cannot hold \"?>\"";
    case text_fault::blank_at_start:
        return "the data of a processing instruction cannot begin with a blank";
    case text_fault::section_end:
        return "a CDATA section cannot hold \"]]>\"";
    case text_fault::public_id:
        return "public identifiers hold Latin letters, digits, blanks and -'()+,./:=?;!*#@$_% only";
    case text_fault::both_quotes:
        return "a system identifier holds one kind of quotes at most";
    }
    return "";
}

text_check check_plain_name(const xmlChar *name) noexcept {
    std::size_t place = 1;
    const text_check check = check_name_part(name, place);
    return check.passed() && *name == ':' ? text_check{text_fault::stray_colon, place} : check;
}

qualified_name check_qualified_name(const xmlChar *name) noexcept {
    const xmlChar *text = name;
    std::size_t place = 1;
    qualified_name parts;
    parts.local = name;
    parts.check = check_name_part(text, place);
    if (!parts.check.passed() || *text == 0) {
        return parts;
    }
    parts.prefix_size = static_cast<std::size_t>(text - name);
    parts.local = ++text;
    const std::size_t colon = place++;
    parts.check = check_name_part(text, place);
    if (parts.check.fault == text_fault::empty_name) {
        parts.check = {text_fault::stray_colon, colon};
    } else if (parts.check.passed() && *text != 0) {
        parts.check = {text_fault::stray_colon, place};
    }
    return parts;
}

bool copy_plain_name(const xmlChar *name, std::size_t size, xmlChar *copy) noexcept {
    if (size == 0 || (k_ascii[*name] & k_starts_name) == 0) {
        return false;
    }
    for (const xmlChar *const end = name + size; name != end; ++name, ++copy) {
        if ((k_ascii[*name] & k_stands_in_name) == 0) {
            return false;
        }
        *copy = *name;
    }
    *copy = 0;
    return true;
}

text_check check_target(const xmlChar *name) noexcept {
    const text_check check = check_plain_name(name);
    if (check.passed() && xmlStrcasecmp(name, reinterpret_cast<const xmlChar *>("xml")) == 0) {
        return {text_fault::reserved_target, 1};
    }
    return check;
}

text_check check_characters(const xmlChar *text) noexcept {
    return check_by(rules_for(XML_TEXT_NODE), text, length_of(text));
}

text_check check_public_id(const text_bytes &text) noexcept {
    constexpr const char *k_signs = " \n-'()+,./:=?;!*#@$_%";
    std::size_t place = 1;
    const xmlChar *const end = text.bytes + text.size;
    for (const xmlChar *next = text.bytes; next != end; ++next, ++place) {
        const bool is_allowed = (*next >= 'a' && *next <= 'z') || (*next >= 'A' && *next <= 'Z') ||
                                (*next >= '0' && *next <= '9') ||
                                std::strchr(k_signs, *next) != nullptr;
        if (!is_allowed) {
            return {text_fault::public_id, place};
        }
    }
    return {};
}

text_check check_system_id(const text_bytes &text) noexcept {
    const auto find = [text](int byte) {
        return static_cast<const xmlChar *>(std::memchr(text.bytes, byte, text.size));
    };
    if (!is_plain(text.bytes, text.size)) {
        if (const text_check check = check_data(XML_TEXT_NODE, text.bytes, text.size);
            !check.passed()) {
            return check;
        }
        if (const xmlChar *const end = find('\r')) {
            return {text_fault::carriage_return, place_of(text.bytes, end)};
        }
    }
    const xmlChar *const quote = find('"');
    const xmlChar *const apostrophe = quote == nullptr ? nullptr : find('\'');
    if (apostrophe == nullptr) {
        return {};
    }
    return {text_fault::both_quotes, place_of(text.bytes, quote > apostrophe ? quote : apostrophe)};
}

text_check check_data(xmlElementType type, const xmlChar *text) noexcept {
    return check_data(type, text, length_of(text));
}

text_check check_data(xmlElementType type, const xmlChar *text, std::size_t size) noexcept {
    if (size == 0) {
        return {};
    }
    if (type == XML_PI_NODE && is_blank(*text)) {
        return {text_fault::blank_at_start, 1};
    }
    const text_check check = check_by(rules_for(type), text, size);
    if (check.passed() && type == XML_COMMENT_NODE && text[size - 1] == '-') {
        return {text_fault::hyphen_at_end, place_of(text, text + size - 1)};
    }
    return check;
}

std::size_t bytes_of_characters(const xmlChar *text, std::size_t count) noexcept {
    const xmlChar *place = text;
    for (; count != 0; --count) {
        if (*place == 0) {
            return SIZE_MAX;
        }
        ++place;
        while ((*place & 0xC0U) == 0x80U) {
            ++place;
        }
    }
    return static_cast<std::size_t>(place - text);
}

std::size_t count_characters(const xmlChar *text) noexcept {
    std::size_t count = 0;
    for (; *text != 0; ++text) {
        count += (*text & 0xC0U) != 0x80U ? 1 : 0;
    }
    return count;
}

} // namespace pkg_dbe_xml
