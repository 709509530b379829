// What the session tells about itself: number of handles, documents, nodes below a handle.
#include "trees.hpp"

#include "faults.hpp"
#include "standalone_session.hpp"
#include "tree/pkg_xml_dom_common.hpp"

#include <libxml/xmlsave.h>

namespace {

using namespace trees;

class diagnostics : public sql::session_test {
  protected:
    static std::string hexadecimal(const sql::handle &handle) {
        std::string text;
        for (const std::uint8_t byte : handle.bytes) {
            char digits[3];
            std::snprintf(digits, sizeof digits, "%02X", byte);
            text += digits;
        }
        return text;
    }
    static std::string line(const sql::handle &handle, int nodes, long size) {
        return "|ID:" + hexadecimal(handle) + "\t|Node count:" + std::to_string(nodes) +
               "\t|Memory used:" + std::to_string(size) + " byte\t|\n";
    }
    static std::string detail_line(const sql::handle &handle, int elements, int attributes,
                                   int texts) {
        return "|ID:" + hexadecimal(handle) + "\t|Element count:" + std::to_string(elements) +
               "\t|Attribute count:" + std::to_string(attributes) +
               "\t|Text count:" + std::to_string(texts) + "\t|";
    }
    static std::string documents() { return sql::call(xml_dom_get_doc_trees_info).text(); }
    static std::string detail(const sql::handle &handle) {
        return sql::call(xml_dom_get_detail_doc_tree_info, handle).text();
    }
    static int handles() { return sql::call(xml_dom_get_session_tree_num).integer(); }
    // The size as libxml2 writes the document into memory.
    static int dumped_size(const sql::handle &document) {
        const host::xml_scope scope;
        xmlChar *text = nullptr;
        int size = 0;
        xmlDocDumpMemory(document_of(document), &text, &size);
        xmlFree(text);
        return size;
    }
};

TEST_F(diagnostics, a_fresh_session_has_nothing) {
    EXPECT_EQ(handles(), 0);
    EXPECT_EQ(documents(), "There aren't any doc trees");
}

TEST_F(diagnostics, every_handle_counts) {
    const sql::handle document = parsed("<r a='1'><b/></r>");
    EXPECT_EQ(handles(), 1);
    const sql::handle element = root(document);
    EXPECT_EQ(handles(), 2);
    const sql::handle list = sql::call(xml_dom_get_child_nodes, element).handle();
    const sql::handle node = sql::call(xml_dom_makenode, element).handle();
    static_cast<void>(sql::call(xml_dom_get_attributes, node));
    EXPECT_EQ(handles(), 5);
    // One that was released is still registered.
    release(node);
    release(list);
    EXPECT_EQ(handles(), 5);
    static_cast<void>(parsed("<r/>"));
    EXPECT_EQ(handles(), 6);
}

TEST_F(diagnostics, a_document_is_listed_once_for_each_handle_that_names_it) {
    const sql::handle document = parsed("<r><a x='1'>t</a></r>");
    const int size = dumped_size(document);
    EXPECT_EQ(documents(), line(document, 6, size));
    const sql::handle element = root(document);
    EXPECT_EQ(documents(), line(document, 6, size));
    const sql::handle parent = sql::call(xml_dom_get_parent_node, element).handle();
    const std::string both = documents();
    EXPECT_EQ(both.size(), 2 * line(document, 6, size).size());
    EXPECT_NE(both.find(line(document, 6, size)), std::string::npos);
    EXPECT_NE(both.find(line(parent, 6, size)), std::string::npos);
    EXPECT_NE(parent, document);
    // The document itself and one node below it.
    EXPECT_EQ(parsed("<r/>").document_id(), 1U);
    EXPECT_NE(documents().find("Node count:2\t"), std::string::npos);
}

TEST_F(diagnostics, many_documents_each_have_their_own_line) {
    std::vector<sql::handle> handles;
    for (int i = 0; i < 40; ++i) {
        std::string text = "<r>";
        for (int j = 0; j < i; ++j) {
            text += "<e/>";
        }
        handles.push_back(parsed(text + "</r>"));
    }
    const std::string text = documents();
    std::size_t total = 0;
    for (int i = 0; i < 40; ++i) {
        const sql::handle &handle = handles[static_cast<std::size_t>(i)];
        const std::string expected = line(handle, i + 2, dumped_size(handle));
        EXPECT_NE(text.find(expected), std::string::npos);
        total += expected.size();
    }
    EXPECT_EQ(text.size(), total);
}

TEST_F(diagnostics, released_documents_are_not_listed) {
    const sql::handle document = parsed("<r/>");
    release(document);
    EXPECT_EQ(documents(), "There aren't any doc trees");
    EXPECT_EQ(handles(), 1);
}

TEST_F(diagnostics, size_is_that_of_the_document_in_its_own_encoding) {
    const sql::handle document = parsed("<r>\xC3\xA9\xC3\xA8</r>");
    const int as_references = dumped_size(document);
    EXPECT_EQ(documents(), line(document, 3, as_references));
    EXPECT_TRUE(sql::call(xml_dom_set_charset, document, "ISO-8859-1").is_null());
    const int as_bytes = dumped_size(document);
    EXPECT_NE(as_bytes, as_references);
    EXPECT_EQ(documents(), line(document, 3, as_bytes));
    EXPECT_TRUE(sql::call(xml_dom_set_charset, document, "UTF-16").is_null());
    EXPECT_GT(dumped_size(document), 2 * 50);
    EXPECT_EQ(documents(), line(document, 3, dumped_size(document)));
}

TEST_F(diagnostics, size_of_a_document_in_an_encoding_nobody_knows_is_zero) {
    const sql::handle document = parsed("<r/>");
    {
        const host::tree_scope scope;
        xmlFree(const_cast<xmlChar *>(document_of(document)->encoding));
        document_of(document)->encoding = xmlStrdup(xml("no-such-set"));
    }
    EXPECT_EQ(documents(), line(document, 2, 0));
}

TEST_F(diagnostics, size_of_a_large_document) {
    std::string text = "<r>";
    for (int i = 0; i < 20000; ++i) {
        text += "<element attribute='value'>some text</element>";
    }
    const sql::handle document = parsed(text + "</r>");
    EXPECT_EQ(documents(), line(document, 2 + 4 * 20000, dumped_size(document)));
}

TEST_F(diagnostics, declarations_are_counted_and_walked_as_what_they_are) {
    const sql::handle document = parsed(
        "<!DOCTYPE r [<!ELEMENT r ANY><!ATTLIST r x CDATA 'dv' y CDATA 'dv2'>"
        "<!ENTITY e 'one<two a=\"1\">three</two>'><!ENTITY f 'text'><!NOTATION n SYSTEM 's'>]>"
        "<r z='1'>&e;&f;</r>");
    // Document, document type, 5 declarations; below the entities 3 texts, an element, an attribute
    // and its text; root, its attribute with its text, 2 references.
    xmlNodePtr doctype = document_of(document)->children;
    int declared = 0;
    for (xmlNodePtr node = doctype->children; node != nullptr; node = node->next) {
        ++declared;
    }
    EXPECT_EQ(declared, 5);
    int below_entities = 0;
    for (xmlNodePtr node = doctype->children; node != nullptr; node = node->next) {
        if (node->type == XML_ENTITY_DECL && node->children != nullptr) {
            below_entities += pkg_dbe_xml::count_nodes(node->children);
        }
    }
    EXPECT_EQ(below_entities, 6);
    EXPECT_EQ(documents(), line(document, 1 + 1 + 5 + 6 + 1 + 2 + 2, dumped_size(document)));
    EXPECT_EQ(detail(document), detail_line(document, 2, 2, 5));
}

TEST_F(diagnostics, external_subset_is_counted_with_its_declarations) {
    const sql::handle document = parsed("<r/>");
    {
        const host::tree_scope scope;
        xmlDtdPtr subset = xmlNewDtd(document_of(document), xml("r"), nullptr, xml("r.dtd"));
        ASSERT_NE(subset, nullptr);
        ASSERT_NE(xmlAddDtdEntity(document_of(document), xml("e"), XML_INTERNAL_GENERAL_ENTITY,
                                  nullptr, nullptr, xml("text")),
                  nullptr);
    }
    EXPECT_EQ(pkg_dbe_xml::count_nodes(node_of(document)), 4);
    EXPECT_EQ(detail(document), detail_line(document, 1, 0, 0));
}

// --- one handle ---------------------------------------------------------------------------------

TEST_F(diagnostics, detail_of_null_is_null) {
    EXPECT_TRUE(sql::call(xml_dom_get_detail_doc_tree_info, sql::null).is_null());
}

TEST_F(diagnostics, detail_of_a_document) {
    const sql::handle document = parsed("<r><e a='v'/></r>");
    EXPECT_EQ(detail(document), detail_line(document, 2, 1, 1));
    // An empty value is an empty text below its attribute.
    const sql::handle more = parsed("<r> <e a='' b='v'>t<![CDATA[c]]><!--m--><?p d?></e>\n</r>");
    EXPECT_EQ(detail(more), detail_line(more, 2, 2, 5));
}

TEST_F(diagnostics, detail_counts_the_following_siblings_too) {
    const sql::handle document = parsed("<r><a/><b x='1'/>t<c/></r>");
    const sql::handle a = sql::call(xml_dom_get_first_child, root(document)).handle();
    const sql::handle b = sql::call(xml_dom_get_next_sibling, a).handle();
    EXPECT_EQ(detail(a), detail_line(a, 3, 1, 2));
    EXPECT_EQ(detail(b), detail_line(b, 2, 1, 2));
    const sql::handle c = sql::call(xml_dom_get_last_child, root(document)).handle();
    EXPECT_EQ(detail(c), detail_line(c, 1, 0, 0));
}

TEST_F(diagnostics, detail_of_an_attribute_counts_the_attributes_after_it_only) {
    const sql::handle document = parsed("<r x='1' y='' z='3'><a/></r>");
    const sql::handle y = sql::call(xml_dom_get_attribute_node, root(document), "y").handle();
    EXPECT_EQ(detail(y), detail_line(y, 0, 2, 2));
}

TEST_F(diagnostics, detail_of_what_names_nothing_counts_nothing) {
    const sql::handle document = parsed("<r x='1'><a/></r>");
    const sql::handle element = root(document);
    const sql::handle list = sql::call(xml_dom_get_child_nodes, element).handle();
    const sql::handle map = sql::call(xml_dom_get_attributes, root_node(document)).handle();
    EXPECT_REPORT(sql::call(xml_dom_get_detail_doc_tree_info, list), reports::inconsistent_types);
    EXPECT_REPORT(sql::call(xml_dom_get_detail_doc_tree_info, map), reports::inconsistent_types);
    for (const sql::handle &handle : {element, list, map}) {
        release(handle);
        EXPECT_EQ(detail(handle), detail_line(handle, 0, 0, 0));
    }
    sql::handle unknown = element;
    unknown.bytes[4] = 200;
    EXPECT_REPORT(sql::call(xml_dom_get_detail_doc_tree_info, unknown), reports::handle_not_found);
}

TEST_F(diagnostics, nothing_is_counted_below_an_entity_reference) {
    const sql::handle document = parsed("<!DOCTYPE r [<!ENTITY e '<a>t</a>'>]><r>&e;&e;</r>");
    const sql::handle element = root(document);
    EXPECT_EQ(detail(element), detail_line(element, 1, 0, 0));
    EXPECT_EQ(pkg_dbe_xml::count_nodes(node_of(element)), 3);
}

TEST_F(diagnostics, counting_null_counts_nothing) {
    EXPECT_EQ(pkg_dbe_xml::count_nodes(nullptr), 0);
    pkg_dbe_xml::node_counts counts{1, 2, 3};
    pkg_dbe_xml::count_nodes_separate_type(nullptr, counts);
    EXPECT_EQ(counts.elements, 1);
    EXPECT_EQ(counts.attributes, 2);
    EXPECT_EQ(counts.texts, 3);
}

// --- when something fails -----------------------------------------------------------------------

TEST_F(diagnostics, failed_allocations_change_nothing) {
    const sql::handle document = parsed("<r><a x='1'>t</a></r>");
    EXPECT_TRUE(sql::call(xml_dom_set_charset, document, "ISO-8859-1").is_null());
    const std::string expected = documents();
    for (const auto service :
         {host::standalone::service::libxml2_allocation, host::standalone::service::allocation}) {
        int failures = 0;
        for (int call = 1; call < 50; ++call) {
            host::standalone::fail_call(service, call);
            const sql::result outcome = sql::call(xml_dom_get_doc_trees_info);
            const bool injected = host::standalone::faults_of(service) > 0;
            host::standalone::clear_faults();
            if (!injected) {
                EXPECT_EQ(outcome.text(), expected);
                break;
            }
            ++failures;
            EXPECT_EQ(outcome.error().sqlstate, "53200") << call;
        }
        EXPECT_GT(failures, 0);
    }
}

TEST_F(diagnostics, a_long_report_can_be_cancelled) {
    std::string text = "<r>";
    for (int i = 0; i < 20000; ++i) {
        text += "<a/>";
    }
    const sql::handle document = parsed(text + "</r>");
    host::standalone::cancel_statement();
    const sql::result outcome = sql::call(xml_dom_get_doc_trees_info);
    host::standalone::forget_cancel();
    EXPECT_TRUE(outcome.failed());
    host::standalone::cancel_after_polls(1);
    EXPECT_TRUE(sql::call(xml_dom_get_detail_doc_tree_info, document).failed());
    host::standalone::forget_cancel();
    EXPECT_EQ(detail(document), detail_line(document, 20001, 0, 0));
}

} // namespace
