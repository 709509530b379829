// See stream_table.hpp.
#include "stream/stream_table.hpp"

#include "host/transaction.hpp"
#include "registry/clean_up.hpp"
#include "registry/parser_registry.hpp"
#include "stream_reports.hpp"

#include <cstring>
#include <new>
#include <utility>

namespace pkg_dbe_xml {

namespace {

constexpr std::byte k_stream_mark{2};

struct open_stream {
    std::uint32_t number;
    host::subtransaction_number made_in;
    record_stream *stream; // owned
    open_stream *older;
};

// The newest first.
constinit PKG_DBE_XML_SESSION_STORAGE open_stream *newest = nullptr;
constinit PKG_DBE_XML_SESSION_STORAGE std::uint32_t last_number = 0;

void free_entry(open_stream *entry) noexcept {
    end_stream(entry->stream);
    host::mmgr_free_with_fl(entry, __FILE__, __LINE__);
}

// Streams that were made in a subtransaction that succeeded belong to the one around it, whose
// number is lower, and end with the first that fails.
void end_streams_since(host::subtransaction_number first) noexcept {
    open_stream **place = &newest;
    while (*place != nullptr) {
        if ((*place)->made_in >= first) {
            free_entry(std::exchange(*place, (*place)->older));
        } else {
            place = &(*place)->older;
        }
    }
}

void end_all_streams() noexcept { end_streams_since(host::k_no_subtransaction); }

[[nodiscard]] DomKey key_of(std::uint32_t number) noexcept {
    DomKey key{};
    std::memcpy(key.bytes.data(), &number, sizeof number);
    key.bytes.back() = k_stream_mark;
    return key;
}

// Where the pointer to the entry of a key stands; it points to null when there is none.
[[nodiscard]] open_stream **place_of(const DomKey &key) noexcept {
    open_stream **place = &newest;
    while (*place != nullptr && !(key_of((*place)->number) == key)) {
        place = &(*place)->older;
    }
    return place;
}

} // namespace

host::datum enter_stream(record_stream_ptr &stream) {
    if (last_number >= k_last_stream_number) {
        report(reports::too_many_streams);
    }
    host::watch_transactions(end_streams_since);
    end_streams_of_session = end_all_streams;
    const host::datum handle = get_datum_by_dom_key(key_of(last_number + 1));
    void *const memory =
        host::mmgr_memory_alloc_zero(host::u_sess.xmlparser_context, sizeof(open_stream));
    ++last_number;
    newest = new (memory)
        open_stream{last_number, host::current_subtransaction(), stream.release(), newest};
    return handle;
}

record_stream *find_stream(const DomKey &key) noexcept {
    const open_stream *const entry = *place_of(key);
    return entry == nullptr ? nullptr : entry->stream;
}

void close_stream(const DomKey &key) noexcept {
    open_stream **const place = place_of(key);
    if (*place != nullptr) {
        free_entry(std::exchange(*place, (*place)->older));
    }
}

std::size_t close_all_streams() noexcept {
    const std::size_t count = count_streams();
    end_all_streams();
    return count;
}

std::size_t count_streams() noexcept {
    std::size_t count = 0;
    for (const open_stream *entry = newest; entry != nullptr; entry = entry->older) {
        ++count;
    }
    return count;
}

} // namespace pkg_dbe_xml
