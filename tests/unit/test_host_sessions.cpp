// Sessions, calls, reports, interrupts and faults of the standalone host.
#include "error_reports.hpp"
#include "host/error.hpp"
#include "host/session.hpp"
#include "libxml/xml.hpp"
#include "standalone_faults.hpp"
#include "standalone_session.hpp"
#include "support/sql.hpp"

#include <cerrno>
#include <latch>
#include <stdexcept>
#include <thread>

namespace {

namespace standalone = host::standalone;

class host_sessions : public sql::session_test {};
using host_sessions_death = host_sessions;

host::call_record run(host::function_body body) {
    host::call_record record;
    host::invoke(&record, body);
    return record;
}

// --- calls ---------------------------------------------------------------------------------------

host::datum add(host::call &call) {
    if (call.is_null(0) || call.is_null(1)) {
        return call.null();
    }
    return host::from_int4(call.int4(0) + call.int4(1));
}

TEST_F(host_sessions, calls_read_arguments_and_give_results) {
    const host::argument arguments[] = {
        {host::from_int4(-40), false}, {host::from_int4(-2), false}, {0, true}};
    host::call_record record;
    record.arguments = arguments;
    record.argument_count = 3;
    EXPECT_EQ(static_cast<std::int32_t>(host::invoke(&record, add)), -42);
    EXPECT_FALSE(record.failed);
    EXPECT_FALSE(record.result_is_null);
    record.arguments = arguments + 1;
    record.argument_count = 2;
    host::invoke(&record, add);
    EXPECT_TRUE(record.result_is_null);
    record.argument_count = 1; // what was not passed is null
    host::invoke(&record, add);
    EXPECT_TRUE(record.result_is_null);
}

// Counts its destructions.
struct counted {
    explicit counted(int &destroyed) : destroyed_(destroyed) {}
    ~counted() { ++destroyed_; }
    int &destroyed_;
};
thread_local int destroyed = 0;

host::datum report_everything(host::call & /*call*/) {
    const counted first(destroyed);
    const counted second(destroyed);
    host::errproc_template(79375, host::report_level::error, "file.cpp", 17, "function");
    host::errfinish(host::err_module(18), host::err_ecode("22023"), host::err_msg("message"),
                    host::err_cause("cause"), host::err_action("action"), host::err_hint("hint"),
                    host::err_context("context"), host::err_action_internal());
}

TEST_F(host_sessions, reports_reach_the_caller_whole) {
    destroyed = 0;
    const host::call_record record = run(report_everything);
    EXPECT_EQ(destroyed, 2);
    ASSERT_TRUE(record.failed);
    const host::report_fields &report = standalone::last_report();
    EXPECT_EQ(report.id, 79375);
    EXPECT_EQ(report.level, host::report_level::error);
    EXPECT_EQ(report.module_id, 18);
    EXPECT_EQ(report.sqlstate, "22023");
    EXPECT_EQ(report.message, "message");
    EXPECT_EQ(report.cause, "cause");
    EXPECT_EQ(report.action, "action");
    EXPECT_EQ(report.hint, "hint");
    EXPECT_EQ(report.context, "context");
    EXPECT_EQ(report.file, "file.cpp");
    EXPECT_EQ(report.line, 17);
    EXPECT_EQ(report.function, "function");
    EXPECT_TRUE(report.internal_action);
}

host::datum report_nothing_much(host::call & /*call*/) {
    host::errproc_template(1, host::report_level::error, "f", 1, "g");
    host::errfinish(host::err_msg("plain"));
}

TEST_F(host_sessions, a_report_begins_without_the_fields_of_the_last) {
    run(report_everything);
    const host::report_fields report = run(report_nothing_much).report;
    EXPECT_EQ(report.module_id, 0);
    EXPECT_EQ(report.message, "plain");
    EXPECT_EQ(report.cause + report.action + report.hint + report.context, "");
    EXPECT_FALSE(report.internal_action);
}

host::datum report_a_long_text(host::call & /*call*/) {
    std::string text;
    while (text.size() < 50000) {
        text += "\xE2\x82\xAC";
    }
    host::errproc_template(1, host::report_level::error, "f", 1, "g");
    host::errfinish(host::err_msg(text));
}

TEST_F(host_sessions, long_texts_are_cut_between_characters) {
    const host::report_fields report = run(report_a_long_text).report;
    EXPECT_GT(report.message.size(), 4000U);
    EXPECT_LT(report.message.size(), 50000U);
    EXPECT_EQ(report.message.size() % 3, 0U);
}

host::datum throw_bad_alloc(host::call & /*call*/) { throw std::bad_alloc(); }
host::datum throw_anything(host::call & /*call*/) { throw std::runtime_error("anything"); }
host::datum throw_number(host::call & /*call*/) { throw 42; }

TEST_F(host_sessions, no_exception_escapes_a_call) {
    EXPECT_EQ(run(throw_bad_alloc).report.sqlstate, "53200");
    EXPECT_EQ(run(throw_anything).report.sqlstate, "XX000");
    EXPECT_EQ(run(throw_number).report.sqlstate, "XX000");
    EXPECT_EQ(standalone::call_depth(), 0);
}

host::datum depth(host::call & /*call*/) { return host::from_int4(standalone::call_depth()); }
host::datum depth_below(host::call & /*call*/) {
    host::call_record inner;
    return host::from_int4(static_cast<std::int32_t>(host::invoke(&inner, depth)) * 10 +
                           standalone::call_depth());
}

TEST_F(host_sessions, the_depth_of_calls_is_known) {
    EXPECT_EQ(standalone::call_depth(), 0);
    EXPECT_EQ(run(depth).result, 1U);
    EXPECT_EQ(run(depth_below).result, 21U);
    EXPECT_EQ(standalone::call_depth(), 0);
}

host::datum assert_nothing(host::call & /*call*/) {
    pkg_dbe_xml::fail_assertion(pkg_dbe_xml::k_no_slice);
}

TEST_F(host_sessions, an_internal_assertion_ends_the_session) {
    EXPECT_FALSE(standalone::session_terminated());
    const host::call_record record = run(assert_nothing);
    EXPECT_TRUE(record.failed);
    EXPECT_EQ(record.report.level, host::report_level::internal_assertion);
    EXPECT_EQ(record.report.id, 90060);
    EXPECT_EQ(record.report.sqlstate, "29003");
    EXPECT_TRUE(standalone::session_terminated());
    EXPECT_EQ(run(depth).report.sqlstate, "57P01");
    restart_session();
    EXPECT_FALSE(standalone::session_terminated());
    EXPECT_FALSE(run(depth).failed);
}

host::datum leave_context(host::call & /*call*/) {
    host::switch_memory_context(host::session_memory_context());
    return 0;
}
host::datum leave_scope(host::call & /*call*/) {
    ++host::gate.depth;
    return 0;
}

TEST_F(host_sessions_death, a_call_puts_everything_back) {
    EXPECT_DEATH(run(leave_context), "another memory context");
    EXPECT_DEATH(run(leave_scope), "libxml2 scope open");
}

host::datum end_from_within(host::call & /*call*/) {
    standalone::end_session();
    return 0;
}

TEST_F(host_sessions_death, a_session_does_not_end_within_a_call) {
    EXPECT_DEATH(run(end_from_within), "from within a call");
    EXPECT_DEATH(standalone::begin_session(), "second session");
}

host::datum out_of_memory(host::call & /*call*/) { host::raise_out_of_memory(123); }
host::datum bounds(host::call & /*call*/) {
    char small[2];
    host::copy_bytes(small, sizeof small, "long", 4);
    return 0;
}

TEST_F(host_sessions, the_host_has_errors_of_its_own) {
    const host::report_fields memory = run(out_of_memory).report;
    EXPECT_EQ(memory.sqlstate, "53200");
    EXPECT_EQ(memory.message, "out of memory");
    EXPECT_EQ(memory.cause, "Failed on request of size 123.");
    EXPECT_EQ(run(bounds).report.sqlstate, "XX000");
}

thread_local int file_errno = 0;
host::datum file_error(host::call & /*call*/) {
    host::errproc_template(1, host::report_level::error, "f", 1, "g");
    host::errfinish(host::err_code_for_file_access(file_errno));
}

TEST_F(host_sessions, file_errors_have_their_states) {
    const std::pair<int, const char *> states[] = {
        {EACCES, "42501"}, {EPERM, "42501"},  {EROFS, "42501"},       {ENOENT, "58P01"},
        {EEXIST, "58P02"}, {EISDIR, "42809"}, {ENOTDIR, "42809"},     {ENOTEMPTY, "42809"},
        {ENOSPC, "53100"}, {ENFILE, "53000"}, {EMFILE, "53000"},      {EIO, "58030"},
        {ENOMEM, "53200"}, {EINVAL, "XX000"}, {ENAMETOOLONG, "XX000"}};
    for (const auto &[number, state] : states) {
        file_errno = number;
        EXPECT_EQ(run(file_error).report.sqlstate, state) << number;
    }
}

host::datum warn(host::call & /*call*/) {
    host::report_warning("01000", "careful", "line 1");
    return 0;
}

TEST_F(host_sessions, warnings_are_kept_and_the_call_goes_on) {
    EXPECT_FALSE(run(warn).failed);
    ASSERT_EQ(standalone::warnings().size(), 1U);
    EXPECT_EQ(standalone::warnings()[0].sqlstate, "01000");
    EXPECT_EQ(standalone::warnings()[0].message, "careful");
    EXPECT_EQ(standalone::warnings()[0].context, "line 1");
    standalone::fail_call(standalone::service::warning, 1);
    EXPECT_EQ(run(warn).report.message, "injected failure");
    EXPECT_EQ(standalone::warnings().size(), 1U);
}

// --- interrupts ----------------------------------------------------------------------------------

host::datum poll_ten_times(host::call & /*call*/) {
    for (int i = 1; i <= 10; ++i) {
        host::check_for_interrupts();
    }
    return host::from_int4(10);
}

TEST_F(host_sessions, statements_are_cancelled_once) {
    EXPECT_EQ(run(poll_ten_times).result, 10U);
    standalone::cancel_statement();
    const host::report_fields report = run(poll_ten_times).report;
    EXPECT_EQ(report.sqlstate, "57014");
    EXPECT_EQ(report.message, "canceling statement due to user request");
    EXPECT_EQ(run(poll_ten_times).result, 10U);
    standalone::cancel_statement();
    standalone::forget_cancel();
    EXPECT_FALSE(run(poll_ten_times).failed);
}

TEST_F(host_sessions, statements_are_cancelled_at_a_poll) {
    for (std::int64_t at = 1; at <= 10; ++at) {
        const std::int64_t before = standalone::poll_count();
        standalone::cancel_after_polls(at);
        EXPECT_EQ(run(poll_ten_times).report.sqlstate, "57014");
        EXPECT_EQ(standalone::poll_count() - before, at);
    }
    standalone::cancel_after_polls(11);
    EXPECT_FALSE(run(poll_ten_times).failed);
    EXPECT_TRUE(run(poll_ten_times).failed);
}

TEST_F(host_sessions, another_thread_can_cancel) {
    std::thread other(standalone::cancel_statement_of, standalone::this_session());
    other.join();
    EXPECT_EQ(run(poll_ten_times).report.sqlstate, "57014");
}

// --- the session's state -------------------------------------------------------------------------

thread_local int cleaned = 0;
int clean_up() {
    ++cleaned;
    host::u_sess.clean_up = nullptr;
    return 0;
}

host::datum reset_from_within(host::call & /*call*/) {
    return host::from_int4(standalone::reset_session());
}

TEST_F(host_sessions, the_library_cleans_up_when_the_session_ends) {
    cleaned = 0;
    host::u_sess.clean_up = clean_up;
    run(reset_from_within);
    EXPECT_EQ(cleaned, 0); // a call is in progress
    standalone::reset_session();
    EXPECT_EQ(cleaned, 1);
    host::u_sess.clean_up = clean_up;
    restart_session();
    EXPECT_EQ(cleaned, 2);
    EXPECT_EQ(host::u_sess.clean_up, nullptr);
    EXPECT_EQ(host::u_sess.registry, nullptr);
}

TEST_F(host_sessions, faults_end_with_the_session) {
    standalone::fail_call(standalone::service::allocation, 1, standalone::k_for_ever);
    restart_session();
    EXPECT_NE(host::allocate_result(1), nullptr);
}

TEST_F(host_sessions, faults_pause) {
    standalone::fail_call(standalone::service::allocation, 1);
    {
        const standalone::fault_pause pause;
        EXPECT_NE(host::allocate_result(1), nullptr);
        EXPECT_EQ(standalone::calls_of(standalone::service::allocation), 0);
    }
    EXPECT_THROW(static_cast<void>(host::allocate_result(1)), host::raised);
}

TEST_F(host_sessions, libxml2_allocations_fail_within_scopes) {
    ASSERT_TRUE(host::gate_in_force());
    standalone::fail_call(standalone::service::libxml2_allocation, 2);
    {
        const host::tree_scope scope;
        xmlNodePtr first = xmlNewComment(nullptr);
        EXPECT_NE(first, nullptr);
        EXPECT_FALSE(scope.refused());
        EXPECT_EQ(xmlNewComment(nullptr), nullptr);
        EXPECT_TRUE(scope.refused());
        xmlFreeNode(first);
    }
    EXPECT_EQ(standalone::faults_of(standalone::service::libxml2_allocation), 1);
    standalone::fail_call(standalone::service::libxml2_allocation, 1);
    xmlFreeNode(xmlNewComment(nullptr)); // outside a scope nothing fails
    EXPECT_EQ(standalone::faults_of(standalone::service::libxml2_allocation), 0);
}

TEST_F(host_sessions, libxml2_memory_that_is_left_is_counted) {
    xmlNodePtr left = nullptr;
    {
        const host::tree_scope scope;
        left = xmlNewComment(BAD_CAST "left");
    }
    const standalone::session_remains remains = standalone::end_session();
    EXPECT_GT(remains.libxml2_bytes, 0);
    EXPECT_FALSE(remains.nothing());
    xmlFreeNode(left);
    standalone::begin_session();
}

// --- threads -------------------------------------------------------------------------------------

// A session of its own: its memory, its faults, its documents.
void live_in_a_thread(std::latch &start, unsigned number, std::string &outcome) {
    standalone::begin_session(number % 2 == 0 ? "UTF8" : "LATIN1");
    start.arrive_and_wait();
    for (int round = 0; round < 200 && outcome.empty(); ++round) {
        const std::string name = "n" + std::to_string(number) + "_" + std::to_string(round);
        const sql::result document = sql::call(xml_dom_new_document_clob, "<" + name + "/>");
        if (document.failed()) {
            outcome = document.error().message;
            break;
        }
        const sql::result root = sql::call(xml_dom_get_document_element, document.handle());
        const std::string read = sql::call(xml_dom_get_tagname, root.handle()).text();
        if (read != name) {
            outcome = read + " instead of " + name;
        }
        if (round % 3 != 0) {
            sql::call(xml_dom_free_document, document.handle());
        }
        if (round % 5 == 0) {
            standalone::fail_call(standalone::service::allocation, 1);
            if (!sql::call(xml_dom_new_document_clob, "<a/>").failed()) {
                outcome = "a call without memory did not fail";
            }
            standalone::clear_faults();
        }
        standalone::reset_caller_context();
    }
    if (!standalone::end_session().nothing()) {
        outcome += " something was left";
    }
}

TEST(host_session_threads, sixteen_sessions_know_nothing_of_each_other) {
    constexpr unsigned count = 16;
    std::latch start(count);
    std::vector<std::string> outcomes(count);
    std::vector<std::thread> threads;
    for (unsigned number = 0; number < count; ++number) {
        threads.emplace_back(live_in_a_thread, std::ref(start), number, std::ref(outcomes[number]));
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    for (const std::string &outcome : outcomes) {
        EXPECT_EQ(outcome, "");
    }
}

} // namespace
