// Making documents, from text and empty, and releasing them.
#include "host/limits.hpp"
#include "standalone_faults.hpp"
#include "standalone_session.hpp"
#include "support/sql.hpp"
#include "trees.hpp"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace {

namespace standalone = host::standalone;
using trees::document_of;
using trees::entry_of;
using trees::kind_of;

constexpr std::string_view k_declaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

class documents : public sql::session_test {
  protected:
    static sql::handle parse(std::string_view text) {
        return sql::call(xml_dom_new_document_clob, text).handle();
    }
    // The document as text, without the declaration that all begin with.
    static std::string written(const sql::handle &document) {
        std::string text = sql::call(xml_dom_write_to_buffer_doc, document).text();
        EXPECT_EQ(text.substr(0, k_declaration.size()), k_declaration);
        return text.substr(k_declaration.size());
    }
    static std::string rewritten(std::string_view text) { return written(parse(text)); }
    // The line of context of a text that does not parse; nothing is registered by it.
    static std::string refused(const sql::value &text) {
        const std::size_t handles = pkg_dbe_xml::xml_count_hashentries();
        const sql::result outcome = sql::call(xml_dom_new_document_clob, text);
        EXPECT_REPORT(outcome, reports::invalid_document);
        EXPECT_EQ(pkg_dbe_xml::xml_count_hashentries(), handles);
        return outcome.failed() ? outcome.error().context : "";
    }
};

// --- making documents ---------------------------------------------------------------------------

TEST_F(documents, empty_document) {
    const sql::result made = sql::call(xml_dom_new_document_empty);
    const sql::handle document = made.handle();
    EXPECT_EQ(document.document_id(), 0U);
    EXPECT_EQ(document.node_id(), 0U);
    EXPECT_EQ(document.serial(), 2U);
    EXPECT_EQ(document.bytes[12], 1);
    EXPECT_EQ(made.stored_bytes().size(), 17U);
    EXPECT_EQ(made.stored_bytes().substr(0, 4), std::string("\x44\0\0\0", 4));
    EXPECT_EQ(kind_of(document), 5);
    EXPECT_STREQ(entry_of(document)->text, "");
    const xmlDoc *const tree = document_of(document);
    EXPECT_STREQ(reinterpret_cast<const char *>(tree->version), "1.0");
    EXPECT_EQ(tree->children, nullptr);
    EXPECT_EQ(tree->encoding, nullptr);
    EXPECT_EQ(written(document), "");
}

TEST_F(documents, document_from_text) {
    const sql::result made = sql::call(xml_dom_new_document_clob, "<a><b>text</b></a>");
    EXPECT_EQ(made.stored_bytes().size(), 17U);
    const sql::handle document = made.handle();
    EXPECT_EQ(document.node_id(), 0U);
    EXPECT_EQ(document.bytes[12], 1);
    EXPECT_EQ(kind_of(document), 5);
    EXPECT_STREQ(entry_of(document)->text, "");
    EXPECT_EQ(written(document), "<a>\n  <b>text</b>\n</a>\n");
}

TEST_F(documents, document_from_xml_value) {
    const std::string text = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><a>\xC3\xA4</a>";
    const sql::handle document = sql::call(xml_dom_new_document_xmltype, text).handle();
    EXPECT_EQ(kind_of(document), 5);
    EXPECT_EQ(written(document), "<a>\xC3\xA4</a>\n");
    EXPECT_REPORT(sql::call(xml_dom_new_document_xmltype, "<a>"), reports::invalid_document);
}

TEST_F(documents, null_text_is_reported_and_null_xml_value_is_null) {
    EXPECT_REPORT(sql::call(xml_dom_new_document_clob, sql::null), reports::null_column);
    EXPECT_TRUE(sql::call(xml_dom_new_document_xmltype, sql::null).is_null());
    EXPECT_EQ(pkg_dbe_xml::xml_count_hashentries(), 0U);
}

TEST_F(documents, documents_in_a_row_get_ids_and_serials_in_a_row) {
    for (std::uint32_t i = 0; i < 5; ++i) {
        const sql::handle document =
            i % 2 == 0 ? parse("<a/>") : sql::call(xml_dom_new_document_empty).handle();
        EXPECT_EQ(document.document_id(), i);
        EXPECT_EQ(document.serial(), i + 2);
    }
}

TEST_F(documents, failed_parse_takes_no_id) {
    refused("<a>");
    EXPECT_EQ(parse("<a/>").document_id(), 0U);
    refused("");
    EXPECT_EQ(parse("<a/>").document_id(), 1U);
}

