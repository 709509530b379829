// The session's open streams: which stream a handle names, and with which transaction it ends.
//
// A handle of a stream is 13 bytes like that of a parser: the stream's number, zeros, and a last
// byte that no other handle has. Numbers count up through the session and are never used twice.
#pragma once

#include "registry.hpp"
#include "stream/record_stream.hpp"

#include <cstdint>

namespace pkg_dbe_xml {

// Highest number a stream may have.
inline constexpr std::uint32_t k_last_stream_number = 0xFFFFFF;

// Enters a stream, which the table owns from here on; its handle. Reports too_many_streams; throws
// before it changes anything.
[[nodiscard]] host::datum enter_stream(record_stream_ptr &stream);
// The stream of a key, null when there is none.
[[nodiscard]] record_stream *find_stream(const DomKey &key) noexcept;
// Ends the stream of a key; nothing when there is none.
void close_stream(const DomKey &key) noexcept;
// Ends all of them; how many there were.
std::size_t close_all_streams() noexcept;
// Number of open streams.
[[nodiscard]] std::size_t count_streams() noexcept;

} // namespace pkg_dbe_xml
