// Rows out of trees: what is read for each column, and what happens when reading or converting
// fails. How texts become values is the host's affair: on this one a column may have a function.
#include "standalone_faults.hpp"
#include "standalone_session.hpp"
#include "support/invariants.hpp"
#include "support/sql.hpp"
#include "trees.hpp"

#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr host::column_form k_array{true, false, false};
constexpr host::column_form k_markup{false, true, false};
constexpr host::column_form k_number{false, false, true};

constexpr const char *k_text =
    "<r xmlns:p='urn:p'><o id='1'><n>Ann</n><i>2</i><i>3</i></o><o id='2'><n>B<![CDATA[&]]>C</n>"
    "<i/></o><o/><p:o id='9'/></r>";

class package_rows : public sql::session_test {
  protected:
    static host::record_column column(const std::string &name, host::column_form form = {}) {
        return {name, form, nullptr};
    }
    static sql::value texts(const std::vector<std::string> &members, std::size_t columns = 1) {
        std::vector<const char *> texts;
        for (const std::string &member : members) {
            texts.push_back(member.c_str());
        }
        return sql::value::of_datum(host::standalone::make_text_array(texts, columns));
    }
    // Calls a function that gives rows of these columns.
    static host::call_record call(sql::function entry, std::vector<host::record_column> columns,
                                  const std::vector<sql::value> &arguments) {
        const std::vector<host::argument> passed = sql::arguments_of(arguments);
        host::call_record record;
        record.arguments = passed.data();
        record.argument_count = static_cast<int>(passed.size());
        record.columns = std::move(columns);
        entry(&record);
        return record;
    }
    static host::call_record rows(const sql::handle &node, const std::string &row_path,
                                  std::vector<host::record_column> columns,
                                  const std::vector<std::string> &paths) {
        return call(xmldom_rows, std::move(columns), {node, row_path, texts(paths)});
    }
    // Rows as lines, a null as "-", the members of an array with a slash between them.
    static std::string shown(const host::call_record &record) {
        if (record.failed) {
            return record.report.sqlstate + " " + record.report.message;
        }
        std::string lines;
        for (const std::vector<host::record_cell> &row : record.records) {
            lines += lines.empty() ? "" : "\n";
            for (std::size_t i = 0; i < row.size(); ++i) {
                lines += i == 0 ? "" : "|";
                lines += row[i].empty() ? "-" : row[i][0];
                for (std::size_t member = 1; member < row[i].size(); ++member) {
                    lines += "/" + row[i][member];
                }
            }
        }
        return lines;
    }
    void TearDown() override {
        EXPECT_TRUE(sql::check_invariants());
        sql::session_test::TearDown();
    }
};

TEST_F(package_rows, have_a_column_for_each_path) {
    const sql::handle document = trees::parsed(k_text);
    EXPECT_EQ(shown(rows(document, "/r/o", {column("id"), column("n"), column("i")},
                         {"@id", "n", "sum(i)"})),
              "1|Ann|5\n2|B&C|NaN\n-|-|0");
    EXPECT_EQ(shown(rows(document, "//o", {column("i", k_array), column("n")}, {"i", "count(i)"})),
              "2/3|2\n|1\n-|0");
    EXPECT_EQ(shown(rows(document, "//@id", {column("id"), column("of")}, {".", "name(..)"})),
              "1|o\n2|o\n9|p:o");
    EXPECT_EQ(shown(rows(document, "//none", {column("a")}, {"."})), "");
    EXPECT_EQ(shown(rows(trees::root(document), "o[1]", {column("a")}, {"boolean(n)"})), "true");
    EXPECT_EQ(shown(call(xmldom_rows, {column("a")}, {sql::null, "/r", texts({"."})})), "");
    EXPECT_EQ(shown(call(xmldom_rows, {column("id")},
                         {document, "/r/q:o", texts({"@id"}), texts({"q", "urn:p"}, 2)})),
              "9");
}

