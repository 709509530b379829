// Root element, character set and document type of a document.
#include "trees.hpp"

#include "faults.hpp"
#include "standalone_session.hpp"

namespace {

using namespace trees;

std::string text_or_none(const xmlChar *text) {
    return text == nullptr ? "(none)" : reinterpret_cast<const char *>(text);
}

class document_root : public sql::session_test {};

TEST_F(document_root, null_and_nothing_give_null) {
    EXPECT_TRUE(sql::call(xml_dom_get_document_element, sql::null).is_null());
    const sql::handle element = root(parsed("<r/>"));
    release(element);
    EXPECT_TRUE(sql::call(xml_dom_get_document_element, element).is_null());
}

TEST_F(document_root, is_an_element_handle_of_its_own_each_time) {
    const sql::handle document = parsed("<?p?><!--c--><!DOCTYPE r><r/><!--end-->");
    const sql::handle once = root(document);
    const sql::handle twice = root(document);
    EXPECT_EQ(kind_of(once), 8);
    EXPECT_EQ(node_of(once), node_of(twice));
    EXPECT_EQ(sql::call(xml_dom_get_tagname, once).text(), "r");
    EXPECT_EQ(once.document_id(), document.document_id());
    EXPECT_EQ(once.serial(), document.serial());
    EXPECT_EQ(once.node_id(), 1U);
    EXPECT_EQ(twice.node_id(), 2U);
    EXPECT_EQ(sql::call(xml_dom_get_document_element, document).stored_bytes().size(), 17U);
}

TEST_F(document_root, of_a_document_without_root_is_null_and_uses_up_a_node_id) {
    const sql::handle document = empty_document();
    EXPECT_TRUE(sql::call(xml_dom_get_document_element, document).is_null());
    EXPECT_TRUE(sql::call(xml_dom_get_document_element, document).is_null());
    const sql::handle node = sql::call(xml_dom_makenode, document).handle();
    EXPECT_EQ(node.node_id(), 3U);
}

TEST_F(document_root, of_another_node_is_its_first_element_child) {
    const sql::handle document =
        parsed("<!DOCTYPE r [<!ENTITY e '<x/>'>]><r a='1'>text&e;<!--c--><a><b/></a></r>");
    const sql::handle a = sql::call(xml_dom_get_document_element, root_node(document)).handle();
    EXPECT_EQ(sql::call(xml_dom_get_tagname, a).text(), "a");
    EXPECT_EQ(sql::call(xml_dom_get_tagname, root(a)).text(), "b");
    EXPECT_TRUE(sql::call(xml_dom_get_document_element, root(a)).is_null());
    xmlNodePtr element = node_of(root(document));
    for (xmlNodePtr node :
         {element->children, element->children->next,
          reinterpret_cast<xmlNodePtr>(element->properties), document_of(document)->children}) {
        EXPECT_TRUE(sql::call(xml_dom_get_document_element, named(document, node)).is_null());
    }
}

TEST_F(document_root, of_lists_and_maps_is_refused) {
    const sql::handle document = parsed("<r a='1'><e/></r>");
    const sql::handle list = sql::call(xml_dom_get_child_nodes, document).handle();
    const sql::handle map = sql::call(xml_dom_get_attributes, root_node(document)).handle();
    for (const sql::handle &handle : {list, map}) {
        EXPECT_REPORT(sql::call(xml_dom_get_document_element, handle), reports::inconsistent_types);
        release(handle);
        EXPECT_TRUE(sql::call(xml_dom_get_document_element, handle).is_null());
    }
}

// --- character set
// ----------------------------------------------------------------------------------

class character_set : public sql::session_test {
  protected:
    static std::string encoding_of(const sql::handle &document) {
        return text_or_none(document_of(document)->encoding);
    }
};

TEST_F(character_set, null_handle_is_null_and_changes_nothing) {
    EXPECT_TRUE(sql::call(xml_dom_set_charset, sql::null, "no such set").is_null());
    EXPECT_TRUE(sql::call(xml_dom_set_charset, sql::null, sql::null).is_null());
}

TEST_F(character_set, is_stored_as_it_is_spelt) {
    const sql::handle document = parsed("<r/>");
    for (const char *name : {"ISO-8859-1", "iso-8859-1", "UTF-16", "EUC-JP", "uTf-8"}) {
        EXPECT_TRUE(sql::call(xml_dom_set_charset, document, name).is_null());
        EXPECT_EQ(encoding_of(document), name);
    }
    EXPECT_TRUE(sql::call(xml_dom_set_charset, document, sql::null).is_null());
    EXPECT_EQ(encoding_of(document), "UTF-8");
    // Through a node handle of the document as well.
    const sql::handle node = sql::call(xml_dom_makenode, document).handle();
    EXPECT_TRUE(sql::call(xml_dom_set_charset, node, "ASCII").is_null());
    EXPECT_EQ(encoding_of(document), "ASCII");
}

TEST_F(character_set, replaces_a_declared_one) {
    const sql::handle document = parsed("<?xml version='1.0' encoding='ISO-8859-15'?><r/>");
    EXPECT_TRUE(sql::call(xml_dom_set_charset, document, "UTF-8").is_null());
    EXPECT_EQ(encoding_of(document), "UTF-8");
}

TEST_F(character_set, of_an_unknown_name_is_refused_and_the_old_one_stays) {
    const sql::handle document = parsed("<r/>");
    EXPECT_TRUE(sql::call(xml_dom_set_charset, document, "ISO-8859-1").is_null());
    EXPECT_REPORT(sql::call(xml_dom_set_charset, document, "no such set"),
                  reports::unsupported_character_set);
    EXPECT_EQ(encoding_of(document), "ISO-8859-1");
}

TEST_F(character_set, what_is_no_name_of_one_is_known_to_nobody) {
    const sql::handle document = parsed("<r/>");
    EXPECT_TRUE(sql::call(xml_dom_set_charset, document, "ISO-8859-1").is_null());
    for (const char *const name :
         {"", "/", "//", "ASCII//IGNORE", "ASCII//TRANSLIT", "UTF-8//IGNORE", "ISO_8859-1:1987",
          "8859_1", "-UTF-8", ".", " UTF-8", "UTF-8 ", "UTF-8\n", "UTF-8\" standalone=\"yes"}) {
        EXPECT_REPORT(sql::call(xml_dom_set_charset, document, name),
                      reports::unsupported_character_set)
            << name;
    }
    EXPECT_EQ(encoding_of(document), "ISO-8859-1");
}

TEST_F(character_set, longest_name) {
    const sql::handle document = parsed("<r/>");
    const std::string before = encoding_of(document);
    const std::string longest(60, 'x');
    // It passes the limit, and nobody knows it until there is such an alias.
    EXPECT_REPORT(sql::call(xml_dom_set_charset, document, longest),
                  reports::unsupported_character_set);
    EXPECT_REPORT(sql::call(xml_dom_set_charset, document, longest + "x"),
                  reports::encoding_name_too_long);
    EXPECT_EQ(encoding_of(document), before);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    ASSERT_EQ(xmlAddEncodingAlias("ISO-8859-1", longest.c_str()), 0);
    EXPECT_TRUE(sql::call(xml_dom_set_charset, document, longest).is_null());
    xmlCleanupEncodingAliases();
#pragma GCC diagnostic pop
    EXPECT_EQ(encoding_of(document), longest);
}

TEST_F(character_set, length_counts_in_the_encoding_of_the_database) {
    use_database_encoding("LATIN1");
    const sql::handle document = parsed("<r/>");
    // 60 bytes here are 119 bytes of UTF-8.
    const std::string longest = "x" + std::string(59, '\xE9');
    EXPECT_REPORT(sql::call(xml_dom_set_charset, document, longest),
                  reports::unsupported_character_set);
    EXPECT_REPORT(sql::call(xml_dom_set_charset, document, longest + "x"),
                  reports::encoding_name_too_long);
}

TEST_F(character_set, handle_is_tested_before_the_name) {
    const std::string too_long(61, 'x');
    sql::handle unknown = parsed("<r a='1'><e/></r>");
    const sql::handle document = unknown;
    unknown.bytes[0] = 77;
    EXPECT_REPORT(sql::call(xml_dom_set_charset, unknown, too_long), reports::handle_not_found);
    const sql::handle element = root(document);
    const sql::handle list = sql::call(xml_dom_get_child_nodes, document).handle();
    const sql::handle map = sql::call(xml_dom_get_attributes, root_node(document)).handle();
    for (const sql::handle &handle : {element, list, map}) {
        EXPECT_REPORT(sql::call(xml_dom_set_charset, handle, too_long), reports::not_a_document);
        release(handle);
        EXPECT_REPORT(sql::call(xml_dom_set_charset, handle, too_long), reports::node_gone);
    }
}

TEST_F(character_set, failed_allocations_leave_the_old_one) {
    const sql::handle document = parsed("<r/>");
    EXPECT_TRUE(sql::call(xml_dom_set_charset, document, "ISO-8859-1").is_null());
    for (int call = 1; call < 20; ++call) {
        host::standalone::fail_call(host::standalone::service::libxml2_allocation, call);
        const sql::result outcome = sql::call(xml_dom_set_charset, document, "EUC-JP");
        host::standalone::clear_faults();
        if (!outcome.failed()) {
            break;
        }
        EXPECT_REPORT(outcome, reports::out_of_memory);
        EXPECT_EQ(encoding_of(document), "ISO-8859-1");
    }
    EXPECT_EQ(encoding_of(document), "EUC-JP");
}

// --- document type
// ----------------------------------------------------------------------------------

class document_type : public sql::session_test {
  protected:
    static std::string doctype_of(const sql::handle &document) {
        const xmlDtd *dtd = document_of(document)->intSubset;
        return dtd == nullptr ? "(no document type)"
                              : text_or_none(dtd->name) + " " + text_or_none(dtd->SystemID) + " " +
                                    text_or_none(dtd->ExternalID);
    }
};

TEST_F(document_type, null_handle_is_null) {
    EXPECT_TRUE(sql::call(xml_dom_set_doctype, sql::null, "a", "b", "c").is_null());
    EXPECT_TRUE(
        sql::call(xml_dom_set_doctype, sql::null, std::string(40000, 'x'), "b", "c").is_null());
}

TEST_F(document_type, is_made_before_the_root) {
    const sql::handle document = parsed("<!--c--><r/>");
    EXPECT_TRUE(sql::call(xml_dom_set_doctype, document, "r", "r.dtd", "-//X//R//EN").is_null());
    EXPECT_EQ(doctype_of(document), "r r.dtd -//X//R//EN");
    EXPECT_EQ(names_in(sql::call(xml_dom_get_child_nodes, document).handle()), "#comment r r");
}

TEST_F(document_type, is_made_in_an_empty_document) {
    const sql::handle document = empty_document();
    EXPECT_TRUE(sql::call(xml_dom_set_doctype, document, "r", sql::null, sql::null).is_null());
    EXPECT_EQ(doctype_of(document), "r (none) (none)");
}

TEST_F(document_type, second_call_replaces_the_fields_of_the_first) {
    const sql::handle document = parsed("<r/>");
    EXPECT_TRUE(sql::call(xml_dom_set_doctype, document, "r", "r.dtd", "-//X//R//EN").is_null());
    const xmlDtd *dtd = document_of(document)->intSubset;
    EXPECT_TRUE(sql::call(xml_dom_set_doctype, document, "s", "s.dtd", sql::null).is_null());
    EXPECT_EQ(document_of(document)->intSubset, dtd);
    EXPECT_EQ(doctype_of(document), "s s.dtd (none)");
    EXPECT_TRUE(sql::call(xml_dom_set_doctype, document, sql::null, sql::null, "p").is_null());
    EXPECT_EQ(doctype_of(document), "(none) (none) p");
    EXPECT_TRUE(
        sql::call(xml_dom_set_doctype, document, sql::null, sql::null, sql::null).is_null());
    EXPECT_EQ(doctype_of(document), "(none) (none) (none)");
    EXPECT_EQ(names_in(sql::call(xml_dom_get_elements_by_tagname_document, document, "*").handle()),
              "r");
}

TEST_F(document_type, replaces_the_fields_of_a_parsed_one_and_keeps_its_declarations) {
    const sql::handle document =
        parsed("<!DOCTYPE r PUBLIC '-//X//R//EN' 'r.dtd' [<!ENTITY e 'text'>]><r/>");
    EXPECT_TRUE(sql::call(xml_dom_set_doctype, document, "r2", "r2.dtd", "-//X//R2//EN").is_null());
    EXPECT_EQ(doctype_of(document), "r2 r2.dtd -//X//R2//EN");
    EXPECT_NE(document_of(document)->intSubset->children, nullptr);
}

TEST_F(document_type, longest_texts) {
    const sql::handle document = parsed("<r/>");
    const std::string longest(32500, 'n');
    EXPECT_TRUE(sql::call(xml_dom_set_doctype, document, longest, sql::null, sql::null).is_null());
    EXPECT_EQ(xmlStrlen(document_of(document)->intSubset->name), 32500);
    EXPECT_TRUE(sql::call(xml_dom_set_doctype, document, sql::null, longest, sql::null).is_null());
    EXPECT_TRUE(sql::call(xml_dom_set_doctype, document, sql::null, sql::null, longest).is_null());
    EXPECT_TRUE(sql::call(xml_dom_set_doctype, document, "", longest, "").is_null());
    const std::string before = doctype_of(document);
    const std::string longer = longest + "n";
    const auto refused = [&](const sql::value &name, const sql::value &system,
                             const sql::value &publicly) {
        EXPECT_REPORT(sql::call_with(xml_dom_set_doctype, {document, name, system, publicly}),
                      reports::numeric_or_value_error);
        EXPECT_EQ(doctype_of(document), before);
    };
    refused(longer, sql::null, sql::null);
    refused(sql::null, longer, sql::null);
    refused(sql::null, sql::null, longer);
    refused(longest, longest, longest);
    refused(longest, "x", sql::null);
    refused(std::string(16250, 'n'), std::string(16250, 's'), "p");
    EXPECT_TRUE(sql::call(xml_dom_set_doctype, document, std::string(16250, 'n'),
                          std::string(16249, 's'), "p")
                    .is_null());
}

TEST_F(document_type, length_counts_in_the_encoding_of_the_database) {
    use_database_encoding("LATIN1");
    const sql::handle document = parsed("<r/>");
    EXPECT_TRUE(
        sql::call(xml_dom_set_doctype, document, std::string(32500, '\xE9'), sql::null, sql::null)
            .is_null());
    EXPECT_EQ(xmlStrlen(document_of(document)->intSubset->name), 65000);
    EXPECT_REPORT(
        sql::call(xml_dom_set_doctype, document, std::string(32501, '\xE9'), sql::null, sql::null),
        reports::numeric_or_value_error);
}

TEST_F(document_type, handle_is_tested_before_the_lengths) {
    const std::string too_long(40000, 'x');
    const sql::handle document = parsed("<r a='1'><e/></r>");
    sql::handle unknown = document;
    unknown.bytes[8] = 77;
    EXPECT_REPORT(sql::call(xml_dom_set_doctype, unknown, too_long, sql::null, sql::null),
                  reports::handle_not_found);
    const sql::handle list = sql::call(xml_dom_get_child_nodes, document).handle();
    const sql::handle map = sql::call(xml_dom_get_attributes, root_node(document)).handle();
    for (const sql::handle &handle : {root(document), list, map}) {
        EXPECT_REPORT(sql::call(xml_dom_set_doctype, handle, too_long, sql::null, sql::null),
                      reports::not_a_document);
        release(handle);
        EXPECT_REPORT(sql::call(xml_dom_set_doctype, handle, too_long, sql::null, sql::null),
                      reports::node_gone);
    }
}

TEST_F(document_type, failed_allocations_leave_the_old_one) {
    const sql::handle document = parsed("<r/>");
    for (const char *name : {"first", "second"}) {
        const std::string before = doctype_of(document);
        bool done = false;
        for (int call = 1; call < 20 && !done; ++call) {
            host::standalone::fail_call(host::standalone::service::libxml2_allocation, call);
            const sql::result outcome =
                sql::call(xml_dom_set_doctype, document, name, "system", "public");
            host::standalone::clear_faults();
            done = !outcome.failed();
            if (!done) {
                EXPECT_REPORT(outcome, reports::out_of_memory);
                EXPECT_EQ(doctype_of(document), before);
            }
        }
        EXPECT_EQ(doctype_of(document), std::string(name) + " system public");
    }
}

} // namespace
