// The arena for libxml2's small blocks: what it gives, that it keeps what is in it, and that the
// system gets it back.
#include "support/sql.hpp"

#include "libxml/xml_arena.hpp"

#include "libxml/xml.hpp"
#include "sanitizers.hpp"

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <random>
#include <vector>

namespace {

using host::arena_allocate;
using host::arena_block_size;
using host::arena_free;
using host::arena_in_use;
using host::arena_size_of;
using host::k_largest_arena_block;

struct held_block {
    unsigned char *address;
    std::size_t size;
    unsigned char fill;
};

held_block take(std::size_t size, unsigned char fill) {
    auto *const address = static_cast<unsigned char *>(arena_allocate(size));
    if (address == nullptr) {
        throw std::bad_alloc();
    }
    std::memset(address, fill, size);
    return {address, size, fill};
}

bool is_whole(const held_block &block) {
    for (std::size_t index = 0; index < block.size; ++index) {
        if (block.address[index] != block.fill) {
            return false;
        }
    }
    return true;
}

// Frees the block; false when something wrote into it or its size is not told rightly.
bool give(const held_block &block) {
    return is_whole(block) && arena_free(block.address) == arena_block_size(block.size);
}

// Nothing is in use: only what is kept for the next document is held.
void expect_nothing_in_use() {
    const host::arena_use use = arena_in_use();
    EXPECT_EQ(use.segments, use.empty_segments);
    EXPECT_LE(use.segments, 2U);
}

TEST(arena, blocks_have_their_size_and_are_aligned) {
    std::vector<held_block> blocks;
    for (std::size_t size = 1; size <= k_largest_arena_block; ++size) {
        const held_block block = take(size, static_cast<unsigned char>(size));
        EXPECT_EQ(arena_size_of(block.address), (size + 7) / 8 * 8);
        const auto address = reinterpret_cast<std::uintptr_t>(block.address);
        EXPECT_EQ(address % 8, 0U);
        if (arena_block_size(size) % 16 == 0) {
            EXPECT_EQ(address % 16, 0U) << size;
        }
        blocks.push_back(block);
    }
    for (const held_block &block : blocks) {
        EXPECT_TRUE(give(block)) << block.size;
    }
    expect_nothing_in_use();
}

TEST(arena, what_is_not_its_own_is_left_alone) {
    const held_block block = take(100, 1); // so that there is something to look in
    int on_the_stack = 7;
    void *const of_the_heap = std::malloc(100);
    ASSERT_NE(of_the_heap, nullptr);
    void *const next_door = block.address + arena_in_use().segment_size;
    for (void *address : {static_cast<void *>(&on_the_stack), of_the_heap, next_door,
                          static_cast<void *>(nullptr)}) {
        EXPECT_EQ(arena_size_of(address), 0U);
        EXPECT_EQ(arena_free(address), 0U);
    }
    std::free(of_the_heap);
    EXPECT_TRUE(give(block));
    EXPECT_EQ(on_the_stack, 7);
    expect_nothing_in_use();
}

TEST(arena, random_blocks_keep_their_content) {
    std::mt19937 random(20261);
    std::vector<held_block> blocks;
    std::size_t damaged = 0;
    for (int round = 0; round < 400'000; ++round) {
        // Grows to some 40,000 blocks and shrinks again, four times.
        const bool growing = (round / 50'000) % 2 == 0;
        if (blocks.empty() || random() % 10 < (growing ? 9U : 1U)) {
            const std::size_t size =
                1 + random() % (random() % 4 == 0 ? k_largest_arena_block : 64);
            blocks.push_back(take(size, static_cast<unsigned char>(random())));
        } else {
            std::swap(blocks[random() % blocks.size()], blocks.back());
            damaged += give(blocks.back()) ? 0 : 1;
            blocks.pop_back();
        }
    }
    for (const held_block &block : blocks) {
        damaged += give(block) ? 0 : 1;
    }
    EXPECT_EQ(damaged, 0U);
    expect_nothing_in_use();
}

TEST(arena, gives_everything_back_in_whatever_order_it_is_freed) {
    std::mt19937 random(20262);
    for (int order = 0; order < 3; ++order) {
        std::vector<held_block> blocks;
        for (int index = 0; index < 200'000; ++index) {
            blocks.push_back(take(120, 'x'));
        }
        EXPECT_GE(arena_in_use().segments, 11U); // 24 MB
        EXPECT_LE(arena_in_use().segments, 15U);
        if (order == 1) {
            std::reverse(blocks.begin(), blocks.end());
        } else if (order == 2) {
            std::shuffle(blocks.begin(), blocks.end(), random);
        }
        for (const held_block &block : blocks) {
            ASSERT_TRUE(give(block));
        }
        expect_nothing_in_use();
    }
}

TEST(arena, the_rest_goes_at_the_end_unless_it_is_in_use) {
    std::vector<held_block> blocks;
    for (int index = 0; index < 50'000; ++index) {
        blocks.push_back(take(120, 'x'));
    }
    const held_block lasting = take(24, 'l');
    for (const held_block &block : blocks) {
        ASSERT_TRUE(give(block));
    }
    host::arena_give_rest_back();
    EXPECT_EQ(arena_in_use().segments, 1U);
    EXPECT_EQ(arena_size_of(lasting.address), 24U);
    EXPECT_TRUE(give(lasting));
    host::arena_give_rest_back();
    EXPECT_EQ(arena_in_use().segments, 0U);
    EXPECT_EQ(arena_size_of(lasting.address), 0U);
    EXPECT_TRUE(give(take(24, 'n')));
    expect_nothing_in_use();
}

TEST(arena, freed_blocks_are_used_again) {
    std::vector<held_block> lasting;
    for (int index = 0; index < 1000; ++index) {
        lasting.push_back(take(24, 'l'));
        ASSERT_TRUE(give(take(24, 's')));
    }
    const std::size_t segments = arena_in_use().segments;
    for (int round = 0; round < 100'000; ++round) {
        held_block &replaced = lasting[static_cast<std::size_t>(round) % lasting.size()];
        const held_block fresh = take(1 + static_cast<std::size_t>(round) % 40, 'n');
        ASSERT_TRUE(give(replaced));
        replaced = fresh;
    }
    EXPECT_EQ(arena_in_use().segments, segments);
    for (const held_block &block : lasting) {
        ASSERT_TRUE(give(block));
    }
    expect_nothing_in_use();
}

TEST(arena, holes_are_given_back_and_used_again) {
    std::vector<held_block> kept;
    std::vector<held_block> freed;
    for (int index = 0; index < 100'000; ++index) {
        (index % 2000 == 0 ? kept : freed).push_back(take(120, static_cast<unsigned char>(index)));
    }
    for (const held_block &block : freed) {
        ASSERT_TRUE(give(block));
    }
    host::arena_give_holes_back();
    host::arena_give_holes_back(); // nothing is left to give
    freed.clear();
    for (int index = 0; index < 50'000; ++index) {
        freed.push_back(take(56, static_cast<unsigned char>(index)));
    }
    for (const held_block &block : kept) {
        ASSERT_TRUE(give(block));
    }
    for (const held_block &block : freed) {
        ASSERT_TRUE(give(block));
    }
    expect_nothing_in_use();
}

#if !PKG_DBE_XML_ADDRESS_SANITIZER && !PKG_DBE_XML_THREAD_SANITIZER

// In a process that gets no more memory: status 0 when null was given, and memory after some was
// freed.
[[noreturn]] void run_out_of_memory() {
    std::vector<held_block> blocks;
    blocks.reserve(1'000'000);
    rlimit limit{};
    getrlimit(RLIMIT_AS, &limit);
    limit.rlim_cur = 256U * 1024 * 1024;
    setrlimit(RLIMIT_AS, &limit);
    void *block = nullptr;
    while ((block = arena_allocate(512)) != nullptr) {
        std::memset(block, 'm', 512);
        blocks.push_back({static_cast<unsigned char *>(block), 512, 'm'});
    }
    bool good = blocks.size() > 1000;
    for (const held_block &each : blocks) {
        good = give(each) && good;
    }
    good = arena_allocate(512) != nullptr && good;
    std::_Exit(good ? 0 : 1);
}

TEST(arena, says_when_there_is_no_memory) {
    EXPECT_EXIT(run_out_of_memory(), testing::ExitedWithCode(0), "");
}

class arena_behind_the_gate : public sql::session_test {};

TEST_F(arena_behind_the_gate, large_documents_live_in_it_and_leave_it) {
    const std::size_t before = arena_in_use().segments - arena_in_use().empty_segments;
    std::string text = "<rows>";
    for (int index = 0; index < 20'000; ++index) {
        text += "<row id='" + std::to_string(index) + "'>a text</row>";
    }
    const sql::handle document = sql::call(xml_dom_new_document_clob, text + "</rows>").handle();
    const sql::handle root = sql::call(xml_dom_get_document_element, document).handle();
    EXPECT_GE(arena_in_use().segments, before + 2);
    EXPECT_FALSE(sql::call(xml_dom_set_attribute, root, "name", std::string(400, 'v')).failed());
    EXPECT_EQ(sql::call(xml_dom_get_attribute, root, "name").text(), std::string(400, 'v'));
    EXPECT_FALSE(sql::call(xml_dom_free_document, document).failed());
    expect_nothing_in_use();
}

TEST_F(arena_behind_the_gate, small_documents_do_without) {
    const host::arena_use before = arena_in_use();
    const sql::handle document = sql::call(xml_dom_new_document_clob, "<a><b/></a>").handle();
    EXPECT_EQ(arena_in_use().segments, before.segments);
    EXPECT_EQ(arena_in_use().empty_segments, before.empty_segments);
    EXPECT_FALSE(sql::call(xml_dom_free_document, document).failed());
}

#endif

} // namespace
