// Text and RAW values of the server.
#include "host/text.hpp"

#include "guard.hpp"
#include "invocation.hpp"

#include "server.hpp"

namespace host {

static_assert(k_longest_short_payload == VARATT_SHORT_MAX - VARHDRSZ_SHORT);

namespace {

// The value in memory and uncompressed; `fetched` tells whether it had to be made.
const varlena *in_memory(datum value, bool &fetched) {
    auto *const stored = reinterpret_cast<struct ::varlena *>(value);
    fetched = VARATT_IS_EXTERNAL(stored) || VARATT_IS_COMPRESSED(stored);
    struct ::varlena *result = stored;
    if (fetched) {
        guard([&] { result = detoast_attr(stored); });
    }
    return reinterpret_cast<const varlena *>(result);
}

// Copies a payload behind its header in `room`. Handles, 13 bytes, are read again at once, so they
// are written in one piece: a processor passes on what one store wrote much sooner than what two
// did.
void copy_payload(packed_room &room, std::span<const std::byte> bytes) noexcept {
    std::byte *const target = room.bytes + k_short_header;
    if (bytes.size() <= 8 || bytes.size() > 16) {
        std::memcpy(target, bytes.data(), bytes.size());
        return;
    }
    using two_words = std::uint64_t __attribute__((vector_size(16)));
    std::uint64_t first = 0;
    std::uint64_t last = 0;
    std::memcpy(&first, bytes.data(), sizeof first);
    std::memcpy(&last, bytes.data() + bytes.size() - sizeof last, sizeof last);
    const two_words both = {first, last >> ((16 - bytes.size()) * 8)};
    std::memcpy(target, &both, sizeof both);
}

void release(const varlena *value) noexcept {
    mmgr_free_with_fl(const_cast<varlena *>(value), __FILE__, __LINE__);
}

} // namespace

const varlena *pg_detoast_datum_packed(datum value, packed_room &room) {
    bool fetched = false;
    const varlena *const whole = in_memory(value, fetched);
    if (has_short_header(whole)) {
        return whole;
    }
    const auto bytes = payload(whole);
    if (bytes.size() > k_longest_short_payload) {
        return whole;
    }
    room.bytes[0] = static_cast<std::byte>(((bytes.size() + k_short_header) << 1U) | 1U);
    copy_payload(room, bytes);
    if (fetched) {
        release(whole);
    }
    return reinterpret_cast<const varlena *>(room.bytes);
}

const varlena *pg_detoast_datum(datum value) {
    bool fetched = false;
    return in_memory(value, fetched);
}

char *text_to_cstring(datum value) {
    bool fetched = false;
    const varlena *const whole = in_memory(value, fetched);
    const std::string_view text = text_view(whole);
    auto *const result = static_cast<char *>(
        mmgr_memory_alloc_from_controller(current_memory_context(), text.size() + 1));
    std::memcpy(result, text.data(), text.size());
    result[text.size()] = '\0';
    if (fetched) {
        release(whole);
    }
    return result;
}

varlena *cstring_to_text_with_length(const char *text, std::size_t length) {
    const std::size_t total = length + k_long_header;
    auto *const result = static_cast<varlena *>(allocate_result(total));
    set_total_size(result, total);
    if (length != 0) {
        std::memcpy(reinterpret_cast<std::byte *>(result) + k_long_header, text, length);
    }
    return result;
}

varlena *cstring_to_text(const char *text) {
    return cstring_to_text_with_length(text, std::strlen(text));
}

varlena *textcat(const varlena *left, const varlena *right) {
    const auto first = payload(left);
    const auto second = payload(right);
    const std::size_t total = k_long_header + first.size() + second.size();
    auto *const result = static_cast<varlena *>(allocate_result(total));
    set_total_size(result, total);
    auto *const bytes = reinterpret_cast<std::byte *>(result) + k_long_header;
    copy_bytes(bytes, total - k_long_header, first.data(), first.size());
    copy_bytes(bytes + first.size(), second.size(), second.data(), second.size());
    return result;
}

} // namespace host