TEST_F(documents, text_in_every_form) {
    const std::string text = "<a>" + std::string(2400, 'x') + "</a>";
    const std::string expected = text + "\n";
    standalone::set_piece_size(2000);
    EXPECT_EQ(rewritten(text), expected);
    EXPECT_EQ(written(sql::call(xml_dom_new_document_clob, sql::large_text{text}).handle()),
              expected);
    EXPECT_EQ(written(sql::call(xml_dom_new_document_xmltype, sql::large_text{text}).handle()),
              expected);
    const sql::value stored = sql::value::of_datum(standalone::make_stored_text(text));
    EXPECT_EQ(written(sql::call(xml_dom_new_document_clob, stored).handle()), expected);
    const sql::value brief = sql::value::of_datum(standalone::make_short_text("<a/>"));
    EXPECT_EQ(written(sql::call(xml_dom_new_document_clob, brief).handle()), "<a/>\n");
}

TEST_F(documents, too_large_value_is_refused_before_it_is_read) {
    const sql::value large = sql::value::of_datum(
        standalone::make_filled_large_text(std::int64_t{1} << 31, "<a/>", ' ', ""));
    standalone::clear_faults();
    EXPECT_REPORT(sql::call(xml_dom_new_document_clob, large), reports::text_too_large);
    EXPECT_REPORT(sql::call(xml_dom_new_document_xmltype, large), reports::text_too_large);
    EXPECT_EQ(standalone::calls_of(standalone::service::slice), 0);
    EXPECT_EQ(pkg_dbe_xml::xml_count_hashentries(), 0U);
}

// --- how a text is read -------------------------------------------------------------------------

TEST_F(documents, blanks_between_elements_are_dropped) {
    EXPECT_EQ(rewritten("<a>\n    <b/>\n\t<c> </c>\n</a>"), "<a>\n  <b/>\n  <c> </c>\n</a>\n");
    EXPECT_EQ(rewritten("<a>text <b/> </a>"), "<a>text <b/> </a>\n");
}

TEST_F(documents, entities_are_replaced) {
    EXPECT_EQ(rewritten("<!DOCTYPE a [<!ENTITY e 'x<b/>y'><!ENTITY f 'f'>]><a p='&f;'>&e;</a>"),
              "<!DOCTYPE a [\n<!ENTITY e \"x<b/>y\">\n<!ENTITY f \"f\">\n]>\n"
              "<a p=\"f\">x<b/>y</a>\n");
}

TEST_F(documents, everything_else_is_kept) {
    EXPECT_EQ(rewritten("<!--first--><?go now?><a xmlns='urn:a' xmlns:p='urn:p' p:q='1'>"
                        "<!--x--><p:b/></a><!--last-->"),
              "<!--first-->\n<?go now?>\n<a xmlns=\"urn:a\" xmlns:p=\"urn:p\" p:q=\"1\">\n"
              "  <!--x-->\n  <p:b/>\n</a>\n<!--last-->\n");
    EXPECT_EQ(rewritten("<a><![CDATA[<c>]]></a>"), "<a><![CDATA[<c>]]></a>\n");
}

TEST_F(documents, standalone_and_version_are_kept) {
    EXPECT_EQ(
        sql::call(xml_dom_write_to_buffer_doc, parse("<?xml version='1.0' standalone='yes'?><a/>"))
            .text(),
        "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\n<a/>\n");
    EXPECT_EQ(
        sql::call(xml_dom_write_to_buffer_doc, parse("<?xml version='1.0' standalone='no'?><a/>"))
            .text(),
        "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\"?>\n<a/>\n");
    EXPECT_EQ(sql::call(xml_dom_write_to_buffer_doc, parse("<?xml version='1.1'?><a/>")).text(),
              "<?xml version=\"1.1\" encoding=\"UTF-8\"?>\n<a/>\n");
}

TEST_F(documents, document_that_is_not_valid_is_accepted) {
    EXPECT_EQ(rewritten("<!DOCTYPE a [<!ELEMENT a EMPTY>]><a><b/></a>"),
              "<!DOCTYPE a [\n<!ELEMENT a EMPTY>\n]>\n<a>\n  <b/>\n</a>\n");
    EXPECT_TRUE(standalone::warnings().empty());
}

