// Rows out of trees: what is read for each column, and what happens when reading or converting
// fails. How texts become values is the host's affair: on this one a column may have a function.
#include "host/limits.hpp"
#include "host/records.hpp"
#include "libxml/xml.hpp"
#include "standalone_faults.hpp"
#include "standalone_session.hpp"
#include "support/invariants.hpp"
#include "support/sql.hpp"
#include "trees.hpp"

#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
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

std::string long_text(std::string_view piece, int count) {
    std::string text;
    for (int i = 0; i < count; ++i) {
        text += piece;
    }
    return text;
}

// Rows are read while the text is parsed where their paths allow it: the rows are the same.
TEST_F(package_rows, of_a_text_are_those_of_its_tree) {
    const std::vector<std::string> documents{
        k_text,
        "<r>\n <o id='1'>\n  <n>x</n>\n </o>\n <o id='2'/>text<o id='3'><n/></o>tail</r>",
        "<r>a<![CDATA[b]]><o id='1'><n>c</n></o><![CDATA[d]]>e<o id='2'><n>f</n></o>g</r>",
        "<r><o id='1'><o id='2'><n>in</n></o><n>out</n></o><!--c--><?p i?><o id='3'/></r>",
        "<r><s><o id='1'/></s><o id='2'/><t><o id='3'/></t></r>",
        "<r xmlns='urn:r'><o id='1'/></r>",
        "<r><o xmlns='urn:o' id='1'/><o id='2'/><p:o xmlns:p='urn:p' id='3'/></r>",
        "<!DOCTYPE r [<!ENTITY e '<o id=\"2\"><n>e</n></o>'>]><r><o id='1'/>&e;<o id='3'/></r>",
        "<!DOCTYPE r [<!ATTLIST o id CDATA 'd'>]><r><o/><o id='3'/></r>",
        "<r><o xml:id='a' id='1'/><o xml:id='a' id='2'/></r>",
        "<s><o id='1'/></s>",
        "<o/>",
        "<r><o id='&lt;&#233;'><n>&amp;<b>x</b>&#10;</n></o></r>",
        "<r><o id=''><n><![CDATA[a]]><![CDATA[b]]>c&amp;<![CDATA[]]>d</n><!----><?p?></o></r>",
        "<r><o id='1'>a<!--b-->c<?p i?>d<n/>e<![CDATA[f]]></o>g<o>&#x20AC;&lt;&gt;</o></r>",
        "<r xmlns:p='urn:p'><o id='1' p:id='2' xml:lang='de'><p:n/><n xmlns='u'/><n/></o></r>",
        "<r><o id='1' q:id='2'><q:n>unknown</q:n><n xmlns:p='a'><p:n xmlns:p='b'/></n></o></r>",
        "<r><o><n>" + long_text("text", 20000) + "</n></o><o>" + long_text("&amp;b", 20000) +
            "<n>" + long_text("<![CDATA[x]]>", 5000) + "</n></o><o id='1'/></r>",
        "<r>" + long_text("<o id='1'><n>2</n>", 200) + long_text("</o>", 200) + "</r>",
        "<r>" + long_text("<s><o id='1'><n>2</n></o>t</s>", 200) + "</r>",
    };
    const std::vector<std::vector<std::string>> columns{
        {"@id", "n"},
        {"string(n)", "count(*)"},
        {"n | .//n", "*[last()]"},
        {"../@x", "n"},
        {"preceding-sibling::*", "n"},
        {"id('a')/@id", "n"},
        {"/r/@x", "n[1]"},
        {"sum(.//@id)", "descendant::n"},
        {".", "text()"},
        {"name(*[1])", "namespace-uri(*[1])"},
        {"name(@*[2])", "namespace-uri(@*[2])"},
        {"comment() | processing-instruction()", "count(text())"},
        {"@*", "*"},
        {"lang('de')", "text()[last()]"}};
    int rows_seen = 0;
    for (const std::string &text : documents) {
        const sql::handle document = sql::call(xmldom_parse_text, text).handle();
        for (const std::string path : {"/r/o", "/r/o/n", "/r/s/o", "//o", "/*/o", "/r", "/r/o/@id",
                                       "/r/o[1]", "/r/o | /r/s"}) {
            for (const std::vector<std::string> &paths : columns) {
                const std::vector<host::record_column> listed{column("a", k_array),
                                                              column("b", k_array)};
                const host::call_record of_tree =
                    call(xmldom_rows, listed, {document, path, texts(paths)});
                const host::call_record of_text =
                    call(xmldom_rows_of_text, listed, {text, path, texts(paths)});
                EXPECT_EQ(shown(of_text), shown(of_tree)) << text << " " << path << " " << paths[0];
                rows_seen += static_cast<int>(of_tree.records.size());
            }
        }
        EXPECT_TRUE(sql::check_invariants());
    }
    EXPECT_GT(rows_seen, 300);
}

