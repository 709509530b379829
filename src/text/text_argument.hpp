// Text in and out: arguments from the database encoding to UTF-8, results back.
#pragma once

#include "host/call.hpp"
#include "host/encoding.hpp"
#include "host/memory.hpp"
#include "host/text.hpp"

#include <libxml/xmlstring.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>

namespace pkg_dbe_xml {

// A text argument as a NUL-terminated string: first in the database encoding, after `to_utf8` in
// UTF-8. Short texts need no allocation. Ends at a zero byte, if the value should hold one.
class text_argument {
  public:
    // Fetches the value; throws what the host raises.
    explicit text_argument(host::datum value);
    ~text_argument();
    text_argument(const text_argument &) = delete;
    text_argument &operator=(const text_argument &) = delete;

    // Converts; throws the host's own error for bytes that are not valid in the database encoding.
    text_argument &to_utf8();
    // Bytes without the terminator, of the text as it stands.
    [[nodiscard]] std::size_t size() const noexcept { return size_; }
    [[nodiscard]] const char *c_str() const noexcept { return bytes_; }
    [[nodiscard]] char *data() noexcept { return bytes_; }
    [[nodiscard]] const xmlChar *xml() const noexcept {
        return reinterpret_cast<const xmlChar *>(bytes_);
    }

  private:
    void release() noexcept;
    char *bytes_;
    std::size_t size_;
    bool host_memory_; // bytes_ is memory of the host, not room_
    char room_[128];
};

// A text argument converted to UTF-8 at once.
class utf8_argument : private text_argument {
  public:
    explicit utf8_argument(host::datum value) : text_argument(value) { to_utf8(); }
    using text_argument::c_str;
    using text_argument::size;
    using text_argument::xml;
};

// Text in UTF-8 that no zero byte ends, nor holds.
struct text_bytes {
    const xmlChar *bytes;
    std::size_t size;
};

// Whether a text consists of printable ASCII characters alone, which every encoding of a database
// shares with UTF-8.
[[nodiscard]] bool is_plain(const xmlChar *text, std::size_t size) noexcept;

// A text argument in UTF-8 that is to be copied once, to where it stays: its bytes where they lie,
// if they need no conversion. Ends at a zero byte, if the value should hold one. Null counts as the
// empty text.
class data_argument {
  public:
    // Fetches the value and converts it; throws what the host raises.
    data_argument(const host::call &call, int index) {
        if (!call.is_null(index)) {
            fetch(call.value(index));
        }
    }
    [[nodiscard]] bool is_null() const noexcept { return is_null_; }
    [[nodiscard]] bool is_empty() const noexcept { return text_.size == 0; }
    // Nothing but printable ASCII characters.
    [[nodiscard]] bool is_plain() const noexcept { return is_plain_; }
    [[nodiscard]] const text_bytes &text() const noexcept { return text_; }

  private:
    void fetch(host::datum value);
    void convert();
    text_bytes text_{reinterpret_cast<const xmlChar *>(""), 0};
    std::unique_ptr<void, host::memory_deleter> fetched_; // what the text lies in
    bool is_null_ = true;
    bool is_plain_ = true;
};

// A text result in the database encoding, in the caller's context, from `size` bytes of UTF-8
// (which end in a zero byte, not counted). Throws: the host's own error for a character that the
// database encoding does not have.
[[nodiscard]] host::datum text_result(const xmlChar *text, std::size_t size);

// A text argument in UTF-8 that counts as the empty text when it is null.
class optional_text {
  public:
    optional_text(const host::call &call, int index) {
        if (!call.is_null(index)) {
            text_.emplace(call.value(index));
        }
    }
    [[nodiscard]] const xmlChar *xml() const noexcept {
        return text_ ? text_->xml() : reinterpret_cast<const xmlChar *>("");
    }
    [[nodiscard]] text_bytes bytes() const noexcept { return {xml(), text_ ? text_->size() : 0}; }

  private:
    std::optional<utf8_argument> text_;
};

} // namespace pkg_dbe_xml
