// What the functions that write text results share: the bounds of the text and the making of the
// value.
#pragma once

#include "host/call.hpp"
#include "text/text_limits.hpp"
#include "text/text_output.hpp"

#include <cstdint>

namespace pkg_dbe_xml {

// Longest text that libxml2 can count, in bytes.
inline constexpr std::int64_t k_longest_dump = 0x7FFFFFFF;

// Bounds of a document's text of `size` bytes. Report out_of_memory for an empty text,
// over_one_gigabyte and over_two_gigabytes.
void check_buffer_document_size(std::int64_t size);
void check_clob_document_size(std::int64_t size);
// A node's text that libxml2 could not count is given as null, like an empty one.
[[nodiscard]] bool node_text_is_null(std::int64_t size) noexcept;
// Whether a node's text exceeds what a value of one allocation can hold.
[[nodiscard]] bool node_text_is_long(std::int64_t size) noexcept;

// The text as a value in the database encoding, in one allocation. Throws.
[[nodiscard]] host::datum inline_result(text_output &output);
// The same, but built from pieces when it is longer than a piece. Throws.
[[nodiscard]] host::datum clob_result(text_output &output);

} // namespace pkg_dbe_xml
