// Hash tables and lists of the standalone host.
#include "host/table.hpp"
#include "standalone_faults.hpp"
#include "standalone_session.hpp"
#include "support/sql.hpp"

#include <cstring>
#include <map>
#include <set>

namespace {

namespace standalone = host::standalone;

class host_tables : public sql::session_test {
  protected:
    host::hash_table *make_table(host::hash_function hash = nullptr,
                                 host::hash_compare_function compare = nullptr) {
        return host::hash_create_func(
            "test", 1048575,
            {sizeof(std::uint32_t), 16, hash, compare, host::session_memory_context()});
    }
};
using host_tables_death = host_tables;

struct table_entry {
    std::uint32_t key;
    std::uint32_t other;
    std::uint64_t word;
};

table_entry *search(host::hash_table *table, std::uint32_t key, host::hash_action action,
                    bool *found = nullptr) {
    return static_cast<table_entry *>(host::hash_search(table, &key, action, found));
}

std::set<std::uint32_t> keys_of(host::hash_table *table) {
    std::set<std::uint32_t> keys;
    host::hash_walk walk;
    host::hash_seq_init(walk, table);
    while (auto *entry = static_cast<table_entry *>(host::hash_seq_search(walk))) {
        EXPECT_TRUE(keys.insert(entry->key).second) << "shown twice: " << entry->key;
    }
    return keys;
}

TEST_F(host_tables, enters_finds_and_removes) {
    host::hash_table *table = make_table();
    bool found = true;
    EXPECT_EQ(search(table, 1, host::hash_action::find, &found), nullptr);
    EXPECT_FALSE(found);
    table_entry *entry = search(table, 1, host::hash_action::enter, &found);
    EXPECT_FALSE(found);
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->key, 1U);
    entry->word = 42;
    EXPECT_EQ(search(table, 1, host::hash_action::enter, &found), entry);
    EXPECT_TRUE(found);
    EXPECT_EQ(host::hash_get_num_entries(table), 1U);
    EXPECT_EQ(search(table, 2, host::hash_action::remove, &found), nullptr);
    EXPECT_FALSE(found);
    table_entry *removed = search(table, 1, host::hash_action::remove, &found);
    EXPECT_TRUE(found);
    ASSERT_NE(removed, nullptr);
    EXPECT_EQ(removed->word, 42U); // good until the next call for the table
    EXPECT_EQ(host::hash_get_num_entries(table), 0U);
    EXPECT_EQ(search(table, 1, host::hash_action::find), nullptr);
    host::hash_destroy(table);
}

TEST_F(host_tables, entries_never_move) {
    host::hash_table *table = make_table();
    std::map<std::uint32_t, table_entry *> places;
    for (std::uint32_t key = 0; key < 20000; ++key) {
        places[key] = search(table, key, host::hash_action::enter);
        places[key]->word = key * 3;
    }
    for (std::uint32_t key = 0; key < 20000; key += 3) {
        EXPECT_NE(search(table, key, host::hash_action::remove), nullptr);
    }
    for (std::uint32_t key = 0; key < 20000; ++key) {
        table_entry *entry = search(table, key, host::hash_action::find);
        if (key % 3 == 0) {
            EXPECT_EQ(entry, nullptr);
        } else {
            ASSERT_EQ(entry, places[key]);
            EXPECT_EQ(entry->word, key * 3U);
        }
    }
    EXPECT_EQ(host::hash_get_num_entries(table), 20000U - 6667U);
    host::hash_destroy(table);
}

std::uint32_t one_chain(const void * /*key*/, std::size_t /*key_size*/) { return 7; }
int same_parity(const void *left, const void *right, std::size_t key_size) {
    std::uint32_t left_number = 0;
    std::uint32_t right_number = 0;
    std::memcpy(&left_number, left, key_size);
    std::memcpy(&right_number, right, key_size);
    return static_cast<int>((left_number ^ right_number) & 1U);
}

TEST_F(host_tables, functions_of_the_caller_decide) {
    host::hash_table *table = make_table(one_chain, same_parity);
    table_entry *even = search(table, 2, host::hash_action::enter);
    table_entry *odd = search(table, 3, host::hash_action::enter);
    EXPECT_NE(even, odd);
    EXPECT_EQ(search(table, 8, host::hash_action::find), even);
    EXPECT_EQ(search(table, 9, host::hash_action::find), odd);
    EXPECT_EQ(host::hash_get_num_entries(table), 2U);
    host::hash_destroy(table);
}

TEST_F(host_tables, costs_only_what_is_entered) {
    host::hash_table *table = make_table();
    EXPECT_LT(standalone::memory_of(host::session_memory_context()).bytes, 4096U);
    host::hash_destroy(table);
    EXPECT_EQ(standalone::memory_of(host::session_memory_context()).blocks, 0U);
    EXPECT_EQ(standalone::memory_of(host::session_memory_context()).contexts, 0U);
}

