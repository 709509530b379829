// The arena: where the small blocks of libxml2 live once a session's trees have grown.
//
// A tree is millions of blocks of a few dozen bytes, made in one go and freed in one go. The heap
// of the C library spends 8 to 29 bytes and some fifty instructions on each, and keeps most of the
// memory of a large document after it. The arena takes segments from the system, cuts them into
// pages of blocks of one size, and gives a segment back when its last block is freed.
//
// Every session has its own. Blocks are aligned to 8 bytes, to 16 where their size is a multiple
// of 16: libxml2 keeps nothing that needs more.
#pragma once

#include <cstddef>

namespace host {

// Larger blocks are left to the heap.
inline constexpr std::size_t k_largest_arena_block = 512;

// What a block for `size` bytes, 1 to k_largest_arena_block, takes.
[[nodiscard]] constexpr std::size_t arena_block_size(std::size_t size) noexcept {
    return (size + 7) & ~static_cast<std::size_t>(7);
}

// A block of at least `size` bytes, 1 to k_largest_arena_block; null when the system gives no
// memory. It is freed with arena_free, by the same session.
[[nodiscard]] void *arena_allocate(std::size_t size) noexcept;
// The size of a block of this session's arena; 0 for any other address, null among them.
[[nodiscard]] std::size_t arena_size_of(const void *block) noexcept;
// Frees a block of the arena and tells its size; 0 when the block is not the arena's and was left
// alone.
std::size_t arena_free(void *block) noexcept;

// Gives back to the system what lies unused within segments that are in use, which allocating does
// not do by itself: it takes a call of the system for each hole.
void arena_give_holes_back() noexcept;

// For the end of a session: gives back what is kept for the next document, too.
void arena_give_rest_back() noexcept;

// For tests and figures: segments held, those among them without a block in use, and the bytes of
// one.
struct arena_use {
    std::size_t segments;
    std::size_t empty_segments;
    std::size_t segment_size;
};
[[nodiscard]] arena_use arena_in_use() noexcept;

} // namespace host
