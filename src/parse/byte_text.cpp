// Bytes to text. See byte_text.hpp.

#include "parse/byte_text.hpp"

#include "error_reports.hpp"
#include "host/error.hpp"
#include "libxml/xml.hpp"
#include "text/encoding_handler.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>

namespace pkg_dbe_xml {

namespace {

using namespace std::string_view_literals;

// How a text begins, and what that says.
struct beginning {
    std::string_view bytes;
    const char *encoding;
    std::size_t mark; // bytes that are no text
};
// The longer ones first.
constexpr std::array k_beginnings{beginning{"\x00\x00\xFE\xFF"sv, "UCS-4BE", 4},
                                  beginning{"\xFF\xFE\x00\x00"sv, "UCS-4LE", 4},
                                  beginning{"\x00\x00\x00<"sv, "UCS-4BE", 0},
                                  beginning{"<\x00\x00\x00"sv, "UCS-4LE", 0},
                                  beginning{"\xEF\xBB\xBF"sv, "UTF-8", 3},
                                  beginning{"\xFE\xFF"sv, "UTF-16BE", 2},
                                  beginning{"\xFF\xFE"sv, "UTF-16LE", 2},
                                  beginning{"\x00<"sv, "UTF-16BE", 0},
                                  beginning{"<\x00"sv, "UTF-16LE", 0}};

constexpr std::size_t k_longest_name = 60;
using encoding_name = std::array<char, k_longest_name + 1>;

// The encoding that an XML declaration names; empty when there is none. Longer ones are cut, and
// then known to nobody.
[[nodiscard]] encoding_name declared_encoding(std::string_view text) noexcept {
    encoding_name name{};
    if (text.substr(0, 5) != "<?xml") {
        return name;
    }
    const std::string_view declaration = text.substr(0, text.find("?>"));
    std::size_t place = declaration.find("encoding");
    if (place == std::string_view::npos) {
        return name;
    }
    place = declaration.find_first_of("\"'", place);
    if (place == std::string_view::npos) {
        return name;
    }
    const std::string_view rest = declaration.substr(place + 1);
    const std::string_view found = rest.substr(0, rest.find(declaration[place]));
    std::copy_n(found.begin(), std::min(found.size(), k_longest_name), name.begin());
    return name;
}

[[nodiscard]] bool is_name(const char *name, std::string_view other) noexcept {
    return std::equal(other.begin(), other.end(), name, name + std::strlen(name),
                      [](char left, char right) noexcept {
                          return left == std::toupper(static_cast<unsigned char>(right));
                      });
}

// A text that was read as far as its declaration byte by byte is in no encoding of wider units.
[[nodiscard]] bool is_wide(const char *name) noexcept {
    return is_name(name, "UTF-16") || is_name(name, "UTF-16LE") || is_name(name, "UTF-16BE") ||
           is_name(name, "UCS-2") || is_name(name, "UCS-4") || is_name(name, "UTF-32") ||
           is_name(name, "ISO-10646-UCS-2") || is_name(name, "ISO-10646-UCS-4");
}

// Adds bytes to a piece and converts them behind `made`. What is left in the piece is a character
// that its end cuts, or none of the encoding. libxml2 makes room for two bytes for each one, and
// stops where that does not do. False when memory runs out.
[[nodiscard]] bool convert_piece(xmlCharEncodingHandler *handler, xmlBuffer *piece,
                                 std::string_view bytes, xmlBuffer *made) {
    if (xmlBufferAdd(piece, reinterpret_cast<const xmlChar *>(bytes.data()),
                     static_cast<int>(bytes.size())) != 0) {
        return false;
    }
    int left = xmlBufferLength(piece);
    for (int before = left + 1; left > 0 && left < before; left = xmlBufferLength(piece)) {
        before = left;
        static_cast<void>(xmlCharEncInFunc(handler, made, piece));
    }
    return true;
}

} // namespace

bytes_encoding encoding_of(std::string_view bytes) noexcept {
    bytes_encoding found;
    for (const beginning &each : k_beginnings) {
        if (bytes.substr(0, each.bytes.size()) == each.bytes) {
            found.mark = each.mark;
            if (!is_name(each.encoding, "UTF-8")) {
                std::copy_n(each.encoding, std::strlen(each.encoding), found.name.begin());
            }
            return found;
        }
    }
    found.name = declared_encoding(bytes);
    if (is_name(found.name.data(), "UTF-8") || is_wide(found.name.data())) {
        found.name[0] = '\0';
    }
    return found;
}

byte_text::byte_text(std::string_view bytes) : text_(bytes) {
    const bytes_encoding encoding = encoding_of(bytes);
    text_.remove_prefix(encoding.mark);
    if (encoding.name[0] != '\0') {
        convert(text_, encoding.name.data());
    }
}

void byte_text::convert(std::string_view bytes, const char *encoding) {
    constexpr std::size_t k_piece = 65536;
    const host::xml_scope scope;
    const encoding_handler_ptr handler(find_encoding_handler(encoding));
    if (handler == nullptr && !scope.refused()) {
        report(reports::unsupported_character_set);
    }
    const xml_buffer_ptr piece(xmlBufferCreate());
    converted_.reset(xmlBufferCreate());
    if (piece == nullptr || converted_ == nullptr || scope.refused()) {
        report(reports::out_of_memory);
    }
    xmlBufferSetAllocationScheme(converted_.get(), XML_BUFFER_ALLOC_DOUBLEIT);
    while (!bytes.empty()) {
        const std::size_t size = std::min(bytes.size(), k_piece);
        if (!convert_piece(handler.get(), piece.get(), bytes.substr(0, size), converted_.get()) ||
            scope.refused()) {
            report(reports::out_of_memory);
        }
        if (xmlBufferLength(piece.get()) > k_cut_character) {
            report(reports::undecodable_text, {encoding});
        }
        bytes.remove_prefix(size);
        host::check_for_interrupts();
    }
    if (xmlBufferLength(piece.get()) != 0) {
        report(reports::undecodable_text, {encoding});
    }
    text_ = {reinterpret_cast<const char *>(xmlBufferContent(converted_.get())),
             static_cast<std::size_t>(xmlBufferLength(converted_.get()))};
}

} // namespace pkg_dbe_xml
