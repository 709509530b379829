// Hash tables of the host: entries of a fixed size that begin with their key and never move.
#pragma once

#include "host/memory.hpp"

#include <cstddef>
#include <cstdint>

namespace host {

struct hash_table;

using hash_function = std::uint32_t (*)(const void *key, std::size_t key_size);
// 0 when the two keys are equal.
using hash_compare_function = int (*)(const void *left, const void *right, std::size_t key_size);

// How a table is made. Null functions mean hashfn_tag_hash and a plain comparison of the bytes.
struct hash_control {
    std::size_t key_size;   // bytes
    std::size_t entry_size; // bytes, key included
    hash_function hash;
    hash_compare_function compare;
    memory_context *context; // owns the table
};

enum class hash_action : int { find = 0, enter = 1, remove = 2 };

// Makes a table. `expected` is a hint for growth, not a reservation: a host pays for what is
// entered. `name` must never be freed. Throws.
hash_table *hash_create_func(const char *name, std::size_t expected, const hash_control &control);
// Finds, enters or removes a key; `found` (may be null) tells whether it was there. Returns the
// entry, null when it is not there and was not entered; after a removal the entry, whose bytes are
// good until the next call for the table. A new entry holds the key; its other bytes are
// undefined. Entering throws when memory runs out, and has then changed nothing.
void *hash_search(hash_table *table, const void *key, hash_action action, bool *found);
[[nodiscard]] std::size_t hash_get_num_entries(const hash_table *table) noexcept;
void hash_destroy(hash_table *table) noexcept;
[[nodiscard]] std::uint32_t hashfn_tag_hash(const void *key, std::size_t key_size);

// A walk over all entries, in the table's own order. The entry shown last may be removed during
// the walk, no other; nothing may be entered. A walk that is given up before hash_seq_search
// returned null is ended with hash_seq_term.
struct hash_walk {
    hash_table *table;
    void *state[8];
};
void hash_seq_init(hash_walk &walk, hash_table *table);
void *hash_seq_search(hash_walk &walk);
void hash_seq_term(hash_walk &walk) noexcept;

// A walk that is ended on every way out, also when it is given up by an exception.
class table_walk {
  public:
    explicit table_walk(hash_table *table) { hash_seq_init(walk_, table); }
    ~table_walk() {
        if (open_) {
            hash_seq_term(walk_);
        }
    }
    table_walk(const table_walk &) = delete;
    table_walk &operator=(const table_walk &) = delete;
    // The next entry, null when all were shown.
    [[nodiscard]] void *next() {
        void *const entry = hash_seq_search(walk_);
        open_ = entry != nullptr;
        return entry;
    }

  private:
    hash_walk walk_{};
    bool open_ = true;
};

} // namespace host
