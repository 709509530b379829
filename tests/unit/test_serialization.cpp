// Writing documents and nodes to buffers and CLOBs.
#include "standalone_session.hpp"
#include "support/faults.hpp"
#include "support/sql.hpp"
#include "trees.hpp"
#include "write/serialization.hpp"

#include <libxml/parserInternals.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

// Later versions deprecate the defaults of libxml2 that others may still set.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

// The bounds of texts, which no test can reach with a text.
PKG_DBE_XML_FUNCTION(check_buffer_document) {
    pkg_dbe_xml::check_buffer_document_size(static_cast<std::int64_t>(call.value(0)));
    return 0;
}
PKG_DBE_XML_FUNCTION(check_clob_document) {
    pkg_dbe_xml::check_clob_document_size(static_cast<std::int64_t>(call.value(0)));
    return 0;
}

// A text of so many bytes, of which none is kept.
PKG_DBE_XML_FUNCTION(give_counted_text) {
    pkg_dbe_xml::text_output output(0);
    const std::string piece(std::size_t{1} << 20U, 'x');
    for (auto left = static_cast<std::size_t>(call.value(0)); left != 0;) {
        const std::size_t size = std::min(left, piece.size());
        output.append(std::string_view(piece).substr(0, size));
        left -= size;
    }
    return pkg_dbe_xml::inline_result(output);
}

