// What a parser object complains of, as rows.
#include "standalone_session.hpp"
#include "support/invariants.hpp"
#include "support/sql.hpp"

#include "host/limits.hpp"
#include "libxml/complaint_log.hpp"
#include "libxml/xml.hpp"

#include <algorithm>
#include <string>
#include <vector>

namespace {

class parser_complaints : public sql::session_test {
  protected:
    static std::string shown(const sql::value &parser) {
        const std::vector<host::argument> passed = sql::arguments_of({parser});
        host::call_record record;
        record.arguments = passed.data();
        record.argument_count = 1;
        for (const char *name : {"line", "level", "message"}) {
            record.columns.push_back({name, {}, nullptr});
        }
        xmlparser_get_complaints(&record);
        if (record.failed) {
            return record.report.sqlstate;
        }
        std::string lines;
        for (const auto &row : record.records) {
            for (const host::record_cell &cell : row) {
                lines += (cell.empty() ? "-" : cell[0]) + "|";
            }
            lines += "\n";
        }
        return lines;
    }
    static std::size_t rows_of(const std::string &lines) {
        return static_cast<std::size_t>(std::count(lines.begin(), lines.end(), '\n'));
    }
    static sql::value parser_of(const std::string &text) {
        const sql::value parser = sql::value(sql::call(xmlparser_new_parser).handle());
        static_cast<void>(sql::call(xmlparser_parse_clob, parser, text));
        return parser;
    }
    void TearDown() override {
        EXPECT_TRUE(sql::check_invariants());
        sql::session_test::TearDown();
    }
};

constexpr const char *k_type = "<!DOCTYPE a [<!ELEMENT a (b)*><!ELEMENT b EMPTY>"
                               "<!ATTLIST b i ID #REQUIRED>]>\n";

TEST_F(parser_complaints, are_none_of_a_valid_document) {
    EXPECT_EQ(shown(parser_of(std::string(k_type) + "<a><b i='x'/></a>")), "");
    EXPECT_EQ(shown(sql::value(sql::call(xmlparser_new_parser).handle())), "");
    EXPECT_EQ(shown(sql::null), "");
}

TEST_F(parser_complaints, are_all_of_an_invalid_one) {
    const std::string lines =
        shown(parser_of(std::string(k_type) + "<a>\n<b i='x'/>\n<b/><c/></a>"));
    EXPECT_GE(rows_of(lines), 3U) << lines;
    EXPECT_NE(lines.find("4|error|"), std::string::npos) << lines;
    EXPECT_NE(lines.find("Element b does not carry attribute i|"), std::string::npos) << lines;
    EXPECT_EQ(lines.find("fatal"), std::string::npos) << lines;
}

TEST_F(parser_complaints, of_a_document_without_a_type_are_none) {
    EXPECT_EQ(shown(parser_of("<a/>")), "");
}

TEST_F(parser_complaints, tell_why_there_is_no_document) {
    const std::string lines = shown(parser_of("<a>\n<b></a>"));
    EXPECT_EQ(lines.substr(0, 8), "2|fatal|") << lines;
    EXPECT_NE(lines.find("mismatch"), std::string::npos) << lines;
}

TEST_F(parser_complaints, name_the_limit_that_ended_the_parse) {
    std::string deep;
    for (int level = 0; level <= host::parse_limits.max_depth; ++level) {
        deep += "<a>";
    }
    const std::string lines = shown(parser_of(deep));
    EXPECT_NE(lines.find("|fatal|"), std::string::npos) << lines;
    EXPECT_NE(lines.find("pkg_dbe_xml.max_depth"), std::string::npos) << lines;
}

TEST_F(parser_complaints, are_of_the_last_parse) {
    const sql::value parser = parser_of("<a>");
    EXPECT_NE(shown(parser), "");
    static_cast<void>(sql::call(xmlparser_parse_clob, parser, "<a/>"));
    EXPECT_EQ(shown(parser), "");
}

TEST_F(parser_complaints, are_bounded_and_say_how_many_more_there_were) {
    std::string text = k_type;
    text += "<a>";
    for (int number = 0; number < 1500; ++number) {
        text += "<b/>";
    }
    const std::string lines = shown(parser_of(text + "</a>"));
    EXPECT_EQ(rows_of(lines), host::complaint_log::k_most + 1);
    EXPECT_NE(lines.find("-|warning|500 more complaints were not kept|"), std::string::npos);
}

TEST_F(parser_complaints, are_bounded_in_bytes) {
    host::complaint_log log;
    const host::xml_scope scope;
    const std::string message(5000, 'x');
    for (int number = 0; number < 900; ++number) {
        log.add(host::complaint_level::error, true, number, message);
    }
    EXPECT_LT(log.count(), 300U);
    EXPECT_EQ(log.count() + log.left_out(), 900U);
    std::size_t place = 0;
    EXPECT_EQ(log.read(place).message.size(), 1000U);
    log.forget_validity();
    EXPECT_EQ(log.count(), 0U);
}

TEST_F(parser_complaints, end_with_the_parser) {
    static_cast<void>(sql::call(xmlparser_free_parser, parser_of("<a>")));
    const std::int64_t before = host::gate.bytes_in_use;
    const sql::value parser = parser_of("<a>");
    EXPECT_GT(host::gate.bytes_in_use, before);
    static_cast<void>(sql::call(xmlparser_free_parser, parser));
    EXPECT_EQ(host::gate.bytes_in_use, before);
    EXPECT_EQ(shown(parser).size(), 5U); // an SQLSTATE
}

} // namespace
