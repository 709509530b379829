// The allocation gate: stands in libxml2's allocation functions, counts, and refuses within scopes.
//
// The usual allocation costs two comparisons more than what stands behind the gate. Everything else
// (faults for tests, requests to stop, the ceiling of a parse) waits behind `countdown` and
// `ceiling`.
//
// Behind it stands the heap for small sessions, for large blocks and for whoever uses libxml2
// outside scopes, and the arena for the rest.
#include "host/limits.hpp"
#include "libxml/xml_arena.hpp"
#include "libxml/xml_service.hpp"
#include "sanitizers.hpp"

#include <libxml/catalog.h>
#include <libxml/xmlmemory.h>

#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#ifdef PKG_DBE_XML_SESSIONS_ARE_THREADS
#include <mutex>
#endif

namespace host {

constinit PKG_DBE_XML_SESSION_STORAGE allocation_gate gate{};
constinit PKG_DBE_XML_SESSION_STORAGE unrefused_state unrefused{};
constinit PKG_DBE_XML_SESSION_STORAGE int max_session_memory = 4 * 1024 * 1024;

namespace {

// Allocations between two looks at whether the statement was asked to stop.
constexpr std::uint32_t k_allocations_between_looks = 64;
// After a request to stop: as many as libxml2 makes in a tenth of a second or so.
constexpr std::uint32_t k_looks_before_refusal = 16384;

// Freed in one go, from which on memory is given back to the machine; and what the heap keeps then.
constexpr std::int64_t k_worth_giving_back = 32LL * 1024 * 1024;
constexpr std::size_t k_kept_for_the_next = 8U * 1024 * 1024;

// Under the sanitizers every block is to be one of theirs.
constexpr bool k_has_arena =
    PKG_DBE_XML_ADDRESS_SANITIZER == 0 && PKG_DBE_XML_THREAD_SANITIZER == 0;
// Below so much in use the pages of the arena, one for each size of block, would hardly fill.
constexpr std::int64_t k_small_session = 256LL * 1024;

struct error_handlers {
    xmlStructuredErrorFunc structured;
    void *structured_context;
    xmlGenericErrorFunc generic;
    void *generic_context;
};

constinit PKG_DBE_XML_SESSION_STORAGE error_handlers saved_handlers{};
constinit PKG_DBE_XML_SESSION_STORAGE allocation_fault fault = nullptr;
constinit bool in_force = false;

void silence() noexcept {
    saved_handlers = {xmlStructuredError, xmlStructuredErrorContext, xmlGenericError,
                      xmlGenericErrorContext};
    gate.handlers_saved = true;
    xmlSetStructuredErrorFunc(nullptr, note_xml_error);
    xmlSetGenericErrorFunc(nullptr, ignore_generic_error);
}

void note_refusal(std::size_t size) noexcept {
    if (gate.depth == 0) {
        return;
    }
    gate.refused = true;
    gate.refused_size = size;
    // libxml2 will report it, and nobody may be listening.
    if (gate.quiet_scopes == 0 && !gate.handlers_saved) {
        silence();
    }
}

// Decides on an allocation of a parse. The parse is told to stop, and does so at its next callback:
// libxml2 loses track of memory when it is refused some while it copies an entity, so refusing is
// for what cannot be stopped in time.
bool may_go_on(std::size_t size) noexcept {
    const std::int64_t sum = gate.bytes_in_use + static_cast<std::int64_t>(size);
    if (sum > gate.ceiling) {
        gate.budget_spent = true;
        gate.session_full = sum > session_room();
    }
    if (gate.polls && !gate.cancelled && interrupts_pending()) {
        gate.cancelled = true;
        gate.patience = k_looks_before_refusal;
    }
    if (sum > gate.wall) {
        return false;
    }
    if (!gate.cancelled) {
        return true;
    }
    gate.patience -= gate.patience == 0 ? 0 : 1;
    return gate.patience != 0;
}

// Decides on an allocation that meets the ceiling or whose turn it is for a closer look.
bool admit(std::size_t size) noexcept {
    gate.countdown = fault == nullptr ? k_allocations_between_looks : 1;
    if (gate.depth == 0) {
        return true;
    }
    bool admitted = fault == nullptr || unrefused.in_force || !fault(size);
    if (gate.parsing) {
        admitted = may_go_on(size) && admitted;
    } else {
        gate.ceiling = session_room(); // the setting may be another one now
        if (gate.bytes_in_use + static_cast<std::int64_t>(size) > gate.ceiling) {
            gate.session_full = true;
            admitted = false;
        }
    }
    if (!admitted) {
        note_refusal(size);
    }
    return admitted;
}

[[gnu::always_inline]] inline bool may_allocate(std::size_t size) noexcept {
    const std::int64_t sum = gate.bytes_in_use + static_cast<std::int64_t>(size);
    if (sum > gate.ceiling || --gate.countdown == 0) [[unlikely]] {
        return admit(size);
    }
    return true;
}

[[gnu::always_inline]] inline bool is_for_arena(std::size_t size) noexcept {
    return k_has_arena && size - 1 < k_largest_arena_block &&
           gate.bytes_in_use >= k_small_session && gate.depth != 0;
}

// From here on the gate has been asked.

// Whether it is worth trying the heap again.
[[gnu::noinline, gnu::cold]] bool give_up_reserve() noexcept {
    if (unrefused.reserve == nullptr) {
        return false;
    }
    std::free(unrefused.reserve);
    unrefused.reserve = nullptr;
    return true;
}

void *counted_malloc(std::size_t size) noexcept {
    if (is_for_arena(size)) {
        if (void *block = arena_allocate(size)) [[likely]] {
            gate.bytes_in_use += static_cast<std::int64_t>(arena_block_size(size));
            return block;
        }
    }
    void *block = std::malloc(size);
    if (block == nullptr && give_up_reserve()) [[unlikely]] {
        block = std::malloc(size);
    }
    if (block == nullptr) [[unlikely]] {
        note_refusal(size);
        return nullptr;
    }
    gate.bytes_in_use += static_cast<std::int64_t>(malloc_usable_size(block));
    return block;
}

void counted_free(void *block) noexcept {
    std::size_t size = k_has_arena ? arena_free(block) : 0;
    if (size == 0) {
        size = malloc_usable_size(block);
        std::free(block);
    }
    gate.bytes_in_use -= static_cast<std::int64_t>(size);
}

// A block of the arena, of `old_size` bytes, as one of `size`.
void *resize_in_arena(void *block, std::size_t old_size, std::size_t size) noexcept {
    if (size <= old_size && size > old_size / 2) {
        return block;
    }
    void *moved = counted_malloc(size);
    if (moved != nullptr) {
        std::memcpy(moved, block, std::min(old_size, size));
        counted_free(block);
    }
    return moved;
}

void *resize_in_heap(void *block, std::size_t old_size, std::size_t size) noexcept {
    void *moved = nullptr;
    // The block is as it was when it could not be moved; of a second call alone g++ 16 doubts it.
    do {
        moved = std::realloc(block, size);
    } while (moved == nullptr && give_up_reserve());
    if (moved == nullptr) [[unlikely]] {
        note_refusal(size);
        return nullptr;
    }
    gate.bytes_in_use +=
        static_cast<std::int64_t>(malloc_usable_size(moved)) - static_cast<std::int64_t>(old_size);
    return moved;
}

void *gated_malloc(std::size_t size) noexcept {
    return may_allocate(size) ? counted_malloc(size) : nullptr;
}

void gated_free(void *block) noexcept {
    if (block != nullptr) {
        counted_free(block);
    }
}

void *gated_realloc(void *block, std::size_t size) noexcept {
    const std::size_t in_arena = k_has_arena ? arena_size_of(block) : 0;
    const std::size_t old_size =
        in_arena != 0 || block == nullptr ? in_arena : malloc_usable_size(block);
    if (!may_allocate(size > old_size ? size - old_size : 0)) [[unlikely]] {
        return nullptr;
    }
    return in_arena != 0 ? resize_in_arena(block, old_size, size)
                         : resize_in_heap(block, old_size, size);
}

char *gated_strdup(const char *text) noexcept {
    const std::size_t size = std::strlen(text) + 1;
    void *copy = gated_malloc(size);
    if (copy != nullptr) {
        std::memcpy(copy, text, size);
    }
    return static_cast<char *>(copy);
}

// True when libxml2 allocates through the gate, which some builds of it never do.
bool gate_is_asked() noexcept {
    const std::int64_t before = gate.bytes_in_use;
    xmlChar *probe = xmlStrdup(BAD_CAST "probe");
    const bool counted = gate.bytes_in_use > before;
    xmlFree(probe);
    return counted && gate.bytes_in_use == before;
}

void install() noexcept {
    xmlFreeFunc free_function = nullptr;
    xmlMallocFunc malloc_function = nullptr;
    xmlReallocFunc realloc_function = nullptr;
    xmlStrdupFunc strdup_function = nullptr;
    xmlMemGet(&free_function, &malloc_function, &realloc_function, &strdup_function);
    // Whoever is there already has blocks that plain free must not see.
    if (free_function == std::free && malloc_function == std::malloc &&
        xmlMemSetup(gated_free, gated_malloc, gated_realloc, gated_strdup) == 0) {
        in_force = gate_is_asked();
    }
#ifdef PKG_DBE_XML_SESSIONS_ARE_THREADS
    xmlInitParser(); // its first call must not meet another thread's
#ifdef LIBXML_CATALOG_ENABLED
    xmlInitializeCatalog(); // nor this one, which a document can bring about
#endif
    gate.bytes_in_use = 0; // what it keeps is the process's
#endif
}

#ifdef PKG_DBE_XML_SESSIONS_ARE_THREADS
constinit std::once_flag installed{};
#else
constinit bool installed = false;
#endif

} // namespace

void prepare_gate() noexcept {
#ifdef PKG_DBE_XML_SESSIONS_ARE_THREADS
    std::call_once(installed, install);
#else
    if (!installed) {
        installed = true;
        install();
    }
#endif
    gate.ready = true;
    gate.ceiling = session_room();
}

std::int64_t session_room() noexcept {
    return std::int64_t{max_session_memory} * 1024 - gate.handle_bytes;
}

void count_handle_bytes(std::int64_t bytes) noexcept {
    gate.handle_bytes += bytes;
    if (!gate.parsing) {
        gate.ceiling = session_room();
    }
}

bool has_room_for_handles(std::int64_t bytes) noexcept {
    return gate.bytes_in_use + bytes <= session_room();
}

bool gate_in_force() noexcept { return in_force && xmlMalloc == gated_malloc; }

void set_allocation_fault(allocation_fault function) noexcept {
    fault = function;
    gate.countdown = 1;
}

void give_memory_back(std::int64_t freed) noexcept {
    if (freed < k_worth_giving_back) {
        return;
    }
    arena_give_holes_back();
#ifdef __GLIBC__
    malloc_trim(k_kept_for_the_next);
#endif
}

std::size_t allocation_cost(std::size_t size) noexcept {
    if (k_has_arena && size - 1 < k_largest_arena_block && gate.bytes_in_use >= k_small_session) {
        return arena_block_size(size);
    }
    return std::max<std::size_t>((size + 8 + 15) / 16 * 16, 32); // of the C library's heap
}

void restore_error_handlers() noexcept {
    xmlSetStructuredErrorFunc(saved_handlers.structured_context, saved_handlers.structured);
    xmlSetGenericErrorFunc(saved_handlers.generic_context, saved_handlers.generic);
    gate.handlers_saved = false;
    xmlResetLastError(); // its texts are of this session
}

} // namespace host
