// Owner of an encoding handler of libxml2.
#pragma once

#include <libxml/encoding.h>
#include <libxml/xmlIO.h>
#include <libxml/xmlmemory.h>
#include <libxml/xmlversion.h>

#include <memory>

namespace pkg_dbe_xml {

struct encoding_handler_deleter {
    void operator()(xmlCharEncodingHandler *handler) const noexcept {
#if LIBXML_VERSION < 21200
        // A handler whose name found no memory is made without one, and is then not freed.
        if (handler->name == nullptr) {
            handler->name = xmlMemStrdup("");
        }
#endif
        xmlCharEncCloseFunc(handler);
    }
};
using encoding_handler_ptr = std::unique_ptr<xmlCharEncodingHandler, encoding_handler_deleter>;

// The handler of a character set. Null when libxml2 knows none of that name, and for the empty
// name, which later versions take for the character set of the process's locale.
[[nodiscard]] inline encoding_handler_ptr find_encoding_handler(const char *name) noexcept {
    return encoding_handler_ptr(*name == '\0' ? nullptr : xmlFindCharEncodingHandler(name));
}

// A buffer of libxml2's in front of a call-back, which is called with `sink`; it takes the handler
// in any case, which may be null. Null when memory runs out.
[[nodiscard]] inline xmlOutputBufferPtr make_output_buffer(xmlOutputWriteCallback write, void *sink,
                                                           encoding_handler_ptr handler) noexcept {
    xmlOutputBufferPtr buffer = xmlOutputBufferCreateIO(write, nullptr, sink, handler.get());
    // Versions in between free it when they fail; 2.9 and 2.15 do not.
    constexpr bool k_freed_in_failure = LIBXML_VERSION >= 21300 && LIBXML_VERSION < 21500;
    if (buffer != nullptr || k_freed_in_failure) {
        static_cast<void>(handler.release());
    }
    return buffer;
}

} // namespace pkg_dbe_xml
