// The one place where the server's longjmp is stopped.
#include "guard.hpp"

#include "invocation.hpp"

#include "server.hpp"

namespace host {

namespace {

// Nothing here has a destructor and nothing changes between sigsetjmp and the jump, so that the
// jump finds everything as it was.
[[gnu::noinline]] bool succeeds(guarded_step step, void *state) noexcept {
    sigjmp_buf landing;
    sigjmp_buf *const outer_landing = PG_exception_stack;
    ErrorContextCallback *const outer_callbacks = error_context_stack;
    if (sigsetjmp(landing, 0) != 0) {
        PG_exception_stack = outer_landing;
        error_context_stack = outer_callbacks;
        return false;
    }
    PG_exception_stack = &landing;
    step(state);
    PG_exception_stack = outer_landing;
    return true;
}

void copy_error(void *state) noexcept { *static_cast<ErrorData **>(state) = CopyErrorData(); }

// Takes the failure off the server's error stack. The server left its own error context current.
server_error take_failure(MemoryContext current) noexcept {
    server_error failure{nullptr};
    // Switching and flushing only move pointers and reset a context.
    MemoryContextSwitchTo(caller_memory(current));
    if (!succeeds(copy_error, &failure.data)) {
        failure.data = nullptr; // no memory for the copy
    }
    FlushErrorState();
    MemoryContextSwitchTo(current);
    return failure;
}

} // namespace

bool run_and_keep(guarded_step step, void *state, server_error &failure) noexcept {
    const MemoryContext current = CurrentMemoryContext;
    if (succeeds(step, state)) [[likely]] {
        return true;
    }
    failure = take_failure(current);
    return false;
}

void run_guarded(guarded_step step, void *state) {
    server_error failure{nullptr};
    if (!run_and_keep(step, state, failure)) [[unlikely]] {
        throw failure;
    }
}

} // namespace host
