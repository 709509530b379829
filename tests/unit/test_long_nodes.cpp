// One node with nearly all of the text in it, parsed and written, and told to stop at the first,
// the second, the fourth, ... place where the call looks whether it is to: it ends there, and
// nothing that it made stays.
//
// With PKG_DBE_XML_LONG_NODE the nodes have so many megabytes, fewer places are tried, and it is
// printed how long a call took to end that another thread told to stop.
#include "libxml/xml.hpp"
#include "standalone_session.hpp"
#include "support/invariants.hpp"
#include "support/sql.hpp"

#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <ostream>
#include <string>
#include <string_view>
#include <thread>

namespace {

namespace standalone = host::standalone;

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
        const std::int64_t factor = asked_megabytes() == 0 ? 2 : 32;
        for (std::int64_t at = 1; at <= looks;
             at = at == looks ? looks + 1 : std::min(factor * at, looks)) {
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
    // Time of the processor that a thread has taken, which another one may ask for too.
    static double milliseconds(clockid_t clock) {
        timespec time{};
        clock_gettime(clock, &time);
        return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
    }
    // How long a call takes to end that was told to stop after a part of its time.
    template <class Action, class Settle> static void measure(Action action, Settle settle) {
        clockid_t clock{};
        pthread_getcpuclockid(pthread_self(), &clock);
        double begin = milliseconds(clock);
        settle(forgetful(action));
        const double whole = milliseconds(clock) - begin;
        double longest = 0;
        for (const double part : {0.1, 0.35, 0.6, 0.85}) {
            standalone::session *const own = standalone::this_session();
            begin = milliseconds(clock);
            double told = 0;
            std::thread other([&] {
                while (milliseconds(clock) - begin < part * whole) {
                    std::this_thread::sleep_for(std::chrono::milliseconds(1));
                }
                told = milliseconds(clock);
                standalone::cancel_statement_of(own);
            });
            const sql::result outcome = action();
            const double ended = milliseconds(clock);
            while (milliseconds(clock) - begin < part * whole) { // ended before it was told
            }
            other.join();
            standalone::forget_cancel();
            standalone::reset_caller_context();
            settle(outcome);
            longest = outcome.failed() ? std::max(longest, ended - told) : longest;
        }
        std::printf("             %.0f ms of the processor, ended after %.0f ms at most\n", whole,
                    longest);
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
