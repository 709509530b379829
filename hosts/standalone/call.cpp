// The road of a call on the standalone host: the body runs, what it raised becomes the record's.
#include "host/call.hpp"

#include "host/session.hpp"
#include "libxml/xml.hpp"
#include "session_record.hpp"

#include <algorithm>
#include <cstddef>
#include <new>

namespace host {

using standalone::current_session;
using standalone::misuse;

namespace {

// Keeps the depth of calls right on every road out of a body.
class depth_scope {
  public:
    explicit depth_scope(standalone::session &own) noexcept : own_(own) { ++own_.depth; }
    ~depth_scope() { --own_.depth; }
    depth_scope(const depth_scope &) = delete;
    depth_scope &operator=(const depth_scope &) = delete;

  private:
    standalone::session &own_;
};

report_fields fields_of(const standalone::report_draft &draft) {
    report_fields fields;
    fields.id = draft.id;
    fields.level = draft.level;
    fields.module_id = draft.module_id;
    fields.sqlstate = draft.sqlstate.view();
    fields.message = draft.message.view();
    fields.cause = draft.cause.view();
    fields.action = draft.action.view();
    fields.hint = draft.hint.view();
    fields.context = draft.context.view();
    fields.file = draft.file;
    fields.function = draft.function;
    fields.line = draft.line;
    fields.internal_action = draft.internal_action;
    return fields;
}

// The report of an exception that no report made.
report_fields foreign_exception(const char *sqlstate, std::string_view message) {
    report_fields fields;
    fields.sqlstate = sqlstate;
    fields.message = message;
    return fields;
}

constexpr int k_most_arguments = 16;

// A call with its arguments behind it, as bodies see it.
class call_in_progress {
  public:
    explicit call_in_progress(call_record &record) {
        if (record.argument_count > k_most_arguments) {
            misuse("a call has too many arguments");
        }
        head_ = new (room_) call{};
        head_->own_words[2] = &record; // where sets put their rows
        head_->argument_count = static_cast<std::int16_t>(record.argument_count);
        std::copy_n(record.arguments, record.argument_count,
                    reinterpret_cast<argument *>(room_ + sizeof(call)));
    }
    [[nodiscard]] call &head() noexcept { return *head_; }

  private:
    alignas(call) std::byte room_[sizeof(call) + k_most_arguments * sizeof(argument)];
    call *head_;
};

void run_body(standalone::session &own, call_record &record, function_body body, const char *name) {
    call_in_progress in_progress(record);
    const depth_scope depth(own);
    try {
        if (u_sess.before_call != nullptr) {
            u_sess.before_call();
        }
        record.result = body(in_progress.head());
        record.result_is_null = in_progress.head().result_is_null;
    } catch (const raised &) {
        record.failed = true;
        add_failure_context(name, in_progress.head());
        record.report = fields_of(own.draft);
    } catch (const std::bad_alloc &) {
        record.failed = true;
        record.report = foreign_exception("53200", "out of memory");
    } catch (...) {
        record.failed = true;
        record.report = foreign_exception("XX000", "unexpected exception");
    }
}

} // namespace

datum invoke(call_record *record, function_body body, const char *name) {
    standalone::session &own = current_session();
    record->failed = false;
    record->rows.clear();
    record->result = 0;
    record->result_is_null = false;
    memory_context *const context = own.current;
    const std::uint32_t scopes = gate.depth;
    if (own.terminated) {
        record->failed = true;
        record->report =
            foreign_exception("57P01", "the session was ended by an internal assertion");
    } else {
        run_body(own, *record, body, name);
    }
    if (own.current != context) {
        misuse("a call left another memory context current");
    }
    if (gate.depth != scopes) {
        misuse("a call left a libxml2 scope open");
    }
    if (record->failed) {
        record->rows.clear();
        record->result = 0;
        own.last = record->report;
    }
    return record->result;
}

void StmtRetrySetQuerytUnsupportedFlag() noexcept {}

namespace standalone {

call_record call_function(function_entry entry, const argument *arguments, int count) {
    call_record record;
    record.arguments = arguments;
    record.argument_count = count;
    entry(&record);
    return record;
}

int call_depth() noexcept { return current_session().depth; }

} // namespace standalone
} // namespace host
