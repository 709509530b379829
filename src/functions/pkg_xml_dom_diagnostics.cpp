// What the session holds: how many handles, which documents, how many nodes below a handle.

#include "functions/call_frame.hpp"
#include "growing_array.hpp"
#include "host/error.hpp"
#include "libxml/xml.hpp"
#include "text/encoding_handler.hpp"
#include "text/hexadecimal.hpp"
#include "text/text_output.hpp"
#include "tree/pkg_xml_dom_common.hpp"
#include "tree/poll_counter.hpp"
#include "write/encoded_text.hpp"
#include "write/tree_writer.hpp"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <optional>
#include <span>
#include <utility>

namespace pkg_dbe_xml {

namespace {

// A handle that names a document, and what is told of it.
struct document_line {
    DomKey key;
    xmlDocPtr document;
    std::size_t position; // among the lines, in the order of the table
    int node_count;
    std::int64_t size; // bytes of the serialised document
};
using document_lines = growing_array<document_line, 4>;
using report_text = growing_array<xmlChar, 512>;

// Bytes from which on libxml2 takes long enough to write a value.
constexpr std::size_t k_long_value = 1024 * 1024;

struct hexadecimal_key {
    char digits[2 * k_key_size + 1];
};

hexadecimal_key hexadecimal(const DomKey &key) noexcept {
    hexadecimal_key text;
    *write_hexadecimal(key.bytes, k_upper_digits, text.digits) = '\0';
    return text;
}

void collect_document(const XMLHashEntry &entry, void *state) {
    if (is_collection(entry) || !is_document(as_node(entry.object))) {
        return;
    }
    auto &lines = *static_cast<document_lines *>(state);
    lines.push_back({entry.key, static_cast<xmlDocPtr>(entry.object), lines.size(), 0, 0});
}

// Receives the bytes of a document being written, and only counts them. Stops the writing when the
// statement is asked to stop.
int count_bytes(void *state, const char * /*bytes*/, int size) noexcept {
    *static_cast<std::int64_t *>(state) += size;
    return host::interrupts_pending() ? -1 : size;
}

// Bytes that the value of an attribute becomes.
[[nodiscard]] std::int64_t written_size(const xmlNode *text) {
    text_output output(0);
    write_attribute_text(text, output);
    return output.size();
}

// The same in an encoding; 0 when libxml2 does not know that.
[[nodiscard]] std::int64_t size_in(const char *encoding, const xmlNode *text) {
    encoded_size size(encoding);
    if (size.is_known()) {
        const text_sink sink = size.sink();
        text_output output(sink);
        write_attribute_text(text, output);
        output.flush();
    }
    return size.bytes();
}

// Long values of attributes, which libxml2 cannot be stopped in: they are taken out of the tree
// while it is written, and counted by themselves.
class long_values {
  public:
    // `encoding` is what their text is written in; null: UTF-8.
    long_values(xmlDocPtr document, const char *encoding) : encoding_(encoding) {
        auto *const top = reinterpret_cast<xmlNodePtr>(document);
        poll_counter poll;
        for (xmlNodePtr node = top; node != nullptr; node = next_below(node, top)) {
            for (xmlAttrPtr attribute = first_attribute(node); attribute != nullptr;
                 attribute = attribute->next) {
                look(attribute);
            }
            poll.step();
        }
        for (const value &each : values_) { // nothing fails from here on
            each.text->content = BAD_CAST "";
        }
    }
    ~long_values() {
        for (const value &each : values_) {
            each.text->content = each.content;
        }
    }
    long_values(const long_values &) = delete;
    long_values &operator=(const long_values &) = delete;
    // Bytes that they become.
    [[nodiscard]] std::int64_t size() const noexcept { return size_; }

  private:
    struct value {
        xmlNodePtr text;
        xmlChar *content;
    };
    void look(const xmlAttr *attribute) {
        xmlNodePtr const text = attribute->children;
        if (text == nullptr || text->type != XML_TEXT_NODE || text->content == nullptr ||
            strnlen(reinterpret_cast<const char *>(text->content), k_long_value) < k_long_value) {
            return;
        }
        size_ += encoding_ == nullptr ? written_size(text) : size_in(encoding_, text);
        values_.push_back({text, text->content});
    }

