// Calls of the server that can fail.
//
// The server fails by longjmp, which runs no destructors. Every call of it that can fail is made
// through `guard`, which stops the jump at once and throws instead. Calls made without it say
// in a comment why they cannot fail.
#pragma once

struct ErrorData;

namespace host {

// A failure of the server, caught by `guard`. `data` lives in the memory of the caller of the SQL
// function; null when there was not even memory for it.
struct server_error {
    ErrorData *data;
};

using guarded_step = void (*)(void *state) noexcept;

// Runs `step(state)`; throws server_error when the server fails in it. The step calls the server
// and nothing else: it holds no object with a destructor and throws nothing.
void run_guarded(guarded_step step, void *state);

template <class Step> void run_step(void *state) noexcept { (*static_cast<Step *>(state))(); }

// The same for a lambda, which keeps its results in what it captures by reference.
template <class Step> void guard(Step step) { run_guarded(run_step<Step>, &step); }

// The same, but hands the failure back instead of throwing. True when the step did not fail.
[[nodiscard]] bool run_and_keep(guarded_step step, void *state, server_error &failure) noexcept;

} // namespace host
