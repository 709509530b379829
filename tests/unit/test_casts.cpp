// Casts of handles to other kinds, and tests of handles.
#include "trees.hpp"

namespace {

using namespace trees;

class casts : public sql::session_test {};

TEST_F(casts, null_gives_null) {
    EXPECT_TRUE(sql::call(xml_dom_makenode, sql::null).is_null());
    EXPECT_TRUE(sql::call(xml_dom_make_element, sql::null).is_null());
    EXPECT_TRUE(sql::call(xml_dom_is_null, sql::null).boolean());
    EXPECT_FALSE(sql::call(xml_dom_has_child_nodes, sql::null).boolean());
}

TEST_F(casts, makenode_takes_attributes_documents_elements_and_texts) {
    const sql::handle document = parsed("<r a='1'>t</r>");
    const sql::handle attribute =
        sql::call(xml_dom_get_attribute_node, root(document), "a").handle();
    const sql::handle text =
        named(document, node_of(root(document))->children, XMLDomNodeType::text);
    for (const sql::handle &handle : {attribute, document, root(document), text}) {
        const sql::handle node = sql::call(xml_dom_makenode, handle).handle();
        EXPECT_EQ(kind_of(node), 13);
        EXPECT_EQ(node_of(node), node_of(handle));
        EXPECT_EQ(node.document_id(), handle.document_id());
        EXPECT_EQ(node.serial(), handle.serial());
        EXPECT_NE(node.node_id(), handle.node_id());
    }
}

TEST_F(casts, makenode_refuses_nodes_lists_and_maps) {
    const sql::handle document = parsed("<r a='1'>t</r>");
    const sql::handle node = root_node(document);
    const sql::handle list = sql::call(xml_dom_get_child_nodes, node).handle();
    const sql::handle map = sql::call(xml_dom_get_attributes, node).handle();
    for (const sql::handle &handle : {node, list, map}) {
        EXPECT_REPORT(sql::call(xml_dom_makenode, handle), reports::kind_mismatch);
        // What names nothing is null first.
        release(handle);
        EXPECT_TRUE(sql::call(xml_dom_makenode, handle).is_null());
    }
}

TEST_F(casts, make_element_takes_everything_but_texts_documents_and_attributes) {
    const sql::handle document = parsed("<!DOCTYPE r [<!ENTITY e 'x'>]><r a='1'>t<![CDATA[c]]>&e;"
                                        "<?p?><!--m--><e/></r>");
    xmlNodePtr text = node_of(root(document))->children;
    for (xmlNodePtr node = text->next; node != nullptr; node = node->next) {
        const sql::handle element = sql::call(xml_dom_make_element, named(document, node)).handle();
        EXPECT_EQ(kind_of(element), 8);
        EXPECT_EQ(node_of(element), node);
        EXPECT_EQ(element.serial(), document.serial());
    }
    xmlNodePtr doctype = document_of(document)->children;
    EXPECT_EQ(kind_of(sql::call(xml_dom_make_element, named(document, doctype)).handle()), 8);
    EXPECT_REPORT(sql::call(xml_dom_make_element, named(document, text)), reports::cannot_convert,
                  "text");
    EXPECT_REPORT(sql::call(xml_dom_make_element, document), reports::cannot_convert, "document");
    EXPECT_REPORT(sql::call(xml_dom_make_element,
                            sql::call(xml_dom_get_attribute_node, root(document), "a").handle()),
                  reports::cannot_convert, "attribute");
    // The kind does not matter: an element handle may be cast again.
    EXPECT_EQ(kind_of(sql::call(xml_dom_make_element, root(document)).handle()), 8);
}

TEST_F(casts, make_element_refuses_lists_and_maps) {
    const sql::handle document = parsed("<r a='1'>t</r>");
    const sql::handle list = sql::call(xml_dom_get_child_nodes, root(document)).handle();
    const sql::handle map = sql::call(xml_dom_get_attributes, root_node(document)).handle();
    for (const sql::handle &handle : {list, map}) {
        EXPECT_REPORT(sql::call(xml_dom_make_element, handle), reports::inconsistent_types);
        release(handle);
        EXPECT_TRUE(sql::call(xml_dom_make_element, handle).is_null());
    }
}

TEST_F(casts, casts_of_what_names_nothing_are_null) {
    const sql::handle element = root(parsed("<r/>"));
    release(element);
    EXPECT_TRUE(sql::call(xml_dom_makenode, element).is_null());
    EXPECT_TRUE(sql::call(xml_dom_make_element, element).is_null());
}

TEST_F(casts, is_null_of_nodes) {
    const sql::handle document = parsed("<r a='1'>t</r>");
    const sql::handle element = root(document);
    EXPECT_FALSE(sql::call(xml_dom_is_null, document).boolean());
    EXPECT_FALSE(sql::call(xml_dom_is_null, element).boolean());
    release(element);
    EXPECT_TRUE(sql::call(xml_dom_is_null, element).boolean());
}

TEST_F(casts, is_null_of_lists_and_maps) {
    const sql::handle document = parsed("<r><e/></r>");
    const sql::handle node = root_node(document);
    const sql::handle list = sql::call(xml_dom_get_child_nodes, node).handle();
    EXPECT_FALSE(sql::call(xml_dom_is_null, list).boolean());
    release(list);
    EXPECT_TRUE(sql::call(xml_dom_is_null, list).boolean());
    const sql::handle child = sql::call(xml_dom_get_first_child, node).handle();
    EXPECT_TRUE(
        sql::call(xml_dom_is_null, sql::call(xml_dom_get_child_nodes, child).handle()).boolean());
    // A map never reads as null.
    const sql::handle map = sql::call(xml_dom_get_attributes, node).handle();
    EXPECT_FALSE(sql::call(xml_dom_is_null, map).boolean());
    release(map);
    EXPECT_FALSE(sql::call(xml_dom_is_null, map).boolean());
}

TEST_F(casts, is_null_of_an_unknown_handle_is_an_error) {
    sql::handle handle = root(parsed("<r/>"));
    handle.bytes[5] = 1;
    EXPECT_REPORT(sql::call(xml_dom_is_null, handle), reports::handle_not_found);
}

TEST_F(casts, has_child_nodes) {
    const sql::handle document =
        parsed("<!DOCTYPE r [<!ENTITY e 'x'>]><r a='1'>\n<e> </e>&e;<f/></r>");
    EXPECT_TRUE(sql::call(xml_dom_has_child_nodes, document).boolean());
    EXPECT_TRUE(sql::call(xml_dom_has_child_nodes, root(document)).boolean());
    const sql::handle attribute =
        sql::call(xml_dom_get_attribute_node, root(document), "a").handle();
    EXPECT_FALSE(sql::call(xml_dom_has_child_nodes, attribute).boolean());
    std::string answers;
    for (xmlNodePtr node = node_of(root(document))->children; node != nullptr; node = node->next) {
        answers += sql::call(xml_dom_has_child_nodes, named(document, node)).boolean() ? "t" : "f";
    }
    // Text, element with a blank text, entity reference, element.
    EXPECT_EQ(answers, "ftff");
    EXPECT_FALSE(sql::call(xml_dom_has_child_nodes, empty_document()).boolean());
    EXPECT_TRUE(sql::call(xml_dom_has_child_nodes, named(document, document_of(document)->children))
                    .boolean());
}

TEST_F(casts, has_child_nodes_of_what_names_nothing_is_null) {
    const sql::handle document = parsed("<r a='1'><e/></r>");
    const sql::handle element = root(document);
    const sql::handle list = sql::call(xml_dom_get_child_nodes, element).handle();
    const sql::handle map = sql::call(xml_dom_get_attributes, root_node(document)).handle();
    EXPECT_REPORT(sql::call(xml_dom_has_child_nodes, list), reports::inconsistent_types);
    EXPECT_REPORT(sql::call(xml_dom_has_child_nodes, map), reports::inconsistent_types);
    for (const sql::handle &handle : {element, list, map}) {
        release(handle);
        EXPECT_TRUE(sql::call(xml_dom_has_child_nodes, handle).is_null());
    }
}

} // namespace
