// Memory contexts of the standalone host.
#include "host/memory.hpp"
#include "standalone_faults.hpp"
#include "standalone_session.hpp"
#include "support/sql.hpp"

#include <cstring>
#include <numeric>

namespace {

namespace standalone = host::standalone;

class host_memory : public sql::session_test {};
using host_memory_death = host_memory;

host::memory_context *make_context(const char *name) {
    return host::mmgr_memory_set_controller_create(host::session_memory_context(), name, 0, 1024,
                                                   8192);
}

TEST_F(host_memory, gives_and_takes_back) {
    host::memory_context *context = make_context("test");
    void *first = host::mmgr_memory_alloc_from_controller(context, 100);
    void *second = host::mmgr_memory_alloc_zero(context, 1);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(first) % alignof(std::max_align_t), 0U);
    EXPECT_EQ(*static_cast<char *>(second), 0);
    EXPECT_EQ(standalone::size_of_allocation(first), 100U);
    EXPECT_EQ(standalone::context_of_allocation(second), context);
    EXPECT_EQ(standalone::memory_of(context).blocks, 2U);
    EXPECT_EQ(standalone::memory_of(context).bytes, 101U);
    host::mmgr_free_with_fl(first, __FILE__, __LINE__);
    EXPECT_EQ(standalone::memory_of(context).blocks, 1U);
    EXPECT_EQ(standalone::memory_of(context).bytes, 1U);
    host::mmgr_free_with_fl(nullptr, __FILE__, __LINE__);
    host::mmgr_memory_controller_delete(context);
}

TEST_F(host_memory, zero_bytes_are_an_allocation) {
    host::memory_context *context = make_context("test");
    void *empty = host::mmgr_memory_alloc_from_controller(context, 0);
    ASSERT_NE(empty, nullptr);
    EXPECT_NE(empty, host::mmgr_memory_alloc_from_controller(context, 0));
    host::mmgr_memory_controller_delete(context);
}

TEST_F(host_memory, frees_in_any_order) {
    host::memory_context *context = make_context("test");
    std::vector<void *> blocks;
    for (std::size_t size = 1; size <= 1000; ++size) {
        void *block = host::mmgr_memory_alloc_from_controller(context, size);
        std::memset(block, static_cast<int>(size), size);
        blocks.push_back(block);
    }
    for (std::size_t i = 0; i < 1000; ++i) {
        const std::size_t chosen = i * 387 % 1000; // 387 and 1000 have no common divisor
        const auto *bytes = static_cast<const unsigned char *>(blocks[chosen]);
        EXPECT_EQ(bytes[chosen], static_cast<unsigned char>(chosen + 1));
        host::mmgr_free_with_fl(blocks[chosen], __FILE__, __LINE__);
    }
    EXPECT_EQ(standalone::memory_of(context).blocks, 0U);
    EXPECT_EQ(standalone::memory_of(context).bytes, 0U);
    host::mmgr_memory_controller_delete(context);
}

TEST_F(host_memory, allocations_change_their_size) {
    host::memory_context *context = make_context("test");
    std::vector<unsigned char *> blocks;
    for (unsigned char i = 0; i < 3; ++i) {
        blocks.push_back(
            static_cast<unsigned char *>(host::mmgr_memory_alloc_from_controller(context, 10)));
        std::memset(blocks[i], i, 10);
    }
    for (const std::size_t size : {100000U, 20U, 5U, 0U, 1U}) {
        blocks[1] = static_cast<unsigned char *>(host::mmgr_resize(blocks[1], size));
        EXPECT_EQ(standalone::size_of_allocation(blocks[1]), size);
        EXPECT_EQ(standalone::context_of_allocation(blocks[1]), context);
        EXPECT_EQ(standalone::memory_of(context).bytes, 20 + size);
        EXPECT_EQ(standalone::memory_of(context).blocks, 3U);
        for (std::size_t i = 0; i < 5 && size >= 5; ++i) {
            EXPECT_EQ(blocks[1][i], 1);
        }
        std::memset(blocks[1], 1, size);
    }
    standalone::fail_call(standalone::service::allocation, 1);
    EXPECT_THROW(static_cast<void>(host::mmgr_resize(blocks[2], 1000)), host::raised);
    EXPECT_EQ(standalone::size_of_allocation(blocks[2]), 10U);
    for (unsigned char i = 0; i < 3; ++i) {
        EXPECT_TRUE(i == 1 || blocks[i][9] == i);
        host::mmgr_free_with_fl(blocks[i], __FILE__, __LINE__);
    }
    EXPECT_EQ(standalone::memory_of(context).bytes, 0U);
    host::mmgr_memory_controller_delete(context);
}

