// Character sets of the standalone host: those of iconv, under the names that databases give them.
#include "host/encoding.hpp"

#include "session_record.hpp"

#include <cctype>
#include <cerrno>
#include <stdexcept>

namespace host {

using standalone::current_session;

namespace {

constexpr int k_sql_ascii = 0;

struct encoding_row {
    int number;
    const char *name;
    const char *iconv_name;
    bool single_byte; // every byte is a character, or none at all
};

constexpr encoding_row k_encodings[] = {
    {k_sql_ascii, "SQL_ASCII", "US-ASCII", true},
    {1, "EUC_JP", "EUC-JP", false},
    {2, "EUC_CN", "EUC-CN", false},
    {3, "EUC_KR", "EUC-KR", false},
    {4, "EUC_TW", "EUC-TW", false},
    {5, "EUC_JIS_2004", "EUC-JISX0213", false},
    {k_utf8, "UTF8", "UTF-8", false},
    {8, "LATIN1", "ISO-8859-1", true},
    {9, "LATIN2", "ISO-8859-2", true},
    {10, "LATIN5", "ISO-8859-9", true},
    {11, "LATIN9", "ISO-8859-15", true},
    {12, "WIN1250", "CP1250", true},
    {13, "WIN1251", "CP1251", true},
    {14, "WIN1252", "CP1252", true},
    {15, "WIN1253", "CP1253", true},
    {16, "WIN866", "CP866", true},
    {17, "WIN874", "CP874", true},
    {18, "KOI8R", "KOI8-R", true},
    {19, "KOI8U", "KOI8-U", true},
    {20, "ISO_8859_5", "ISO-8859-5", true},
    {21, "GBK", "GBK", false},
    {22, "GB18030", "GB18030", false},
    {23, "BIG5", "BIG5", false},
    {24, "SJIS", "SHIFT_JIS", false},
    {25, "UHC", "UHC", false},
    {26, "JOHAB", "JOHAB", false},
};
// Any other that iconv knows.
constexpr int k_other_encoding = 1000;

std::string plain_name(std::string_view name) {
    std::string plain;
    for (const char letter : name) {
        if (letter != '_' && letter != '-' && letter != ' ') {
            plain += static_cast<char>(std::toupper(static_cast<unsigned char>(letter)));
        }
    }
    return plain == "UNICODE" ? "UTF8" : plain;
}

const encoding_row *row_of(int number) noexcept {
    for (const encoding_row &row : k_encodings) {
        if (row.number == number) {
            return &row;
        }
    }
    return nullptr;
}

std::string display_name(int number) {
    const encoding_row *row = row_of(number);
    return row != nullptr ? row->name : current_session().encoding_name;
}

// Length of the well-formed UTF-8 character at the beginning of `text`, 0 when there is none.
std::size_t utf8_character(std::string_view text) noexcept {
    const auto byte = [text](std::size_t i) {
        return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
    };
    const auto follows = [&byte](std::size_t i) { return (byte(i) & 0xC0U) == 0x80U; };
    const unsigned first = byte(0);
    if (first == 0) {
        return 0;
    }
    if (first < 0x80U) {
        return 1;
    }
    if (first >= 0xC2U && first <= 0xDFU) {
        return follows(1) ? 2 : 0;
    }
    if (first >= 0xE0U && first <= 0xEFU) {
        const bool in_range =
            !(first == 0xE0U && byte(1) < 0xA0U) && !(first == 0xEDU && byte(1) > 0x9FU);
        return in_range && follows(1) && follows(2) ? 3 : 0;
    }
    if (first >= 0xF0U && first <= 0xF4U) {
        const bool in_range =
            !(first == 0xF0U && byte(1) < 0x90U) && !(first == 0xF4U && byte(1) > 0x8FU);
        return in_range && follows(1) && follows(2) && follows(3) ? 4 : 0;
    }
    return 0;
}

// The first `most` bytes as the host's messages show them.
std::string shown_bytes(std::string_view text, std::size_t most) {
    constexpr char digits[] = "0123456789abcdef";
    std::string shown;
    for (const char letter : text.substr(0, most)) {
        const auto byte = static_cast<unsigned char>(letter);
        shown += shown.empty() ? "0x" : " 0x";
        shown += digits[byte >> 4U];
        shown += digits[byte & 0xFU];
    }
    return shown;
}

[[noreturn]] void raise_invalid(int encoding, std::string_view rest) {
    const encoding_row *row = row_of(encoding);
    const std::size_t most = row != nullptr && row->single_byte ? 1 : 4;
    standalone::raise_host_error("22021", "invalid byte sequence for encoding \"" +
                                              display_name(encoding) +
                                              "\": " + shown_bytes(rest, most));
}

[[noreturn]] void raise_unknown_character(int from, int to, std::string_view character) {
    standalone::raise_host_error(
        "22P05", "character with byte sequence " + shown_bytes(character, character.size()) +
                     " in encoding \"" + display_name(from) +
                     "\" has no equivalent in encoding \"" + display_name(to) + "\"");
}

// Bytes of the well-formed UTF-8 that `text` begins with.
std::size_t valid_utf8(std::string_view text) noexcept {
    std::size_t valid = 0;
    while (valid < text.size()) {
        const std::size_t length = utf8_character(text.substr(valid));
        if (length == 0) {
            break;
        }
        valid += length;
    }
    return valid;
}

// Bytes at the beginning that iconv converts; it stops at a character that is cut, too.
std::size_t convertible(iconv_t handle, const char *text, std::size_t length) noexcept {
    iconv(handle, nullptr, nullptr, nullptr, nullptr);
    char *input = const_cast<char *>(text); // read only
    std::size_t left = length;
    while (left != 0) {
        char output[256];
        char *place = output;
        std::size_t room = sizeof output;
        if (iconv(handle, &input, &left, &place, &room) == static_cast<std::size_t>(-1) &&
            errno != E2BIG) {
            break;
        }
    }
    return length - left;
}

// Whether the rest of a piece is the beginning of a character of several bytes: one that its first
// byte says is longer. Encodings of two or three bytes are only asked for a byte beyond ASCII.
bool may_go_on(std::string_view rest, bool utf8) noexcept {
    const auto first = static_cast<unsigned char>(rest.front());
    if (!utf8) {
        return first >= 0x80U;
    }
    const std::size_t length = first >= 0xF0U ? 4 : first >= 0xE0U ? 3 : first >= 0xC0U ? 2 : 1;
    return length > rest.size();
}

// What a database without a character set says to text that has to be of one.
void verify(std::string_view text, int encoding) {
    while (encoding == k_utf8 && !text.empty()) {
        const std::size_t length = utf8_character(text);
        if (length == 0) {
            raise_invalid(k_utf8, text);
        }
        text.remove_prefix(length);
    }
}

// iconv stopped at the beginning of `rest`: says why.
[[noreturn]] void raise_stopped(int from, int to, std::string_view rest) {
    const encoding_row *row = row_of(from);
    std::size_t character = 0;
    if (from == k_utf8) {
        character = utf8_character(rest);
    } else if (row != nullptr && row->single_byte && rest.front() != '\0') {
        character = 1;
    }
    if (character != 0) {
        raise_unknown_character(from, to, rest.substr(0, character));
    }
    raise_invalid(from, rest);
}

// Converted text that grows; given back when the conversion fails.
struct output_buffer {
    std::unique_ptr<char, memory_deleter> bytes;
    std::size_t size = 0;
    std::size_t capacity = 0;

