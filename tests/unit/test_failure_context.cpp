// The line of CONTEXT of failed calls: which argument it was, what it named, what was wanted.
#include "standalone_faults.hpp"
#include "support/sql.hpp"
#include "trees.hpp"

#include <string>

namespace {

class failure_context : public sql::session_test {
  protected:
    template <class... Argument>
    static std::string of(sql::function entry, const Argument &...arguments) {
        return sql::call(entry, arguments...).error().context;
    }
};

TEST_F(failure_context, says_what_an_argument_named_and_what_was_wanted) {
    const sql::handle document = trees::parsed("<p:a xmlns:p='urn:p' b='c'>t</p:a>");
    const sql::handle root = trees::root_node(document);
    EXPECT_EQ(of(xml_dom_get_attribute, root, "b"),
              "argument 1 of xml_dom_get_attribute is a handle of kind node and names an element "
              "<p:a>; a handle of kind element is wanted");
    EXPECT_EQ(of(xml_dom_get_length, root),
              "argument 1 of xml_dom_get_length is a handle of kind node and names an element "
              "<p:a>; a list or a map is wanted");
    const sql::handle list = sql::call(xml_dom_get_child_nodes, root).handle();
    EXPECT_EQ(of(xml_dom_get_first_child, list),
              "argument 1 of xml_dom_get_first_child is a handle of kind list; a node is wanted");
    const sql::handle text = sql::call(xml_dom_get_first_child, root).handle();
    EXPECT_EQ(of(xml_dom_make_attr, text),
              "argument 1 of xml_dom_make_attr is a handle of kind node and names a text; an "
              "attribute is wanted");
    trees::release(text);
    EXPECT_EQ(of(xml_dom_set_node_value, text, "v"),
              "argument 1 of xml_dom_set_node_value is a handle of kind node and names nothing any "
              "more");
    EXPECT_EQ(of(xml_dom_get_node_name, "none"),
              "argument 1 of xml_dom_get_node_name is no handle of this session");
    EXPECT_EQ(of(xml_dom_create_element, sql::null, "a"),
              "argument 1 of xml_dom_create_element is null");
}

TEST_F(failure_context, names_the_second_handle_where_that_is_at_fault) {
    const sql::handle document = trees::parsed("<a/>");
    const sql::handle other = trees::parsed("<b/>");
    const sql::handle root = trees::root_node(document);
    EXPECT_EQ(of(xml_dom_append_child, root, sql::null),
              "argument 2 of xml_dom_append_child is null");
    EXPECT_EQ(of(xml_dom_append_child, root, trees::root(other)),
              "argument 2 of xml_dom_append_child is a handle of kind element and names an element "
              "<b>");
    EXPECT_EQ(of(xml_dom_append_child, "none", root),
              "argument 1 of xml_dom_append_child is no handle of this session");
    EXPECT_EQ(of(xml_dom_import_node, document, "none", true),
              "argument 2 of xml_dom_import_node is no handle of this session");
}

// Reports about texts and numbers have none, those of parsing keep their own, and nothing is left
// over from one call to the next.
TEST_F(failure_context, is_added_to_nothing_else) {
    const sql::handle document = trees::parsed("<a/>");
    EXPECT_EQ(of(xml_dom_create_element, document, sql::null), "");
    const sql::handle root = trees::root_node(document);
    const sql::handle list = sql::call(xml_dom_get_child_nodes, document).handle();
    EXPECT_EQ(of(xml_dom_item, list, -1), "");
    EXPECT_NE(of(xml_dom_new_document_clob, "<a>").find("line 1"), std::string::npos);
    host::standalone::fail_call(host::standalone::service::allocation, 1);
    EXPECT_EQ(of(xml_dom_get_first_child, document), "");
    host::standalone::clear_faults();
    static_cast<void>(root);
}

} // namespace
