// The audit of a session finds what is broken: each test breaks one thing, and mends it again.
#include "libxml/xml.hpp"
#include "registry.hpp"
#include "registry/dom_map.hpp"
#include "standalone_session.hpp"
#include "support/broken_tables.hpp"
#include "support/invariants.hpp"
#include "support/sql.hpp"

#include <cstring>
#include <utility>

namespace {

namespace dbe = pkg_dbe_xml;

class invariants : public sql::session_test {
  protected:
    void SetUp() override {
        sql::session_test::SetUp();
        document = sql::call(xml_dom_new_document_clob,
                             "<!DOCTYPE r [<!ENTITY e \"x\">]><r xmlns:p=\"u\" a=\"1\" p:b=\"2\">"
                             "<c>t</c><d/>tail &e;</r>")
                       .handle();
        root = sql::call(xml_dom_get_document_element, document).handle();
        first = sql::call(xml_dom_get_first_child, root).handle();
        list = sql::call(xml_dom_get_child_nodes, root).handle();
        loose = sql::call(xml_dom_create_element, document, "loose").handle();
    }

    static dbe::XMLHashEntry &entry_of(const sql::handle &handle) {
        dbe::DomKey key;
        std::memcpy(key.bytes.data(), handle.bytes.data(), key.bytes.size());
        return *dbe::xml_get_hashentry(dbe::XMLEntryType::dom_map, key);
    }
    static xmlNodePtr node_of(const sql::handle &handle) {
        return static_cast<xmlNodePtr>(entry_of(handle).object);
    }
    // The audit complains of exactly this while `member` holds `wrong`.
    template <class Member, class Value>
    static void expect_found(Member &member, Value wrong, std::string_view complaint) {
        ASSERT_EQ(sql::broken_invariants(), "");
        const Member right = std::exchange(member, static_cast<Member>(wrong));
        const std::string found = sql::broken_invariants();
        member = right;
        EXPECT_NE(found.find(complaint), std::string::npos) << "found: " << found;
        EXPECT_EQ(sql::broken_invariants(), "");
    }

    // Before the session begins and after it has ended.
    sql::node_watch watch;
    sql::handle document, root, first, list, loose;
};

TEST_F(invariants, hold_after_ordinary_calls) {
    EXPECT_TRUE(sql::check_invariants());
    EXPECT_FALSE(sql::call(xml_dom_append_child, root, loose).failed());
    EXPECT_FALSE(sql::call(xml_dom_free_node, first).failed());
    EXPECT_FALSE(sql::call(xml_dom_free_nodelist, list).failed());
    EXPECT_TRUE(sql::check_invariants());
    const sql::handle parser = sql::call(xmlparser_new_parser).handle();
    EXPECT_FALSE(sql::call(xmlparser_parse_clob, parser, "<a><b/></a>").failed());
    EXPECT_TRUE(sql::check_invariants());
    const sql::handle parsed = sql::call(xmlparser_get_doc, parser).handle();
    EXPECT_FALSE(sql::call(xml_dom_import_node, document,
                           sql::call(xml_dom_get_document_element, parsed).handle(), true)
                     .failed());
    EXPECT_TRUE(sql::check_invariants());
    EXPECT_FALSE(sql::call(xml_dom_free_document, document).failed());
    EXPECT_TRUE(sql::check_invariants());
    EXPECT_FALSE(sql::call(xml_dom_free_document, parsed).failed());
    EXPECT_TRUE(sql::check_invariants());
}

TEST_F(invariants, hold_in_a_session_that_did_nothing) {
    restart_session();
    EXPECT_TRUE(sql::check_invariants());
}

TEST_F(invariants, broken_links_are_found) {
    xmlNodePtr child = node_of(first);
    expect_found(child->parent, nullptr, "the links of a child");
    expect_found(child->next->prev, nullptr, "the links of a child");
    expect_found(child->parent->last, child, "the last child");
    expect_found(node_of(root)->properties->parent, nullptr, "the links of an attribute");
    expect_found(child->doc, reinterpret_cast<xmlDocPtr>(child), "a document that is not alive");
    expect_found(child->children->next, child->children, "reached twice");
    expect_found(node_of(loose)->children, child, "reached twice");
}

TEST_F(invariants, lost_names_are_found) {
    expect_found(node_of(first)->_private, nullptr, "are known to them");
    expect_found(node_of(loose)->_private, &entry_of(first), "the names of a node is broken");
    expect_found(entry_of(first).names.previous, &entry_of(root), "the names of a node is broken");
}

TEST_F(invariants, names_of_dead_nodes_are_found) {
    xmlNodePtr dead = nullptr;
    {
        const host::tree_scope scope;
        dead = xmlNewComment(BAD_CAST "dead");
        xmlFreeNode(dead);
    }
    expect_found(entry_of(loose).object, dead, "that is not alive");
}

TEST_F(invariants, wrong_marks_are_found) {
    xmlNodePtr child = node_of(first);
    const auto names = reinterpret_cast<std::uintptr_t>(child->_private);
    EXPECT_EQ(names & 7U, 0U);
    expect_found(child->_private, reinterpret_cast<void *>(names | 1U), "as a witness and is none");
    expect_found(child->_private, reinterpret_cast<void *>(names | 2U), "that is no root");
    expect_found(child->_private, reinterpret_cast<void *>(names | 4U), "a mark that does not");
    pkg_dbe_xml::set_list_count(child, 5);
    EXPECT_NE(sql::broken_invariants().find("counts 5 lists"), std::string::npos);
    pkg_dbe_xml::set_list_count(child, 0);
    EXPECT_NE(sql::broken_invariants().find("counts 0 lists"), std::string::npos);
    pkg_dbe_xml::set_list_count(child, 1);
}

TEST_F(invariants, trees_that_nobody_needs_are_found) {
    const sql::handle inner = sql::call(xml_dom_create_text_node, document, "text").handle();
    EXPECT_FALSE(sql::call(xml_dom_append_child, loose, inner).failed());
    const auto names = reinterpret_cast<std::uintptr_t>(node_of(loose)->_private);
    EXPECT_FALSE(sql::call(xml_dom_free_element, loose).failed());
    xmlNodePtr const child = node_of(inner);
    xmlNodePtr const top = child->parent;
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(top->_private),
              reinterpret_cast<std::uintptr_t>(child) | 2U);
    EXPECT_NE(names, 0U);
    expect_found(top->_private, nullptr, "without a witness");
    expect_found(dbe::current_registry()->witnesses, 7U, "and 7 were counted");
    expect_found(top->_private,
                 reinterpret_cast<void *>(reinterpret_cast<std::uintptr_t>(node_of(first)) | 2U),
                 "kept for a node that nobody needs, or for another tree's");
    xmlNodePtr const forgotten = xmlNewComment(BAD_CAST "forgotten");
    EXPECT_EQ(sql::broken_invariants(), "1 nodes are alive that nobody keeps\n");
    xmlFreeNode(forgotten);
    EXPECT_EQ(sql::broken_invariants(), "");
}