TEST_F(documents, nothing_outside_the_text_is_read) {
    const std::filesystem::path file =
        std::filesystem::temp_directory_path() /
        ("documents_" + std::to_string(static_cast<long>(::getpid())) + ".txt");
    std::ofstream(file) << "from the file";
    const std::string uri = "file://" + file.string();
    for (const std::string &place : {file.string(), uri, std::string("http://127.0.0.1:9/x")}) {
        const std::string text =
            "<!DOCTYPE a SYSTEM '" + place + "' [<!ENTITY e SYSTEM '" + place + "'>]><a>[&e;]</a>";
        const std::string out = rewritten(text);
        EXPECT_EQ(out.find("from the file"), std::string::npos);
        EXPECT_NE(out.find("<a>[]</a>"), std::string::npos) << out;
    }
    std::filesystem::remove(file);
}

// --- encodings ----------------------------------------------------------------------------------

TEST_F(documents, declared_encoding_is_remembered_and_not_obeyed) {
    for (const char *name : {"UTF-8", "ISO-8859-1", "UTF-16", "EUC-JP", "KOI8-R", "no-such-one"}) {
        const std::string text = std::string("<?xml version='1.0' encoding='") + name +
                                 "'?><a b='\xC3\xA4'>\xE2\x82\xAC</a>";
        const sql::handle document = parse(text);
        EXPECT_EQ(written(document), "<a b=\"\xC3\xA4\">\xE2\x82\xAC</a>\n") << name;
        EXPECT_STREQ(reinterpret_cast<const char *>(document_of(document)->encoding), name);
    }
    EXPECT_EQ(document_of(parse("<?xml version='1.0'?><a/>"))->encoding, nullptr);
    EXPECT_EQ(document_of(parse("<a>\xC3\xA4</a>"))->encoding, nullptr);
}

TEST_F(documents, text_in_the_encoding_of_the_database) {
    use_database_encoding("LATIN1");
    for (const char *declaration : {"", "<?xml version='1.0' encoding='UTF-8'?>",
                                    "<?xml version='1.0' encoding='KOI8-R'?>"}) {
        const sql::handle document = parse(std::string(declaration) + "<a b='\xE4'>\xF6</a>");
        const xmlNode *const root = document_of(document)->children;
        EXPECT_STREQ(reinterpret_cast<const char *>(root->children->content), "\xC3\xB6");
        EXPECT_EQ(written(document), "<a b=\"\xE4\">\xF6</a>\n");
    }
    use_database_encoding("EUC_JP");
    const sql::handle document = parse("<\xA4\xA2>\xC6\xFC\xCB\xDC</\xA4\xA2>");
    EXPECT_EQ(written(document), "<\xA4\xA2>\xC6\xFC\xCB\xDC</\xA4\xA2>\n");
    EXPECT_STREQ(reinterpret_cast<const char *>(document_of(document)->children->name),
                 "\xE3\x81\x82");
}

TEST_F(documents, text_that_is_not_valid_in_the_database_encoding) {
    use_database_encoding("EUC_JP");
    const sql::result outcome = sql::call(xml_dom_new_document_clob, "<a>\xA4</a>");
    ASSERT_TRUE(outcome.failed());
    EXPECT_EQ(outcome.error().sqlstate, "22021");
    EXPECT_EQ(pkg_dbe_xml::xml_count_hashentries(), 0U);
}

TEST_F(documents, character_that_the_database_encoding_lacks) {
    use_database_encoding("LATIN1");
    const sql::handle document = parse("<a>&#x20AC;</a>");
    for (const sql::function entry : {xml_dom_write_to_buffer_doc, xml_dom_write_to_clob_doc,
                                      xml_dom_write_to_buffer_node, xml_dom_write_to_clob_node}) {
        const sql::result outcome = sql::call(entry, document);
        ASSERT_TRUE(outcome.failed());
        EXPECT_EQ(outcome.error().sqlstate, "22P05");
    }
}

// --- texts that are no documents ----------------------------------------------------------------

TEST_F(documents, text_that_is_not_well_formed_is_refused_with_the_words_of_libxml2) {
    const struct {
        const char *text;
        const char *context;
    } k_cases[] = {
        {"<a>\n<b>\n  </a>", "line 3, column 7: Opening and ending tag mismatch: b line 2 and a"},
        {"<a>\n", "line 2, column 1: Premature end of data in tag a line 1"},
        // An error before that ends no parse, here a prefix that is not declared, changes nothing.
        {"<p:a>\n", "line 2, column 1: Premature end of data in tag a line 1"},
        {"<a b=c/>", "line 1, column 6: AttValue: \" or ' expected"},
        {"<a>&e;</a>", "line 1, column 7: Entity 'e' not defined"},
        {"<a/>junk", "line 1, column 5: Extra content at the end of the document"},
        {"junk", "line 1, column 1: Start tag expected, '<' not found"},
    };
    for (const auto &expected : k_cases) {
        EXPECT_EQ(refused(expected.text), expected.context) << expected.text;
    }
}

