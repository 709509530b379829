// Streams: limits, failures of every service, requests to stop, long tokens.
#include "standalone_faults.hpp"
#include "stream_reports.hpp"
#include "streams.hpp"
#include "support/invariants.hpp"
#include "support/overlooked_losses.hpp"
#include "support/sql.hpp"

#include "host/limits.hpp"
#include "libxml/xml.hpp"
#include "stream/stream_table.hpp"

#include <string>
#include <utility>
#include <vector>

namespace {

using sql::call;
using streams::open;
using streams::read;
using streams::read_text;

class stream_bounds : public sql::session_test {
  protected:
    void SetUp() override {
        sql::session_test::SetUp();
        limits_ = host::parse_limits;
    }
    void TearDown() override {
        host::parse_limits = limits_;
        EXPECT_TRUE(sql::check_invariants());
        sql::session_test::TearDown();
    }
    // The records that came out, and the words of the failure behind them.
    static std::pair<std::size_t, std::string> failure(std::string_view text) {
        const sql::handle stream = open("//r");
        call(xmlparser_feed_text, stream, text);
        std::pair<std::size_t, std::string> found;
        for (;;) {
            const sql::result record = call(xmlparser_next_record, stream);
            if (record.failed()) {
                const std::string &context = record.error().context;
                found.second = context.substr(context.find("records: ") + 9);
                break;
            }
            if (record.is_null()) {
                break;
            }
            ++found.first;
            call(xml_dom_free_document, record.handle());
        }
        call(xmlparser_close_stream, stream);
        host::standalone::reset_caller_context();
        return found;
    }
    static std::string limit(std::string_view name) {
        return "the limit of the setting pkg_dbe_xml." + std::string(name) + " was reached";
    }

