// Hash tables of the server.
#include "host/table.hpp"

#include "guard.hpp"

#include <algorithm>

#include "server.hpp"

namespace host {

namespace {

// The server makes room for the expected entries at once; tables start small and grow instead.
constexpr long k_first_entries = 32;

HTAB *server_table(hash_table *table) noexcept { return reinterpret_cast<HTAB *>(table); }

HASHACTION server_action(hash_action action) noexcept {
    switch (action) {
    case hash_action::enter:
        return HASH_ENTER;
    case hash_action::remove:
        return HASH_REMOVE;
    case hash_action::find:
        break;
    }
    return HASH_FIND;
}

HASH_SEQ_STATUS *server_walk(hash_walk &walk) noexcept {
    static_assert(sizeof(HASH_SEQ_STATUS) <= sizeof walk.state);
    static_assert(alignof(HASH_SEQ_STATUS) <= alignof(void *));
    return reinterpret_cast<HASH_SEQ_STATUS *>(walk.state);
}

} // namespace

hash_table *hash_create_func(const char *name, std::size_t expected, const hash_control &control) {
    HASHCTL settings = {};
    settings.keysize = control.key_size;
    settings.entrysize = control.entry_size;
    settings.hash = control.hash != nullptr ? control.hash : tag_hash;
    settings.match = control.compare;
    settings.hcxt = reinterpret_cast<MemoryContext>(control.context);
    const int flags =
        HASH_ELEM | HASH_FUNCTION | HASH_CONTEXT | (control.compare != nullptr ? HASH_COMPARE : 0);
    const long entries =
        static_cast<long>(std::min(expected, static_cast<std::size_t>(k_first_entries)));
    HTAB *table = nullptr;
    guard([&] { table = ::hash_create(name, entries, &settings, flags); });
    return reinterpret_cast<hash_table *>(table);
}

void *hash_search(hash_table *table, const void *key, hash_action action, bool *found) {
    if (action != hash_action::enter) {
        // Finding and removing allocate nothing and fail for no key; our hash and comparison
        // functions throw nothing.
        return ::hash_search(server_table(table), key, server_action(action), found);
    }
    void *entry = nullptr;
    guard([&] { entry = ::hash_search(server_table(table), key, HASH_ENTER, found); });
    return entry;
}

std::size_t hash_get_num_entries(const hash_table *table) noexcept {
    // Reads a number.
    return static_cast<std::size_t>(
        ::hash_get_num_entries(server_table(const_cast<hash_table *>(table))));
}

void hash_destroy(hash_table *table) noexcept {
    ::hash_destroy(server_table(table)); // deletes the context of the table
}

std::uint32_t hashfn_tag_hash(const void *key, std::size_t key_size) {
    return ::tag_hash(key, key_size); // computes
}

void hash_seq_init(hash_walk &walk, hash_table *table) {
    walk.table = table;
    // The server allows a hundred walks at once.
    guard([&] { ::hash_seq_init(server_walk(walk), server_table(table)); });
}

void *hash_seq_search(hash_walk &walk) {
    // Fails only for a walk that is over; those are not asked again.
    return ::hash_seq_search(server_walk(walk));
}

void hash_seq_term(hash_walk &walk) noexcept {
    ::hash_seq_term(server_walk(walk)); // as above
}

} // namespace host