TEST_F(host_memory, contexts_are_trees) {
    const std::size_t before = standalone::memory_of(host::session_memory_context()).contexts;
    host::memory_context *top = make_context("top");
    host::memory_context *below =
        host::mmgr_memory_set_controller_create(top, "below", 0, 1024, 8192);
    host::memory_context *lowest =
        host::mmgr_memory_set_controller_create(below, "lowest", 0, 1024, 8192);
    host::memory_context *beside =
        host::mmgr_memory_set_controller_create(top, "beside", 0, 1024, 8192);
    EXPECT_STREQ(standalone::name_of(lowest), "lowest");
    for (host::memory_context *context : {top, below, lowest, beside}) {
        EXPECT_NE(host::mmgr_memory_alloc_from_controller(context, 10), nullptr);
    }
    EXPECT_EQ(standalone::memory_of(top).contexts, 3U);
    EXPECT_EQ(standalone::memory_of(top).bytes, 40U);
    host::mmgr_memory_controller_delete(below);
    EXPECT_EQ(standalone::memory_of(top).contexts, 1U);
    EXPECT_EQ(standalone::memory_of(top).bytes, 20U);
    host::mmgr_memory_controller_delete(top);
    EXPECT_EQ(standalone::memory_of(host::session_memory_context()).contexts, before);
}

TEST_F(host_memory, scopes_switch_the_current_context) {
    host::memory_context *context = make_context("scoped");
    host::memory_context *caller = host::current_memory_context();
    {
        const host::context_scope scope(context);
        EXPECT_EQ(host::current_memory_context(), context);
        EXPECT_EQ(standalone::context_of_allocation(host::allocate_result(8)), context);
    }
    EXPECT_EQ(host::current_memory_context(), caller);
    EXPECT_NE(caller, host::session_memory_context());
    host::mmgr_memory_controller_delete(context);
}

TEST_F(host_memory, results_are_below_one_gibibyte) {
    EXPECT_THROW(static_cast<void>(host::allocate_result(std::size_t{1} << 30U)), host::raised);
    void *large = host::allocate_result((std::size_t{1} << 30U) - 1);
    host::mmgr_free_with_fl(large, __FILE__, __LINE__);
}

TEST_F(host_memory, huge_allocations_are_given) {
    const std::size_t size = (std::size_t{2} << 30U) + 1;
    auto *huge =
        static_cast<char *>(host::mmgr_memory_alloc_zero(host::current_memory_context(), size));
    EXPECT_EQ(huge[size - 1], 0);
    huge[size - 1] = 'x';
    EXPECT_EQ(standalone::size_of_allocation(huge), size);
    host::mmgr_free_with_fl(huge, __FILE__, __LINE__);
}

TEST_F(host_memory, impossible_sizes_are_out_of_memory) {
    for (const std::size_t size : {SIZE_MAX, SIZE_MAX - 64, SIZE_MAX / 2}) {
        EXPECT_THROW(
            static_cast<void>(host::mmgr_memory_alloc_huge(host::current_memory_context(), size)),
            host::raised);
    }
}

TEST_F(host_memory, what_a_session_leaves_is_counted) {
    host::memory_context *context = make_context("left");
    EXPECT_NE(host::mmgr_memory_alloc_from_controller(context, 77), nullptr);
    const standalone::session_remains remains = standalone::end_session();
    EXPECT_FALSE(remains.nothing());
    EXPECT_EQ(remains.host_blocks, 1U);
    EXPECT_EQ(remains.host_bytes, 77U);
    EXPECT_EQ(remains.host_contexts, 1U);
    ASSERT_EQ(remains.block_list.size(), 2U);
    EXPECT_EQ(remains.block_list[0], "left stands");
    EXPECT_EQ(remains.block_list[1], "left: 77 bytes");
}