    void grow(std::size_t least) {
        const std::size_t bigger_capacity = std::max(least, capacity * 2);
        std::unique_ptr<char, memory_deleter> bigger(static_cast<char *>(
            mmgr_memory_alloc_huge(current_memory_context(), bigger_capacity + 1)));
        if (size != 0) {
            std::memcpy(bigger.get(), bytes.get(), size);
        }
        bytes = std::move(bigger);
        capacity = bigger_capacity;
    }
};

char *convert(iconv_t handle, char *text, std::size_t length, int from, int to) {
    iconv(handle, nullptr, nullptr, nullptr, nullptr);
    output_buffer output;
    output.grow(length + length / 2 + 16);
    char *input = text;
    std::size_t left = length;
    for (;;) {
        char *place = output.bytes.get() + output.size;
        std::size_t room = output.capacity - output.size;
        const bool all = left == 0;
        const std::size_t outcome =
            iconv(handle, all ? nullptr : &input, all ? nullptr : &left, &place, &room);
        const int reason = outcome == static_cast<std::size_t>(-1) ? errno : 0;
        output.size = static_cast<std::size_t>(place - output.bytes.get());
        if (reason == E2BIG) {
            output.grow(output.capacity + left + 16);
        } else if (reason != 0) {
            raise_stopped(from, to, {input, left});
        } else if (all) {
            break;
        }
    }
    output.bytes.get()[output.size] = '\0';
    return output.bytes.release();
}

} // namespace

int mb_get_database_encoding() noexcept { return current_session().encoding; }

char *mb_do_encoding_conversion(char *text, std::size_t length, int from, int to,
                                bool /*no_error*/) {
    const standalone::session &own = current_session();
    if (length == 0 || from == to || to == k_sql_ascii) {
        return text;
    }
    standalone::fault_point(standalone::service::conversion);
    if (from == k_sql_ascii) {
        verify({text, length}, to);
        return text;
    }
    const std::string_view bytes(text, length);
    if (const std::size_t zero = bytes.find('\0'); zero != std::string_view::npos) {
        raise_invalid(from, bytes.substr(zero, 1));
    }
    if (from == own.encoding && to == k_utf8) {
        return convert(own.to_utf8, text, length, from, to);
    }
    if (from == k_utf8 && to == own.encoding) {
        return convert(own.from_utf8, text, length, from, to);
    }
    standalone::misuse("a conversion other than between the database's encoding and UTF-8");
}

std::size_t mb_check_text(const char *text, std::size_t length, int encoding, bool last) {
    const encoding_row *row = row_of(encoding);
    const bool utf8 = encoding == k_utf8 || encoding == k_sql_ascii;
    const std::size_t zero = std::string_view(text, length).find('\0');
    const std::size_t end = std::min(zero, length);
    std::size_t whole = end;
    if (utf8) {
        whole = valid_utf8({text, end});
    } else if (row == nullptr || !row->single_byte) {
        whole = convertible(current_session().to_utf8, text, end);
    }
    // A character is cut when what is there of it can still become one.
    const bool cut = whole < length && zero >= length && !last && length - whole < 4;
    if (whole < length && !(cut && may_go_on({text + whole, length - whole}, utf8))) {
        raise_invalid(utf8 ? k_utf8 : encoding, {text + whole, length - whole});
    }
    return whole;
}

namespace standalone {

void open_encoding(session &owner, std::string_view name) {
    owner.encoding = k_other_encoding;
    owner.encoding_name = name;
    owner.iconv_name = name;
    for (const encoding_row &row : k_encodings) {
        if (plain_name(row.name) == plain_name(name)) {
            owner.encoding = row.number;
            owner.encoding_name = row.name;
            owner.iconv_name = row.iconv_name;
        }
    }
    owner.to_utf8 = iconv_open("UTF-8", owner.iconv_name.c_str());
    owner.from_utf8 = iconv_open(owner.iconv_name.c_str(), "UTF-8");
    const auto none = reinterpret_cast<iconv_t>(-1);
    if (owner.to_utf8 == none || owner.from_utf8 == none) {
        close_encoding(owner);
        throw std::invalid_argument("unknown database encoding " + std::string(name));
    }
}

void close_encoding(session &owner) noexcept {
    const auto none = reinterpret_cast<iconv_t>(-1);
    for (iconv_t handle : {owner.to_utf8, owner.from_utf8}) {
        if (handle != none) {
            iconv_close(handle);
        }
    }
}

} // namespace standalone
} // namespace host
