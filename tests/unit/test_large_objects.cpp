// Documents from and to large objects: in pieces of every size, in every encoding, with every step
// failing.
#include "registry.hpp"
#include "standalone_faults.hpp"
#include "standalone_session.hpp"
#include "support/faults.hpp"
#include "support/sql.hpp"
#include "trees.hpp"

#include <string>
#include <string_view>

namespace standalone = host::standalone;

namespace {

// Characters of one to four bytes in UTF-8.
constexpr std::string_view k_umlaut = "\xC3\xA4";
constexpr std::string_view k_kanji = "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E";
constexpr std::string_view k_clef = "\xF0\x9D\x84\x9E";
constexpr std::string_view k_head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

std::string in_root(std::string_view text) { return "<a>" + std::string(text) + "</a>"; }

sql::value object(std::uint32_t number) { return static_cast<int>(number); }
std::uint32_t object_of(const sql::result &outcome) {
    EXPECT_FALSE(outcome.failed());
    EXPECT_FALSE(outcome.is_null());
    return static_cast<std::uint32_t>(outcome.datum());
}

class large_objects : public sql::session_test {
  protected:
    void TearDown() override {
        EXPECT_EQ(standalone::open_objects(), 0U);
        sql::session_test::TearDown();
    }
    static sql::result read(std::string_view bytes) {
        return sql::call(xml_dom_new_document_large_object,
                         object(standalone::make_numbered_object(bytes)));
    }
    static sql::handle parsed(std::string_view text) {
        return sql::call(xml_dom_new_document_clob, text).handle();
    }
    static std::string written(const sql::handle &document) {
        return sql::call(xml_dom_write_to_clob_doc, document).text();
    }
    // What a new large object holds after a document was written into it.
    static std::string stored(const sql::handle &document) {
        return standalone::bytes_of_object(
            object_of(sql::call(xml_dom_write_to_large_object_doc, document, 0)));
    }
    static void expect_host_error(const sql::result &outcome, std::string_view sqlstate,
                                  std::string_view message) {
        ASSERT_TRUE(outcome.failed());
        EXPECT_EQ(outcome.error().sqlstate, sqlstate);
        EXPECT_EQ(outcome.error().message, message);
    }
};

// --- reading
// --------------------------------------------------------------------------------------

TEST_F(large_objects, a_document_is_read) {
    EXPECT_EQ(written(read(in_root("text")).handle()), std::string(k_head) + "<a>text</a>\n");
}

TEST_F(large_objects, pieces_of_every_size_cut_characters) {
    const std::string text =
        in_root("x" + std::string(k_umlaut) + std::string(k_kanji) + std::string(k_clef) + "y");
    const std::string expected = std::string(k_head) + text + "\n";
    for (std::int64_t piece = 1; piece <= static_cast<std::int64_t>(text.size()) + 1; ++piece) {
        standalone::set_piece_size(piece);
        EXPECT_EQ(written(read(text).handle()), expected) << piece;
        EXPECT_EQ(stored(parsed(text)), expected) << piece;
    }
}

// Calls of the service for large objects while a text of that many bytes is parsed.
auto calls_for_text(std::size_t size) {
    const std::string text = in_root(std::string(size - in_root("").size(), 'x'));
    const std::uint32_t number = standalone::make_numbered_object(text);
    standalone::clear_faults();
    EXPECT_FALSE(sql::call(xml_dom_new_document_large_object, object(number)).failed());
    return standalone::calls_of(standalone::service::large_object);
}

TEST_F(large_objects, a_piece_is_read_at_a_time) {
    standalone::set_piece_size(10);
    const auto for_ten_pieces = calls_for_text(100);
    EXPECT_GE(for_ten_pieces, 10);
    EXPECT_EQ(calls_for_text(200), for_ten_pieces + 10);
}

TEST_F(large_objects, memory_is_the_text_and_a_piece) {
    const std::string text = in_root(std::string(4 * 1048576, 'x'));
    const auto before = standalone::memory_of(host::current_memory_context());
    EXPECT_FALSE(read(text).failed());
    const auto after = standalone::memory_of(host::current_memory_context());
    EXPECT_EQ(after.bytes - before.bytes, pkg_dbe_xml::k_handle_room);
}

TEST_F(large_objects, an_empty_object_is_no_document) {
    EXPECT_REPORT(read(""), reports::invalid_document);
    EXPECT_EQ(pkg_dbe_xml::xml_count_hashentries(), 0U);
}

TEST_F(large_objects, nulls_are_those_of_a_clob) {
    EXPECT_REPORT(sql::call(xml_dom_new_document_large_object, sql::null), reports::null_column);
    const sql::handle parser = sql::call(xmlparser_new_parser).handle();
    EXPECT_REPORT_WITH_HINT(sql::call(xmlparser_parse_large_object, parser, sql::null),
                            reports::null_not_allowed, "2");
    const std::uint32_t number = standalone::make_numbered_object("<a/>");
    EXPECT_TRUE(sql::call(xmlparser_parse_large_object, sql::null, object(number)).is_null());
    const sql::handle document = parsed("<a/>");
    for (const sql::function entry :
         {xml_dom_write_to_large_object_doc, xml_dom_write_to_large_object_node}) {
        EXPECT_TRUE(sql::call(entry, sql::null, object(number)).is_null());
        EXPECT_TRUE(sql::call(entry, sql::null).is_null());
        EXPECT_REPORT_WITH_HINT(sql::call(entry, document, sql::null), reports::null_not_allowed,
                                "2");
    }
    EXPECT_EQ(standalone::bytes_of_object(number), "<a/>");
    EXPECT_EQ(standalone::count_of_objects(), 1U);
}

TEST_F(large_objects, an_object_that_is_too_large_is_refused_before_it_is_read) {
    const std::uint32_t number = standalone::make_numbered_object("<a/>");
    standalone::set_object_size(number, std::int64_t{1} << 31);
    standalone::clear_faults();
    EXPECT_REPORT(sql::call(xml_dom_new_document_large_object, object(number)),
                  reports::text_too_large);
    const sql::handle parser = sql::call(xmlparser_new_parser).handle();
    EXPECT_REPORT(sql::call(xmlparser_parse_large_object, parser, object(number)),
                  reports::parser_text_too_large);
    EXPECT_EQ(standalone::calls_of(standalone::service::large_object), 4);
}

TEST_F(large_objects, an_object_that_does_not_exist) {
    const sql::handle document = parsed("<a/>");
    const std::string message = "large object 77 does not exist";
    expect_host_error(sql::call(xml_dom_new_document_large_object, 77), "42704", message);
    expect_host_error(sql::call(xml_dom_write_to_large_object_doc, document, 77), "42704", message);
}

TEST_F(large_objects, bytes_that_are_no_text) {
    constexpr std::string_view k_begins = "invalid byte sequence for encoding \"UTF8\": ";
    const struct {
        std::string bytes;
        std::string_view shown;
    } k_cases[] = {
        {"<a>\xFF</a>", "0xff 0x3c 0x2f 0x61"},
        {std::string("<a>\0</a>", 8), "0x00 0x3c 0x2f 0x61"},
        {"<a/>\xC3", "0xc3"},                           // the last character is cut
        {"<a>\xE6\x97</a>", "0xe6 0x97 0x3c 0x2f"},     // one in the middle is
        {"<a>\xED\xA0\x80</a>", "0xed 0xa0 0x80 0x3c"}, // half of a pair
        {"<a>\xC0\x80</a>", "0xc0 0x80 0x3c 0x2f"},     // longer than need be
    };
    for (const auto &bad : k_cases) {
        expect_host_error(read(bad.bytes), "22021", std::string(k_begins) + std::string(bad.shown));
        for (const std::int64_t piece : {1, 2, 3, 4, 5}) {
            standalone::set_piece_size(piece);
            const sql::result outcome = read(bad.bytes);
            ASSERT_TRUE(outcome.failed());
            EXPECT_EQ(outcome.error().sqlstate, "22021") << bad.bytes << " " << piece;
        }
        standalone::set_piece_size(0);
    }
    EXPECT_EQ(pkg_dbe_xml::xml_count_hashentries(), 0U);
}

// --- parser objects
// -------------------------------------------------------------------------------

TEST_F(large_objects, a_parser_reads_them) {
    const sql::handle parser = sql::call(xmlparser_new_parser).handle();
    const std::uint32_t number = standalone::make_numbered_object("<a> <b/> </a>");
    EXPECT_TRUE(sql::call(xmlparser_parse_large_object, parser, object(number)).is_null());
    EXPECT_EQ(written(sql::call(xmlparser_get_doc, parser).handle()),
              std::string(k_head) + "<a> <b/> </a>\n");
    EXPECT_EQ(sql::call(xmlparser_parse_large_object_returning, parser, object(number)).handle(),
              parser);
    const std::uint32_t bad = standalone::make_numbered_object("<a>");
    EXPECT_TRUE(sql::call(xmlparser_parse_large_object, parser, object(bad)).is_null());
    EXPECT_TRUE(sql::call(xmlparser_get_doc, parser).is_null());
    EXPECT_EQ(standalone::warnings().size(), 1U);
    standalone::warnings().clear();
    sql::call(xmlparser_free_parser, parser);
    EXPECT_REPORT(sql::call(xmlparser_parse_large_object, parser, object(number)),
                  reports::parser_not_found);
}

// --- writing
// --------------------------------------------------------------------------------------

TEST_F(large_objects, a_new_object_for_0_and_for_no_argument) {
    const sql::handle document = parsed("<a><b/></a>");
    const std::string text = std::string(k_head) + "<a>\n  <b/>\n</a>\n";
    const std::uint32_t first =
        object_of(sql::call(xml_dom_write_to_large_object_doc, document, 0));
    const std::uint32_t second = object_of(sql::call(xml_dom_write_to_large_object_doc, document));
    const std::uint32_t third = object_of(sql::call(xml_dom_write_to_large_object_node, document));
    EXPECT_NE(first, second);
    for (const std::uint32_t number : {first, second, third}) {
        EXPECT_EQ(standalone::bytes_of_object(number), text);
    }
    EXPECT_EQ(standalone::count_of_objects(), 3U);
}

TEST_F(large_objects, an_existing_object_is_replaced_whatever_it_held) {
    const std::string text = std::string(k_head) + "<a/>\n";
    for (const std::size_t size :
         {std::size_t{0}, std::size_t{3}, text.size(), std::size_t{5000}}) {
        const std::uint32_t number = standalone::make_numbered_object(std::string(size, '#'));
        EXPECT_EQ(
            object_of(sql::call(xml_dom_write_to_large_object_doc, parsed("<a/>"), object(number))),
            number);
        EXPECT_EQ(standalone::bytes_of_object(number), text) << size;
    }
}

TEST_F(large_objects, nodes_as_the_clob_functions_write_them) {
    const sql::handle document =
        parsed("<!DOCTYPE a><a b=\"1 &amp; 2\" e=\"\">x &lt; y<c/><!-- no --></a>");
    const sql::handle root = sql::call(xml_dom_get_document_element, document).handle();
    const sql::handle text = sql::call(xml_dom_get_first_child, root).handle();
    for (const sql::handle &node :
         {document, root, text, sql::call(xml_dom_get_attribute_node, root, "b").handle()}) {
        const std::uint32_t number =
            object_of(sql::call(xml_dom_write_to_large_object_node, node, 0));
        EXPECT_EQ(standalone::bytes_of_object(number),
                  sql::call(xml_dom_write_to_clob_node, node).text());
    }
    // What is null there is an empty object.
    const sql::handle empty = sql::call(xml_dom_get_attribute_node, root, "e").handle();
    EXPECT_TRUE(sql::call(xml_dom_write_to_clob_node, empty).is_null());
    const std::uint32_t number = standalone::make_numbered_object("old");
    EXPECT_EQ(object_of(sql::call(xml_dom_write_to_large_object_node, empty, object(number))),
              number);
    EXPECT_EQ(standalone::bytes_of_object(number), "");
}

TEST_F(large_objects, what_the_clob_functions_refuse) {
    const sql::handle document = parsed("<a><!-- c --></a>");
    const sql::handle root = sql::call(xml_dom_get_document_element, document).handle();
    const sql::handle comment = sql::call(xml_dom_get_first_child, root).handle();
    EXPECT_REPORT(sql::call(xml_dom_write_to_large_object_node, comment, 0),
                  reports::not_for_write_to_clob);
    EXPECT_REPORT(sql::call(xml_dom_write_to_large_object_doc, root, 0), reports::not_a_document);
    EXPECT_REPORT(sql::call(xml_dom_write_to_large_object_doc, sql::raw{{1, 2}}, 0),
                  reports::handle_not_found);
    sql::call(xml_dom_free_document, document);
    EXPECT_REPORT(sql::call(xml_dom_write_to_large_object_doc, document, 0),
                  reports::handle_not_found);
    EXPECT_REPORT(sql::call(xml_dom_write_to_large_object_node, root, 0),
                  reports::handle_not_found);
    EXPECT_EQ(standalone::count_of_objects(), 0U);
}

// XHTML is written by libxml2, after this library's own writer has written a part.
TEST_F(large_objects, a_document_that_libxml2_writes) {
    const sql::handle document =
        parsed("<!DOCTYPE html PUBLIC \"-//W3C//DTD XHTML 1.0 Strict//EN\" "
               "\"http://www.w3.org/TR/xhtml1/DTD/xhtml1-strict.dtd\"><html><body><p/>" +
               std::string(9000, 'x') + "</body></html>");
    for (const std::int64_t piece : {0, 1, 7, 4096}) {
        standalone::set_piece_size(piece);
        EXPECT_EQ(stored(document), written(document)) << piece;
    }
}

// Far into a text comes a node that is not for this library's writer: libxml2 begins again, and
// what the object was given already does not count.
TEST_F(large_objects, a_text_that_is_begun_again) {
    const sql::handle document = parsed("<a>" + std::string(9000, 'x') + "</a>");
    const sql::handle root = sql::call(xml_dom_get_document_element, document).handle();
    xmlNodePtr const node = trees::node_of(root);
    {
        const host::tree_scope scope;
        xmlNodePtr const fragment = xmlNewDocFragment(node->doc);
        fragment->parent = node;
        fragment->prev = node->last;
        node->last->next = fragment;
        node->last = fragment;
    }
    for (const std::int64_t piece : {0, 1, 7, 4096}) {
        standalone::set_piece_size(piece);
        EXPECT_EQ(stored(document), written(document)) << piece;
        const std::uint32_t number =
            object_of(sql::call(xml_dom_write_to_large_object_node, root, 0));
        EXPECT_EQ(standalone::bytes_of_object(number), "<a>" + std::string(9000, 'x') + "</a>");
    }
}

TEST_F(large_objects, long_texts_go_by_in_pieces) {
    std::string text = "<a>";
    for (int i = 0; i < 3000; ++i) {
        text += "<row number=\"" + std::to_string(i) + "\">" + std::string(k_kanji) + "</row>";
    }
    text += "<long>" + std::string(100000, '&').replace(0, 100000, std::string(100000, 'y')) +
            "</long></a>";
    const sql::handle document = parsed(text);
    const std::string expected = written(document);
    for (const std::int64_t piece : {0, 100, 4096, 5000, 65536}) {
        standalone::set_piece_size(piece);
        const auto before = standalone::memory_of(host::current_memory_context());
        const std::uint32_t number =
            object_of(sql::call(xml_dom_write_to_large_object_doc, document, 0));
        const auto after = standalone::memory_of(host::current_memory_context());
        EXPECT_EQ(after.bytes - before.bytes, 17U); // the argument
        standalone::set_piece_size(0);
        EXPECT_EQ(standalone::bytes_of_object(number), expected) << piece;
    }
}

// No text beyond 2 GiB is written, since it could not be read again.
TEST_F(large_objects, a_text_may_be_as_long_as_one_that_can_be_read) {
    constexpr std::size_t k_longest = 0x7FFFFFFF;
    constexpr std::size_t k_comments = 16;
    const sql::handle document = parsed("<a>x</a>");
    const sql::handle root = sql::call(xml_dom_get_document_element, document).handle();
    xmlNodePtr const node = trees::node_of(root);
    const std::size_t markup = std::string_view("<a>x</a>").size() + 7 * k_comments;
    // Long comments that share their text, and one for the rest.
    std::string text((k_longest - markup) / k_comments, 'c');
    std::string rest(k_longest - markup - (k_comments - 1) * text.size(), 'r');
    std::vector<xmlNodePtr> comments;
    for (std::size_t i = 0; i < k_comments; ++i) {
        const host::tree_scope scope;
        comments.push_back(xmlNewDocComment(node->doc, nullptr));
        comments.back()->content = reinterpret_cast<xmlChar *>((i == 0 ? rest : text).data());
        xmlAddChild(node, comments.back());
    }
    const std::uint32_t number = standalone::make_numbered_object("");
    standalone::keep_length_only(number);
    EXPECT_FALSE(sql::call(xml_dom_write_to_large_object_node, root, object(number)).failed());
    EXPECT_EQ(standalone::size_of_object(number), static_cast<std::int64_t>(k_longest));
    rest += '+';
    comments.front()->content = reinterpret_cast<xmlChar *>(rest.data());
    EXPECT_REPORT(sql::call(xml_dom_write_to_large_object_node, root, object(number)),
                  reports::over_two_gigabytes);
    for (xmlNodePtr const comment : comments) {
        comment->content = nullptr;
    }
}

TEST_F(large_objects, an_object_that_may_not_be_written) {
    const std::uint32_t number = standalone::make_numbered_object("old");
    standalone::forbid_writing(number);
    expect_host_error(sql::call(xml_dom_write_to_large_object_doc, parsed("<a/>"), object(number)),
                      "42501", "permission denied for large object 1");
    EXPECT_EQ(standalone::bytes_of_object(number), "old");
}

// --- encodings
// ------------------------------------------------------------------------------------

TEST_F(large_objects, bytes_are_in_the_encoding_of_the_database) {
    use_database_encoding("LATIN1");
    const std::string text = "<a b=\"\xE4\">\xFC\xDF</a>";
    for (const std::int64_t piece : {0, 1, 2, 3}) {
        standalone::set_piece_size(piece);
        const sql::handle document = read(text).handle();
        EXPECT_EQ(stored(document), std::string(k_head) + text + "\n");
    }
    expect_host_error(sql::call(xml_dom_write_to_large_object_doc,
                                sql::call(xml_dom_new_document_clob, "<a>&#9731;</a>").handle(), 0),
                      "22P05",
                      "character with byte sequence 0xe2 0x98 0x83 in encoding \"UTF8\" has no "
                      "equivalent in encoding \"LATIN1\"");
    expect_host_error(read(std::string("<a>\0</a>", 8)), "22021",
                      "invalid byte sequence for encoding \"LATIN1\": 0x00");
}

TEST_F(large_objects, characters_of_several_bytes_are_cut_and_converted) {
    use_database_encoding("EUC_JP");
    // Two and three bytes to a character, and one that begins like ASCII.
    const std::string text = in_root("\xC6\xFC\xCB\xDC\xB8\xEC\x8E\xB1\x8F\xB0\xA1x");
    for (std::int64_t piece = 1; piece <= 24; ++piece) {
        standalone::set_piece_size(piece);
        const sql::handle document = read(text).handle();
        EXPECT_EQ(stored(document), std::string(k_head) + text + "\n") << piece;
    }
    standalone::set_piece_size(0);
    expect_host_error(read("<a>\xC6\x20</a>"), "22021",
                      "invalid byte sequence for encoding \"EUC_JP\": 0xc6 0x20 0x3c 0x2f");
    expect_host_error(read("<a/>\xC6"), "22021",
                      "invalid byte sequence for encoding \"EUC_JP\": 0xc6");
}

TEST_F(large_objects, a_text_that_grows_when_it_is_converted) {
    use_database_encoding("LATIN1");
    const std::string text = in_root(std::string(300000, '\xE4'));
    standalone::set_piece_size(1000);
    const sql::handle document = read(text).handle();
    EXPECT_TRUE(stored(document) == std::string(k_head) + text + "\n");
    standalone::set_piece_size(0);
    EXPECT_TRUE(written(document) == std::string(k_head) + text + "\n");
}

TEST_F(large_objects, a_database_without_an_encoding_holds_utf8) {
    use_database_encoding("SQL_ASCII");
    const std::string text = in_root(std::string(k_kanji) + std::string(k_clef));
    for (const std::int64_t piece : {0, 1, 4, 5, 6}) {
        standalone::set_piece_size(piece);
        EXPECT_EQ(stored(read(text).handle()), std::string(k_head) + text + "\n") << piece;
    }
    standalone::set_piece_size(0);
    expect_host_error(read("<a>\xE4</a>"), "22021",
                      "invalid byte sequence for encoding \"UTF8\": 0xe4 0x3c 0x2f 0x61");
}

// --- failures
// -------------------------------------------------------------------------------------

// One call with every step of one service failing, in a database of one encoding.
struct swept_call {
    const char *name;
    sql::function entry;
    bool reads;
};

class large_object_failures
    : public ::testing::TestWithParam<std::tuple<swept_call, const char *>> {};

TEST_P(large_object_failures, leave_everything_as_it_was) {
    const swept_call row = std::get<0>(GetParam());
    const char *const encoding = std::get<1>(GetParam());
    sql::handle handle;
    std::uint32_t number = 0;
    sql::scenario played;
    played.name = row.name;
    played.database_encoding = encoding;
    played.prepare = [&] {
        standalone::set_piece_size(40);
        const std::string text = in_root(std::string(200, '\xE4'));
        const std::string utf8 = in_root("<b c=\"d\"/>text<!-- c -->" + std::string(150, 'x'));
        number =
            standalone::make_numbered_object(std::string_view(encoding) == "UTF8" ? utf8 : text);
        handle = row.entry == xmlparser_parse_large_object
                     ? sql::call(xmlparser_new_parser).handle()
                     : sql::call(xml_dom_new_document_clob, row.reads ? "<o/>" : utf8).handle();
    };
    played.run = [&] {
        return row.entry == xml_dom_new_document_large_object
                   ? sql::call(row.entry, object(number))
                   : sql::call(row.entry, handle, object(number));
    };
    played.state = [&] {
        EXPECT_EQ(standalone::open_objects(), 0U);
        return std::to_string(pkg_dbe_xml::xml_count_hashentries());
    };
    played.shown = [&](const sql::result &outcome) {
        return (outcome.is_null() ? "null" : "value") + standalone::bytes_of_object(number);
    };
    sql::sweep_figures all;
    for (const standalone::service which :
         {standalone::service::large_object, standalone::service::allocation,
          standalone::service::conversion, standalone::service::poll}) {
        if (which == standalone::service::conversion && std::string_view(encoding) == "UTF8") {
            continue;
        }
        const sql::sweep_figures figures = sql::sweep_failures(played, which);
        EXPECT_GT(figures.reported, 0) << static_cast<int>(which);
        all += figures;
    }
    std::printf("             %lld injected, %lld reported, %lld harmless\n",
                static_cast<long long>(all.rounds), static_cast<long long>(all.reported),
                static_cast<long long>(all.harmless));
}

INSTANTIATE_TEST_SUITE_P(
    calls, large_object_failures,
    ::testing::Combine(
        ::testing::Values(swept_call{"read", xml_dom_new_document_large_object, true},
                          swept_call{"parse", xmlparser_parse_large_object, true},
                          swept_call{"write document", xml_dom_write_to_large_object_doc, false},
                          swept_call{"write node", xml_dom_write_to_large_object_node, false}),
        ::testing::Values("UTF8", "LATIN1")),
    [](const auto &row) { return "case_" + std::to_string(row.index); });

TEST_F(large_objects, an_object_shorter_than_it_says_ends_the_session) {
    const std::uint32_t number = standalone::make_numbered_object("<a/>");
    standalone::fail_call(standalone::service::missing_slice, 1);
    const sql::result outcome = sql::call(xml_dom_new_document_large_object, object(number));
    ASSERT_TRUE(outcome.failed());
    EXPECT_EQ(outcome.error().sqlstate, "29003");
    standalone::clear_faults();
}

} // namespace
