// Importing: what is copied, into whom, what the copy shares with its original.
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

class importing : public changing {
  protected:
    // Appends a deep copy to the root and gives the root as it is written.
    static std::string merged(const sql::handle &into, const sql::handle &node) {
        append(root(into), import(into, node, true));
        return written_root(into);
    }
};

// --- null rules and checks ----------------------------------------------------------------------

TEST_F(importing, null_rules) {
    const sql::handle into = document("<r/>");
    const sql::handle from = document("<a><b/></a>");
    const sql::handle node = root(from);
    EXPECT_TRUE(call(xml_dom_import_node, sql::null, node, true).is_null());
    EXPECT_TRUE(call(xml_dom_import_node, into, sql::null, true).is_null());
    EXPECT_TRUE(call(xml_dom_import_node, sql::null, sql::null, sql::null).is_null());
    EXPECT_TRUE(call(xml_dom_import_node, k_short_value, sql::null, true).is_null());
    const sql::handle gone = root(from);
    call(xml_dom_free_element, gone);
    EXPECT_TRUE(call(xml_dom_import_node, into, gone, true).is_null());
    EXPECT_TRUE(call(xml_dom_import_node, gone, node, true).is_null());
    EXPECT_TRUE(call(xml_dom_import_node, root(into), gone, true).is_null());
}

TEST_F(importing, deep_is_false_when_it_is_null_or_left_out) {
    const sql::handle into = document("<r/>");
    const sql::handle node = root(document("<a x='1'><b/></a>"));
    EXPECT_EQ(written(call(xml_dom_import_node, into, node, sql::null).handle()), "<a x=\"1\"/>");
    EXPECT_EQ(written(call(xml_dom_import_node, into, node).handle()), "<a x=\"1\"/>");
    EXPECT_EQ(written(call(xml_dom_import_node, into, node, false).handle()), "<a x=\"1\"/>");
    EXPECT_EQ(written(call(xml_dom_import_node, into, node, true).handle()), "<a x=\"1\"><b/></a>");
}

TEST_F(importing, checks_in_order) {
    const sql::handle into = document("<r x='1'><s/></r>");
    const sql::handle node = root(document("<a/>"));
    EXPECT_REPORT(call(xml_dom_import_node, k_short_value, node, true), reports::handle_not_found);
    EXPECT_REPORT(call(xml_dom_import_node, into, k_short_value, true), reports::handle_not_found);
    EXPECT_REPORT(call(xml_dom_import_node, unknown(), node, true), reports::handle_not_found);
    EXPECT_REPORT(call(xml_dom_import_node, into, unknown(), true), reports::handle_not_found);
    const sql::handle top = root(into);
    const sql::handle as_node = call(xml_dom_makenode, top).handle();
    const sql::handle list = call(xml_dom_get_child_nodes, top).handle();
    const sql::handle map = call(xml_dom_get_attributes, as_node).handle();
    for (const sql::handle &wrong : {top, as_node, list, map}) {
        EXPECT_REPORT(call(xml_dom_import_node, wrong, node, true), reports::not_a_document);
    }
    EXPECT_REPORT(call(xml_dom_import_node, into, list, true), reports::inconsistent_types);
    EXPECT_REPORT(call(xml_dom_import_node, into, map, true), reports::inconsistent_types);
    EXPECT_REPORT(call(xml_dom_import_node, top, list, true), reports::not_a_document);
    EXPECT_FALSE(
        call(xml_dom_import_node, call(xml_dom_makenode, into).handle(), node, true).failed());
}

TEST_F(importing, document_types_and_declarations_are_refused) {
    const sql::handle from = document("<!DOCTYPE a [<!ELEMENT a ANY><!ENTITY e 'x'>]><a/>");
    const sql::handle into = document("<r/>");
    xmlNodePtr declaration =
        reinterpret_cast<xmlNodePtr>(reinterpret_cast<xmlDocPtr>(node(from))->intSubset);
    while (declaration != nullptr) {
        sql::result held;
        held.datum_ =
            pkg_dbe_xml::mint_handle<pkg_dbe_xml::XMLDomNodeType::node>(*entry(from), declaration);
        EXPECT_REPORT(call(xml_dom_import_node, into, held.handle(), true),
                      reports::import_unsupported);
        declaration = declaration->type == XML_DTD_NODE ? declaration->children : declaration->next;
    }
}

// --- copies -------------------------------------------------------------------------------------

