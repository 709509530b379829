// Names and data that are legal, texts and their pieces, attributes by name, IDs, documents.
#include "package_changing.hpp"
#include "tree/id_attributes.hpp"

namespace {

using sql::call;

class package_texts : public package_changing {
  protected:
    void SetUp() override {
        package_changing::SetUp();
        tree_ = document("<r>t\xC3\xA4xt<![CDATA[data]]><!--note--><?go there?></r>");
        text_ = child(root(tree_), {0});
        section_ = child(root(tree_), {1});
        comment_ = child(root(tree_), {2});
        instruction_ = child(root(tree_), {3});
    }
    sql::handle tree_, text_, section_, comment_, instruction_;
};

// --- names --------------------------------------------------------------------------------------

TEST_F(package_texts, names_that_xml_has_not) {
    for (const char *name :
         {"", "1bad", "p q", "-a", ".a", "a<", "a:b:c", ":a", "a:", "a:1", "\xC3\x97",
          "a\xE2\x80\xA8"
          "b",
          "&amp;"}) {
        EXPECT_EQ(call(xmldom_create_element, tree_, name).error().sqlstate, "XD005") << name;
        EXPECT_EQ(call(xmldom_create_element_ns, tree_, name, "urn:x").error().sqlstate, "XD005")
            << name;
        EXPECT_EQ(call(xmldom_create_attribute, tree_, name).error().sqlstate, "XD005") << name;
        EXPECT_EQ(call(xmldom_set_attribute, root(tree_), name, "v").error().sqlstate, "XD005")
            << name;
        EXPECT_EQ(call(xmldom_create_processing_instruction, tree_, name, "").error().sqlstate,
                  "XD005")
            << name;
    }
    for (const char *name :
         {"a", "_", "a-1.b", "\xC3\xA4\xC3\xB6", "a\xC2\xB7", "\xF0\x90\x80\x80"}) {
        const sql::handle made = element(tree_, name);
        call(xmldom_set_attribute, made, name, "v");
        EXPECT_TRUE(reads_back(made)) << name;
    }
    EXPECT_REPORT(call(xmldom_create_element, tree_, "ab cd"), reports::invalid_name, "ab cd",
                  "an element", "3",
                  "a name holds letters, digits, underscores, hyphens and full stops only");
    EXPECT_REPORT(call(xmldom_create_element, tree_, sql::null), reports::null_package_argument,
                  "tag_name", "xmldom.create_element");
    for (const char *target : {"xml", "XmL", "a:b"}) {
        EXPECT_EQ(call(xmldom_create_processing_instruction, tree_, target, "").error().sqlstate,
                  "XD005");
    }
}

// --- data ---------------------------------------------------------------------------------------

// Texts are looked through in blocks: whatever their length, each character of them counts.
TEST_F(package_texts, every_character_of_a_text_is_looked_at) {
    for (std::size_t size = 1; size <= 40; ++size) {
        for (std::size_t place = 0; place < size; ++place) {
            std::string data(size, 'a');
            data[place] = '\x1F';
            EXPECT_REPORT(call(xmldom_set_attribute, root(tree_), "k", data), reports::invalid_data,
                          "attribute", std::to_string(place + 1), "XML has no such character");
            data.replace(place, 1, "\t\xC3\xA4\x7F");
            ASSERT_FALSE(call(xmldom_set_attribute, root(tree_), "k", data).failed());
            EXPECT_EQ(call(xmldom_get_attribute, root(tree_), "k").text(), data);
        }
    }
}

// A name longer than the room in which names are checked, and one that just fits.
TEST_F(package_texts, names_of_any_length) {
    for (const std::size_t size : {1U, 62U, 63U, 64U, 65U, 127U, 128U, 129U, 1000U}) {
        const std::string name(size, 'n');
        call(xmldom_set_attribute, root(tree_), name, "v");
        EXPECT_EQ(call(xmldom_get_attribute, root(tree_), name).text(), "v") << size;
        EXPECT_EQ(call(xmldom_get_node_name, element(tree_, name)).text(), name) << size;
    }
}

TEST_F(package_texts, data_that_could_not_be_read_again) {
    const struct {
        sql::function create;
        const char *data;
        const char *words;
    } k_cases[] = {
        {xmldom_create_comment, "a--b", "a comment cannot hold \"--\""},
        {xmldom_create_comment, "a-", "a comment cannot end in \"-\""},
        {xmldom_create_comment, "a\rb", "a carriage return is kept only in texts and attributes"},
        {xmldom_create_cdata_section, "a]]>b", "a CDATA section cannot hold \"]]>\""},
        {xmldom_create_text_node, "a\x01", "XML has no such character"},
        {xmldom_create_text_node, "a\xEF\xBF\xBE", "XML has no such character"},
        {xmldom_create_comment, "\x1F", "XML has no such character"},
    };
    for (const auto &tried : k_cases) {
        const sql::result outcome = call(tried.create, tree_, tried.data);
        EXPECT_EQ(outcome.error().sqlstate, "XD005") << tried.data;
        EXPECT_NE(outcome.error().message.find(tried.words), std::string::npos) << tried.data;
    }
    for (const char *data : {"a?>b", " a", "\na", "a\rb"}) {
        EXPECT_EQ(call(xmldom_create_processing_instruction, tree_, "p", data).error().sqlstate,
                  "XD005");
    }
    for (const char *data : {"", "a]]>b--?>", "a\r\nb\tc", "<&>\"'", "\xF0\x9F\x98\x80"}) {
        const sql::handle top = element(tree_, "e");
        call(xmldom_append_child, top, text(tree_, data));
        call(xmldom_set_attribute, top, "k", data);
        EXPECT_TRUE(reads_back(top)) << data;
    }
}

TEST_F(package_texts, changes_are_checked_as_the_whole) {
    EXPECT_EQ(call(xmldom_append_data, comment_, "-").error().sqlstate, "XD005");
    call(xmldom_set_data, comment_, "a-b");
    EXPECT_EQ(call(xmldom_insert_data, comment_, 1, "-").error().sqlstate, "XD005");
    EXPECT_EQ(call(xmldom_delete_data, comment_, 2, 1).error().sqlstate, "XD005");
    EXPECT_EQ(call(xmldom_replace_data, comment_, 0, 1, "-").error().sqlstate, "XD005");
    call(xmldom_set_data, section_, "a]]b>");
    EXPECT_EQ(call(xmldom_delete_data, section_, 3, 1).error().sqlstate, "XD005");
    call(xmldom_set_data, section_, "]]");
    EXPECT_EQ(call(xmldom_append_data, section_, ">").error().sqlstate, "XD005");
    EXPECT_EQ(call(xmldom_set_data, instruction_, "a?>").error().sqlstate, "XD005");
    EXPECT_EQ(call(xmldom_insert_data, instruction_, 0, " ").error().sqlstate, "XD005");
    EXPECT_EQ(written(root(tree_)), "<r>t\xC3\xA4xt<![CDATA[]]]]><!--a-b--><?go there?></r>");
    EXPECT_TRUE(reads_back(tree_));
}

// --- pieces of texts ----------------------------------------------------------------------------

TEST_F(package_texts, offsets_count_characters) {
    EXPECT_EQ(call(xmldom_insert_data, text_, 2, "--").handle(), text_);
    EXPECT_EQ(trees::string_of(node(text_)->content), "t\xC3\xA4--xt");
    call(xmldom_delete_data, text_, 1, 1);
    EXPECT_EQ(trees::string_of(node(text_)->content), "t--xt");
    call(xmldom_replace_data, text_, 1, 2, "\xC3\xA4");
    EXPECT_EQ(trees::string_of(node(text_)->content), "t\xC3\xA4xt");
    call(xmldom_append_data, text_, "!");
    call(xmldom_append_data, text_, sql::null);
    call(xmldom_delete_data, text_, 3, 1000);
    EXPECT_EQ(trees::string_of(node(text_)->content), "t\xC3\xA4x");
    call(xmldom_insert_data, text_, 3, "end");
    EXPECT_EQ(trees::string_of(node(text_)->content), "t\xC3\xA4xend");
    EXPECT_REPORT(call(xmldom_insert_data, text_, 7, "x"), reports::index_size, "7", "a text", "6");
    EXPECT_EQ(call(xmldom_delete_data, text_, -1, 1).error().sqlstate, "XD001");
    EXPECT_EQ(call(xmldom_delete_data, text_, 0, -1).error().sqlstate, "XD001");
    EXPECT_EQ(call(xmldom_delete_data, text_, sql::null, 1).error().sqlstate, "22004");
    EXPECT_EQ(call(xmldom_set_data, root(tree_), "x").error().sqlstate, "XD024");
    call(xmldom_set_data, text_, sql::null);
    EXPECT_EQ(written(root(tree_)), "<r><![CDATA[data]]><!--note--><?go there?></r>");
}

TEST_F(package_texts, splitting) {
    const sql::handle rest = call(xmldom_split_text, text_, 2).handle();
    EXPECT_EQ(trees::string_of(node(text_)->content), "t\xC3\xA4");
    EXPECT_EQ(trees::string_of(node(rest)->content), "xt");
    EXPECT_EQ(node(text_)->next, node(rest));
    const sql::handle behind = call(xmldom_split_text, section_, 4).handle();
    EXPECT_EQ(node(behind)->type, XML_CDATA_SECTION_NODE);
    const sql::handle alone = text(tree_, "ab");
    EXPECT_EQ(written(call(xmldom_split_text, alone, 1).handle()), "b");
    EXPECT_EQ(node(alone)->next, nullptr);
    EXPECT_EQ(call(xmldom_split_text, text_, 3).error().sqlstate, "XD001");
    EXPECT_EQ(call(xmldom_split_text, comment_, 1).error().sqlstate, "XD024");
    EXPECT_TRUE(reads_back(tree_));
}

TEST_F(package_texts, replacing_a_whole_text) {
    call(xmldom_split_text, text_, 2);
    EXPECT_EQ(call(xmldom_replace_whole_text, section_, "new").handle(), section_);
    EXPECT_EQ(written(root(tree_)), "<r><![CDATA[new]]><!--note--><?go there?></r>");
    EXPECT_EQ(node(text_)->parent, nullptr);
    EXPECT_TRUE(call(xmldom_replace_whole_text, section_, "").is_null());
    EXPECT_EQ(written(root(tree_)), "<r><!--note--><?go there?></r>");
}

TEST_F(package_texts, normalize_joins_and_drops) {
    const sql::handle top = root(tree_);
    const sql::handle first = text(tree_, "");
    call(xmldom_replace_children, top,
         array({first, text(tree_, "a"), text(tree_, ""), text(tree_, "b"), section_,
                element(tree_, "e"), text(tree_, "")}));
    call(xmldom_append, child(top, {5}), array({text(tree_, "c"), text(tree_, "d")}));
    EXPECT_EQ(call(xmldom_normalize, tree_).handle(), tree_);
    EXPECT_EQ(written(top), "<r>ab<![CDATA[data]]><e>cd</e></r>");
    EXPECT_EQ(node(first), node(top)->children);
    EXPECT_EQ(xmlChildElementCount(node(top)), 1U);
    EXPECT_EQ(node(top)->children->next, node(section_));
}

TEST_F(package_texts, text_content_of_every_sort) {
    const sql::handle top = root(tree_);
    EXPECT_EQ(call(xmldom_set_text_content, comment_, "c").handle(), comment_);
    EXPECT_EQ(written(comment_), "<!--c-->");
    EXPECT_EQ(call(xmldom_set_text_content, top, "a < b").handle(), top);
    EXPECT_EQ(written(top), "<r>a &lt; b</r>");
    EXPECT_EQ(node(text_)->parent, nullptr);
    call(xmldom_set_text_content, top, sql::null);
    EXPECT_EQ(written(top), "<r/>");
    EXPECT_REPORT(call(xmldom_set_text_content, tree_, "x"), reports::no_value, "a document");
    EXPECT_REPORT(call(xmldom_set_node_value, top, "x"), reports::no_value, "an element <r>");
    const sql::handle made = call(xmldom_create_attribute, tree_, "k").handle();
    call(xmldom_set_attribute_node, top, made);
    EXPECT_EQ(call(xmldom_set_text_content, made, "1").handle(), made);
    EXPECT_EQ(call(xmldom_set_node_value, made, "a&b").handle(), made);
    EXPECT_EQ(written(top), "<r k=\"a&amp;b\"/>");
    EXPECT_EQ(call(xmldom_set_value, made, sql::null).handle(), made);
    EXPECT_EQ(written(top), "<r k=\"\"/>");
}

// --- attributes ---------------------------------------------------------------------------------

TEST_F(package_texts, attributes_by_name) {
    const sql::handle top = element(tree_, "e");
    EXPECT_EQ(call(xmldom_set_attribute, top, "a", "1").handle(), top);
    call(xmldom_set_attribute, top, "b", "");
    call(xmldom_set_attribute, top, "a", "2");
    EXPECT_EQ(written(top), "<e a=\"2\" b=\"\"/>");
    const sql::handle a = attribute(top, "a");
    call(xmldom_set_attribute, top, "a", sql::null);
    call(xmldom_remove_attribute, top, "b");
    call(xmldom_remove_attribute, top, "absent");
    EXPECT_EQ(written(top), "<e/>");
    EXPECT_EQ(node(a)->parent, nullptr);
    call(xmldom_set_attribute_node, top, a);
    EXPECT_EQ(written(top), "<e a=\"2\"/>");
    EXPECT_REPORT(call(xmldom_set_attribute, sql::null, "a", "1"), reports::null_package_argument,
                  "element", "xmldom.set_attribute");
    EXPECT_EQ(call(xmldom_set_attribute, tree_, "a", "1").error().sqlstate, "XD024");
    const sql::handle other = element(tree_, "o");
    EXPECT_REPORT(call(xmldom_remove_attribute_node, other, a), reports::not_found,
                  "an attribute a", "an element <o>");
}

TEST_F(package_texts, maps_set_and_remove) {
    const sql::handle top = element(tree_, "e");
    const sql::handle map =
        trees::handle_of(pkg_dbe_xml::own_map(*trees::entry_of(top), node(top)));
    const sql::handle a = call(xmldom_create_attribute, tree_, "a").handle();
    EXPECT_TRUE(call(xmldom_set_named_item, map, a).is_null());
    const sql::handle b = call(xmldom_create_attribute, tree_, "a").handle();
    EXPECT_EQ(call(xmldom_set_named_item, map, b).handle(), a);
    EXPECT_EQ(call(xmldom_remove_named_item, map, "a").handle(), b);
    EXPECT_REPORT(call(xmldom_remove_named_item, map, "a"), reports::no_such_attribute,
                  "an element <e>", "a");
    call(xmldom_set_attribute_ns, top, "p:k", "1", "urn:p");
    EXPECT_FALSE(call(xmldom_remove_named_item_ns, map, "k", "urn:p").failed());
    EXPECT_EQ(call(xmldom_remove_named_item_ns, map, "k", "urn:p").error().sqlstate, "XD008");
    EXPECT_EQ(call(xmldom_set_named_item, top, a).error().sqlstate, "XD024");
}

// --- IDs ----------------------------------------------------------------------------------------

// Changes are looked at only while something that was looked up is still good.
TEST_F(package_texts, ids_of_one_document_do_not_hide_changes_of_another) {
    const sql::handle one = document("<r><a xml:id='1'/></r>");
    const sql::handle other = document("<r><b xml:id='1'/></r>");
    const sql::handle a = child(root(one), {0});
    const sql::handle b = child(root(other), {0});
    EXPECT_EQ(call(xmldom_get_element_by_id, one, "1").handle(), a);
    EXPECT_TRUE(pkg_dbe_xml::ids_are_kept);
    call(xmldom_set_attribute, a, "xml:id", "2");
    EXPECT_FALSE(pkg_dbe_xml::ids_are_kept);
    call(xmldom_set_attribute, a, "xml:id", "3"); // nobody has looked since
    EXPECT_EQ(call(xmldom_get_element_by_id, other, "1").handle(), b);
    EXPECT_TRUE(call(xmldom_get_element_by_id, one, "1").is_null());
    EXPECT_TRUE(call(xmldom_get_element_by_id, one, "2").is_null());
    EXPECT_EQ(call(xmldom_get_element_by_id, one, "3").handle(), a);
    call(xmldom_remove, b);
    EXPECT_TRUE(call(xmldom_get_element_by_id, other, "1").is_null());
    EXPECT_EQ(call(xmldom_get_element_by_id, one, "3").handle(), a);
}

TEST_F(package_texts, ids_follow_every_change) {
    const sql::handle typed = document("<!DOCTYPE r [<!ATTLIST e i ID #IMPLIED>]>"
                                       "<r><e i='1'/><e xml:id='2'/><f k='3'/></r>");
    const sql::handle top = root(typed);
    const auto found = [&typed](const char *id) {
        const sql::result outcome = call(xmldom_get_element_by_id, typed, id);
        return outcome.is_null() ? sql::handle{} : outcome.handle();
    };
    const sql::handle none{};
    const sql::handle first = child(top, {0});
    const sql::handle second = child(top, {1});
    const sql::handle third = child(top, {2});
    EXPECT_EQ(found("1"), first);
    EXPECT_EQ(found("2"), second);
    EXPECT_EQ(found("3"), none);
    call(xmldom_set_id_attribute, third, "k", true);
    EXPECT_EQ(found("3"), third);
    call(xmldom_set_attribute, first, "i", "4");
    EXPECT_EQ(found("1"), none);
    EXPECT_EQ(found("4"), first);
    call(xmldom_set_attribute, first, "i", "2"); // the first in document order
    EXPECT_EQ(found("2"), first);
    call(xmldom_remove, first);
    EXPECT_EQ(found("2"), second);
    call(xmldom_append_child, top, first);
    EXPECT_EQ(found("2"), second);
    call(xmldom_remove_attribute, second, "xml:id");
    EXPECT_EQ(found("2"), first);
    call(xmldom_set_id_attribute, third, "k", false);
    EXPECT_EQ(found("3"), none);
    const sql::handle k = attribute(third, "k");
    call(xmldom_set_id_attribute_node, third, k, true);
    call(xmldom_set_data, child(k, {0}), "5");
    EXPECT_EQ(found("5"), third);
    call(xmldom_rename_node, k, "other", sql::null);
    EXPECT_EQ(found("5"), third);
    call(xml_dom_set_attribute, third, "other", "6");
    EXPECT_EQ(found("6"), third);
    call(xmldom_set_text_content, top, sql::null);
    EXPECT_EQ(found("6"), none);
    EXPECT_TRUE(call(xmldom_get_element_by_id, sql::null, "1").is_null());
    EXPECT_TRUE(call(xmldom_get_element_by_id, typed, sql::null).is_null());
    EXPECT_REPORT(call(xmldom_set_id_attribute, third, "absent", true), reports::no_such_attribute,
                  "an element <f>", "absent");
    call(xmldom_set_attribute_ns, third, "p:z", "9", "urn:p");
    call(xmldom_append_child, top, third);
    call(xmldom_set_id_attribute_ns, third, "z", "urn:p", true);
    EXPECT_EQ(found("9"), third);
}

// --- documents ----------------------------------------------------------------------------------

TEST_F(package_texts, documents_and_what_they_say) {
    const sql::handle empty = call(xmldom_new_document).handle();
    EXPECT_EQ(node(empty)->children, nullptr);
    const sql::handle typed = document("<!DOCTYPE r [<!ENTITY e 'x'>]><r/>");
    const sql::handle made = call(xmldom_new_document, "r", sql::null, child(typed, {0})).handle();
    EXPECT_EQ(written(made), "<!DOCTYPE r [\n<!ENTITY e \"x\">\n]><r/>");
    call(xmldom_append_child, root(made), call(xmldom_create_entity_reference, made, "e").handle());
    EXPECT_EQ(written(root(made)), "<r>&e;</r>");
    EXPECT_REPORT(call(xmldom_create_entity_reference, made, "f"), reports::no_such_entity, "f");
    EXPECT_EQ(call(xmldom_import_node, empty, root(made), true).error().sqlstate, "XD008");
    EXPECT_FALSE(call(xmldom_import_node, empty, root(made), false).failed());
    EXPECT_EQ(call(xmldom_set_xml_version, made, "1.1").handle(), made);
    EXPECT_EQ(trees::string_of(node(made)->doc->version), "1.1");
    EXPECT_REPORT(call(xmldom_set_xml_version, made, "2.0"), reports::unsupported_version, "2.0");
    EXPECT_EQ(call(xmldom_set_xml_standalone, made, true).handle(), made);
    EXPECT_EQ(node(made)->doc->standalone, 1);
    call(xmldom_set_xml_standalone, made, sql::null);
    EXPECT_EQ(node(made)->doc->standalone, -1);
    EXPECT_EQ(call(xmldom_set_document_uri, made, "urn:here").handle(), made);
    EXPECT_EQ(trees::string_of(node(made)->doc->URL), "urn:here");
    call(xmldom_set_document_uri, made, sql::null);
    EXPECT_EQ(node(made)->doc->URL, nullptr);
    EXPECT_EQ(call(xmldom_new_document, "r", sql::null, root(made)).error().sqlstate, "XD024");
    EXPECT_EQ(call(xmldom_set_xml_version, root(made), "1.0").error().sqlstate, "XD024");
}

} // namespace