TEST_F(invariants, families_that_do_not_know_of_detached_trees_are_found) {
    expect_found(dbe::find_family(entry_of(loose))->has_detached, false,
                 "does not know that it has a detached tree");
}

TEST_F(invariants, wrong_tables_are_found) {
    expect_found(entry_of(loose).key.bytes[12], std::byte{0}, "wrong type or flag");
    expect_found(entry_of(loose).key.bytes[4], std::byte{99}, "not found by its key");
    dbe::family &family = *dbe::find_family(entry_of(document));
    expect_found(family.shares, 2U, "shares");
    expect_found(family.main, nullptr, "another document");
    expect_found(family.ids->previous_in_family, family.ids, "the chain of document ids");
    expect_found(sql::handle_count(), std::size_t{77}, "and counts 77");
    expect_found(family.ids->first_freed, 200U, "free node ids");
    expect_found(entry_of(list).members.size, 1U, "a length other than");
    expect_found(family.ids->next_slot, &entry_of(first), "a wrong slot for its next node id");
    expect_found(family.ids->last_slot, family.ids->last_slot - 1, "a wrong last slot");
    expect_found(sql::recent_entry(entry_of(root).key.node_id()), &entry_of(first),
                 "the entries made or found last");
}

TEST_F(invariants, lost_namespaces_are_found) {
    xmlNodePtr top = node_of(root);
    xmlAttrPtr prefixed = top->properties->next;
    ASSERT_NE(prefixed->ns, nullptr);
    xmlNs stranger{};
    stranger.type = XML_NAMESPACE_DECL;
    expect_found(prefixed->ns, &stranger, "a namespace record that its family does not hold");
    expect_found(top->nsDef, nullptr, "a namespace record that its family does not hold");
}

TEST_F(invariants, freeing_a_named_node_is_found) {
    xmlNodePtr named = nullptr;
    {
        const host::tree_scope scope;
        named = xmlNewComment(BAD_CAST "named");
    }
    dbe::XMLHashEntry entry{};
    entry.object = named;
    named->_private = &entry;
    xmlFreeNode(named);
    EXPECT_EQ(sql::broken_invariants(), "1 nodes were freed while named\n");
}

TEST_F(invariants, open_scopes_are_found) {
    expect_found(host::gate.depth, 1U, "a scope of libxml2 was left open");
}

} // namespace
