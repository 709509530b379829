// The entry of every SQL function: C++ inside, the server's way of failing outside.
//
// A failure is taken out of its handler before it is raised. Raising from within a handler would
// leave the exception object behind, 600 bytes for each; and an exception that left the library
// would end the whole server.
#include "host/call.hpp"

#include "host/error.hpp"
#include "host/session.hpp"

#include "guard.hpp"
#include "invocation.hpp"
#include "settings.hpp"
#include "usage.hpp"

#include <new>
#include <stdexcept>
#include <type_traits>

#include "server.hpp"

namespace host {

static_assert(sizeof(call) == offsetof(FunctionCallInfoBaseData, args));
static_assert(offsetof(call, own_number) == offsetof(FunctionCallInfoBaseData, fncollation));
static_assert(offsetof(call, result_is_null) == offsetof(FunctionCallInfoBaseData, isnull));
static_assert(offsetof(call, argument_count) == offsetof(FunctionCallInfoBaseData, nargs));
static_assert(sizeof(call::argument_count) == sizeof(FunctionCallInfoBaseData::nargs));
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

// A call in progress, on the stack of `invoke`. What only a failure asks for stands here, so that
// no register is to be saved for it.
struct invocation {
    MemoryContext callers_memory;
    invocation *outer;
    function_body body;
    call *frame;
    const char *name;
};
constinit invocation *innermost = nullptr;
constinit bool state_is_in_doubt = false; // a call was left without being unwound

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
[[gnu::noinline, gnu::cold]] pending_failure failure_in_flight() noexcept {
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

// Whether something is to be done before the body of a call.
[[nodiscard]] bool is_unprepared() noexcept {
    return !session_is_admitted || u_sess.before_call != nullptr;
}

// Does that, and runs the body in whose place it stands.
datum prepare_and_run(call &frame) {
    const function_body body = innermost->body;
    if (!session_is_admitted) {
        admit_session();
    }
    if (u_sess.before_call != nullptr) {
        u_sess.before_call();
    }
    return body(frame);
}

// Runs the body; false when it failed. No exception leaves it.
bool run_body(const invocation &here, function_body body, datum &result,
              pending_failure &failure) noexcept {
    try {
        result = body(*here.frame);
        return true;
    } catch (...) {
        failure = failure_in_flight();
        if (failure.what == pending_failure::kind::report) {
            add_failure_context(here.name, *here.frame);
        }
        return false;
    }
}

// Raises a request to stop that was kept, or else the failure of the call.
[[noreturn, gnu::noinline, gnu::cold]] void raise(const pending_failure *told) {
    state_is_in_doubt =
        state_is_in_doubt || (told != nullptr && told->what == pending_failure::kind::ends_session);
    const pending_failure failure =
        interrupt_is_kept ? server_failure(take_kept_interrupt().data) : *told;
    if (failure.what == pending_failure::kind::server) {
        ReThrowError(failure.data);
    }
    raise_report();
}

} // namespace

bool call_in_progress() noexcept { return innermost != nullptr || state_is_in_doubt; }

MemoryContextData *caller_memory(MemoryContextData *otherwise) noexcept {
    return innermost != nullptr ? innermost->callers_memory : otherwise;
}

datum invoke(call_record *record, function_body body, const char *name) {
    // The server has set the null flag of its record to false.
    invocation here{CurrentMemoryContext, innermost, body, reinterpret_cast<call *>(record), name};
    pending_failure failure;
    datum result;

    innermost = &here;
    if (is_unprepared()) [[unlikely]] {
        body = prepare_and_run;
    }
    const bool done = run_body(here, body, result, failure);
    innermost = here.outer;
    publish_use();
    Assert(CurrentMemoryContext == here.callers_memory); // whoever switched has switched back
    if (!done || interrupt_is_kept) [[unlikely]] {
        raise(done ? nullptr : &failure);
    }
    return result;
}

void StmtRetrySetQuerytUnsupportedFlag() noexcept {} // the server never repeats statements

} // namespace host
