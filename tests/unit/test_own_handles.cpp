// Own handles: one handle for one node, whatever else names it, and what the end of handles and
// documents does to that. The registry's part; the functions that hand them out have tests of their
// own.
#include "registry.hpp"
#include "standalone_faults.hpp"
#include "standalone_session.hpp"
#include "support/faults.hpp"
#include "support/invariants.hpp"
#include "support/sql.hpp"
#include "trees.hpp"

#include <string>
#include <vector>

namespace {

namespace dbe = pkg_dbe_xml;

class own_handles : public sql::session_test {
  protected:
    static sql::handle own(const sql::handle &from, xmlNodePtr node) {
        return trees::handle_of(dbe::own_handle(*trees::entry_of(from), node));
    }
    static sql::handle map_of(const sql::handle &from, xmlNodePtr element) {
        return trees::handle_of(dbe::own_map(*trees::entry_of(from), element));
    }
    static int handles() { return sql::call(xml_dom_get_session_tree_num).integer(); }
    static xmlNodePtr root_of(const sql::handle &document) {
        return xmlDocGetRootElement(trees::document_of(document));
    }
    void TearDown() override {
        EXPECT_TRUE(sql::check_invariants());
        sql::session_test::TearDown();
    }
};

TEST_F(own_handles, have_the_kind_of_their_nodes) {
    const sql::handle document = trees::parsed(
        "<!DOCTYPE a [<!ENTITY e 'x'>]><a b='c'>t<![CDATA[d]]><!--c--><?p i?>&e;</a>");
    xmlNodePtr const root = root_of(document);
    EXPECT_EQ(trees::kind_of(own(document, root)), 8);
    EXPECT_EQ(trees::kind_of(own(document, dbe::as_node(root->properties))), 1);
    xmlNodePtr child = root->children;
    EXPECT_EQ(trees::kind_of(own(document, child)), 17);
    for (child = child->next; child != nullptr; child = child->next) {
        EXPECT_EQ(trees::kind_of(own(document, child)), 13) << child->type;
    }
    EXPECT_EQ(trees::kind_of(own(document, root->prev)), 13); // the document type
    EXPECT_EQ(own(document, trees::node_of(document)), document);
}

TEST_F(own_handles, are_given_again) {
    const sql::handle document = trees::parsed("<a><b/></a>");
    xmlNodePtr const root = root_of(document);
    const sql::handle first = own(document, root);
    const int before = handles();
    EXPECT_EQ(own(document, root), first);
    EXPECT_EQ(own(first, root), first);
    EXPECT_EQ(own(own(document, root->children), root), first);
    EXPECT_EQ(handles(), before + 1);
    EXPECT_EQ(trees::node_of(first), root);
}

// The other names stand behind, however many there are and whenever they come.
TEST_F(own_handles, stay_first_whatever_else_names_the_node) {
    const sql::handle document = trees::parsed("<a/>");
    xmlNodePtr const root = root_of(document);
    const sql::handle before = trees::root(document);
    const sql::handle map = map_of(document, root);
    const sql::handle first = own(document, root);
    EXPECT_NE(first, before);
    for (int i = 0; i < 1000; ++i) {
        const sql::handle other = trees::root(document);
        EXPECT_EQ(own(document, root), first);
        EXPECT_EQ(map_of(document, root), map);
        if (i % 3 == 0) {
            trees::release(other);
        }
    }
    EXPECT_EQ(dbe::first_name(root), trees::entry_of(first));
    EXPECT_EQ(dbe::first_name(root)->names.next, trees::entry_of(map));
    EXPECT_TRUE(sql::check_invariants());
}

TEST_F(own_handles, are_made_anew_after_a_release) {
    const sql::handle document = trees::parsed("<a/>");
    xmlNodePtr const root = root_of(document);
    const sql::handle other = trees::root(document);
    const sql::handle first = own(document, root);
    trees::release(first);
    EXPECT_EQ(trees::node_of(first), nullptr);
    EXPECT_EQ(trees::node_of(other), root);
    const sql::handle second = own(document, root);
    EXPECT_NE(second, first);
    EXPECT_EQ(own(document, root), second);
    sql::call(xml_dom_free_node, second);
    EXPECT_TRUE(sql::check_invariants());
    EXPECT_EQ(trees::node_of(other), root);
}

TEST_F(own_handles, of_detached_nodes_end_with_their_last_name) {
    const sql::handle document = trees::parsed("<a/>");
    const sql::handle element = sql::call(xml_dom_create_element, document, "b").handle();
    const sql::handle first = own(document, trees::node_of(element));
    sql::call(xml_dom_free_node, element);
    EXPECT_STREQ(reinterpret_cast<const char *>(trees::node_of(first)->name), "b");
    sql::call(xml_dom_free_node, first);
    EXPECT_EQ(trees::node_of(first), nullptr);
}

TEST_F(own_handles, of_maps_are_one_for_an_element) {
    const sql::handle document = trees::parsed("<a x='1'/>");
    xmlNodePtr const root = root_of(document);
    const sql::handle map = map_of(document, root);
    EXPECT_EQ(map_of(document, root), map);
    EXPECT_EQ(trees::kind_of(map), 12);
    EXPECT_NE(own(document, root), map);
    EXPECT_EQ(map_of(document, root), map);
    // Functions that know nothing of own maps read it as any other.
    EXPECT_EQ(sql::call(xml_dom_get_length, map).integer(), 1);
    sql::call(xml_dom_set_attribute, trees::root(document), "y", "2");
    EXPECT_EQ(sql::call(xml_dom_get_length, map).integer(), 2);
    EXPECT_EQ(sql::call(xml_dom_get_node_value, sql::call(xml_dom_item, map, 1).handle()).text(),
              "2");
    EXPECT_EQ(sql::call(xml_dom_get_node_name, sql::call(xml_dom_get_named_item, map, "y").handle())
                  .text(),
              "y");
    EXPECT_TRUE(sql::call(xml_dom_get_named_item, map, "a").is_null());
    trees::release(map);
    EXPECT_NE(map_of(document, root), map);
}

// A parser's document is named by as many ids as it was asked for.
TEST_F(own_handles, of_a_document_are_one_of_its_shares) {
    const sql::handle parser = sql::call(xmlparser_new_parser).handle();
    sql::call(xmlparser_parse_clob, parser, "<a><b/></a>");
    const sql::handle first = sql::call(xmlparser_get_doc, parser).handle();
    const sql::handle second = sql::call(xmlparser_get_doc, parser).handle();
    const sql::handle third = sql::call(xmlparser_get_doc, parser).handle();
    ASSERT_NE(first, second);
    xmlNodePtr const document = trees::node_of(first);
    EXPECT_EQ(own(second, document), first);
    const sql::handle root = own(second, root_of(first));
    EXPECT_EQ(own(first, root_of(first)), root);
    EXPECT_EQ(root.document_id(), second.document_id());
    sql::call(xml_dom_free_document, first);
    const sql::handle next = own(third, document);
    EXPECT_TRUE(next == second || next == third);
    EXPECT_EQ(own(second, document), next);
    EXPECT_TRUE(sql::check_invariants());
    // A node's handle goes with the id that it was made under; the node gets another.
    sql::call(xml_dom_free_document, second);
    EXPECT_EQ(trees::entry_of(root), nullptr);
    EXPECT_EQ(own(third, document), third);
    EXPECT_EQ(own(third, root_of(third)).document_id(), third.document_id());
}

TEST_F(own_handles, of_a_released_document_handle_pass_on) {
    const sql::handle parser = sql::call(xmlparser_new_parser).handle();
    sql::call(xmlparser_parse_clob, parser, "<a/>");
    const sql::handle first = sql::call(xmlparser_get_doc, parser).handle();
    const sql::handle second = sql::call(xmlparser_get_doc, parser).handle();
    const sql::handle as_node = sql::call(xml_dom_makenode, second).handle();
    xmlNodePtr const document = trees::node_of(second);
    trees::release(first);
    EXPECT_TRUE(sql::check_invariants());
    EXPECT_EQ(own(as_node, document), second);
}

// An imported document shares the family of the one it was imported into and has no share.
TEST_F(own_handles, of_imported_nodes_are_made_in_the_family) {
    const sql::handle target = trees::parsed("<a/>");
    const sql::handle source = trees::parsed("<b><c/></b>");
    const sql::handle node = sql::call(xml_dom_makenode, source).handle();
    const sql::handle copy = sql::call(xml_dom_import_node, target, node, true).handle();
    xmlNodePtr const document = trees::node_of(copy);
    ASSERT_EQ(document->type, XML_DOCUMENT_NODE);
    const sql::handle own_copy = own(target, document);
    EXPECT_EQ(own(copy, document), own_copy);
    EXPECT_EQ(trees::kind_of(own_copy), 5);
    EXPECT_NE(own_copy.node_id(), 0U);
    const sql::handle root = own(copy, document->children);
    EXPECT_EQ(own(target, document->children), root);
    sql::call(xml_dom_free_document, source);
    EXPECT_EQ(trees::node_of(root), document->children);
    EXPECT_TRUE(sql::check_invariants());
    sql::call(xml_dom_free_document, target);
    EXPECT_EQ(trees::node_of(root), nullptr);
}

// A text that is merged into another is known no more, by whatever handle.
TEST_F(own_handles, end_with_all_names_of_a_node) {
    const sql::handle document = trees::parsed("<a>one</a>");
    const sql::handle root = trees::root_node(document);
    const sql::handle text = sql::call(xml_dom_create_text_node, document, "two").handle();
    const sql::handle first = own(document, trees::node_of(text));
    sql::call(xml_dom_append_child, root, text);
    EXPECT_EQ(trees::entry_of(text), nullptr);
    EXPECT_EQ(trees::entry_of(first), nullptr);
}

// Thousands of them, released again: their pages go and come back.
TEST_F(own_handles, of_many_nodes_keep_their_bytes) {
    std::string text = "<a>";
    for (int i = 0; i < 3000; ++i) {
        text += "<b/>";
    }
    const sql::handle document = trees::parsed(text + "</a>");
    std::vector<sql::handle> first;
    for (xmlNodePtr node = root_of(document)->children; node != nullptr; node = node->next) {
        first.push_back(own(document, node));
    }
    EXPECT_TRUE(sql::check_invariants());
    std::size_t place = 0;
    for (xmlNodePtr node = root_of(document)->children; node != nullptr; node = node->next) {
        ASSERT_EQ(own(document, node), first[place++]);
    }
    for (const sql::handle &handle : first) {
        trees::release(handle);
    }
    EXPECT_TRUE(sql::check_invariants());
    for (xmlNodePtr node = root_of(document)->children; node != nullptr; node = node->next) {
        const sql::handle again = own(document, node);
        ASSERT_EQ(own(document, node), again);
    }
}

// Making one fails before anything has changed.
TEST_F(own_handles, leave_nothing_when_memory_runs_out) {
    for (int at = 1; at < 8; ++at) {
        restart_session();
        const sql::handle document = trees::parsed("<a/>");
        const int before = handles();
        host::standalone::fail_call(host::standalone::service::allocation, at);
        const std::string state =
            sql::sqlstate_of([&document] { static_cast<void>(own(document, root_of(document))); });
        host::standalone::clear_faults();
        EXPECT_EQ(handles(), before + (state == "none" ? 1 : 0)) << state;
        EXPECT_EQ(dbe::find_own_entry(root_of(document)) == nullptr, state != "none");
        EXPECT_TRUE(sql::check_invariants());
    }
}

} // namespace
