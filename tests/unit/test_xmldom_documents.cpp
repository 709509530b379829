// Character sets and document types that can be written and read again, the end of documents, lists
// that are given again.
#include "package_changing.hpp"

#include "libxml/library_version.hpp"
#include "registry/dom_map.hpp"

namespace {

using sql::call;

class package_documents : public package_changing {
  protected:
    static std::string text_of(const sql::handle &of) {
        const sql::result written = call(xmldom_to_text, of, sql::null, sql::null);
        return written.failed() ? written.error().message : written.text();
    }
    static std::string markup_of(const sql::handle &of) {
        return call(xmldom_to_text, of, 0, false).text();
    }
    // What is written is read as the same document.
    static bool is_read_again(const sql::handle &of) {
        const sql::result again = call(xmldom_parse_text, text_of(of), sql::null);
        return !again.failed() && call(xmldom_is_equal_node, of, again.handle()).boolean();
    }
    static int handles() { return call(xml_dom_get_session_tree_num).integer(); }
};

// --- character sets -----------------------------------------------------------------------------

TEST_F(package_documents, character_sets_that_can_be_declared) {
    const sql::handle tree = document("<a>\xC3\xA4</a>");
    for (const char *name : {"UTF-8", "ISO-8859-1", "UTF-16", "windows-1252"}) {
        EXPECT_EQ(call(xmldom_set_charset, tree, name).handle(), tree) << name;
        EXPECT_EQ(call(xmldom_get_xml_encoding, tree).text(), name);
        EXPECT_TRUE(is_read_again(tree)) << text_of(tree);
    }
    EXPECT_FALSE(call(xmldom_set_charset, tree, sql::null).failed());
    EXPECT_EQ(call(xmldom_get_xml_encoding, tree).text(), "UTF-8");
    for (const char *name : {"", "no such set", "HTML", "ISO_8859-1:1987", "ASCII//IGNORE", "/"}) {
        EXPECT_REPORT(call(xmldom_set_charset, tree, name), reports::unsupported_character_set);
    }
    EXPECT_EQ(call(xmldom_get_xml_encoding, tree).text(), "UTF-8");
    EXPECT_REPORT(call(xmldom_set_charset, sql::null, "UTF-8"), reports::null_package_argument,
                  "document", "xmldom.set_charset");
    EXPECT_REPORT(call(xmldom_set_charset, root(tree), "UTF-8"), reports::wrong_node_type,
                  "a document", "an element <a>");
}

// --- document types -----------------------------------------------------------------------------

TEST_F(package_documents, a_document_type_is_made_in_front_of_the_root) {
    const sql::handle tree = document("<!--c--><a/><?p?>");
    EXPECT_EQ(call(xmldom_set_doctype, tree, "a", "a.dtd", "-//A//B C//EN").handle(), tree);
    EXPECT_EQ(markup_of(tree), "<!--c-->\n<!DOCTYPE a PUBLIC \"-//A//B C//EN\" \"a.dtd\">\n<a/>\n"
                               "<?p?>");
    EXPECT_TRUE(is_read_again(tree));
    const sql::handle type = call(xmldom_get_doctype, tree).handle();
    EXPECT_EQ(call(xmldom_get_public_id, type).text(), "-//A//B C//EN");
    const sql::handle empty = call(xmldom_new_document, sql::null, sql::null, sql::null).handle();
    EXPECT_FALSE(call(xmldom_set_doctype, empty, "p:b", sql::null, sql::null).failed());
    EXPECT_FALSE(call(xmldom_append_child, empty, element(empty, "b")).failed());
    EXPECT_EQ(text_of(empty), "<!DOCTYPE p:b>\n<b/>");
}

TEST_F(package_documents, a_document_type_keeps_what_it_declares) {
    const sql::handle tree = document("<!DOCTYPE a SYSTEM 'old' [<!ENTITY e 'x'>]><a/>");
    const sql::handle type = call(xmldom_get_doctype, tree).handle();
    EXPECT_FALSE(call(xmldom_set_doctype, tree, "b", sql::null, sql::null).failed());
    EXPECT_EQ(call(xmldom_get_doctype, tree).handle(), type);
    EXPECT_EQ(markup_of(tree), "<!DOCTYPE b [\n<!ENTITY e \"x\">\n]>\n<a/>");
    EXPECT_FALSE(call(xmldom_set_doctype, tree, "b", "it's \xE2\x82\xAC & <", "").failed());
    EXPECT_TRUE(is_read_again(tree)) << text_of(tree);
    EXPECT_FALSE(call(xmldom_set_doctype, tree, "b", "say \"b\"", sql::null).failed());
    EXPECT_TRUE(is_read_again(tree)) << text_of(tree);
}

TEST_F(package_documents, document_types_that_could_not_be_read_again) {
    const sql::handle tree = document("<a/>");
    const struct {
        sql::value name, system_id, public_id;
        const char *sqlstate;
    } k_refused[] = {
        {"", sql::null, sql::null, "XD005"},
        {"not a name", sql::null, sql::null, "XD005"},
        {"a:b:c", sql::null, sql::null, "XD005"},
        {sql::null, "a.dtd", sql::null, "22004"},
        {"a", sql::null, "-//A", "22004"},
        {"a", "\"'", sql::null, "XD005"},
        {"a", "'http://example.org/types/a.dtd\"", sql::null, "XD005"},
        {"a", "a\rb", sql::null, "XD005"},
        {"a", "x\x01y", sql::null, "XD005"},
        {"a", "a.dtd", "<", "XD005"},
        {"a", "a.dtd", "\"", "XD005"},
        {"a", "a.dtd", "\xC3\xA4", "XD005"},
        {"a", "a.dtd", "tab\tor return\r", "XD005"},
    };
    for (const auto &each : k_refused) {
        const sql::result outcome =
            sql::call_with(xmldom_set_doctype, {tree, each.name, each.system_id, each.public_id});
        EXPECT_EQ(outcome.error().sqlstate, each.sqlstate) << outcome.error().message;
        EXPECT_TRUE(call(xmldom_get_doctype, tree).is_null());
    }
    EXPECT_REPORT(call(xmldom_set_doctype, tree, "a", "\xC3\xA4'\"", sql::null),
                  reports::invalid_data, "system identifier", "3",
                  "a system identifier holds one kind of quotes at most");
    EXPECT_REPORT(call(xmldom_set_doctype, tree, "a", "a.dtd", "ab&"), reports::invalid_data,
                  "public identifier", "3",
                  "public identifiers hold Latin letters, digits, blanks and "
                  "-'()+,./:=?;!*#@$_% only");
    EXPECT_REPORT(call(xmldom_set_doctype, tree, "a", sql::null, "-//A"),
                  reports::null_package_argument, "system_id", "xmldom.set_doctype");
}

// --- namespaces ---------------------------------------------------------------------------------

TEST_F(package_documents, names_of_namespaces_are_written_with_references) {
    const char *const uri = "urn:a&b<c>\"d\"'e'\t\n\r\xC3\xA4";
    const sql::handle tree = document("<a/>");
    const sql::handle made = element(tree, "p:b", uri);
    EXPECT_FALSE(call(xmldom_append_child, root(tree), made).failed());
    EXPECT_FALSE(call(xmldom_set_attribute_ns, made, "q:c", "1", "urn:&").failed());
    EXPECT_FALSE(call(xmldom_set_attribute, made, "xmlns:r", "<&>").failed());
    EXPECT_TRUE(is_read_again(tree)) << text_of(tree);
    const sql::handle again = call(xmldom_parse_text, text_of(tree), sql::null).handle();
    EXPECT_EQ(call(xmldom_get_namespace_uri, child(root(again), {0})).text(), uri);
}

// Short ones are copied as they are read, others are not.
TEST_F(package_documents, names_of_namespaces_of_any_length) {
    const sql::handle tree = document("<a/>");
    for (const std::size_t size : {1U, 7U, 8U, 15U, 16U, 17U, 62U, 63U, 64U, 65U, 200U}) {
        const std::string uri(size, 'u');
        EXPECT_EQ(call(xmldom_get_namespace_uri, element(tree, "b", uri)).text(), uri);
        for (const std::size_t place : {std::size_t{0}, size / 2, size - 1}) {
            std::string wrong = uri;
            wrong[place] = '\x01';
            EXPECT_REPORT(call(xmldom_create_element_ns, tree, "b", wrong), reports::invalid_data,
                          "namespace", std::to_string(place + 1), "XML has no such character");
        }
    }
    EXPECT_TRUE(call(xmldom_get_namespace_uri, element(tree, "b", "")).is_null());
    const sql::handle none = call(xmldom_create_element_ns, tree, "b", sql::null).handle();
    EXPECT_TRUE(call(xmldom_get_namespace_uri, none).is_null());
}

// What a file declares that is never loaded is read, and so it is written.
TEST_F(package_documents, references_to_what_a_file_may_declare) {
    const char *const text = "<!DOCTYPE a SYSTEM \"a.dtd\">\n<a>&d;</a>";
    const sql::handle tree = call(xmldom_parse_text, text, sql::null).handle();
    EXPECT_EQ(markup_of(tree), text);
    EXPECT_TRUE(is_read_again(tree));
    EXPECT_FALSE(call(xmldom_set_doctype, tree, "a", sql::null, sql::null).failed());
    EXPECT_EQ(call(xmldom_to_text, tree, sql::null, sql::null).error().sqlstate, "2200N");
    EXPECT_FALSE(call(xmldom_set_doctype, tree, "a", "b.dtd", sql::null).failed());
    EXPECT_TRUE(is_read_again(tree));
    EXPECT_FALSE(call(xmldom_set_xml_standalone, tree, true).failed());
    EXPECT_EQ(call(xmldom_to_text, tree, sql::null, sql::null).error().sqlstate, "2200N");
}

// In a value of an attribute nothing stands for them. Earlier versions of libxml2 keep one in front
// of the element, so that the text is not what it was.
TEST_F(package_documents, references_in_values_to_what_a_file_may_declare) {
    const char *const text = "<!DOCTYPE a SYSTEM \"a.dtd\">\n<a><b c=\"x&d;y\"/></a>";
    const sql::handle tree = call(xmldom_parse_text, text, sql::null).handle();
    const bool is_in_front = host::libxml2_number() < 21300;
    EXPECT_EQ(markup_of(tree), is_in_front
                                   ? "<!DOCTYPE a SYSTEM \"a.dtd\">\n<a>&d;<b c=\"xy\"/></a>"
                                   : "<!DOCTYPE a SYSTEM \"a.dtd\">\n<a><b c=\"xy\"/></a>");
}

// The functions in long names declare them.
TEST_F(package_documents, namespaces_that_nobody_declares) {
    for (const char *uri :
         {"http://www.w3.org/XML/1998/namespace", "http://www.w3.org/2000/xmlns/"}) {
        const sql::handle tree = document("<a/>");
        EXPECT_FALSE(call(xml_dom_set_attribute_ns, root(tree), "b", "1", uri).failed());
        const sql::result written = call(xmldom_to_text, tree, sql::null, sql::null);
        EXPECT_TRUE(written.failed() ? written.error().sqlstate == "2200N" : is_read_again(tree))
            << written.text();
    }
}

// An attribute with a namespace of no name is not found under its own name.
TEST_F(package_documents, an_attribute_put_where_it_stands_stays_there) {
    const sql::handle tree = document("<a/>");
    EXPECT_FALSE(call(xml_dom_set_attribute_ns, root(tree), "b", "1", "").failed());
    const sql::handle b = attribute(root(tree), "b");
    EXPECT_EQ(call(xmldom_set_attribute_node, root(tree), b).handle(), b);
    EXPECT_EQ(node(b)->next, nullptr);
    EXPECT_EQ(node(b)->prev, nullptr);
}

// --- the end of documents -----------------------------------------------------------------------

TEST_F(package_documents, a_document_ends_once) {
    const sql::handle tree = document("<a/>");
    const sql::handle a = root(tree);
    EXPECT_REPORT(call(xmldom_free_document, a), reports::wrong_node_type, "a document",
                  "an element <a>");
    EXPECT_TRUE(call(xmldom_free_document, tree).is_null());
    EXPECT_REPORT(call(xmldom_get_tag_name, a), reports::unknown_handle);
    EXPECT_TRUE(call(xmldom_free_document, tree).is_null());
    EXPECT_TRUE(call(xmldom_free_document, sql::null).is_null());
    EXPECT_REPORT(call(xmldom_free_document, "no handle"), reports::unknown_handle);
    EXPECT_EQ(handles(), 0);
}

TEST_F(package_documents, a_document_whose_handle_was_given_up_leaves_nothing) {
    const sql::handle tree = document("<a/>");
    const sql::handle a = root(tree);
    EXPECT_FALSE(call(xml_dom_free_node, tree).failed());
    EXPECT_TRUE(call(xmldom_free_document, tree).is_null());
    EXPECT_REPORT(call(xmldom_get_tag_name, a), reports::unknown_handle);
    EXPECT_EQ(handles(), 0);
}

// A copy belongs to the document that it was imported into: its handle ends neither.
TEST_F(package_documents, an_imported_copy_ends_with_its_document) {
    const sql::handle tree = document("<a/>");
    const sql::handle other = document("<b/>");
    const sql::handle copy = call(xml_dom_import_node, tree, other, true).handle();
    EXPECT_REPORT(call(xmldom_free_document, copy), reports::wrong_node_type,
                  "a document that was parsed or made",
                  "a copy that was imported and goes with the document that it was imported into");
    EXPECT_EQ(text_of(root(tree)), "<a/>");
    EXPECT_EQ(text_of(root(copy)), "<b/>");
    EXPECT_TRUE(call(xmldom_free_document, tree).is_null());
    EXPECT_REPORT(call(xmldom_get_document_element, copy), reports::unknown_handle);
}

// --- lists --------------------------------------------------------------------------------------

// More nodes than are collected without an allocation.
TEST_F(package_documents, long_lists_are_found_by_what_they_hold) {
    for (const int size : {63, 64, 65, 1000}) {
        std::string text = "<a>";
        for (int made = 0; made < size; ++made) {
            text += "<b/>";
        }
        const sql::handle a = root(document(text + "</a>"));
        const sql::handle list = call(xmldom_get_child_nodes, a).handle();
        EXPECT_EQ(call(xmldom_get_length, list).integer(), size);
        EXPECT_EQ(call(xmldom_item, list, size - 1).handle(), child(a, {size - 1}));
        EXPECT_EQ(call(xmldom_get_child_nodes, a).handle(), list);
        call(xmldom_append_child, a, child(a, {size - 2}));
        const sql::handle other = call(xmldom_get_child_nodes, a).handle();
        EXPECT_NE(other, list);
        EXPECT_EQ(call(xmldom_item, other, size - 1).handle(), child(a, {size - 1}));
    }
}

TEST_F(package_documents, a_list_of_the_same_nodes_is_given_again) {
    const sql::handle tree = document("<a><b/><c/></a>");
    const sql::handle a = root(tree);
    const sql::handle list = call(xmldom_get_child_nodes, a).handle();
    EXPECT_EQ(call(xmldom_get_child_nodes, a).handle(), list);
    // A list is what it holds, whoever asks for it.
    EXPECT_EQ(call(xmldom_get_elements_by_tag_name, tree, "*").handle(),
              call(xmldom_get_elements_by_tag_name_ns, tree, "*", "*").handle());
    EXPECT_EQ(call(xmldom_get_children_by_tag_name, a, "*").handle(), list);
    const int known = handles();
    EXPECT_EQ(call(xmldom_get_child_nodes, a).handle(), list);
    EXPECT_EQ(handles(), known);
    // It stays what it is when the children change, and comes back when they change back.
    const sql::handle c = child(a, {1});
    call(xmldom_remove_child, a, c);
    EXPECT_EQ(call(xmldom_get_length, list).integer(), 2);
    const sql::handle shorter = call(xmldom_get_child_nodes, a).handle();
    EXPECT_NE(shorter, list);
    call(xmldom_insert_before, a, c, child(a, {0}));
    EXPECT_NE(call(xmldom_get_child_nodes, a).handle(), list);
    call(xmldom_append_child, a, c);
    EXPECT_EQ(call(xmldom_get_child_nodes, a).handle(), list);
    EXPECT_FALSE(call(xml_dom_free_nodelist, list).failed());
    EXPECT_NE(call(xmldom_get_child_nodes, a).handle(), list);
}

TEST_F(package_documents, walking_a_tree_by_lists_twice_makes_nothing_new) {
    const sql::handle tree = document("<a><b><c/>t</b><d><e/><!--f--></d><g/></a>");
    const auto walk = [&tree] {
        std::vector<sql::handle> pending{tree};
        while (!pending.empty()) {
            const sql::handle list = call(xmldom_get_child_nodes, pending.back()).handle();
            pending.pop_back();
            for (int place = 0; place < call(xmldom_get_length, list).integer(); ++place) {
                pending.push_back(call(xmldom_item, list, place).handle());
            }
        }
        return handles();
    };
    const int once = walk();
    EXPECT_EQ(walk(), once);
    // 9 nodes, a list for each of the four with children, and the empty one.
    EXPECT_EQ(once, 14);
}

TEST_F(package_documents, lists_of_two_documents_are_two) {
    const sql::handle one = document("<a/>");
    const sql::handle other = document("<a/>");
    const sql::handle empty = call(xmldom_get_child_nodes, root(one)).handle();
    EXPECT_NE(call(xmldom_get_child_nodes, root(other)).handle(), empty);
    EXPECT_TRUE(call(xmldom_free_document, one).is_null());
    const sql::handle later = document("<a/>"); // under the number of the first one
    EXPECT_EQ(later.document_id(), one.document_id());
    EXPECT_NE(call(xmldom_get_child_nodes, root(later)).handle(), empty);
}

TEST_F(package_documents, the_table_of_lists_is_as_large_as_the_lists_that_there_are) {
    const sql::handle tree = document("<a/>");
    std::vector<sql::handle> lists;
    for (int count = 0; count < 500; ++count) {
        const sql::handle made = element(tree, "b");
        call(xmldom_append_child, made, element(tree, "c"));
        lists.push_back(call(xmldom_get_child_nodes, made).handle());
    }
    const std::size_t full = pkg_dbe_xml::current_registry()->lists.capacity;
    EXPECT_GE(full, 1000U);
    for (const sql::handle &list : lists) {
        EXPECT_FALSE(call(xml_dom_free_nodelist, list).failed());
    }
    for (int count = 0; count < 2000; ++count) {
        call(xmldom_append_child, root(tree), element(tree, "d"));
        const sql::handle list = call(xmldom_get_child_nodes, root(tree)).handle();
        EXPECT_EQ(call(xmldom_get_length, list).integer(), count + 1);
        EXPECT_FALSE(call(xml_dom_free_nodelist, list).failed());
    }
    EXPECT_LE(pkg_dbe_xml::current_registry()->lists.capacity, 64U);
    EXPECT_TRUE(call(xmldom_free_document, tree).is_null());
    EXPECT_EQ(pkg_dbe_xml::current_registry()->lists.capacity, 0U);
}

// --- steps --------------------------------------------------------------------------------------

TEST_F(package_documents, steps_give_the_handle_that_there_is) {
    const sql::handle tree = document("<?p?><a b='1' c='2'><d/>t</a>");
    const sql::handle a = root(tree);
    EXPECT_EQ(call(xml_dom_first_node, a).handle(), child(a, {0}));
    EXPECT_EQ(call(xml_dom_first_attribute, a).handle(), attribute(a, "b"));
    EXPECT_EQ(call(xml_dom_next_attribute, attribute(a, "b")).handle(), attribute(a, "c"));
    EXPECT_EQ(call(xml_dom_next_element, tree, tree, "a").handle(), a);
    const sql::handle d = child(a, {0});
    EXPECT_FALSE(call(xml_dom_free_node, d).failed());
    EXPECT_REPORT(call(xml_dom_first_node, d), reports::stale_handle);
    EXPECT_REPORT(call(xml_dom_next_element, a, d, "*"), reports::stale_handle);
}

// --- IDs ----------------------------------------------------------------------------------------

TEST_F(package_documents, attributes_that_are_ids) {
    const sql::handle tree = document("<!DOCTYPE a [<!ATTLIST a i ID #IMPLIED o CDATA #IMPLIED>]>"
                                      "<a i='x' o='y' xml:id='z'/>");
    const sql::handle a = root(tree);
    EXPECT_TRUE(call(xmldom_is_id, attribute(a, "i")).boolean());
    EXPECT_FALSE(call(xmldom_is_id, attribute(a, "o")).boolean());
    EXPECT_TRUE(call(xmldom_is_id, attribute(a, "id")).boolean());
    EXPECT_FALSE(call(xmldom_set_id_attribute, a, "o", true).failed());
    EXPECT_TRUE(call(xmldom_is_id, attribute(a, "o")).boolean());
    EXPECT_EQ(call(xmldom_get_element_by_id, tree, "y").handle(), a);
    EXPECT_FALSE(call(xmldom_set_id_attribute, a, "i", false).failed());
    EXPECT_FALSE(call(xmldom_is_id, attribute(a, "i")).boolean());
    EXPECT_TRUE(call(xmldom_get_element_by_id, tree, "x").is_null());
    EXPECT_TRUE(call(xmldom_is_id, sql::null).is_null());
    EXPECT_REPORT(call(xmldom_is_id, a), reports::wrong_node_type, "an attribute",
                  "an element <a>");
}

} // namespace
