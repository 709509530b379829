// Rows out of streams: a row for each record, from texts, bytes and large objects.
#include "standalone_faults.hpp"
#include "standalone_session.hpp"
#include "stream_reports.hpp"
#include "support/invariants.hpp"
#include "support/sql.hpp"

#include "host/limits.hpp"
#include "libxml/xml.hpp"

#include <string>
#include <utility>
#include <vector>

namespace {

constexpr const char *k_text =
    "<f xmlns:p='u'><r i='1'><n>Ann</n></r><g/><r i='2'><n>B&amp;C</n></r>"
    "<r><p:x/></r></f>";

class stream_rows : public sql::session_test {
  protected:
    static sql::value texts(const std::vector<const char *> &members) {
        return sql::value::of_datum(host::standalone::make_text_array(members, 1));
    }
    static host::call_record call(sql::function entry, const sql::value &source,
                                  const std::string &path, const std::vector<const char *> &columns,
                                  int skip = 0, int notice_every = 0) {
        const std::vector<host::argument> passed = sql::arguments_of(
            {source, path, texts(columns), sql::null, sql::null, skip,
             notice_every == 0 ? sql::value(sql::null) : sql::value(notice_every)});
        host::call_record record;
        record.arguments = passed.data();
        record.argument_count = static_cast<int>(passed.size());
        for (const char *name : columns) {
            record.columns.push_back({name, {}, nullptr});
        }
        entry(&record);
        return record;
    }
    static std::string shown(const host::call_record &record) {
        if (record.failed) {
            return record.report.sqlstate + " " + record.report.message;
        }
        std::string lines;
        for (const auto &row : record.records) {
            for (const host::record_cell &cell : row) {
                lines += (cell.empty() ? "-" : cell[0]) + ",";
            }
            lines += ";";
        }
        return lines;
    }
    static sql::value object(std::string_view bytes) {
        return {static_cast<int>(host::standalone::make_numbered_object(bytes))};
    }
    void TearDown() override {
        EXPECT_TRUE(sql::check_invariants());
        sql::session_test::TearDown();
    }
};

constexpr const char *k_expected = "1,Ann,0,;2,B&C,0,;-,-,1,;";
const std::vector<const char *> k_columns{"@i", "n", "count(*[not(self::n)])"};

TEST_F(stream_rows, are_the_records) {
    EXPECT_EQ(shown(call(xmlparser_rows_of_text, k_text, "/f/r", k_columns)), k_expected);
    EXPECT_EQ(shown(call(xmlparser_rows_of_bytes, k_text, "//r", k_columns)), k_expected);
    EXPECT_EQ(shown(call(xmlparser_rows_of_object, object(k_text), "//r", k_columns)), k_expected);
    EXPECT_EQ(shown(call(xmlparser_rows_of_text, k_text, "/f", {"count(r)"})), "3,;");
    EXPECT_EQ(shown(call(xmlparser_rows_of_text, k_text, "/f/none", {"."})), "");
    EXPECT_EQ(shown(call(xmlparser_rows_of_text, sql::null, "/f/r", {"."})), "");
    EXPECT_EQ(host::standalone::open_objects(), 0U);
}

TEST_F(stream_rows, come_from_bytes_as_they_are_declared) {
    constexpr const char *k_latin = "<?xml version='1.0' encoding='ISO-8859-1'?><f><r>\xE4</r></f>";
    EXPECT_EQ(shown(call(xmlparser_rows_of_bytes, k_latin, "//r", {"."})), "\xC3\xA4,;");
    EXPECT_EQ(shown(call(xmlparser_rows_of_object, object(k_latin), "//r", {"."})), "\xC3\xA4,;");
}

TEST_F(stream_rows, may_begin_later) {
    EXPECT_EQ(shown(call(xmlparser_rows_of_text, k_text, "//r", {"@i"}, 1)), "2,;-,;");
    EXPECT_EQ(shown(call(xmlparser_rows_of_text, k_text, "//r", {"@i"}, 5)), "");
}

TEST_F(stream_rows, tell_how_far_they_are) {
    EXPECT_EQ(shown(call(xmlparser_rows_of_text, k_text, "//r", {"@i"}, 0, 2)), "1,;2,;-,;");
    ASSERT_EQ(host::standalone::warnings().size(), 1U);
    EXPECT_EQ(host::standalone::warnings()[0].sqlstate, "00000");
    EXPECT_EQ(host::standalone::warnings()[0].message,
              "xmlparser.rows: 2 records in " + std::to_string(std::string(k_text).size()) +
                  " bytes");
}

TEST_F(stream_rows, fail_where_the_text_does) {
    EXPECT_EQ(shown(call(xmlparser_rows_of_text, "<f><r/>", "//r", {"."})),
              "2200M the document is cut short");
    EXPECT_EQ(shown(call(xmlparser_rows_of_text, "", "//r", {"."})),
              "2200M the document is cut short");
    EXPECT_EQ(shown(call(xmlparser_rows_of_text, "<f><r/></g>", "//r", {"."})),
              "2200M the text of the stream is no XML document");
    EXPECT_EQ(shown(call(xmlparser_rows_of_text, "<f/>", "//r[1]", {"."})).substr(0, 5), "XP001");
    EXPECT_EQ(
        shown(call(xmlparser_rows_of_text, "<f><r><a/><a/></r></f>", "//r", {"a"})).substr(0, 5),
        "21000");
    host::standalone::fail_call(host::standalone::service::large_object, 2);
    EXPECT_TRUE(call(xmlparser_rows_of_object, object(k_text), "//r", {"."}).failed);
    host::standalone::clear_faults();
    EXPECT_EQ(host::standalone::open_objects(), 0U);
}

// A long source takes the memory of a record.
TEST_F(stream_rows, take_no_memory_for_what_was_read) {
    std::string text = "<f>";
    for (int number = 0; number < 100'000; ++number) {
        text += "<r><a>" + std::to_string(number) + "</a><b/><c>text</c></r>";
    }
    const sql::value source = object(text + "</f>");
    host::max_session_memory = 2048;
    const host::call_record record = call(xmlparser_rows_of_object, source, "/f/r", {"a"}, 99'990);
    host::max_session_memory = 4 * 1024 * 1024;
    host::prepare_gate();
    ASSERT_FALSE(record.failed) << record.report.message << record.report.context;
    EXPECT_EQ(record.records.size(), 10U);
    EXPECT_EQ(record.records.back()[0][0], "99999");
}

TEST_F(stream_rows, failures_of_every_service_leave_nothing) {
    const std::vector<const char *> columns{"@i", "n"};
    for (const host::standalone::service which :
         {host::standalone::service::allocation, host::standalone::service::libxml2_allocation,
          host::standalone::service::rows, host::standalone::service::poll,
          host::standalone::service::large_object}) {
        const sql::value source = object(k_text);
        for (std::int64_t at = 1;; ++at) {
            host::standalone::fail_call(which, at);
            const host::call_record record = call(xmlparser_rows_of_object, source, "//r", columns);
            const bool met = host::standalone::faults_of(which) != 0;
            host::standalone::clear_faults();
            host::standalone::forget_cancel();
            ASSERT_TRUE(record.failed || shown(record) == "1,Ann,;2,B&C,;-,-,;") << shown(record);
            ASSERT_EQ(host::standalone::open_objects(), 0U);
            host::standalone::reset_caller_context();
            if (!met) {
                ASSERT_GT(at, 1);
                break;
            }
        }
    }
}

} // namespace
