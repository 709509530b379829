// Paths that are none: every error has its place and its words, and nothing crashes.
#include "asking.hpp"

#include <string>
#include <vector>

namespace {

using asking::ask;

class path_syntax : public sql::session_test {
  protected:
    void SetUp() override {
        sql::session_test::SetUp();
        document_ = trees::parsed("<a><b x='1'>t</b><div/><and/><mod/><or/></a>");
    }
    [[nodiscard]] std::string value(const std::string &path) const { return ask(document_, path); }
    [[nodiscard]] host::report_fields report_of(const std::string &path) const {
        return sql::run_in_call([&] { static_cast<void>(pkg_dbe_xml::compile_path(path, {})); })
            .report;
    }
    sql::handle document_;
};

const std::vector<std::string> k_valid = {
    "/a/b[@x = '1']/text()",
    "//b[position() = last()][1] | /a/div",
    "count(//*[not(self::a)]) + 2 * -3 div 4 mod 5",
    "concat(\"a\", 'b', string(.//b/@x))",
    "(//b)[1]/ancestor-or-self::node()/..",
    "id('k')/descendant::processing-instruction('t')",
    "substring-before(normalize-space(/a), 'x') != '' or 1.5 >= .5 and 2. <= 3",
    "/a/*[@*]//comment()"};

TEST_F(path_syntax, names_the_place_and_what_was_expected) {
    EXPECT_EQ(value("/a/["), "XP001 the path has a syntax error at character 4: a step expected, "
                             "\"[\" found");
    EXPECT_EQ(value("/a/b["), "XP001 the path ends too early: a step expected");
    EXPECT_EQ(value("/a/b[1"), "XP001 the path ends too early: \"]\" expected");
    EXPECT_EQ(value("(a"), "XP001 the path ends too early: \")\" expected");
    EXPECT_EQ(value("a b"), "XP001 the path has a syntax error at character 3: an operator or the "
                            "end of the path expected, \"b\" found");
    EXPECT_EQ(value("'abc"), "XP001 the path ends too early: the closing quote of a literal "
                             "expected");
    EXPECT_EQ(value("count(a,)"), "XP001 the path has a syntax error at character 9: a step "
                                  "expected, \")\" found");
    EXPECT_EQ(value(""), "XP001 the path ends too early: a step expected");
    EXPECT_EQ(value("child::"), "XP001 the path ends too early: a step expected");
    EXPECT_EQ(value("a/'b'"), "XP001 the path has a syntax error at character 3: a step expected, "
                              "\"'b'\" found");
    EXPECT_EQ(value("\xC3\xA9\xC3\xA9/#"), "XP001 the path has a syntax error at character 4: a "
                                           "step expected, \"#\" found");
}

TEST_F(path_syntax, points_at_the_place) {
    EXPECT_EQ(report_of("/a/[").context, "path:\n    /a/[\n       ^");
    EXPECT_EQ(report_of("\xC3\xA9/[").context, "path:\n    \xC3\xA9/[\n      ^");
    const std::string longer = std::string(100, 'a') + "/[" + std::string(100, 'b');
    EXPECT_EQ(report_of(longer).context, "path:\n    ..." + std::string(39, 'a') + "/[" +
                                             std::string(29, 'b') + "...\n" + std::string(47, ' ') +
                                             "^");
}

TEST_F(path_syntax, unknown_names_and_wrong_types_have_their_own_words) {
    EXPECT_EQ(value("frob(1)"), "XP002 unknown function \"frob\" at character 1 of the path");
    EXPECT_EQ(value("p:count(a)"), "XP002 unknown function \"p:count\" at character 1 of the path");
    EXPECT_EQ(value("up::a"), "XP002 unknown axis \"up\" at character 1 of the path");
    EXPECT_EQ(value("p:a"), "XP002 unknown prefix \"p\" at character 1 of the path");
    EXPECT_EQ(value("$v"), "XP002 unknown variable \"v\" at character 1 of the path");
    EXPECT_EQ(value("count(1)"), "XP003 wrong type in the path: the function takes a set of nodes "
                                 "at character 7, and this is a number");
    EXPECT_EQ(value("'a'/b"), "XP003 wrong type in the path: a step takes a set of nodes at "
                              "character 1, and this is a text");
    EXPECT_EQ(value("1[1]"), "XP003 wrong type in the path: a predicate takes a set of nodes at "
                             "character 1, and this is a number");
    EXPECT_EQ(value("a | true()"), "XP003 wrong type in the path: a union takes sets of nodes at "
                                   "character 5, and this is a truth value");
    EXPECT_EQ(value("count()"), "XP003 function count() at character 1 of the path takes "
                                "1 argument, and has 0");
    EXPECT_EQ(value("concat('a')"), "XP003 function concat() at character 1 of the path takes at "
                                    "least 2 arguments, and has 1");
    EXPECT_EQ(value("true(1)"), "XP003 function true() at character 1 of the path takes no "
                                "argument, and has 1");
    EXPECT_EQ(value("string(a, b)"), "XP003 function string() at character 1 of the path takes at "
                                     "most 1 argument, and has 2");
    EXPECT_EQ(value("substring('a')"), "XP003 function substring() at character 1 of the path "
                                       "takes 2 or 3 arguments, and has 1");
}

TEST_F(path_syntax, tells_names_from_operators) {
    EXPECT_EQ(value("/a/div"), "div");
    EXPECT_EQ(value("/a/div | /a/mod"), "div mod");
    EXPECT_EQ(value("count(/a/div div /a/mod)").substr(0, 5), "XP003");
    EXPECT_EQ(value("6 div 2"), "3");
    EXPECT_EQ(value("boolean(/a/and and /a/or or or)"), "true");
    EXPECT_EQ(value("2*3"), "6");
    EXPECT_EQ(value("count(/*/*) * count(/*)"), "5");
    EXPECT_EQ(value("/a/* [ 1 ]"), "b");
    EXPECT_EQ(value("child :: a / child :: b"), "b");
    EXPECT_EQ(value("/a/b/text ( )"), "'t'");
    EXPECT_EQ(value("count ( /a )"), "1");
    EXPECT_EQ(value("/a/b-1").substr(0, 5), ""); // the name b-1
    EXPECT_EQ(value("1 -1"), "0");
    EXPECT_EQ(value("1-1"), "0");
    EXPECT_EQ(value("/a[b]-1"), "nan");
    EXPECT_EQ(value("//b/@x|//b"), "b @x");
    EXPECT_EQ(value("a : b").substr(0, 5), "XP001");
    EXPECT_EQ(value("/"), "/");
    EXPECT_EQ(value("/ = ''"), "false");
    EXPECT_EQ(value("/ | a"), "/ a");
    EXPECT_EQ(value("/ * 2").substr(0, 5), "XP001"); // "*" is a step there
    EXPECT_EQ(value("//").substr(0, 5), "XP001");
}

// Cut, doubled, left out, replaced at every place: an answer or a report of a path.
TEST_F(path_syntax, damaged_paths_are_answered_or_reported) {
    const std::string replacements = "[]()/@*'\"|,.:$=!<>-+ a1\x80\xC3";
    std::size_t reported = 0;
    const auto check = [&](const std::string &path) {
        const std::string answer = value(path);
        if (answer.starts_with("XP0")) {
            ++reported;
        } else {
            EXPECT_FALSE(answer.starts_with("XX") || answer.starts_with("53")) << path << answer;
        }
    };
    for (const std::string &path : k_valid) {
        EXPECT_FALSE(value(path).starts_with("XP")) << path << ": " << value(path);
        for (std::size_t place = 0; place < path.size(); ++place) {
            check(path.substr(0, place));
            check(path.substr(place));
            check(path.substr(0, place) + path.substr(place + 1));
            check(path.substr(0, place + 1) + path.substr(place));
            for (const char replacement : replacements) {
                std::string replaced = path;
                replaced[place] = replacement;
                check(replaced);
            }
        }
    }
    EXPECT_GT(reported, 3000U);
}

TEST_F(path_syntax, nesting_is_bounded) {
    const auto nested = [](const std::string &open, const std::string &middle,
                           const std::string &close, std::size_t depth) {
        std::string path;
        for (std::size_t level = 0; level < depth; ++level) {
            path += open;
        }
        path += middle;
        for (std::size_t level = 0; level < depth; ++level) {
            path += close;
        }
        return path;
    };
    EXPECT_EQ(value(nested("(", "/a", ")", 255)), "a");
    EXPECT_EQ(value(nested("a[../", "a", "]", 255)), "a");
    EXPECT_EQ(value(nested("string(", "'x'", ")", 255)), "\"x\"");
    EXPECT_EQ(value(nested("(", "/a", ")", 256)).substr(0, 5), "54001");
    EXPECT_EQ(value(nested("a[", "a", "]", 300)).substr(0, 5), "54001");
    EXPECT_EQ(value(nested("not(", "a", ")", 100000)).substr(0, 5), "54001");
    EXPECT_EQ(value(std::string(1000000, '(')).substr(0, 5), "54001");
    EXPECT_EQ(value(std::string(1000000, '[')).substr(0, 5), "XP001");
    EXPECT_EQ(value(std::string(1000000, '-') + "1"), "1");
}

TEST_F(path_syntax, long_paths_are_lists) {
    const auto repeated = [](const std::string &part, std::size_t bytes) {
        std::string path;
        while (path.size() + part.size() + 4 < bytes) {
            path += part;
        }
        return path;
    };
    const std::size_t most = pkg_dbe_xml::k_longest_path;
    EXPECT_EQ(value(repeated("./", most) + "a"), "a");
    EXPECT_EQ(value(repeated("a/../", most) + "a"), "a");
    EXPECT_EQ(value(repeated("1+", 100000) + "1"), "49998");
    EXPECT_EQ(value(repeated("a|", most) + "a"), "a");
    EXPECT_EQ(value(repeated("a or ", most) + "a"), "true");
    EXPECT_EQ(value("a" + repeated("[1]", most)), "a");
    EXPECT_EQ(value(repeated("/a", most)), "");
    EXPECT_EQ(value("concat(" + repeated("'',", most - 20) + "'')"), "\"\"");
    EXPECT_EQ(value("string-length('" + std::string(most - 17, 'x') + "')"),
              std::to_string(most - 17));
    EXPECT_EQ(value(std::string(most + 1, ' ')).substr(0, 5), "54000");
}

} // namespace
