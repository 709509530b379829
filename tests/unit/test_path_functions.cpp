// Paths: the functions, numbers and their texts, comparisons.
#include "asking.hpp"

#include <string>

namespace {

using asking::ask;

class path_functions : public sql::session_test {
  protected:
    void SetUp() override {
        sql::session_test::SetUp();
        document_ = trees::parsed(
            "<r xml:lang='en'><n>3</n><n>1</n><n>x</n><t>  two  words </t><u xml:lang='de-AT'/>"
            "<k xml:id='one'/><k xml:id='two'><l xml:id='one'/></k><p:q xmlns:p='urn:p'/></r>");
    }
    [[nodiscard]] std::string value(const char *path) const { return ask(document_, path); }
    sql::handle document_;
};

TEST_F(path_functions, of_nodes) {
    EXPECT_EQ(value("count(/r/n)"), "3");
    EXPECT_EQ(value("count(/..)"), "0");
    EXPECT_EQ(value("name(/r/*[8])"), "\"p:q\"");
    EXPECT_EQ(value("local-name(/r/*[8])"), "\"q\"");
    EXPECT_EQ(value("namespace-uri(/r/*[8])"), "\"urn:p\"");
    EXPECT_EQ(value("name(/none)"), "\"\"");
    EXPECT_EQ(value("name()"), "\"\"");
    EXPECT_EQ(value("name(/r/@*)"), "\"xml:lang\"");
    EXPECT_EQ(value("local-name(//text())"), "\"\"");
    EXPECT_EQ(value("/r/n[position() = last()]"), "n");
}

TEST_F(path_functions, of_ids) {
    EXPECT_EQ(value("id('one')"), "k");
    EXPECT_EQ(value("id('two one none two')"), "k k");
    EXPECT_EQ(value("id('two')/l"), "l");
    EXPECT_EQ(value("id(//none)"), "");
    EXPECT_EQ(value("count(id(//@xml:id))"), "2");
    const sql::handle declared = trees::parsed("<!DOCTYPE r [<!ATTLIST e key ID #IMPLIED>]>"
                                               "<r><e key='k'/><e key='l'/></r>");
    EXPECT_EQ(ask(declared, "id('l')/@key"), "@key");
    xmlNodePtr const gone = asking::find(declared, "/r/e[2]");
    const sql::handle named = trees::named(declared, gone);
    {
        const host::tree_scope scope;
        xmlUnlinkNode(gone);
    }
    EXPECT_EQ(ask(declared, "id('l')"), ""); // what stands in another tree is not found
    EXPECT_EQ(ask(trees::node_of(named), "id('l')"), "e");
    const host::tree_scope scope;
    xmlAddChild(asking::find(declared, "/r"), gone);
}

TEST_F(path_functions, of_texts) {
    EXPECT_EQ(value("string(/r/n)"), "\"3\"");
    EXPECT_EQ(value("string(/none)"), "\"\"");
    EXPECT_EQ(value("concat('a', 1, true())"), "\"a1true\"");
    EXPECT_EQ(value("starts-with('abc', 'ab')"), "true");
    EXPECT_EQ(value("starts-with('abc', '')"), "true");
    EXPECT_EQ(value("starts-with('ab', 'abc')"), "false");
    EXPECT_EQ(value("contains('abc', 'bc')"), "true");
    EXPECT_EQ(value("contains('abc', '')"), "true");
    EXPECT_EQ(value("contains('', 'a')"), "false");
    EXPECT_EQ(value("substring-before('1999/04/01', '/')"), "\"1999\"");
    EXPECT_EQ(value("substring-after('1999/04/01', '/')"), "\"04/01\"");
    EXPECT_EQ(value("substring-after('1999/04/01', '19')"), "\"99/04/01\"");
    EXPECT_EQ(value("substring-before('a', 'b')"), "\"\"");
    EXPECT_EQ(value("string-length('h\xC3\xA9llo')"), "5");
    EXPECT_EQ(value("normalize-space(/r/t)"), "\"two words\"");
    EXPECT_EQ(value("normalize-space(' \t\n ')"), "\"\"");
    EXPECT_EQ(value("normalize-space('a')"), "\"a\"");
    EXPECT_EQ(value("translate('bar', 'abc', 'ABC')"), "\"BAr\"");
    EXPECT_EQ(value("translate('--aaa--', 'abc-', 'ABC')"), "\"AAA\"");
    EXPECT_EQ(value("translate('\xC3\xA9t\xC3\xA9', '\xC3\xA9', 'e')"), "\"ete\"");
    EXPECT_EQ(value("translate('aa', 'aa', 'xy')"), "\"xx\"");
    EXPECT_EQ(value("translate('\xC3\xA9', '\xC3\xA9\xC3\xA9', 'xy')"), "\"x\"");
}

TEST_F(path_functions, substring_counts_characters_and_rounds) {
    EXPECT_EQ(value("substring('12345', 2, 3)"), "\"234\"");
    EXPECT_EQ(value("substring('12345', 2)"), "\"2345\"");
    EXPECT_EQ(value("substring('12345', 1.5, 2.6)"), "\"234\"");
    EXPECT_EQ(value("substring('12345', 0, 3)"), "\"12\"");
    EXPECT_EQ(value("substring('12345', 0 div 0, 3)"), "\"\"");
    EXPECT_EQ(value("substring('12345', 1, 0 div 0)"), "\"\"");
    EXPECT_EQ(value("substring('12345', -42, 1 div 0)"), "\"12345\"");
    EXPECT_EQ(value("substring('12345', -1 div 0, 1 div 0)"), "\"\"");
    EXPECT_EQ(value("substring('12345', 6)"), "\"\"");
    EXPECT_EQ(value("substring('12345', 5)"), "\"5\"");
    EXPECT_EQ(value("substring('12345', 3, 0)"), "\"\"");
    EXPECT_EQ(value("substring('\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80x', 2, 2)"),
              "\"\xE2\x82\xAC\xF0\x9F\x98\x80\"");
}

TEST_F(path_functions, of_truth) {
    EXPECT_EQ(value("boolean(0)"), "false");
    EXPECT_EQ(value("boolean(0 div 0)"), "false");
    EXPECT_EQ(value("boolean(-0.1)"), "true");
    EXPECT_EQ(value("boolean('')"), "false");
    EXPECT_EQ(value("boolean('false')"), "true");
    EXPECT_EQ(value("boolean(/r)"), "true");
    EXPECT_EQ(value("boolean(/none | /none)"), "false");
    EXPECT_EQ(value("not(/r)"), "false");
    EXPECT_EQ(value("true() and false()"), "false");
    EXPECT_EQ(value("true() or /none"), "true");
    EXPECT_EQ(value("count(//*[lang('en')])"), "9");
    EXPECT_EQ(value("name(//*[lang('de')])"), "\"u\"");
    EXPECT_EQ(value("name(//*[lang('DE-at')])"), "\"u\"");
    EXPECT_EQ(value("count(//*[lang('d')])"), "0");
}

TEST_F(path_functions, of_numbers) {
    EXPECT_EQ(value("sum(/r/n[. != 'x'])"), "4");
    EXPECT_EQ(value("sum(/r/n)"), "nan");
    EXPECT_EQ(value("sum(/none)"), "0");
    EXPECT_EQ(value("floor(-1.5)"), "-2");
    EXPECT_EQ(value("ceiling(-1.5)"), "-1");
    EXPECT_EQ(value("round(2.5)"), "3");
    EXPECT_EQ(value("round(-2.5)"), "-2");
    EXPECT_EQ(value("round(-0.2)"), "-0");
    EXPECT_EQ(value("round(0.49999999999999994)"), "0");
    EXPECT_EQ(value("round(4503599627370497)"), "4503599627370497");
    EXPECT_EQ(value("round(1 div 0)"), "inf");
    EXPECT_EQ(value("number('  -12.50\n')"), "-12.5");
    EXPECT_EQ(value("number(/r/n)"), "3");
    EXPECT_EQ(value("number(true())"), "1");
    EXPECT_EQ(value("1 + 2 * 3 - 4 div 2"), "5");
    EXPECT_EQ(value("5 mod 2"), "1");
    EXPECT_EQ(value("5 mod -2"), "1");
    EXPECT_EQ(value("-5 mod 2"), "-1");
    EXPECT_EQ(value("1.5 mod 0.5"), "0");
    EXPECT_EQ(value("1 div 0"), "inf");
    EXPECT_EQ(value("- - 2"), "2");
    EXPECT_EQ(value("---'2'"), "-2");
    EXPECT_EQ(value("1 div -0"), "-inf");
    EXPECT_EQ(value("10 - 3 - 2"), "5");
}

TEST_F(path_functions, texts_that_are_no_numbers) {
    for (const char *text : {"''", "'-'", "'.'", "'+1'", "'1e3'", "'1 2'", "'--1'", "'1-'", "'0x1'",
                             "'Infinity'", "'NaN'", "'1.2.3'", "'- 1'"}) {
        EXPECT_EQ(value((std::string("number(") + text + ")").c_str()), "nan") << text;
    }
    EXPECT_EQ(value("number('.5')"), "0.5");
    EXPECT_EQ(value("number('5.')"), "5");
    EXPECT_EQ(value("number('-0')"), "-0");
    EXPECT_EQ(ask(document_, "number('" + std::string(400, '9') + "')"), "inf");
    EXPECT_EQ(ask(document_, "number('0." + std::string(400, '0') + "1')"), "0");
    EXPECT_EQ(ask(document_, "number('-" + std::string(400, '9') + ".5')"), "-inf");
}

TEST_F(path_functions, texts_of_numbers) {
    EXPECT_EQ(value("string(1)"), "\"1\"");
    EXPECT_EQ(value("string(-1.50)"), "\"-1.5\"");
    EXPECT_EQ(value("string(0.1 + 0.2)"), "\"0.30000000000000004\"");
    EXPECT_EQ(value("string(1 div 3)"), "\"0.3333333333333333\"");
    EXPECT_EQ(value("string(-0)"), "\"0\"");
    EXPECT_EQ(value("string(0 div 0)"), "\"NaN\"");
    EXPECT_EQ(value("string(1 div 0)"), "\"Infinity\"");
    EXPECT_EQ(value("string(-1 div 0)"), "\"-Infinity\"");
    EXPECT_EQ(value("string(1000000000000000000000)"), "\"1000000000000000000000\"");
    EXPECT_EQ(value("string(0.000001)"), "\"0.000001\"");
    EXPECT_EQ(value("string(123456789012345680000)"), "\"123456789012345683968\"");
    EXPECT_EQ(value("string-length(string(1"
                    "000000000000000000000000000000000000000000))"),
              "43");
}

TEST_F(path_functions, the_smallest_and_the_largest_number_have_texts) {
    const std::string smallest = "0." + std::string(323, '0') + "5";
    EXPECT_EQ(ask(document_, "string(" + smallest + ")"), "\"" + smallest + "\"");
    const std::string largest = "17976931348623157" + std::string(292, '0');
    EXPECT_EQ(ask(document_, "string-length(string(-" + largest + "))"), "310");
    EXPECT_EQ(ask(document_, "number(string(" + largest + ")) = " + largest), "true");
}

TEST_F(path_functions, comparisons) {
    EXPECT_EQ(value("1 = '1'"), "true");
    EXPECT_EQ(value("'1' = '1.0'"), "false");
    EXPECT_EQ(value("true() = 'x'"), "true");
    EXPECT_EQ(value("true() = 2"), "true");
    EXPECT_EQ(value("'a' < 'b'"), "false");
    EXPECT_EQ(value("1 < 2 < 1"), "false");
    EXPECT_EQ(value("3 > 2 > 1"), "false");
    EXPECT_EQ(value("1 = 1 = 1"), "true");
    EXPECT_EQ(value("0 div 0 = 0 div 0"), "false");
    EXPECT_EQ(value("0 div 0 != 0 div 0"), "true");
    EXPECT_EQ(value("-0 = 0"), "true");
}

TEST_F(path_functions, comparisons_of_sets) {
    EXPECT_EQ(value("/r/n = 1"), "true");
    EXPECT_EQ(value("/r/n != 1"), "true");
    EXPECT_EQ(value("not(/r/n = 2)"), "true");
    EXPECT_EQ(value("/r/n = 'x'"), "true");
    EXPECT_EQ(value("/r/n > 2"), "true");
    EXPECT_EQ(value("2 > /r/n"), "true");
    EXPECT_EQ(value("/r/n > 3"), "false");
    EXPECT_EQ(value("/none = ''"), "false");
    EXPECT_EQ(value("/none != ''"), "false");
    EXPECT_EQ(value("/none = false()"), "true");
    EXPECT_EQ(value("/r/n = true()"), "true");
    EXPECT_EQ(value("/r/n < true()"), "false");
    EXPECT_EQ(value("/r/n[1] = /r/n"), "true");
    EXPECT_EQ(value("/r/n[1] = /r/n[2]"), "false");
    EXPECT_EQ(value("/r/n[1] != /r/n[1]"), "false");
    EXPECT_EQ(value("/r/n != /r/n"), "true");
    EXPECT_EQ(value("/r/n[1] < /r/n"), "false");
    EXPECT_EQ(value("/r/n[1] <= /r/n"), "true");
    EXPECT_EQ(value("/r/n > /r/n"), "true");
    EXPECT_EQ(value("/none < /r/n"), "false");
    EXPECT_EQ(value("/none = /none"), "false");
    EXPECT_EQ(value("/none != /r/n"), "false");
}

TEST_F(path_functions, variables) {
    const asking::path_binding bound[] = {{"v", "1"}, {"w", "x"}, {"p:n", "3"}};
    const asking::path_bindings bindings{{}, bound};
    EXPECT_EQ(ask(document_, "count(/r/n[. = $v])", bindings), "1");
    EXPECT_EQ(ask(document_, "concat($w, $ v)", bindings).substr(0, 5), "XP001");
    EXPECT_EQ(ask(document_, "concat($w, $v)", bindings), "\"x1\"");
    EXPECT_EQ(ask(document_, "$v + 1", bindings), "2");
    EXPECT_EQ(ask(document_, "count(/r/n[$v])", bindings), "3"); // a text is no position
    EXPECT_EQ(ask(document_, "string(/r/n[number($v)])", bindings), "\"3\"");
    EXPECT_EQ(ask(document_, "$p:n", bindings), "\"3\"");
    EXPECT_EQ(ask(document_, "$none", bindings),
              "XP002 unknown variable \"none\" at character 1 of the path");
}

// What does not depend on the node is found once; its value is the same in every form.
TEST_F(path_functions, values_that_are_kept) {
    EXPECT_EQ(value("count(//*[. = /r/n])"), "3");
    EXPECT_EQ(value("count(//*[count(/r/n) = 3][/r/n = 3][/r/n])"), "10");
    EXPECT_EQ(value("count(//n[. = string(/r/n)])"), "1");
    EXPECT_EQ(value("count(//n[position() = count(/r/t) + 1])"), "1");
    EXPECT_EQ(value("count(//n[contains(/r/t, 'two') and . = sum(/r/n[2])])"), "1");
    EXPECT_EQ(value("count(//n[/r/n[2] = .])"), "1");
    EXPECT_EQ(value("count(//n[(/r/n | /r/t)[last()]])"), "3");
    EXPECT_EQ(value("count(//n[id('two')/l])"), "3");
}

} // namespace
