// Sweeps of injected failures: a scenario is run with the first, the second, ... call of a service
// failing, each time in a session of its own, until it runs without meeting a failure.
//
// After every failure the invariants hold, what the failed call was to change is as it was, the
// same call made again succeeds as it would have, other calls work, and when the session has ended
// nothing is left.
#pragma once

#include "standalone_faults.hpp"
#include "support/sql.hpp"

#include <cstdint>
#include <functional>
#include <string>

namespace sql {

struct scenario {
    std::string name; // for the messages of failed tests
    std::string database_encoding = "UTF8";
    // Makes what the call needs; no failure is injected.
    std::function<void()> prepare;
    // The call. Every failure must come out as its error, or not matter at all.
    std::function<result()> run;
    // The state of whatever the call may change, and what the call gave, as text. Compared before
    // and after a call that failed, and with those of a run without failures where it did not.
    std::function<std::string()> state;
    std::function<std::string(const result &)> shown;
    // False where the session ends right after the call, without any other.
    bool goes_on = true;
    // False where a call that failed may have changed something, as when a file was begun.
    bool all_or_nothing = true;
    // Every how manieth call of the service is made to fail.
    std::int64_t stride = 1;
    // What libxml2 itself may lose when one of its own allocations fails, in bytes.
    std::int64_t libxml2_may_lose = 0;
};

struct sweep_figures {
    std::int64_t rounds = 0;   // failures injected, one in each round
    std::int64_t reported = 0; // the call reported it
    std::int64_t harmless = 0; // the call gave what it gives without a failure
    std::int64_t lossy = 0;    // libxml2 lost memory
    sweep_figures &operator+=(const sweep_figures &other);
};

// Sweeps one service; that of libxml2's allocations once more with memory that is refused until the
// call ends, as the ceiling of a session does. Fails the test where something does not hold, and
// stops then.
sweep_figures sweep_failures(const scenario &played, host::standalone::service which);
// Sweeps the allocations of the host and of libxml2, one after the other.
sweep_figures sweep_allocation_failures(const scenario &played);

} // namespace sql
