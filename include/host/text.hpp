// Text and RAW values: how they lie in memory, and the making and reading of them.
//
// A value is a length header and its payload. The header has four bytes (total length times four,
// low two bits 0) or, for short payloads that were stored, one byte (total length times two plus
// one). A first byte of exactly 1 marks a pointer to a value kept elsewhere. Little-endian.
#pragma once

#include "host/call.hpp"
#include "host/memory.hpp"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

namespace host {

struct varlena;

inline constexpr std::size_t k_long_header = 4;
inline constexpr std::size_t k_short_header = 1;
// Longest payload with a one-byte header.
inline constexpr std::size_t k_longest_short_payload = 126;

[[nodiscard]] inline std::uint8_t first_byte(const varlena *value) noexcept {
    return *reinterpret_cast<const std::uint8_t *>(value);
}
[[nodiscard]] inline bool has_short_header(const varlena *value) noexcept {
    return (first_byte(value) & 1U) != 0;
}
// Header included. Only for values that are in memory, not for pointers to values elsewhere.
[[nodiscard]] inline std::size_t total_size(const varlena *value) noexcept {
    if (has_short_header(value)) {
        return first_byte(value) >> 1U;
    }
    std::uint32_t word = 0;
    std::memcpy(&word, value, sizeof word);
    return word >> 2U;
}
[[nodiscard]] inline std::span<const std::byte> payload(const varlena *value) noexcept {
    const std::size_t header = has_short_header(value) ? k_short_header : k_long_header;
    return {reinterpret_cast<const std::byte *>(value) + header, total_size(value) - header};
}
[[nodiscard]] inline std::string_view text_view(const varlena *value) noexcept {
    const auto bytes = payload(value);
    return {reinterpret_cast<const char *>(bytes.data()), bytes.size()};
}
// Whether a value lies in memory as it is, neither compressed nor kept elsewhere.
[[nodiscard]] inline bool lies_in_memory(const varlena *value) noexcept {
    const std::uint8_t first = first_byte(value);
    return (first & 3U) == 0 || ((first & 1U) != 0 && first != 1);
}
// Writes a four-byte header; `total` includes it and is below 1 GiB.
inline void set_total_size(varlena *value, std::size_t total) noexcept {
    const auto word = static_cast<std::uint32_t>(total << 2U);
    std::memcpy(value, &word, sizeof word);
}

// Room for the short form of a value, so that packing one needs no allocation.
struct packed_room {
    std::byte bytes[k_longest_short_payload + k_short_header];
};

// The value in memory, uncompressed, in the short form whenever its payload fits one. Returns the
// argument's own bytes where they are that already, else `room`, else fresh memory of the current
// context. Throws what the host raises while fetching it. Never null.
const varlena *pg_detoast_datum_packed(datum value, packed_room &room);
// The value in memory, uncompressed, in whichever header form it has. As above otherwise.
const varlena *pg_detoast_datum(datum value);

// A text value as a NUL-terminated string in the database encoding, in the current context; the
// caller may free it. Throws.
[[nodiscard]] char *text_to_cstring(datum value);
// A text value (four-byte header) in the current context. Throws; 1 GiB and more is refused.
[[nodiscard]] varlena *cstring_to_text(const char *text);
[[nodiscard]] varlena *cstring_to_text_with_length(const char *text, std::size_t length);
// Both texts in a new one. Throws.
[[nodiscard]] varlena *textcat(const varlena *left, const varlena *right);

} // namespace host
