// Text and RAW values of the standalone host.
#include "host/text.hpp"

#include "stored_value.hpp"

namespace host {

using standalone::current_session;
using standalone::misuse;

namespace {

constexpr std::size_t k_one_gibibyte = 1U << 30U;

// A text value without its payload.
varlena *allocate_text(std::size_t length) {
    if (length >= k_one_gibibyte - k_long_header) {
        standalone::raise_host_error("54000", "invalid memory alloc request size " +
                                                  std::to_string(length + k_long_header));
    }
    auto *value = static_cast<varlena *>(
        mmgr_memory_alloc_from_controller(current_memory_context(), length + k_long_header));
    set_total_size(value, length + k_long_header);
    return value;
}

std::byte *payload_of(varlena *value) noexcept {
    return reinterpret_cast<std::byte *>(value) + k_long_header;
}

// A large value in one piece of memory, if it fits in one.
const varlena *fetch_large(datum value) {
    const auto *object =
        static_cast<const standalone::large_object *>(standalone::read_pointer(value).target);
    const auto length = static_cast<std::size_t>(object->size);
    varlena *whole = allocate_text(length);
    standalone::copy_bytes_of(*object, 0, object->size,
                              reinterpret_cast<char *>(payload_of(whole)));
    return whole;
}

// The value that a pointer stands for: for a stored value the bytes where they are stored.
const varlena *fetch(datum value) {
    const standalone::value_pointer pointer = standalone::read_pointer(value);
    if (pointer.tag == standalone::k_large_tag) {
        return fetch_large(value);
    }
    if (pointer.tag != standalone::k_stored_tag) {
        misuse("a value with an unknown tag");
    }
    return static_cast<const varlena *>(pointer.target);
}

void write_short(void *place, std::span<const std::byte> bytes) noexcept {
    *static_cast<std::uint8_t *>(place) =
        static_cast<std::uint8_t>(((bytes.size() + k_short_header) << 1U) | 1U);
    if (!bytes.empty()) {
        std::memcpy(static_cast<std::byte *>(place) + k_short_header, bytes.data(), bytes.size());
    }
}

// A copy in the current context of what a pointer stands for.
const varlena *copy_of(const varlena *stored) {
    const auto bytes = payload(stored);
    varlena *copy = allocate_text(bytes.size());
    if (!bytes.empty()) {
        std::memcpy(payload_of(copy), bytes.data(), bytes.size());
    }
    return copy;
}

} // namespace

const varlena *pg_detoast_datum_packed(datum value, packed_room &room) {
    standalone::fault_point(standalone::service::detoast);
    const bool elsewhere = standalone::is_pointer(value);
    const auto *whole = elsewhere ? fetch(value) : reinterpret_cast<const varlena *>(value);
    if (has_short_header(whole)) {
        return whole;
    }
    const auto bytes = payload(whole);
    if (bytes.size() <= k_longest_short_payload) {
        write_short(room.bytes, bytes);
        return reinterpret_cast<const varlena *>(room.bytes);
    }
    const bool stored =
        elsewhere && standalone::read_pointer(value).tag == standalone::k_stored_tag;
    return stored ? copy_of(whole) : whole;
}

const varlena *pg_detoast_datum(datum value) {
    standalone::fault_point(standalone::service::detoast);
    if (!standalone::is_pointer(value)) {
        return reinterpret_cast<const varlena *>(value);
    }
    const bool stored = standalone::read_pointer(value).tag == standalone::k_stored_tag;
    return stored ? copy_of(fetch(value)) : fetch(value);
}

char *text_to_cstring(datum value) {
    standalone::fault_point(standalone::service::detoast);
    const auto *whole =
        standalone::is_pointer(value) ? fetch(value) : reinterpret_cast<const varlena *>(value);
    const std::string_view bytes = text_view(whole);
    auto *copy = static_cast<char *>(
        mmgr_memory_alloc_from_controller(current_memory_context(), bytes.size() + 1));
    std::memcpy(copy, bytes.data(), bytes.size());
    copy[bytes.size()] = '\0';
    return copy;
}

varlena *cstring_to_text(const char *text) {
    return cstring_to_text_with_length(text, std::strlen(text));
}

varlena *cstring_to_text_with_length(const char *text, std::size_t length) {
    varlena *value = allocate_text(length);
    if (length != 0) {
        std::memcpy(payload_of(value), text, length);
    }
    return value;
}

varlena *textcat(const varlena *left, const varlena *right) {
    const auto first = payload(left);
    const auto second = payload(right);
    varlena *both = allocate_text(first.size() + second.size());
    if (!first.empty()) {
        std::memcpy(payload_of(both), first.data(), first.size());
    }
    if (!second.empty()) {
        std::memcpy(payload_of(both) + first.size(), second.data(), second.size());
    }
    return both;
}

namespace standalone {

datum make_text(std::string_view bytes) {
    return from_pointer(cstring_to_text_with_length(bytes.data(), bytes.size()));
}

datum make_short_text(std::string_view bytes) {
    if (bytes.size() > k_longest_short_payload) {
        misuse("a short value of more than 126 bytes");
    }
    void *place =
        mmgr_memory_alloc_from_controller(current_memory_context(), bytes.size() + k_short_header);
    write_short(place, std::as_bytes(std::span(bytes)));
    return from_pointer(place);
}

datum make_stored_text(std::string_view bytes) {
    const value_pointer pointer{
        1, k_stored_tag, {}, cstring_to_text_with_length(bytes.data(), bytes.size())};
    void *place = mmgr_memory_alloc_from_controller(current_memory_context(), sizeof pointer);
    std::memcpy(place, &pointer, sizeof pointer);
    return from_pointer(place);
}

} // namespace standalone
} // namespace host
