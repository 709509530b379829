// Trees into files that are open already.
#include "files/tree_files.hpp"

#include "host/error.hpp"
#include "libxml/library_version.hpp"
#include "text/encoding_handler.hpp"
#include "text/text_output.hpp"
#include "tree/typed_access.hpp"
#include "write/tree_writer.hpp"

#include <libxml/HTMLtree.h>
#include <libxml/xmlIO.h>
#include <libxml/xmlsave.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

namespace pkg_dbe_xml {

bool file_sink::write(const void *bytes, std::size_t size) noexcept {
    if (stopped || host::interrupts_pending()) {
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

[[nodiscard]] bool is_html(const xmlDoc *document) noexcept {
    return document != nullptr && document->type == XML_HTML_DOCUMENT_NODE;
}

struct output_buffer_closer {
    void operator()(xmlOutputBufferPtr buffer) const noexcept {
        static_cast<void>(xmlOutputBufferClose(buffer));
    }
};
using output_buffer_ptr = std::unique_ptr<xmlOutputBuffer, output_buffer_closer>;

// Bytes that are collected before they are handed on.
constexpr std::size_t k_collected = 32768;

// The text of a tree on its way into a file. What fails there is told at the end; until then the
// rest of the text is dropped.
class text_file {
  public:
    // `converter` brings the text into the encoding; null for UTF-8.
    text_file(file_sink &sink, output_buffer_ptr converter) noexcept
        : sink_(sink), converter_(std::move(converter)), own_{this, take, nullptr, k_collected} {}
    ~text_file() {
        sink_.stopped = sink_.stopped || !finished_; // what the converter still holds is not wanted
    }
    text_file(const text_file &) = delete;
    text_file &operator=(const text_file &) = delete;
    [[nodiscard]] const text_sink &sink() const noexcept { return own_; }
    // Whether the whole text is in the file.
    [[nodiscard]] bool finish() noexcept {
        finished_ = true;
        return closed_well(sink_,
                           converter_ != nullptr ? xmlOutputBufferClose(converter_.release()) : 0);
    }

  private:
    static void take(void *own, std::string_view bytes) {
        auto &file = *static_cast<text_file *>(own);
        while (!bytes.empty()) {
            host::check_for_interrupts();
            file.write(bytes.substr(0, k_collected));
            bytes.remove_prefix(std::min(bytes.size(), k_collected));
        }
    }
    void write(std::string_view piece) noexcept {
        if (sink_.reason != 0 || sink_.stopped) {
            return;
        }
        if (converter_ != nullptr) {
            static_cast<void>(xmlOutputBufferWrite(converter_.get(), static_cast<int>(piece.size()),
                                                   piece.data()));
        } else {
            static_cast<void>(sink_.write(piece.data(), piece.size()));
        }
    }

    file_sink &sink_;
    output_buffer_ptr converter_;
    text_sink own_;
    bool finished_ = false;
};

// What libxml2 converts from UTF-8 into UTF-8 it copies.
[[nodiscard]] bool is_copied(const char *encoding) noexcept {
    return encoding == nullptr || xmlStrcasecmp(reinterpret_cast<const xmlChar *>(encoding),
                                                reinterpret_cast<const xmlChar *>("UTF-8")) == 0;
}

// Writes a tree into an empty file with the writer of this library, which can be stopped within one
// value, in the encoding that the handler makes; null for both is UTF-8. Gives what dumping it
// gives, or nothing when libxml2 has to write it; the file is empty again then, and the handler may
// be used up. Throws when the statement was asked to stop.
[[nodiscard]] std::optional<dump_result> dump_directly(host::output_file *file, xmlNodePtr tree,
                                                       const char *encoding,
                                                       encoding_handler_ptr &handler) {
    file_sink sink{file};
    {
        output_buffer_ptr converter;
        if (!is_copied(encoding)) {
            converter.reset(make_buffer(sink, std::move(handler)));
            if (converter == nullptr) {
                return dump_result{};
            }
        }
        text_file target(sink, std::move(converter));
        text_output output(target.sink());
        if (write_node_directly(tree, output, encoding != nullptr ? encoding : "UTF-8")) {
            output.flush();
            const bool done = target.finish();
            return dump_result{done, sink.reason, false};
        }
        if (sink.reason != 0 || sink.stopped) {
            return dump_result{false, sink.reason, false};
        }
    }
    if (sink.written != 0 && !host::empty_output_file(file)) {
        return dump_result{false, errno, false};
    }
    return std::nullopt;
}

// The same by libxml2.
[[nodiscard]] dump_result dump_with_libxml2(host::output_file *file, xmlDocPtr document,
                                            xmlNodePtr node, const char *encoding,
                                            encoding_handler_ptr handler) {
    file_sink sink{file};
    xmlOutputBufferPtr buffer = make_buffer(sink, std::move(handler));
    if (buffer == nullptr) {
        return {};
    }
#ifdef LIBXML_HTML_ENABLED
    if (is_html(document)) {
        htmlNodeDumpOutput(buffer, document, node, encoding);
    } else
#endif
    {
        xmlNodeDumpOutput(buffer, document, node, 0, 1, encoding);
    }
    const bool done = closed_well(sink, xmlOutputBufferClose(buffer));
    return {done, sink.reason, false};
}

// The name of the character set that a document declares in a file. From 2.15 on libxml2 takes the
// one that it has for it, and advises everybody else against looking at it.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
[[nodiscard]] const char *declared_name(const char *encoding,
                                        const xmlCharEncodingHandler *handler) noexcept {
    return host::libxml2_number() < 21500 ? encoding : handler->name;
}
#pragma GCC diagnostic pop

} // namespace

dump_result xml_elem_dump(host::output_file *file, xmlDocPtr document, xmlNodePtr node,
                          const char *encoding, xmlCharEncodingHandlerPtr handler) {
    encoding_handler_ptr own(handler);
    if (!is_html(document)) {
        if (const auto result = dump_directly(file, node, encoding, own)) {
            return *result;
        }
    }
    if (own == nullptr && handler != nullptr) {
        own = find_encoding_handler(encoding);
    }
    return dump_with_libxml2(file, document, node, encoding, std::move(own));
}

dump_result dump_document(const char *path, xmlDocPtr document, const char *encoding,
                          file_ptr &file) {
    const host::xml_scope scope;
    encoding_handler_ptr handler(find_encoding_handler(encoding));
    if (handler == nullptr || scope.refused()) {
        return {false, 0, scope.refused()};
    }
    file.reset(host::open_output_file(path));
    if (file == nullptr) {
        return {false, errno, scope.refused()};
    }
    if (!is_html(document)) {
        const char *const declared = declared_name(encoding, handler.get());
        if (auto result = dump_directly(file.get(), as_node(document), declared, handler)) {
            result->out_of_memory = scope.refused();
            return *result;
        }
    }
    if (handler == nullptr) {
        handler = find_encoding_handler(encoding);
    }
    file_sink sink{file.get()};
    // Closes the buffer, also when there is none.
    const int result =
        xmlSaveFormatFileTo(make_buffer(sink, std::move(handler)), document, encoding, 1);
    return {closed_well(sink, result), sink.reason, scope.refused()};
}

} // namespace pkg_dbe_xml
