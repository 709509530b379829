// Making nodes: null rules, order of checks, limits, what the nodes are.
#include "changing.hpp"

namespace {

using sql::call;

// A handle of the right shape that names nothing the session knows.
sql::handle unknown() {
    sql::handle made{};
    made.bytes[0] = 77;
    made.bytes[12] = 1;
    return made;
}

const sql::raw k_short_value{{1, 2, 3}};
const std::string k_longest(32767, 'n');
const std::string k_too_long(32768, 'n');

class factories : public changing {};

// --- elements -----------------------------------------------------------------------------------

TEST_F(factories, element_belongs_to_its_document_and_stands_nowhere) {
    const sql::handle document = empty_document();
    const sql::handle made = call(xml_dom_create_element, document, "price").handle();
    EXPECT_EQ(made.document_id(), document.document_id());
    EXPECT_EQ(made.serial(), document.serial());
    EXPECT_EQ(made.node_id(), 1U);
    EXPECT_EQ(entry(made)->kind, pkg_dbe_xml::XMLDomNodeType::element);
    EXPECT_STREQ(entry(made)->text, "");
    EXPECT_EQ(node(made)->type, XML_ELEMENT_NODE);
    EXPECT_EQ(node(made)->doc, static_cast<void *>(node(document)));
    EXPECT_EQ(node(made)->parent, nullptr);
    EXPECT_EQ(name(made), "price");
    EXPECT_TRUE(call(xml_dom_get_parent_node, made).is_null());
    EXPECT_EQ(element(document, "b").node_id(), 2U);
}

TEST_F(factories, element_checks_in_order) {
    const sql::handle document = empty_document();
    EXPECT_REPORT(call(xml_dom_create_element, sql::null, sql::null), reports::null_handle);
    EXPECT_REPORT(call(xml_dom_create_element, sql::null, "a"), reports::null_handle);
    EXPECT_REPORT(call(xml_dom_create_element, k_short_value, sql::null),
                  reports::handle_not_found);
    EXPECT_REPORT(call(xml_dom_create_element, unknown(), sql::null), reports::null_tag_name);
    EXPECT_REPORT(call(xml_dom_create_element, unknown(), k_too_long), reports::literal_too_long);
    EXPECT_REPORT(call(xml_dom_create_element, unknown(), "a"), reports::handle_not_found);
    EXPECT_REPORT(call(xml_dom_create_element, document, sql::null), reports::null_tag_name);
}

TEST_F(factories, element_name_limit) {
    const sql::handle document = empty_document();
    EXPECT_EQ(name(element(document, k_longest)), k_longest);
    EXPECT_REPORT(call(xml_dom_create_element, document, k_too_long), reports::literal_too_long);
}

TEST_F(factories, name_limit_counts_bytes_of_the_database_encoding) {
    use_database_encoding("LATIN1");
    const sql::handle document = empty_document();
    const std::string name(32767, '\xE9'); // twice as long in UTF-8
    EXPECT_FALSE(call(xml_dom_create_element, document, name).failed());
    EXPECT_REPORT(call(xml_dom_create_element, document, name + "e"), reports::literal_too_long);
}

TEST_F(factories, element_through_a_released_handle_is_null) {
    const sql::handle document = empty_document();
    const sql::handle second = call(xml_dom_makenode, document).handle();
    call(xml_dom_free_node, second);
    EXPECT_TRUE(call(xml_dom_create_element, second, "a").is_null());
    EXPECT_TRUE(call(xml_dom_create_element_ns, second, "a", "u").is_null());
    EXPECT_TRUE(call(xml_dom_create_attribute, second, "a").is_null());
    call(xml_dom_free_document, document);
    EXPECT_REPORT(call(xml_dom_create_element, document, "a"), reports::handle_not_found);
    EXPECT_REPORT(call(xml_dom_create_text_node, document, "a"), reports::handle_not_found);
    EXPECT_REPORT(call(xml_dom_create_attribute, document, "a"), reports::handle_not_found);
}

TEST_F(factories, only_documents_make_elements_and_attributes) {
    const sql::handle document = this->document("<a x='1'><b/></a>");
    const sql::handle top = root(document);
    const sql::handle list = call(xml_dom_get_child_nodes, top).handle();
    const sql::handle map =
        call(xml_dom_get_attributes, call(xml_dom_makenode, top).handle()).handle();
    for (const sql::handle &wrong : {top, first(top), list, map, attribute_of(top, "x")}) {
        EXPECT_REPORT(call(xml_dom_create_element, wrong, "c"), reports::not_a_document);
        EXPECT_REPORT(call(xml_dom_create_element_ns, wrong, "c", "u"), reports::not_a_document);
        EXPECT_REPORT(call(xml_dom_create_attribute, wrong, "c"), reports::not_a_document);
        EXPECT_EQ(value(text(wrong, "t")), "t"); // texts take any handle of the document
    }
    const sql::handle as_node = call(xml_dom_makenode, document).handle();
    EXPECT_EQ(name(element(as_node, "c")), "c");
}

TEST_F(factories, element_names_are_converted) {
    use_database_encoding("LATIN1");
    const sql::handle document = empty_document();
    const sql::handle made = element(document, "pr\xE9nom");
    EXPECT_STREQ(reinterpret_cast<const char *>(node(made)->name), "pr\xC3\xA9nom");
    EXPECT_EQ(name(made), "pr\xE9nom");
}

TEST_F(factories, node_ids_of_dropped_handles_are_not_used_again_and_freed_ones_stay) {
    const sql::handle document = empty_document();
    const sql::handle one = element(document, "a");
    call(xml_dom_free_node, one);
    EXPECT_TRUE(is_known(one));
    EXPECT_EQ(element(document, "b").node_id(), 2U);
}

TEST_F(factories, freed_node_ids_come_first) {
    const sql::handle document = empty_document();
    const sql::handle one = element(document, "a");
    append(document, one);
    pkg_dbe_xml::xml_delete_hashentry(pkg_dbe_xml::XMLEntryType::dom_map, entry(one)->key);
    EXPECT_EQ(element(document, "c").node_id(), 1U);
    EXPECT_EQ(element(document, "d").node_id(), 3U);
}

// --- elements in a namespace --------------------------------------------------------------------

TEST_F(factories, element_ns_declares_a_default_namespace) {
    const sql::handle document = empty_document();
    const sql::handle made = call(xml_dom_create_element_ns, document, "item", "urn:x").handle();
    EXPECT_EQ(entry(made)->kind, pkg_dbe_xml::XMLDomNodeType::element);
    EXPECT_EQ(written(made), "<item xmlns=\"urn:x\"/>");
    ASSERT_NE(node(made)->ns, nullptr);
    EXPECT_EQ(node(made)->ns, node(made)->nsDef);
}

TEST_F(factories, element_ns_keeps_the_qualified_name_whole) {
    const sql::handle document = empty_document();
    const sql::handle made = call(xml_dom_create_element_ns, document, "p:item", "urn:x").handle();
    EXPECT_STREQ(reinterpret_cast<const char *>(node(made)->name), "p:item");
    EXPECT_EQ(node(made)->ns->prefix, nullptr);
    EXPECT_EQ(written(made), "<p:item xmlns=\"urn:x\"/>");
}

TEST_F(factories, element_ns_with_a_null_namespace_has_none) {
    const sql::handle document = empty_document();
    const sql::handle made = call(xml_dom_create_element_ns, document, "a", sql::null).handle();
    EXPECT_EQ(node(made)->ns, nullptr);
    EXPECT_EQ(written(made), "<a/>");
    const sql::handle empty = call(xml_dom_create_element_ns, document, "a", "").handle();
    EXPECT_EQ(written(empty), "<a xmlns=\"\"/>");
}

TEST_F(factories, element_ns_checks_in_order) {
    const sql::handle document = empty_document();
    EXPECT_REPORT(call(xml_dom_create_element_ns, sql::null, sql::null, sql::null),
                  reports::null_handle);
    EXPECT_REPORT(call(xml_dom_create_element_ns, k_short_value, sql::null, "u"),
                  reports::handle_not_found);
    EXPECT_REPORT(call(xml_dom_create_element_ns, document, sql::null, k_too_long),
                  reports::null_tag_name);
    EXPECT_REPORT(call(xml_dom_create_element_ns, unknown(), k_too_long, "u"),
                  reports::literal_too_long);
    EXPECT_REPORT(call(xml_dom_create_element_ns, unknown(), "a", k_too_long),
                  reports::handle_not_found);
}

TEST_F(factories, element_ns_stays_registered_when_its_namespace_is_refused) {
    const sql::handle document = empty_document();
    EXPECT_FALSE(call(xml_dom_create_element_ns, document, "a", k_longest).failed());
    const int before = call(xml_dom_get_session_tree_num).integer();
    EXPECT_REPORT(call(xml_dom_create_element_ns, document, "a", k_too_long),
                  reports::literal_too_long);
    EXPECT_EQ(call(xml_dom_get_session_tree_num).integer(), before + 1);
    EXPECT_EQ(element(document, "b").node_id(), 3U);
}

// --- texts --------------------------------------------------------------------------------------

TEST_F(factories, text_has_its_data) {
    const sql::handle document = empty_document();
    const sql::handle made = text(document, "a < b & c");
    EXPECT_EQ(entry(made)->kind, pkg_dbe_xml::XMLDomNodeType::text);
    EXPECT_EQ(node(made)->type, XML_TEXT_NODE);
    EXPECT_EQ(node(made)->parent, nullptr);
    EXPECT_EQ(value(made), "a < b & c");
}

TEST_F(factories, text_of_null_has_no_content) {
    const sql::handle document = empty_document();
    const sql::handle made = call(xml_dom_create_text_node, document, sql::null).handle();
    EXPECT_EQ(node(made)->content, nullptr);
    EXPECT_NE(node(text(document, ""))->content, nullptr);
}

TEST_F(factories, text_checks_in_order_and_has_a_limit) {
    const sql::handle document = empty_document();
    EXPECT_REPORT(call(xml_dom_create_text_node, sql::null, sql::null), reports::null_handle);
    EXPECT_REPORT(call(xml_dom_create_text_node, k_short_value, k_too_long),
                  reports::handle_not_found);
    EXPECT_REPORT(call(xml_dom_create_text_node, unknown(), k_too_long), reports::literal_too_long);
    EXPECT_REPORT(call(xml_dom_create_text_node, unknown(), sql::null), reports::handle_not_found);
    EXPECT_EQ(value(text(document, k_longest)), k_longest);
    EXPECT_REPORT(call(xml_dom_create_text_node, document, k_too_long), reports::literal_too_long);
}

TEST_F(factories, text_through_a_handle_that_names_nothing_is_made_all_the_same) {
    const sql::handle document = this->document("<a/>");
    const sql::handle top = root(document);
    call(xml_dom_free_node, document); // ends the tree; the handles stay
    EXPECT_TRUE(is_null(document));
    EXPECT_TRUE(is_null(top));
    const sql::handle orphan = text(document, "still here");
    EXPECT_EQ(value(orphan), "still here");
    EXPECT_EQ(value(text(top, "this too")), "this too");
    call(xml_dom_free_document, document);
    EXPECT_FALSE(is_known(orphan));
}

// --- attributes ---------------------------------------------------------------------------------

TEST_F(factories, attribute_is_empty_and_stands_nowhere) {
    const sql::handle document = empty_document();
    const sql::handle made = call(xml_dom_create_attribute, document, "p:x").handle();
    EXPECT_EQ(entry(made)->kind, pkg_dbe_xml::XMLDomNodeType::attribute);
    EXPECT_EQ(node(made)->type, XML_ATTRIBUTE_NODE);
    EXPECT_EQ(node(made)->parent, nullptr);
    EXPECT_EQ(node(made)->children, nullptr);
    EXPECT_EQ(node(made)->ns, nullptr);
    EXPECT_STREQ(reinterpret_cast<const char *>(node(made)->name), "p:x");
}

TEST_F(factories, attribute_checks_in_order_and_has_no_limit) {
    const sql::handle document = empty_document();
    EXPECT_REPORT(call(xml_dom_create_attribute, sql::null, sql::null),
                  reports::null_attribute_name);
    EXPECT_REPORT(call(xml_dom_create_attribute, k_short_value, sql::null),
                  reports::null_attribute_name);
    EXPECT_TRUE(call(xml_dom_create_attribute, sql::null, "x").is_null());
    EXPECT_REPORT(call(xml_dom_create_attribute, k_short_value, "x"), reports::handle_not_found);
    EXPECT_REPORT(call(xml_dom_create_attribute, unknown(), "x"), reports::handle_not_found);
    const std::string long_name(100000, 'x');
    const sql::handle made = call(xml_dom_create_attribute, document, long_name).handle();
    EXPECT_EQ(name(made), long_name);
}

TEST_F(factories, nodes_never_attached_go_with_their_document) {
    const sql::handle document = empty_document();
    for (int round = 0; round < 20; ++round) {
        element(document, "a");
        text(document, "t");
        call(xml_dom_create_element_ns, document, "b", "urn:b");
        attribute(document, "x", "1");
    }
    EXPECT_FALSE(call(xml_dom_free_document, document).failed());
    EXPECT_EQ(libxml2_bytes(), 0);
}

TEST_F(factories, names_that_the_document_knows_are_shared_and_others_do_not_stay_with_it) {
    const sql::handle document = this->document("<known/>");
    const auto *const tree = reinterpret_cast<xmlDocPtr>(node(document));
    ASSERT_NE(tree->dict, nullptr);
    EXPECT_EQ(node(element(document, "known"))->name, node(root(document))->name);
    const int names = xmlDictSize(tree->dict);
    element(document, "stranger");
    call(xml_dom_create_attribute, document, "outsider");
    EXPECT_EQ(xmlDictSize(tree->dict), names);
}

} // namespace
