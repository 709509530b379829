// Paths: axes, node tests, predicates, unions, and over what trees they work.
#include "asking.hpp"

#include "changing.hpp"
#include "support/invariants.hpp"

#include <string>

namespace {

using asking::ask;
using asking::find;

class path_axes : public sql::session_test {
  protected:
    void SetUp() override {
        sql::session_test::SetUp();
        document_ = trees::parsed("<?before?><a x='1' y='2'><b i='1'><c i='2'>t</c><!--n--></b>"
                                  "<b i='3'><c i='4'/><d i='5'><c i='6'/></d></b>"
                                  "<e i='7'>u<![CDATA[v]]></e></a><!--after-->");
    }
    [[nodiscard]] std::string from(const char *start, const char *path) const {
        return ask(find(document_, start), path);
    }
    [[nodiscard]] std::string whole(const char *path) const { return ask(document_, path); }
    // The attributes i of what a path gives.
    [[nodiscard]] std::string numbers(const std::string &path) const {
        std::string list;
        static_cast<void>(sql::run_in_call([&] {
            const auto compiled = pkg_dbe_xml::compile_path(path, {});
            pkg_dbe_xml::path_evaluation run(compiled.code(), trees::node_of(document_), {});
            for (xmlNodePtr const node : run.nodes()) {
                xmlChar *const value = xmlGetProp(node, trees::xml("i"));
                list += value == nullptr ? "-" : reinterpret_cast<const char *>(value);
                xmlFree(value);
            }
        }));
        return list;
    }
    sql::handle document_;
};

TEST_F(path_axes, child_and_descendant) {
    EXPECT_EQ(whole("a"), "a");
    EXPECT_EQ(whole("/a/b/c"), "c c");
    EXPECT_EQ(numbers("/a/child::*"), "137");
    EXPECT_EQ(numbers("//c"), "246");
    EXPECT_EQ(numbers("/a/descendant::*"), "1234567");
    EXPECT_EQ(numbers("/a/b/descendant-or-self::*"), "123456");
    EXPECT_EQ(numbers("//b//c"), "246");
    EXPECT_EQ(numbers("//*//c"), "246");
    EXPECT_EQ(whole("/a/b/c/b"), "");
    EXPECT_EQ(whole("/descendant-or-self::node()/.."), "/ a b c b d e");
}

// An element of the empty namespace, as xml_dom_create_element_ns makes it, is in none.
TEST_F(path_axes, an_element_with_an_empty_uri) {
    const sql::handle made = sql::call(xml_dom_create_element_ns, document_, "f", "").handle();
    const sql::handle top = sql::call(xml_dom_get_document_element, document_).handle();
    EXPECT_FALSE(sql::call(xml_dom_append_child, top, made).failed());
    EXPECT_NE(trees::node_of(made)->ns, nullptr);
    EXPECT_EQ(whole("/a/f"), "f");
    EXPECT_EQ(whole("//f"), "f");
    EXPECT_EQ(whole("/a/*[self::f or self::e]/self::f"), "f");
    EXPECT_EQ(whole("/a/f[namespace-uri() = '']"), "f");
    EXPECT_EQ(whole("/a/f | /a/e"), "e f");
}

TEST_F(path_axes, attribute) {
    EXPECT_EQ(whole("/a/@*"), "@x @y");
    EXPECT_EQ(whole("/a/@y"), "@y");
    EXPECT_EQ(whole("/a/attribute::node()"), "@x @y");
    EXPECT_EQ(whole("/a/@text()"), "");
    EXPECT_EQ(whole("count(//@i)"), "7");
    EXPECT_EQ(whole("/a/@x/.."), "a");
    EXPECT_EQ(whole("/a/@x/@x"), "");
    EXPECT_EQ(whole("/a/@x/node()"), "");
    EXPECT_EQ(whole("/a/@x/descendant-or-self::node()"), "@x");
    EXPECT_EQ(whole("/a/@x/self::x"), "");
    EXPECT_EQ(whole("/a/@x/self::node()"), "@x");
    EXPECT_EQ(whole("/a/@x/ancestor-or-self::node()"), "/ a @x");
    EXPECT_EQ(whole("/a/@x/following-sibling::node()"), "");
    EXPECT_EQ(whole("/a/@y/preceding-sibling::node()"), "");
}

TEST_F(path_axes, parent_and_ancestor) {
    EXPECT_EQ(whole("//d/.."), "b");
    EXPECT_EQ(numbers("//c/parent::*"), "135");
    EXPECT_EQ(numbers("//c/ancestor::b"), "13");
    EXPECT_EQ(whole("//d/c/ancestor::node()"), "/ a b d");
    EXPECT_EQ(whole("//d/c/ancestor-or-self::*"), "a b d c");
    EXPECT_EQ(numbers("//d/c/ancestor::*[1]"), "5");
    EXPECT_EQ(numbers("(//d/c/ancestor::*)[2]"), "3");
    EXPECT_EQ(numbers("//c/ancestor::*[2]"), "-3");
    EXPECT_EQ(whole("/.."), "");
    EXPECT_EQ(whole("/a/../a/../a"), "a");
}

TEST_F(path_axes, siblings) {
    EXPECT_EQ(numbers("/a/b/following-sibling::*"), "37");
    EXPECT_EQ(numbers("/a/b[1]/following-sibling::*[1]"), "3");
    EXPECT_EQ(numbers("/a/e/preceding-sibling::*"), "13");
    EXPECT_EQ(numbers("/a/e/preceding-sibling::*[1]"), "3");
    EXPECT_EQ(numbers("/a/e/preceding-sibling::*[last()]"), "1");
    EXPECT_EQ(numbers("/a/b[1]/following-sibling::*[last()]"), "7");
    EXPECT_EQ(numbers("//*/preceding-sibling::*"), "134");
    EXPECT_EQ(whole("/a/following-sibling::node()"), "!after");
    EXPECT_EQ(whole("/a/preceding-sibling::node()"), "?before");
}

TEST_F(path_axes, following_and_preceding) {
    EXPECT_EQ(numbers("/a/b[1]/following::*"), "34567");
    EXPECT_EQ(numbers("//d/preceding::*"), "124");
    EXPECT_EQ(numbers("//d/preceding::*[1]"), "4");
    EXPECT_EQ(numbers("//d/following::*"), "7");
    EXPECT_EQ(numbers("//c/following::*"), "34567");
    EXPECT_EQ(numbers("//c/preceding::*"), "124");
    EXPECT_EQ(whole("/a/@x/following::b"), "b b");
    EXPECT_EQ(whole("/a/@x/preceding::node()"), "?before");
    EXPECT_EQ(whole("/preceding::node() | /following::node()"), "");
    EXPECT_EQ(whole("//comment()[.='after']/preceding::e"), "e");
    EXPECT_EQ(whole("//comment()[.='after']/preceding::a"), "a");
}

TEST_F(path_axes, together_give_the_document) {
    for (const char *start : {"//d", "/a", "//c", "//e", "//text()", "//comment()", "//c/.."}) {
        const std::string first = "(" + std::string(start) + ")[1]";
        EXPECT_NE(ask(document_, first), "") << start;
        EXPECT_EQ(ask(document_, first + "[count(ancestor::node() | preceding::node() | . | "
                                         "descendant::node() | following::node()) = "
                                         "count(//node() | /)]"),
                  ask(document_, first))
            << start;
    }
}

// A step that is taken for a whole set, which has one member.
TEST_F(path_axes, of_one_member_of_a_set) {
    EXPECT_EQ(numbers("/a/*[1]/following-sibling::*"), "37");
    EXPECT_EQ(numbers("/a/*[3]/preceding-sibling::*"), "13");
    EXPECT_EQ(numbers("/a/b[2]/following::*"), "7");
    EXPECT_EQ(numbers("/a/*[3]/preceding::*"), "123456");
    EXPECT_EQ(numbers("//d/c/ancestor::*"), "-35");
    EXPECT_EQ(numbers("//d/c/ancestor-or-self::*"), "-356");
    EXPECT_EQ(numbers("//b[d]/descendant-or-self::*"), "3456");
    EXPECT_EQ(whole("//d/c/ancestor::*[1] | //d/c/.."), "d");
}

TEST_F(path_axes, node_tests) {
    EXPECT_EQ(whole("//text()"), "'t' 'u' [v]");
    EXPECT_EQ(whole("//comment()"), "!n !after");
    EXPECT_EQ(whole("/processing-instruction()"), "?before");
    EXPECT_EQ(whole("/processing-instruction('before')"), "?before");
    EXPECT_EQ(whole("/processing-instruction('other')"), "");
    EXPECT_EQ(whole("/node()"), "?before a !after");
    EXPECT_EQ(whole("/a/e/node()"), "'u' [v]");
    EXPECT_EQ(whole("/self::node()"), "/");
    EXPECT_EQ(whole("/self::*"), "");
    EXPECT_EQ(whole("/"), "/");
}

TEST_F(path_axes, positions) {
    EXPECT_EQ(numbers("/a/*[2]"), "3");
    EXPECT_EQ(numbers("/a/*[last()]"), "7");
    EXPECT_EQ(numbers("/a/*[position() = 2]"), "3");
    EXPECT_EQ(numbers("/a/*[position() > 1]"), "37");
    EXPECT_EQ(numbers("/a/*[last() - 1]"), "3");
    EXPECT_EQ(numbers("/a/*[position() != last()]"), "13");
    EXPECT_EQ(numbers("//c[1]"), "246");
    EXPECT_EQ(numbers("(//c)[1]"), "2");
    EXPECT_EQ(numbers("(//c)[last()]"), "6");
    EXPECT_EQ(numbers("(//c)[position() < 3]"), "24");
    EXPECT_EQ(numbers("/a/*[c][2]"), "3");
    EXPECT_EQ(numbers("/a/*[2][c]"), "3");
    EXPECT_EQ(numbers("/a/*[3][c]"), "");
    EXPECT_EQ(numbers("/a/*[last()][self::e]"), "7");
    EXPECT_EQ(numbers("/a/*[last()][1]"), "7");
    EXPECT_EQ(numbers("/a/*[0]"), "");
    EXPECT_EQ(numbers("/a/*[1.5]"), "");
    EXPECT_EQ(numbers("/a/*[-1]"), "");
    EXPECT_EQ(numbers("/a/*[4]"), "");
    EXPECT_EQ(numbers("/a/*[count(//d) + 1]"), "3");
    EXPECT_EQ(numbers("//*[position() = last()][last()]"), "-2567");
    EXPECT_EQ(numbers("/a/*[true()][position() = 2]"), "3");
}

TEST_F(path_axes, predicates) {
    EXPECT_EQ(numbers("//*[c]"), "135");
    EXPECT_EQ(numbers("//*[@i = '4']"), "4");
    EXPECT_EQ(numbers("//*[@i > 4]"), "567");
    EXPECT_EQ(numbers("//*[not(*)][@i < 5]"), "24");
    EXPECT_EQ(numbers("//*[.//c and ../*]"), "-135");
    EXPECT_EQ(numbers("//c[../d or text()]"), "24");
    EXPECT_EQ(numbers("//*['']"), "");
    EXPECT_EQ(numbers("/a/b[c[@i = //c[2]/@i]]"), "");
    EXPECT_EQ(numbers("/a/b[c/@i = //d/preceding-sibling::c/@i]"), "3");
}

TEST_F(path_axes, unions_and_filters) {
    EXPECT_EQ(whole("//d | //e | //b"), "b b d e");
    EXPECT_EQ(whole("//e | //@x | /"), "/ @x e");
    EXPECT_EQ(numbers("//c | //c"), "246");
    EXPECT_EQ(numbers("(//d | //b)/c"), "246");
    EXPECT_EQ(numbers("(//c)/../.."), "-3");
    EXPECT_EQ(numbers("(//c | //d)//c"), "6");
    EXPECT_EQ(numbers("/a/b/c | /a/e | /a/b"), "12347");
    EXPECT_EQ(whole("a | b | ?"), "XP001 the path has a syntax error at character 9: a step "
                                  "expected, \"?\" found");
}

TEST_F(path_axes, sets_of_different_documents_of_a_family_stay_apart) {
    const sql::handle other = trees::parsed("<z><y/></z>");
    const sql::handle copy =
        sql::call(xml_dom_import_node, document_, trees::root_node(other), true).handle();
    // An imported node stands alone: it is its own root.
    EXPECT_EQ(ask(trees::node_of(copy), "//y"), "y");
    EXPECT_EQ(ask(trees::node_of(copy), "/"), "z");
    EXPECT_EQ(ask(trees::node_of(copy), ".."), "");
    EXPECT_EQ(ask(trees::node_of(copy), "//c"), "");
    const sql::handle whole_copy = sql::call(xml_dom_import_node, document_, other, true).handle();
    EXPECT_EQ(ask(trees::node_of(whole_copy), "/z/y"), "y");
    EXPECT_EQ(ask(trees::node_of(whole_copy), "//c"), "");
}

TEST_F(path_axes, detached_nodes_are_their_own_root) {
    xmlNodePtr const detached = find(document_, "/a/b[2]");
    {
        const host::tree_scope scope;
        const sql::handle handle = trees::named(document_, detached);
        EXPECT_EQ(trees::node_of(handle), detached);
        xmlUnlinkNode(detached);
    }
    EXPECT_EQ(ask(detached, "/"), "b");
    EXPECT_EQ(ask(detached, "//c"), "c c");
    EXPECT_EQ(ask(detached, "/d/c/ancestor::node()"), "b d");
    EXPECT_EQ(ask(detached, ".."), "");
    EXPECT_EQ(ask(detached, "following::node()"), "");
    EXPECT_EQ(ask(detached, "preceding-sibling::node()"), "");
    EXPECT_EQ(whole("//b"), "b");
    const host::tree_scope scope;
    xmlAddChild(find(document_, "/a"), detached);
}

TEST_F(path_axes, namespaces) {
    const sql::handle document = trees::parsed(
        "<r xmlns='urn:d' xmlns:p='urn:p' xmlns:q='urn:p'><p:a p:x='1' x='2'/><q:a/><a/></r>");
    const asking::path_binding bound[] = {{"one", "urn:p"}, {"d", "urn:d"}};
    const asking::path_bindings bindings{bound, {}};
    EXPECT_EQ(ask(document, "//a"), "");
    EXPECT_EQ(ask(document, "//one:a", bindings), "a a");
    EXPECT_EQ(ask(document, "//d:a", bindings), "a");
    EXPECT_EQ(ask(document, "//one:*", bindings), "a a");
    EXPECT_EQ(ask(document, "//d:*", bindings), "r a");
    EXPECT_EQ(ask(document, "//@one:x", bindings), "@x");
    EXPECT_EQ(ask(document, "string(//@x)"), "\"2\"");
    EXPECT_EQ(ask(document, "//@one:*", bindings), "@x");
    EXPECT_EQ(ask(document, "//none:a", bindings),
              "XP002 unknown prefix \"none\" at character 3 of the path");
    EXPECT_EQ(ask(document, "name(//one:a[2])", bindings), "\"q:a\"");
    EXPECT_EQ(ask(document, "namespace-uri(/*)"), "\"urn:d\"");
}

TEST_F(path_axes, namespace_nodes) {
    const sql::handle document = trees::parsed(
        "<r xmlns='urn:d' xmlns:p='urn:p'><a xmlns='' xmlns:p='urn:q'/><b xmlns:x='urn:x'/></r>");
    EXPECT_EQ(ask(document, "count(/*/namespace::*)"), "3");
    EXPECT_EQ(ask(document, "count(/*/*[1]/namespace::*)"), "2");
    EXPECT_EQ(ask(document, "count(//namespace::node())"), "9");
    EXPECT_EQ(ask(document, "string(/*/*[1]/namespace::p)"), "\"urn:q\"");
    EXPECT_EQ(ask(document, "string(/*/namespace::xml)"),
              "\"http://www.w3.org/XML/1998/namespace\"");
    EXPECT_EQ(ask(document, "name(/*/*[2]/namespace::*[. = 'urn:x'])"), "\"x\"");
    EXPECT_EQ(ask(document, "/*/namespace::p/.."), "r");
    EXPECT_EQ(ask(document, "/*/namespace::p/ancestor::*"), "r");
    EXPECT_EQ(ask(document, "count(/*/namespace::p | /*/namespace::p | /*)"), "2");
    EXPECT_EQ(ask(document, "count(//namespace::p | //@* | //*)"), "6");
    EXPECT_EQ(ask(document, "/*/namespace::p/following::*"), "a b");
    EXPECT_EQ(ask(document, "/*/namespace::p"), "XP004 a namespace node has no handle");
    EXPECT_EQ(ask(document, "boolean(//namespace::none)"), "false");
}

TEST_F(path_axes, entity_references_are_read_and_not_walked) {
    const sql::handle document = trees::parsed(
        "<!DOCTYPE a [<!ENTITY e '<q>in</q>'><!ATTLIST a d CDATA 'default'>]><a>x&e;y</a>");
    EXPECT_EQ(ask(document, "//q"), "");
    EXPECT_EQ(ask(document, "/a/node()"), "'x' 'y'");
    EXPECT_EQ(ask(document, "string(/a)"), "\"xiny\"");
    EXPECT_EQ(ask(document, "//text()[1]/following::node()"), "'y'");
    EXPECT_EQ(ask(document, "/a/@d"), "");
    EXPECT_EQ(ask(document, "/node()"), "a");
    xmlNodePtr const reference = xmlDocGetRootElement(trees::document_of(document))->children->next;
    EXPECT_EQ(ask(reference, "string(.)"), "\"in\"");
    EXPECT_EQ(ask(reference, ".."), "a");
    EXPECT_EQ(ask(reference, "following-sibling::node()"), "'y'");
    EXPECT_EQ(ask(trees::document_of(document)->children, "//a").substr(0, 5), "XP004");
}

TEST_F(path_axes, change_nothing) {
    xmlNodePtr const root = xmlDocGetRootElement(trees::document_of(document_));
    for (const char *path : {"//c | //b", "//c/preceding::*", "(//*)[last()]", "//*/ancestor::*",
                             "//node() | //@*", "count(//*[preceding::c])"}) {
        static_cast<void>(whole(path));
    }
    for (xmlNodePtr node = root; node != nullptr; node = pkg_dbe_xml::next_below(node, root)) {
        if (node->type == XML_ELEMENT_NODE) {
            EXPECT_EQ(node->content, nullptr);
            EXPECT_EQ(node->_private, nullptr) << node->name;
        }
    }
    EXPECT_TRUE(sql::check_invariants());
}

} // namespace
