// A tree a million levels deep, and very wide ones: everything that walks does so without
// recursion.
#include "support/large_sizes.hpp"
#include "trees.hpp"

#include "tree/pkg_xml_dom_common.hpp"

namespace {

using namespace trees;

constexpr int k_depth = k_large;

class deep_trees : public sql::session_test {
  protected:
    // A document whose root has a chain of that many elements below it, the last with a text.
    static sql::handle deep_document(int depth) {
        const sql::handle document = parsed("<r/>");
        const host::tree_scope scope;
        xmlNodePtr node = node_of(root(document));
        for (int level = 0; level < depth; ++level) {
            xmlNodePtr child = xmlNewDocNode(document_of(document), nullptr, xml("e"), nullptr);
            node = xmlAddChild(node, child);
        }
        xmlAddChild(node, xmlNewDocText(document_of(document), xml("end")));
        return document;
    }
};

TEST_F(deep_trees, are_counted) {
    const sql::handle document = deep_document(k_depth);
    EXPECT_EQ(pkg_dbe_xml::count_nodes(node_of(document)), k_depth + 3);
    pkg_dbe_xml::node_counts counts{};
    pkg_dbe_xml::count_nodes_separate_type(node_of(document), counts);
    EXPECT_EQ(counts.elements, k_depth + 1);
    EXPECT_EQ(counts.texts, 1);
    const std::string detail = sql::call(xml_dom_get_detail_doc_tree_info, document).text();
    EXPECT_NE(detail.find("|Element count:" + std::to_string(k_depth + 1) + "\t"),
              std::string::npos);
    const std::string report = sql::call(xml_dom_get_doc_trees_info).text();
    EXPECT_NE(report.find("|Node count:" + std::to_string(k_depth + 3) + "\t"), std::string::npos);
}

TEST_F(deep_trees, are_searched) {
    const sql::handle document = deep_document(k_depth);
    const sql::handle list =
        sql::call(xml_dom_get_elements_by_tagname_document, document, "e").handle();
    ASSERT_EQ(sql::call(xml_dom_get_length, list).integer(), k_depth);
    const sql::handle last = sql::call(xml_dom_item, list, k_depth - 1).handle();
    EXPECT_EQ(
        sql::call(xml_dom_get_node_value, sql::call(xml_dom_get_first_child, last).handle()).text(),
        "end");
    EXPECT_EQ(
        sql::call(xml_dom_get_length,
                  sql::call(xml_dom_get_elements_by_tagname_ns, document, "*", "urn:none").handle())
            .integer(),
        0);
}

TEST_F(deep_trees, are_walked_down_and_up_again) {
    const int depth = 100000;
    const sql::handle document = deep_document(depth);
    sql::handle node = root(document);
    int levels = 0;
    for (;;) {
        const sql::result child = sql::call(xml_dom_get_first_child, node);
        if (child.is_null()) {
            break;
        }
        node = child.handle();
        ++levels;
    }
    EXPECT_EQ(levels, depth + 1);
    for (;;) {
        const sql::result parent = sql::call(xml_dom_get_parent_node, node);
        if (parent.is_null()) {
            break;
        }
        node = parent.handle();
        --levels;
    }
    EXPECT_EQ(levels, -1);
    EXPECT_EQ(sql::call(xml_dom_get_node_type, node).integer(), 9);
}

TEST_F(deep_trees, built_call_by_call_are_read_and_released) {
    const int depth = 100000;
    const sql::handle document = sql::call(xml_dom_new_document_empty).handle();
    sql::handle parent = document;
    for (int level = 0; level < depth; ++level) {
        const sql::handle child = sql::call(xml_dom_create_element, document, "e").handle();
        parent = sql::call(xml_dom_append_child, parent, child).handle();
    }
    const sql::handle list =
        sql::call(xml_dom_get_elements_by_tagname_document, document, "*").handle();
    EXPECT_EQ(sql::call(xml_dom_get_length, list).integer(), depth);
    EXPECT_FALSE(sql::call(xml_dom_free_document, document).failed());
}

TEST_F(deep_trees, members_of_a_wide_element_are_listed_and_read) {
    const int width = 200000;
    const sql::handle document = parsed("<r/>");
    {
        const host::tree_scope scope;
        xmlNodePtr element = node_of(root(document));
        for (int i = 0; i < width; ++i) {
            xmlAddChild(element, xmlNewDocNode(document_of(document), nullptr, xml("e"), nullptr));
        }
    }
    const sql::handle list = sql::call(xml_dom_get_child_nodes, root(document)).handle();
    ASSERT_EQ(sql::call(xml_dom_get_length, list).integer(), width);
    xmlNodePtr expected = node_of(root(document))->children;
    int read = 0;
    for (int i = 0; i < width; ++i) {
        read += node_of(sql::call(xml_dom_item, list, i).handle()) == expected;
        expected = expected->next;
    }
    EXPECT_EQ(read, width);
    EXPECT_EQ(expected, nullptr);
}

TEST_F(deep_trees, texts_of_a_deep_entity_are_read) {
    const sql::handle document = parsed("<!DOCTYPE r [<!ENTITY e 'a<b/>'>]><r>&e;</r>");
    {
        const host::tree_scope scope;
        xmlNodePtr node = document_of(document)->intSubset->last->last;
        ASSERT_EQ(node->type, XML_ELEMENT_NODE);
        for (int level = 0; level < k_depth; ++level) {
            node =
                xmlAddChild(node, xmlNewDocNode(document_of(document), nullptr, xml("b"), nullptr));
        }
        xmlAddChild(node, xmlNewDocText(document_of(document), xml("z")));
    }
    const sql::handle reference = sql::call(xml_dom_get_first_child, root(document)).handle();
    EXPECT_EQ(sql::call(xml_dom_get_node_value, reference).text(), "az");
}

} // namespace