TEST_F(importing, the_copy_belongs_to_the_target_and_stands_nowhere) {
    const sql::handle into = document("<r/>");
    const sql::handle from = document("<a><b/></a>");
    const sql::handle copy = import(into, root(from), true);
    EXPECT_EQ(copy.document_id(), into.document_id());
    EXPECT_EQ(copy.serial(), into.serial());
    EXPECT_EQ(entry(copy)->kind, pkg_dbe_xml::XMLDomNodeType::node);
    EXPECT_EQ(node(copy)->doc, static_cast<void *>(node(into)));
    EXPECT_EQ(node(copy)->parent, nullptr);
    EXPECT_EQ(node(first(copy))->doc, static_cast<void *>(node(into)));
    call(xml_dom_free_document, from);
    append(root(into), copy);
    EXPECT_EQ(written_root(into), "<r><a><b/></a></r>");
}

TEST_F(importing, every_type_of_node) {
    const sql::handle from =
        document("<a x='1 &amp; 2' y=''>text<!--comment--><?pi data?><?bare?><![CDATA[<c>]]>"
                 "<b><c>deep</c>tail</b>\xC3\xA9</a>");
    const sql::handle into = document("<r/>");
    const std::string expected = written_root(from);
    EXPECT_EQ(written(import(into, root(from), true)), expected);
    EXPECT_EQ(written(import(from, root(from), true)), expected); // within one document
    sql::handle child = first(root(from));
    for (int step = 0; step < 7; ++step) {
        const sql::handle copy = import(into, child, true);
        EXPECT_EQ(node(copy)->type, node(child)->type);
        EXPECT_EQ(written(copy), written(child));
        if (step < 6) {
            child = next(child);
        }
    }
    const sql::handle spare = import(into, attribute_of(root(from), "x"), false);
    EXPECT_EQ(value(spare), "1 & 2");
    EXPECT_EQ(node(spare)->type, XML_ATTRIBUTE_NODE);
    const sql::handle bare = call(xml_dom_create_text_node, from, sql::null).handle();
    EXPECT_EQ(node(import(into, bare, true))->content, nullptr);
}

TEST_F(importing, copies_into_documents_with_and_without_a_dictionary) {
    const sql::handle parsed = document("<r><known/></r>");
    const sql::handle empty = empty_document();
    const sql::handle made = element(empty, "made");
    append(empty, made);
    append(made, attribute(empty, "x", "1"));
    EXPECT_EQ(written(import(parsed, made, true)), "<made x=\"1\"/>");
    EXPECT_EQ(written(import(empty, root(parsed), true)), "<r><known/></r>");
    const sql::handle known = import(parsed, first(root(parsed)), true);
    EXPECT_EQ(node(known)->name, node(first(root(parsed)))->name);
}

TEST_F(importing, wide_and_nested_trees) {
    std::string xml = "<a>";
    for (int index = 0; index < 20000; ++index) {
        xml += "<b i='" + std::to_string(index) + "'>t</b>";
    }
    xml += "</a>";
    const sql::handle from = document(xml);
    const sql::handle into = document("<r/>");
    EXPECT_EQ(written(import(into, root(from), true)), written_root(from));
}

// --- namespaces ---------------------------------------------------------------------------------

TEST_F(importing, namespaces_declared_inside_come_along) {
    const sql::handle from = document("<a xmlns='urn:d' xmlns:p='urn:p'><p:b p:x='1' y='2'><c "
                                      "xmlns:p='urn:q' p:z='3'/></p:b></a>");
    const sql::handle into = document("<r/>");
    EXPECT_EQ(merged(into, root(from)),
              "<r><a xmlns=\"urn:d\" xmlns:p=\"urn:p\"><p:b p:x=\"1\" y=\"2\">"
              "<c xmlns:p=\"urn:q\" p:z=\"3\"/></p:b></a></r>");
    for (const xmlNs *record = node(root(from))->nsDef; record != nullptr; record = record->next) {
        EXPECT_EQ(record->_private, nullptr); // no trace of the copy on the original
    }
}

TEST_F(importing, namespaces_declared_outside_are_declared_on_top_of_the_copy) {
    const sql::handle from = document("<a xmlns='urn:d' xmlns:p='urn:p' xmlns:q='urn:q'>"
                                      "<p:b><c p:x='1'/><c xml:lang='en' p:x='2'/></p:b></a>");
    const sql::handle into = document("<r/>");
    EXPECT_EQ(merged(into, first(root(from))),
              "<r><p:b xmlns:p=\"urn:p\" xmlns=\"urn:d\"><c p:x=\"1\"/>"
              "<c xml:lang=\"en\" p:x=\"2\"/></p:b></r>");
    call(xml_dom_free_document, from);
    EXPECT_EQ(call(xml_dom_get_attribute_ns,
                   call(xml_dom_make_element, first(first(root(into)))).handle(), "x", "urn:p")
                  .text(),
              "1");
}

