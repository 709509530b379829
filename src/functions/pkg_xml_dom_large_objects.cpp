// Documents from and to large objects, which hold texts in the encoding of the database.
//
// A tree is written piece by piece: at no time more than a piece of its text is in memory.

#include "functions/call_frame.hpp"
#include "host/encoding.hpp"
#include "host/large_object.hpp"
#include "parse/document_parsing.hpp"
#include "parse/parse_text.hpp"
#include "text/large_values.hpp"
#include "tree/node_text.hpp"
#include "write/serialization.hpp"
#include "write/tree_writer.hpp"

#include <algorithm>
#include <cstring>
#include <memory>

namespace pkg_dbe_xml {

namespace {

using host_text_ptr = std::unique_ptr<char, host::memory_deleter>;

// Bytes of the longest UTF-8 character, less the one that a piece holds of it at least.
constexpr std::size_t k_most_held = 3;

// How many bytes are whole characters: all but a character that the end cuts.
[[nodiscard]] std::size_t whole_characters(const char *text, std::size_t size) noexcept {
    for (std::size_t back = 1; back <= std::min(size, k_most_held); ++back) {
        const auto byte = static_cast<unsigned char>(text[size - back]);
        if ((byte & 0xC0U) != 0x80U) {
            const std::size_t length = byte >= 0xF0U   ? 4
                                       : byte >= 0xE0U ? 3
                                       : byte >= 0xC0U ? 2
                                                       : 1;
            return length > back ? size - back : size;
        }
    }
    return size;
}

// A large object that a text is written into, in place of what it held.
class object_writer {
  public:
    explicit object_writer(host::object_number number)
        : object_(number, host::object_use::write), piece_(host::object_piece()),
          encoding_(host::mb_get_database_encoding()) {}

    [[nodiscard]] text_sink sink() noexcept {
        return {this,
                [](void *self, std::string_view text) {
                    static_cast<object_writer *>(self)->append(text);
                },
                [](void *self) noexcept { static_cast<object_writer *>(self)->start_over(); },
                static_cast<std::size_t>(piece_)};
    }
    // Appends a text in UTF-8. Reports over_two_gigabytes, since it could not be read again.
    void append(std::string_view text);
    // Writes what is left, and cuts off what the object held beyond.
    void finish() {
        write(held_, held_size_);
        host::truncate_large_object(object_.descriptor(), place_);
    }

  private:
    void start_over() noexcept {
        place_ = 0;
        held_size_ = 0;
    }
    void append_piece(std::string_view text);
    void write(char *text, std::size_t size);

