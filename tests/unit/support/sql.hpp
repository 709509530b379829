// Calling the library's SQL functions from a unit test, on the standalone host.
//
//   class my_area : public sql::session_test {};
//   TEST_F(my_area, reads_the_root) {
//       sql::handle document = sql::call(xml_dom_new_document_clob, "<a/>").handle();
//       sql::result root = sql::call(xml_dom_get_document_element, document);
//       EXPECT_EQ(sql::call(xml_dom_get_tagname, root.handle()).text(), "a");
//       EXPECT_REPORT(sql::call(xml_dom_create_element, sql::null, "a"), reports::null_handle);
//   }
#pragma once

#include "error_reports.hpp"
#include "host/call.hpp"
#include "sql_functions.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace host {
struct record_column;
}

namespace sql {

using function = host::datum (*)(host::call_record *);

struct null_value {};
inline constexpr null_value null{};

// The 13 bytes of a handle. `header` decides in which form it is passed as an argument.
struct handle {
    enum class header_form { long_form, short_form };
    std::array<std::uint8_t, 13> bytes{};
    header_form header = header_form::long_form;
    bool operator==(const handle &other) const { return bytes == other.bytes; }
    [[nodiscard]] std::uint32_t document_id() const;
    [[nodiscard]] std::uint32_t node_id() const;
    [[nodiscard]] std::uint32_t serial() const;
};
// Bytes passed as a RAW or text value as they are, whatever their number.
struct raw {
    std::vector<std::uint8_t> bytes;
    handle::header_form header = handle::header_form::long_form;
};
// A large value kept out of line, read in slices.
struct large_text {
    std::string bytes;
};

// One argument: built from null, handle, raw, large_text, text, int or bool.
class value {
  public:
    value(null_value) : is_null_(true) {}
    value(const handle &);
    value(const raw &);
    value(const large_text &);
    value(std::string_view text);
    value(const char *text) : value(std::string_view(text)) {}
    value(const std::string &text) : value(std::string_view(text)) {}
    value(int number);
    value(bool truth);
    // A value of the host as it is: what standalone_session.hpp makes, or the result of a call.
    [[nodiscard]] static value of_datum(host::datum datum);
    // The argument for the host, allocated in the current context.
    [[nodiscard]] host::argument argument() const;

  private:
    enum class type { word, bytes, large };
    bool is_null_ = false;
    type type_ = type::word;
    host::datum word_ = 0;
    std::string bytes_;
    handle::header_form header_ = handle::header_form::long_form;
};

// The fields of a report as it left the library.
struct error {
    int report_id = 0;
    int level = 0;
    int module_id = 0; // 0: none
    std::string sqlstate, message, cause, action, hint, context;
    bool internal_action = false; // the host's own advice
};

// What a call gave: a value, a null, or an error. Reading a value that is not there fails the test.
class result {
  public:
    [[nodiscard]] bool failed() const { return error_.has_value(); }
    [[nodiscard]] bool is_null() const; // not failed, and null
    [[nodiscard]] const sql::error &error() const;
    [[nodiscard]] sql::handle handle() const;
    [[nodiscard]] std::string text() const;
    [[nodiscard]] int integer() const;
    [[nodiscard]] bool boolean() const;
    // All bytes of the value, header included.
    [[nodiscard]] std::string stored_bytes() const;
    [[nodiscard]] host::datum datum() const { return datum_; }

    // The rows of a set, which are handles.
    [[nodiscard]] std::vector<sql::handle> rows() const;

    host::datum datum_ = 0;
    bool is_null_ = false;
    std::vector<host::datum> rows_;
    std::optional<sql::error> error_;
};

// The arguments as the host passes them, in the current context. Injected faults do not count here.
[[nodiscard]] std::vector<host::argument> arguments_of(const std::vector<value> &values);

// How a handle stands in the messages of failed tests.
void PrintTo(const handle &printed, std::ostream *out);

// Calls a function. Results live in the session's current context until the test ends.
result call_with(function entry, const std::vector<value> &arguments);
template <class... Argument> result call(function entry, const Argument &...arguments) {
    return call_with(entry, std::vector<value>{value(arguments)...});
}

// Calls a function that gives rows of these columns; the texts of each cell of each row.
using cells = std::vector<std::vector<std::string>>;
result call_for_rows(function entry, const std::vector<value> &arguments,
                     const std::vector<host::record_column> &columns, std::vector<cells> &rows);

// Runs an action as the body of a call, and what came of it.
host::call_record run_in_call(std::function<void()> action);
// The same: the SQLSTATE of its report, or "none".
std::string sqlstate_of(std::function<void()> action);

// A session of its own for each test, in a UTF-8 database. TearDown ends the session and fails the
// test if libxml2 memory or host memory of the session is left.
class session_test : public ::testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;
    // Ends the session and begins one in a database of another encoding ("EUC_JP", "LATIN1", ...).
    void use_database_encoding(std::string_view name);
    // Ends the session now, as the host does it, and begins a new one.
    void restart_session();
};

// Compares every field of a report with a row; for EXPECT_REPORT.
::testing::AssertionResult reports_as(const result &outcome, const pkg_dbe_xml::report_row &row,
                                      std::initializer_list<std::string_view> arguments,
                                      std::initializer_list<std::string_view> hint_arguments);

} // namespace sql

// The call failed with exactly that report: number, SQLSTATE, message (with its arguments filled
// in), cause, action, hint and module. Arguments of the message may follow.
#define EXPECT_REPORT(outcome, row, ...)                                                           \
    EXPECT_TRUE(::sql::reports_as((outcome), (row), {__VA_ARGS__}, {}))
#define EXPECT_REPORT_WITH_HINT(outcome, row, ...)                                                 \
    EXPECT_TRUE(::sql::reports_as((outcome), (row), {}, {__VA_ARGS__}))

namespace reports = pkg_dbe_xml::reports;
