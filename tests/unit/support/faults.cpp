// Sweeps of injected failures.
#include "support/faults.hpp"

#include "host/session.hpp"
#include "standalone_session.hpp"
#include "support/invariants.hpp"
#include "support/overlooked_losses.hpp"

#include <optional>
#include <sstream>

namespace sql {
namespace {

namespace standalone = host::standalone;

constexpr std::int64_t k_most_rounds = 200000;

const char *name_of(standalone::service which) {
    constexpr const char *names[] = {"host allocation",
                                     "libxml2 allocation",
                                     "conversion",
                                     "detoasting",
                                     "slice",
                                     "missing slice",
                                     "large object",
                                     "catalogue",
                                     "warning",
                                     "file",
                                     "rows",
                                     "poll"};
    static_assert(std::size(names) == static_cast<std::size_t>(standalone::service::count));
    return names[static_cast<int>(which)];
}

// Failures of the running test so far.
int failures() {
    return ::testing::UnitTest::GetInstance()->current_test_info()->result()->total_part_count();
}

// The lines in which two states differ.
std::string difference(const std::string &left, const std::string &right) {
    std::istringstream left_lines(left);
    std::istringstream right_lines(right);
    std::string all;
    std::string left_line;
    std::string right_line;
    while (left_lines || right_lines) {
        left_line.clear();
        right_line.clear();
        std::getline(left_lines, left_line);
        std::getline(right_lines, right_line);
        if (left_line != right_line) {
            all += "- " + left_line + "\n+ " + right_line + "\n";
        }
    }
    return all;
}

// A call that has nothing to do with the scenario works.
void expect_other_calls_to_work() {
    const result document = call(xml_dom_new_document_clob, "<follow><up>text</up></follow>");
    ASSERT_FALSE(document.failed()) << document.error().message;
    const result root = call(xml_dom_get_document_element, document.handle());
    ASSERT_FALSE(root.failed()) << root.error().message;
    EXPECT_EQ(call(xml_dom_get_tagname, root.handle()).text(), "follow");
    EXPECT_FALSE(call(xml_dom_free_document, document.handle()).failed());
}

// What a run of the scenario came to.
struct outcome {
    result given;
    std::string shown;
    std::string before;
    std::string after;
    std::int64_t injected = 0;
};

std::string text_of(const std::function<std::string()> &function) {
    return function ? function() : std::string();
}

// What is made to fail: the calls of a service from one on.
struct failing {
    standalone::service which;
    std::int64_t repeat; // so many of them
};

outcome play(const scenario &played, const failing &calls, std::int64_t at) {
    outcome seen;
    if (played.prepare) {
        played.prepare();
    }
    seen.before = text_of(played.state);
    standalone::fail_call(calls.which, at, calls.repeat);
    seen.given = played.run();
    seen.injected = standalone::faults_of(calls.which);
    standalone::clear_faults();
    standalone::forget_cancel();
    if (!standalone::session_terminated()) {
        seen.after = text_of(played.state);
        if (!seen.given.failed() && played.shown) {
            seen.shown = played.shown(seen.given);
        }
    }
    return seen;
}

void expect_reported(const scenario &played, const outcome &seen, const outcome &usual) {
    if (standalone::session_terminated()) {
        EXPECT_EQ(seen.given.error_->level, 21);
        return;
    }
    EXPECT_FALSE(seen.given.error_->sqlstate.empty());
    if (played.all_or_nothing) {
        EXPECT_EQ(difference(seen.before, seen.after), "") << "a failed call changed something";
    }
    if (!played.goes_on) {
        return;
    }
    const result again = played.run();
    EXPECT_EQ(again.failed(), usual.given.failed()) << "made again, the call ends otherwise";
    if (!again.failed() && !usual.given.failed() && played.all_or_nothing) {
        EXPECT_EQ(difference(usual.after, text_of(played.state)), "")
            << "made again, the call does another thing";
    }
    EXPECT_TRUE(check_invariants());
}

void expect_harmless(const outcome &seen, const outcome &usual) {
    EXPECT_EQ(seen.given.failed(), usual.given.failed());
    EXPECT_EQ(seen.given.is_null_, usual.given.is_null_);
    EXPECT_EQ(seen.shown, usual.shown) << "a failure changed the result";
    EXPECT_EQ(difference(usual.after, seen.after), "") << "a failure changed the effect";
}

// One round, in a session of its own. Returns the number of failures injected.
std::int64_t play_round(const scenario &played, const failing &calls, std::int64_t at,
                        const outcome &usual, sweep_figures &figures) {
    const node_watch watch;
    standalone::begin_session(played.database_encoding);
    std::optional<losses_overlooked> overlooked; // they are counted all the same
    if (played.libxml2_may_lose != 0) {
        overlooked.emplace();
    }
    const outcome seen = play(played, calls, at);
    EXPECT_TRUE(check_invariants());
    const bool reported = seen.given.failed() && !usual.given.failed();
    if (reported) {
        EXPECT_GT(seen.injected, 0) << seen.given.error_->message;
        expect_reported(played, seen, usual);
    } else {
        expect_harmless(seen, usual);
    }
    if (seen.injected != 0) {
        ++figures.rounds;
        ++(reported ? figures.reported : figures.harmless);
    }
    if (played.goes_on && !standalone::session_terminated()) {
        expect_other_calls_to_work();
    }
    standalone::session_remains remains = standalone::end_session();
    if (calls.which == standalone::service::libxml2_allocation && remains.libxml2_bytes > 0 &&
        remains.libxml2_bytes <= played.libxml2_may_lose) {
        remains.libxml2_bytes = 0;
        ++figures.lossy;
    }
    EXPECT_TRUE(remains.nothing())
        << "left: " << remains.host_blocks << " blocks, " << remains.host_contexts << " contexts, "
        << remains.libxml2_bytes << " bytes of libxml2"
        << (remains.block_list.empty() ? "" : ", " + remains.block_list.front());
    return seen.injected;
}

sweep_figures sweep(const scenario &played, const failing &calls) {
    sweep_figures figures;
    const int failures_before = failures();
    if (standalone::session_begun()) {
        EXPECT_TRUE(standalone::end_session().nothing());
    }
    outcome usual;
    {
        const node_watch watch;
        standalone::begin_session(played.database_encoding);
        usual = play(played, calls, 0);
        EXPECT_TRUE(check_invariants()) << played.name;
        EXPECT_TRUE(standalone::end_session().nothing()) << played.name;
    }
    for (std::int64_t at = 1;; at += played.stride) {
        SCOPED_TRACE(played.name + ", " + name_of(calls.which) + " " + std::to_string(at) +
                     (calls.repeat == 1 ? " fails" : " fails and all after it"));
        const std::int64_t injected = play_round(played, calls, at, usual, figures);
        if (injected == 0 || failures() != failures_before) {
            break;
        }
        if (at >= k_most_rounds) {
            ADD_FAILURE() << "the sweep does not end";
            break;
        }
    }
    return figures;
}

} // namespace

sweep_figures &sweep_figures::operator+=(const sweep_figures &other) {
    rounds += other.rounds;
    reported += other.reported;
    harmless += other.harmless;
    lossy += other.lossy;
    return *this;
}

sweep_figures sweep_failures(const scenario &played, standalone::service which) {
    sweep_figures figures = sweep(played, {which, 1});
    if (which == standalone::service::libxml2_allocation) {
        figures += sweep(played, {which, standalone::k_for_ever});
    }
    return figures;
}

sweep_figures sweep_allocation_failures(const scenario &played) {
    sweep_figures figures = sweep_failures(played, standalone::service::allocation);
    return figures += sweep_failures(played, standalone::service::libxml2_allocation);
}

} // namespace sql
