// Large values: reading them in slices, building texts from pieces, and the text of an argument
// for parsing.
#include "host/encoding.hpp"
#include "host/lob.hpp"
#include "parse/parse_text.hpp"
#include "standalone_faults.hpp"
#include "standalone_session.hpp"
#include "support/sql.hpp"
#include "text/large_values.hpp"
#include "text/text_limits.hpp"

#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

namespace standalone = host::standalone;

// What the calls below work on: too long for arguments, or not for SQL at all.
namespace {
struct {
    const char *source = nullptr;
    std::int64_t length = 0;
    char *destination = nullptr;
} t_copy;
} // namespace

// (): the text of t_copy as a value.
PKG_DBE_XML_FUNCTION(copy_to_lob) {
    return host::from_pointer(pkg_dbe_xml::copy_flat_buffer_to_lob(t_copy.length, t_copy.source));
}
// (large value): copies it to t_copy.
PKG_DBE_XML_FUNCTION(copy_from_lob) {
    pkg_dbe_xml::copy_lob_to_flat_buffer(call.value(0), t_copy.length, t_copy.destination);
    return 0;
}
// (text): whether it is read where it lies, and the text that would be parsed.
PKG_DBE_XML_FUNCTION(read_in_place) {
    const pkg_dbe_xml::parse_text text(call.value(0), reports::text_too_large);
    const auto *const value = reinterpret_cast<const char *>(call.value(0));
    return host::from_boolean(text.bytes() >= value && text.bytes() <= value + 8);
}
PKG_DBE_XML_FUNCTION(read_for_parsing) {
    const pkg_dbe_xml::parse_text text(call.value(0), reports::text_too_large);
    return host::from_pointer(host::cstring_to_text_with_length(text.bytes(), text.size()));
}

