// One node with nearly all of the text in it, parsed and written, and told to stop at the first,
// the second, the fourth, ... place where the call looks whether it is to: it ends there, and
// nothing that it made stays.
//
// With PKG_DBE_XML_LONG_NODE the nodes have so many megabytes, fewer places are tried, and it is
// printed how long a call took to end that was told to stop, in time of the processor.
#include "libxml/xml.hpp"
#include "standalone_session.hpp"
#include "support/invariants.hpp"
#include "support/sql.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <ostream>
#include <string>
#include <string_view>

namespace {

namespace standalone = host::standalone;

struct shape {
    const char *name, *before, *after;
};
constexpr shape k_shapes[] = {
    {"text", "<a>", "</a>"},
    {"attribute", "<a b='", "'/>"},
    {"comment", "<a><!--", "--></a>"},
    {"section", "<a><![CDATA[", "]]></a>"},
    {"instruction", "<a><?p ", "?></a>"},
    {"document_type_comment", "<!DOCTYPE a [<!NOTATION n SYSTEM 'u'><!--", "-->]><a/>"},
    {"document_type_entity", "<!DOCTYPE a [<!ENTITY e '", "'>]><a/>"},
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
    // Gives back what a call made, and what it left in memory: as little as possible is kept.
    template <class Settle> static void end(Settle settle, const sql::result &outcome) {
        settle(outcome);
        standalone::reset_caller_context();
    }

    // Plays a call to its end, which looks so many times at least, then stops it at some of the
    // places where it looks. `settle` gives back what a call made; afterwards libxml2 holds what it
    // held before.
    template <class Action, class Settle>
    void stop_at_looks(std::int64_t fewest, Action action, Settle settle) {
        end(settle, action()); // what is made once
        const std::int64_t held = host::gate.bytes_in_use;
        const std::int64_t begin = standalone::poll_count();
        const sql::result whole = action();
        ASSERT_FALSE(whole.failed());
        const std::int64_t looks = standalone::poll_count() - begin;
        end(settle, whole);
        EXPECT_EQ(host::gate.bytes_in_use, held);
        EXPECT_GE(looks, fewest);
        std::int64_t most_after = 0;
        int stopped = 0;
        const std::int64_t factor = asked_megabytes() == 0 ? 2 : 32;
        for (std::int64_t at = 1; at <= looks;
             at = at == looks ? looks + 1 : std::min(factor * at, looks)) {
            const std::int64_t before = standalone::poll_count();
            standalone::cancel_after_polls(at);
            const sql::result outcome = action();
            ASSERT_TRUE(outcome.failed()) << "at look " << at;
            EXPECT_EQ(outcome.error().sqlstate, "57014");
            most_after = std::max(most_after, standalone::poll_count() - before - at);
            standalone::forget_cancel();
            end(settle, outcome);
            EXPECT_EQ(host::gate.bytes_in_use, held) << "at look " << at;
            ++stopped;
        }
        std::printf(
            "             %lld looks, stopped at %d of them, %lld looks after that at most\n",
            static_cast<long long>(looks), stopped, static_cast<long long>(most_after));
        EXPECT_LE(most_after, k_looks_after_stop);
        if (asked_megabytes() != 0) {
            measure(looks, action, settle);
        }
    }
    // A call that was told to stop may find that out in several places on its way out.
    static constexpr std::int64_t k_looks_after_stop = 4;
    // Notes what passing such a text takes, before the call itself begins.
    void pass(const std::string &text) {
        sql::result nothing;
        passing_ = time_of(
            [&] {
                static_cast<void>(sql::arguments_of({sql::value(text)}));
                return sql::result();
            },
            nothing);
        standalone::reset_caller_context();
    }

  private:
    double passing_ = 0;

    // Milliseconds of the processor that this thread has taken.
    static double now() {
        timespec time{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
    }
    template <class Action> static double time_of(Action action, sql::result &outcome) {
        const double begin = now();
        outcome = action();
        return now() - begin;
    }
    // How much longer a call takes that is told to stop at a look than it takes to get there. Looks
    // lie evenly in it.
    template <class Action, class Settle>
    void measure(std::int64_t looks, Action action, Settle settle) const {
        sql::result outcome;
        const double whole = time_of(action, outcome) - passing_;
        end(settle, outcome);
        double longest = 0;
        for (const std::int64_t at : {std::int64_t{1}, looks / 4, looks / 2, looks - looks / 4}) {
            standalone::cancel_after_polls(std::max<std::int64_t>(at, 1));
            const double taken = time_of(action, outcome) - passing_;
            standalone::forget_cancel();
            end(settle, outcome);
            longest = std::max(longest, taken - whole * static_cast<double>(at - 1) /
                                                    static_cast<double>(looks));
        }
        std::printf("             %.0f ms of the processor, ended within %.0f ms\n", whole,
                    longest);
    }
};

TEST_P(long_nodes, stop_while_they_are_parsed) {
    const std::string text = long_document(GetParam());
    pass(text);
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
        k_megabytes - 1, [&] { return sql::call(xml_dom_write_to_clob_doc, document); },
        [](const sql::result & /*outcome*/) {});
    EXPECT_TRUE(sql::check_invariants());
}

INSTANTIATE_TEST_SUITE_P(shapes, long_nodes, ::testing::ValuesIn(k_shapes),
                         [](const ::testing::TestParamInfo<shape> &row) {
                             return std::string(row.param.name);
                         });

} // namespace
