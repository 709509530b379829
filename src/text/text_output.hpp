// A text result while it is being written.
//
// The bytes are written where the result will stand, behind the room for a length header, so that
// a long text is written once and never copied into a value. Short texts are collected inside the
// object and copied into a value of their exact size. Beyond a given length nothing more is kept
// and the bytes are only counted: a caller that refuses long texts learns how long it was, and the
// memory stays bounded. A text that is not to be kept at all goes to a sink, piece by piece.
#pragma once

#include "host/text.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace pkg_dbe_xml {

// Where a long text goes that is not kept as a whole: it is told the bytes in their order.
struct text_sink {
    void *state;
    void (*take)(void *state, std::string_view bytes); // may throw
    void (*start_over)(void *state) noexcept;          // what was taken does not count any more
    std::size_t room;                                  // bytes worth collecting
};

class text_output {
  public:
    // Keeps a text of up to `longest` bytes; 0 only counts.
    explicit text_output(std::int64_t longest) noexcept
        : begin_(room_ + host::k_long_header), next_(begin_), end_(room_ + sizeof room_),
          longest_(longest), dropped_(0), memory_(nullptr), sink_(nullptr) {}
    // Keeps nothing: hands the text to the sink, which outlives this. `flush` hands over the rest.
    explicit text_output(const text_sink &sink) noexcept : text_output(INT64_MAX) { sink_ = &sink; }
    ~text_output() { host::mmgr_free_with_fl(memory_, __FILE__, __LINE__); }
    text_output(const text_output &) = delete;
    text_output &operator=(const text_output &) = delete;

    // At least `count` bytes to write to. What was written there counts after `advance_to`, up to
    // the place given. Throws when memory runs out.
    [[nodiscard]] char *room(std::size_t count) {
        if (static_cast<std::size_t>(end_ - next_) < count) [[unlikely]] {
            grow(count);
        }
        return next_;
    }
    void advance_to(char *next) noexcept { next_ = next; }
    void append(std::string_view bytes) {
        if (bytes.size() <= static_cast<std::size_t>(end_ - next_)) [[likely]] {
            next_ = std::copy_n(bytes.data(), bytes.size(), next_); // nothing may have no address
        } else {
            append_slowly(bytes);
        }
    }

    // Bytes written so far, kept or not.
    [[nodiscard]] std::int64_t size() const noexcept { return dropped_ + (next_ - begin_); }
    // More was written than is kept: only the size is known.
    [[nodiscard]] bool overflowed() const noexcept { return size() > longest_; }
    // The text. Only for texts that did not overflow. Good until the next change.
    [[nodiscard]] std::string_view view() const noexcept {
        return {begin_, static_cast<std::size_t>(next_ - begin_)};
    }
    // The text, with a zero byte behind it. Only for texts that did not overflow. Good until the
    // next change. Throws when memory runs out.
    [[nodiscard]] char *c_str();
    // Hands the sink what it has not been told yet. Throws what the sink throws.
    void flush();
    // Forgets everything written.
    void clear() noexcept;
    // The text as a value of the current context, which was the current one all the while; the
    // output is empty afterwards. Only for texts that did not overflow and are shorter than
    // 1 GiB - 4. Throws when memory runs out.
    [[nodiscard]] host::varlena *take_value();

  private:
    void grow(std::size_t count);
    void append_slowly(std::string_view bytes);

    char *begin_; // of the text; k_long_header bytes before it are the value's
    char *next_;
    char *end_;
    std::int64_t longest_;
    std::int64_t dropped_;  // bytes counted and thrown away, or handed over
    char *memory_;          // host memory, null while the text fits room_
    const text_sink *sink_; // null: the text is kept
    alignas(8) char room_[4096];
};

} // namespace pkg_dbe_xml
