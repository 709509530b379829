// One node with nearly all of the text in it, parsed and written, and told to stop at the first,
// the second, the fourth, ... place where the call looks whether it is to: it ends there, and
// nothing that it made stays.
//
// With PKG_DBE_XML_LONG_NODE the nodes have so many megabytes, and it is printed how long a call
// took to end that another thread told to stop.
#include "libxml/xml.hpp"
#include "standalone_session.hpp"
#include "support/invariants.hpp"
#include "support/sql.hpp"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ostream>
#include <string>
#include <string_view>
#include <thread>

namespace {

namespace standalone = host::standalone;
using std::chrono::steady_clock;

struct shape {
    const char *name, *before, *after;
    bool is_written_by_libxml2 = false; // as the document type is, which is seldom long
};
constexpr shape k_shapes[] = {
    {"text", "<a>", "</a>"},
    {"attribute", "<a b='", "'/>"},
    {"comment", "<a><!--", "--></a>"},
    {"section", "<a><![CDATA[", "]]></a>"},
    {"instruction", "<a><?p ", "?></a>"},
    {"document_type_comment", "<!DOCTYPE a [<!--", "-->]><a/>", true},
    {"document_type_entity", "<!DOCTYPE a [<!ENTITY e '", "'>]><a/>", true},
};

// 0 when it is not asked for.
int asked_megabytes() {
    const char *const asked = std::getenv("PKG_DBE_XML_LONG_NODE");
    return asked == nullptr ? 0 : std::max(std::atoi(asked), 1);
}

constexpr int k_megabytes = 3;

std::string long_document(const shape &made) {
    constexpr std::string_view k_piece = "text of a long node ";
    const std::size_t size =
        std::size_t{1024} * 1024U *
        static_cast<std::size_t>(asked_megabytes() == 0 ? k_megabytes : asked_megabytes());
    std::string text = made.before;
    text.reserve(size + 100);
    while (text.size() < size) {
        text += k_piece;
    }
    return text + made.after;
}

void PrintTo(const shape &printed, std::ostream *out) { *out << printed.name; }

class long_nodes : public sql::session_test, public ::testing::WithParamInterface<shape> {
  protected:
    // What a call made comes to nothing: kept as little as possible between two calls.
    template <class Action> static sql::result forgetful(Action action) {
        sql::result outcome = action();
        standalone::reset_caller_context();
        return outcome;
    }

    // Plays a call to its end, which looks so many times at least, then stops it at some of the
    // places where it looks. `settle` gives back what a call made; afterwards libxml2 holds what it
    // held before.
    template <class Action, class Settle>
    void stop_at_looks(std::int64_t fewest, Action action, Settle settle) {
        settle(forgetful(action)); // what is made once
        const std::int64_t held = host::gate.bytes_in_use;
        const std::int64_t begin = standalone::poll_count();
        const sql::result whole = forgetful(action);
        ASSERT_FALSE(whole.failed());
        const std::int64_t looks = standalone::poll_count() - begin;
        settle(whole);
        EXPECT_EQ(host::gate.bytes_in_use, held);
        EXPECT_GE(looks, fewest);
        std::int64_t most_after = 0;
        int stopped = 0;
        for (std::int64_t at = 1; at <= looks;
             at = at == looks ? looks + 1 : std::min(2 * at, looks)) {
            const std::int64_t before = standalone::poll_count();
            standalone::cancel_after_polls(at);
            const sql::result outcome = forgetful(action);
            ASSERT_TRUE(outcome.failed()) << "at look " << at;
            EXPECT_EQ(outcome.error().sqlstate, "57014");
            most_after = std::max(most_after, standalone::poll_count() - before - at);
            standalone::forget_cancel();
            settle(outcome);
            EXPECT_EQ(host::gate.bytes_in_use, held) << "at look " << at;
            ++stopped;
        }
        std::printf(
            "             %lld looks, stopped at %d of them, %lld looks after that at most\n",
            static_cast<long long>(looks), stopped, static_cast<long long>(most_after));
        EXPECT_LE(most_after, k_looks_after_stop);
        if (asked_megabytes() != 0) {
            measure(action, settle);
        }
    }
    // A call that was told to stop may find that out in several places on its way out.
    static constexpr std::int64_t k_looks_after_stop = 4;

  private:
    // How long a call takes to end that was told to stop after a tenth, two tenths, ... of its
    // time.
    template <class Action, class Settle> static void measure(Action action, Settle settle) {
        const auto begin = steady_clock::now();
        settle(forgetful(action));
        const auto whole = steady_clock::now() - begin;
        double longest = 0;
        for (int tenth = 1; tenth < 10; ++tenth) {
            standalone::session *const own = standalone::this_session();
            steady_clock::time_point told;
            std::thread other([&] {
                std::this_thread::sleep_for(whole * tenth / 10);
                told = steady_clock::now();
                standalone::cancel_statement_of(own);
            });
            const sql::result outcome = forgetful(action);
            const auto ended = steady_clock::now();
            other.join();
            standalone::forget_cancel();
            settle(outcome);
            if (outcome.failed()) {
                longest = std::max(longest,
                                   std::chrono::duration<double, std::milli>(ended - told).count());
            }
        }
        std::printf("             %.0f ms in all, ended after %.1f ms at most\n",
                    std::chrono::duration<double, std::milli>(whole).count(), longest);
    }
};

TEST_P(long_nodes, stop_while_they_are_parsed) {
    const std::string text = long_document(GetParam());
    stop_at_looks(
        2 * k_megabytes, [&] { return sql::call(xml_dom_new_document_clob, text); },
        [](const sql::result &outcome) {
            if (!outcome.failed()) {
                sql::call(xml_dom_free_document, outcome.handle());
            }
            // A parse gives back what one before it left.
            sql::call(xml_dom_free_document, sql::call(xml_dom_new_document_clob, "<a/>").handle());
        });
    EXPECT_TRUE(sql::check_invariants());
}

TEST_P(long_nodes, stop_while_they_are_written) {
    const sql::handle document =
        sql::call(xml_dom_new_document_clob, long_document(GetParam())).handle();
    standalone::reset_caller_context();
    stop_at_looks(
        GetParam().is_written_by_libxml2 ? 1 : k_megabytes - 1,
        [&] { return sql::call(xml_dom_write_to_clob_doc, document); },
        [](const sql::result & /*outcome*/) {});
    EXPECT_TRUE(sql::check_invariants());
}

INSTANTIATE_TEST_SUITE_P(shapes, long_nodes, ::testing::ValuesIn(k_shapes),
                         [](const ::testing::TestParamInfo<shape> &row) {
                             return std::string(row.param.name);
                         });

} // namespace