TEST_F(documents, many_texts_are_no_documents) {
    for (const std::string_view text : {"",
                                        " ",
                                        "\n",
                                        "<",
                                        "<a",
                                        "<a>",
                                        "</a>",
                                        "<a/><b/>",
                                        "<a b='1' b='2'/>",
                                        "<1/>",
                                        "<a>\x01</a>",
                                        "<a>\xFF</a>",
                                        "<a>\xC3</a>",
                                        "<a>]]></a>",
                                        "<a><!-- -- --></a>",
                                        "<?xml version='1.0'?>",
                                        " <?xml version='1.0'?><a/>",
                                        "<!DOCTYPE a><b",
                                        "<a>&</a>",
                                        "<a>&#0;</a>",
                                        "<p:a:b/>x",
                                        "<!DOCTYPE a [<!ENTITY e '&e;'>]><a>&e;</a>",
                                        "<!DOCTYPE a [<!ELEMENT a EMPTY>]><a>x</a>junk"}) {
        EXPECT_NE(refused(text), "") << text;
        EXPECT_NE(refused(sql::large_text{std::string(text)}), "") << text;
    }
    EXPECT_EQ(rewritten("<a/>"), "<a/>\n") << "the session goes on";
}

TEST_F(documents, refused_text_leaves_no_memory_behind) {
    const sql::value text =
        sql::value::of_datum(standalone::make_text("<a>" + std::string(10000, 'x') + "</b>"));
    sql::call(xml_dom_new_document_clob, text);
    const auto before = standalone::memory_of(host::current_memory_context());
    for (int i = 0; i < 100; ++i) {
        EXPECT_TRUE(sql::call(xml_dom_new_document_clob, text).failed());
    }
    const auto after = standalone::memory_of(host::current_memory_context());
    EXPECT_EQ(after.bytes, before.bytes);
    EXPECT_EQ(host::gate.bytes_in_use, 0);
}

TEST_F(documents, limit_that_ended_the_parse_is_named) {
    std::string deep;
    for (int i = 0; i < 3000; ++i) {
        deep += "<a>";
    }
    EXPECT_NE(refused(deep).find("the limit of the setting pkg_dbe_xml.max_depth was reached"),
              std::string::npos)
        << refused(deep);
    std::string bomb = "<!DOCTYPE a [<!ENTITY e0 'xxxxxxxxxxxxxxxx'>";
    for (int i = 1; i < 9; ++i) {
        bomb += "<!ENTITY e" + std::to_string(i) + " '";
        for (int j = 0; j < 20; ++j) {
            bomb += "&e" + std::to_string(i - 1) + ";";
        }
        bomb += "'>";
    }
    bomb += "]><a>&e8;</a>";
    // From 2.11 on libxml2 has a limit of its own for entities, which may be reached before ours.
    const std::string reason = refused(bomb);
    EXPECT_TRUE(reason.find("the limit of the setting pkg_dbe_xml.parse_budget_") !=
                    std::string::npos ||
                (std::string(xmlParserVersion) >= "21100" &&
                 reason.find("Maximum entity amplification factor exceeded") != std::string::npos))
        << reason;
    const std::string line = refused(deep);
    EXPECT_EQ(line.substr(0, 15), "line 1, column ") << line;
}

TEST_F(documents, cancelled_parse_leaves_nothing_behind) {
    const sql::value text =
        sql::value::of_datum(standalone::make_text("<a>" + std::string(4000000, 'x') + "</a>"));
    standalone::cancel_after_polls(2);
    const sql::result outcome = sql::call(xml_dom_new_document_clob, text);
    standalone::forget_cancel();
    ASSERT_TRUE(outcome.failed());
    EXPECT_EQ(outcome.error().sqlstate, "57014");
    EXPECT_EQ(pkg_dbe_xml::xml_count_hashentries(), 0U);
    EXPECT_FALSE(sql::call(xml_dom_new_document_clob, text).failed());
}

// --- releasing ----------------------------------------------------------------------------------

