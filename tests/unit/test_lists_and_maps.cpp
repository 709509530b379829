// Node lists and named node maps: length, item by index, item by name.
#include "trees.hpp"

#include "faults.hpp"
#include "standalone_session.hpp"

#include <climits>

namespace {

using namespace trees;

class lists_and_maps : public sql::session_test {
  protected:
    static sql::handle children(const sql::handle &node) {
        return sql::call(xml_dom_get_child_nodes, node).handle();
    }
    static sql::handle map_of(const sql::handle &document) {
        return sql::call(xml_dom_get_attributes, root_node(document)).handle();
    }
    static int length(const sql::handle &collection) {
        return sql::call(xml_dom_get_length, collection).integer();
    }
    static std::string value(const sql::handle &node) {
        return sql::call(xml_dom_get_node_value, node).text();
    }
};

// --- length
// ---------------------------------------------------------------------------------------

TEST_F(lists_and_maps, length_of_null_is_zero) {
    EXPECT_EQ(sql::call(xml_dom_get_length, sql::null).integer(), 0);
}

TEST_F(lists_and_maps, length_counts_members) {
    EXPECT_EQ(length(children(root(parsed("<r><a/><b/><c/></r>")))), 3);
    EXPECT_EQ(length(children(root(parsed("<r/>")))), 0);
    EXPECT_EQ(length(map_of(parsed("<r a='1' b='2'/>"))), 2);
    EXPECT_EQ(length(map_of(parsed("<r/>"))), 0);
}

TEST_F(lists_and_maps, length_of_a_released_list_or_map_is_zero) {
    const sql::handle document = parsed("<r a='1'><b/></r>");
    const sql::handle list = children(root(document));
    const sql::handle map = map_of(document);
    release(list);
    release(map);
    EXPECT_EQ(length(list), 0);
    EXPECT_EQ(length(map), 0);
}

TEST_F(lists_and_maps, length_of_anything_else_is_refused) {
    const sql::handle document = parsed("<r a='1'>t</r>");
    const sql::handle node = root_node(document);
    for (const sql::handle &handle :
         {document, root(document), node,
          sql::call(xml_dom_get_attribute_node, root(document), "a").handle()}) {
        EXPECT_REPORT(sql::call(xml_dom_get_length, handle), reports::inconsistent_types);
    }
    // Also when it names nothing: the kind decides.
    release(node);
    EXPECT_REPORT(sql::call(xml_dom_get_length, node), reports::inconsistent_types);
}

// --- item
// -----------------------------------------------------------------------------------------

TEST_F(lists_and_maps, item_of_null_is_null) {
    const sql::handle list = children(root(parsed("<r><a/></r>")));
    EXPECT_TRUE(sql::call(xml_dom_item, sql::null, 0).is_null());
    EXPECT_TRUE(sql::call(xml_dom_item, sql::null, -1).is_null());
    EXPECT_TRUE(sql::call(xml_dom_item, list, sql::null).is_null());
}

TEST_F(lists_and_maps, item_counts_from_zero_and_is_null_beyond_the_end) {
    const sql::handle list = children(root(parsed("<r><a/><b/></r>")));
    EXPECT_EQ(names_in(list), "a b");
    EXPECT_TRUE(sql::call(xml_dom_item, list, 2).is_null());
    EXPECT_TRUE(sql::call(xml_dom_item, list, 3).is_null());
    EXPECT_TRUE(sql::call(xml_dom_item, list, INT_MAX).is_null());
}

TEST_F(lists_and_maps, negative_index_is_an_error_of_a_list_only) {
    const sql::handle document = parsed("<r a='1'><b/></r>");
    const sql::handle list = children(root(document));
    for (const int index : {-1, INT_MIN}) {
        EXPECT_REPORT(sql::call(xml_dom_item, list, index), reports::negative_index);
        EXPECT_TRUE(sql::call(xml_dom_item, map_of(document), index).is_null());
    }
    EXPECT_REPORT(sql::call(xml_dom_item, children(root(parsed("<r/>"))), -1),
                  reports::negative_index);
}

TEST_F(lists_and_maps, item_of_a_released_list_or_map_is_null) {
    const sql::handle document = parsed("<r a='1'><b/></r>");
    const sql::handle list = children(root(document));
    const sql::handle map = map_of(document);
    const sql::handle of_released = children(root(document));
    release(list);
    release(map);
    for (const int index : {0, 1, INT_MAX, -1, INT_MIN}) {
        EXPECT_TRUE(sql::call(xml_dom_item, list, index).is_null());
        EXPECT_TRUE(sql::call(xml_dom_item, map, index).is_null());
    }
    sql::call(xml_dom_free_document, document);
    EXPECT_REPORT(sql::call(xml_dom_item, of_released, 0), reports::handle_not_found);
}

TEST_F(lists_and_maps, item_of_anything_else_is_refused) {
    const sql::handle document = parsed("<r a='1'>t</r>");
    const sql::handle node = root_node(document);
    EXPECT_REPORT(sql::call(xml_dom_item, document, 0), reports::inconsistent_types);
    EXPECT_REPORT(sql::call(xml_dom_item, node, -1), reports::inconsistent_types);
    release(node);
    EXPECT_REPORT(sql::call(xml_dom_item, node, 0), reports::inconsistent_types);
}

TEST_F(lists_and_maps, item_of_a_list_is_a_new_node_handle_each_time) {
    const sql::handle document = parsed("<r><a/></r>");
    const sql::handle list = children(root(document));
    const sql::handle once = sql::call(xml_dom_item, list, 0).handle();
    const sql::handle twice = sql::call(xml_dom_item, list, 0).handle();
    EXPECT_EQ(kind_of(once), 13);
    EXPECT_EQ(node_of(once), node_of(twice));
    EXPECT_NE(once.node_id(), twice.node_id());
    EXPECT_EQ(once.document_id(), document.document_id());
    EXPECT_EQ(once.serial(), document.serial());
}

TEST_F(lists_and_maps, item_of_a_map_is_the_text_of_an_attribute) {
    const sql::handle document = parsed("<r a='one' b='' c='three'/>");
    const sql::handle map = map_of(document);
    const sql::handle text = sql::call(xml_dom_item, map, 0).handle();
    EXPECT_EQ(kind_of(text), 13);
    EXPECT_EQ(sql::call(xml_dom_get_node_type, text).integer(), 3);
    EXPECT_EQ(value(text), "one");
    EXPECT_EQ(value(sql::call(xml_dom_item, map, 2).handle()), "three");
    EXPECT_TRUE(sql::call(xml_dom_item, map, 3).is_null());
    EXPECT_TRUE(sql::call(xml_dom_item, map, INT_MAX).is_null());
}

TEST_F(lists_and_maps, item_of_an_attribute_without_children_is_null) {
    const sql::handle document = parsed("<r a='x'/>");
    xmlAttrPtr attribute = node_of(root(document))->properties;
    const sql::handle map = map_of(document);
    const sql::handle text = sql::call(xml_dom_item, map, 0).handle();
    pkg_dbe_xml::retire_children(pkg_dbe_xml::family_of(*entry_of(document)),
                                 reinterpret_cast<xmlNodePtr>(attribute));
    EXPECT_TRUE(sql::call(xml_dom_item, map, 0).is_null());
    EXPECT_EQ(value(text), "x");
}

TEST_F(lists_and_maps, every_order_of_reading_gives_the_same_members) {
    std::string text = "<r>";
    for (int i = 0; i < 500; ++i) {
        text += "<e" + std::to_string(i) + "/>";
    }
    const sql::handle list = children(root(parsed(text + "</r>")));
    ASSERT_EQ(length(list), 500);
    for (int step = 0; step < 500; ++step) {
        const int index = (step * 7919) % 500;
        const sql::handle item = sql::call(xml_dom_item, list, index).handle();
        EXPECT_EQ(sql::call(xml_dom_get_node_name, item).text(), "e" + std::to_string(index));
    }
}

TEST_F(lists_and_maps, index_that_cannot_be_allocated_fails_and_the_list_stays) {
    const sql::handle list = children(root(parsed("<r><a/><b/></r>")));
    host::standalone::fail_call(host::standalone::service::allocation, 1);
    const sql::result outcome = sql::call(xml_dom_item, list, 0);
    host::standalone::clear_faults();
    EXPECT_EQ(outcome.error().sqlstate, "53200");
    EXPECT_EQ(names_in(list), "a b");
}

// --- item by name
// -----------------------------------------------------------------------------------

TEST_F(lists_and_maps, named_item_of_null_is_null) {
    const sql::handle map = map_of(parsed("<r a='1'/>"));
    EXPECT_TRUE(sql::call(xml_dom_get_named_item, sql::null, "a").is_null());
    EXPECT_TRUE(sql::call(xml_dom_get_named_item, map, sql::null).is_null());
    EXPECT_TRUE(sql::call(xml_dom_get_named_item_ns, sql::null, "a", "u").is_null());
    EXPECT_TRUE(sql::call(xml_dom_get_named_item_ns, map, sql::null, "u").is_null());
    EXPECT_TRUE(sql::call(xml_dom_get_named_item_ns, map, "a", sql::null).is_null());
}

TEST_F(lists_and_maps, named_item_is_the_attribute) {
    const sql::handle document = parsed("<r xmlns:p='urn:p' a='1' p:b='2' b='3'/>");
    const sql::handle map = map_of(document);
    const sql::handle a = sql::call(xml_dom_get_named_item, map, "a").handle();
    EXPECT_EQ(kind_of(a), 13);
    EXPECT_EQ(sql::call(xml_dom_get_node_type, a).integer(), 2);
    EXPECT_EQ(value(a), "1");
    EXPECT_EQ(a.serial(), document.serial());
    // The first of that name, whatever its namespace; the prefix is no part of the name.
    EXPECT_EQ(value(sql::call(xml_dom_get_named_item, map, "b").handle()), "2");
    EXPECT_TRUE(sql::call(xml_dom_get_named_item, map, "p:b").is_null());
    EXPECT_TRUE(sql::call(xml_dom_get_named_item, map, "c").is_null());
    EXPECT_TRUE(sql::call(xml_dom_get_named_item, map, "").is_null());
    EXPECT_TRUE(sql::call(xml_dom_get_named_item, map, "urn:p").is_null());
}

TEST_F(lists_and_maps, named_item_in_a_namespace) {
    const sql::handle map =
        map_of(parsed("<r xmlns:p='urn:p' xmlns:q='urn:q' plain='0' p:b='1' q:b='2' b='3'/>"));
    EXPECT_EQ(value(sql::call(xml_dom_get_named_item_ns, map, "b", "urn:q").handle()), "2");
    EXPECT_EQ(value(sql::call(xml_dom_get_named_item_ns, map, "b", "urn:p").handle()), "1");
    // One without a namespace is found whatever the URI.
    EXPECT_EQ(value(sql::call(xml_dom_get_named_item_ns, map, "plain", "urn:q").handle()), "0");
    EXPECT_EQ(value(sql::call(xml_dom_get_named_item_ns, map, "b", "urn:none").handle()), "3");
    EXPECT_EQ(value(sql::call(xml_dom_get_named_item_ns, map, "b", "").handle()), "3");
    EXPECT_TRUE(sql::call(xml_dom_get_named_item_ns, map, "p:b", "urn:p").is_null());
}

TEST_F(lists_and_maps, named_item_of_an_empty_map_is_null) {
    const sql::handle map = map_of(parsed("<r/>"));
    EXPECT_TRUE(sql::call(xml_dom_get_named_item, map, "a").is_null());
    EXPECT_TRUE(sql::call(xml_dom_get_named_item_ns, map, "a", "u").is_null());
}

TEST_F(lists_and_maps, named_item_of_a_node_looks_at_its_siblings) {
    const sql::handle document = parsed("<r xmlns:p='urn:p'><a/><b/><p:c/>text<!--m--><p:b/></r>");
    const sql::handle first = sql::call(xml_dom_get_first_child, root(document)).handle();
    const sql::handle b = sql::call(xml_dom_get_named_item, first, "b").handle();
    EXPECT_EQ(node_of(b), node_of(first)->next);
    EXPECT_EQ(node_of(sql::call(xml_dom_get_named_item, first, "a").handle()), node_of(first));
    EXPECT_TRUE(sql::call(xml_dom_get_named_item, b, "a").is_null());
    EXPECT_TRUE(sql::call(xml_dom_get_named_item, document, "r").is_null());
    EXPECT_EQ(node_of(sql::call(xml_dom_get_named_item_ns, first, "c", "urn:p").handle()),
              node_of(first)->next->next);
    EXPECT_TRUE(sql::call(xml_dom_get_named_item_ns, first, "c", "urn:q").is_null());
}

TEST_F(lists_and_maps, named_item_of_a_list_is_refused) {
    const sql::handle list = children(root(parsed("<r><a/></r>")));
    EXPECT_REPORT(sql::call(xml_dom_get_named_item, list, "a"), reports::inconsistent_types);
    EXPECT_REPORT(sql::call(xml_dom_get_named_item_ns, list, "a", "u"),
                  reports::inconsistent_types);
    release(list);
    EXPECT_TRUE(sql::call(xml_dom_get_named_item, list, "a").is_null());
    EXPECT_TRUE(sql::call(xml_dom_get_named_item_ns, list, "a", "u").is_null());
}

TEST_F(lists_and_maps, longest_names) {
    const std::string longest(32767, 'n');
    const std::string map_text = "<r " + longest + "='1'/>";
    const sql::handle map = map_of(parsed(map_text));
    EXPECT_EQ(value(sql::call(xml_dom_get_named_item, map, longest).handle()), "1");
    EXPECT_EQ(value(sql::call(xml_dom_get_named_item_ns, map, longest, longest).handle()), "1");
    const std::string longer = longest + "n";
    EXPECT_REPORT(sql::call(xml_dom_get_named_item, map, longer), reports::literal_too_long);
    EXPECT_REPORT(sql::call(xml_dom_get_named_item_ns, map, longer, "u"),
                  reports::literal_too_long);
    EXPECT_REPORT(sql::call(xml_dom_get_named_item_ns, map, "n", longer),
                  reports::literal_too_long);
}

TEST_F(lists_and_maps, handle_is_looked_up_before_the_name_is_looked_at) {
    sql::handle unknown = root(parsed("<r/>"));
    unknown.bytes[4] = 99;
    const std::string too_long(40000, 'n');
    EXPECT_REPORT(sql::call(xml_dom_get_named_item, unknown, too_long), reports::handle_not_found);
    EXPECT_REPORT(sql::call(xml_dom_get_named_item_ns, unknown, too_long, too_long),
                  reports::handle_not_found);
    // An empty map still minds the length.
    EXPECT_REPORT(sql::call(xml_dom_get_named_item, map_of(parsed("<r/>")), too_long),
                  reports::literal_too_long);
}

// --- when the document goes
// -------------------------------------------------------------------------

TEST_F(lists_and_maps, lists_and_maps_of_a_released_document_are_empty) {
    const sql::handle document = parsed("<r a='1'><b/></r>");
    const sql::handle list = children(root(document));
    const sql::handle map = map_of(document);
    const sql::handle item = sql::call(xml_dom_item, list, 0).handle();
    // Another handle of the same document under another id keeps these handles known.
    release(document);
    EXPECT_EQ(length(list), 0);
    EXPECT_EQ(length(map), 0);
    EXPECT_TRUE(sql::call(xml_dom_item, list, 0).is_null());
    EXPECT_TRUE(sql::call(xml_dom_item, map, 0).is_null());
    EXPECT_TRUE(sql::call(xml_dom_is_null, list).boolean());
    EXPECT_TRUE(sql::call(xml_dom_is_null, item).boolean());
    EXPECT_TRUE(sql::call(xml_dom_get_named_item, map, "a").is_null());
}

} // namespace
