// Memory contexts of the standalone host: trees that own allocations.
//
// Every allocation is one block of malloc, so that a sanitizer sees its true bounds. In front of
// it stands a header that links it into its context and carries a mark made from its address: a
// pointer that was never allocated here, or was freed before, ends the program, as does a block
// whose bytes behind the end were written.
#include "host/memory.hpp"

#include "host/text.hpp"
#include "sanitizers.hpp"
#include "session_record.hpp"

#include <cstdlib>
#include <utility>

namespace host {

using standalone::current_session;
using standalone::misuse;

namespace {

struct alignas(16) block_header {
    block_header *next;
    block_header *previous;
    memory_context *context;
    std::size_t size;
    std::uint64_t mark; // behind the words that malloc overwrites when the block is freed
};

constexpr std::size_t k_guard_bytes = PKG_DBE_XML_ADDRESS_SANITIZER == 0 ? 8 : 0;
constexpr unsigned char k_guard_byte = 0xE7;
constexpr std::uint64_t k_live = 0x9D5C0FB3A1E86427U;
constexpr std::uint64_t k_freed = 0x1BADF00D1BADF00DU;

} // namespace

struct memory_context {
    standalone::session *owner;
    memory_context *parent;
    memory_context *first_child;
    memory_context *next_sibling;
    memory_context *previous_sibling;
    const char *name;
    block_header *blocks;
    std::size_t block_count;
    std::size_t byte_count;
};

namespace {

std::uint64_t live_mark(const block_header *block) noexcept {
    return k_live ^ reinterpret_cast<std::uintptr_t>(block);
}

unsigned char *bytes_of(block_header *block) noexcept {
    return reinterpret_cast<unsigned char *>(block + 1);
}

// The header of a pointer that the library gave back.
block_header *checked_header(const void *pointer) noexcept {
    auto *block = static_cast<block_header *>(const_cast<void *>(pointer)) - 1;
    const std::uint64_t mark = *static_cast<volatile std::uint64_t *>(&block->mark);
    if (mark == k_freed) {
        misuse("memory freed twice");
    }
    if (mark != live_mark(block)) {
        misuse("pointer that is no allocation of the host, or was freed, or was overwritten");
    }
    if (block->context->owner != standalone::t_session) {
        misuse("memory of another session");
    }
    for (std::size_t i = 0; i < k_guard_bytes; ++i) {
        if (bytes_of(block)[block->size + i] != k_guard_byte) {
            misuse("bytes behind the end of an allocation were written");
        }
    }
    return block;
}

void release_block(block_header *block) noexcept {
    memory_context *context = block->context;
    (block->previous != nullptr ? block->previous->next : context->blocks) = block->next;
    if (block->next != nullptr) {
        block->next->previous = block->previous;
    }
    --context->block_count;
    context->byte_count -= block->size;
    *static_cast<volatile std::uint64_t *>(&block->mark) = k_freed;
    std::free(block);
}

void *allocate(memory_context *context, std::size_t size, bool zeroed) {
    if (context == nullptr || context->owner != standalone::t_session) {
        misuse("allocation in a context of no or another session");
    }
    constexpr std::size_t overhead = sizeof(block_header) + k_guard_bytes;
    void *memory = nullptr;
    if (!standalone::fault_due(standalone::service::allocation) && size <= SIZE_MAX - overhead) {
        memory = zeroed ? std::calloc(1, size + overhead) : std::malloc(size + overhead);
    }
    if (memory == nullptr) {
        raise_out_of_memory(size);
    }
    auto *block = static_cast<block_header *>(memory);
    block->next = context->blocks;
    block->previous = nullptr;
    block->context = context;
    block->size = size;
    block->mark = live_mark(block);
    if (context->blocks != nullptr) {
        context->blocks->previous = block;
    }
    context->blocks = block;
    ++context->block_count;
    context->byte_count += size;
    if constexpr (k_guard_bytes != 0) {
        std::memset(bytes_of(block) + size, k_guard_byte, k_guard_bytes);
    }
    return bytes_of(block);
}

void free_blocks(memory_context *context) noexcept {
    while (context->blocks != nullptr) {
        release_block(checked_header(bytes_of(context->blocks)));
    }
}

bool is_below(const memory_context *context, const memory_context *ancestor) noexcept {
    for (; context != nullptr; context = context->parent) {
        if (context == ancestor) {
            return true;
        }
    }
    return false;
}

// Frees a context that has no children any more.
void delete_leaf(memory_context *context) noexcept {
    free_blocks(context);
    if (context->parent != nullptr) {
        (context->previous_sibling != nullptr ? context->previous_sibling->next_sibling
                                              : context->parent->first_child) =
            context->next_sibling;
    }
    if (context->next_sibling != nullptr) {
        context->next_sibling->previous_sibling = context->previous_sibling;
    }
    std::free(context);
}

} // namespace

memory_context *session_memory_context() noexcept { return current_session().session_context; }

memory_context *current_memory_context() noexcept { return current_session().current; }

memory_context *switch_memory_context(memory_context *context) noexcept {
    if (context == nullptr) {
        misuse("switch to no memory context");
    }
    return std::exchange(current_session().current, context);
}

memory_context *mmgr_memory_set_controller_create(memory_context *parent, const char *name,
                                                  std::size_t minimum, std::size_t initial,
                                                  std::size_t maximum) {
    if (minimum > maximum || initial > maximum || name == nullptr) {
        misuse("memory context of impossible sizes or without a name");
    }
    if (parent != nullptr && parent->owner != standalone::t_session) {
        misuse("context below a context of another session");
    }
    void *memory = nullptr;
    if (!standalone::fault_due(standalone::service::allocation)) {
        memory = std::calloc(1, sizeof(memory_context));
    }
    if (memory == nullptr) {
        raise_out_of_memory(sizeof(memory_context));
    }
    auto *context = static_cast<memory_context *>(memory);
    context->owner = standalone::t_session;
    context->parent = parent;
    context->name = name;
    if (parent != nullptr) {
        context->next_sibling = parent->first_child;
        if (parent->first_child != nullptr) {
            parent->first_child->previous_sibling = context;
        }
        parent->first_child = context;
    }
    return context;
}

void mmgr_memory_controller_delete(memory_context *context) noexcept {
    if (context == nullptr || context->owner != standalone::t_session) {
        misuse("deletion of a context of no or another session");
    }
    if (is_below(current_session().current, context)) {
        misuse("deletion of the current memory context");
    }
    memory_context *place = context;
    for (;;) {
        while (place->first_child != nullptr) {
            place = place->first_child;
        }
        memory_context *parent = place->parent;
        const bool last = place == context;
        delete_leaf(place);
        if (last) {
            return;
        }
        place = parent;
    }
}

void *mmgr_memory_alloc_from_controller(memory_context *context, std::size_t size) {
    return allocate(context, size, false);
}

void *mmgr_memory_alloc_zero(memory_context *context, std::size_t size) {
    return allocate(context, size, true);
}

void *mmgr_memory_alloc_huge(memory_context *context, std::size_t size) {
    return allocate(context, size, false);
}

void *mmgr_resize(void *pointer, std::size_t size) {
    block_header *block = checked_header(pointer);
    constexpr std::size_t overhead = sizeof(block_header) + k_guard_bytes;
    void *memory = nullptr;
    if (!standalone::fault_due(standalone::service::allocation) && size <= SIZE_MAX - overhead) {
        memory = std::realloc(block, size + overhead);
    }
    if (memory == nullptr) {
        raise_out_of_memory(size);
    }
    block = static_cast<block_header *>(memory);
    memory_context *context = block->context;
    (block->previous != nullptr ? block->previous->next : context->blocks) = block;
    if (block->next != nullptr) {
        block->next->previous = block;
    }
    context->byte_count += size - block->size;
    block->size = size;
    block->mark = live_mark(block);
    if constexpr (k_guard_bytes != 0) {
        std::memset(bytes_of(block) + size, k_guard_byte, k_guard_bytes);
    }
    return bytes_of(block);
}

void mmgr_free_with_fl(void *pointer, const char * /*file*/, int /*line*/) noexcept {
    if (pointer != nullptr) {
        release_block(checked_header(pointer));
    }
}

void *allocate_result(std::size_t size) {
    if (size > 0x3FFFFFFFU) {
        standalone::raise_host_error("XX000",
                                     "invalid memory alloc request size " + std::to_string(size));
    }
    return allocate(current_memory_context(), size, false);
}

namespace standalone {

void create_session_contexts(session &owner) {
    owner.top = mmgr_memory_set_controller_create(nullptr, "TopMemoryContext", 0, 8192, 8388608);
    owner.session_context =
        mmgr_memory_set_controller_create(owner.top, "SessionContext", 0, 8192, 8388608);
    owner.caller_context =
        mmgr_memory_set_controller_create(owner.top, "CallerContext", 0, 8192, 8388608);
    owner.current = owner.caller_context;
}

void delete_session_contexts(session &owner) noexcept {
    owner.current = nullptr;
    mmgr_memory_controller_delete(owner.top);
}

void reset_caller_context() noexcept {
    session &own = current_session();
    while (own.caller_context->first_child != nullptr) {
        mmgr_memory_controller_delete(own.caller_context->first_child);
    }
    free_blocks(own.caller_context);
}

memory_use memory_of(const memory_context *context) noexcept {
    memory_use use{context->block_count, context->byte_count, 0};
    for (const memory_context *child = context->first_child; child != nullptr;
         child = child->next_sibling) {
        const memory_use below = memory_of(child);
        use.blocks += below.blocks;
        use.bytes += below.bytes;
        use.contexts += below.contexts + 1;
    }
    return use;
}

const char *name_of(const memory_context *context) noexcept { return context->name; }

std::size_t size_of_allocation(const void *pointer) noexcept {
    return checked_header(pointer)->size;
}

memory_context *context_of_allocation(const void *pointer) noexcept {
    return checked_header(pointer)->context;
}

void list_blocks(const memory_context *context, std::vector<std::string> &lines, std::size_t most) {
    for (const block_header *block = context->blocks; block != nullptr && lines.size() < most;
         block = block->next) {
        lines.push_back(std::string(context->name) + ": " + std::to_string(block->size) + " bytes");
    }
    for (const memory_context *child = context->first_child;
         child != nullptr && lines.size() < most; child = child->next_sibling) {
        lines.push_back(std::string(child->name) + " stands");
        list_blocks(child, lines, most);
    }
}

} // namespace standalone
} // namespace host
