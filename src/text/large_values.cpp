// Large values: between the forms in which the host keeps texts and flat memory.

#include "text/large_values.hpp"

#include "error_reports.hpp"
#include "host/error.hpp"
#include "host/lob.hpp"
#include "host/memory.hpp"
#include "text/text_limits.hpp"

#include <algorithm>
#include <cstring>
#include <memory>
#include <span>

namespace pkg_dbe_xml {

namespace {

using value_ptr = std::unique_ptr<host::varlena, host::memory_deleter>;

// Bytes between two looks at whether the statement was asked to stop.
constexpr std::size_t k_copied_at_once = 16 * 1024 * 1024;
constexpr int k_large_header = static_cast<int>(host::k_long_header);

// A text value of one allocation. Throws when the statement was asked to stop.
[[nodiscard]] value_ptr make_value(const char *bytes, std::int64_t length) {
    const std::size_t total = static_cast<std::size_t>(length) + host::k_long_header;
    value_ptr value(
        static_cast<host::varlena *>(asserted(host::allocate_result(total), k_no_result_room)));
    host::set_total_size(value.get(), total);
    char *to = reinterpret_cast<char *>(value.get()) + host::k_long_header;
    std::size_t left = total - host::k_long_header;
    for (;;) {
        const std::size_t size = std::min(left, k_copied_at_once);
        host::copy_bytes(to, left, bytes, size);
        to += size;
        bytes += size;
        left -= size;
        if (left == 0) {
            return value;
        }
        host::check_for_interrupts();
    }
}

} // namespace

void copy_lob_to_flat_buffer(host::datum large_value, std::int64_t length, char *destination) {
    std::int64_t offset = 0;
    while (offset < length) {
        const value_ptr slice(
            asserted(host::tupleam_detoast_slice_value(
                         large_value, offset, std::min(host::piece_size(), length - offset)),
                     k_no_slice));
        const std::span<const std::byte> bytes = host::payload(slice.get());
        if (bytes.empty()) {
            fail_assertion(k_no_slice); // the value is shorter than it says
        }
        host::copy_bytes(destination + offset, static_cast<std::size_t>(length - offset),
                         bytes.data(), bytes.size());
        offset += static_cast<std::int64_t>(bytes.size());
    }
}

host::varlena *copy_flat_buffer_to_lob(std::int64_t length, const char *buffer) {
    if (length < 0) {
        report(reports::piece_length_negative, {"2"});
    }
    if (length + k_large_header <= longest_value()) {
        return make_value(buffer, length).release();
    }
    std::int64_t offset = std::min(host::piece_size(), length);
    value_ptr whole = make_value(buffer, offset);
    while (offset < length) {
        host::check_for_interrupts();
        const std::int64_t size = std::min(host::piece_size(), length - offset);
        const value_ptr piece = make_value(buffer + offset, size);
        whole.reset(host::textcat(whole.get(), piece.get()));
        offset += size;
    }
    return whole.release();
}

} // namespace pkg_dbe_xml
