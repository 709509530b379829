// The entry of every SQL function: C++ inside, the server's way of failing outside.
//
// A failure is taken out of its handler before it is raised. Raising from within a handler would
// leave the exception object behind, 600 bytes for each; and an exception that left the library
// would end the whole server.
#include "host/call.hpp"

#include "host/error.hpp"

#include "guard.hpp"
#include "invocation.hpp"

#include <new>
#include <stdexcept>
#include <type_traits>

#include "server.hpp"

namespace host {

static_assert(sizeof(argument) == sizeof(NullableDatum));
static_assert(offsetof(argument, value) == offsetof(NullableDatum, value));
static_assert(offsetof(argument, is_null) == offsetof(NullableDatum, isnull));
static_assert(sizeof(datum) == sizeof(Datum));
static_assert(sizeof(function_info) == sizeof(Pg_finfo_record));

namespace {

// How a call failed; outlives the exception that told it.
struct pending_failure {
    enum class kind { report, ends_session, server } what;
    ErrorData *data; // server
};
static_assert(std::is_trivially_destructible_v<pending_failure>);

constinit int calls_in_progress = 0;
constinit MemoryContext callers_memory = nullptr;

pending_failure host_report(host_failure failure, const char *text) noexcept {
    begin_host_report(failure, 0, text);
    return {pending_failure::kind::report, nullptr};
}

pending_failure server_failure(ErrorData *data) noexcept {
    if (data == nullptr) { // there was no memory to keep the failure itself
        return host_report(host_failure::out_of_memory, "");
    }
    return {pending_failure::kind::server, data};
}

// Names the exception in flight. Called from a handler only.
pending_failure failure_in_flight() noexcept {
    try {
        throw;
    } catch (const raised &report) {
        return {report.level == report_level::internal_assertion
                    ? pending_failure::kind::ends_session
                    : pending_failure::kind::report,
                nullptr};
    } catch (const server_error &error) {
        return server_failure(error.data);
    } catch (const std::bad_alloc &) {
        return host_report(host_failure::out_of_memory, "");
    } catch (const std::length_error &) {
        return host_report(host_failure::out_of_memory, "");
    } catch (const std::exception &error) {
        return host_report(host_failure::exception, error.what());
    } catch (...) {
        return host_report(host_failure::exception, "unknown exception");
    }
}

// Runs the body; false when it failed. No exception leaves it.
bool run_body(function_body body, call &frame, datum &result, pending_failure &failure) noexcept {
    try {
        result = body(frame);
        return true;
    } catch (...) {
        failure = failure_in_flight();
        return false;
    }
}

[[noreturn]] void raise(const pending_failure &failure) {
    if (failure.what == pending_failure::kind::server) {
        ReThrowError(failure.data);
    }
    raise_report();
}

} // namespace

bool call_in_progress() noexcept { return calls_in_progress > 0; }

MemoryContextData *caller_memory(MemoryContextData *otherwise) noexcept {
    return callers_memory != nullptr ? callers_memory : otherwise;
}

datum invoke(call_record *record, function_body body) {
    auto *const info = reinterpret_cast<FunctionCallInfo>(record);
    const MemoryContext outer_memory = callers_memory;
    const MemoryContext memory = CurrentMemoryContext;
    call frame{record, reinterpret_cast<const argument *>(info->args), info->nargs, false};
    pending_failure failure{pending_failure::kind::report, nullptr};
    datum result = 0;

    watch_session_end();
    callers_memory = memory;
    ++calls_in_progress;
    const bool done = run_body(body, frame, result, failure);
    callers_memory = outer_memory;
    MemoryContextSwitchTo(memory); // only moves a pointer

    if (done || failure.what != pending_failure::kind::ends_session) [[likely]] {
        --calls_in_progress;
    } // else the state is in doubt: as long as a call is counted, nobody touches it
    if (server_error interrupt{nullptr}; take_kept_interrupt(interrupt)) [[unlikely]] {
        raise(server_failure(interrupt.data));
    }
    if (!done) [[unlikely]] {
        raise(failure);
    }
    info->isnull = frame.result_is_null;
    return result;
}

void StmtRetrySetQuerytUnsupportedFlag() noexcept {} // the server never repeats statements

} // namespace host
