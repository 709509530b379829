// Trees into files that are open already.
#include "files/tree_files.hpp"

#include "host/error.hpp"
#include "text/encoding_handler.hpp"

#include <libxml/HTMLtree.h>
#include <libxml/xmlIO.h>
#include <libxml/xmlsave.h>

#include <cerrno>
#include <climits>
#include <utility>

namespace pkg_dbe_xml {

bool file_sink::write(const void *bytes, std::size_t size) noexcept {
    if (host::interrupts_pending()) {
        stopped = true;
        return false;
    }
    if (!host::write_output_file(file, bytes, size)) {
        reason = errno != 0 ? errno : EIO;
        return false;
    }
    written += static_cast<std::int64_t>(size);
    return true;
}

namespace {

extern "C" int write_to_sink(void *context, const char *bytes, int size) {
    auto *sink = static_cast<file_sink *>(context);
    return sink->write(bytes, static_cast<std::size_t>(size)) ? size : -1;
}

[[nodiscard]] xmlOutputBufferPtr make_buffer(file_sink &sink,
                                             encoding_handler_ptr handler) noexcept {
    return make_output_buffer(write_to_sink, &sink, std::move(handler));
}

// Whether what libxml2 returned for its closing of the buffer, a number of bytes or -1, is good. It
// counts in an int: behind INT_MAX the number says nothing.
[[nodiscard]] bool closed_well(const file_sink &sink, int result) noexcept {
    return sink.reason == 0 && !sink.stopped && (result >= 0 || sink.written > INT_MAX / 2);
}

} // namespace

dump_result xml_elem_dump(host::output_file *file, xmlDocPtr document, xmlNodePtr node,
                          const char *encoding, xmlCharEncodingHandlerPtr handler) {
    file_sink sink{file};
    xmlOutputBufferPtr buffer = make_buffer(sink, encoding_handler_ptr(handler));
    if (buffer == nullptr) {
        return {};
    }
#ifdef LIBXML_HTML_ENABLED
    if (document != nullptr && document->type == XML_HTML_DOCUMENT_NODE) {
        htmlNodeDumpOutput(buffer, document, node, encoding);
    } else
#endif
    {
        xmlNodeDumpOutput(buffer, document, node, 0, 1, encoding);
    }
    const bool done = closed_well(sink, xmlOutputBufferClose(buffer));
    return {done, sink.reason, false};
}

dump_result dump_document(const char *path, xmlDocPtr document, const char *encoding,
                          file_ptr &file) {
    const host::xml_scope scope;
    file_sink sink{nullptr};
    bool done = false;
    encoding_handler_ptr handler(find_encoding_handler(encoding));
    if (handler != nullptr && !scope.refused()) {
        file.reset(host::open_output_file(path));
        sink.file = file.get();
        sink.reason = file == nullptr ? errno : 0;
    }
    if (file != nullptr) {
        // Closes the buffer, also when there is none.
        const int result =
            xmlSaveFormatFileTo(make_buffer(sink, std::move(handler)), document, encoding, 1);
        done = closed_well(sink, result);
    }
    return {done, sink.reason, scope.refused()};
}

} // namespace pkg_dbe_xml