TEST_F(host_tables, walks_show_every_entry_once) {
    host::hash_table *table = make_table();
    EXPECT_TRUE(keys_of(table).empty());
    std::set<std::uint32_t> expected;
    for (std::uint32_t key = 0; key < 5000; ++key) {
        search(table, key * 7919U, host::hash_action::enter);
        expected.insert(key * 7919U);
    }
    EXPECT_EQ(keys_of(table), expected);
    host::hash_destroy(table);
}

TEST_F(host_tables, the_entry_shown_may_be_removed) {
    host::hash_table *table = make_table();
    for (std::uint32_t key = 0; key < 1000; ++key) {
        search(table, key, host::hash_action::enter);
    }
    host::hash_walk walk;
    host::hash_seq_init(walk, table);
    std::size_t shown = 0;
    while (auto *entry = static_cast<table_entry *>(host::hash_seq_search(walk))) {
        ++shown;
        if (entry->key % 2 == 0) {
            EXPECT_EQ(search(table, entry->key, host::hash_action::remove), entry);
        }
    }
    EXPECT_EQ(shown, 1000U);
    EXPECT_EQ(host::hash_get_num_entries(table), 500U);
    EXPECT_EQ(keys_of(table).size(), 500U);
    host::hash_destroy(table);
}

TEST_F(host_tables, a_walk_can_be_given_up) {
    host::hash_table *table = make_table();
    for (std::uint32_t key = 0; key < 10; ++key) {
        search(table, key, host::hash_action::enter);
    }
    host::hash_walk outer;
    host::hash_walk inner;
    host::hash_seq_init(outer, table);
    EXPECT_NE(host::hash_seq_search(outer), nullptr);
    host::hash_seq_init(inner, table);
    EXPECT_NE(host::hash_seq_search(inner), nullptr);
    host::hash_seq_term(outer);
    host::hash_seq_term(inner);
    EXPECT_NE(search(table, 10, host::hash_action::enter), nullptr);
    EXPECT_EQ(keys_of(table).size(), 11U);
    host::hash_destroy(table);
}

TEST_F(host_tables, a_failed_enter_changes_nothing) {
    host::hash_table *table = make_table();
    std::size_t failures = 0;
    for (std::uint32_t key = 0; key < 300; ++key) {
        for (std::int64_t at = 1;; ++at) {
            standalone::fail_call(standalone::service::allocation, at);
            try {
                search(table, key, host::hash_action::enter);
                break;
            } catch (const host::raised &) {
                ++failures;
                EXPECT_EQ(host::hash_get_num_entries(table), key);
                EXPECT_EQ(search(table, key, host::hash_action::find), nullptr);
            }
        }
    }
    standalone::clear_faults();
    EXPECT_GT(failures, 300U); // the entry each time, and the buckets now and then
    EXPECT_EQ(keys_of(table).size(), 300U);
    host::hash_destroy(table);
}

TEST_F(host_tables, a_failed_creation_leaves_nothing) {
    for (std::int64_t at = 1; at <= 3; ++at) {
        standalone::fail_call(standalone::service::allocation, at);
        EXPECT_THROW(make_table(), host::raised);
        EXPECT_EQ(standalone::memory_of(host::session_memory_context()).contexts, 0U);
    }
    standalone::fail_call(standalone::service::allocation, 4);
    host::hash_destroy(make_table());
}

TEST_F(host_tables_death, nothing_is_entered_during_a_walk) {
    host::hash_table *table = make_table();
    search(table, 1, host::hash_action::enter);
    EXPECT_DEATH(
        {
            host::hash_walk walk;
            host::hash_seq_init(walk, table);
            search(table, 2, host::hash_action::enter);
        },
        "during a walk");
    host::hash_destroy(table);
}

TEST_F(host_tables_death, no_other_entry_is_removed_during_a_walk) {
    host::hash_table *table = make_table();
    search(table, 1, host::hash_action::enter);
    search(table, 2, host::hash_action::enter);
    EXPECT_DEATH(
        {
            host::hash_walk walk;
            host::hash_seq_init(walk, table);
            const auto *shown = static_cast<table_entry *>(host::hash_seq_search(walk));
            search(table, shown->key == 1 ? 2 : 1, host::hash_action::remove);
        },
        "other than the one shown last");
    host::hash_destroy(table);
}

TEST_F(host_tables, the_hash_reads_all_bytes_of_a_key) {
    std::array<unsigned char, 13> key{};
    std::set<std::uint32_t> hashes{host::hashfn_tag_hash(key.data(), key.size())};
    for (unsigned char &byte : key) {
        byte = 1;
        hashes.insert(host::hashfn_tag_hash(key.data(), key.size()));
        byte = 0;
    }
    EXPECT_EQ(hashes.size(), 14U);
}

} // namespace
