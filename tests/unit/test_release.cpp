// Giving handles up: which nodes go, which stay, for whom.
#include "changing.hpp"

namespace {

using sql::call;

const sql::raw k_short_value{{1, 2, 3}};

sql::handle unknown() {
    sql::handle made{};
    made.bytes[0] = 77;
    made.bytes[12] = 1;
    return made;
}

class release : public changing {
  protected:
    static sql::handle list_of(const sql::handle &element) {
        return call(xml_dom_get_child_nodes, element).handle();
    }
    static sql::handle map_of(const sql::handle &element) {
        return call(xml_dom_get_attributes, call(xml_dom_makenode, element).handle()).handle();
    }
};

TEST_F(release, a_given_up_handle_stays_known_and_names_nothing) {
    const sql::handle tree = document("<a><b/></a>");
    const sql::handle top = root(tree);
    const sql::handle inner = first(top);
    for (const auto &free_function : {xml_dom_free_node, xml_dom_free_element}) {
        const sql::handle held = first(top);
        const sql::result result = call(free_function, held);
        EXPECT_FALSE(result.failed());
        EXPECT_EQ(result.datum(), 0U);
        EXPECT_TRUE(is_known(held));
        EXPECT_TRUE(is_null(held));
        EXPECT_TRUE(call(xml_dom_get_first_child, held).is_null());
        EXPECT_FALSE(call(free_function, held).failed()); // once more
    }
    EXPECT_EQ(name(inner), "b");
    EXPECT_EQ(written(top), "<a><b/></a>");
    EXPECT_EQ(detached(tree), 0U);
}

TEST_F(release, unknown_and_misshapen_handles) {
    for (const auto &free_function :
         {xml_dom_free_node, xml_dom_free_element, xml_dom_free_nodelist}) {
        EXPECT_REPORT(call(free_function, unknown()), reports::handle_not_found);
        EXPECT_REPORT(call(free_function, k_short_value), reports::handle_not_found);
    }
}

TEST_F(release, a_detached_node_goes_with_its_last_handle) {
    const sql::handle tree = document("<a/>");
    const std::int64_t before = libxml2_bytes();
    const sql::handle made = element(tree, "b");
    const sql::handle again = call(xml_dom_makenode, made).handle();
    EXPECT_GT(libxml2_bytes(), before);
    call(xml_dom_free_node, made);
    EXPECT_EQ(name(again), "b"); // the other handle still names it
    call(xml_dom_free_element, again);
    EXPECT_EQ(libxml2_bytes(), before);
    EXPECT_EQ(detached(tree), 0U);
    for (const sql::handle &other :
         {text(tree, "t"), attribute(tree, "x", "1"),
          call(xml_dom_create_element_ns, tree, "c", "urn:c").handle()}) {
        call(xml_dom_free_node, other);
    }
    EXPECT_EQ(libxml2_bytes(), before);
}

TEST_F(release, a_detached_node_stays_while_something_below_it_is_named) {
    const sql::handle tree = document("<r/>");
    const sql::handle made = element(tree, "a");
    append(made, text(tree, "text"));
    const sql::handle below = first(made);
    call(xml_dom_free_node, made);
    EXPECT_EQ(detached(tree), 1U);
    const sql::handle again = call(xml_dom_get_parent_node, below).handle();
    EXPECT_EQ(name(again), "a");
    call(xml_dom_free_node, again);
    EXPECT_EQ(detached(tree), 1U);
    const sql::handle third = call(xml_dom_get_parent_node, below).handle();
    append(root(tree), third); // an ordinary node again
    EXPECT_EQ(written_root(tree), "<r><a>text</a></r>");
    call(xml_dom_free_node, third);
    EXPECT_EQ(written_root(tree), "<r><a>text</a></r>");
    call(xml_dom_free_document, tree);
    EXPECT_EQ(libxml2_bytes(), 0);
}

TEST_F(release, an_imported_tree_goes_at_once) {
    const sql::handle tree = document("<r/>");
    const sql::handle from = document("<a x='1'><b>text</b><c y='2'/></a>");
    const std::int64_t before = libxml2_bytes();
    for (int round = 0; round < 5; ++round) {
        call(xml_dom_free_node, import(tree, root(from), true));
    }
    EXPECT_EQ(libxml2_bytes(), before);
}

TEST_F(release, trees_that_declare_namespaces_go_at_once) {
    const sql::handle tree = document("<r/>");
    const sql::handle from = document("<o xmlns:q='urn:q'><p:a xmlns:p='urn:p' p:x='1'>"
                                      "<q:b xmlns='urn:d'><c p:y='2'/></q:b></p:a></o>");
    const sql::handle source = first(root(from));
    const std::int64_t before = libxml2_bytes();
    for (int round = 0; round < 5; ++round) {
        call(xml_dom_free_node, import(tree, source, true));
        call(xml_dom_free_node, import(tree, source, false));
        const sql::handle made = call(xml_dom_create_element_ns, tree, "e", "urn:e").handle();
        const sql::handle below = import(tree, source, true);
        call(xml_dom_free_node, append(made, below));
        call(xml_dom_free_node, below);
        call(xml_dom_free_node, made);
    }
    EXPECT_EQ(libxml2_bytes(), before);
    EXPECT_EQ(detached(tree), 0U);
}

TEST_F(release, the_document_through_xml_dom_free_node) {
    const sql::handle tree = document("<a x='1'><b/></a>");
    const sql::handle top = root(tree);
    const sql::handle inner = first(top);
    const sql::handle list = list_of(top);
    const sql::handle map = map_of(top);
    const sql::handle detached = element(tree, "d");
    EXPECT_FALSE(call(xml_dom_free_node, tree).failed());
    for (const sql::handle &held : {tree, top, inner, detached}) {
        EXPECT_TRUE(is_known(held));
        EXPECT_TRUE(is_null(held));
        EXPECT_TRUE(call(xml_dom_get_first_child, held).is_null());
    }
    EXPECT_FALSE(is_null(map)); // maps never are
    EXPECT_EQ(call(xml_dom_get_length, map).integer(), 0);
    EXPECT_EQ(call(xml_dom_get_length, list).integer(), 0);
    EXPECT_TRUE(call(xml_dom_item, list, 0).is_null());
    EXPECT_TRUE(is_null(list));
    EXPECT_FALSE(call(xml_dom_free_nodelist, list).failed());
    EXPECT_REPORT(call(xml_dom_free_nodelist, list), reports::node_gone);
    EXPECT_FALSE(call(xml_dom_free_node, tree).failed());
    EXPECT_EQ(libxml2_bytes(), 0);
}

TEST_F(release, one_of_two_document_handles) {
    sql::handle parser = call(xmlparser_new_parser).handle();
    call(xmlparser_parse_buffer, parser, "<a><b/></a>");
    const sql::handle one = call(xmlparser_get_doc, parser).handle();
    const sql::handle two = call(xmlparser_get_doc, parser).handle();
    ASSERT_EQ(node(one), node(two));
    const sql::handle inner = first(root(one));
    const sql::handle detached = element(one, "d");
    call(xml_dom_free_node, one);
    EXPECT_TRUE(is_null(one));
    EXPECT_EQ(name(inner), "b");
    EXPECT_EQ(name(detached), "d");
    call(xml_dom_free_node, two);
    EXPECT_TRUE(is_null(inner));
    EXPECT_TRUE(is_null(detached));
    call(xmlparser_free_parser, parser);
}

TEST_F(release, a_second_handle_of_the_document_is_only_a_handle) {
    const sql::handle tree = document("<a/>");
    const sql::handle again = call(xml_dom_makenode, tree).handle();
    call(xml_dom_free_node, again);
    EXPECT_EQ(written_root(tree), "<a/>");
    EXPECT_EQ(detached(tree), 0U);
}

TEST_F(release, declarations_are_never_listed) {
    const sql::handle tree = document("<!DOCTYPE a [<!ELEMENT a ANY>]><a/>");
    sql::result held;
    held.datum_ = pkg_dbe_xml::mint_handle<pkg_dbe_xml::XMLDomNodeType::node>(
        *entry(tree), reinterpret_cast<xmlDocPtr>(node(tree))->intSubset);
    call(xml_dom_free_node, held.handle());
    EXPECT_EQ(detached(tree), 0U);
    EXPECT_NE(reinterpret_cast<xmlDocPtr>(node(tree))->intSubset, nullptr);
}

TEST_F(release, lists) {
    const sql::handle tree = document("<a><b/><c/></a>");
    const sql::handle top = root(tree);
    for (const auto &free_function :
         {xml_dom_free_nodelist, xml_dom_free_node, xml_dom_free_element}) {
        const sql::handle list = list_of(top);
        const sql::handle member = call(xml_dom_item, list, 1).handle();
        EXPECT_FALSE(call(free_function, list).failed());
        EXPECT_TRUE(is_known(list));
        EXPECT_TRUE(is_null(list));
        EXPECT_EQ(call(xml_dom_get_length, list).integer(), 0);
        EXPECT_EQ(name(member), "c");
        EXPECT_REPORT(call(free_function, list), reports::node_gone);
    }
    EXPECT_EQ(written(top), "<a><b/><c/></a>");
}

TEST_F(release, free_nodelist_of_anything_else) {
    const sql::handle tree = document("<a x='1'><b/></a>");
    const sql::handle top = root(tree);
    for (const sql::handle &wrong : {tree, top, first(top), map_of(top), attribute_of(top, "x")}) {
        EXPECT_REPORT(call(xml_dom_free_nodelist, wrong), reports::inconsistent_types);
        EXPECT_FALSE(node(wrong) == nullptr);
    }
    const sql::handle gone = first(top);
    call(xml_dom_free_node, gone);
    EXPECT_REPORT(call(xml_dom_free_nodelist, gone), reports::node_gone);
}

TEST_F(release, maps) {
    const sql::handle tree = document("<a x='1' y='2'><b/></a>");
    const sql::handle top = root(tree);
    const sql::handle map = map_of(top);
    EXPECT_FALSE(call(xml_dom_free_node, map).failed());
    EXPECT_EQ(call(xml_dom_get_length, map).integer(), 0);
    EXPECT_EQ(written(top), "<a x=\"1\" y=\"2\"><b/></a>");
    const sql::handle empty = map_of(call(xml_dom_make_element, first(top)).handle());
    EXPECT_FALSE(call(xml_dom_free_element, empty).failed());
}

TEST_F(release, thousands_of_released_handles_keep_their_kinds) {
    const sql::handle tree = document("<a x='1'/>");
    const sql::handle top = root(tree);
    const sql::handle as_node = call(xml_dom_makenode, top).handle();
    struct triple {
        sql::handle element, map, list;
    };
    std::vector<triple> held;
    for (int round = 0; round < 3000; ++round) {
        held.push_back({root(tree), call(xml_dom_get_attributes, as_node).handle(), list_of(top)});
    }
    for (const triple &each : held) {
        call(xml_dom_free_element, each.element);
        call(xml_dom_free_node, each.map);
        call(xml_dom_free_nodelist, each.list);
    }
    // One of them comes out of the middle of what is kept of the others.
    pkg_dbe_xml::xml_delete_hashentry(pkg_dbe_xml::XMLEntryType::dom_map,
                                      entry(held[1500].element)->key);
    EXPECT_EQ(root(tree), held[1500].element);
    for (const triple &each : held) {
        EXPECT_EQ(is_null(each.element), each.element != held[1500].element);
        EXPECT_FALSE(is_null(each.map));
        EXPECT_TRUE(is_null(each.list));
        EXPECT_REPORT(call(xml_dom_free_nodelist, each.list), reports::node_gone);
        EXPECT_FALSE(call(xml_dom_free_element, each.map).failed());
    }
}

TEST_F(release, a_removed_attribute_goes_with_its_handles) {
    const sql::handle tree = document("<a x='1'/>");
    const sql::handle top = root(tree);
    const sql::handle held = attribute_of(top, "x");
    const sql::handle copy = call(xml_dom_remove_attribute_node, top, held).handle();
    const std::int64_t before = libxml2_bytes();
    call(xml_dom_free_node, copy);
    call(xml_dom_free_node, held);
    EXPECT_LT(libxml2_bytes(), before);
    EXPECT_EQ(detached(tree), 0U);
}

} // namespace
