// Reports of the standalone host: a draft in the session's record, thrown when it is finished.
#include "host/error.hpp"
#include "host/notice.hpp"

#include "session_record.hpp"

#include <cerrno>

namespace host {

using standalone::current_session;

bool errproc_template(int report_id, report_level level, const char *file, int line,
                      const char *function) noexcept {
    standalone::report_draft &draft = current_session().draft;
    draft.id = report_id;
    draft.level = level;
    draft.module_id = 0;
    draft.file = file;
    draft.function = function;
    draft.line = line;
    draft.internal_action = false;
    draft.sqlstate.assign("XX000");
    draft.message.size = draft.cause.size = draft.action.size = 0;
    draft.hint.size = draft.context.size = 0;
    return true;
}

int err_module(int module_id) noexcept {
    current_session().draft.module_id = module_id;
    return 0;
}

int err_ecode(const char *sqlstate) noexcept {
    current_session().draft.sqlstate.assign(sqlstate);
    return 0;
}

int err_msg(std::string_view message) noexcept {
    current_session().draft.message.assign(message);
    return 0;
}

int err_cause(std::string_view cause) noexcept {
    current_session().draft.cause.assign(cause);
    return 0;
}

int err_action(std::string_view action) noexcept {
    current_session().draft.action.assign(action);
    return 0;
}

int err_hint(std::string_view hint) noexcept {
    current_session().draft.hint.assign(hint);
    return 0;
}

int err_action_internal() noexcept {
    current_session().draft.internal_action = true;
    return 0;
}

int err_context(std::string_view line) noexcept {
    current_session().draft.context.assign(line);
    return 0;
}

int err_code_for_file_access(int saved_errno) noexcept {
    const char *sqlstate = "XX000";
    switch (saved_errno) {
    case EPERM:
    case EACCES:
    case EROFS:
        sqlstate = "42501";
        break;
    case ENOENT:
        sqlstate = "58P01";
        break;
    case EEXIST:
        sqlstate = "58P02";
        break;
    case ENOTDIR:
    case EISDIR:
    case ENOTEMPTY:
        sqlstate = "42809";
        break;
    case ENOSPC:
        sqlstate = "53100";
        break;
    case ENOMEM:
        sqlstate = "53200";
        break;
    case ENFILE:
    case EMFILE:
        sqlstate = "53000";
        break;
    case EIO:
        sqlstate = "58030";
        break;
    default:
        break;
    }
    return err_ecode(sqlstate);
}

void finish_report() {
    standalone::session &own = current_session();
    if (own.draft.level == report_level::internal_assertion) {
        own.terminated = true;
    }
    throw raised{own.draft.level};
}

void raise_out_of_memory(std::size_t size) {
    standalone::raise_host_error("53200", "out of memory",
                                 "Failed on request of size " + std::to_string(size) + ".");
}

void report_warning(const char *sqlstate, std::string_view message, std::string_view context) {
    standalone::fault_point(standalone::service::warning);
    current_session().warnings.push_back({sqlstate, std::string(message), std::string(context)});
}

void report_notice(std::string_view message) { report_warning("00000", message, {}); }

void report_securec_error(int code, const char *file, int line) {
    errproc_template(0, report_level::error, file, line, "report_securec_error");
    err_ecode("XX000");
    err_msg("bounds-checked copy failed with code " + std::to_string(code));
    finish_report();
}

void freeSecurityFuncSpace() noexcept {}

bool interrupts_pending() noexcept {
    standalone::session *own = standalone::t_session;
    if (own == nullptr) {
        return false;
    }
    ++own->polls;
    if (standalone::fault_due(standalone::service::poll) ||
        (own->cancel_at != 0 && own->polls >= own->cancel_at)) {
        own->cancel_at = 0;
        own->cancel.store(true, std::memory_order_relaxed);
    }
    return own->cancel.load(std::memory_order_relaxed);
}

void process_interrupts() {
    standalone::session &own = current_session();
    if (own.cancel.exchange(false, std::memory_order_relaxed) && !own.cancels_are_withdrawn) {
        standalone::raise_host_error("57014", "canceling statement due to user request");
    }
}

namespace standalone {

void raise_host_error(const char *sqlstate, std::string_view message, std::string_view detail) {
    errproc_template(0, report_level::error, __FILE__, __LINE__, "standalone host");
    err_ecode(sqlstate);
    err_msg(message);
    err_cause(detail);
    finish_report();
}

void cancel_statement() noexcept { cancel_statement_of(t_session); }

void cancel_after_polls(std::int64_t polls) noexcept {
    session &own = current_session();
    own.cancel_at = own.polls + polls;
}

void forget_cancel() noexcept {
    session &own = current_session();
    own.cancel_at = 0;
    own.cancel.store(false, std::memory_order_relaxed);
    own.cancels_are_withdrawn = false;
}

void withdraw_cancels() noexcept { current_session().cancels_are_withdrawn = true; }

std::int64_t poll_count() noexcept { return current_session().polls; }

session *this_session() noexcept { return t_session; }

void cancel_statement_of(session *other) noexcept {
    other->cancel.store(true, std::memory_order_relaxed);
}

} // namespace standalone
} // namespace host