// A row that was read is taken out of the tree: a text may hold more than a tree is allowed to
// take.
TEST_F(package_rows, of_a_text_take_the_memory_of_one) {
    std::string text = "<r>";
    for (int i = 0; i < 20000; ++i) {
        text += "\n <o id='" + std::to_string(i) + "'><n>x</n><m/></o><![CDATA[ ]]>";
    }
    text += "</r>";
    const auto limits = host::parse_limits;
    host::parse_limits.budget_base = 1024;
    host::parse_limits.budget_factor = 0;
    const auto of_text = [&text](const char *path, const char *column_path) {
        return call(xmldom_rows_of_text, {column("id")}, {text, path, texts({column_path})});
    };
    EXPECT_TRUE(sql::call(xmldom_parse_text, text).failed());
    EXPECT_EQ(of_text("/r/o", "@id").records.size(), 20000U);
    EXPECT_EQ(of_text("/r/o", "count(n | m)").records.size(), 20000U);
    EXPECT_EQ(of_text("/r/o/n", ".").report.sqlstate, "2200M"); // the rows' parents stay
    EXPECT_EQ(of_text("//o", "@id").report.sqlstate, "2200M");
    EXPECT_EQ(of_text("/r/o", "../@id").report.sqlstate, "2200M");
    host::parse_limits = limits;
}

TEST_F(package_rows, of_a_text_fail_in_the_middle_and_leave_nothing) {
    const auto of_text = [](const std::string &text, const char *path) {
        return call(xmldom_rows_of_text, {column("c")}, {text, "/a/b", texts({path})});
    };
    static_cast<void>(of_text("<a><b/></a>", ".")); // what the session keeps for the next parse
    const std::int64_t before = host::gate.bytes_in_use;
    const std::string good = "<a><b>1</b><b><c/></b>";
    const host::call_record many = of_text(good + "<b><c/><c/></b><b>3</b></a>", "c");
    EXPECT_EQ(many.report.sqlstate, "21000");
    EXPECT_EQ(many.report.context, "row 3, path \"c\"");
    EXPECT_EQ(of_text(good + "<b></a>", ".").report.sqlstate, "2200M");
    EXPECT_EQ(of_text(good + "</a><a/>", ".").report.sqlstate, "2200M");
    EXPECT_EQ(of_text(good, ".").report.sqlstate, "2200M");
    EXPECT_EQ(shown(of_text(good + "</a>", ".")), "1\n");
    std::string long_text = "<a>";
    for (int i = 0; i < 30000; ++i) {
        long_text += "<b>x</b>";
    }
    host::standalone::cancel_after_polls(20);
    EXPECT_EQ(of_text(long_text + "</a>", ".").report.sqlstate, "57014");
    host::standalone::forget_cancel();
    EXPECT_EQ(of_text(long_text + "</a>", ".").records.size(), 30000U);
    EXPECT_EQ(shown(of_text("<a><b>1</b></a>", ".")), "1");
    EXPECT_LT(host::gate.bytes_in_use, before + 1000);
    restart_session();
    EXPECT_EQ(host::gate.bytes_in_use, 0);
}

// A request to stop that is withdrawn has ended the parse all the same: it is done again, and what
// was read before does not count, whether it was handed over already or not.
TEST_F(package_rows, of_a_text_that_is_read_again_come_once) {
    std::string text = "<a>";
    for (int i = 0; i < 30000; ++i) {
        text += "<b>" + std::to_string(i) + "</b>";
    }
    const std::string many = text + "<b><c/><c/></b></a>";
    text += "</a>";
    const auto first_three = [](host::record_column read, const std::string &document,
                                const char *path) {
        host::standalone::withdraw_cancels();
        host::standalone::cancel_after_polls(20);
        host::call_record record =
            call(xmldom_rows_of_text, {std::move(read)}, {document, "/a/b", texts({path})});
        host::standalone::forget_cancel();
        if (!record.failed) {
            EXPECT_EQ(record.records.size(), 30000U);
            record.records.resize(3);
        }
        return record;
    };
    host::record_column with_code = column("c");
    with_code.convert = [](const std::string &read) { return read + "!"; };
    EXPECT_EQ(shown(first_three(column("c"), text, ".")), "0\n1\n2");
    EXPECT_EQ(shown(first_three(with_code, text, ".")), "0!\n1!\n2!");
    EXPECT_EQ(first_three(column("c"), many, "c").report.context, "row 30001, path \"c\"");
}

