// Sets of the package xmldom: which nodes in which order, under which handles, and what stays.
#include "standalone_faults.hpp"
#include "standalone_session.hpp"
#include "support/faults.hpp"
#include "support/invariants.hpp"
#include "support/sql.hpp"
#include "trees.hpp"

#include <string>
#include <vector>

namespace {

class package_sets : public sql::session_test {
  protected:
    static int handles() { return sql::call(xml_dom_get_session_tree_num).integer(); }
    static std::string names_of(const sql::result &set) {
        std::string names;
        for (const sql::handle &row : set.rows()) {
            names += (names.empty() ? "" : " ") + sql::call(xml_dom_get_node_name, row).text();
        }
        return names;
    }
    void TearDown() override {
        EXPECT_TRUE(sql::check_invariants());
        sql::session_test::TearDown();
    }
};

constexpr const char *k_text =
    "<?p i?><r a='1' p:b='2' xmlns:p='urn:p'><x/>text<p:x><y><x/></y></p:x>"
    "<!--c--><![CDATA[d]]></r>";

TEST_F(package_sets, give_what_their_names_say) {
    const sql::handle document = trees::parsed(k_text);
    const sql::handle root = trees::root(document);
    EXPECT_EQ(names_of(sql::call(xmldom_children, document)), "p r");
    EXPECT_EQ(names_of(sql::call(xmldom_children, root)), "x #text p:x #comment #cdata-section");
    EXPECT_EQ(names_of(sql::call(xmldom_attributes, root)), "a p:b");
    EXPECT_EQ(names_of(sql::call(xmldom_descendants, root)), "x p:x y x");
    EXPECT_EQ(names_of(sql::call(xmldom_descendants, document)), "r x p:x y x");
    const std::vector<sql::handle> children = sql::call(xmldom_children, root).rows();
    EXPECT_EQ(names_of(sql::call(xmldom_following_siblings, children[1])),
              "p:x #comment #cdata-section");
    const sql::handle deepest = sql::call(xmldom_descendants, root).rows().back();
    EXPECT_EQ(names_of(sql::call(xmldom_ancestors, deepest)), "y p:x r #document");
    const sql::handle list = sql::call(xml_dom_get_elements_by_tagname_element, root, "x").handle();
    EXPECT_EQ(names_of(sql::call(xmldom_nodes, list)), "x p:x x");
}

TEST_F(package_sets, are_empty_where_there_is_nothing) {
    const sql::handle document = trees::parsed("<r a='1'/>");
    const sql::handle attribute = sql::call(xmldom_attributes, trees::root(document)).rows()[0];
    const sql::handle text = sql::call(xmldom_children, attribute).rows()[0];
    for (const sql::function entry :
         {xmldom_children, xmldom_child_elements, xmldom_attributes, xmldom_descendants,
          xmldom_nodes, xmldom_following_siblings, xmldom_ancestors}) {
        EXPECT_TRUE(sql::call(entry, sql::null).rows().empty());
    }
    EXPECT_TRUE(sql::call(xmldom_following_siblings, attribute).rows().empty());
    EXPECT_TRUE(sql::call(xmldom_ancestors, attribute).rows().empty());
    EXPECT_TRUE(sql::call(xmldom_attributes, document).rows().empty());
    EXPECT_TRUE(sql::call(xmldom_attributes, text).rows().empty());
    EXPECT_TRUE(sql::call(xmldom_children, text).rows().empty());
    EXPECT_TRUE(sql::call(xmldom_ancestors, document).rows().empty());
}

// Without a URI the whole name counts, prefix and all; with one the local name and the namespace.
TEST_F(package_sets, find_elements_as_the_dom_does) {
    const sql::handle root = trees::root(trees::parsed(k_text));
    const auto found = [&root](const auto &...name) {
        return names_of(sql::call(xmldom_descendants, root, name...));
    };
    EXPECT_EQ(found("x"), "x x");
    EXPECT_EQ(found("p:x"), "p:x");
    EXPECT_EQ(found("q:x"), "");
    EXPECT_EQ(found("pp:x"), "");
    EXPECT_EQ(found("*"), "x p:x y x");
    EXPECT_EQ(found(sql::null), "x p:x y x");
    EXPECT_EQ(found("x", "urn:p"), "p:x");
    EXPECT_EQ(found("x", "*"), "x p:x x");
    EXPECT_EQ(found("x", ""), "x x");
    EXPECT_EQ(found("*", "urn:p"), "p:x");
    EXPECT_EQ(found(sql::null, ""), "x y x");
    EXPECT_EQ(found("x", "urn"), "");
    EXPECT_EQ(names_of(sql::call(xmldom_child_elements, root, "x")), "x");
    EXPECT_EQ(names_of(sql::call(xmldom_child_elements, root, "x", "*")), "x p:x");
    EXPECT_EQ(names_of(sql::call(xmldom_child_elements, root)), "x p:x");
}

TEST_F(package_sets, give_the_same_handles_again) {
    const sql::handle root = trees::root(trees::parsed(k_text));
    const std::vector<sql::handle> first = sql::call(xmldom_children, root).rows();
    const std::vector<sql::handle> elements = sql::call(xmldom_descendants, root).rows();
    EXPECT_EQ(first[0], elements[0]);
    EXPECT_EQ(first[2], elements[1]);
    const int before = handles();
    EXPECT_EQ(sql::call(xmldom_children, root).rows(), first);
    EXPECT_EQ(sql::call(xmldom_descendants, root).rows(), elements);
    EXPECT_EQ(handles(), before);
    EXPECT_EQ(trees::kind_of(first[0]), 8);
    EXPECT_EQ(trees::kind_of(first[1]), 17);
    EXPECT_EQ(trees::kind_of(first[4]), 13);
}

TEST_F(package_sets, refuse_what_is_no_node) {
    const sql::handle document = trees::parsed("<r/>");
    const sql::handle root = trees::root(document);
    const sql::handle list = sql::call(xml_dom_get_child_nodes, root).handle();
    const sql::result wrong = sql::call(xmldom_children, list);
    EXPECT_REPORT(wrong, reports::wrong_node_type, "a node", "a list");
    EXPECT_EQ(wrong.error().context, "argument 1 (node) of xmldom.children");
    const sql::result no_list = sql::call(xmldom_nodes, root);
    EXPECT_REPORT(no_list, reports::wrong_node_type, "a list", "an element <r>");
    EXPECT_EQ(no_list.error().context, "argument 1 (list) of xmldom.nodes names an element <r>");
    trees::release(root);
    const sql::result gone = sql::call(xmldom_descendants, root);
    EXPECT_REPORT(gone, reports::stale_handle);
    EXPECT_EQ(gone.error().context, "argument 1 (node) of xmldom.descendants");
    sql::call(xml_dom_free_document, document);
    EXPECT_REPORT(sql::call(xmldom_ancestors, root), reports::unknown_handle);
    EXPECT_REPORT(sql::call(xmldom_attributes, "no handle"), reports::unknown_handle);
    EXPECT_REPORT(sql::call(xmldom_nodes, list), reports::unknown_handle);
}

TEST_F(package_sets, of_many_rows_are_complete) {
    std::string text = "<r>";
    for (int i = 0; i < 1000; ++i) {
        text += "<x><y/></x>";
    }
    const sql::handle root = trees::root(trees::parsed(text + "</r>"));
    EXPECT_EQ(sql::call(xmldom_descendants, root).rows().size(), 2000U);
    EXPECT_EQ(sql::call(xmldom_children, root).rows().size(), 1000U);
    EXPECT_EQ(sql::call(xmldom_descendants, root, "y").rows().size(), 1000U);
}

TEST_F(package_sets, stop_when_asked_to) {
    std::string text = "<r>";
    for (int i = 0; i < 30000; ++i) {
        text += "<x/>";
    }
    const sql::handle root = trees::root(trees::parsed(text + "</r>"));
    // Without a row too.
    host::standalone::cancel_after_polls(2);
    EXPECT_EQ(sql::call(xmldom_descendants, root, "none").error().sqlstate, "57014");
    host::standalone::cancel_after_polls(20);
    EXPECT_EQ(sql::call(xmldom_children, root).error().sqlstate, "57014");
    host::standalone::forget_cancel();
    EXPECT_EQ(sql::call(xmldom_children, root).rows().size(), 30000U);
}

TEST_F(package_sets, fail_cleanly_at_every_step) {
    const auto play = [] {
        const sql::handle root = trees::root(trees::parsed(k_text));
        return sql::call(xmldom_descendants, root, "x", "*");
    };
    for (int at = 1;; ++at) {
        restart_session();
        const sql::handle document = trees::parsed(k_text);
        const sql::handle root = trees::root(document);
        host::standalone::fail_call(host::standalone::service::rows, at);
        const sql::result given = sql::call(xmldom_descendants, root, "x", "*");
        host::standalone::clear_faults();
        EXPECT_TRUE(sql::check_invariants());
        if (!given.failed()) {
            EXPECT_EQ(at, 3); // beginning the set, handing its rows over
            break;
        }
        EXPECT_EQ(given.error().sqlstate, "58030");
    }
    EXPECT_EQ(play().rows().size(), 3U);
}

} // namespace
