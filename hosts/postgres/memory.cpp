// Memory contexts of the server.
#include "host/memory.hpp"

#include "guard.hpp"
#include "invocation.hpp"

#include <algorithm>

#include "server.hpp"

namespace host {

namespace {

MemoryContext server_context(memory_context *context) noexcept {
    return reinterpret_cast<MemoryContext>(context);
}
memory_context *our_context(MemoryContext context) noexcept {
    return reinterpret_cast<memory_context *>(context);
}

[[noreturn, gnu::noinline]] void raise_no_result(std::size_t size) {
    if (AllocSizeIsValid(size)) {
        raise_out_of_memory(size);
    }
    begin_host_report(host_failure::request_size, size, "");
    finish_report();
}

// Needs no guard: with MCXT_ALLOC_NO_OOM the server returns null when memory runs out, and the one
// other failure, a size beyond its largest, is ruled out first.
void *allocate(MemoryContext context, std::size_t size, int flags) {
    void *pointer = nullptr;
    if (AllocHugeSizeIsValid(size)) [[likely]] {
        pointer =
            MemoryContextAllocExtended(context, size, flags | MCXT_ALLOC_HUGE | MCXT_ALLOC_NO_OOM);
    }
    if (pointer == nullptr) [[unlikely]] {
        raise_out_of_memory(size);
    }
    return pointer;
}

// The same for a size that is valid, null when memory runs out. Nearly every call makes a result,
// of 200 instructions in all: asking the context itself spares 27 over MemoryContextAllocExtended,
// which does the same.
inline void *allocate_small(MemoryContext context, std::size_t size) noexcept {
    context->isReset = false;
#if PG_VERSION_NUM >= 170000
    void *const pointer = context->methods->alloc(context, size, MCXT_ALLOC_NO_OOM);
#else
    void *const pointer = context->methods->alloc(context, size);
#endif
    if (pointer != nullptr) [[likely]] {
        VALGRIND_MEMPOOL_ALLOC(context, pointer, size);
    }
    return pointer;
}

} // namespace

memory_context *session_memory_context() noexcept {
    watch_session_end(); // whoever asks for it is about to keep something
    return our_context(TopMemoryContext);
}

memory_context *current_memory_context() noexcept { return our_context(CurrentMemoryContext); }

memory_context *switch_memory_context(memory_context *context) noexcept {
    return our_context(MemoryContextSwitchTo(server_context(context))); // only moves a pointer
}

memory_context *mmgr_memory_set_controller_create(memory_context *parent, const char *name,
                                                  std::size_t minimum, std::size_t initial,
                                                  std::size_t maximum) {
    constexpr std::size_t least = 1024; // smaller blocks the server does not make
    const std::size_t smallest = minimum < least ? 0 : MAXALIGN(minimum);
    const std::size_t first = MAXALIGN(std::max(initial, least));
    const std::size_t largest = MAXALIGN(std::max(maximum, first));
    MemoryContext context = nullptr;
    guard([&] {
        context =
            AllocSetContextCreateInternal(server_context(parent), name, smallest, first, largest);
    });
    return our_context(context);
}

void mmgr_memory_controller_delete(memory_context *context) noexcept {
    // Frees and unlinks; none of our contexts has a callback that could fail.
    MemoryContextDelete(server_context(context));
}

void *mmgr_memory_alloc_from_controller(memory_context *context, std::size_t size) {
    return allocate(server_context(context), size, 0);
}

void *mmgr_memory_alloc_zero(memory_context *context, std::size_t size) {
    return allocate(server_context(context), size, MCXT_ALLOC_ZERO);
}

void *mmgr_memory_alloc_huge(memory_context *context, std::size_t size) {
    return allocate(server_context(context), size, 0);
}

void *mmgr_resize(void *pointer, std::size_t size) {
    if (!AllocHugeSizeIsValid(size)) {
        raise_out_of_memory(size);
    }
    void *resized = nullptr;
    // The one request for memory that can only be made in a way that fails by a jump.
    guard([&] { resized = repalloc_huge(pointer, size); });
    return resized;
}

void mmgr_free_with_fl(void *pointer, const char * /*file*/, int /*line*/) noexcept {
    if (pointer != nullptr) {
        pfree(pointer); // fails only for what is no allocation of the server
    }
}

void *allocate_result(std::size_t size) {
    void *pointer = nullptr;
    if (AllocSizeIsValid(size)) [[likely]] {
        pointer = allocate_small(CurrentMemoryContext, size);
    }
    if (pointer == nullptr) [[unlikely]] {
        raise_no_result(size);
    }
    return pointer;
}

} // namespace host
