// Values that are only pointers to what is kept elsewhere, for the sources of this folder.
#pragma once

#include "host/lob.hpp"
#include "host/text.hpp"
#include "session_record.hpp"

#include <cstdint>
#include <cstring>

namespace host::standalone {

// The second byte of a pointer: a value of ordinary size, stored elsewhere.
inline constexpr std::uint8_t k_stored_tag = 18;
// The same, of a large value.
inline constexpr std::uint8_t k_large_tag = 128;

// How a pointer lies in memory. What it points at: a varlena with a four-byte header for a stored
// value, a large_object for a large one.
struct value_pointer {
    std::uint8_t mark; // 1
    std::uint8_t tag;
    std::uint8_t unused[6];
    const void *target;
};
static_assert(sizeof(value_pointer) == 16);

[[nodiscard]] inline value_pointer read_pointer(datum value) noexcept {
    value_pointer pointer;
    std::memcpy(&pointer, reinterpret_cast<const void *>(value), sizeof pointer);
    return pointer;
}
[[nodiscard]] inline bool is_pointer(datum value) noexcept {
    return *reinterpret_cast<const std::uint8_t *>(value) == 1;
}

// Bytes `offset` to `offset + length` of a large value; they must be within it.
void copy_bytes_of(const large_object &object, std::int64_t offset, std::int64_t length,
                   char *destination) noexcept;

} // namespace host::standalone
