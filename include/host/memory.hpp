// Memory of the host: contexts that own allocations and give them all back at once.
//
// Every allocating function throws the host's out-of-memory report and never returns null, and
// never leaves by any other road. Freeing never fails.
#pragma once

#include "host/error.hpp"

#include <cstddef>
#include <cstring>

namespace host {

struct memory_context;

// The context that lives as long as the session.
memory_context *session_memory_context() noexcept;
// The context in which results are allocated: the caller's.
memory_context *current_memory_context() noexcept;
// Makes `context` the current one and returns the one before.
memory_context *switch_memory_context(memory_context *context) noexcept;

// Makes a context below `parent`. `name` must be a text that is never freed; administrators see
// the context under it. Sizes in bytes: smallest, first and largest block. Throws.
memory_context *mmgr_memory_set_controller_create(memory_context *parent, const char *name,
                                                  std::size_t minimum, std::size_t initial,
                                                  std::size_t maximum);
// Frees the context, all below it and all they own.
void mmgr_memory_controller_delete(memory_context *context) noexcept;

// `size` bytes in `context`, aligned for any object; throws. Any size the machine can give.
[[nodiscard]] void *mmgr_memory_alloc_from_controller(memory_context *context, std::size_t size);
// The same, filled with zeros.
[[nodiscard]] void *mmgr_memory_alloc_zero(memory_context *context, std::size_t size);
// The same, for sizes of 1 GiB and more.
[[nodiscard]] void *mmgr_memory_alloc_huge(memory_context *context, std::size_t size);
// An allocation made larger or smaller, in its own context and perhaps at another place; the bytes
// that fit stay. Throws when memory runs out, and the old allocation is then as it was.
[[nodiscard]] void *mmgr_resize(void *pointer, std::size_t size);
// Gives one allocation back, from whichever context; null does nothing.
void mmgr_free_with_fl(void *pointer, const char *file, int line) noexcept;

// Bytes in current_memory_context(), for a result of less than 1 GiB; throws.
[[nodiscard]] void *allocate_result(std::size_t size);

// Makes a context current for as long as the object lives.
class context_scope {
  public:
    explicit context_scope(memory_context *context) noexcept
        : previous_(switch_memory_context(context)) {}
    ~context_scope() { switch_memory_context(previous_); }
    context_scope(const context_scope &) = delete;
    context_scope &operator=(const context_scope &) = delete;

  private:
    memory_context *previous_;
};

// Frees an allocation of the host; for std::unique_ptr.
struct memory_deleter {
    void operator()(void *pointer) const noexcept {
        mmgr_free_with_fl(pointer, __FILE__, __LINE__);
    }
};

// Bounds-checked copy and fill: `destination_size` and `count` in bytes. 0, or a code for
// report_securec_error when the bytes do not fit; then nothing is written.
[[nodiscard]] inline int memcpy_s(void *destination, std::size_t destination_size,
                                  const void *source, std::size_t count) noexcept {
    if (count > destination_size || (count != 0 && (destination == nullptr || source == nullptr))) {
        return 34; // ERANGE
    }
    if (count != 0) {
        std::memcpy(destination, source, count);
    }
    return 0;
}
[[nodiscard]] inline int memset_s(void *destination, std::size_t destination_size, int value,
                                  std::size_t count) noexcept {
    if (count > destination_size || (count != 0 && destination == nullptr)) {
        return 34; // ERANGE
    }
    if (count != 0) {
        std::memset(destination, value, count);
    }
    return 0;
}

// The copy that everyone uses: raises instead of returning a code.
inline void copy_bytes(void *destination, std::size_t destination_size, const void *source,
                       std::size_t count) {
    if (const int code = memcpy_s(destination, destination_size, source, count); code != 0)
        [[unlikely]] {
        freeSecurityFuncSpace();
        report_securec_error(code, __FILE__, __LINE__);
    }
}

} // namespace host