TEST_F(importing, a_prefix_that_the_top_of_the_copy_uses_otherwise) {
    const sql::handle from =
        document("<a xmlns:p='urn:outer'><b xmlns:p='urn:inner'><p:c/></b><p:d/></a>");
    const sql::handle top = root(from);
    append(first(top), last(top)); // <p:d> of the outer namespace below the inner one
    const sql::handle into = document("<r/>");
    const sql::handle copy = import(into, first(top), true);
    EXPECT_EQ(written(copy), "<b xmlns:p=\"urn:inner\"><p:c/><p:d xmlns:p=\"urn:outer\"/></b>");
}

TEST_F(importing, a_prefix_that_the_top_of_the_copy_declares_alike) {
    const sql::handle from = document("<x xmlns:p='urn:u'><p:b/><a xmlns:p='urn:u'/></x>");
    const sql::handle top = root(from);
    append(last(top), first(top)); // <p:b> uses the outer of two like declarations
    const sql::handle into = document("<r/>");
    const sql::handle copy = import(into, first(top), true);
    EXPECT_EQ(written(copy), "<a xmlns:p=\"urn:u\"><p:b/></a>");
    EXPECT_EQ(node(first(copy))->ns, node(copy)->nsDef);
    EXPECT_EQ(node(first(copy))->nsDef, nullptr);
}

TEST_F(importing, a_prefix_is_declared_once_on_an_element_that_uses_it_often) {
    const sql::handle from =
        document("<x xmlns:p='urn:u'><p:b p:k='1' p:l='2'/><a xmlns:p='urn:v'/></x>");
    const sql::handle top = root(from);
    append(last(top), first(top));
    const sql::handle into = document("<r/>");
    EXPECT_EQ(written(import(into, first(top), true)),
              "<a xmlns:p=\"urn:v\"><p:b xmlns:p=\"urn:u\" p:k=\"1\" p:l=\"2\"/></a>");
}

TEST_F(importing, an_attribute_whose_prefix_is_taken_on_its_element_too) {
    const sql::handle from =
        document("<x xmlns:p='urn:u' p:k='1'><b xmlns:p='urn:w'/><a xmlns:p='urn:v'/></x>");
    const sql::handle top = root(from);
    const sql::handle moved = attribute_of(top, "k");
    append(first(top), moved);
    append(last(top), first(top));
    const sql::handle into = document("<r/>");
    const sql::handle copy = import(into, first(top), true);
    call(xml_dom_free_document, from);
    EXPECT_EQ(written(copy), "<a xmlns:p=\"urn:v\"><b xmlns:p=\"urn:w\" p:k=\"1\"/></a>");
    const sql::handle below = call(xml_dom_make_element, first(copy)).handle();
    EXPECT_EQ(call(xml_dom_get_attribute_ns, below, "k", "urn:u").text(), "1");
    EXPECT_TRUE(call(xml_dom_get_attribute_ns, below, "k", "urn:w").is_null());
    EXPECT_EQ(node(below)->nsDef->next, nullptr);
}

TEST_F(importing, attributes_keep_their_namespace) {
    const sql::handle from = document("<a xmlns:p='urn:p' p:x='1' xml:lang='en'/>");
    const sql::handle top = root(from);
    const sql::handle into = document("<r xmlns:p='urn:p' p:x='old' x='plain'/>");
    const sql::handle copy =
        import(into, call(xml_dom_get_attribute_node, top, "x", "urn:p").handle(), true);
    call(xml_dom_free_node, call(xml_dom_makenode, top).handle());
    ASSERT_NE(node(copy)->ns, nullptr);
    EXPECT_STREQ(reinterpret_cast<const char *>(node(copy)->ns->href), "urn:p");
    const sql::handle language = import(into, attribute_of(top, "lang"), false);
    call(xml_dom_free_document, from);
    append(root(into), copy);
    append(root(into), language);
    EXPECT_EQ(written_root(into), "<r xmlns:p=\"urn:p\" x=\"plain\" p:x=\"1\" xml:lang=\"en\"/>");
}

TEST_F(importing, attributes_set_in_a_namespace_without_a_prefix_keep_it_in_a_copy) {
    const sql::handle from = document("<a xmlns='urn:d'/>");
    call(xml_dom_set_attribute_ns, root(from), "x", "1", "urn:x");
    const sql::handle into = document("<r/>");
    const sql::handle copy = call(xml_dom_make_element, import(into, root(from), true)).handle();
    call(xml_dom_free_document, from);
    EXPECT_EQ(written(copy), "<a xmlns=\"urn:d\" x=\"1\"/>");
    EXPECT_EQ(call(xml_dom_get_attribute_ns, copy, "x", "urn:x").text(), "1");
}

