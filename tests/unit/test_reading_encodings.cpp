// Names and values in databases of other encodings: in and out they are in the encoding of the
// database, in the tree they are UTF-8.
#include "trees.hpp"

namespace {

using namespace trees;

// A word in an encoding, and the same in UTF-8.
struct encoded {
    const char *encoding;
    std::string native;
    std::string utf8;
};

const encoded k_encodings[] = {
    {"UTF8", "gr\xC3\xB6\xC3\x9F\x65", "gr\xC3\xB6\xC3\x9F\x65"},
    {"LATIN1", "gr\xF6\xDF\x65", "gr\xC3\xB6\xC3\x9F\x65"},
    {"WIN1252", "pr\xE9\x9Cis", "pr\xC3\xA9\xC5\x93is"},
    {"EUC_JP", "\xCA\xB8\xBD\xF1", "\xE6\x96\x87\xE6\x9B\xB8"},
    {"SQL_ASCII", "gr\xC3\xB6\xC3\x9F\x65", "gr\xC3\xB6\xC3\x9F\x65"},
};

class reading_encodings : public sql::session_test, public ::testing::WithParamInterface<encoded> {
  protected:
    void SetUp() override {
        sql::session_test::SetUp();
        use_database_encoding(GetParam().encoding);
        const std::string &word = GetParam().utf8;
        document = parsed("<" + word + " xmlns='urn:" + word + "' xmlns:p='urn:" + word + "' " +
                          word + "='" + word + "' p:" + word + "='in " + word + "'><p:" + word +
                          "/>" + word + "<!--" + word + "--></" + word + ">");
        element = root(document);
    }
    static const std::string &word() { return GetParam().native; }
    sql::handle document;
    sql::handle element;
};

INSTANTIATE_TEST_SUITE_P(databases, reading_encodings, ::testing::ValuesIn(k_encodings),
                         [](const auto &each) { return std::string(each.param.encoding); });

TEST_P(reading_encodings, names_and_values_come_out) {
    EXPECT_EQ(sql::call(xml_dom_get_tagname, element).text(), word());
    EXPECT_EQ(sql::call(xml_dom_get_localname, element).text(), word());
    EXPECT_EQ(sql::call(xml_dom_get_node_name, element).text(), word());
    const sql::handle prefixed = sql::call(xml_dom_get_first_child, element).handle();
    EXPECT_EQ(sql::call(xml_dom_get_node_name, prefixed).text(), "p:" + word());
    EXPECT_EQ(
        sql::call(xml_dom_get_tagname, sql::call(xml_dom_make_element, prefixed).handle()).text(),
        "p:" + word());
    const sql::handle text = sql::call(xml_dom_get_next_sibling, prefixed).handle();
    EXPECT_EQ(sql::call(xml_dom_get_node_value, text).text(), word());
    EXPECT_EQ(sql::call(xml_dom_get_node_value, sql::call(xml_dom_get_last_child, element).handle())
                  .text(),
              word());
}

TEST_P(reading_encodings, names_and_namespaces_go_in) {
    const std::string uri = "urn:" + word();
    EXPECT_EQ(sql::call(xml_dom_get_attribute, element, word()).text(), word());
    EXPECT_EQ(sql::call(xml_dom_get_attribute_ns, element, word(), uri).text(), "in " + word());
    EXPECT_EQ(sql::call(xml_dom_get_node_value,
                        sql::call(xml_dom_get_attribute_node, element, word(), uri).handle())
                  .text(),
              "in " + word());
    const sql::handle map = sql::call(xml_dom_get_attributes, root_node(document)).handle();
    EXPECT_EQ(
        sql::call(xml_dom_get_node_value, sql::call(xml_dom_get_named_item, map, word()).handle())
            .text(),
        word());
    EXPECT_EQ(sql::call(xml_dom_get_node_name,
                        sql::call(xml_dom_get_named_item_ns, map, word(), uri).handle())
                  .text(),
              word());
    const auto found = [&](sql::function search, const auto &...more) {
        const sql::handle list = sql::call(search, element, word(), more...).handle();
        return sql::call(xml_dom_get_length, list).integer();
    };
    EXPECT_EQ(found(xml_dom_get_children_by_tagname), 1);
    EXPECT_EQ(found(xml_dom_get_children_by_tagname_ns, uri), 1);
    EXPECT_EQ(found(xml_dom_get_elements_by_tagname_element), 1);
    EXPECT_EQ(found(xml_dom_get_elements_by_tagname_ns, uri), 1);
}

TEST_P(reading_encodings, document_type_and_character_set_go_in) {
    const std::string file = word() + ".dtd";
    EXPECT_TRUE(sql::call(xml_dom_set_doctype, document, word(), file, sql::null).is_null());
    const xmlDtd *dtd = document_of(document)->intSubset;
    EXPECT_EQ(reinterpret_cast<const char *>(dtd->name), GetParam().utf8);
    EXPECT_EQ(reinterpret_cast<const char *>(dtd->SystemID), GetParam().utf8 + ".dtd");
    EXPECT_TRUE(sql::call(xml_dom_set_charset, document, "ISO-8859-1").is_null());
    EXPECT_STREQ(reinterpret_cast<const char *>(document_of(document)->encoding), "ISO-8859-1");
}

TEST_P(reading_encodings, reports_of_the_session_are_plain) {
    EXPECT_EQ(sql::call(xml_dom_get_doc_trees_info).text().substr(0, 4), "|ID:");
    EXPECT_EQ(sql::call(xml_dom_get_detail_doc_tree_info, document).text().substr(0, 4), "|ID:");
}

class missing_characters : public sql::session_test {};

TEST_F(missing_characters, are_the_error_of_the_host_and_leave_nothing_behind) {
    for (const char *encoding : {"LATIN1", "WIN1252", "EUC_JP"}) {
        use_database_encoding(encoding);
        // A snowman, in a name, a value, an attribute and a namespace's prefix.
        const std::string text =
            "<r xmlns:p='urn:p' a='\xE2\x98\x83'>\xE2\x98\x83<p:b/><!--\xE2\x98\x83--></r>";
        const sql::handle document = parsed(text);
        const sql::handle element = root(document);
        const sql::handle first = sql::call(xml_dom_get_first_child, element).handle();
        const auto before = pkg_dbe_xml::xml_count_hashentries();
        EXPECT_EQ(sql::call(xml_dom_get_node_value, first).error().sqlstate, "22P05") << encoding;
        EXPECT_EQ(sql::call(xml_dom_get_attribute, element, "a").error().sqlstate, "22P05");
        EXPECT_EQ(pkg_dbe_xml::xml_count_hashentries(), before);
        EXPECT_EQ(sql::call(xml_dom_get_tagname, element).text(), "r");
    }
}

TEST_F(missing_characters, bytes_that_are_no_text_of_the_database_are_the_error_of_the_host) {
    use_database_encoding("EUC_JP");
    const sql::handle element = root(parsed("<r a='1'><b/></r>"));
    const std::string broken = "\xCA";
    EXPECT_TRUE(sql::call(xml_dom_get_attribute, element, broken).failed());
    EXPECT_TRUE(sql::call(xml_dom_get_children_by_tagname, element, broken).failed());
    EXPECT_TRUE(sql::call(xml_dom_get_elements_by_tagname_element, element, broken).failed());
    EXPECT_EQ(sql::call(xml_dom_get_attribute, element, "a").text(), "1");
}

} // namespace