    host::large_object object_;
    std::int64_t piece_;
    int encoding_;
    std::int64_t place_ = 0;   // where the next bytes go
    char held_[k_most_held]{}; // of a character that goes on in the next piece
    std::size_t held_size_ = 0;
    host_text_ptr room_; // where a piece that is to be converted is put together
};

void object_writer::append(std::string_view text) {
    while (!text.empty()) {
        const std::string_view piece = text.substr(0, static_cast<std::size_t>(piece_));
        host::check_for_interrupts();
        append_piece(piece);
        text.remove_prefix(piece.size());
    }
}

void object_writer::append_piece(std::string_view text) {
    if (room_ == nullptr) {
        room_.reset(static_cast<char *>(host::mmgr_memory_alloc_from_controller(
            host::current_memory_context(), static_cast<std::size_t>(piece_) + k_most_held)));
    }
    char *const room = room_.get();
    std::memcpy(room, held_, held_size_);
    std::memcpy(room + held_size_, text.data(), text.size());
    const std::size_t size = held_size_ + text.size();
    const std::size_t whole = whole_characters(room, size);
    write(room, whole);
    held_size_ = size - whole;
    std::memcpy(held_, room + whole, held_size_);
}

// Writes whole characters, in the encoding of the database.
void object_writer::write(char *text, std::size_t size) {
    if (size == 0) {
        return;
    }
    char *bytes = text;
    host_text_ptr converted;
    if (encoding_ != host::k_utf8) {
        bytes = host::mb_do_encoding_conversion(text, size, host::k_utf8, encoding_, false);
        if (bytes != text) {
            converted.reset(bytes);
            size = std::strlen(bytes);
        }
    }
    if (place_ + static_cast<std::int64_t>(size) > k_longest_text) {
        report(reports::over_two_gigabytes);
    }
    host::write_large_object(object_.descriptor(), place_, bytes, size);
    place_ += static_cast<std::int64_t>(size);
}

// The large object that argument 1 names, a new one for 0 or when the call has no such argument.
// Reports null_not_allowed.
[[nodiscard]] host::object_number target_object(const host::call &call) {
    if (call.argument_count < 2) {
        return host::create_large_object();
    }
    if (call.is_null(1)) {
        report(reports::null_not_allowed, {}, {"2"});
    }
    const host::object_number number = call.uint4(1);
    return number == host::k_no_object ? host::create_large_object() : number;
}

// Writes what `write_text` writes to a text_output into the object of argument 1; the object.
template <class WriteText>
[[nodiscard]] host::datum write_to_object(const host::call &call, WriteText write_text) {
    const host::object_number number = target_object(call);
    object_writer writer(number);
    const text_sink sink = writer.sink();
    text_output output(sink);
    write_text(output);
    output.flush();
    writer.finish();
    return host::from_uint4(number);
}

void write_attribute_value(const xmlNode *attribute, text_output &output) {
    text_room room;
    const text_piece value = node_text(attribute, room);
    output.append({reinterpret_cast<const char *>(value.bytes), value.size});
}

// A tree whose text is too long for libxml2, where that writes it, gives none.
void write_tree_text(xmlNodePtr node, text_output &output) {
    write_node(node, output);
    if (output.size() == 0 && node->type != XML_TEXT_NODE) {
        report(reports::over_two_gigabytes);
    }
}

} // namespace

} // namespace pkg_dbe_xml

// Argument: number of a large object. Reports null_column, text_too_large and invalid_document.
PKG_DBE_XML_FUNCTION(xml_dom_new_document_large_object) {
    host::StmtRetrySetQuerytUnsupportedFlag();
    if (call.is_null(0)) {
        pkg_dbe_xml::report(pkg_dbe_xml::reports::null_column);
    }
    return pkg_dbe_xml::create_dom_document_of_object(call.uint4(0));
}

// Arguments: document, large object. Null for a null document. Reports what
// xml_dom_write_to_clob_doc does, and null_not_allowed for a null large object.
PKG_DBE_XML_FUNCTION(xml_dom_write_to_large_object_doc) {
    host::StmtRetrySetQuerytUnsupportedFlag();
    if (call.is_null(0)) {
        return call.null();
    }
    using namespace pkg_dbe_xml;
    xmlDocPtr document = require_document(find_handle(call, 0));
    return write_to_object(call,
                           [document](text_output &output) { write_document(document, output); });
}

// The same for a node. An empty text makes the large object empty.
PKG_DBE_XML_FUNCTION(xml_dom_write_to_large_object_node) {
    if (call.is_null(0)) {
        return call.null();
    }
    using namespace pkg_dbe_xml;
    xmlNodePtr node = node_or_null(find_handle(call, 0));
    if (node == nullptr) {
        report(reports::node_gone);
    }
    switch (node->type) {
    case XML_ATTRIBUTE_NODE:
        return write_to_object(
            call, [node](text_output &output) { write_attribute_value(node, output); });
    case XML_ELEMENT_NODE:
    case XML_TEXT_NODE:
    case XML_DOCUMENT_NODE:
        return write_to_object(call,
                               [node](text_output &output) { write_tree_text(node, output); });
    default:
        report(reports::not_for_write_to_clob);
    }
}
