// Memory of one evaluation: a stack of blocks out of a context of the host, with a limit.
//
// What a predicate takes is given back when it is decided, by going back to a mark. Arrays grow in
// place while they are the last thing taken.
#pragma once

#include "host/memory.hpp"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace pkg_dbe_xml::paths {

// What all the memories of an evaluation took together, and what they may.
struct memory_account {
    std::size_t taken = 0;
    std::size_t limit = 0;
};

class path_memory {
    struct block {
        block *before;
        std::byte *end;
    };

  public:
    // Begins with `size` bytes of the owner's at `first`.
    path_memory(memory_account &account, std::byte *first, std::size_t size) noexcept
        : account_(account), next_(first), end_(first + size) {}
    ~path_memory();
    path_memory(const path_memory &) = delete;
    path_memory &operator=(const path_memory &) = delete;

    // `size` bytes, aligned for any object. Reports path_memory_limit; throws when memory runs out.
    [[nodiscard]] void *take(std::size_t size) {
        const std::size_t whole = rounded(size);
        if (whole > static_cast<std::size_t>(end_ - next_)) [[unlikely]] {
            return take_from_new_block(whole);
        }
        void *taken = next_;
        next_ += whole;
        return taken;
    }
    template <class Member> [[nodiscard]] Member *take_array(std::size_t count) {
        static_assert(std::is_trivially_copyable_v<Member>);
        return static_cast<Member *>(take(count * sizeof(Member)));
    }
    // Makes what was taken larger, in place or elsewhere; the bytes that fit stay.
    [[nodiscard]] void *resize(void *taken, std::size_t size, std::size_t wanted);
    // By how many bytes an array of `size` bytes should grow: by as many again, but by a quarter
    // where it is large and all that its block holds. The allocator enlarges such a block, mostly
    // without a copy, so small steps cost little, and what is asked for in vain is paid for: by
    // its limit, and in page faults where the C library gives the block back to the system.
    [[nodiscard]] std::size_t growth_of(const void *taken, std::size_t size) const noexcept {
        return size >= k_largest_block && stands_alone(taken, size) ? size / 4 : size;
    }

    struct mark {
        block *last;
        std::byte *next;
        std::byte *end;
    };
    [[nodiscard]] mark here() const noexcept { return {last_, next_, end_}; }
    // Gives back what was taken since the mark.
    void go_back(const mark &to) noexcept {
        if (last_ != to.last) [[unlikely]] {
            free_blocks_behind(to.last);
        }
        next_ = to.next;
        end_ = to.end;
    }

  private:
    static constexpr std::size_t k_alignment = 16;
    static constexpr std::size_t k_first_block = 16384;
    static constexpr std::size_t k_largest_block = std::size_t{1024} * 1024;

    void allow(std::size_t more) const;
    // Whether the last block holds nothing but an array of `size` bytes.
    [[nodiscard]] bool stands_alone(const void *taken, std::size_t size) const noexcept {
        return last_ != nullptr && taken == last_ + 1 &&
               static_cast<const std::byte *>(taken) + rounded(size) == next_;
    }
    [[nodiscard]] static std::size_t rounded(std::size_t size) noexcept {
        return (size + k_alignment - 1) & ~(k_alignment - 1);
    }
    [[nodiscard]] void *take_from_new_block(std::size_t size);
    void enlarge_last_block(std::size_t whole);
    void free_blocks_behind(const block *last) noexcept;

    memory_account &account_;
    std::byte *next_;
    std::byte *end_;
    block *last_ = nullptr;
    block *spare_ = nullptr; // one that was given back: predicates take and give all the time
    std::size_t next_size_ = k_first_block;
    host::memory_context *context_ = nullptr; // made with the first block
};

// Gives back at its end what was taken since its beginning.
class memory_scope {
  public:
    explicit memory_scope(path_memory &memory) noexcept : memory_(memory), mark_(memory.here()) {}
    ~memory_scope() { memory_.go_back(mark_); }
    memory_scope(const memory_scope &) = delete;
    memory_scope &operator=(const memory_scope &) = delete;

  private:
    path_memory &memory_;
    path_memory::mark mark_;
};

// An array in such a memory. Freed with it.
template <class Member> struct path_array {
    Member *members = nullptr;
    std::size_t size = 0;
    std::size_t capacity = 0;

    void push(path_memory &memory, const Member &member) {
        if (size == capacity) [[unlikely]] {
            reserve(memory, size + 1);
        }
        members[size++] = member;
    }
    void append(path_memory &memory, const Member *added, std::size_t count) {
        if (count > capacity - size) [[unlikely]] {
            reserve(memory, size + count);
        }
        if (count != 0) {
            std::memcpy(members + size, added, count * sizeof(Member));
        }
        size += count;
    }
    void reserve(path_memory &memory, std::size_t count) {
        static_assert(std::is_trivially_copyable_v<Member>);
        const std::size_t bytes = capacity * sizeof(Member);
        std::size_t wanted = capacity + memory.growth_of(members, bytes) / sizeof(Member);
        wanted = wanted < 16 ? 16 : wanted;
        wanted = wanted < count ? count : wanted;
        members = static_cast<Member *>(memory.resize(members, bytes, wanted * sizeof(Member)));
        capacity = wanted;
    }
};

} // namespace pkg_dbe_xml::paths