TEST_F(package_rows, refuse_what_makes_no_rows) {
    const sql::handle document = trees::parsed(k_text);
    const host::call_record many = rows(document, "/r/o", {column("one")}, {"i"});
    EXPECT_EQ(many.report.sqlstate, "21000");
    EXPECT_EQ(many.report.message, "the path of the column \"one\" gives 2 nodes for one row");
    EXPECT_EQ(many.report.context, "row 1, path \"i\"");
    const host::call_record counts = rows(document, "/r/o", {column("a"), column("b")}, {"@id"});
    EXPECT_EQ(shown(counts), "42804 the number of paths, 1, is not that of the columns, 2");
    EXPECT_EQ(counts.report.context, "argument 3 (columns) of xmldom.rows");
    EXPECT_EQ(shown(rows(document, "/r/o", {}, {"@id"})),
              "42601 rows need a list of columns with their types");
    EXPECT_EQ(call(xmldom_rows, {column("a")}, {document, sql::null, texts({"."})}).report.sqlstate,
              "22004");
    EXPECT_EQ(call(xmldom_rows, {column("a")}, {document, "/r", sql::null}).report.sqlstate,
              "22004");
    EXPECT_EQ(call(xmldom_rows, {column("a")}, {"x", "/r", texts({"."})}).report.sqlstate, "2200U");
    EXPECT_EQ(rows(document, "count(/r)", {column("a")}, {"."}).report.sqlstate, "XP003");
    EXPECT_EQ(rows(document, "/r[", {column("a")}, {"."}).report.sqlstate, "XP001");
    EXPECT_EQ(rows(document, "/r", {column("a")}, {"q:x"}).report.sqlstate, "XP002");
    EXPECT_EQ(call(xmldom_rows, {column("a")}, {document, "/r", texts({"."}), sql::null, "maybe"})
                  .report.sqlstate,
              "22023");
    EXPECT_TRUE(call(xmldom_rows, {column("a")}, {document, "/r", texts({"."}), sql::null, "null"})
                    .null_on_error);
}

TEST_F(package_rows, have_paths_by_the_names_of_their_columns) {
    const sql::handle document = trees::parsed(k_text);
    const auto paired = [&document](const std::vector<std::string> &pairs) {
        return call(xmldom_rows, {column("id"), column("n")},
                    {document, "/r/o[1]", texts(pairs, 2)});
    };
    EXPECT_EQ(shown(paired({"n", "n", "id", "@id"})), "1|Ann");
    EXPECT_EQ(shown(paired({"n", "n", "x", "@id"})),
              "42703 a path is given for the column \"x\", which AS does not list");
    EXPECT_EQ(shown(paired({"n", "n", "n", "@id"})),
              "42701 two paths are given for the column \"n\"");
    EXPECT_EQ(paired({"n", "n"}).report.sqlstate, "42804");
    EXPECT_EQ(call(xmldom_rows, {column("n")}, {document, "/r/o", texts({"n", "n", "n"}, 3)})
                  .report.sqlstate,
              "22023");
}

TEST_F(package_rows, have_markup_and_numbers_where_the_column_wants_them) {
    const sql::handle document = trees::parsed(k_text);
    EXPECT_EQ(
        shown(rows(document, "/r/o", {column("i", k_markup), column("n", {true, true, false})},
                   {"i", "n/node()"})),
        "<i xmlns:p=\"urn:p\">2</i><i xmlns:p=\"urn:p\">3</i>|Ann\n"
        "<i xmlns:p=\"urn:p\"/>|B/<![CDATA[&]]>/C\n-|-");
    EXPECT_EQ(shown(call(xmldom_rows_of_text, {column("a", k_markup), column("t", k_markup)},
                         {"<r a='&lt;&amp;'/>", "/r", texts({"@a", "concat(@a, '>')"})})),
              "&lt;&amp;|&lt;&amp;&gt;");
    EXPECT_EQ(shown(rows(document, "/r/o[1]", {column("a", k_number), column("b", k_number)},
                         {"@id = 1", "@id = 2"})),
              "1|0");
    EXPECT_EQ(shown(rows(document, "/r/o[1]", {column("a")}, {"@id = 1"})), "true");
}

