// Paths: work and memory have ceilings, everything can be cancelled and may fail, and the cache of
// compiled paths is bounded.
#include "asking.hpp"

#include "host/limits.hpp"
#include "standalone_faults.hpp"
#include "support/faults.hpp"
#include "support/large_sizes.hpp"

#include <string>

namespace {

using asking::ask;

class path_limits : public sql::session_test {
  protected:
    void TearDown() override {
        host::path_limits = {};
        sql::session_test::TearDown();
    }
    // <r> with that many <a n='1'>1</a>.
    static sql::handle wide(int members) {
        std::string text = "<r>";
        for (int member = 0; member < members; ++member) {
            text += "<a n='" + std::to_string(member) + "'>" + std::to_string(member) + "</a>";
        }
        return trees::parsed(text + "</r>");
    }
    // A chain of that many <e> below <r>.
    static sql::handle deep(int levels) {
        const sql::handle document = trees::parsed("<r/>");
        const host::tree_scope scope;
        xmlNodePtr node = xmlDocGetRootElement(trees::document_of(document));
        for (int level = 0; level < levels; ++level) {
            node = xmlAddChild(node, xmlNewDocNode(trees::document_of(document), nullptr,
                                                   trees::xml("e"), nullptr));
        }
        return document;
    }
    // Units that a path takes.
    static std::size_t work_of(const sql::handle &document, std::string_view path) {
        std::size_t work = 0;
        EXPECT_EQ(sql::sqlstate_of([&] {
                      const auto compiled = pkg_dbe_xml::compile_path(path, {});
                      pkg_dbe_xml::path_evaluation run(compiled.code(), trees::node_of(document),
                                                       {});
                      static_cast<void>(run.truth());
                      static_cast<void>(run.text());
                      work = run.work();
                  }),
                  "none")
            << path;
        return work;
    }
};

TEST_F(path_limits, work_has_a_ceiling) {
    const sql::handle document = wide(2000);
    host::path_limits.max_work = 1000000;
    EXPECT_EQ(ask(document, "count(//a[count(//a[. > 5]) > 1])"), "2000"); // found once
    EXPECT_EQ(ask(document, "count(//a[count(../a[. > 5]) > 1])"),
              "54000 the path takes more work than the setting pkg_dbe_xml.max_path_work allows");
    EXPECT_EQ(ask(document, "count(//*[count(following::*[preceding::*]) > 1])").substr(0, 5),
              "54000");
    host::path_limits.max_work = 1000;
    EXPECT_EQ(ask(document, "count(//*)").substr(0, 5), "54000");
    EXPECT_EQ(ask(document, "count(/*)"), "1");
}

TEST_F(path_limits, memory_has_a_ceiling) {
    const sql::handle document = wide(3000);
    host::path_limits.max_memory = 256;
    EXPECT_EQ(ask(document, "count(//a)"), "3000");
    EXPECT_EQ(ask(document, "string-length(string(/))"), "10890");
    std::string doubled = "'0123456789'";
    for (int round = 0; round < 15; ++round) {
        doubled = "concat(" + doubled + ", " + doubled + ")";
        if (doubled.size() > pkg_dbe_xml::k_longest_path / 2) {
            break;
        }
    }
    EXPECT_EQ(ask(document, "string-length(" + doubled + ")"),
              "54000 the path takes more memory than the setting pkg_dbe_xml.max_path_memory "
              "allows");
    host::path_limits.max_memory = 2048;
    EXPECT_EQ(ask(document, "count(//node() | //@*)"), "9001");
    host::path_limits.max_memory = 64;
    EXPECT_EQ(ask(document, "count((//node() | //@*)/..)").substr(0, 5), "54000");
}

// A long text grows without its shorter forms beside it.
TEST_F(path_limits, memory_is_little_more_than_what_is_made) {
    const sql::handle text = trees::parsed("<r><a>" + std::string(1500000, 'x') + "</a><b>" +
                                           std::string(1500000, 'y') + "</b></r>");
    host::path_limits.max_memory = 4000; // kilobytes
    EXPECT_EQ(ask(text, "string-length(string(/))"), "3000000");
    host::path_limits.max_memory = 2800;
    EXPECT_EQ(ask(text, "string-length(string(/))").substr(0, 5), "54000");
}

// Putting a set in order takes work, and none is needed where all of it comes from one node.
TEST_F(path_limits, siblings_of_one_node_are_not_put_in_order) {
    const sql::handle document = wide(20000);
    EXPECT_LT(work_of(document, "/r/a[1]/following-sibling::a"), 2 * 20000U + 200U);
}

// What is quadratic or worse for those who look at each node by itself.
TEST_F(path_limits, sets_are_not_walked_again_and_again) {
    const sql::handle small = wide(1000);
    const sql::handle large = wide(8000);
    for (const char *path :
         {"count(//a/following-sibling::a)", "count(//a/preceding-sibling::a)",
          "count(//a/preceding::a)", "count(//a/following::a)", "count(/r/a/@n/..)",
          "count(//a/ancestor::*)", "count(//a | //a/@n | //a)", "count(//a[. = //a])",
          "count(//a[@n = /r/a/@n])", "count(//a/following-sibling::a[1])",
          "count(//a[position() > 5]/..)", "count((//a | //a)[last()])",
          "count(//a[@n = $none])"}) {
        if (std::string_view(path).find('$') != std::string_view::npos) {
            continue;
        }
        // Eight times the members: a little more than eight times the work.
        EXPECT_LT(work_of(large, path), 14 * work_of(small, path)) << path;
    }
}

TEST_F(path_limits, searches_end_where_they_can) {
    const sql::handle document = wide(20000);
    const auto first = [&](std::string_view path) {
        std::size_t work = 0;
        static_cast<void>(sql::run_in_call([&] {
            const auto compiled = pkg_dbe_xml::compile_path(path, {});
            pkg_dbe_xml::path_evaluation run(compiled.code(), trees::node_of(document), {});
            EXPECT_NE(run.first(), nullptr) << path;
            work = run.work();
        }));
        return work;
    };
    for (const char *path :
         {"//a", "/r/a", "//a[1]", "/r/a[last()]", "//a[@n = '7']", "//a/@n", "(//a)[1]",
          "//a/text()", "//a[following-sibling::a]", "/r/a[3]", "//a | //r"}) {
        EXPECT_LT(first(path), 200U) << path;
    }
    EXPECT_LT(work_of(document, "boolean(//a[. = 10])"), 500U);
    EXPECT_LT(work_of(document, "//a = '10'"), 500U);
}

TEST_F(path_limits, deep_trees_are_walked_without_recursion) {
    const sql::handle document = deep(trees::k_large);
    const std::string all = std::to_string(trees::k_large);
    EXPECT_EQ(ask(document, "count(//e)"), all);
    EXPECT_EQ(ask(document, "count(//e[not(*)]/ancestor::*)"), all);
    EXPECT_EQ(ask(document, "string-length(/)"), "0");
    EXPECT_EQ(ask(document, "count(//e//e)"), std::to_string(trees::k_large - 1));
    EXPECT_EQ(ask(document, "count(//e/..)"), all);
    EXPECT_EQ(ask(document, "count(//e/ancestor-or-self::e)"), all);
    EXPECT_EQ(ask(document, "count(//e/e/descendant::e)"), std::to_string(trees::k_large - 2));
    EXPECT_EQ(ask(document, "count((//e[not(*)] | /r/e)[1])"), "1");
}

TEST_F(path_limits, everything_can_be_cancelled) {
    const sql::handle document = wide(20000);
    std::string texts = "concat(/, /)";
    for (int round = 0; round < 5; ++round) {
        texts = "concat(" + texts + ", " + texts + ")";
    }
    const std::string paths[] = {"//a[. = 'none']",
                                 "count(//a[following-sibling::a[last()] = 1])",
                                 "(//a | //a/@n)[last()]",
                                 "translate(" + texts + ", '0123456789', 'abcdefghij')",
                                 "contains(" + texts + ", 'none')",
                                 "string-length(" + texts + ")",
                                 "normalize-space(" + texts + ")",
                                 "substring(" + texts + ", 1000000)",
                                 "//a/preceding-sibling::a",
                                 "//a[. = //a]"};
    for (const std::string &path : paths) {
        host::standalone::cancel_after_polls(3);
        EXPECT_EQ(ask(document, path).substr(0, 5), "57014") << path;
        host::standalone::forget_cancel();
    }
}

TEST_F(path_limits, every_allocation_may_fail) {
    struct {
        const char *document;
        const char *path;
    } const asked[] = {
        {"<r><a n='1'>x<b/>y</a><a n='2'/></r>", "//a/following-sibling::a | //@n | //b/.."},
        {"<r><a n='1'>x<b/>y</a><a n='2'/></r>", "string(/r/a[. = //a and @n = /r/a/@n])"},
        {"<r xmlns:p='urn:p'><a xml:id='k'/></r>", "count(id('k')/namespace::* | //*)"},
        {"<r><a/><a/></r>", "translate(concat(name(/*), 'abc'), 'abc', 'x')"}};
    for (const auto &one : asked) {
        sql::handle document;
        sql::scenario played;
        played.name = one.path;
        played.prepare = [&] { document = trees::parsed(one.document); };
        played.run = [&] {
            sql::result outcome;
            const host::call_record record = sql::run_in_call([&] {
                std::string filler(5000, 'x'); // the memory on the stack does not do
                const std::string path = one.path;
                const auto compiled = pkg_dbe_xml::compile_path(path, {});
                pkg_dbe_xml::path_evaluation run(compiled.code(), trees::node_of(document), {});
                static_cast<void>(run.text());
            });
            if (record.failed) {
                outcome.error_ = sql::error{};
                outcome.error_->sqlstate = record.report.sqlstate;
                outcome.error_->message = record.report.message;
            }
            return outcome;
        };
        played.state = [&] { return sql::call(xml_dom_write_to_clob_doc, document).text(); };
        const sql::sweep_figures figures = sql::sweep_allocation_failures(played);
        EXPECT_GT(figures.reported, 2) << one.path;
    }
}

TEST_F(path_limits, compiled_paths_are_kept_and_bounded) {
    const sql::handle document = wide(3);
    EXPECT_EQ(pkg_dbe_xml::cached_paths().paths, 0U);
    EXPECT_EQ(ask(document, "//a"), "a a a");
    EXPECT_EQ(ask(document, "//a"), "a a a");
    EXPECT_EQ(pkg_dbe_xml::cached_paths().paths, 1U);
    const asking::path_binding one[] = {{"p", "urn:1"}};
    const asking::path_binding two[] = {{"p", "urn:2"}};
    EXPECT_EQ(ask(document, "//p:a", {one, {}}), "");
    EXPECT_EQ(ask(document, "//p:a", {two, {}}), "");
    EXPECT_EQ(pkg_dbe_xml::cached_paths().paths, 3U);
    const asking::path_binding low[] = {{"v", "1"}};
    const asking::path_binding high[] = {{"v", "2"}};
    EXPECT_EQ(ask(document, "string(//a[@n = $v])", {{}, low}), "\"1\"");
    EXPECT_EQ(ask(document, "string(//a[@n = $v])", {{}, high}), "\"2\"");
    EXPECT_EQ(pkg_dbe_xml::cached_paths().paths, 4U); // values are no part of a path
    for (int number = 0; number < 300; ++number) {
        EXPECT_EQ(ask(document, "count(//a) + " + std::to_string(number)),
                  std::to_string(number + 3));
    }
    EXPECT_EQ(pkg_dbe_xml::cached_paths().paths, pkg_dbe_xml::k_most_cached_paths);
    for (int number = 0; number < 100; ++number) {
        const std::string literal(100000, static_cast<char>('a' + number % 26));
        EXPECT_EQ(ask(document, "string-length('" + literal + std::to_string(number) + "')"),
                  number < 10 ? "100001" : "100002");
    }
    EXPECT_LE(pkg_dbe_xml::cached_paths().bytes, pkg_dbe_xml::k_most_cached_bytes);
    EXPECT_EQ(ask(document, "count(" + std::string(600000, ' ') + "/r)"), "1"); // not kept
    restart_session();
    EXPECT_EQ(pkg_dbe_xml::cached_paths().paths, 0U);
}

TEST_F(path_limits, a_path_on_loan_stays) {
    const sql::handle document = wide(3);
    EXPECT_EQ(sql::sqlstate_of([&] {
                  const auto held = pkg_dbe_xml::compile_path("count(//a)", {});
                  for (int number = 0; number < 200; ++number) {
                      const std::string other = "//b[" + std::to_string(number) + "]";
                      static_cast<void>(pkg_dbe_xml::compile_path(other, {}));
                  }
                  pkg_dbe_xml::path_evaluation run(held.code(), trees::node_of(document), {});
                  EXPECT_EQ(run.number(), 3);
              }),
              "none");
}

} // namespace
