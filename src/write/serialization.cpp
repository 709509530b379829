// Text results of any length, and their bounds.
#include "write/serialization.hpp"

#include "error_reports.hpp"
#include "host/encoding.hpp"
#include "host/lob.hpp"
#include "host/memory.hpp"
#include "text/large_values.hpp"

#include <cstring>
#include <memory>

namespace pkg_dbe_xml {

namespace {

using host_text_ptr = std::unique_ptr<char, host::memory_deleter>;

// The text in the database encoding: a copy that is to be freed, or null when it stays as it is.
[[nodiscard]] host_text_ptr convert(text_output &output) {
    const int encoding = host::mb_get_database_encoding();
    if (encoding == host::k_utf8) {
        return nullptr;
    }
    char *const text = output.c_str();
    char *const converted = host::mb_do_encoding_conversion(
        text, static_cast<std::size_t>(output.size()), host::k_utf8, encoding, false);
    return host_text_ptr(converted != text ? converted : nullptr);
}

[[nodiscard]] host::datum as_result(host::varlena *value) {
    return host::from_pointer(asserted(value, k_no_result_room));
}

[[nodiscard]] host::datum take(text_output &output) {
    if (output.size() + static_cast<std::int64_t>(host::k_long_header) > k_longest_value) {
        // The host refuses it in its own words.
        static_cast<void>(
            host::allocate_result(static_cast<std::size_t>(output.size()) + host::k_long_header));
    }
    return as_result(output.take_value());
}

} // namespace

void check_buffer_document_size(std::int64_t size) {
    if (size < 1) {
        report(reports::out_of_memory);
    }
    if (size > longest_value()) {
        report(reports::over_one_gigabyte);
    }
}

void check_clob_document_size(std::int64_t size) {
    if (size < 1) {
        report(reports::out_of_memory);
    }
    if (size > k_longest_dump) {
        report(reports::over_two_gigabytes);
    }
}

bool node_text_is_null(std::int64_t size) noexcept { return size == 0 || size > k_longest_dump; }

bool node_text_is_long(std::int64_t size) noexcept {
    return size + static_cast<std::int64_t>(host::k_long_header) > longest_value();
}

host::datum inline_result(text_output &output) {
    const host_text_ptr converted = convert(output);
    if (converted == nullptr) {
        return take(output);
    }
    return as_result(
        host::cstring_to_text_with_length(converted.get(), std::strlen(converted.get())));
}

host::datum clob_result(text_output &output) {
    const host_text_ptr converted = convert(output);
    const bool changed = converted != nullptr;
    const std::int64_t size =
        changed ? static_cast<std::int64_t>(std::strlen(converted.get())) : output.size();
    if (size > host::piece_size()) {
        return as_result(copy_flat_buffer_to_lob(size, changed ? converted.get() : output.c_str()));
    }
    if (!changed) {
        return take(output);
    }
    return as_result(
        host::cstring_to_text_with_length(converted.get(), static_cast<std::size_t>(size)));
}

} // namespace pkg_dbe_xml