namespace {

constexpr std::int64_t k_piece = 0x3FFFFE00;

class large_values : public sql::session_test {
  protected:
    sql::result build(const std::string &text) {
        t_copy = {text.data(), static_cast<std::int64_t>(text.size()), nullptr};
        return sql::call(copy_to_lob);
    }
    // Copies `length` bytes and counts the slices; the bytes behind stay as they were.
    std::string read(const std::string &text, std::int64_t length, std::int64_t &slices) {
        std::string destination(text.size() + 8, '#');
        t_copy = {nullptr, length, destination.data()};
        standalone::clear_faults();
        EXPECT_FALSE(sql::call(copy_from_lob, sql::large_text{text}).failed());
        slices = standalone::calls_of(standalone::service::slice);
        return destination;
    }
};

std::string pattern(std::size_t size) {
    std::string text(size, ' ');
    for (std::size_t i = 0; i < size; ++i) {
        text[i] = static_cast<char>('a' + i % 26);
    }
    return text;
}

// --- building ---------------------------------------------------------------------------------

TEST_F(large_values, empty_text_is_a_header_alone) {
    const sql::result empty = build("");
    EXPECT_EQ(empty.text(), "");
    EXPECT_EQ(empty.stored_bytes(), std::string("\x10\0\0\0", 4));
}

TEST_F(large_values, negative_length_is_reported) {
    for (const std::int64_t length : {std::int64_t{-1}, std::int64_t{-4}, INT64_MIN}) {
        t_copy = {"", length, nullptr};
        EXPECT_REPORT(sql::call(copy_to_lob), reports::piece_length_negative, "2");
    }
}

TEST_F(large_values, text_of_any_number_of_pieces) {
    standalone::set_piece_size(10);
    EXPECT_EQ(pkg_dbe_xml::longest_value(), 521);
    for (const std::size_t size :
         {0U, 1U, 9U, 10U, 11U, 19U, 20U, 21U, 516U, 517U, 518U, 520U, 530U, 531U, 1999U}) {
        const std::string text = pattern(size);
        const sql::result value = build(text);
        EXPECT_EQ(value.text(), text) << size;
        EXPECT_EQ(value.stored_bytes().size(), size + 4);
    }
}

TEST_F(large_values, pieces_are_given_back) {
    standalone::set_piece_size(100);
    const std::string text = pattern(20000);
    const auto before = standalone::memory_of(host::current_memory_context());
    EXPECT_EQ(build(text).text(), text);
    const auto after = standalone::memory_of(host::current_memory_context());
    EXPECT_EQ(after.blocks - before.blocks, 1U);
    EXPECT_EQ(after.bytes - before.bytes, 20004U);
}

// Between pieces, and within a piece that is long; nothing stays of what was built.
TEST_F(large_values, building_stops) {
    standalone::set_piece_size(1000);
    const std::string text = pattern(20000);
    const std::int64_t before = standalone::poll_count();
    EXPECT_EQ(build(text).text(), text);
    EXPECT_GE(standalone::poll_count() - before, 19);
    standalone::set_piece_size(0);
    const std::string long_text(100 << 20, 'x');
    const std::int64_t before_long = standalone::poll_count();
    EXPECT_EQ(build(long_text).text(), long_text);
    EXPECT_GE(standalone::poll_count() - before_long, 6);
    const auto blocks = [] { return standalone::memory_of(host::current_memory_context()).blocks; };
    const std::size_t held = blocks();
    for (const std::string *const of : {&text, &long_text}) {
        standalone::set_piece_size(of == &text ? 1000 : 0);
        for (const int at : {1, 2, 5}) {
            standalone::cancel_after_polls(at);
            const sql::result stopped = build(*of);
            standalone::forget_cancel();
            EXPECT_TRUE(stopped.failed());
            EXPECT_EQ(stopped.error().sqlstate, "57014");
            EXPECT_EQ(blocks(), held) << at;
        }
    }
}

// --- reading in slices ------------------------------------------------------------------------

TEST_F(large_values, read_in_slices_of_the_piece_size) {
    standalone::set_piece_size(10);
    const struct {
        std::size_t size;
        std::int64_t slices;
    } k_cases[] = {{0, 0}, {1, 1}, {9, 1}, {10, 1}, {11, 2}, {20, 2}, {21, 3}, {101, 11}};
    for (const auto &expected : k_cases) {
        const std::string text = pattern(expected.size);
        std::int64_t slices = -1;
        EXPECT_EQ(read(text, static_cast<std::int64_t>(text.size()), slices), text + "########");
        EXPECT_EQ(slices, expected.slices) << expected.size;
    }
}

TEST_F(large_values, no_length_copies_nothing) {
    for (const std::int64_t length : {std::int64_t{0}, std::int64_t{-1}, INT64_MIN}) {
        std::int64_t slices = -1;
        EXPECT_EQ(read("text", length, slices), "############");
        EXPECT_EQ(slices, 0);
    }
}

TEST_F(large_values, only_the_length_asked_for_is_copied) {
    standalone::set_piece_size(4);
    std::int64_t slices = -1;
    EXPECT_EQ(read("0123456789", 6, slices), "012345############");
    EXPECT_EQ(slices, 2);
}

TEST_F(large_values, slice_that_cannot_be_read_ends_the_session) {
    char destination[8] = {};
    t_copy = {nullptr, 4, destination};
    standalone::fail_call(standalone::service::missing_slice, 1);
    const sql::result outcome = sql::call(copy_from_lob, sql::large_text{"text"});
    ASSERT_TRUE(outcome.failed());
    const sql::error &error = outcome.error();
    EXPECT_EQ(error.report_id, 90060);
    EXPECT_EQ(error.level, 21);
    EXPECT_EQ(error.sqlstate, "29003");
    EXPECT_NE(error.message.find("Failed on assertion in "), std::string::npos) << error.message;
    EXPECT_NE(error.message.find("VARATT_IS_1B_E PTR is null."), std::string::npos);
    EXPECT_EQ(error.cause, "This is an internal error.");
    EXPECT_EQ(error.action, "Please check pointer is valid or not.");
    EXPECT_TRUE(standalone::session_terminated());
}

TEST_F(large_values, value_shorter_than_it_says_ends_the_session) {
    char destination[16] = {};
    t_copy = {nullptr, 10, destination};
    const sql::result outcome = sql::call(copy_from_lob, sql::large_text{"text"});
    ASSERT_TRUE(outcome.failed());
    EXPECT_EQ(outcome.error().report_id, 90060);
    EXPECT_STREQ(destination, "text");
}

TEST_F(large_values, failing_slice_is_the_error_of_the_host) {
    standalone::set_piece_size(4);
    char destination[16] = {};
    t_copy = {nullptr, 10, destination};
    for (const std::int64_t at : {1, 2, 3}) {
        standalone::fail_call(standalone::service::slice, at);
        const sql::result outcome = sql::call(copy_from_lob, sql::large_text{"0123456789"});
        ASSERT_TRUE(outcome.failed());
        EXPECT_EQ(outcome.error().sqlstate, "58030");
    }
    standalone::clear_faults();
}

// The sizes at which a second piece begins, as they are.
TEST_F(large_values, true_piece_size) {
    EXPECT_EQ(host::piece_size(), k_piece);
    EXPECT_EQ(pkg_dbe_xml::longest_value(), 0x3FFFFFFF);
    const std::unique_ptr<char, decltype(&std::free)> memory(
        static_cast<char *>(std::malloc(k_piece + 2)), &std::free);
    ASSERT_NE(memory, nullptr);
    for (const std::int64_t size : {k_piece, k_piece + 1}) {
        const sql::value value =
            sql::value::of_datum(standalone::make_filled_large_text(size, "begin", 'x', "end"));
        memory.get()[size] = '#';
        t_copy = {nullptr, size, memory.get()};
        standalone::clear_faults();
        EXPECT_FALSE(sql::call(copy_from_lob, value).failed());
        EXPECT_EQ(standalone::calls_of(standalone::service::slice), size == k_piece ? 1 : 2);
        EXPECT_EQ(std::string_view(memory.get(), 7), "beginxx");
        EXPECT_EQ(std::string_view(memory.get() + size - 5, 6), "xxend#");
        EXPECT_EQ(memory.get()[k_piece - 8], 'x');
    }
    t_copy = {memory.get(), k_piece + 1, nullptr};
    const sql::result built = sql::call(copy_to_lob);
    ASSERT_FALSE(built.failed());
    const std::string_view text =
        host::text_view(reinterpret_cast<const host::varlena *>(built.datum()));
    EXPECT_EQ(text.size(), static_cast<std::size_t>(k_piece) + 1);
    EXPECT_EQ(text.substr(0, 6), "beginx");
    EXPECT_EQ(text.substr(text.size() - 4), "xend");
}

// --- the text of an argument ------------------------------------------------------------------

TEST_F(large_values, text_is_read_where_it_lies) {
    EXPECT_TRUE(sql::call(read_in_place, "<a/>").boolean());
    const std::string text = "<a>" + pattern(100000) + "</a>";
    EXPECT_TRUE(sql::call(read_in_place, text).boolean());
    EXPECT_EQ(sql::call(read_for_parsing, text).text(), text);
    const sql::value brief = sql::value::of_datum(standalone::make_short_text("<a/>"));
    EXPECT_TRUE(sql::call(read_in_place, brief).boolean());
    EXPECT_EQ(sql::call(read_for_parsing, brief).text(), "<a/>");
}

TEST_F(large_values, text_kept_elsewhere_is_fetched_and_given_back) {
    const std::string text = "<a>" + pattern(5000) + "</a>";
    const sql::value stored = sql::value::of_datum(standalone::make_stored_text(text));
    EXPECT_EQ(sql::call(read_for_parsing, stored).text(), text);
    const auto before = standalone::memory_of(host::current_memory_context());
    EXPECT_FALSE(sql::call(read_in_place, stored).boolean());
    EXPECT_EQ(standalone::memory_of(host::current_memory_context()).bytes, before.bytes);
}

TEST_F(large_values, large_value_is_read_in_slices_and_given_back) {
    standalone::set_piece_size(10);
    const std::string text = "<a>" + pattern(95) + "</a>";
    EXPECT_EQ(sql::call(read_for_parsing, sql::large_text{text}).text(), text);
    EXPECT_EQ(sql::call(read_for_parsing, sql::large_text{""}).text(), "");
    const sql::value large = sql::value::of_datum(standalone::make_large_text(text));
    const auto before = standalone::memory_of(host::current_memory_context());
    EXPECT_FALSE(sql::call(read_in_place, large).boolean());
    EXPECT_EQ(standalone::memory_of(host::current_memory_context()).bytes, before.bytes);
}

TEST_F(large_values, text_ends_at_a_zero_byte) {
    EXPECT_EQ(sql::call(read_for_parsing, std::string("<a/>\0<b/>", 9)).text(), "<a/>");
    const sql::large_text large{std::string("<a/>\0<b/>", 9)};
    EXPECT_EQ(sql::call(read_for_parsing, large).text(), "<a/>");
}

TEST_F(large_values, text_is_converted_from_the_database_encoding) {
    use_database_encoding("LATIN1");
    const std::string latin = "<a>\xE4\xF6</a>";
    const std::string utf8 = "<a>\xC3\xA4\xC3\xB6</a>";
    standalone::set_piece_size(3);
    for (const sql::value &value : {sql::value(latin), sql::value(sql::large_text{latin})}) {
        // What leaves read_for_parsing is taken for a text in the database encoding.
        EXPECT_EQ(sql::call(read_for_parsing, value).text(), utf8);
    }
    EXPECT_FALSE(sql::call(read_in_place, "<a>\xE4</a>").boolean());
}

TEST_F(large_values, text_that_is_not_valid_in_the_database_encoding) {
    use_database_encoding("EUC_JP");
    const sql::result outcome = sql::call(read_for_parsing, "<a>\xA4</a>");
    ASSERT_TRUE(outcome.failed());
    EXPECT_EQ(outcome.error().sqlstate, "22021");
    const sql::result large = sql::call(read_for_parsing, sql::large_text{"<a>\xA4</a>"});
    ASSERT_TRUE(large.failed());
    EXPECT_EQ(large.error().sqlstate, "22021");
    EXPECT_EQ(sql::call(read_for_parsing, "<a>\xA4\xA2</a>").text(), "<a>\xE3\x81\x82</a>");
}

TEST_F(large_values, longest_text_is_read_and_one_byte_more_is_refused) {
    const sql::value longer = sql::value::of_datum(
        standalone::make_filled_large_text(pkg_dbe_xml::k_longest_text + 1, "<a/>", ' ', ""));
    standalone::clear_faults();
    EXPECT_REPORT(sql::call(read_in_place, longer), reports::text_too_large);
    EXPECT_EQ(standalone::calls_of(standalone::service::slice), 0);
    // The reading is stopped at the first slice: all of it would take seconds.
    const sql::value longest = sql::value::of_datum(
        standalone::make_filled_large_text(pkg_dbe_xml::k_longest_text, "<a/>", ' ', ""));
    standalone::fail_call(standalone::service::slice, 1);
    const sql::result outcome = sql::call(read_in_place, longest);
    ASSERT_TRUE(outcome.failed());
    EXPECT_EQ(outcome.error().sqlstate, "58030");
    EXPECT_EQ(standalone::calls_of(standalone::service::slice), 1);
}

} // namespace
