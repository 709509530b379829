// Walking a tree: parent, first and last child, next sibling, list of children.
#include "trees.hpp"

#include "faults.hpp"
#include "standalone_session.hpp"

namespace {

using namespace trees;

class navigation : public sql::session_test {
  protected:
    // Calls the function, expects a handle of kind 13 and returns it.
    static sql::handle step(sql::function function, const sql::handle &from) {
        const sql::handle reached = sql::call(function, from).handle();
        EXPECT_EQ(kind_of(reached), 13);
        return reached;
    }
    static std::string name_after(sql::function function, const sql::handle &from) {
        return sql::call(xml_dom_get_node_name, step(function, from)).text();
    }
};

constexpr sql::function k_steps[] = {xml_dom_get_parent_node, xml_dom_get_first_child,
                                     xml_dom_get_last_child, xml_dom_get_next_sibling,
                                     xml_dom_get_child_nodes};

TEST_F(navigation, null_gives_null) {
    for (const sql::function function : k_steps) {
        EXPECT_TRUE(sql::call(function, sql::null).is_null());
    }
}

TEST_F(navigation, released_handle_gives_null) {
    const sql::handle handle = root(parsed("<a><b/></a>"));
    release(handle);
    for (const sql::function function : k_steps) {
        EXPECT_TRUE(sql::call(function, handle).is_null());
    }
}

TEST_F(navigation, walks_in_every_direction) {
    const sql::handle document = parsed("<a>one<b/>two</a>");
    const sql::handle element = root(document);
    const sql::handle one = step(xml_dom_get_first_child, element);
    EXPECT_EQ(sql::call(xml_dom_get_node_value, one).text(), "one");
    const sql::handle second = step(xml_dom_get_next_sibling, one);
    EXPECT_EQ(sql::call(xml_dom_get_node_name, second).text(), "b");
    EXPECT_TRUE(sql::call(xml_dom_get_first_child, second).is_null());
    EXPECT_TRUE(sql::call(xml_dom_get_last_child, second).is_null());
    const sql::handle last = step(xml_dom_get_last_child, element);
    EXPECT_EQ(sql::call(xml_dom_get_node_value, last).text(), "two");
    EXPECT_TRUE(sql::call(xml_dom_get_next_sibling, last).is_null());
    EXPECT_EQ(name_after(xml_dom_get_parent_node, last), "a");
}

TEST_F(navigation, parent_of_the_root_is_the_document_and_ends_there) {
    const sql::handle document = parsed("<a/>");
    const sql::handle parent = step(xml_dom_get_parent_node, root(document));
    EXPECT_EQ(sql::call(xml_dom_get_node_type, parent).integer(), 9);
    EXPECT_EQ(node_of(parent), node_of(document));
    EXPECT_TRUE(sql::call(xml_dom_get_parent_node, parent).is_null());
}

TEST_F(navigation, first_child_of_a_document_is_an_element_and_last_child_is_any_node) {
    const sql::handle document = parsed("<?first?><!--c--><!DOCTYPE a><a/><!--end-->");
    EXPECT_EQ(name_after(xml_dom_get_first_child, document), "a");
    EXPECT_EQ(name_after(xml_dom_get_last_child, document), "#comment");
    // Also through a handle of kind node.
    const sql::handle as_node = sql::call(xml_dom_makenode, document).handle();
    EXPECT_EQ(name_after(xml_dom_get_first_child, as_node), "a");
    EXPECT_EQ(name_after(xml_dom_get_last_child, as_node), "#comment");
    const sql::handle children = sql::call(xml_dom_get_child_nodes, document).handle();
    EXPECT_EQ(names_in(children), "first #comment a a #comment");
}

TEST_F(navigation, first_child_of_a_document_without_elements_is_null) {
    const sql::handle document = empty_document();
    EXPECT_TRUE(sql::call(xml_dom_get_first_child, document).is_null());
    EXPECT_TRUE(sql::call(xml_dom_get_last_child, document).is_null());
    {
        const host::tree_scope scope;
        xmlAddChild(node_of(document), xmlNewDocComment(document_of(document), xml("c")));
    }
    EXPECT_TRUE(sql::call(xml_dom_get_first_child, document).is_null());
    EXPECT_EQ(name_after(xml_dom_get_last_child, document), "#comment");
}

TEST_F(navigation, attributes_have_a_first_child_but_no_parent_and_no_sibling) {
    const sql::handle document = parsed("<a x='1' y='2'/>");
    const sql::handle x = sql::call(xml_dom_get_attribute_node, root(document), "x").handle();
    EXPECT_TRUE(sql::call(xml_dom_get_parent_node, x).is_null());
    EXPECT_TRUE(sql::call(xml_dom_get_next_sibling, x).is_null());
    const sql::handle value = step(xml_dom_get_first_child, x);
    EXPECT_EQ(sql::call(xml_dom_get_node_name, value).text(), "#text");
    EXPECT_EQ(sql::call(xml_dom_get_node_value, value).text(), "1");
    EXPECT_EQ(node_of(step(xml_dom_get_last_child, x)), node_of(value));
    EXPECT_EQ(node_of(step(xml_dom_get_parent_node, value)), node_of(x));
    EXPECT_EQ(names_in(sql::call(xml_dom_get_child_nodes, x).handle()), "#text");
}

TEST_F(navigation, each_step_makes_a_handle_of_its_own_for_the_same_node) {
    const sql::handle document = parsed("<a><b/></a>");
    const sql::handle element = root(document);
    const sql::handle once = step(xml_dom_get_first_child, element);
    const sql::handle twice = step(xml_dom_get_first_child, element);
    EXPECT_NE(once.node_id(), twice.node_id());
    EXPECT_EQ(node_of(once), node_of(twice));
    EXPECT_EQ(once.document_id(), document.document_id());
    EXPECT_EQ(once.serial(), document.serial());
    EXPECT_EQ(twice.node_id(), once.node_id() + 1);
}

TEST_F(navigation, result_has_the_form_of_a_handle) {
    const sql::handle element = root(parsed("<a><b/></a>"));
    const std::string stored = sql::call(xml_dom_get_first_child, element).stored_bytes();
    ASSERT_EQ(stored.size(), 17U);
    EXPECT_EQ(static_cast<unsigned char>(stored[0]), 17U << 2U);
    EXPECT_EQ(stored[16], 1);
}

TEST_F(navigation, short_and_long_headers_are_the_same_handle) {
    sql::handle element = root(parsed("<a><b/></a>"));
    element.header = sql::handle::header_form::short_form;
    EXPECT_EQ(name_after(xml_dom_get_first_child, element), "b");
    element.header = sql::handle::header_form::long_form;
    EXPECT_EQ(name_after(xml_dom_get_first_child, element), "b");
}

TEST_F(navigation, blank_texts_between_children_are_no_members) {
    const sql::handle element = root(parsed("<r>\n  <a/>\n  <b/>\n</r>"));
    const sql::result list = sql::call(xml_dom_get_child_nodes, element);
    EXPECT_EQ(kind_of(list.handle()), 14);
    EXPECT_EQ(names_in(list.handle()), "a b");
}

TEST_F(navigation, a_lone_blank_text_is_a_member) {
    const sql::handle element = root(parsed("<r> \n </r>"));
    EXPECT_EQ(names_in(sql::call(xml_dom_get_child_nodes, element).handle()), "#text");
}

TEST_F(navigation, a_blank_section_is_a_member) {
    const auto names = [](std::string_view xml) {
        return names_in(sql::call(xml_dom_get_child_nodes, root(parsed(xml))).handle());
    };
    EXPECT_EQ(names("<r><b/><![CDATA[ ]]><c/></r>"), "b #cdata-section c");
    EXPECT_EQ(names("<r> <![CDATA[ ]]>\n</r>"), "#cdata-section");
    EXPECT_EQ(names("<r><b/><![CDATA[]]></r>"), "b #cdata-section");
    EXPECT_EQ(names("<r>x<![CDATA[ ]]>y</r>"), "#text #cdata-section #text");
}

TEST_F(navigation, child_list_of_a_childless_node_is_empty_and_not_null) {
    const sql::handle list = sql::call(xml_dom_get_child_nodes, root(parsed("<r/>"))).handle();
    EXPECT_EQ(sql::call(xml_dom_get_length, list).integer(), 0);
    EXPECT_TRUE(sql::call(xml_dom_is_null, list).boolean());
    EXPECT_TRUE(sql::call(xml_dom_item, list, 0).is_null());
}

TEST_F(navigation, child_list_keeps_its_members_when_they_leave_the_tree) {
    const sql::handle document = parsed("<r><a/><b/></r>");
    const sql::handle list = sql::call(xml_dom_get_child_nodes, root(document)).handle();
    {
        const host::tree_scope scope;
        pkg_dbe_xml::family &family = pkg_dbe_xml::family_of(*entry_of(document));
        pkg_dbe_xml::retire(family, node_of(root(document))->children);
    }
    EXPECT_EQ(names_in(list), "a b");
    const sql::handle detached = sql::call(xml_dom_item, list, 0).handle();
    EXPECT_TRUE(sql::call(xml_dom_get_parent_node, detached).is_null());
    EXPECT_TRUE(sql::call(xml_dom_get_next_sibling, detached).is_null());
}

TEST_F(navigation, lists_and_maps_are_no_nodes) {
    const sql::handle document = parsed("<r x='1'><a/></r>");
    const sql::handle list = sql::call(xml_dom_get_child_nodes, root(document)).handle();
    const sql::handle map = sql::call(xml_dom_get_attributes, root_node(document)).handle();
    for (const sql::function function : k_steps) {
        EXPECT_REPORT(sql::call(function, list), reports::inconsistent_types);
        EXPECT_REPORT(sql::call(function, map), reports::inconsistent_types);
    }
    // One that names nothing reads as null.
    const sql::handle none = sql::call(xml_dom_get_attributes, root_node(parsed("<r/>"))).handle();
    release(list);
    for (const sql::function function : k_steps) {
        EXPECT_TRUE(sql::call(function, list).is_null());
        EXPECT_TRUE(sql::call(function, none).is_null());
    }
}

TEST_F(navigation, walks_into_the_document_type_and_its_declarations) {
    const sql::handle document = parsed("<!DOCTYPE r [<!ELEMENT r ANY><!ATTLIST r x CDATA #IMPLIED>"
                                        "<!ENTITY e 'text'>]><r/>");
    const sql::handle children = sql::call(xml_dom_get_child_nodes, document).handle();
    const sql::handle doctype = sql::call(xml_dom_item, children, 0).handle();
    EXPECT_EQ(sql::call(xml_dom_get_node_type, doctype).integer(), 14);
    const sql::handle element = step(xml_dom_get_first_child, doctype);
    EXPECT_EQ(sql::call(xml_dom_get_node_type, element).integer(), 15);
    EXPECT_TRUE(sql::call(xml_dom_get_first_child, element).is_null());
    const sql::handle attribute = step(xml_dom_get_next_sibling, element);
    EXPECT_EQ(sql::call(xml_dom_get_node_type, attribute).integer(), 16);
    const sql::handle entity = step(xml_dom_get_next_sibling, attribute);
    EXPECT_EQ(sql::call(xml_dom_get_node_type, entity).integer(), 17);
    EXPECT_TRUE(sql::call(xml_dom_get_next_sibling, entity).is_null());
    EXPECT_EQ(node_of(step(xml_dom_get_parent_node, entity)), node_of(doctype));
    EXPECT_EQ(node_of(step(xml_dom_get_last_child, doctype)), node_of(entity));
    EXPECT_EQ(name_after(xml_dom_get_next_sibling, doctype), "r");
}

TEST_F(navigation, an_entity_reference_has_no_children) {
    const sql::handle document = parsed("<!DOCTYPE r [<!ENTITY e 'a<b/>'>]><r>&e;</r>");
    const sql::handle reference = step(xml_dom_get_first_child, root(document));
    ASSERT_EQ(sql::call(xml_dom_get_node_type, reference).integer(), 5);
    ASSERT_NE(node_of(reference)->children, nullptr);
    EXPECT_TRUE(sql::call(xml_dom_get_first_child, reference).is_null());
    EXPECT_TRUE(sql::call(xml_dom_get_last_child, reference).is_null());
    EXPECT_EQ(sql::call(xml_dom_get_length, sql::call(xml_dom_get_child_nodes, reference).handle())
                  .integer(),
              0);
}

TEST_F(navigation, list_that_cannot_be_made_is_out_of_memory) {
    const sql::handle element = root(parsed("<r><a/><b/></r>"));
    const auto before = pkg_dbe_xml::xml_count_hashentries();
    for (int call = 1; call <= 3; ++call) {
        host::standalone::fail_call(host::standalone::service::libxml2_allocation, call);
        const sql::result outcome = sql::call(xml_dom_get_child_nodes, element);
        host::standalone::clear_faults();
        EXPECT_REPORT(outcome, reports::out_of_memory);
    }
    EXPECT_EQ(pkg_dbe_xml::xml_count_hashentries(), before);
    EXPECT_EQ(names_in(sql::call(xml_dom_get_child_nodes, element).handle()), "a b");
}

TEST_F(navigation, a_long_list_of_children_can_be_cancelled) {
    std::string text = "<r>";
    for (int i = 0; i < 20000; ++i) {
        text += "<a/>";
    }
    const sql::handle element = root(parsed(text + "</r>"));
    host::standalone::cancel_after_polls(1);
    const sql::result outcome = sql::call(xml_dom_get_child_nodes, element);
    host::standalone::forget_cancel();
    EXPECT_TRUE(outcome.failed());
    const sql::handle list = sql::call(xml_dom_get_child_nodes, element).handle();
    EXPECT_EQ(sql::call(xml_dom_get_length, list).integer(), 20000);
}

} // namespace
