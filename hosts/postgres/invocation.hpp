// What the parts of this host know about the calls in progress.
#pragma once

#include "guard.hpp"

#include <cstddef>

struct MemoryContextData;

namespace host {

// True while the body of an SQL function runs, or when one was left without being unwound: then
// the session's state may be half changed, and clean-up leaves it alone.
[[nodiscard]] bool call_in_progress() noexcept;

// The memory of the caller of the SQL function that runs; `otherwise` when none does.
[[nodiscard]] MemoryContextData *caller_memory(MemoryContextData *otherwise) noexcept;

// Whether there is a request to stop that was noticed where it could not be raised.
[[gnu::visibility("hidden")]] extern constinit bool interrupt_is_kept;
// Takes it; it takes precedence over whatever else happened to the call.
[[nodiscard]] server_error take_kept_interrupt() noexcept;

// Has the session cleaned up at its end; once per process.
void watch_session_end() noexcept;

// Raises the report begun last as an error of the server. Called where nothing has a destructor.
[[noreturn]] void raise_report();

// Begins a report of this host's own, in the server's words and translated by it.
enum class host_failure { out_of_memory, request_size, conversion_size, exception };
void begin_host_report(host_failure failure, std::size_t size, const char *text) noexcept;

} // namespace host
