// Setting values: exact texts, what has no value, what stays.
#include "changing.hpp"

namespace {

using sql::call;

const sql::raw k_short_value{{1, 2, 3}};

class set_value : public changing {};

TEST_F(set_value, null_rules_and_order_of_checks) {
    const sql::handle tree = document("<a>t</a>");
    const sql::handle held = first(root(tree));
    EXPECT_TRUE(call(xml_dom_set_node_value, sql::null, sql::null).is_null());
    EXPECT_TRUE(call(xml_dom_set_node_value, sql::null, "v").is_null());
    EXPECT_TRUE(call(xml_dom_set_node_value, k_short_value, sql::null).is_null());
    EXPECT_REPORT(call(xml_dom_set_node_value, k_short_value, "v"), reports::handle_not_found);
    sql::handle unknown{};
    unknown.bytes[12] = 1;
    unknown.bytes[0] = 9;
    EXPECT_REPORT(call(xml_dom_set_node_value, unknown, "v"), reports::handle_not_found);
    call(xml_dom_free_node, held);
    EXPECT_REPORT(call(xml_dom_set_node_value, held, "v"), reports::invalid_node_handle);
    EXPECT_EQ(written_root(tree), "<a>t</a>");
}

TEST_F(set_value, replaces_the_content_of_every_type_that_has_one) {
    const sql::handle tree = document("<a x='1'>t<!--c--><?p i?><![CDATA[d]]></a>");
    const sql::handle top = root(tree);
    sql::handle child = first(top);
    for (int step = 0; step < 4; ++step) {
        const sql::result result = call(xml_dom_set_node_value, child, "a new, longer value");
        EXPECT_FALSE(result.failed());
        EXPECT_FALSE(result.is_null());
        EXPECT_EQ(result.datum(), 0U);
        EXPECT_EQ(value(child), "a new, longer value");
        if (step < 3) {
            child = next(child);
        }
    }
    call(xml_dom_set_node_value, attribute_of(top, "x"), "2");
    EXPECT_EQ(written(top), "<a x=\"2\">a new, longer value<!--a new, longer value-->"
                            "<?p a new, longer value?><![CDATA[a new, longer value]]></a>");
}

TEST_F(set_value, elements_and_documents_have_none) {
    const sql::handle tree = document("<a>t</a>");
    EXPECT_REPORT(call(xml_dom_set_node_value, tree, "v"), reports::no_modification);
    EXPECT_REPORT(call(xml_dom_set_node_value, root(tree), "v"), reports::no_modification);
    EXPECT_EQ(written_root(tree), "<a>t</a>");
}

TEST_F(set_value, lists_and_maps_have_none) {
    const sql::handle tree = document("<a x='1'><b/></a>");
    const sql::handle as_node = call(xml_dom_makenode, root(tree)).handle();
    const sql::handle list = call(xml_dom_get_child_nodes, as_node).handle();
    EXPECT_REPORT(call(xml_dom_set_node_value, list, "v"), reports::inconsistent_types);
    EXPECT_REPORT(call(xml_dom_set_node_value, call(xml_dom_get_attributes, as_node).handle(), "v"),
                  reports::inconsistent_types);
    call(xml_dom_free_nodelist, list);
    EXPECT_REPORT(call(xml_dom_set_node_value, list, "v"), reports::invalid_node_handle);
}

TEST_F(set_value, stores_the_very_text) {
    const sql::handle tree = document("<!DOCTYPE a [<!ENTITY e 'entity'>]><a x='1'>t</a>");
    const sql::handle top = root(tree);
    const sql::handle held = attribute_of(top, "x");
    for (const char *exact :
         {"a & b", "AT&T; x", "&e;", "&amp;", "a &amp; b", "&#65;", "<x/>", "\"", "'", "&", "   ",
          "\t\n", "]]>", "a longer value that needs memory of its own"}) {
        call(xml_dom_set_node_value, held, exact);
        EXPECT_EQ(value(held), exact);
        EXPECT_EQ(call(xml_dom_get_attribute, top, "x").text(), exact);
        EXPECT_EQ(node(held)->children, node(held)->last);
        call(xml_dom_set_node_value, first(top), exact);
        EXPECT_EQ(value(first(top)), exact);
    }
}

TEST_F(set_value, an_empty_value_leaves_an_attribute_without_children) {
    const sql::handle tree = document("<a x='1'>t</a>");
    const sql::handle held = attribute_of(root(tree), "x");
    call(xml_dom_set_node_value, held, "");
    EXPECT_EQ(node(held)->children, nullptr);
    EXPECT_EQ(node(held)->last, nullptr);
    call(xml_dom_set_node_value, first(root(tree)), "");
    EXPECT_EQ(written_root(tree), "<a x=\"\"></a>");
    call(xml_dom_set_node_value, held, "2");
    EXPECT_EQ(value(held), "2");
}

TEST_F(set_value, converts_from_the_database_encoding) {
    use_database_encoding("LATIN1");
    const sql::handle tree = document("<a x='1'/>");
    const sql::handle held = attribute_of(root(tree), "x");
    call(xml_dom_set_node_value, held, "\xE9t\xE9");
    EXPECT_STREQ(reinterpret_cast<const char *>(node(held)->children->content),
                 "\xC3\xA9t\xC3\xA9");
    EXPECT_EQ(value(held), "\xE9t\xE9");
}

TEST_F(set_value, a_value_of_a_megabyte) {
    const sql::handle tree = document("<a x='1'>t</a>");
    const std::string large(1 << 20, 'v');
    call(xml_dom_set_node_value, attribute_of(root(tree), "x"), large);
    call(xml_dom_set_node_value, first(root(tree)), large);
    EXPECT_EQ(value(first(root(tree))), large);
    EXPECT_EQ(call(xml_dom_get_attribute, root(tree), "x").text(), large);
}

TEST_F(set_value, declarations_and_what_stands_in_them_are_never_changed) {
    const sql::handle tree =
        document("<!DOCTYPE a [<!ENTITY e 'in<b y=\"1\"/>side'><!ELEMENT a ANY>"
                 "<!ATTLIST a x CDATA 'd'>]><a>&e;</a>");
    xmlDtdPtr const type = reinterpret_cast<xmlDocPtr>(node(tree))->intSubset;
    for (xmlNodePtr declaration = type->children; declaration != nullptr;
         declaration = declaration->next) {
        sql::result result;
        result.datum_ =
            pkg_dbe_xml::mint_handle<pkg_dbe_xml::XMLDomNodeType::node>(*entry(tree), declaration);
        EXPECT_REPORT(call(xml_dom_set_node_value, result.handle(), "v"), reports::no_modification);
        if (declaration->type == XML_ENTITY_DECL) {
            ASSERT_NE(declaration->children, nullptr);
            const sql::handle inside = first(result.handle());
            EXPECT_REPORT(call(xml_dom_set_node_value, inside, "v"), reports::no_modification);
            const sql::handle element = call(xml_dom_make_element, next(inside)).handle();
            EXPECT_TRUE(call(xml_dom_set_attribute, element, "y", "2").is_null());
            EXPECT_TRUE(call(xml_dom_set_attribute_ns, element, "y", "2", "u").is_null());
            EXPECT_TRUE(
                call(xml_dom_set_attribute_node, element, attribute(tree, "y", "2")).is_null());
            EXPECT_EQ(written(element), "<b y=\"1\"/>");
        }
    }
}

// Neither changed nor moved, nor does anything go below them.
TEST_F(set_value, comments_and_instructions_of_a_document_type_are_part_of_it) {
    for (const char *const entity : {"", "<!ENTITY e 'x'>"}) {
        const sql::handle tree = document(std::string("<!DOCTYPE a [<!--c--><?p i?>") + entity +
                                          "<!ELEMENT a ANY>]><a/>");
        const sql::handle top = root(tree);
        const std::string before = call(xml_dom_write_to_buffer_doc, tree).text();
        int members = 0;
        for (xmlNodePtr member = reinterpret_cast<xmlDocPtr>(node(tree))->intSubset->children;
             member != nullptr; member = member->next) {
            if (member->type != XML_COMMENT_NODE && member->type != XML_PI_NODE) {
                continue;
            }
            ++members;
            sql::result held;
            held.datum_ =
                pkg_dbe_xml::mint_handle<pkg_dbe_xml::XMLDomNodeType::node>(*entry(tree), member);
            EXPECT_REPORT(call(xml_dom_set_node_value, held.handle(), "v"),
                          reports::no_modification);
            EXPECT_REPORT(call(xml_dom_append_child, top, held.handle()), reports::not_allowed);
            EXPECT_REPORT(call(xml_dom_append_child, tree, held.handle()), reports::not_allowed);
            EXPECT_REPORT(call(xml_dom_append_child, held.handle(), text(tree, "t")),
                          reports::not_allowed);
            call(xml_dom_free_node, held.handle());
        }
        EXPECT_EQ(members, 2);
        EXPECT_EQ(call(xml_dom_write_to_buffer_doc, tree).text(), before);
    }
}

} // namespace
