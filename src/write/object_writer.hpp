// Large objects that texts are written into, in the encoding of the database or in UTF-8 and piece
// by piece: at no time more than a piece is in memory.
#pragma once

#include "host/large_object.hpp"
#include "host/memory.hpp"
#include "text/text_output.hpp"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

namespace pkg_dbe_xml {

// Bytes of the longest UTF-8 character, less the one that a piece holds of it at least.
inline constexpr std::size_t k_most_held = 3;

// A large object that a text is written into, in place of what it held.
class object_writer {
  public:
    // Throws what the host raises for an object that may not be written.
    explicit object_writer(host::object_number number);
    // The same for a text that is written in that encoding.
    object_writer(host::object_number number, int encoding);

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
    void finish();

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
    std::unique_ptr<char, host::memory_deleter>
        room_; // where a piece that is to be converted is put together
};

} // namespace pkg_dbe_xml