    const char *encoding_;
    growing_array<value, 4> values_;
    std::int64_t size_ = 0;
};

// Bytes of the document when it is written in its own encoding; 0 when libxml2 does not know that
// encoding. Nothing is kept of what is written. Reports out_of_memory.
std::int64_t serialised_size(xmlDocPtr document) {
    std::int64_t size = 0;
    bool refused = false;
    const bool converts =
        document->encoding != nullptr && xmlStrcasecmp(document->encoding, BAD_CAST "UTF-8") != 0;
    const char *const encoding = reinterpret_cast<const char *>(document->encoding);
    std::optional<long_values> apart;
    if (knows_libxml2() && (!converts || is_without_state(encoding))) {
        size = apart.emplace(document, converts ? encoding : nullptr).size();
    }
    {
        const host::xml_scope scope;
        encoding_handler_ptr handler(converts ? find_encoding_handler(encoding) : nullptr);
        if (!scope.refused() && (!converts || handler != nullptr)) {
            xmlOutputBufferPtr buffer = make_output_buffer(count_bytes, &size, std::move(handler));
            if (buffer != nullptr) {
                xmlSaveFormatFileTo(buffer, document, encoding, 0); // closes the buffer
            }
        }
        refused = scope.refused();
    }
    host::check_for_interrupts();
    if (refused) {
        report(reports::out_of_memory);
    }
    return size;
}

// Counts and writes each document once, however many handles name it.
void measure(std::span<document_line> lines) {
    std::ranges::sort(lines, {}, &document_line::document);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (i > 0 && lines[i].document == lines[i - 1].document) {
            lines[i].node_count = lines[i - 1].node_count;
            lines[i].size = lines[i - 1].size;
            continue;
        }
        lines[i].size = serialised_size(lines[i].document);
        lines[i].node_count = count_nodes(reinterpret_cast<xmlNodePtr>(lines[i].document));
    }
    std::ranges::sort(lines, {}, &document_line::position);
}

void append_formatted(report_text &text, const char *line, int size) {
    text.append(reinterpret_cast<const xmlChar *>(line), static_cast<std::size_t>(size));
}

host::datum finished(report_text &text) {
    const std::size_t size = text.size();
    text.push_back(0);
    return text_result(text.data(), size);
}

} // namespace

PKG_DBE_XML_FUNCTION(xml_dom_get_session_tree_num) {
    return host::from_int4(static_cast<std::int32_t>(xml_count_hashentries()));
}

PKG_DBE_XML_FUNCTION(xml_dom_get_doc_trees_info) {
    document_lines lines;
    xml_for_each_hashentry(collect_document, &lines);
    measure({lines.data(), lines.size()});
    report_text text;
    char line[160];
    for (const document_line &document : lines) {
        const int size =
            std::snprintf(line, sizeof line, "|ID:%s\t|Node count:%d\t|Memory used:%lld byte\t|\n",
                          hexadecimal(document.key).digits, document.node_count,
                          static_cast<long long>(document.size));
        append_formatted(text, line, size);
    }
    if (text.empty()) {
        append_formatted(text, line,
                         std::snprintf(line, sizeof line, "There aren't any doc trees"));
    }
    return finished(text);
}

PKG_DBE_XML_FUNCTION(xml_dom_get_detail_doc_tree_info) {
    if (call.is_null(0)) {
        return call.null();
    }
    const XMLHashEntry &entry = find_handle(call, 0);
    const DomKey key = entry.key;
    node_counts counts{};
    count_nodes_separate_type(node_or_null(entry), counts);
    report_text text;
    char line[160];
    const int size = std::snprintf(
        line, sizeof line, "|ID:%s\t|Element count:%d\t|Attribute count:%d\t|Text count:%d\t|",
        hexadecimal(key).digits, counts.elements, counts.attributes, counts.texts);
    append_formatted(text, line, size);
    return finished(text);
}

} // namespace pkg_dbe_xml
