// The text that is to be parsed.
#include "parse/parse_text.hpp"

#include "host/encoding.hpp"
#include "host/error.hpp"
#include "host/lob.hpp"
#include "text/large_values.hpp"
#include "text/text_limits.hpp"

#include <algorithm>
#include <cstring>
#include <memory>

namespace pkg_dbe_xml {

namespace {

using host_text_ptr = std::unique_ptr<char, host::memory_deleter>;

constexpr int k_large_header = static_cast<int>(host::k_long_header);

// All bytes of a large value, with a zero byte behind them. Reports `too_large`.
[[nodiscard]] host_text_ptr read_large_value(host::datum value, const report_row &too_large,
                                             std::size_t &size) {
    const std::int64_t length = host::tupleam_get_toast_size_raw(value) - k_large_header;
    if (length > k_longest_text) {
        report(too_large);
    }
    size = static_cast<std::size_t>(std::max<std::int64_t>(length, 0));
    host_text_ptr text(static_cast<char *>(
        host::mmgr_memory_alloc_huge(host::current_memory_context(), size + 1)));
    copy_lob_to_flat_buffer(value, length, text.get());
    text.get()[size] = '\0';
    return text;
}

} // namespace

// The text of an argument that needs neither fetching nor conversion is read where it lies.
parse_text::parse_text(host::datum value, const report_row &too_large)
    : bytes_(nullptr), size_(0), owned_(nullptr) {
    static_cast<void>(asserted(reinterpret_cast<const char *>(value), k_no_large_value));
    host_text_ptr fetched;
    if (host::is_large_value(value)) {
        fetched = read_large_value(value, too_large, size_);
        bytes_ = fetched.get();
    } else {
        const host::varlena *const stored = host::pg_detoast_datum(value);
        if (host::from_pointer(stored) != value) {
            fetched.reset(const_cast<char *>(reinterpret_cast<const char *>(stored)));
        }
        bytes_ = host::text_view(stored).data();
        size_ = host::text_view(stored).size();
    }
    size_ = ::strnlen(bytes_, size_); // a text ends at a zero byte
    const int encoding = host::mb_get_database_encoding();
    if (encoding != host::k_utf8) {
        // The conversion reads its argument only, though it may give it back.
        char *const converted = host::mb_do_encoding_conversion(const_cast<char *>(bytes_), size_,
                                                                encoding, host::k_utf8, false);
        if (converted != bytes_) {
            fetched.reset(converted);
            bytes_ = converted;
            size_ = std::strlen(converted);
        }
    }
    owned_ = fetched.release();
}

namespace {

// A text that is put together from pieces, in host memory of a context, with room for a zero byte.
class collected_text {
  public:
    collected_text(host::memory_context *context, std::size_t room)
        : bytes_(static_cast<char *>(host::mmgr_memory_alloc_huge(context, room + 1))),
          room_(room) {}
    void append(const char *bytes, std::size_t count) {
        if (count > room_ - size_) {
            const std::size_t room = std::max(size_ + count, room_ + room_ / 2);
            char *const larger = static_cast<char *>(host::mmgr_resize(bytes_.get(), room + 1));
            static_cast<void>(bytes_.release()); // it moved
            bytes_.reset(larger);
            room_ = room;
        }
        host::copy_bytes(bytes_.get() + size_, room_ - size_, bytes, count);
        size_ += count;
    }
    [[nodiscard]] std::size_t size() const noexcept { return size_; }
    [[nodiscard]] char *release() noexcept {
        bytes_.get()[size_] = '\0';
        return bytes_.release();
    }

  private:
    host_text_ptr bytes_;
    std::size_t room_;
    std::size_t size_ = 0;
};

// Bytes of the longest character that a piece may cut, in any encoding.
constexpr std::size_t k_longest_character = 8;

void append_in_utf8(collected_text &text, char *bytes, std::size_t count, int encoding) {
    if (encoding == host::k_utf8 || count == 0) {
        text.append(bytes, count);
        return;
    }
    char *const converted =
        host::mb_do_encoding_conversion(bytes, count, encoding, host::k_utf8, false);
    const host_text_ptr owned(converted != bytes ? converted : nullptr);
    text.append(converted, owned != nullptr ? std::strlen(converted) : count);
}

} // namespace

// Piece by piece: what a piece holds of a character that goes on in the next stays for that.
parse_text::parse_text(host::object_number number, const report_row &too_large,
                       host::memory_context *context)
    : bytes_(nullptr), size_(0), owned_(nullptr) {
    const host::large_object object(number, host::object_use::read);
    const std::int64_t length = host::large_object_size(object.descriptor());
    if (length > k_longest_text) {
        report(too_large);
    }
    const int encoding = host::mb_get_database_encoding();
    collected_text text(context, static_cast<std::size_t>(length));
    const auto piece = static_cast<std::size_t>(std::min(host::object_piece(), length));
    const host_text_ptr room(static_cast<char *>(host::mmgr_memory_alloc_from_controller(
        host::current_memory_context(), piece + k_longest_character)));
    std::size_t held = 0;
    for (std::int64_t offset = 0; offset < length;) {
        host::check_for_interrupts();
        const std::size_t count =
            host::read_large_object(object.descriptor(), offset, room.get() + held,
                                    std::min(piece, static_cast<std::size_t>(length - offset)));
        if (count == 0) {
            fail_assertion(k_no_slice); // the object is shorter than it says
        }
        offset += static_cast<std::int64_t>(count);
        held += count;
        const std::size_t whole = host::mb_check_text(room.get(), held, encoding, offset == length);
        append_in_utf8(text, room.get(), whole, encoding);
        held -= whole;
        std::memmove(room.get(), room.get() + whole, held);
    }
    size_ = text.size();
    owned_ = text.release();
    bytes_ = owned_;
}

parse_text::~parse_text() { host::mmgr_free_with_fl(owned_, __FILE__, __LINE__); }

} // namespace pkg_dbe_xml
