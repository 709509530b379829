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
        const bool added = xmlBufferAdd(piece.get(), reinterpret_cast<const xmlChar *>(text.data()),
                                        static_cast<int>(size)) == 0;
        // Stops before a character that the piece cuts, and at one that became a reference.
        int before = 0;
        while (added && xmlBufferLength(piece.get()) != before) {
            before = xmlBufferLength(piece.get());
            static_cast<void>(xmlCharEncOutFunc(handler.get(), made.get(), piece.get()));
        }
        if (!added || scope.refused() || xmlBufferLength(piece.get()) > 8) {
            report(reports::out_of_memory);
        }
        text.remove_prefix(size);
        host::check_for_interrupts();
    }
    return bytes_result(made.get());
}

} // namespace pkg_dbe_xml