TEST_F(host_memory, the_caller_context_can_be_emptied) {
    host::memory_context *caller = host::current_memory_context();
    EXPECT_NE(standalone::make_text("text"), 0U);
    EXPECT_NE(host::mmgr_memory_set_controller_create(caller, "below", 0, 8, 8), nullptr);
    standalone::reset_caller_context();
    EXPECT_EQ(standalone::memory_of(caller).blocks, 0U);
    EXPECT_EQ(standalone::memory_of(caller).contexts, 0U);
}

TEST_F(host_memory, injected_failures_raise_out_of_memory) {
    standalone::fail_call(standalone::service::allocation, 2, 2);
    host::memory_context *context = host::current_memory_context();
    void *first = host::mmgr_memory_alloc_from_controller(context, 1);
    EXPECT_THROW(static_cast<void>(host::mmgr_memory_alloc_zero(context, 1)), host::raised);
    EXPECT_THROW(make_context("none"), host::raised);
    void *fourth = host::mmgr_memory_alloc_huge(context, 1);
    EXPECT_EQ(standalone::calls_of(standalone::service::allocation), 4);
    EXPECT_EQ(standalone::faults_of(standalone::service::allocation), 2);
    host::mmgr_free_with_fl(first, __FILE__, __LINE__);
    host::mmgr_free_with_fl(fourth, __FILE__, __LINE__);
}

TEST_F(host_memory_death, a_second_free_ends_the_program) {
    void *block = host::mmgr_memory_alloc_from_controller(host::current_memory_context(), 64);
    EXPECT_DEATH(
        {
            host::mmgr_free_with_fl(block, __FILE__, __LINE__);
            host::mmgr_free_with_fl(block, __FILE__, __LINE__);
        },
        "freed twice|use-after-free|was freed");
}

TEST_F(host_memory_death, a_foreign_pointer_ends_the_program) {
    std::vector<std::uint64_t> foreign(32, 0);
    EXPECT_DEATH(host::mmgr_free_with_fl(foreign.data() + 16, __FILE__, __LINE__),
                 "no allocation of the host");
}

TEST_F(host_memory_death, an_overrun_ends_the_program) {
    auto *block = static_cast<volatile char *>(
        host::mmgr_memory_alloc_from_controller(host::current_memory_context(), 24));
    EXPECT_DEATH(
        {
            block[24] = 1;
            host::mmgr_free_with_fl(const_cast<char *>(block), __FILE__, __LINE__);
        },
        "behind the end|heap-buffer-overflow");
}

TEST_F(host_memory_death, the_current_context_cannot_be_deleted) {
    host::memory_context *context = make_context("current");
    EXPECT_DEATH(
        {
            host::switch_memory_context(context);
            host::mmgr_memory_controller_delete(context);
        },
        "the current memory context");
    host::mmgr_memory_controller_delete(context);
}

TEST(host_memory_without_session_death, needs_a_session) {
    EXPECT_DEATH(static_cast<void>(host::allocate_result(1)), "no session");
}

TEST_F(host_memory, bounds_are_checked) {
    char destination[4] = {'a', 'b', 'c', 'd'};
    EXPECT_EQ(host::memcpy_s(destination, 4, "1234", 4), 0);
    EXPECT_EQ(destination[3], '4');
    EXPECT_NE(host::memcpy_s(destination, 4, "12345", 5), 0);
    EXPECT_EQ(host::memcpy_s(destination, 0, "", 0), 0);
    EXPECT_EQ(host::memset_s(destination, 4, 'x', 2), 0);
    EXPECT_EQ(std::string(destination, 4), "xx34");
    EXPECT_NE(host::memset_s(destination, 4, 'y', 5), 0);
    EXPECT_EQ(std::string(destination, 4), "xx34");
    EXPECT_THROW(host::copy_bytes(destination, 4, "12345", 5), host::raised);
    // Nothing can be copied to nowhere or from nowhere, and that is no mistake.
    EXPECT_NE(host::memcpy_s(nullptr, 4, "1234", 4), 0);
    EXPECT_NE(host::memcpy_s(destination, 4, nullptr, 4), 0);
    EXPECT_EQ(host::memcpy_s(nullptr, 0, nullptr, 0), 0);
    EXPECT_NE(host::memset_s(nullptr, 4, 'z', 4), 0);
    EXPECT_EQ(host::memset_s(nullptr, 4, 'z', 0), 0);
    EXPECT_EQ(std::string(destination, 4), "xx34");
}

} // namespace