TEST_F(package_rows, of_a_text_leave_nothing) {
    const auto of_text = [](const std::string &text) {
        return call(xmldom_rows_of_text, {column("c"), column("t")},
                    {text, "/a/b", texts({"@c", "."})});
    };
    EXPECT_EQ(shown(of_text("<a><b c='1'> x </b><b c='2'/></a>")), "1| x \n2|");
    EXPECT_EQ(of_text("<a><b></a>").report.sqlstate, "2200M");
    EXPECT_EQ(shown(of_text("<a/>")), "");
    EXPECT_EQ(sql::call(xml_dom_get_session_tree_num).integer(), 0);
}

// Whatever a conversion does to the tree, the rows were read before.
TEST_F(package_rows, are_read_before_anything_is_converted) {
    const sql::handle document = trees::parsed(k_text);
    host::record_column meddles = column("n");
    meddles.convert = [&document](const std::string &text) {
        sql::call(xml_dom_free_document, document);
        static_cast<void>(trees::parsed("<other/>"));
        return text + "!";
    };
    EXPECT_EQ(shown(rows(document, "/r/o", {meddles, column("id")}, {"n", "@id"})),
              "Ann!|1\nB&C!|2\n-|-");
    EXPECT_EQ(trees::entry_of(document), nullptr);
    host::record_column fails = column("n");
    fails.convert = [](const std::string &text) -> std::string { throw std::runtime_error(text); };
    const sql::handle again = trees::parsed(k_text);
    EXPECT_TRUE(rows(again, "/r/o", {fails}, {"n"}).failed);
}

TEST_F(package_rows, of_many_nodes_are_complete_and_can_be_cancelled) {
    std::string text = "<r>";
    for (int i = 0; i < 5000; ++i) {
        text += "<x n='" + std::to_string(i) + "'>t</x>";
    }
    const sql::handle document = trees::parsed(text + "</r>");
    const host::call_record all =
        rows(document, "/r/x", {column("n"), column("t"), column("c")}, {"@n", ".", "string(@n)"});
    ASSERT_EQ(all.records.size(), 5000U);
    for (int i = 0; i < 5000; ++i) {
        ASSERT_EQ(all.records[static_cast<std::size_t>(i)][0][0], std::to_string(i));
    }
    host::standalone::cancel_after_polls(5);
    EXPECT_EQ(rows(document, "/r/x", {column("n")}, {"@n"}).report.sqlstate, "57014");
    host::standalone::forget_cancel();
}

TEST_F(package_rows, fail_cleanly_whatever_fails) {
    for (const auto service :
         {host::standalone::service::allocation, host::standalone::service::rows,
          host::standalone::service::libxml2_allocation}) {
        for (int at = 1;; ++at) {
            restart_session();
            const sql::handle document = trees::parsed(k_text);
            const auto play = [&document](sql::function entry, const sql::value &source) {
                return call(entry, {column("id"), column("n"), column("i", k_array)},
                            {source, "/r/o", texts({"@id", "n", "i"})});
            };
            const std::vector<sql::value> sources{document, k_text};
            host::standalone::fail_call(service, at);
            const host::call_record first = play(xmldom_rows, sources[0]);
            const host::call_record second = play(xmldom_rows_of_text, sources[1]);
            const std::int64_t injected = host::standalone::faults_of(service);
            host::standalone::clear_faults();
            EXPECT_TRUE(sql::check_invariants());
            if (injected == 0) {
                EXPECT_EQ(shown(first), "1|Ann|2/3\n2|B&C|\n-|-|-");
                EXPECT_EQ(shown(second), shown(first));
                break;
            }
            EXPECT_TRUE(first.failed || second.failed);
        }
    }
}

} // namespace