namespace {

namespace standalone = host::standalone;
using trees::named;
using trees::node_of;

constexpr std::string_view k_declaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

constexpr sql::function k_document_writers[] = {xml_dom_write_to_buffer_doc,
                                                xml_dom_write_to_clob_doc};
constexpr sql::function k_node_writers[] = {xml_dom_write_to_buffer_node,
                                            xml_dom_write_to_clob_node};
constexpr sql::function k_all_writers[] = {xml_dom_write_to_buffer_doc, xml_dom_write_to_clob_doc,
                                           xml_dom_write_to_buffer_node,
                                           xml_dom_write_to_clob_node};

class serialization : public sql::session_test {
  protected:
    static sql::handle parse(std::string_view text) {
        return sql::call(xml_dom_new_document_clob, text).handle();
    }
    // Both functions for nodes give this text.
    static void expect_text(const sql::handle &handle, std::string_view expected) {
        for (const sql::function entry : k_node_writers) {
            EXPECT_EQ(sql::call(entry, handle).text(), expected);
        }
    }
    static void expect_null(const sql::handle &handle) {
        for (const sql::function entry : k_node_writers) {
            EXPECT_TRUE(sql::call(entry, handle).is_null());
        }
    }
    static void expect_refused(const sql::handle &handle) {
        EXPECT_REPORT(sql::call(xml_dom_write_to_buffer_node, handle),
                      reports::not_for_write_to_buffer);
        EXPECT_REPORT(sql::call(xml_dom_write_to_clob_node, handle),
                      reports::not_for_write_to_clob);
    }
};

// --- handles
// --------------------------------------------------------------------------------------

TEST_F(serialization, null_handle_gives_null) {
    for (const sql::function entry : k_all_writers) {
        EXPECT_TRUE(sql::call(entry, sql::null).is_null());
    }
}

TEST_F(serialization, handle_that_is_not_registered) {
    const sql::handle document = parse("<a/>");
    sql::handle stale = document;
    stale.bytes[8] ^= 1;
    sql::raw brief;
    brief.bytes.assign(document.bytes.begin(), document.bytes.begin() + 12);
    sql::raw ten;
    ten.bytes.assign(document.bytes.begin(), document.bytes.begin() + 10);
    for (const sql::function entry : k_all_writers) {
        EXPECT_REPORT(sql::call(entry, stale), reports::handle_not_found);
        EXPECT_REPORT(sql::call(entry, brief), reports::handle_not_found);
        EXPECT_REPORT(sql::call(entry, ten), reports::handle_not_found);
        EXPECT_REPORT(sql::call(entry, ""), reports::handle_not_found);
    }
}

TEST_F(serialization, handle_in_either_form) {
    sql::handle document = parse("<a/>");
    for (const auto header :
         {sql::handle::header_form::long_form, sql::handle::header_form::short_form}) {
        document.header = header;
        for (const sql::function entry : k_all_writers) {
            EXPECT_EQ(sql::call(entry, document).text(), std::string(k_declaration) + "<a/>\n");
        }
    }
}

TEST_F(serialization, released_handle_names_nothing) {
    const sql::handle document = parse("<a><b/></a>");
    const sql::handle root = trees::root(document);
    const sql::handle list = sql::call(xml_dom_get_child_nodes, root).handle();
    trees::release(root);
    EXPECT_FALSE(sql::call(xml_dom_free_nodelist, list).failed());
    for (const sql::function entry : k_all_writers) {
        EXPECT_REPORT(sql::call(entry, root), reports::node_gone);
        EXPECT_REPORT(sql::call(entry, list), reports::node_gone);
    }
}

TEST_F(serialization, lists_and_maps_are_no_nodes) {
    const sql::handle document = parse("<a b='1'><c/></a>");
    const sql::handle list = sql::call(xml_dom_get_child_nodes, trees::root(document)).handle();
    const sql::handle map = sql::call(xml_dom_get_attributes, trees::root_node(document)).handle();
    for (const sql::handle &handle : {list, map}) {
        for (const sql::function entry : k_document_writers) {
            EXPECT_REPORT(sql::call(entry, handle), reports::not_a_document);
        }
        for (const sql::function entry : k_node_writers) {
            EXPECT_REPORT(sql::call(entry, handle), reports::inconsistent_types);
        }
    }
}

TEST_F(serialization, document_functions_take_documents_only) {
    const sql::handle document = parse("<!DOCTYPE a><!--c--><a b='1'>text</a>");
    const xmlNodePtr tree = node_of(document);
    const xmlNodePtr root = xmlDocGetRootElement(tree->doc);
    for (const xmlNodePtr node : {root, root->children, tree->children, tree->children->next,
                                  reinterpret_cast<xmlNodePtr>(root->properties)}) {
        for (const sql::function entry : k_document_writers) {
            EXPECT_REPORT(sql::call(entry, named(document, node)), reports::not_a_document);
        }
    }
    for (const sql::function entry : k_document_writers) {
        EXPECT_EQ(sql::call(entry, named(document, tree)).text(),
                  std::string(k_declaration) + "<!DOCTYPE a>\n<!--c-->\n<a b=\"1\">text</a>\n");
    }
}

TEST_F(serialization, node_functions_refuse_all_other_nodes) {
    const sql::handle document =
        trees::parsed("<!DOCTYPE a [<!ELEMENT a ANY><!ATTLIST a d CDATA 'x'><!ENTITY e 'y'>]>"
                      "<a><!--comment--><?go now?><![CDATA[cdata]]>&e;</a>");
    const xmlNodePtr tree = node_of(document);
    const xmlNodePtr subset = tree->children;
    ASSERT_EQ(subset->type, XML_DTD_NODE);
    std::vector<xmlNodePtr> nodes = {subset};
    for (xmlNodePtr node = subset->children; node != nullptr; node = node->next) {
        nodes.push_back(node);
    }
    for (xmlNodePtr node = subset->next->children; node != nullptr; node = node->next) {
        nodes.push_back(node);
    }
    EXPECT_EQ(nodes.size(), 8U);
    for (const xmlNodePtr node : nodes) {
        expect_refused(named(document, node));
    }
}

// --- texts
// ----------------------------------------------------------------------------------------

TEST_F(serialization, documents_are_indented_and_declare_utf8) {
    const sql::handle document =
        parse("<?xml version='1.0' encoding='ISO-8859-1'?><a><b><c x='\xC3\xA4'/></b>"
              "<d>\xE2\x82\xAC<e/></d></a>");
    const std::string expected = std::string(k_declaration) +
                                 "<a>\n  <b>\n    <c x=\"\xC3\xA4\"/>\n  </b>\n"
                                 "  <d>\xE2\x82\xAC<e/></d>\n</a>\n";
    for (const sql::function entry : k_all_writers) {
        const sql::result result = sql::call(entry, document);
        EXPECT_EQ(result.text(), expected);
        const std::string stored = result.stored_bytes();
        EXPECT_EQ(stored.size(), expected.size() + 4);
        std::uint32_t word = 0;
        std::memcpy(&word, stored.data(), sizeof word);
        EXPECT_EQ(word, stored.size() << 2U) << "a header of four bytes";
    }
}

TEST_F(serialization, empty_document) {
    const sql::handle document = sql::call(xml_dom_new_document_empty).handle();
    for (const sql::function entry : k_all_writers) {
        EXPECT_EQ(sql::call(entry, document).text(), k_declaration);
    }
}

TEST_F(serialization, nodes_are_written_alone) {
    const sql::handle document = parse("<a><b c='1'><d/><e>text</e></b>tail</a>");
    const sql::handle root = trees::root(document);
    const sql::handle inner = sql::call(xml_dom_get_first_child, root).handle();
    const sql::handle tail = sql::call(xml_dom_get_last_child, root).handle();
    expect_text(inner, "<b c=\"1\">\n  <d/>\n  <e>text</e>\n</b>");
    expect_text(root, "<a><b c=\"1\"><d/><e>text</e></b>tail</a>");
    expect_text(tail, "tail");
}

TEST_F(serialization, text_is_escaped) {
    const sql::handle document =
        parse("<a b='&lt;&amp;&quot;&gt;&#10;&#13;&#9;'>&lt;&amp;\"&gt;&#13;</a>");
    const sql::handle root = trees::root(document);
    expect_text(root, "<a b=\"&lt;&amp;&quot;&gt;&#10;&#13;&#9;\">&lt;&amp;\"&gt;&#13;</a>");
    expect_text(sql::call(xml_dom_get_first_child, root).handle(), "&lt;&amp;\"&gt;&#13;");
    expect_text(sql::call(xml_dom_get_attribute_node, root, "b").handle(), "<&\">\n\r\t");
}

// Without a declared encoding libxml2 up to 2.13 writes attributes of an element alone in ASCII.
TEST_F(serialization, attributes_of_an_element_alone_follow_the_declared_encoding) {
    const bool ascii = std::string(xmlParserVersion) < "21400";
    expect_text(trees::root(parse("<a b='\xC3\xA4'>\xC3\xA4</a>")),
                ascii ? "<a b=\"&#xE4;\">\xC3\xA4</a>" : "<a b=\"\xC3\xA4\">\xC3\xA4</a>");
    expect_text(trees::root(parse("<?xml version='1.0' encoding='UTF-8'?><a b='\xC3\xA4'/>")),
                "<a b=\"\xC3\xA4\"/>");
}

TEST_F(serialization, attribute_gives_its_value) {
    const sql::handle document = parse("<a b='value' empty='' n='\xC3\xA4'/>");
    const sql::handle root = trees::root(document);
    expect_text(sql::call(xml_dom_get_attribute_node, root, "b").handle(), "value");
    expect_text(sql::call(xml_dom_get_attribute_node, root, "n").handle(), "\xC3\xA4");
    expect_null(sql::call(xml_dom_get_attribute_node, root, "empty").handle());
    expect_null(sql::call(xml_dom_create_attribute, document, "made").handle());
}

TEST_F(serialization, entity_references_in_attributes_are_replaced) {
    const sql::handle document = trees::parsed(
        "<!DOCTYPE a [<!ENTITY e 'x&#38;#38;y'><!ENTITY f '[&e;]'>]><a b='1&e;2&f;3'/>");
    const xmlNodePtr root = xmlDocGetRootElement(node_of(document)->doc);
    const sql::handle attribute = named(document, reinterpret_cast<xmlNodePtr>(root->properties));
    expect_text(attribute, "1x&y2[x&y]3");
    expect_text(named(document, root), "<a b=\"1&e;2&f;3\"/>");
}

TEST_F(serialization, empty_text_gives_null) {
    const sql::handle document = parse("<a/>");
    expect_null(sql::call(xml_dom_create_text_node, document, "").handle());
    expect_text(sql::call(xml_dom_create_text_node, document, "x").handle(), "x");
}

TEST_F(serialization, detached_element_is_written) {
    const sql::handle document = parse("<a/>");
    expect_text(sql::call(xml_dom_create_element, document, "e").handle(), "<e/>");
}

TEST_F(serialization, xhtml_is_closed_by_its_own_rules) {
    const sql::handle document =
        parse("<!DOCTYPE html PUBLIC '-//W3C//DTD XHTML 1.0 Strict//EN' "
              "'http://www.w3.org/TR/xhtml1/DTD/xhtml1-strict.dtd'><html><p></p><br/></html>");
    const std::string text = sql::call(xml_dom_write_to_buffer_doc, document).text();
    EXPECT_NE(text.find("<p></p>"), std::string::npos) << text;
    EXPECT_NE(text.find("<br />"), std::string::npos) << text;
    EXPECT_EQ(sql::call(xml_dom_write_to_clob_doc, document).text(), text);
    EXPECT_NE(sql::call(xml_dom_write_to_clob_node, trees::root(document)).text().find("<p></p>"),
              std::string::npos);
}

// libxml2 keeps these for all who use it in the process.
TEST_F(serialization, defaults_of_the_process_do_not_matter) {
    const sql::handle plain = parse("<a><b/></a>");
    const sql::handle xhtml = parse("<!DOCTYPE html PUBLIC '-//W3C//DTD XHTML 1.0 Strict//EN' 'x'>"
                                    "<html><head/><body><p/></body></html>");
    const std::string plain_text = sql::call(xml_dom_write_to_buffer_doc, plain).text();
    const std::string xhtml_text = sql::call(xml_dom_write_to_buffer_doc, xhtml).text();
    xmlIndentTreeOutput = 0;
    xmlSaveNoEmptyTags = 1;
    const char *const string = xmlTreeIndentString;
    xmlTreeIndentString = "\t";
    EXPECT_EQ(sql::call(xml_dom_write_to_buffer_doc, plain).text(), plain_text);
    EXPECT_EQ(sql::call(xml_dom_write_to_buffer_doc, xhtml).text(), xhtml_text);
    EXPECT_EQ(xmlIndentTreeOutput, 0);
    EXPECT_EQ(xmlSaveNoEmptyTags, 1);
    EXPECT_STREQ(xmlTreeIndentString, "\t");
    xmlIndentTreeOutput = 1;
    xmlSaveNoEmptyTags = 0;
    xmlTreeIndentString = string;
}

TEST_F(serialization, nothing_changes_by_writing) {
    const sql::handle document = parse("<a b='1'><c>text</c></a>");
    const sql::handle root = trees::root(document);
    const std::size_t handles = pkg_dbe_xml::xml_count_hashentries();
    const std::int64_t bytes = host::gate.bytes_in_use;
    const std::string before = sql::call(xml_dom_write_to_buffer_doc, document).text();
    for (int i = 0; i < 3; ++i) {
        for (const sql::function entry : k_node_writers) {
            EXPECT_FALSE(sql::call(entry, root).failed());
        }
    }
    EXPECT_EQ(pkg_dbe_xml::xml_count_hashentries(), handles);
    EXPECT_EQ(host::gate.bytes_in_use, bytes);
    EXPECT_EQ(sql::call(xml_dom_write_to_clob_doc, document).text(), before);
}

TEST_F(serialization, long_document) {
    std::string inside;
    for (int i = 0; i < 20000; ++i) {
        inside += "<i n='" + std::to_string(i) + "'>text &amp; more</i>";
    }
    const sql::handle document = parse("<a>" + inside + "</a>");
    const std::string text = sql::call(xml_dom_write_to_buffer_doc, document).text();
    EXPECT_EQ(sql::call(xml_dom_write_to_clob_doc, document).text(), text);
    EXPECT_EQ(sql::call(xml_dom_write_to_buffer_doc, parse(text)).text(), text);
    EXPECT_GT(text.size(), 600000U);
}

// --- encodings
// ------------------------------------------------------------------------------------

TEST_F(serialization, results_are_in_the_database_encoding) {
    use_database_encoding("LATIN1");
    const sql::handle document = parse("<?xml version='1.0' encoding='x'?><a b='\xE4'>\xF6</a>");
    for (const sql::function entry : k_document_writers) {
        EXPECT_EQ(sql::call(entry, document).text(),
                  std::string(k_declaration) + "<a b=\"\xE4\">\xF6</a>\n");
    }
    const sql::handle root = trees::root(document);
    expect_text(root, "<a b=\"\xE4\">\xF6</a>");
    expect_text(sql::call(xml_dom_get_first_child, root).handle(), "\xF6");
    expect_text(sql::call(xml_dom_get_attribute_node, root, "b").handle(), "\xE4");
    use_database_encoding("EUC_JP");
    const sql::handle japanese = parse("<a b='\xA4\xA2'>\xC6\xFC\xCB\xDC</a>");
    expect_text(sql::call(xml_dom_get_attribute_node, trees::root(japanese), "b").handle(),
                "\xA4\xA2");
    EXPECT_EQ(sql::call(xml_dom_write_to_clob_doc, japanese).text(),
              std::string(k_declaration) + "<a b=\"\xA4\xA2\">\xC6\xFC\xCB\xDC</a>\n");
}

TEST_F(serialization, database_without_encoding_takes_bytes_as_they_are) {
    use_database_encoding("SQL_ASCII");
    const sql::handle document = parse("<?xml version='1.0' encoding='x'?><a b='\xC3\xA4'/>");
    EXPECT_EQ(sql::call(xml_dom_write_to_buffer_doc, document).text(),
              std::string(k_declaration) + "<a b=\"\xC3\xA4\"/>\n");
}

TEST_F(serialization, failing_conversion_leaves_nothing_behind) {
    use_database_encoding("LATIN1");
    const sql::handle document =
        parse("<a b='&#x20AC;'>&#x20AC;<![CDATA[" + std::string(100000, 'x') + "]]></a>");
    const sql::handle root = trees::root(document);
    const sql::handle attribute = sql::call(xml_dom_get_attribute_node, root, "b").handle();
    const sql::result first = sql::call(xml_dom_write_to_buffer_doc, document);
    ASSERT_TRUE(first.failed());
    EXPECT_EQ(first.error().sqlstate, "22P05");
    for (const sql::handle &handle : {root, attribute}) {
        for (const sql::function entry : k_node_writers) {
            const auto arguments = sql::arguments_of({handle});
            const auto before = standalone::memory_of(host::current_memory_context());
            EXPECT_TRUE(standalone::call_function(entry, arguments.data(), 1).failed);
            EXPECT_EQ(standalone::memory_of(host::current_memory_context()).bytes, before.bytes);
        }
    }
}

// --- bounds
// ---------------------------------------------------------------------------------------

sql::value size_of(std::int64_t size) {
    return sql::value::of_datum(static_cast<host::datum>(size));
}

TEST_F(serialization, bounds_of_documents) {
    EXPECT_FALSE(sql::call(check_buffer_document, size_of(1)).failed());
    EXPECT_FALSE(sql::call(check_buffer_document, size_of(1073741823)).failed());
    for (const std::int64_t size : {std::int64_t{1073741824}, std::int64_t{2147483647},
                                    std::int64_t{2147483648}, std::int64_t{1} << 40}) {
        EXPECT_REPORT(sql::call(check_buffer_document, size_of(size)), reports::over_one_gigabyte);
    }
    EXPECT_FALSE(sql::call(check_clob_document, size_of(1)).failed());
    EXPECT_FALSE(sql::call(check_clob_document, size_of(1073741824)).failed());
    EXPECT_FALSE(sql::call(check_clob_document, size_of(2147483647)).failed());
    for (const std::int64_t size : {std::int64_t{2147483648}, std::int64_t{1} << 40}) {
        EXPECT_REPORT(sql::call(check_clob_document, size_of(size)), reports::over_two_gigabytes);
    }
    for (const sql::function entry : {check_buffer_document, check_clob_document}) {
        EXPECT_REPORT(sql::call(entry, size_of(0)), reports::out_of_memory);
    }
}

// A text in the four last bytes below 1 GiB is one that a document may have and no value can hold:
// the host refuses it in its own words.
TEST_F(serialization, a_document_that_no_value_has_room_for) {
    const sql::result outcome = sql::call(give_counted_text, size_of(1073741820));
    ASSERT_TRUE(outcome.failed());
    EXPECT_EQ(outcome.error().sqlstate, "XX000");
    EXPECT_EQ(outcome.error().message, "invalid memory alloc request size 1073741824");
}

TEST_F(serialization, bounds_of_nodes) {
    EXPECT_FALSE(pkg_dbe_xml::node_text_is_long(1));
    EXPECT_FALSE(pkg_dbe_xml::node_text_is_long(1073741819));
    EXPECT_TRUE(pkg_dbe_xml::node_text_is_long(1073741820));
    EXPECT_TRUE(pkg_dbe_xml::node_text_is_null(0));
    EXPECT_FALSE(pkg_dbe_xml::node_text_is_null(1));
    EXPECT_FALSE(pkg_dbe_xml::node_text_is_null(2147483647));
    EXPECT_TRUE(pkg_dbe_xml::node_text_is_null(2147483648));
}

// With the piece size lowered the bounds come within reach: values of up to 100 + 511 bytes.
class short_pieces : public serialization {
  protected:
    static constexpr std::int64_t k_longest = 100 + 511;
    void SetUp() override {
        serialization::SetUp();
        standalone::set_piece_size(100);
        ASSERT_EQ(pkg_dbe_xml::longest_value(), k_longest);
    }
    // A document whose text, or that of whose root, has `size` bytes.
    static sql::handle document_of_size(std::int64_t size) {
        const auto frame = static_cast<std::int64_t>(k_declaration.size() + sizeof "<a></a>");
        return parse("<a>" + std::string(static_cast<std::size_t>(size - frame), 'x') + "</a>");
    }
    static sql::handle element_of_size(std::int64_t size) {
        const auto frame = static_cast<std::int64_t>(sizeof "<a></a>" - 1);
        return trees::root(
            parse("<a>" + std::string(static_cast<std::size_t>(size - frame), 'x') + "</a>"));
    }
};

TEST_F(short_pieces, document_to_buffer) {
    for (const std::int64_t size : {std::int64_t{99}, std::int64_t{100}, std::int64_t{101},
                                    k_longest - 4, k_longest - 3, k_longest}) {
        EXPECT_EQ(sql::call(xml_dom_write_to_buffer_doc, document_of_size(size)).text().size(),
                  static_cast<std::size_t>(size));
    }
    for (const std::int64_t size : {k_longest + 1, k_longest + 2, std::int64_t{100000}}) {
        const sql::handle document = document_of_size(size);
        EXPECT_REPORT(sql::call(xml_dom_write_to_buffer_doc, document), reports::over_one_gigabyte);
    }
}

TEST_F(short_pieces, document_to_clob) {
    for (const std::int64_t size :
         {std::int64_t{99}, std::int64_t{100}, std::int64_t{101}, std::int64_t{200}, k_longest - 4,
          k_longest - 3, k_longest, k_longest + 1, std::int64_t{5000}}) {
        const std::string text =
            sql::call(xml_dom_write_to_clob_doc, document_of_size(size)).text();
        EXPECT_EQ(text.size(), static_cast<std::size_t>(size));
        EXPECT_EQ(text.substr(text.size() - 6), "x</a>\n");
    }
}

TEST_F(short_pieces, node_to_buffer) {
    for (const std::int64_t size :
         {std::int64_t{99}, std::int64_t{101}, k_longest - 5, k_longest - 4}) {
        EXPECT_EQ(sql::call(xml_dom_write_to_buffer_node, element_of_size(size)).text().size(),
                  static_cast<std::size_t>(size));
    }
    for (const std::int64_t size : {k_longest - 3, k_longest, std::int64_t{100000}}) {
        EXPECT_REPORT(sql::call(xml_dom_write_to_buffer_node, element_of_size(size)),
                      reports::over_one_gigabyte);
    }
    EXPECT_REPORT(sql::call(xml_dom_write_to_buffer_node, document_of_size(k_longest - 3)),
                  reports::over_one_gigabyte);
}

TEST_F(short_pieces, node_to_clob) {
    for (const std::int64_t size : {std::int64_t{99}, std::int64_t{101}, k_longest - 4,
                                    k_longest - 3, k_longest + 1, std::int64_t{5000}}) {
        const std::string text =
            sql::call(xml_dom_write_to_clob_node, element_of_size(size)).text();
        EXPECT_EQ(text.size(), static_cast<std::size_t>(size));
        EXPECT_EQ(text.substr(text.size() - 5), "x</a>");
    }
}

TEST_F(short_pieces, attribute_of_any_length_is_one_value) {
    const std::string value(10000, 'v');
    const sql::handle root = trees::root(parse("<a b='" + value + "'/>"));
    expect_text(sql::call(xml_dom_get_attribute_node, root, "b").handle(), value);
}

// A document is converted at any length; a node's text is not once it is written in pieces.
TEST_F(short_pieces, long_text_of_a_node_stays_in_utf8) {
    use_database_encoding("LATIN1");
    standalone::set_piece_size(100);
    const std::string latin(400, '\xE4');
    std::string utf8;
    for (int i = 0; i < 400; ++i) {
        utf8 += "\xC3\xA4";
    }
    const sql::handle document = parse("<a>" + latin + "</a>");
    EXPECT_EQ(sql::call(xml_dom_write_to_clob_doc, document).text(),
              std::string(k_declaration) + "<a>" + latin + "</a>\n");
    EXPECT_EQ(sql::call(xml_dom_write_to_clob_node, trees::root(document)).text(),
              "<a>" + utf8 + "</a>");
    EXPECT_REPORT(sql::call(xml_dom_write_to_buffer_node, trees::root(document)),
                  reports::over_one_gigabyte);
    // The dump counts, not what it becomes.
    EXPECT_REPORT(sql::call(xml_dom_write_to_buffer_doc, document), reports::over_one_gigabyte);
    const std::string shorter(290, '\xE4');
    const sql::handle inline_document = parse("<a>" + shorter + "</a>");
    expect_text(trees::root(inline_document), "<a>" + shorter + "</a>");
}

// --- failures
// -------------------------------------------------------------------------------------

// Every writer, with every allocation and conversion failing, one at a time.
void sweep_writers(std::string name, const std::string &text, const char *encoding,
                   std::int64_t piece_size) {
    sql::sweep_figures figures;
    for (const sql::function entry : k_all_writers) {
        sql::handle document;
        sql::scenario played;
        played.name = name;
        played.database_encoding = encoding;
        played.prepare = [&] {
            standalone::set_piece_size(piece_size);
            document = sql::call(xml_dom_new_document_clob, text).handle();
        };
        played.run = [&] { return sql::call(entry, document); };
        played.state = [&] { return std::to_string(pkg_dbe_xml::xml_count_hashentries()); };
        played.shown = [](const sql::result &outcome) {
            return outcome.failed() ? outcome.error().message : outcome.text();
        };
        figures += sql::sweep_allocation_failures(played);
        figures += sql::sweep_failures(played, standalone::service::conversion);
    }
    EXPECT_GT(figures.reported, 3) << name;
    EXPECT_EQ(figures.lossy, 0) << name;
}

TEST(serialization_failures, leave_nothing_behind) {
    const std::string long_text =
        "<?xml version='1.0'?><a>" + std::string(200000, 'x') + "<b c='&#228;'/></a>";
    sweep_writers("short", "<a><b c='1'>text</b></a>", "UTF8", 0);
    sweep_writers("long", long_text, "UTF8", 0);
    sweep_writers("long, converted", long_text, "LATIN1", 0);
    sweep_writers("with a document type",
                  "<!DOCTYPE a [<!ELEMENT a (b*)><!ATTLIST a c CDATA 'd'><!NOTATION n SYSTEM 'n'>"
                  "<!ENTITY e 'x'>]><a><b/></a>",
                  "UTF8", 0);
    sweep_writers("XHTML",
                  "<!DOCTYPE html PUBLIC '-//W3C//DTD XHTML 1.0 Strict//EN' 'x'><html><br/></html>",
                  "UTF8", 0);
}

TEST(serialization_failures, leave_nothing_behind_where_texts_are_built_from_pieces) {
    const std::string text = "<a>" + std::string(1500, 'x') + "</a>";
    sweep_writers("pieces", text, "UTF8", 200);
    sweep_writers("pieces, converted", text, "LATIN1", 200);
}

} // namespace
