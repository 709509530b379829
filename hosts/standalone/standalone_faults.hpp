// Fault injection: one thin layer in front of every service of the standalone host that can fail.
//
// A plan says which call of a service fails, counted from when the plan was made, and how many in
// a row. Everything here belongs to the session of the calling thread; without a session nothing
// ever fails.
#pragma once

#include <cstdint>

namespace host::standalone {

enum class service : int {
    allocation,         // memory of the host
    libxml2_allocation, // memory of libxml2, within scopes; counted only while there is a plan
    conversion,         // of text between encodings
    detoast,            // fetching a value
    slice,              // reading a piece of a large value: raises
    missing_slice,      // the same: gives nothing
    large_object,       // making, opening, reading and writing large objects
    catalogue,          // directory look-ups and privileges
    warning,            // sending a warning
    file,               // opening, writing, closing
    rows,               // beginning a set of rows, handing rows over
    poll,               // a look whether the statement is to stop: from then on it is
    count
};

inline constexpr std::int64_t k_for_ever = INT64_MAX;

// Call number `at` (1 is the next) of the service fails, and the `repeat` - 1 after it. Replaces
// the plan there was for the service.
void fail_call(service which, std::int64_t at, std::int64_t repeat = 1) noexcept;
// Takes all plans back.
void clear_faults() noexcept;
// Calls of the service since the last plan for it was made or all plans were taken back.
[[nodiscard]] std::int64_t calls_of(service which) noexcept;
// Failures that were injected since then.
[[nodiscard]] std::int64_t faults_of(service which) noexcept;

// No service fails, and no call is counted, while one of these lives: for what a test does itself.
class fault_pause {
  public:
    fault_pause() noexcept;
    ~fault_pause();
    fault_pause(const fault_pause &) = delete;
    fault_pause &operator=(const fault_pause &) = delete;
};

// --- for the services ---------------------------------------------------------------------------

// Counts a call of the service; true when it is to fail.
[[nodiscard]] bool fault_due(service which) noexcept;
// The same, and raises an error of the host (58030, "injected failure") when it is to fail.
void fault_point(service which);

} // namespace host::standalone
