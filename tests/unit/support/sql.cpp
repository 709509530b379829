// The calling of SQL functions from unit tests.
#include "support/sql.hpp"

#include "host/session.hpp"
#include "host/text.hpp"
#include "standalone_faults.hpp"
#include "standalone_session.hpp"

#include <cstring>
#include <ostream>
#include <utility>

// Allocations that the machine cannot give are null, as without the sanitizer. Where clang's own
// tool for line numbers is missing, that of binutils gives them.
extern "C" const char *__asan_default_options();
extern "C" const char *__asan_default_options() {
    return "allocator_may_return_null=1:allow_addr2line=1";
}
extern "C" const char *__tsan_default_options();
extern "C" const char *__tsan_default_options() { return "allocator_may_return_null=1"; }

namespace sql {
namespace {

std::uint32_t word_at(const std::array<std::uint8_t, 13> &bytes, std::size_t place) {
    std::uint32_t word = 0;
    std::memcpy(&word, bytes.data() + place, sizeof word);
    return word;
}

std::string as_string(const std::uint8_t *bytes, std::size_t size) {
    return {reinterpret_cast<const char *>(bytes), size};
}

std::function<void()> action_to_run;
host::datum run_action(host::call & /*call*/) {
    action_to_run();
    return 0;
}
host::datum enter_action(host::call_record *record) { return host::invoke(record, run_action); }

// The texts of a row with its place-holders filled in.
std::string filled(std::string_view format, std::initializer_list<std::string_view> arguments) {
    std::string text;
    const auto *argument = arguments.begin();
    while (!format.empty()) {
        const std::size_t place = format.find('%');
        text += format.substr(0, place);
        if (place == std::string_view::npos) {
            break;
        }
        if (argument != arguments.end()) {
            text += *argument++;
        }
        format.remove_prefix(std::min(place + 2, format.size()));
    }
    return text;
}

sql::error error_of(host::report_fields &&fields) {
    sql::error error;
    error.report_id = fields.id;
    error.level = static_cast<int>(fields.level);
    error.module_id = fields.module_id;
    error.sqlstate = std::move(fields.sqlstate);
    error.message = std::move(fields.message);
    error.cause = std::move(fields.cause);
    error.action = std::move(fields.action);
    error.hint = std::move(fields.hint);
    error.context = std::move(fields.context);
    error.internal_action = fields.internal_action;
    return error;
}

std::string described(const sql::error &error) {
    return "report " + std::to_string(error.report_id) + " " + error.sqlstate + " \"" +
           error.message + "\" (" + error.cause + ")";
}

// True when the outcome has a value to read; fails the test otherwise.
bool has_value(const result &outcome) {
    if (outcome.failed()) {
        ADD_FAILURE() << "the call failed: " << described(*outcome.error_);
        return false;
    }
    if (outcome.is_null_) {
        ADD_FAILURE() << "the result is null";
        return false;
    }
    return true;
}

const host::varlena *varlena_of(const result &outcome) {
    return reinterpret_cast<const host::varlena *>(outcome.datum_);
}

void end_session_clean() {
    const host::standalone::session_remains remains = host::standalone::end_session();
    EXPECT_TRUE(remains.nothing())
        << "the session left " << remains.host_blocks << " blocks of " << remains.host_bytes
        << " bytes in " << remains.host_contexts << " contexts and " << remains.libxml2_bytes
        << " bytes of libxml2; clean-up gave " << remains.clean_up_result;
    for (const std::string &line : remains.block_list) {
        EXPECT_TRUE(remains.nothing()) << line;
    }
}

void compare(std::string &differences, std::string_view field, std::string_view actual,
             std::string_view expected) {
    if (actual != expected) {
        differences += std::string(field) + ": \"" + std::string(actual) + "\", not \"" +
                       std::string(expected) + "\"\n";
    }
}

} // namespace

std::uint32_t handle::document_id() const { return word_at(bytes, 0); }
std::uint32_t handle::node_id() const { return word_at(bytes, 4); }
std::uint32_t handle::serial() const { return word_at(bytes, 8); }

void PrintTo(const handle &printed, std::ostream *out) {
    *out << "handle " << printed.document_id() << "/" << printed.node_id() << "/"
         << printed.serial() << "/" << static_cast<int>(printed.bytes[12]);
}

value::value(const handle &given)
    : type_(type::bytes), bytes_(as_string(given.bytes.data(), given.bytes.size())),
      header_(given.header) {}
value::value(const raw &given)
    : type_(type::bytes), bytes_(as_string(given.bytes.data(), given.bytes.size())),
      header_(given.header) {}
value::value(const large_text &given) : type_(type::large), bytes_(given.bytes) {}
value::value(std::string_view text) : type_(type::bytes), bytes_(text) {}
value::value(int number) : word_(host::from_int4(number)) {}
value::value(bool truth) : word_(host::from_boolean(truth)) {}

value value::of_datum(host::datum datum) {
    value made(null);
    made.is_null_ = false;
    made.word_ = datum;
    return made;
}

host::argument value::argument() const {
    if (is_null_) {
        return {0, true};
    }
    switch (type_) {
    case type::word:
        return {word_, false};
    case type::large:
        return {host::standalone::make_large_text(bytes_), false};
    case type::bytes:
        break;
    }
    return {header_ == handle::header_form::short_form ? host::standalone::make_short_text(bytes_)
                                                       : host::standalone::make_text(bytes_),
            false};
}

bool result::is_null() const { return !failed() && is_null_; }

const sql::error &result::error() const {
    static thread_local const sql::error none{};
    if (!failed()) {
        ADD_FAILURE() << "the call did not fail";
        return none;
    }
    return *error_;
}

namespace {

sql::handle read_handle(host::datum datum) {
    sql::handle read;
    const auto bytes = host::payload(reinterpret_cast<const host::varlena *>(datum));
    if (bytes.size() != read.bytes.size()) {
        ADD_FAILURE() << "the result has " << bytes.size() << " bytes and is no handle";
        return read;
    }
    std::memcpy(read.bytes.data(), bytes.data(), bytes.size());
    return read;
}

} // namespace

sql::handle result::handle() const {
    return has_value(*this) ? read_handle(datum_) : sql::handle{};
}

std::vector<sql::handle> result::rows() const {
    std::vector<sql::handle> handles;
    if (failed()) {
        ADD_FAILURE() << "the call failed: " << described(*error_);
        return handles;
    }
    handles.reserve(rows_.size());
    for (const host::datum row : rows_) {
        handles.push_back(read_handle(row));
    }
    return handles;
}

std::string result::text() const {
    return has_value(*this) ? std::string(host::text_view(varlena_of(*this))) : std::string();
}

int result::integer() const {
    return has_value(*this) ? static_cast<int>(static_cast<std::uint32_t>(datum_)) : 0;
}

bool result::boolean() const { return has_value(*this) && (datum_ & 0xFFU) != 0; }

std::string result::stored_bytes() const {
    if (!has_value(*this)) {
        return {};
    }
    return {reinterpret_cast<const char *>(datum_), host::total_size(varlena_of(*this))};
}

std::vector<host::argument> arguments_of(const std::vector<value> &values) {
    const host::standalone::fault_pause pause;
    std::vector<host::argument> arguments;
    arguments.reserve(values.size());
    for (const value &each : values) {
        arguments.push_back(each.argument());
    }
    return arguments;
}

host::call_record run_in_call(std::function<void()> action) {
    action_to_run = std::move(action);
    return host::standalone::call_function(enter_action, nullptr, 0);
}

std::string sqlstate_of(std::function<void()> action) {
    const host::call_record outcome = run_in_call(std::move(action));
    return outcome.failed ? outcome.report.sqlstate : "none";
}

namespace {

result outcome_of(host::call_record record) {
    result outcome;
    outcome.datum_ = record.result;
    outcome.is_null_ = record.result_is_null;
    outcome.rows_ = std::move(record.rows);
    if (record.failed) {
        outcome.error_ = error_of(std::move(record.report));
    }
    return outcome;
}

} // namespace

result call_with(function entry, const std::vector<value> &arguments) {
    const std::vector<host::argument> passed = arguments_of(arguments);
    return outcome_of(
        host::standalone::call_function(entry, passed.data(), static_cast<int>(passed.size())));
}

result call_for_rows(function entry, const std::vector<value> &arguments,
                     const std::vector<host::record_column> &columns, std::vector<cells> &rows) {
    const std::vector<host::argument> passed = arguments_of(arguments);
    host::call_record record;
    record.arguments = passed.data();
    record.argument_count = static_cast<int>(passed.size());
    record.columns = columns;
    entry(&record);
    rows = std::move(record.records);
    return outcome_of(std::move(record));
}

void session_test::SetUp() { host::standalone::begin_session(); }

void session_test::TearDown() {
    if (host::standalone::session_begun()) {
        end_session_clean();
    }
}

void session_test::use_database_encoding(std::string_view name) {
    end_session_clean();
    host::standalone::begin_session(name);
}

void session_test::restart_session() {
    end_session_clean();
    host::standalone::begin_session();
}

::testing::AssertionResult reports_as(const result &outcome, const pkg_dbe_xml::report_row &row,
                                      std::initializer_list<std::string_view> arguments,
                                      std::initializer_list<std::string_view> hint_arguments) {
    if (!outcome.failed()) {
        return ::testing::AssertionFailure()
               << "the call did not fail; it was to report \"" << row.message << "\"";
    }
    const sql::error &actual = *outcome.error_;
    std::string differences;
    compare(differences, "number", std::to_string(actual.report_id), std::to_string(row.id));
    compare(differences, "level", std::to_string(actual.level), "20");
    compare(differences, "module", std::to_string(actual.module_id),
            std::to_string(row.with_module ? pkg_dbe_xml::k_module_id : 0));
    if (row.sqlstate != nullptr) {
        compare(differences, "SQLSTATE", actual.sqlstate, row.sqlstate);
    }
    compare(differences, "message", actual.message, filled(row.message, arguments));
    compare(differences, "cause", actual.cause, row.cause);
    compare(differences, "action", actual.action, row.action == nullptr ? "" : row.action);
    compare(differences, "internal action", actual.internal_action ? "yes" : "no",
            row.action == nullptr ? "yes" : "no");
    compare(differences, "hint", actual.hint,
            row.hint == nullptr ? std::string() : filled(row.hint, hint_arguments));
    if (!differences.empty()) {
        return ::testing::AssertionFailure() << differences;
    }
    return ::testing::AssertionSuccess();
}

} // namespace sql
