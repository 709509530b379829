// Trees that stand in no document: kept while somebody needs a node of them, and no longer.
#include "changing.hpp"
#include "support/invariants.hpp"

#include <algorithm>
#include <random>
#include <vector>

namespace {

using sql::call;

class kept_trees : public changing {
  protected:
    // An import of this text, standing nowhere, its root named by the result.
    sql::handle loose(const char *xml) {
        const sql::handle copy = import(tree, root(document(xml)), true);
        return copy;
    }
    static sql::handle list_of(const sql::handle &of) {
        return call(xml_dom_get_child_nodes, of).handle();
    }
    static void give_up(const sql::handle &of) {
        EXPECT_FALSE(call(xml_dom_free_node, of).failed());
        EXPECT_TRUE(sql::check_invariants());
    }

    void SetUp() override {
        changing::SetUp();
        tree = document("<r><s/></r>");
    }

    sql::node_watch watch; // before the session begins and after it has ended
    sql::handle tree;
};

// Handles at the root, at elements, attributes and texts of attributes, given up in this order.
void give_up_in_order(const std::vector<sql::handle> &held, const sql::handle &tree) {
    for (std::size_t count = 0; count < held.size(); ++count) {
        EXPECT_EQ(call(xml_dom_is_null, held[count]).boolean(), false);
        EXPECT_FALSE(call(xml_dom_free_node, held[count]).failed());
        ASSERT_TRUE(sql::check_invariants()) << "after " << count;
    }
    EXPECT_FALSE(call(xml_dom_is_null, tree).boolean());
}

TEST_F(kept_trees, a_tree_goes_with_the_last_handle_whatever_the_order) {
    const sql::handle from =
        root(document("<a x='1' y='2'><b z='3'>text<c/></b><d><e><f w='4'/></e></d></a>"));
    std::mt19937 random(42);
    for (int round = 0; round < 60; ++round) {
        const std::int64_t before = libxml2_bytes();
        std::vector<sql::handle> held;
        const sql::handle copy = import(tree, from, true);
        held.push_back(copy);
        held.push_back(attribute_of(call(xml_dom_make_element, copy).handle(), "y"));
        held.push_back(first(held.back()));
        const sql::handle b = first(copy);
        held.push_back(b);
        held.push_back(first(b));
        held.push_back(last(b));
        held.push_back(attribute_of(call(xml_dom_make_element, b).handle(), "z"));
        const sql::handle f = first(first(last(copy)));
        held.push_back(f);
        held.push_back(f == held.back() ? last(copy) : f);
        for (int extra = 0; extra < round % 4; ++extra) {
            held.push_back(list_of(extra == 2 ? b : copy));
        }
        // All handles that were made on the way count as well.
        const sql::handle top = root(tree);
        call(xml_dom_free_node, top);
        std::ranges::shuffle(held, random);
        give_up_in_order(held, tree);
        EXPECT_GT(libxml2_bytes(), before); // those made on the way
        call(xml_dom_free_document, tree);
        tree = document("<r><s/></r>");
        EXPECT_LE(libxml2_bytes(), before + 4096);
    }
}

TEST_F(kept_trees, forwards_and_backwards) {
    std::string text = "<a>";
    for (int count = 0; count < 300; ++count) {
        text += "<b x='1'><c/></b>";
    }
    const sql::handle from = root(document(text + "</a>"));
    const std::int64_t before = libxml2_bytes();
    for (const bool forwards : {true, false}) {
        const sql::handle copy = import(tree, from, true);
        std::vector<sql::handle> held{first(copy)};
        while (!call(xml_dom_get_next_sibling, held.back()).is_null()) {
            const sql::handle following = next(held.back());
            // One handle for each: the step above has made another one.
            held.push_back(following);
        }
        const std::size_t count = pkg_dbe_xml::xml_count_hashentries();
        EXPECT_GT(count, held.size());
        give_up(copy);
        if (!forwards) {
            std::ranges::reverse(held);
        }
        for (const sql::handle &each : held) {
            call(xml_dom_free_node, each);
        }
        EXPECT_TRUE(sql::check_invariants());
        EXPECT_EQ(detached(tree), 1U); // the steps that only looked
        call(xml_dom_free_document, tree);
        tree = document("<r><s/></r>");
    }
    EXPECT_LE(libxml2_bytes(), before + 4096);
}

TEST_F(kept_trees, a_list_keeps_its_members_as_long_as_it_lives) {
    const sql::handle from = root(document("<a><b/><c/></a>"));
    const std::int64_t before = libxml2_bytes();
    const sql::handle copy = import(tree, from, true);
    const sql::handle one = list_of(copy);
    const sql::handle two = list_of(copy);
    give_up(copy);
    EXPECT_EQ(call(xml_dom_get_length, one).integer(), 2);
    give_up(one);
    const sql::handle member = call(xml_dom_item, two, 1).handle();
    give_up(two);
    EXPECT_EQ(name(member), "c");
    EXPECT_EQ(name(call(xml_dom_get_parent_node, member).handle()), "a");
    EXPECT_EQ(detached(tree), 1U);
    give_up(member);
    EXPECT_EQ(detached(tree), 1U); // the parent was named
    call(xml_dom_free_document, tree);
    tree = document("<r><s/></r>");
    EXPECT_LE(libxml2_bytes(), before + 1024);
}

TEST_F(kept_trees, the_node_that_a_tree_is_kept_for_moves_away) {
    const sql::handle copy = loose("<a><b><c/></b><d/></a>");
    const sql::handle b = first(copy);
    const std::int64_t with_all = libxml2_bytes();
    give_up(copy);
    EXPECT_EQ(detached(tree), 1U);
    append(root(tree), b); // what is left of the copy goes
    EXPECT_TRUE(sql::check_invariants());
    EXPECT_EQ(detached(tree), 0U);
    EXPECT_LT(libxml2_bytes(), with_all);
    EXPECT_EQ(written_root(tree), "<r><s/><b><c/></b></r>");
}

TEST_F(kept_trees, the_node_that_a_tree_is_kept_for_moves_away_and_another_one_stays) {
    const sql::handle copy = loose("<a x='1'><b><c/></b><d/></a>");
    const sql::handle b = first(copy);
    const sql::handle d = last(copy);
    give_up(copy);
    append(root(tree), b);
    EXPECT_TRUE(sql::check_invariants());
    EXPECT_EQ(detached(tree), 1U);
    const sql::handle again = call(xml_dom_get_parent_node, d).handle();
    EXPECT_EQ(written(again), "<a x=\"1\"><d/></a>");
    give_up(d);
    give_up(again);
    EXPECT_EQ(detached(tree), 0U);
}

TEST_F(kept_trees, the_node_that_a_tree_is_kept_for_is_merged) {
    const sql::handle copy = loose("<a>text</a>");
    const sql::handle inner = first(copy);
    give_up(copy);
    const sql::handle target = call(xml_dom_create_text_node, tree, "x").handle();
    append(target, inner); // its text goes into the other, and the node with its tree
    EXPECT_TRUE(sql::check_invariants());
    EXPECT_EQ(value(target), "xtext");
    EXPECT_FALSE(is_known(inner));
    EXPECT_EQ(detached(tree), 1U);
}

TEST_F(kept_trees, a_kept_tree_is_named_at_its_top_again_and_attached) {
    const sql::handle copy = loose("<a><b/></a>");
    const sql::handle b = first(copy);
    give_up(copy);
    const sql::handle again = call(xml_dom_get_parent_node, b).handle();
    EXPECT_TRUE(sql::check_invariants());
    append(root(tree), again);
    EXPECT_TRUE(sql::check_invariants());
    give_up(again);
    give_up(b);
    EXPECT_EQ(written_root(tree), "<r><s/><a><b/></a></r>");
}

TEST_F(kept_trees, values_set_in_a_tree_that_is_kept_for_a_text_below) {
    const sql::handle attribute = call(xml_dom_create_attribute, tree, "x").handle();
    call(xml_dom_set_node_value, attribute, "one");
    const sql::handle text = first(attribute);
    const sql::handle list = list_of(attribute);
    call(xml_dom_set_node_value, attribute, "two");
    EXPECT_TRUE(sql::check_invariants());
    EXPECT_EQ(detached(tree), 2U); // the attribute and its old text
    give_up(attribute);
    EXPECT_EQ(detached(tree), 1U);
    give_up(text);
    EXPECT_EQ(detached(tree), 1U);
    give_up(list);
    EXPECT_EQ(detached(tree), 0U);
}

TEST_F(kept_trees, one_of_two_document_ids_goes) {
    const sql::handle parser = call(xmlparser_new_parser).handle();
    call(xmlparser_parse_buffer, parser, "<a><b/></a>");
    const sql::handle one = call(xmlparser_get_doc, parser).handle();
    const sql::handle two = call(xmlparser_get_doc, parser).handle();
    call(xmlparser_free_parser, parser);
    const std::int64_t before = libxml2_bytes();
    const sql::handle copy = import(one, root(document("<c><d/><e><f/></e></c>")), true);
    const std::int64_t with_source = libxml2_bytes();
    EXPECT_GT(with_source, before);
    static_cast<void>(first(copy));
    static_cast<void>(list_of(last(copy)));
    const sql::handle bare = element(one, "g");
    EXPECT_EQ(detached(two), 2U);
    call(xml_dom_free_node, bare);
    call(xml_dom_free_document, one); // whatever only its handles kept goes
    EXPECT_TRUE(sql::check_invariants());
    EXPECT_EQ(detached(two), 0U);
    EXPECT_EQ(written_root(two), "<a><b/></a>");
}

// Beyond 65,534 lists a node is not counted any more, and stays.
TEST_F(kept_trees, more_lists_than_are_counted) {
    const sql::handle attribute = call(xml_dom_create_attribute, tree, "x").handle();
    call(xml_dom_set_node_value, attribute, "one");
    const sql::handle text = first(attribute);
    xmlNodePtr const raw = node(text);
    pkg_dbe_xml::set_list_count(raw, pkg_dbe_xml::k_many_lists - 1);
    const sql::handle list = list_of(attribute);
    EXPECT_EQ(pkg_dbe_xml::list_count(raw), pkg_dbe_xml::k_many_lists);
    call(xml_dom_free_nodelist, list);
    EXPECT_EQ(pkg_dbe_xml::list_count(raw), pkg_dbe_xml::k_many_lists);
    call(xml_dom_free_node, text);
    EXPECT_TRUE(pkg_dbe_xml::is_kept(raw));
    pkg_dbe_xml::set_list_count(raw, 0);
    EXPECT_FALSE(pkg_dbe_xml::is_kept(raw));
}

} // namespace
