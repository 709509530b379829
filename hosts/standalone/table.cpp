// Hash tables of the standalone host: chains of entries, each an allocation of its own, so that
// entries never move and a sanitizer sees the use of one that was removed.
//
// A removed entry stays readable until the next call for its table, then it is freed.
#include "host/table.hpp"

#include "session_record.hpp"

#include <bit>

namespace host {

using standalone::misuse;

namespace {

struct table_entry {
    table_entry *next;
    std::uint32_t hash;
};

// The entry's own bytes stand behind its link, aligned for any object.
constexpr std::size_t k_link_size = 16;
static_assert(sizeof(table_entry) <= k_link_size);

} // namespace

struct hash_table {
    memory_context *context; // holds the table and everything in it
    std::size_t key_size;
    std::size_t entry_size;
    hash_function hash;
    hash_compare_function compare;
    table_entry **buckets;
    std::size_t bucket_count; // a power of two
    std::size_t entry_count;
    table_entry *removed; // the entry removed last, if it is still to be freed
    hash_walk *walks;     // under way, chained through state[3]
};

namespace {

void *bytes_of(table_entry *entry) noexcept {
    return reinterpret_cast<std::byte *>(entry) + k_link_size;
}

void free_removed(hash_table &table) noexcept {
    mmgr_free_with_fl(table.removed, __FILE__, __LINE__);
    table.removed = nullptr;
}

bool same_key(const hash_table &table, table_entry *entry, const void *key) {
    return table.compare != nullptr ? table.compare(bytes_of(entry), key, table.key_size) == 0
                                    : std::memcmp(bytes_of(entry), key, table.key_size) == 0;
}

// The link that points at the entry of the key, or the one that ends its chain.
table_entry **find_link(const hash_table &table, const void *key, std::uint32_t hash) {
    table_entry **link = &table.buckets[hash & (table.bucket_count - 1)];
    while (*link != nullptr && ((*link)->hash != hash || !same_key(table, *link, key))) {
        link = &(*link)->next;
    }
    return link;
}

// Doubles the buckets. Throws before anything has changed.
void grow(hash_table &table) {
    const std::size_t count = table.bucket_count * 2;
    auto **buckets = static_cast<table_entry **>(
        mmgr_memory_alloc_zero(table.context, count * sizeof(table_entry *)));
    for (std::size_t i = 0; i < table.bucket_count; ++i) {
        while (table_entry *entry = table.buckets[i]) {
            table.buckets[i] = entry->next;
            table_entry *&chain = buckets[entry->hash & (count - 1)];
            entry->next = chain;
            chain = entry;
        }
    }
    mmgr_free_with_fl(table.buckets, __FILE__, __LINE__);
    table.buckets = buckets;
    table.bucket_count = count;
}

void *enter(hash_table &table, const void *key, std::uint32_t hash) {
    if (table.walks != nullptr) {
        misuse("an entry entered into a table during a walk over it");
    }
    auto *entry = static_cast<table_entry *>(
        mmgr_memory_alloc_from_controller(table.context, k_link_size + table.entry_size));
    if (table.entry_count >= table.bucket_count) {
        try {
            grow(table);
        } catch (...) {
            mmgr_free_with_fl(entry, __FILE__, __LINE__);
            throw;
        }
    }
    table_entry *&chain = table.buckets[hash & (table.bucket_count - 1)];
    entry->next = chain;
    entry->hash = hash;
    chain = entry;
    // Undefined bytes are made visible, lest anybody relies on zeros.
    std::memset(bytes_of(entry), 0xA5, table.entry_size);
    std::memcpy(bytes_of(entry), key, table.key_size);
    ++table.entry_count;
    return bytes_of(entry);
}

void *remove_entry(hash_table &table, table_entry **link) noexcept {
    table_entry *entry = *link;
    for (const hash_walk *walk = table.walks; walk != nullptr;
         walk = static_cast<const hash_walk *>(walk->state[3])) {
        if (walk->state[2] != bytes_of(entry)) {
            misuse("an entry other than the one shown last removed during a walk");
        }
    }
    *link = entry->next;
    --table.entry_count;
    table.removed = entry;
    return bytes_of(entry);
}

} // namespace

hash_table *hash_create_func(const char *name, std::size_t /*expected*/,
                             const hash_control &control) {
    constexpr std::size_t first_buckets = 16;
    memory_context *context =
        mmgr_memory_set_controller_create(control.context, name, 0, 8192, 8388608);
    try {
        auto *table =
            static_cast<hash_table *>(mmgr_memory_alloc_zero(context, sizeof(hash_table)));
        table->context = context;
        table->key_size = control.key_size;
        table->entry_size = control.entry_size;
        table->hash = control.hash != nullptr ? control.hash : hashfn_tag_hash;
        table->compare = control.compare;
        table->bucket_count = first_buckets;
        table->buckets = static_cast<table_entry **>(
            mmgr_memory_alloc_zero(context, first_buckets * sizeof(table_entry *)));
        return table;
    } catch (...) {
        mmgr_memory_controller_delete(context);
        throw;
    }
}

void *hash_search(hash_table *table, const void *key, hash_action action, bool *found) {
    free_removed(*table);
    const std::uint32_t hash = table->hash(key, table->key_size);
    table_entry **link = find_link(*table, key, hash);
    if (found != nullptr) {
        *found = *link != nullptr;
    }
    if (*link == nullptr) {
        return action == hash_action::enter ? enter(*table, key, hash) : nullptr;
    }
    return action == hash_action::remove ? remove_entry(*table, link) : bytes_of(*link);
}

std::size_t hash_get_num_entries(const hash_table *table) noexcept { return table->entry_count; }

void hash_destroy(hash_table *table) noexcept {
    if (table->walks != nullptr) {
        misuse("a table destroyed during a walk over it");
    }
    mmgr_memory_controller_delete(table->context);
}

std::uint32_t hashfn_tag_hash(const void *key, std::size_t key_size) {
    const auto *bytes = static_cast<const unsigned char *>(key);
    std::uint64_t hash = 0xCBF29CE484222325U ^ key_size;
    while (key_size > 0) {
        const std::size_t step = key_size < 8 ? key_size : 8;
        std::uint64_t word = 0;
        std::memcpy(&word, bytes, step);
        hash = (std::rotl(hash, 5) ^ word) * 0x9E3779B97F4A7C15U;
        bytes += step;
        key_size -= step;
    }
    return static_cast<std::uint32_t>(hash >> 32U);
}

// state: [0] number of the next bucket, [1] the next entry of the chain, [2] the bytes shown last,
// [3] the next walk over the same table.
void hash_seq_init(hash_walk &walk, hash_table *table) {
    walk = {table, {}};
    walk.state[3] = table->walks;
    table->walks = &walk;
}

void *hash_seq_search(hash_walk &walk) {
    hash_table &table = *walk.table;
    free_removed(table);
    auto *entry = static_cast<table_entry *>(walk.state[1]);
    auto bucket = reinterpret_cast<std::uintptr_t>(walk.state[0]);
    while (entry == nullptr) {
        if (bucket == table.bucket_count) {
            hash_seq_term(walk);
            return nullptr;
        }
        entry = table.buckets[bucket++];
    }
    walk.state[0] = reinterpret_cast<void *>(bucket);
    walk.state[1] = entry->next;
    walk.state[2] = bytes_of(entry);
    return bytes_of(entry);
}

void hash_seq_term(hash_walk &walk) noexcept {
    if (walk.table->walks == &walk) {
        walk.table->walks = static_cast<hash_walk *>(walk.state[3]);
        return;
    }
    for (hash_walk *other = walk.table->walks; other != nullptr;
         other = static_cast<hash_walk *>(other->state[3])) {
        if (other->state[3] == &walk) {
            other->state[3] = walk.state[3];
            return;
        }
    }
}

} // namespace host
