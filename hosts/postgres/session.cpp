// The session: its state, and its end.
//
// A session ends with its backend, or begins afresh after DISCARD ALL, which is how connection
// pools hand a backend to the next client.
#include "host/session.hpp"

#include "invocation.hpp"
#include "module.hpp"
#include "services.hpp"
#include "usage.hpp"

#include "server.hpp"

namespace host {

constinit session_state u_sess{};

namespace {

constinit bool end_is_watched = false;
constinit ProcessUtility_hook_type next_utility_hook = nullptr;

// Frees what the session made; nothing while a call is in progress, since what it was changing may
// be half changed. True when it was done. No exception leaves it.
bool clean_up_session() noexcept {
    if (call_in_progress() || u_sess.clean_up == nullptr) {
        return false;
    }
    try {
        u_sess.clean_up();
    } catch (...) {
        return false; // there is nobody to tell
    }
    publish_use();
    return true;
}

void at_session_end(int /*code*/, Datum /*argument*/) {
    if (clean_up_session()) {
        elog(DEBUG1, "pkg_dbe_xml: objects of the session freed"); // below ERROR: returns
    }
    withdraw_use();
}

bool is_discard_all(const PlannedStmt *statement) noexcept {
    return IsA(statement->utilityStmt, DiscardStmt) &&
           reinterpret_cast<const DiscardStmt *>(statement->utilityStmt)->target == DISCARD_ALL;
}

// Takes part in every utility statement: after a DISCARD ALL that succeeded.
void run_utility(PlannedStmt *statement, const char *text, bool read_only_tree,
                 ProcessUtilityContext context, ParamListInfo parameters,
                 QueryEnvironment *environment, DestReceiver *destination,
                 QueryCompletion *completion) {
    const bool discards = is_discard_all(statement);
    const ProcessUtility_hook_type next =
        next_utility_hook != nullptr ? next_utility_hook : standard_ProcessUtility;
    next(statement, text, read_only_tree, context, parameters, environment, destination,
         completion);
    if (discards) {
        clean_up_session();
        if (!call_in_progress()) {
            clean_up_guest();
        }
    }
}

} // namespace

void watch_session_end() noexcept {
    if (!end_is_watched) {
        end_is_watched = true;
        // Fails only when all its places are taken, and then ends the backend.
        before_shmem_exit(at_session_end, 0);
    }
}

void watch_utility_statements() {
    next_utility_hook = ProcessUtility_hook;
    ProcessUtility_hook = run_utility;
}

} // namespace host
