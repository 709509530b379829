// Texts into large objects. See object_writer.hpp.

#include "write/object_writer.hpp"

#include "error_reports.hpp"
#include "host/encoding.hpp"
#include "host/error.hpp"
#include "text/large_values.hpp"

#include <algorithm>
#include <cstring>

namespace pkg_dbe_xml {

namespace {

using host_text_ptr = std::unique_ptr<char, host::memory_deleter>;

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

} // namespace

object_writer::object_writer(host::object_number number)
    : object_writer(number, host::mb_get_database_encoding()) {}

object_writer::object_writer(host::object_number number, int encoding)
    : object_(number, host::object_use::write), piece_(host::object_piece()), encoding_(encoding) {}

void object_writer::finish() {
    write(held_, held_size_);
    host::truncate_large_object(object_.descriptor(), place_);
}

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

// Writes whole characters, in the encoding of the object.
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

} // namespace pkg_dbe_xml
