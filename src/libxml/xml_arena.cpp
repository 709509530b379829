// Segments, pages and blocks of the arena.
//
// A segment is 2 MB of address space, aligned to its size, so that an address leads to the segment
// it lies in; a table of the session's segments tells whether there is one. Its first page begins
// with the records of its pages. A page holds blocks of one size: those never used yet follow
// `fresh`, those freed form a chain. Pages with room stand in a list per size, the one in use
// first.
#include "libxml/xml_arena.hpp"

#include "host/session.hpp"

#include <sys/mman.h>

#include <cassert>
#include <cstdint>
#include <cstdlib>

namespace host {

namespace {

constexpr std::size_t k_segment_bits = 21;
constexpr std::size_t k_segment_size = std::size_t{1} << k_segment_bits;
constexpr std::size_t k_page_bits = 15;
constexpr std::size_t k_page_size = std::size_t{1} << k_page_bits;
constexpr std::size_t k_pages = k_segment_size / k_page_size;
constexpr std::size_t k_sizes = k_largest_arena_block / 8;
// Kept when empty, for the next document.
constexpr std::size_t k_empty_kept = 2;
// A session that holds so many is about to fill the next, too.
[[maybe_unused]] constexpr std::size_t k_small_segments = 4;
constexpr std::size_t k_first_table = 64;

struct free_block {
    free_block *next;
};

struct page {
    free_block *freed;
    std::byte *fresh; // the first block that was never used
    std::byte *end;   // of the last whole block
    page *next;       // in the list of pages with room
    page *previous;
    std::uint32_t used;       // blocks
    std::uint16_t block_size; // 0 for a page that is not in use
    bool touched;             // since the system was last given its memory
};

struct segment {
    page pages[k_pages];
    segment *next; // in the list of segments with a page to spare
    segment *previous;
    std::uint64_t free_pages; // a bit for each
};
constexpr std::size_t k_header_size = (sizeof(segment) + 63) & ~std::size_t{63};
static_assert(k_pages == 64 && k_header_size < k_page_size / 4);

struct arena {
    page *with_room[k_sizes + 1]; // by size in units of 8
    segment *with_pages;
    segment *last;   // that a block was looked for in
    segment **table; // open addressing, by the high bits of the address
    std::size_t table_size;
    std::size_t segments;
    std::size_t empty_segments;
};

constinit PKG_DBE_XML_SESSION_STORAGE arena own{};

std::uintptr_t number_of(const void *address) noexcept {
    return reinterpret_cast<std::uintptr_t>(address) >> k_segment_bits;
}

std::size_t place_of(std::uintptr_t number) noexcept {
    return static_cast<std::size_t>((number * 0x9E3779B97F4A7C15U) >> 32) & (own.table_size - 1);
}

// --- the table of segments
// ------------------------------------------------------------------------

segment *search(const void *address) noexcept {
    if (own.table_size == 0) {
        return nullptr;
    }
    const std::uintptr_t number = number_of(address);
    std::size_t place = place_of(number);
    while (own.table[place] != nullptr && number_of(own.table[place]) != number) {
        place = (place + 1) & (own.table_size - 1);
    }
    if (own.table[place] != nullptr) {
        own.last = own.table[place];
    }
    return own.table[place];
}

[[gnu::always_inline]] inline segment *segment_of(const void *address) noexcept {
    return number_of(address) == number_of(own.last) && own.last != nullptr ? own.last
                                                                            : search(address);
}

void insert(segment *added) noexcept {
    std::size_t place = place_of(number_of(added));
    while (own.table[place] != nullptr) {
        place = (place + 1) & (own.table_size - 1);
    }
    own.table[place] = added;
}

// Room for one more; false when there is no memory for it.
bool reserve_table() noexcept {
    if (own.segments * 2 < own.table_size) {
        return true;
    }
    const std::size_t old_size = own.table_size;
    segment **const old = own.table;
    const std::size_t size = old_size == 0 ? k_first_table : old_size * 2;
    auto **const table = static_cast<segment **>(std::calloc(size, sizeof(segment *)));
    if (table == nullptr) {
        return false;
    }
    own.table = table;
    own.table_size = size;
    for (std::size_t place = 0; place < old_size; ++place) {
        if (old[place] != nullptr) {
            insert(old[place]);
        }
    }
    std::free(old);
    return true;
}

// Those that follow in the same run may have to move up.
void erase(const segment *removed) noexcept {
    const std::size_t mask = own.table_size - 1;
    std::size_t hole = place_of(number_of(removed));
    while (own.table[hole] != removed) {
        hole = (hole + 1) & mask;
    }
    for (std::size_t place = (hole + 1) & mask; own.table[place] != nullptr;
         place = (place + 1) & mask) {
        const std::size_t home = place_of(number_of(own.table[place]));
        if (((place - home) & mask) >= ((place - hole) & mask)) {
            own.table[hole] = own.table[place];
            hole = place;
        }
    }
    own.table[hole] = nullptr;
}

// --- segments
// -------------------------------------------------------------------------------------

void *map(std::size_t size) noexcept {
    void *const mapped =
        mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return mapped == MAP_FAILED ? nullptr : mapped;
}

// The system puts one mapping below the other, so that what follows an aligned one mostly is.
segment *map_segment() noexcept {
    void *const mapped = map(k_segment_size);
    if (mapped == nullptr ||
        (reinterpret_cast<std::uintptr_t>(mapped) & (k_segment_size - 1)) == 0) {
        return static_cast<segment *>(mapped);
    }
    munmap(mapped, k_segment_size);
    auto *const wide = static_cast<std::byte *>(map(2 * k_segment_size));
    if (wide == nullptr) {
        return nullptr;
    }
    const std::size_t before =
        k_segment_size - (reinterpret_cast<std::uintptr_t>(wide) & (k_segment_size - 1));
    if (before != k_segment_size) {
        munmap(wide, before);
    }
    std::byte *const aligned = before == k_segment_size ? wide : wide + before;
    munmap(aligned + k_segment_size,
           static_cast<std::size_t>(wide + 2 * k_segment_size - (aligned + k_segment_size)));
    return reinterpret_cast<segment *>(aligned);
}

void list_segment(segment *listed) noexcept {
    listed->previous = nullptr;
    listed->next = own.with_pages;
    if (own.with_pages != nullptr) {
        own.with_pages->previous = listed;
    }
    own.with_pages = listed;
}

void unlist_segment(segment *listed) noexcept {
    if (listed->previous != nullptr) {
        listed->previous->next = listed->next;
    } else {
        own.with_pages = listed->next;
    }
    if (listed->next != nullptr) {
        listed->next->previous = listed->previous;
    }
}

bool add_segment() noexcept {
    if (!reserve_table()) {
        return false;
    }
    segment *const added = map_segment();
    if (added == nullptr) {
        return false;
    }
#ifdef MADV_POPULATE_WRITE
    // One call instead of 512 faults. Huge pages would save more of them, and cost more: the system
    // clears and looks for them while the statement waits.
    if (own.segments >= k_small_segments) {
        madvise(added, k_segment_size, MADV_POPULATE_WRITE);
    }
#endif
    added->free_pages = ~std::uint64_t{0};
    list_segment(added);
    insert(added);
    ++own.segments;
    ++own.empty_segments;
    return true;
}

void remove_segment(segment *removed) noexcept {
    unlist_segment(removed);
    erase(removed);
    own.last = nullptr;
    --own.segments;
    --own.empty_segments;
    munmap(removed, k_segment_size);
}

// --- pages
// ----------------------------------------------------------------------------------------

std::byte *start_of(segment *owner, std::size_t index) noexcept {
    return reinterpret_cast<std::byte *>(owner) +
           (index == 0 ? k_header_size : index * k_page_size);
}

void list_page(page *listed) noexcept {
    page *&first = own.with_room[listed->block_size / 8];
    listed->previous = nullptr;
    listed->next = first;
    if (first != nullptr) {
        first->previous = listed;
    }
    first = listed;
}

void unlist_page(page *listed) noexcept {
    if (listed->previous != nullptr) {
        listed->previous->next = listed->next;
    } else {
        own.with_room[listed->block_size / 8] = listed->next;
    }
    if (listed->next != nullptr) {
        listed->next->previous = listed->previous;
    }
}

// A page for blocks of `size` bytes, at the head of their list; null when there is no memory.
page *open_page(std::size_t size) noexcept {
    if (own.with_pages == nullptr && !add_segment()) {
        return nullptr;
    }
    segment *const owner = own.with_pages;
    own.empty_segments -= owner->free_pages == ~std::uint64_t{0} ? 1 : 0;
    const auto index = static_cast<std::size_t>(__builtin_ctzll(owner->free_pages));
    owner->free_pages &= owner->free_pages - 1;
    if (owner->free_pages == 0) {
        unlist_segment(owner);
    }
    page *const opened = &owner->pages[index];
    std::byte *const start = start_of(owner, index);
    const auto room = static_cast<std::size_t>(start_of(owner, index + 1) - start);
    opened->freed = nullptr;
    opened->fresh = start;
    opened->end = start + room / size * size;
    opened->used = 0;
    opened->block_size = static_cast<std::uint16_t>(size);
    opened->touched = true;
    list_page(opened);
    return opened;
}

[[gnu::noinline]] void close_page(segment *owner, page *closed) noexcept {
    unlist_page(closed);
    closed->block_size = 0;
    if (owner->free_pages == 0) {
        list_segment(owner);
    }
    owner->free_pages |= std::uint64_t{1} << (closed - owner->pages);
    if (owner->free_pages == ~std::uint64_t{0}) {
        ++own.empty_segments;
        if (own.empty_segments > k_empty_kept) {
            remove_segment(owner);
        }
    }
}

[[gnu::always_inline]] inline bool is_full(const page *tested) noexcept {
    return tested->freed == nullptr && tested->fresh == tested->end;
}

// Takes the first page with room from its list when that was its last block.
[[gnu::always_inline]] inline void *take_block(page *from) noexcept {
    void *block = from->freed;
    if (block != nullptr) {
        from->freed = from->freed->next;
    } else {
        block = from->fresh;
        from->fresh += from->block_size;
    }
    ++from->used;
    if (is_full(from)) [[unlikely]] {
        unlist_page(from);
    }
    return block;
}

[[gnu::noinline]] void *take_block_of_new_page(std::size_t size) noexcept {
    page *const opened = open_page(size);
    return opened == nullptr ? nullptr : take_block(opened);
}

page *page_of(segment *owner, const void *block) noexcept {
    return &owner->pages[(reinterpret_cast<std::uintptr_t>(block) & (k_segment_size - 1)) >>
                         k_page_bits];
}

} // namespace

void *arena_allocate(std::size_t size) noexcept {
    assert(size != 0 && size <= k_largest_arena_block);
    const std::size_t block_size = arena_block_size(size);
    page *const first = own.with_room[block_size / 8];
    return first != nullptr ? take_block(first) : take_block_of_new_page(block_size);
}

std::size_t arena_size_of(const void *block) noexcept {
    segment *const owner = segment_of(block);
    return owner == nullptr ? 0 : page_of(owner, block)->block_size;
}

std::size_t arena_free(void *block) noexcept {
    segment *const owner = segment_of(block);
    if (owner == nullptr) {
        return 0;
    }
    page *const from = page_of(owner, block);
    const std::size_t size = from->block_size;
    const bool was_full = is_full(from);
    auto *const freed = static_cast<free_block *>(block);
    assert(size != 0 && from->used != 0);
    freed->next = from->freed;
    from->freed = freed;
    --from->used;
    if (was_full) [[unlikely]] {
        list_page(from);
    }
    if (from->used == 0) [[unlikely]] {
        close_page(owner, from);
    }
    return size;
}

void arena_give_holes_back() noexcept {
    for (segment *each = own.with_pages; each != nullptr; each = each->next) {
        // The first page holds the records.
        for (std::size_t index = 1; index < k_pages; ++index) {
            page &hole = each->pages[index];
            if (hole.block_size == 0 && hole.touched) {
                madvise(start_of(each, index), k_page_size, MADV_DONTNEED);
                hole.touched = false;
            }
        }
    }
}

void arena_give_rest_back() noexcept {
    for (segment *each = own.with_pages; each != nullptr;) {
        segment *const next = each->next;
        if (each->free_pages == ~std::uint64_t{0}) {
            remove_segment(each);
        }
        each = next;
    }
    if (own.segments == 0) {
        std::free(own.table);
        own.table = nullptr;
        own.table_size = 0;
    }
}

arena_use arena_in_use() noexcept { return {own.segments, own.empty_segments, k_segment_size}; }

} // namespace host