  private:
    host::parse_limit_settings limits_;
};

using counted = std::pair<std::size_t, std::string>;

std::string repeated(std::string_view text, std::size_t count) {
    std::string all;
    all.reserve(text.size() * count);
    for (std::size_t number = 0; number < count; ++number) {
        all += text;
    }
    return all;
}

// --- limits -------------------------------------------------------------------------------------

TEST_F(stream_bounds, memory_is_bounded_for_each_record) {
    host::parse_limits.budget_base = 256;
    host::parse_limits.budget_factor = 1;
    // 8,000 records of 50 bytes take much more than the budget together, none does alone.
    EXPECT_EQ(failure("<f>" + repeated("<r><a><b><c>t</c></b></a><x y='z'/></r>", 8000) + "</f>"),
              counted(8000, ""));
    EXPECT_EQ(failure("<f><r/><r/><r>" + repeated("<a/>", 20000) + "</r></f>"),
              counted(2, limit("parse_budget_base")));
    EXPECT_EQ(failure("<r>" + repeated("<a/>", 20000) + "</r>"),
              counted(0, limit("parse_budget_base")));
}

TEST_F(stream_bounds, entities_are_bounded_for_each_record) {
    host::parse_limits.budget_base = 256;
    host::parse_limits.budget_factor = 1;
    const std::string type = "<!DOCTYPE f [<!ENTITY a '" + repeated("<x/>", 20) + "'><!ENTITY b '" +
                             repeated("&a;", 20) + "'><!ENTITY c '" + repeated("&b;", 20) + "'>]>";
    EXPECT_EQ(failure(type + "<f><r/><r>&a;</r><r>&c;</r></f>"),
              counted(2, limit("parse_budget_base")));
    // What each record may take is not what all of them may.
    const counted many = failure(type + "<f>" + repeated("<r>&b;</r>", 20000) + "</f>");
    EXPECT_EQ(many.second, limit("parse_budget_base"));
    EXPECT_GT(many.first, 2U);
    EXPECT_LT(many.first, 1000U);
}

TEST_F(stream_bounds, depth_is_bounded) {
    host::parse_limits.max_depth = 10;
    EXPECT_EQ(failure("<f><r><a><a><a><a><a><a><a><a/></a></a></a></a></a></a></a></r></f>"),
              counted(1, ""));
    EXPECT_EQ(failure("<f><r/><r><a><a><a><a><a><a><a><a><a/></a></a></a></a></a></a></a></a></r>"),
              counted(1, limit("max_depth")));
    EXPECT_EQ(failure("<f><r/>" + repeated("<a>", 11)), counted(1, limit("max_depth")));
}

TEST_F(stream_bounds, levels_of_any_number_are_known) {
    constexpr int k_levels = 2000; // later versions of libxml2 themselves take 2048
    host::parse_limits.max_depth = 3000;
    EXPECT_EQ(
        failure(repeated("<a xmlns:p='u'>", k_levels) + "<r p:x=''/>" + repeated("</a>", k_levels)),
        counted(1, ""));
}

TEST_F(stream_bounds, names_are_bounded_for_the_stream) {
    host::parse_limits.budget_base = 512;
    std::string text = "<f>";
    for (int number = 0; number < 60000; ++number) {
        text += "<r><name" + std::to_string(number) + "/></r>";
    }
    const counted found = failure(text + "</f>");
    EXPECT_EQ(found.second, limit("parse_budget_base"));
    EXPECT_GT(found.first, 1000U);
}

TEST_F(stream_bounds, attributes_of_a_tag_are_counted_before_they_are_compared) {
    std::string tag = "<r";
    for (int number = 0; number < 2'000'000; ++number) {
        tag += " a" + std::to_string(number) + "=''";
    }
    EXPECT_EQ(failure("<f><r/>" + tag + "/></f>"), counted(1, limit("max_attributes")));
    host::parse_limits.max_attributes = 3;
    EXPECT_EQ(failure("<f><r a='' b='' c=''/><r a='' b='' c='' d=''/></f>"),
              counted(1, limit("max_attributes")));
}

TEST_F(stream_bounds, document_types_are_short) {
    const std::string words =
        "the document type declaration is longer than 65536 bytes, which a stream does not take";
    EXPECT_EQ(failure("<!DOCTYPE f [" + repeated("<!ENTITY e 'v'>", 1000) + "]><f><r>&e;</r></f>"),
              counted(1, ""));
    EXPECT_EQ(failure("<!DOCTYPE f [" + repeated("<!ENTITY e 'v'>", 20000) + "]><f/>"),
              counted(0, words));
    EXPECT_EQ(failure("<!DOCTYPE f [<!ATTLIST a b (" + repeated("c|", 1000000) + "c) #IMPLIED>]>"),
              counted(0, words));
}

TEST_F(stream_bounds, the_session_is_bounded) {
    const int before = std::exchange(host::max_session_memory, 4096);
    const sql::handle stream = open("//r");
    EXPECT_REPORT(call(xmlparser_feed_text, stream, std::string(5'000'000, ' ')),
                  reports::session_memory_full);
    EXPECT_FALSE(call(xmlparser_feed_text, stream, std::string(2'000'000, ' ')).failed());
    EXPECT_REPORT(call(xmlparser_feed_text, stream, std::string(3'000'000, ' ')),
                  reports::session_memory_full);
    EXPECT_TRUE(call(xmlparser_next_record, stream).is_null());
    EXPECT_FALSE(call(xmlparser_feed_text, stream, std::string(3'000'000, ' ')).failed());
    call(xmlparser_close_stream, stream);
    EXPECT_EQ(failure("<f><r/><r>" + repeated("<abcdef/>", 100'000) + "</r></f>"),
              counted(1, limit("max_session_memory")));
    host::max_session_memory = before;
    host::prepare_gate();
}

// --- long tokens --------------------------------------------------------------------------------

TEST_F(stream_bounds, long_tokens_come_whole) {
    const std::string megabyte(1'000'000, 'x');
    const std::string tricky = repeated("<a b='>' c=\"'/-->?>", 50'000);
    EXPECT_EQ(failure("<f><!--" + repeated("-> ?> <a b='", 100'000) + "--><r/></f>"),
              counted(1, ""));
    EXPECT_EQ(failure("<f><?p " + repeated("--> ? > <a b='", 100'000) + "?><r/></f>"),
              counted(1, ""));
    EXPECT_EQ(read_text("//r", "<f><r a='" + megabyte + "'/><r/></f>"),
              "<r a=\"" + megabyte + "\"/>|<r/>|");
    EXPECT_EQ(read_text("//r", "<f><r>" + megabyte + "</r></f>"), "<r>" + megabyte + "</r>|");
    EXPECT_EQ(read_text("//r", "<f><r><![CDATA[" + tricky + "]]></r></f>"),
              "<r><![CDATA[" + tricky + "]]></r>|");
    EXPECT_EQ(failure("<f><r a=\"" + repeated(">='--", 100'000) + "\"/></f>"), counted(1, ""));
    EXPECT_EQ(failure("<f><r><![CDATA[" + repeated("a='b=\"=", 50'000) + "]]></r></f>"),
              counted(1, ""));
}

TEST_F(stream_bounds, long_tokens_may_come_in_small_pieces) {
    const std::string value = repeated("0123456789", 30'000);
    const std::string text = "<f><r a='" + value + "'/><!--" + value + "--><r/></f>";
    std::vector<std::string> pieces;
    for (std::size_t place = 0; place < text.size(); place += 997) {
        pieces.push_back(text.substr(place, 997));
    }
    EXPECT_EQ(streams::shown(read(open("//r"), pieces)), "<r a=\"" + value + "\"/>|<r/>|");
}

// libxml2 looks back over what is unfinished each time it is given more.
TEST_F(stream_bounds, the_work_of_a_long_token_is_linear) {
    const auto pieces_of = [](std::size_t size) {
        const sql::handle stream = open("//r");
        call(xmlparser_feed_text, stream, "<f><!--" + std::string(size, 'x') + "--></f>");
        const std::int64_t before = host::standalone::poll_count();
        EXPECT_TRUE(call(xmlparser_next_record, stream).is_null());
        EXPECT_TRUE(call(xmlparser_is_complete, stream).boolean());
        call(xmlparser_close_stream, stream);
        return host::standalone::poll_count() - before;
    };
    // A look at requests to stop goes with each piece: their number grows with the logarithm.
    EXPECT_LT(pieces_of(8'000'000), pieces_of(1'000'000) + 40);
}

// Memory does not grow with the text.
TEST_F(stream_bounds, nothing_is_kept_of_what_was_read) {
    const sql::handle stream = open("/f/r");
    call(xmlparser_feed_text, stream, "<f xmlns:p='u'>");
    const std::string piece =
        repeated("\n <p:x a='b'>t<!--c--></p:x><r k='1'><p:a>v</p:a></r>&amp; t", 200);
    std::int64_t settled = 0;
    for (int round = 0; round < 50; ++round) {
        call(xmlparser_feed_text, stream, piece);
        streams::outcome found;
        streams::take_records(stream, found);
        EXPECT_EQ(found.records.size(), 200U);
        host::standalone::reset_caller_context();
        if (round == 10) {
            settled = host::gate.bytes_in_use;
        }
    }
    EXPECT_LE(host::gate.bytes_in_use, settled + 20'000);
    call(xmlparser_close_stream, stream);
}

// --- failures -----------------------------------------------------------------------------------

constexpr std::string_view k_text =
    "<!DOCTYPE f [<!ENTITY e '<x>v</x>'><!ATTLIST r d CDATA 'dd' i ID #IMPLIED>]>"
    "<f xmlns:p='u' xml:base='http://h/'><g xmlns:q='w' xml:base='a'><r p:b='c' q:d='' i='k'>"
    "t&e;<![CDATA[s]]><!--c--></r></g><r>&e;</r></f>";

// A whole stream; what it gave, and the SQLSTATE that ended it.
std::string play(bool as_bytes) {
    const sql::result opened = call(xmlparser_open_stream, "//r", sql::null, true, 0);
    if (opened.failed()) {
        return opened.error().sqlstate;
    }
    const sql::result fed =
        call(as_bytes ? xmlparser_feed_bytes : xmlparser_feed_text, opened.handle(), k_text);
    std::string all = fed.failed() ? fed.error().sqlstate : "";
    while (!fed.failed()) {
        const sql::result record = call(xmlparser_next_record, opened.handle());
        if (record.failed() || record.is_null()) {
            all += record.failed() ? record.error().sqlstate : "";
            break;
        }
        const host::standalone::fault_pause pause;
        all += call(xmldom_to_text, record.handle()).text() + "|";
    }
    const host::standalone::fault_pause pause;
    call(xmlparser_close_stream, opened.handle());
    EXPECT_EQ(pkg_dbe_xml::count_streams(), 0U);
    return all;
}

// What libxml2 loses of its own when it is refused memory while it copies an entity.
constexpr std::int64_t k_libxml2_may_lose = 4096;

// Plays the stream with the n-th call of a service failing, in a session of its own: what came out
// before is right, the failure is told of, and nothing is left.
void sweep(host::standalone::service which, bool as_bytes, std::string_view sqlstate) {
    std::string whole;
    for (std::int64_t at = 0, met = 1; met != 0; ++at) {
        SCOPED_TRACE(at);
        const sql::losses_overlooked overlooked;
        host::standalone::begin_session();
        host::standalone::fail_call(which, at);
        const std::string found = play(as_bytes);
        met = at == 0 ? 1 : host::standalone::faults_of(which);
        host::standalone::clear_faults();
        host::standalone::forget_cancel();
        EXPECT_TRUE(sql::check_invariants());
        whole = at == 0 ? found : whole;
        const std::size_t good = found.rfind('|') == std::string::npos ? 0 : found.rfind('|') + 1;
        if (found != whole) {
            EXPECT_EQ(found.substr(good), sqlstate);
            EXPECT_EQ(whole.substr(0, good), found.substr(0, good));
        }
        host::standalone::session_remains remains = host::standalone::end_session();
        if (remains.libxml2_bytes <= k_libxml2_may_lose && at != 0) {
            remains.libxml2_bytes = 0;
        }
        ASSERT_TRUE(remains.nothing()) << remains.libxml2_bytes << " " << remains.host_blocks;
        ASSERT_FALSE(::testing::Test::HasFailure()) << found;
    }
    EXPECT_NE(whole.find("|"), std::string::npos);
}

TEST(stream_failures, memory_of_the_host_at_every_allocation) {
    sweep(host::standalone::service::allocation, false, "53200");
    sweep(host::standalone::service::allocation, true, "53200");
}

TEST(stream_failures, memory_of_libxml2_at_every_allocation) {
    sweep(host::standalone::service::libxml2_allocation, false, "53200");
    sweep(host::standalone::service::libxml2_allocation, true, "53200");
}

TEST(stream_failures, a_request_to_stop_at_every_look) {
    sweep(host::standalone::service::poll, false, "57014");
    sweep(host::standalone::service::poll, true, "57014");
}

// A stream in the middle of whose text a statement was stopped has no more records.
TEST_F(stream_bounds, stopped_in_the_middle_it_has_ended) {
    const sql::handle stream = open("//r");
    call(xmlparser_feed_text, stream, "<f><r>" + repeated("<a>t</a>", 200) + "</r><r/></f>");
    host::standalone::cancel_after_polls(3);
    const sql::result stopped = call(xmlparser_next_record, stream);
    ASSERT_TRUE(stopped.failed());
    EXPECT_EQ(stopped.error().sqlstate, "57014");
    EXPECT_REPORT(call(xmlparser_next_record, stream), reports::stream_stopped);
    EXPECT_FALSE(call(xmlparser_is_complete, stream).boolean());
}

} // namespace
