// Handles of the packages as values: read from text, written, cast from a node to what it is.
#include "support/invariants.hpp"
#include "support/sql.hpp"
#include "tree/node_words.hpp"
#include "trees.hpp"

#include <algorithm>
#include <string>
#include <vector>

namespace {

class package_handles : public sql::session_test {
  protected:
    static sql::result read(const std::string &text) {
        return sql::call(xmldom_handle_in, sql::value::of_datum(host::from_pointer(text.c_str())));
    }
    static std::string written(const sql::value &handle) {
        const sql::result text = sql::call(xmldom_handle_out, handle);
        return text.failed() ? text.error().message : reinterpret_cast<const char *>(text.datum());
    }
    static sql::handle own(const sql::handle &from, xmlNodePtr node) {
        return trees::handle_of(pkg_dbe_xml::own_handle(*trees::entry_of(from), node));
    }
};

TEST_F(package_handles, are_read_as_they_are_written) {
    const sql::handle document = trees::parsed("<a/>");
    const std::string text = written(document);
    EXPECT_EQ(text.substr(0, 2), "\\x");
    EXPECT_EQ(text.size(), 28U);
    EXPECT_EQ(read(text).handle(), document);
    EXPECT_EQ(read("\\x000102030405060708090a0B0c").handle().bytes[11], 11);
    EXPECT_EQ(written(read("\\x000102030405060708090a0B0c").handle()),
              "\\x000102030405060708090a0b0c");
    sql::handle packed = document;
    packed.header = sql::handle::header_form::short_form;
    EXPECT_EQ(written(packed), text);
    EXPECT_EQ(written("\x01\xff"), "\\x01ff");
    EXPECT_EQ(written(""), "\\x");
}

TEST_F(package_handles, are_refused_where_they_are_none) {
    for (const std::string text :
         {"", "\\x", "\\x00", "<a/>", "\\X000102030405060708090a0b0c",
          "x000102030405060708090a0b0c", "\\x000102030405060708090a0b0g",
          "\\x000102030405060708090a0b0c0d", "\\x000102030405060708090a0b0 "}) {
        EXPECT_REPORT(read(text), reports::not_a_handle, text, "") << text;
    }
    const std::string cut(39, 'a');
    EXPECT_REPORT(read(cut + "\u00e9\u00e9"), reports::not_a_handle, cut, "...");
}

TEST_F(package_handles, are_cast_to_what_the_node_is) {
    const sql::handle document = trees::parsed("<a b='c'>t<![CDATA[d]]><!--e--></a>");
    xmlNodePtr const root = xmlDocGetRootElement(trees::document_of(document));
    xmlNodePtr const attribute = pkg_dbe_xml::as_node(root->properties);
    const struct {
        sql::function cast;
        std::vector<xmlNodePtr> fitting;
        const char *words;
    } casts[] = {
        {xmldom_as_document, {trees::node_of(document)}, "a document"},
        {xmldom_as_element, {root}, "an element"},
        {xmldom_as_attr, {attribute}, "an attribute"},
        {xmldom_as_text_node, {root->children, root->children->next}, "a text"},
    };
    for (const auto &cast : casts) {
        for (xmlNodePtr node : {trees::node_of(document), root, attribute, root->children,
                                root->children->next, root->last}) {
            const bool fits = std::count(cast.fitting.begin(), cast.fitting.end(), node) != 0;
            const sql::handle handle = own(document, node);
            const sql::result outcome = sql::call(cast.cast, handle);
            if (fits) {
                EXPECT_EQ(outcome.handle(), handle);
                // Another handle of the node becomes its own.
                EXPECT_EQ(sql::call(cast.cast, trees::named(document, node)).handle(), handle);
            } else {
                EXPECT_REPORT(outcome, reports::wrong_node_type, cast.words,
                              pkg_dbe_xml::node_words(node).view());
            }
        }
        EXPECT_REPORT(sql::call(cast.cast, "x"), reports::unknown_handle);
    }
    EXPECT_TRUE(sql::check_invariants());
}

} // namespace