// The parser context that is kept serves documents of all kinds, one after the other.
TEST_F(package_rows, of_texts_do_not_depend_on_those_before) {
    const auto of_text = [](const std::string &text) {
        return shown(call(xmldom_rows_of_text, {column("i", k_array), column("d")},
                          {text, "/a/b", texts({".//@i", "concat(count(.//*), .)"})}));
    };
    const std::string declared =
        "<!DOCTYPE a [<!ATTLIST b i CDATA 'd'><!ENTITY e 'x'>]><a><b>&e;</b></a>";
    std::string deep = "<b i='0'/>";
    std::string names;
    for (int i = 0; i < 600; ++i) {
        deep = "<b>" + deep + "</b>";
        names += "<a_rather_long_name_with_the_number_" + std::to_string(i) + "/>";
    }
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(of_text("<a><b i='1'/></a>"), "1|0");
        EXPECT_EQ(of_text(declared), "-|0x");
        EXPECT_EQ(of_text("<a><b/></a>"), "-|0"); // the declarations went with their document
        EXPECT_EQ(of_text("<a>&e;</a>").substr(0, 5), "2200M");
        EXPECT_EQ(of_text("<a>" + deep + "</a>"), "0|600");
        EXPECT_EQ(of_text("<a><b>" + names + "</b></a>"), "-|600");
        EXPECT_EQ(of_text("<?xml version='1.1' encoding='x'?><a><b/></a>").substr(0, 4), "-|0");
    }
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

// What a row needs is refused at every place: many nodes, a text that grows, a name without a
// namespace.
TEST_F(package_rows, of_a_long_row_fail_cleanly) {
    const std::string text = "<r><o id='1'><n>" + long_text("12345678&amp;", 4000) + "</n>" +
                             long_text("<q:m a='b' q:c='d'>x</q:m>", 300) + "</o></r>";
    int failures = 0;
    for (int at = 1;; at += 1 + at / 20) {
        restart_session();
        const sql::value source{text};
        host::standalone::fail_call(host::standalone::service::libxml2_allocation, at);
        const host::call_record told = call(xmldom_rows_of_text, {column("id"), column("n")},
                                            {source, "/r/o", texts({"@id", "count(*)"})});
        const std::int64_t injected =
            host::standalone::faults_of(host::standalone::service::libxml2_allocation);
        host::standalone::clear_faults();
        if (injected == 0) {
            EXPECT_EQ(shown(told), "1|301");
            break;
        }
        EXPECT_TRUE(told.failed) << at;
        ++failures;
    }
    EXPECT_GT(failures, 20);
}

TEST_F(package_rows, fail_cleanly_whatever_fails) {
    for (const auto service :
         {host::standalone::service::allocation, host::standalone::service::rows,
          host::standalone::service::libxml2_allocation}) {
        for (int at = 1;; ++at) {
            restart_session();
            const sql::handle document = trees::parsed(k_text);
            const auto play = [](sql::function entry, const sql::value &source) {
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

// The server writes the length of a short text there.
TEST_F(package_rows, the_byte_before_a_text_belongs_to_nobody_else) {
    constexpr std::string_view k_texts[] = {"", "a", "", "bc", "def"};
    host::record_batch batch;
    batch.begin_cell();
    for (const std::string_view text : k_texts) {
        batch.add_text(text);
    }
    for (std::size_t number = 0; number < std::size(k_texts); ++number) {
        const_cast<char *>(batch.text(0, number).data())[-1] = '!';
    }
    for (std::size_t number = 0; number < std::size(k_texts); ++number) {
        const std::string_view text = batch.text(0, number);
        EXPECT_EQ(text, k_texts[number]);
        EXPECT_EQ(text.data()[text.size()], '\0') << number;
    }
}

} // namespace