// What was moved away from the element that declared its prefix gets a declaration in the copy.
TEST_F(importing, a_prefix_whose_declaration_stands_beside) {
    const sql::handle from = document("<r xmlns:p='u' xmlns:q='v'><p:b q:k='1'><p:c/></p:b></r>");
    append(from, first(root(from)));
    EXPECT_EQ(call(xml_dom_write_to_buffer_doc, import(document("<x/>"), from, true)).text(),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<r xmlns:p=\"u\" xmlns:q=\"v\"/>\n"
              "<p:b xmlns:p=\"u\" xmlns:q=\"v\" q:k=\"1\">\n  <p:c/>\n</p:b>\n");
}

TEST_F(importing, a_prefix_whose_declaration_stands_deeper) {
    const sql::handle from = document("<r><d><a xmlns:p='u'><p:b/><p:c p:k='1'/></a></d><z/></r>");
    const sql::handle top = root(from);
    const sql::handle declaring = first(first(top));
    const sql::handle b = first(declaring);
    append(last(top), next(b)); // behind the declaration
    EXPECT_EQ(written(import(document("<x/>"), top, true)),
              "<r xmlns:p=\"u\"><d><a xmlns:p=\"u\"><p:b/></a></d><z><p:c p:k=\"1\"/></z></r>");
    append(top, first(top)); // in front of it
    append(top, b);
    EXPECT_EQ(written(import(document("<x/>"), top, true)),
              "<r xmlns:p=\"u\"><z><p:c p:k=\"1\"/></z><d><a xmlns:p=\"u\"/></d><p:b/></r>");
    for (const xmlNs *record = node(declaring)->nsDef; record != nullptr; record = record->next) {
        EXPECT_EQ(record->_private, nullptr);
    }
}

// --- documents ----------------------------------------------------------------------------------

TEST_F(importing, a_document_is_copied_whole) {
    const sql::handle from = document(
        "<?xml version='1.0' encoding='UTF-8' standalone='yes'?><!--before--><!DOCTYPE a "
        "[<!ELEMENT "
        "a ANY><!ENTITY e 'in<b/>side'><!ATTLIST a x CDATA 'd'>]><?pi?><a>&e;</a><!--after-->");
    const sql::handle into = document("<r/>");
    for (const bool deep : {false, true}) {
        const sql::handle copy = import(into, from, deep);
        EXPECT_EQ(node(copy)->type, XML_DOCUMENT_NODE);
        EXPECT_EQ(copy.document_id(), into.document_id());
        EXPECT_EQ(call(xml_dom_write_to_buffer_doc, copy).text(),
                  call(xml_dom_write_to_buffer_doc, from).text());
        const auto *const tree = reinterpret_cast<xmlDocPtr>(node(copy));
        ASSERT_NE(tree->intSubset, nullptr);
        EXPECT_EQ(tree->intSubset->parent, tree);
        EXPECT_EQ(tree->intSubset->children->doc, tree);
        EXPECT_EQ(tree->standalone, 1);
    }
    call(xml_dom_free_document, from);
    call(xml_dom_free_document, into);
    EXPECT_EQ(libxml2_bytes(), 0);
}

TEST_F(importing, the_root_of_a_copied_document_can_move_into_the_target) {
    const sql::handle from = document("<a xmlns:p='urn:p'><p:b p:x='1'>text</p:b></a>");
    const sql::handle into = document("<r/>");
    const sql::handle copy = import(into, from, true);
    const sql::handle moved = append(root(into), root(copy));
    EXPECT_EQ(node(first(first(moved)))->doc, static_cast<void *>(node(into)));
    EXPECT_EQ(node(first(moved))->properties->doc, static_cast<void *>(node(into)));
    EXPECT_EQ(node(first(moved))->properties->children->doc, static_cast<void *>(node(into)));
    EXPECT_EQ(written_root(into), "<r><a xmlns:p=\"urn:p\"><p:b p:x=\"1\">text</p:b></a></r>");
    EXPECT_TRUE(call(xml_dom_get_document_element, copy).is_null());
    append(copy, first(root(into))); // and back
    EXPECT_EQ(written_root(into), "<r/>");
    call(xml_dom_free_document, from);
    EXPECT_EQ(written_root(copy), "<a xmlns:p=\"urn:p\"><p:b p:x=\"1\">text</p:b></a>");
}

TEST_F(importing, into_a_copied_document) {
    const sql::handle into = document("<r/>");
    const sql::handle copy = import(into, document("<a/>"), true);
    const sql::handle node_copy = import(copy, root(document("<b x='1'/>")), true);
    EXPECT_EQ(node(node_copy)->doc, static_cast<void *>(node(copy)));
    append(root(copy), node_copy);
    const sql::handle twice = import(copy, copy, true);
    EXPECT_EQ(written_root(twice), "<a><b x=\"1\"/></a>");
    EXPECT_EQ(name(element(copy, "c")), "c");
}

} // namespace