TEST_F(documents, null_is_no_document_to_release) {
    const sql::result outcome = sql::call(xml_dom_free_document, sql::null);
    EXPECT_FALSE(outcome.failed());
    EXPECT_FALSE(outcome.is_null_);
}

TEST_F(documents, released_document_takes_its_handles_along) {
    const sql::handle document = parse("<a b='1'><c>text</c></a>");
    const sql::handle root = trees::root(document);
    const sql::handle child = sql::call(xml_dom_get_first_child, root).handle();
    const sql::handle list = sql::call(xml_dom_get_child_nodes, root).handle();
    const sql::handle map = sql::call(xml_dom_get_attributes, trees::root_node(document)).handle();
    const sql::handle detached = sql::call(xml_dom_create_element, document, "d").handle();
    EXPECT_EQ(pkg_dbe_xml::xml_count_hashentries(), 8U);
    const sql::result released = sql::call(xml_dom_free_document, document);
    EXPECT_FALSE(released.failed());
    EXPECT_FALSE(released.is_null_);
    EXPECT_EQ(pkg_dbe_xml::xml_count_hashentries(), 0U);
    for (const sql::handle &handle : {document, root, child, list, map, detached}) {
        EXPECT_REPORT(sql::call(xml_dom_get_first_child, handle), reports::handle_not_found);
        EXPECT_REPORT(sql::call(xml_dom_write_to_buffer_node, handle), reports::handle_not_found);
    }
    EXPECT_EQ(host::gate.bytes_in_use, 0);
}

TEST_F(documents, releasing_twice_does_nothing) {
    const sql::handle document = parse("<a/>");
    EXPECT_FALSE(sql::call(xml_dom_free_document, document).failed());
    EXPECT_FALSE(sql::call(xml_dom_free_document, document).failed());
    sql::handle never_made = document;
    never_made.bytes[0] = 77;
    EXPECT_FALSE(sql::call(xml_dom_free_document, never_made).failed());
}

TEST_F(documents, released_id_is_used_again_with_another_serial) {
    const sql::handle first = parse("<a/>");
    const sql::handle second = parse("<b/>");
    EXPECT_FALSE(sql::call(xml_dom_free_document, first).failed());
    const sql::handle third = parse("<c/>");
    EXPECT_EQ(third.document_id(), 0U);
    EXPECT_EQ(third.serial(), 4U);
    EXPECT_REPORT(sql::call(xml_dom_write_to_buffer_doc, first), reports::handle_not_found);
    EXPECT_EQ(written(second), "<b/>\n");
    EXPECT_EQ(written(third), "<c/>\n");
    const sql::handle fourth = parse("<d/>");
    EXPECT_EQ(fourth.document_id(), 3U) << "the serial of the recycled id is skipped";
    EXPECT_EQ(fourth.serial(), 5U);
}

TEST_F(documents, any_handle_of_the_document_releases_it) {
    const sql::handle document = parse("<a/>");
    const sql::handle root = trees::root(document);
    EXPECT_FALSE(sql::call(xml_dom_free_document, root).failed());
    EXPECT_REPORT(sql::call(xml_dom_write_to_buffer_doc, document), reports::handle_not_found);
}

TEST_F(documents, handle_of_the_wrong_size_is_not_found) {
    const sql::handle document = parse("<a/>");
    for (const std::size_t size : {0U, 1U, 10U, 12U, 14U, 17U, 100U}) {
        sql::raw bytes;
        bytes.bytes.assign(document.bytes.begin(), document.bytes.end());
        bytes.bytes.resize(size);
        for (const auto header :
             {sql::handle::header_form::long_form, sql::handle::header_form::short_form}) {
            bytes.header = header;
            EXPECT_REPORT(sql::call(xml_dom_free_document, bytes), reports::handle_not_found);
        }
    }
    sql::handle brief = document;
    brief.header = sql::handle::header_form::short_form;
    EXPECT_FALSE(sql::call(xml_dom_free_document, brief).failed());
    EXPECT_REPORT(sql::call(xml_dom_write_to_buffer_doc, document), reports::handle_not_found);
}

TEST_F(documents, thousands_of_documents_leave_nothing) {
    for (int i = 0; i < 5000; ++i) {
        const sql::handle document = parse("<a><b c='d'>text</b></a>");
        EXPECT_EQ(document.document_id(), 0U);
        sql::call(xml_dom_free_document, document);
        standalone::reset_caller_context();
    }
    EXPECT_EQ(host::gate.bytes_in_use, 0);
}

} // namespace
