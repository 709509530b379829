// Reading an element: attribute values, names, attribute handles, children by tag name.
#include "trees.hpp"

#include "faults.hpp"
#include "standalone_session.hpp"

namespace {

using namespace trees;

class element_queries : public sql::session_test {
  protected:
    static sql::handle first_child(const sql::handle &parent) {
        return sql::call(xml_dom_get_first_child, parent).handle();
    }
    static sql::handle list_of_children(const sql::handle &node) {
        return sql::call(xml_dom_get_child_nodes, node).handle();
    }
    static sql::handle map_of(const sql::handle &document) {
        return sql::call(xml_dom_get_attributes, root_node(document)).handle();
    }
};

TEST_F(element_queries, null_gives_null) {
    const sql::handle element = root(parsed("<r a='1'/>"));
    EXPECT_TRUE(sql::call(xml_dom_get_attribute, sql::null, "a").is_null());
    EXPECT_TRUE(sql::call(xml_dom_get_attribute, element, sql::null).is_null());
    EXPECT_TRUE(sql::call(xml_dom_get_tagname, sql::null).is_null());
    EXPECT_TRUE(sql::call(xml_dom_get_localname, sql::null).is_null());
    EXPECT_TRUE(sql::call(xml_dom_get_attribute_node, sql::null, "a").is_null());
    EXPECT_TRUE(sql::call(xml_dom_get_attribute_node, element, sql::null).is_null());
    EXPECT_TRUE(sql::call(xml_dom_get_attribute_node, sql::null, "a", "u").is_null());
    EXPECT_TRUE(sql::call(xml_dom_get_attribute_node, element, sql::null, "u").is_null());
    EXPECT_TRUE(sql::call(xml_dom_get_children_by_tagname, sql::null, "a").is_null());
    EXPECT_TRUE(sql::call(xml_dom_get_children_by_tagname, element, sql::null).is_null());
    EXPECT_TRUE(sql::call(xml_dom_get_children_by_tagname_ns, sql::null, "a", "u").is_null());
    EXPECT_TRUE(sql::call(xml_dom_get_children_by_tagname_ns, element, sql::null, "u").is_null());
    EXPECT_TRUE(sql::call(xml_dom_get_children_by_tagname_ns, element, "a", sql::null).is_null());
}

// --- attribute values
// -------------------------------------------------------------------------------

TEST_F(element_queries, attribute_value) {
    const sql::handle element = root(parsed("<r xmlns:p='urn:p' a='one' e='' p:b='two'/>"));
    EXPECT_EQ(sql::call(xml_dom_get_attribute, element, "a").text(), "one");
    EXPECT_EQ(sql::call(xml_dom_get_attribute, element, "e").text(), "");
    // Found by its local name whatever its namespace.
    EXPECT_EQ(sql::call(xml_dom_get_attribute, element, "b").text(), "two");
    EXPECT_TRUE(sql::call(xml_dom_get_attribute, element, "p:b").is_null());
    EXPECT_TRUE(sql::call(xml_dom_get_attribute, element, "c").is_null());
    EXPECT_TRUE(sql::call(xml_dom_get_attribute, element, "").is_null());
    EXPECT_TRUE(sql::call(xml_dom_get_attribute, element, "xmlns").is_null());
}

TEST_F(element_queries, attribute_without_children_has_an_empty_value) {
    const sql::handle document = parsed("<r a='1'/>");
    const sql::handle element = root(document);
    pkg_dbe_xml::retire_children(pkg_dbe_xml::family_of(*entry_of(document)),
                                 reinterpret_cast<xmlNodePtr>(node_of(element)->properties));
    EXPECT_EQ(sql::call(xml_dom_get_attribute, element, "a").text(), "");
    EXPECT_TRUE(sql::call(xml_dom_get_node_value,
                          sql::call(xml_dom_get_attribute_node, element, "a").handle())
                    .is_null());
}

TEST_F(element_queries, attribute_value_of_a_default) {
    const sql::handle element =
        root(parsed("<!DOCTYPE r [<!ATTLIST r d CDATA 'dv' i CDATA #IMPLIED>]>"
                    "<r/>"));
    EXPECT_EQ(sql::call(xml_dom_get_attribute, element, "d").text(), "dv");
    EXPECT_TRUE(sql::call(xml_dom_get_attribute, element, "i").is_null());
}

TEST_F(element_queries, attribute_value_looks_at_the_kind_first) {
    const sql::handle document = parsed("<r a='1'/>");
    const sql::handle node = root_node(document);
    EXPECT_REPORT(sql::call(xml_dom_get_attribute, node, "a"), reports::unsupported_kind);
    EXPECT_REPORT(sql::call(xml_dom_get_attribute, document, "a"), reports::unsupported_kind);
    EXPECT_REPORT(sql::call(xml_dom_get_attribute, list_of_children(node), "a"),
                  reports::unsupported_kind);
    EXPECT_REPORT(sql::call(xml_dom_get_attribute, map_of(document), "a"),
                  reports::unsupported_kind);
    release(node);
    EXPECT_REPORT(sql::call(xml_dom_get_attribute, node, "a"), reports::unsupported_kind);
    const sql::handle element = root(document);
    release(element);
    EXPECT_TRUE(sql::call(xml_dom_get_attribute, element, "a").is_null());
}

// --- names
// ------------------------------------------------------------------------------------------

TEST_F(element_queries, tag_name_has_the_prefix_and_local_name_has_not) {
    const sql::handle prefixed = root(parsed("<p:r xmlns:p='urn:p'/>"));
    EXPECT_EQ(sql::call(xml_dom_get_tagname, prefixed).text(), "p:r");
    EXPECT_EQ(sql::call(xml_dom_get_localname, prefixed).text(), "r");
    const sql::handle in_default = root(parsed("<r xmlns='urn:d'/>"));
    EXPECT_EQ(sql::call(xml_dom_get_tagname, in_default).text(), "r");
    EXPECT_EQ(sql::call(xml_dom_get_localname, in_default).text(), "r");
}

TEST_F(element_queries, an_empty_prefix_counts_only_for_the_node_name) {
    const sql::handle document = parsed("<r/>");
    const sql::handle element = root(document);
    {
        const host::tree_scope scope;
        xmlNsPtr record = xmlNewNs(node_of(element), xml("urn:e"), xml(""));
        ASSERT_NE(record, nullptr);
        node_of(element)->ns = record;
    }
    EXPECT_EQ(sql::call(xml_dom_get_tagname, element).text(), "r");
    EXPECT_EQ(sql::call(xml_dom_get_node_name, element).text(), ":r");
}

TEST_F(element_queries, tag_name_looks_at_the_kind_first) {
    const sql::handle document = parsed("<r a='1'><e/></r>");
    const sql::handle node = root_node(document);
    EXPECT_REPORT(sql::call(xml_dom_get_tagname, node), reports::unsupported_kind);
    EXPECT_REPORT(sql::call(xml_dom_get_tagname, document), reports::unsupported_kind);
    EXPECT_REPORT(sql::call(xml_dom_get_tagname, list_of_children(node)),
                  reports::unsupported_kind);
    EXPECT_REPORT(sql::call(xml_dom_get_tagname, map_of(document)), reports::unsupported_kind);
    release(node);
    EXPECT_REPORT(sql::call(xml_dom_get_tagname, node), reports::unsupported_kind);
    const sql::handle element = root(document);
    release(element);
    EXPECT_TRUE(sql::call(xml_dom_get_tagname, element).is_null());
}

TEST_F(element_queries, tag_name_of_other_nodes_cast_to_elements) {
    const sql::handle document =
        parsed("<!DOCTYPE r [<!ENTITY e 'x'>]><r><![CDATA[c]]>&e;<?p d?><!--m--></r>");
    std::string names;
    for (xmlNodePtr node = node_of(root(document))->children; node != nullptr; node = node->next) {
        const sql::handle cast = sql::call(xml_dom_make_element, named(document, node)).handle();
        const sql::result name = sql::call(xml_dom_get_tagname, cast);
        names += name.is_null() ? "null " : name.text() + " ";
    }
    EXPECT_EQ(names, "null e p comment ");
    const sql::handle doctype =
        sql::call(xml_dom_make_element, named(document, document_of(document)->children)).handle();
    EXPECT_EQ(sql::call(xml_dom_get_tagname, doctype).text(), "r");
}

TEST_F(element_queries, local_name_takes_elements_nodes_and_attributes) {
    const sql::handle document = parsed("<p:r xmlns:p='urn:p' p:a='1'>t<![CDATA[c]]></p:r>");
    EXPECT_EQ(sql::call(xml_dom_get_localname, root(document)).text(), "r");
    EXPECT_EQ(sql::call(xml_dom_get_localname, root_node(document)).text(), "r");
    const sql::handle attribute =
        sql::call(xml_dom_get_attribute_node, root(document), "a").handle();
    EXPECT_EQ(sql::call(xml_dom_get_localname, attribute).text(), "a");
    const sql::handle text = first_child(root(document));
    EXPECT_EQ(sql::call(xml_dom_get_localname, text).text(), "text");
    // Sections and documents have no name.
    const sql::handle section = sql::call(xml_dom_get_next_sibling, text).handle();
    EXPECT_TRUE(sql::call(xml_dom_get_localname, section).is_null());
    EXPECT_TRUE(
        sql::call(xml_dom_get_localname, sql::call(xml_dom_makenode, document).handle()).is_null());
}

TEST_F(element_queries, local_name_of_other_kinds_is_refused_after_the_null_test) {
    const sql::handle document = parsed("<r a='1'>t</r>");
    const sql::handle text =
        named(document, node_of(root(document))->children, XMLDomNodeType::text);
    const sql::handle list = list_of_children(root(document));
    const sql::handle map = map_of(document);
    for (const sql::handle &handle : {document, text, list, map}) {
        EXPECT_REPORT(sql::call(xml_dom_get_localname, handle), reports::kind_mismatch);
    }
    for (const sql::handle &handle : {text, list, map}) {
        release(handle);
        EXPECT_TRUE(sql::call(xml_dom_get_localname, handle).is_null());
    }
}

// --- attribute handles
// ------------------------------------------------------------------------------

TEST_F(element_queries, attribute_node) {
    const sql::handle document = parsed("<r xmlns:p='urn:p' p:a='in' a='out' b='x'/>");
    const sql::handle element = root(document);
    const sql::handle any = sql::call(xml_dom_get_attribute_node, element, "a").handle();
    EXPECT_EQ(kind_of(any), 1);
    EXPECT_EQ(sql::call(xml_dom_get_node_value, any).text(), "in");
    EXPECT_EQ(any.document_id(), document.document_id());
    const sql::handle in = sql::call(xml_dom_get_attribute_node, element, "a", "urn:p").handle();
    EXPECT_EQ(sql::call(xml_dom_get_node_value, in).text(), "in");
    EXPECT_NE(in.node_id(), any.node_id());
    // A null third argument is as none; an empty one is a namespace that nothing has.
    const sql::handle with_null =
        sql::call(xml_dom_get_attribute_node, element, "a", sql::null).handle();
    EXPECT_EQ(node_of(with_null), node_of(any));
    EXPECT_TRUE(sql::call(xml_dom_get_attribute_node, element, "a", "").is_null());
    EXPECT_TRUE(sql::call(xml_dom_get_attribute_node, element, "a", "urn:q").is_null());
    EXPECT_TRUE(sql::call(xml_dom_get_attribute_node, element, "c").is_null());
    // The kind does not matter.
    EXPECT_EQ(kind_of(sql::call(xml_dom_get_attribute_node, root_node(document), "b").handle()), 1);
}

TEST_F(element_queries, attribute_node_carries_the_serial_of_the_session) {
    const sql::handle document = parsed("<r a='1'/>");
    const sql::handle other = parsed("<r/>");
    const sql::handle attribute =
        sql::call(xml_dom_get_attribute_node, root(document), "a").handle();
    EXPECT_EQ(attribute.serial(), other.serial() + 1);
    EXPECT_EQ(attribute.serial(), pkg_dbe_xml::xml_current_serial());
    // The counter stands still, and what comes from the handle copies its serial.
    EXPECT_EQ(sql::call(xml_dom_get_attribute_node, root(document), "a").handle().serial(),
              attribute.serial());
    EXPECT_EQ(first_child(attribute).serial(), attribute.serial());
    EXPECT_EQ(parsed("<r/>").serial(), attribute.serial());
}

TEST_F(element_queries, attribute_node_of_a_default_is_the_declaration) {
    const sql::handle document = parsed("<!DOCTYPE r [<!ATTLIST r d CDATA 'dv'>]><r/>");
    const sql::handle declared =
        sql::call(xml_dom_get_attribute_node, root(document), "d").handle();
    EXPECT_EQ(kind_of(declared), 1);
    EXPECT_EQ(sql::call(xml_dom_get_node_type, declared).integer(), 16);
    EXPECT_EQ(sql::call(xml_dom_get_node_name, declared).text(), "d");
    EXPECT_TRUE(sql::call(xml_dom_get_node_value, declared).is_null());
    EXPECT_EQ(sql::call(xml_dom_get_localname, declared).text(), "d");
    EXPECT_EQ(
        sql::call(xml_dom_get_node_type, sql::call(xml_dom_get_parent_node, declared).handle())
            .integer(),
        14);
}

TEST_F(element_queries, attribute_node_of_what_is_no_element) {
    const sql::handle document =
        parsed("<!DOCTYPE r [<!ELEMENT r ANY><!ENTITY e 'x'>]><r a='1'>t<![CDATA[c]]>&e;<?p?>"
               "<!--m--></r>");
    // A text passes and finds nothing.
    xmlNodePtr text = node_of(root(document))->children;
    EXPECT_TRUE(sql::call(xml_dom_get_attribute_node, named(document, text), "a").is_null());
    std::vector<xmlNodePtr> refused{
        node_of(document), document_of(document)->children,
        document_of(document)->children->children,
        reinterpret_cast<xmlNodePtr>(node_of(root(document))->properties)};
    for (xmlNodePtr node = text->next; node != nullptr; node = node->next) {
        refused.push_back(node);
    }
    for (xmlNodePtr node : refused) {
        EXPECT_REPORT(sql::call(xml_dom_get_attribute_node, named(document, node), "a"),
                      reports::not_for_get_attribute_node);
        EXPECT_REPORT(sql::call(xml_dom_get_attribute_node, named(document, node), "a", "u"),
                      reports::not_for_get_attribute_node);
    }
}

TEST_F(element_queries, attribute_node_of_collections_and_of_nothing) {
    const sql::handle document = parsed("<r a='1'><e/></r>");
    const sql::handle map = map_of(document);
    const sql::handle list = list_of_children(root(document));
    EXPECT_REPORT(sql::call(xml_dom_get_attribute_node, map, "a"),
                  reports::not_for_get_attribute_node);
    EXPECT_REPORT(sql::call(xml_dom_get_attribute_node, list, "a"), reports::inconsistent_types);
    const sql::handle element = root(document);
    for (const sql::handle &handle : {map, list, element}) {
        release(handle);
        EXPECT_REPORT(sql::call(xml_dom_get_attribute_node, handle, "a"), reports::node_gone);
        EXPECT_TRUE(sql::call(xml_dom_get_attribute_node, handle, sql::null).is_null());
    }
}

// --- children by tag name
// ---------------------------------------------------------------------------

TEST_F(element_queries, children_by_tag_name) {
    const sql::handle document = parsed("<r><a/><b><a/></b><a/><p:a xmlns:p='urn:p'/></r>");
    const sql::result list = sql::call(xml_dom_get_children_by_tagname, root(document), "a");
    EXPECT_EQ(kind_of(list.handle()), 14);
    EXPECT_EQ(names_in(list.handle()), "a a p:a");
    EXPECT_EQ(list.handle().serial(), document.serial());
    for (const char *name : {"c", "*", "p:a", ""}) {
        const sql::handle none =
            sql::call(xml_dom_get_children_by_tagname, root(document), name).handle();
        EXPECT_EQ(sql::call(xml_dom_get_length, none).integer(), 0) << name;
    }
}

TEST_F(element_queries, children_by_tag_name_start_at_the_first_element_and_then_take_any_node) {
    const sql::handle element =
        root(parsed("<r>zero<!--m--><a/>one<!--m--><?comment d?><b/>two</r>"));
    EXPECT_EQ(names_in(sql::call(xml_dom_get_children_by_tagname, element, "text").handle()),
              "#text #text");
    EXPECT_EQ(names_in(sql::call(xml_dom_get_children_by_tagname, element, "comment").handle()),
              "#comment comment");
    // They have no namespace.
    EXPECT_EQ(sql::call(xml_dom_get_length,
                        sql::call(xml_dom_get_children_by_tagname_ns, element, "text", "").handle())
                  .integer(),
              0);
    const sql::handle without = root(parsed("<r>zero</r>"));
    EXPECT_EQ(names_in(sql::call(xml_dom_get_children_by_tagname, without, "text").handle()), "");
}

TEST_F(element_queries, children_by_tag_name_in_a_namespace) {
    const sql::handle element = root(
        parsed("<r xmlns:p='urn:p' xmlns:q='urn:q'><a/><p:a/><q:a/><x:a xmlns:x='urn:p'/></r>"));
    const auto names = [&](const char *name, const char *uri) {
        return names_in(sql::call(xml_dom_get_children_by_tagname_ns, element, name, uri).handle());
    };
    EXPECT_EQ(names("a", "urn:p"), "p:a x:a");
    EXPECT_EQ(names("a", "urn:q"), "q:a");
    EXPECT_EQ(names("a", ""), "");
    EXPECT_EQ(names("a", "*"), "");
    EXPECT_EQ(names("*", "urn:p"), "");
}

TEST_F(element_queries, children_by_tag_name_test_the_object_first) {
    const sql::handle document = parsed("<r a='1'><e/></r>");
    const sql::handle node = root_node(document);
    const sql::handle list = list_of_children(node);
    const sql::handle map = map_of(document);
    for (const sql::handle &handle : {node, list, map}) {
        EXPECT_REPORT(sql::call(xml_dom_get_children_by_tagname, handle, "e"),
                      reports::unsupported_kind);
        EXPECT_REPORT(sql::call(xml_dom_get_children_by_tagname_ns, handle, "e", "u"),
                      reports::unsupported_kind);
        release(handle);
        EXPECT_TRUE(sql::call(xml_dom_get_children_by_tagname, handle, "e").is_null());
        EXPECT_TRUE(sql::call(xml_dom_get_children_by_tagname_ns, handle, "e", "u").is_null());
    }
}

TEST_F(element_queries, children_by_tag_name_of_other_nodes_cast_to_elements) {
    const sql::handle document =
        parsed("<!DOCTYPE r [<!ELEMENT r ANY><!ENTITY e '<a/><a/>'>]><r>&e;<!--m--></r>");
    std::vector<xmlNodePtr> nodes{document_of(document)->children,
                                  document_of(document)->children->children,
                                  document_of(document)->children->last,
                                  node_of(root(document))->children, node_of(root(document))->last};
    for (xmlNodePtr node : nodes) {
        const sql::handle cast = sql::call(xml_dom_make_element, named(document, node)).handle();
        const sql::handle list = sql::call(xml_dom_get_children_by_tagname, cast, "a").handle();
        EXPECT_EQ(sql::call(xml_dom_get_length, list).integer(), 0);
    }
}

TEST_F(element_queries, lists_that_cannot_be_made_or_filled) {
    const sql::handle element = root(parsed("<r><a/><a/></r>"));
    const auto before = pkg_dbe_xml::xml_count_hashentries();
    // Whichever allocation fails: first come those that make the list, then those of its members.
    bool was_made = false;
    int failures = 0;
    for (bool fails = true; fails; ++failures) {
        host::standalone::fail_call(host::standalone::service::libxml2_allocation, failures + 1);
        const sql::result outcome = sql::call(xml_dom_get_children_by_tagname, element, "a");
        host::standalone::clear_faults();
        fails = outcome.failed();
        was_made = was_made || sql::reports_as(outcome, reports::list_not_filled, {}, {});
        if (fails && !was_made) {
            EXPECT_REPORT(outcome, reports::list_not_made);
        } else if (fails) {
            EXPECT_REPORT(outcome, reports::list_not_filled);
        }
    }
    EXPECT_TRUE(was_made);
    EXPECT_GT(failures, 3); // the list, two members, and the call that no failure met
    EXPECT_EQ(pkg_dbe_xml::xml_count_hashentries(), before + 1);
    EXPECT_EQ(names_in(sql::call(xml_dom_get_children_by_tagname, element, "a").handle()), "a a");
}

TEST_F(element_queries, a_long_list_of_children_can_be_cancelled) {
    std::string text = "<r>";
    for (int i = 0; i < 20000; ++i) {
        text += "<a/>";
    }
    const sql::handle element = root(parsed(text + "</r>"));
    host::standalone::cancel_after_polls(1);
    const sql::result outcome = sql::call(xml_dom_get_children_by_tagname, element, "a");
    host::standalone::forget_cancel();
    EXPECT_TRUE(outcome.failed());
    const sql::handle list = sql::call(xml_dom_get_children_by_tagname, element, "a").handle();
    EXPECT_EQ(sql::call(xml_dom_get_length, list).integer(), 20000);
}

} // namespace
