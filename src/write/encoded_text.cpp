// Texts as bytes. See encoded_text.hpp.

#include "write/encoded_text.hpp"

#include "error_reports.hpp"
#include "host/error.hpp"
#include "host/text.hpp"
#include "libxml/xml.hpp"
#include "text/encoding_handler.hpp"
#include "text/text_limits.hpp"
#include "xml_owner.hpp"

#include <algorithm>
#include <iterator>

namespace pkg_dbe_xml {

namespace {

constexpr std::size_t k_piece = 65536;

[[nodiscard]] bool is_same_name(const char *left, const char *right) noexcept {
    return xmlStrcasecmp(reinterpret_cast<const xmlChar *>(left),
                         reinterpret_cast<const xmlChar *>(right)) == 0;
}

[[nodiscard]] host::datum bytes_result(const xmlBuffer *buffer) {
    const auto size = static_cast<std::size_t>(xmlBufferLength(buffer));
    const std::size_t total = size + host::k_long_header;
    if (static_cast<std::int64_t>(total) > longest_value()) {
        report(reports::over_one_gigabyte);
    }
    auto *const value =
        static_cast<host::varlena *>(asserted(host::allocate_result(total), k_no_result_room));
    host::set_total_size(value, total);
    host::copy_bytes(reinterpret_cast<char *>(value) + host::k_long_header, size,
                     xmlBufferContent(buffer), size);
    return host::from_pointer(value);
}

// Whether markup in an encoding begins as it does in ASCII, so that its declaration can be read.
[[nodiscard]] bool keeps_ascii(xmlCharEncodingHandler *handler) {
    constexpr std::string_view k_markup = "<?xml";
    const xml_buffer_ptr from(xmlBufferCreate());
    const xml_buffer_ptr to(xmlBufferCreate());
    if (from == nullptr || to == nullptr ||
        xmlBufferAdd(from.get(), reinterpret_cast<const xmlChar *>(k_markup.data()),
                     static_cast<int>(k_markup.size())) != 0) {
        return false;
    }
    static_cast<void>(xmlCharEncOutFunc(handler, to.get(), from.get()));
    return k_markup == std::string_view(reinterpret_cast<const char *>(xmlBufferContent(to.get())),
                                        static_cast<std::size_t>(xmlBufferLength(to.get())));
}

// Writes what a piece has become in an encoding behind `made`; what is left of it is part of a
// character. False when memory runs out.
[[nodiscard]] bool encode(xmlCharEncodingHandler *handler, xmlBuffer *piece, std::string_view text,
                          xmlBuffer *made) {
    if (xmlBufferAdd(piece, reinterpret_cast<const xmlChar *>(text.data()),
                     static_cast<int>(text.size())) != 0) {
        return false;
    }
    // Stops before a character that the piece cuts, and at one that became a reference.
    int before = 0;
    while (xmlBufferLength(piece) != before) {
        before = xmlBufferLength(piece);
        static_cast<void>(xmlCharEncOutFunc(handler, made, piece));
    }
    return xmlBufferLength(piece) <= 8;
}

} // namespace

bool is_utf8(const char *encoding) noexcept {
    return xmlParseCharEncoding(encoding) == XML_CHAR_ENCODING_UTF8;
}

bool tells_itself(const char *encoding) noexcept {
    for (const char *const name : {"UTF-16", "UTF-16LE", "UTF-16BE", "UCS-2", "UCS-4", "UTF-32"}) {
        if (is_same_name(encoding, name)) {
            return true;
        }
    }
    return is_utf8(encoding);
}

bool is_known_encoding(const char *encoding) {
    if (is_utf8(encoding)) {
        return true;
    }
    const host::xml_scope scope;
    const encoding_handler_ptr handler(find_encoding_handler(encoding));
    // libxml2's "HTML" is no encoding: it writes references that XML does not know.
    const bool known = handler != nullptr && !is_same_name(encoding, "HTML") &&
                       (tells_itself(encoding) || keeps_ascii(handler.get()));
    if (scope.refused()) {
        report(reports::out_of_memory);
    }
    return known;
}

host::datum encoded_result(std::string_view text, const char *encoding) {
    const host::xml_scope scope;
    const encoding_handler_ptr handler(find_encoding_handler(encoding));
    const xml_buffer_ptr piece(xmlBufferCreate());
    const xml_buffer_ptr made(xmlBufferCreate());
    if (handler == nullptr || piece == nullptr || made == nullptr || scope.refused()) {
        report(reports::out_of_memory);
    }
    xmlBufferSetAllocationScheme(made.get(), XML_BUFFER_ALLOC_DOUBLEIT);
    static_cast<void>(xmlCharEncOutFunc(handler.get(), made.get(), nullptr)); // byte order mark
    while (!text.empty()) {
        const std::size_t size = std::min(text.size(), k_piece);
        if (!encode(handler.get(), piece.get(), text.substr(0, size), made.get()) ||
            scope.refused()) {
            report(reports::out_of_memory);
        }
        text.remove_prefix(size);
        host::check_for_interrupts();
    }
    return bytes_result(made.get());
}

bool is_without_state(const char *encoding) noexcept {
    constexpr std::string_view k_beginnings[] = {"ISO-8859-", "windows-125", "UTF-16", "KOI8-"};
    return is_same_name(encoding, "ASCII") || is_same_name(encoding, "US-ASCII") ||
           std::any_of(std::begin(k_beginnings), std::end(k_beginnings),
                       [encoding](std::string_view beginning) {
                           return xmlStrncasecmp(
                                      reinterpret_cast<const xmlChar *>(encoding),
                                      reinterpret_cast<const xmlChar *>(beginning.data()),
                                      static_cast<int>(beginning.size())) == 0;
                       });
}

encoded_size::encoded_size(const char *encoding) {
    const host::xml_scope scope;
    handler_ = find_encoding_handler(encoding);
    if (handler_ != nullptr) {
        piece_.reset(xmlBufferCreate());
        made_.reset(xmlBufferCreate());
    }
    if (scope.refused() || (handler_ != nullptr && (piece_ == nullptr || made_ == nullptr))) {
        report(reports::out_of_memory);
    }
}

void encoded_size::take(void *own, std::string_view bytes) {
    auto &size = *static_cast<encoded_size *>(own);
    while (!bytes.empty()) {
        size.take_piece(bytes.substr(0, k_piece));
        bytes.remove_prefix(std::min(bytes.size(), k_piece));
        host::check_for_interrupts();
    }
}

void encoded_size::take_piece(std::string_view bytes) {
    const host::xml_scope scope;
    if (!encode(handler_.get(), piece_.get(), bytes, made_.get()) || scope.refused()) {
        report(reports::out_of_memory);
    }
    bytes_ += xmlBufferLength(made_.get());
    xmlBufferEmpty(made_.get());
}

} // namespace pkg_dbe_xml
