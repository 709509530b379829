// Owner of an encoding handler of libxml2.
#pragma once

#include "libxml/xml.hpp"

#include <libxml/encoding.h>
#include <libxml/xmlIO.h>
#include <libxml/xmlmemory.h>
#include <libxml/xmlversion.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string_view>

namespace pkg_dbe_xml {

struct encoding_handler_deleter {
    void operator()(xmlCharEncodingHandler *handler) const noexcept {
#if LIBXML_VERSION < 21200 && defined(LIBXML_ICONV_ENABLED)
        // A handler whose name found no memory is made without one, and libxml2 does not free it.
        if (handler->name == nullptr) {
            for (const iconv_t converter : {handler->iconv_in, handler->iconv_out}) {
                if (converter != nullptr) {
                    iconv_close(converter);
                }
            }
            xmlFree(handler);
            return;
        }
#endif
        xmlCharEncCloseFunc(handler);
    }
};
using encoding_handler_ptr = std::unique_ptr<xmlCharEncodingHandler, encoding_handler_deleter>;

// Whether a text can be the name of a character set in XML: a Latin letter, then letters, digits,
// dots, underscores and hyphens. The converters behind libxml2 take more: "/" is the locale's
// character set to them, and "ASCII//IGNORE" drops what it cannot write.
[[nodiscard]] inline bool is_encoding_name(std::string_view name) noexcept {
    const auto is_letter = [](char byte) noexcept {
        return (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z');
    };
    return !name.empty() && is_letter(name.front()) &&
           std::all_of(name.begin(), name.end(), [is_letter](char byte) noexcept {
               return is_letter(byte) || (byte >= '0' && byte <= '9') || byte == '.' ||
                      byte == '_' || byte == '-';
           });
}

// The handler of a character set. Null when libxml2 knows none of that name, and for what is no
// name of a character set.
[[nodiscard]] inline encoding_handler_ptr find_encoding_handler(const char *name) noexcept {
    return encoding_handler_ptr(is_encoding_name(name) ? xmlFindCharEncodingHandler(name)
                                                       : nullptr);
}

// A buffer of libxml2's in front of a call-back, which is called with `sink`; it takes the handler
// in any case, which may be null. Null when memory runs out.
[[nodiscard]] inline xmlOutputBufferPtr make_output_buffer(xmlOutputWriteCallback write, void *sink,
                                                           encoding_handler_ptr handler) noexcept {
    const std::int64_t before = host::gate.bytes_in_use;
    xmlOutputBufferPtr buffer = xmlOutputBufferCreateIO(write, nullptr, sink, handler.get());
    // A version that frees it when it fails leaves less behind than there was. Those that were
    // looked at do not: 2.9.14, 2.10.4, 2.11.9, 2.12.10, 2.13.9, 2.14.6, 2.15.1.
    if (buffer != nullptr || host::gate.bytes_in_use < before) {
        static_cast<void>(handler.release());
    }
    return buffer;
}

} // namespace pkg_dbe_xml
