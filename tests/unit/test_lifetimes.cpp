// Documents and parsers that end with their transaction: what is there after each kind of end, what
// a large one costs the end, and what is left when something fails.
#include "changing.hpp"
#include "host/lifetime.hpp"
#include "host/usage.hpp"
#include "lifetime_reports.hpp"
#include "registry/parser_registry.hpp"
#include "standalone_faults.hpp"
#include "standalone_transactions.hpp"
#include "support/faults.hpp"
#include "support/invariants.hpp"

#include <algorithm>
#include <random>

namespace {

using sql::call;
namespace standalone = host::standalone;

class lifetimes : public changing {
  protected:
    static void make_for(host::lifetime lifetime) {
        host::lifetime_setting = static_cast<int>(lifetime);
    }
    static void make_for_transaction() { make_for(host::lifetime::transaction); }
    static void make_for_session() { make_for(host::lifetime::session); }
    static sql::handle parser() { return call(xmlparser_new_parser).handle(); }
    static bool is_parser(const sql::handle &of) {
        return !call(xmlparser_get_validation_mode, of).failed();
    }
    static std::int64_t in_use() { return host::gate.bytes_in_use + host::gate.handle_bytes; }
    static bool work_is_left() { return host::u_sess.before_call != nullptr; }
};

// --- which end takes what ------------------------------------------------------------------------

TEST_F(lifetimes, a_commit_takes_what_was_made_for_the_transaction) {
    const sql::handle kept = document("<kept/>");
    make_for_transaction();
    const sql::handle gone = document("<gone/>");
    const sql::handle gone_root = root(gone);
    const sql::handle gone_parser = parser();
    make_for_session();
    const sql::handle kept_too = document("<too/>");
    standalone::commit_transaction();
    EXPECT_EQ(written_root(kept), "<kept/>");
    EXPECT_EQ(written_root(kept_too), "<too/>");
    EXPECT_REPORT(call(xml_dom_get_document_element, gone), reports::handle_not_found);
    EXPECT_REPORT(call(xml_dom_get_node_name, gone_root), reports::handle_not_found);
    EXPECT_REPORT(call(xmlparser_get_doc, gone_parser), reports::parser_not_found);
    EXPECT_TRUE(sql::check_invariants());
    standalone::commit_transaction();
    EXPECT_EQ(written_root(kept), "<kept/>");
}

TEST_F(lifetimes, a_subtransaction_takes_its_own_and_those_within_it) {
    make_for_transaction();
    const sql::handle outer = document("<outer/>");
    standalone::begin_subtransaction();
    const sql::handle middle = document("<middle/>");
    standalone::begin_subtransaction();
    const sql::handle inner = document("<inner/>");
    standalone::release_subtransaction(); // what it made is the middle one's now
    const sql::handle middle_again = document("<again/>");
    EXPECT_TRUE(is_known(inner));
    standalone::roll_subtransaction_back();
    EXPECT_TRUE(is_known(outer));
    EXPECT_FALSE(is_known(middle));
    EXPECT_FALSE(is_known(inner));
    EXPECT_FALSE(is_known(middle_again));
    standalone::begin_subtransaction();
    const sql::handle later = document("<later/>");
    standalone::release_subtransaction();
    standalone::begin_subtransaction();
    standalone::roll_subtransaction_back(); // made nothing
    EXPECT_TRUE(is_known(later));
    standalone::roll_transaction_back();
    EXPECT_FALSE(is_known(outer));
    EXPECT_FALSE(is_known(later));
    EXPECT_EQ(in_use(), 0);
}

TEST_F(lifetimes, ten_thousand_subtransactions_within_each_other) {
    constexpr int k_deep = 10000;
    make_for_transaction();
    std::vector<sql::handle> made;
    for (int i = 0; i < k_deep; ++i) {
        standalone::begin_subtransaction();
        made.push_back(call(xml_dom_new_document_empty).handle());
    }
    for (int i = k_deep; i-- > 1;) {
        ASSERT_TRUE(is_known(made[static_cast<std::size_t>(i)]));
        standalone::roll_subtransaction_back();
        ASSERT_FALSE(is_known(made[static_cast<std::size_t>(i)]));
        ASSERT_TRUE(is_known(made[static_cast<std::size_t>(i) - 1]));
    }
    standalone::commit_transaction();
    EXPECT_FALSE(is_known(made[0]));
    EXPECT_EQ(in_use(), 0);
}

TEST_F(lifetimes, what_was_freed_before_is_not_freed_again) {
    make_for_transaction();
    const sql::handle first = document("<a/>");
    const sql::handle second = document("<b/>");
    const sql::handle third = document("<c/>");
    const sql::handle one = parser();
    const sql::handle scope = call(xml_dom_mark_scope).handle();
    const sql::handle two = parser();
    const sql::handle fourth = document("<d/>");
    EXPECT_FALSE(call(xml_dom_free_document, second).failed());
    EXPECT_FALSE(call(xmlparser_free_parser, one).failed());
    EXPECT_TRUE(sql::check_invariants());
    EXPECT_EQ(call(xml_dom_release_scope, scope).integer(), 2);
    EXPECT_TRUE(sql::check_invariants());
    EXPECT_TRUE(is_known(first));
    EXPECT_TRUE(is_known(third));
    standalone::commit_transaction();
    EXPECT_FALSE(is_known(first));
    EXPECT_FALSE(is_known(third));
    EXPECT_FALSE(is_known(fourth));
    EXPECT_FALSE(is_parser(two));
    make_for_session();
    const sql::handle next = document("<next/>");
    EXPECT_EQ(call(xml_dom_release_scope, scope).integer(), 1); // a scope goes on across the end
    EXPECT_FALSE(is_known(next));
    EXPECT_TRUE(sql::check_invariants());
}

TEST_F(lifetimes, an_import_ends_with_its_target) {
    const sql::handle kept = document("<kept/>");
    make_for_transaction();
    const sql::handle gone = document("<gone><x/></gone>");
    const sql::handle into_kept = append(root(kept), import(kept, root(gone), true));
    make_for_session();
    const sql::handle source = document("<source/>");
    const sql::handle into_gone = import(gone, root(source), true); // stands nowhere
    standalone::commit_transaction();
    EXPECT_EQ(written_root(kept), "<kept><gone><x/></gone></kept>");
    EXPECT_EQ(name(into_kept), "gone");
    EXPECT_EQ(written_root(source), "<source/>");
    EXPECT_FALSE(is_known(into_gone));
    EXPECT_TRUE(sql::check_invariants());
}

TEST_F(lifetimes, a_tree_with_two_documents_ends_with_the_last_of_them) {
    const sql::handle one = parser();
    EXPECT_FALSE(call(xmlparser_parse_clob, one, "<a><b/></a>").failed());
    make_for_transaction();
    const sql::handle gone = call(xmlparser_get_doc, one).handle();
    const sql::handle gone_root = root(gone);
    make_for_session();
    const sql::handle kept = call(xmlparser_get_doc, one).handle();
    const sql::handle kept_root = root(kept);
    standalone::commit_transaction();
    EXPECT_FALSE(is_known(gone));
    EXPECT_FALSE(is_known(gone_root));
    EXPECT_EQ(written(kept_root), "<a><b/></a>");
    make_for_transaction();
    const sql::handle again = call(xmlparser_get_doc, one).handle();
    EXPECT_FALSE(call(xml_dom_free_document, kept).failed());
    EXPECT_EQ(written_root(again), "<a><b/></a>");
    standalone::commit_transaction();
    EXPECT_TRUE(call(xmlparser_get_doc, one).is_null()); // as when the document is freed
    EXPECT_TRUE(sql::check_invariants());
}

TEST_F(lifetimes, a_parser_that_ends_leaves_the_documents_it_handed_over) {
    make_for_transaction();
    const sql::handle gone = parser();
    EXPECT_FALSE(call(xmlparser_parse_clob, gone, "<a/>").failed());
    make_for_session();
    const sql::handle kept = call(xmlparser_get_doc, gone).handle();
    make_for_transaction();
    const sql::handle second = parser();
    EXPECT_FALSE(call(xmlparser_parse_clob, second, "<never-asked-for/>").failed());
    standalone::roll_transaction_back();
    EXPECT_FALSE(is_parser(gone));
    EXPECT_FALSE(is_parser(second));
    EXPECT_EQ(written_root(kept), "<a/>");
    EXPECT_TRUE(sql::check_invariants());
}

TEST_F(lifetimes, the_ids_are_handed_out_again) {
    make_for_transaction();
    const sql::handle first = document("<a/>");
    standalone::commit_transaction();
    const sql::handle second = document("<b/>");
    EXPECT_EQ(first.document_id(), second.document_id());
    EXPECT_NE(first.serial(), second.serial());
    EXPECT_FALSE(is_known(first));
    EXPECT_TRUE(is_known(second));
    constexpr int k_many = 500; // more than there is room for: the others stay unused
    for (int round = 0; round < 3; ++round) {
        for (int i = 0; i < k_many; ++i) {
            static_cast<void>(call(xml_dom_new_document_empty));
        }
        standalone::commit_transaction();
        EXPECT_TRUE(sql::check_invariants());
    }
    EXPECT_EQ(in_use(), 0);
}

TEST_F(lifetimes, a_discard_forgets_what_would_have_ended) {
    make_for_transaction();
    static_cast<void>(document("<a/>"));
    static_cast<void>(parser());
    static_cast<void>(document("<b/>"));
    EXPECT_EQ(standalone::reset_session(), 0);
    standalone::commit_transaction();
    const sql::handle after = document("<c/>");
    EXPECT_TRUE(sql::check_invariants());
    standalone::commit_transaction();
    EXPECT_FALSE(is_known(after));
}

TEST_F(lifetimes, documents_are_described) {
    EXPECT_TRUE(call(xmldom_describe_documents).is_null());
    const sql::handle kept = document("<kept/>");
    make_for_transaction();
    const sql::handle gone = document("<gone><a/></gone>");
    const std::string both = call(xmldom_describe_documents).text();
    EXPECT_NE(both.find(" session 2 "), std::string::npos) << both;
    EXPECT_NE(both.find(" transaction 3 "), std::string::npos) << both;
    standalone::commit_transaction();
    const std::string one = call(xmldom_describe_documents).text();
    EXPECT_EQ(one.find('\n'), std::string::npos) << one;
    EXPECT_NE(one.find(" session 2 "), std::string::npos) << one;
    EXPECT_TRUE(is_known(kept));
    EXPECT_FALSE(is_known(gone));
}

TEST_F(lifetimes, objects_are_counted) {
    const auto expect_counts = [](std::uint32_t documents, std::uint32_t of_transactions,
                                  std::uint32_t parsers) {
        EXPECT_EQ(host::counts.documents, documents);
        EXPECT_EQ(host::counts.transactions, of_transactions);
        EXPECT_EQ(host::counts.parsers, parsers);
    };
    static_cast<void>(document("<a/>"));
    static_cast<void>(parser());
    expect_counts(1, 0, 1);
    make_for_transaction();
    const sql::handle freed = document("<b/>");
    static_cast<void>(document("<c/>"));
    static_cast<void>(parser());
    expect_counts(3, 2, 2);
    EXPECT_TRUE(call(xml_dom_new_document_clob, "<unfinished>").failed());
    EXPECT_FALSE(call(xml_dom_free_document, freed).failed());
    expect_counts(2, 1, 2);
    standalone::commit_transaction();
    expect_counts(1, 0, 1);
    static_cast<void>(document("<d/>"));
    EXPECT_EQ(standalone::reset_session(), 0);
    expect_counts(0, 0, 0);
    // This host's sessions share nothing.
    EXPECT_REPORT(call(xmldom_describe_sessions), reports::sessions_unknown);
}

// Random programs beside a model that knows no numbers: a stack of sets.
class model {
  public:
    void made(const sql::handle &handle, bool is_parser, host::lifetime lifetime) {
        objects_.push_back({handle, is_parser, lifetime == host::lifetime::session ? 0 : depth_});
    }
    void begin() { ++depth_; }
    void release() {
        --depth_;
        for (object &each : objects_) {
            each.depth = std::min(each.depth, depth_);
        }
    }
    void roll_back() {
        end_from(depth_);
        --depth_;
    }
    void end_all() {
        end_from(1);
        depth_ = 1;
    }
    void freed(std::size_t index) { objects_[index].is_alive = false; }
    [[nodiscard]] int depth() const { return depth_; }

    struct object {
        sql::handle handle;
        bool is_parser;
        int depth; // of the subtransaction that it belongs to; 0: of none
        bool is_alive = true;
    };
    std::vector<object> objects_;

  private:
    void end_from(int depth) {
        for (object &each : objects_) {
            each.is_alive = each.is_alive && (each.depth == 0 || each.depth < depth);
        }
    }
    int depth_ = 1;
};

class random_lifetimes : public lifetimes {
  protected:
    void step(std::mt19937 &random, model &expected) {
        const auto lifetime = static_cast<host::lifetime>(random() % 2);
        make_for(lifetime);
        switch (random() % 12) {
        case 0:
        case 1:
            standalone::begin_subtransaction();
            expected.begin();
            break;
        case 2:
            if (expected.depth() > 1) {
                standalone::release_subtransaction();
                expected.release();
            }
            break;
        case 3:
        case 4:
            if (expected.depth() > 1) {
                standalone::roll_subtransaction_back();
                expected.roll_back();
            }
            break;
        case 5:
            end_transaction(random, expected);
            break;
        case 6:
            expected.made(parser(), true, lifetime);
            break;
        case 7:
            free_any(random, expected);
            break;
        default:
            make_document(random, expected, lifetime);
        }
    }
    static void end_transaction(std::mt19937 &random, model &expected) {
        if (random() % 3 != 0) {
            return;
        }
        if (random() % 2 == 0) {
            standalone::commit_transaction();
        } else {
            standalone::roll_transaction_back();
        }
        expected.end_all();
    }
    static void free_any(std::mt19937 &random, model &expected) {
        if (expected.objects_.empty()) {
            return;
        }
        const std::size_t index = random() % expected.objects_.size();
        const model::object &chosen = expected.objects_[index];
        EXPECT_FALSE(
            call(chosen.is_parser ? xmlparser_free_parser : xml_dom_free_document, chosen.handle)
                .failed());
        expected.freed(index);
    }
    // A document of its own, or one of a parser's, which others may share; things of others in it.
    static void make_document(std::mt19937 &random, model &expected, host::lifetime lifetime) {
        const model::object *other = nullptr;
        if (!expected.objects_.empty()) {
            other = &expected.objects_[random() % expected.objects_.size()];
        }
        if (other != nullptr && other->is_alive && other->is_parser) {
            if (random() % 2 == 0) {
                EXPECT_FALSE(call(xmlparser_parse_clob, other->handle, "<p><q/></p>").failed());
            }
            const sql::result made = call(xmlparser_get_doc, other->handle);
            if (!made.is_null()) {
                expected.made(made.handle(), false, lifetime);
                static_cast<void>(root(made.handle()));
            }
            return;
        }
        const sql::handle made = document("<a><b x='1'/>text</a>");
        if (other != nullptr && other->is_alive) {
            const sql::handle copy = import(made, root(other->handle), true);
            if (random() % 2 == 0) {
                static_cast<void>(append(root(made), copy));
            }
        }
        expected.made(made, false, lifetime);
    }
    static void compare(const model &expected) {
        for (const model::object &each : expected.objects_) {
            const bool is_there = each.is_parser ? is_parser(each.handle) : is_known(each.handle);
            ASSERT_EQ(is_there, each.is_alive);
        }
    }
};

TEST_F(random_lifetimes, are_those_of_a_model) {
    for (unsigned seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        model expected;
        for (int i = 0; i < 120; ++i) {
            step(random, expected);
            compare(expected);
            if (HasFatalFailure()) {
                return;
            }
        }
        EXPECT_TRUE(sql::check_invariants());
        standalone::roll_transaction_back();
        static_cast<void>(call(xml_dom_free_all));
        EXPECT_EQ(in_use(), 0);
    }
}

// --- large ones ----------------------------------------------------------------------------------

class large_lifetimes : public lifetimes {
  protected:
    // More than a session may hold for everything to be freed at once.
    static constexpr int k_elements = 600'000;
    static std::string large_text() {
        std::string text = "<a>";
        for (int i = 0; i < k_elements; ++i) {
            text += "<b/>";
        }
        return text + "</a>";
    }
    // Nodes and handles of about the size that the end of a transaction may free, at the most.
    static constexpr std::int64_t k_most_bytes = 65536LL * 256;
};

TEST_F(large_lifetimes, are_freed_by_the_next_call) {
    make_for_transaction();
    const sql::handle gone = document(large_text());
    const std::int64_t before = in_use();
    ASSERT_GT(before, 64 * 1024 * 1024);
    standalone::commit_transaction();
    EXPECT_FALSE(is_known(gone));
    EXPECT_TRUE(work_is_left());
    EXPECT_LT(before - in_use(), k_most_bytes);
    EXPECT_GT(before - in_use(), 0);
    EXPECT_TRUE(call(xml_dom_is_null, sql::null).boolean()); // any call
    EXPECT_FALSE(work_is_left());
    EXPECT_EQ(in_use(), 0);
    EXPECT_TRUE(sql::check_invariants());
}

TEST_F(large_lifetimes, small_ones_go_at_once_beside_a_large_one_that_stays) {
    const sql::handle kept = document(large_text());
    const std::int64_t before = in_use();
    make_for_transaction();
    for (int round = 0; round < 20; ++round) {
        const sql::handle gone = document("<a><b/><c>text</c></a>");
        static_cast<void>(first(root(gone)));
        standalone::commit_transaction();
        EXPECT_FALSE(work_is_left());
        EXPECT_EQ(in_use(), before);
    }
    EXPECT_TRUE(is_known(kept));
}

// With trees that stand nowhere, lists, and pages of released handles.
sql::handle document_with_handles(const sql::handle &made, int handles) {
    const sql::handle top = call(xml_dom_get_document_element, made).handle();
    for (int i = 0; i < handles; ++i) {
        const sql::handle child = call(xml_dom_get_first_child, top).handle();
        if (i % 64 == 0) {
            const sql::handle parent = call(xml_dom_create_element, made, "detached").handle();
            const sql::handle below = call(xml_dom_create_element, made, "below").handle();
            call(xml_dom_append_child, parent, below);
            if (i % 128 == 0) {
                call(xml_dom_free_node, parent); // kept for the one below
            }
        }
        if (i % 1000 == 0) {
            call(xmldom_get_elements_by_tag_name, made, "detached");
        }
        if (i < handles / 3) {
            call(xml_dom_free_node, child);
        }
        host::standalone::reset_caller_context();
    }
    call(xml_dom_get_child_nodes, top);
    return top;
}

TEST_F(large_lifetimes, many_handles_are_freed_by_the_next_call) {
    make_for_session();
    const sql::handle kept = document("<kept/>");
    call(xmldom_get_elements_by_tag_name, kept, "none"); // the table of lists is there
    const std::int64_t before = in_use();
    make_for_transaction();
    const sql::handle gone = document(large_text());
    const sql::handle gone_root = document_with_handles(gone, 80'000);
    const std::int64_t held = in_use();
    standalone::commit_transaction();
    EXPECT_TRUE(work_is_left());
    EXPECT_FALSE(is_known(gone));
    EXPECT_FALSE(is_known(gone_root));
    EXPECT_LT(held - in_use(), k_most_bytes);
    // The id is another document's meanwhile, which is left alone.
    const sql::handle next = document("<next/>");
    EXPECT_EQ(next.document_id(), gone.document_id());
    EXPECT_FALSE(work_is_left());
    standalone::commit_transaction();
    EXPECT_FALSE(is_known(next));
    EXPECT_EQ(in_use(), before);
    EXPECT_EQ(written_root(kept), "<kept/>");
    EXPECT_TRUE(sql::check_invariants());
}

TEST_F(large_lifetimes, the_freeing_can_be_cancelled_and_goes_on) {
    make_for_transaction();
    static_cast<void>(document_with_handles(document(large_text()), 80'000));
    standalone::commit_transaction();
    ASSERT_TRUE(work_is_left());
    int calls = 0;
    std::int64_t left = in_use();
    for (; work_is_left() && calls < 100'000; ++calls) {
        standalone::cancel_after_polls(40);
        const sql::result result = call(xml_dom_is_null, sql::null);
        standalone::forget_cancel();
        if (result.failed()) {
            EXPECT_EQ(result.error().sqlstate, "57014");
        }
        ASSERT_LE(in_use(), left);
        left = in_use();
    }
    EXPECT_GT(calls, 3);
    EXPECT_EQ(in_use(), 0);
    EXPECT_TRUE(sql::check_invariants());
}

TEST_F(large_lifetimes, what_is_left_goes_with_the_session) {
    make_for_transaction();
    static_cast<void>(document_with_handles(document(large_text()), 80'000));
    const sql::handle one = parser();
    EXPECT_FALSE(call(xmlparser_parse_clob, one, large_text()).failed());
    standalone::commit_transaction();
    EXPECT_TRUE(work_is_left());
    EXPECT_EQ(standalone::reset_session(), 0);
    EXPECT_FALSE(work_is_left());
    EXPECT_EQ(in_use(), 0);
    make_for_transaction();
    static_cast<void>(document_with_handles(document(large_text()), 80'000));
    standalone::commit_transaction();
    EXPECT_TRUE(work_is_left()); // the session ends with the test
}

// --- failures ------------------------------------------------------------------------------------

TEST_F(lifetimes, an_end_allocates_nothing) {
    make_for_transaction();
    standalone::begin_subtransaction();
    const sql::handle made = document("<a><b/><c/></a>");
    static_cast<void>(call(xmldom_get_elements_by_tag_name, made, "b"));
    static_cast<void>(element(made, "detached"));
    static_cast<void>(append(root(made), import(made, root(document("<x/>")), true)));
    for (int i = 0; i < 600; ++i) { // whole pages of them
        call(xml_dom_free_node, first(root(made)));
    }
    const sql::handle one = parser();
    EXPECT_FALSE(call(xmlparser_parse_clob, one, "<a/>").failed());
    standalone::fail_call(standalone::service::allocation, 1, standalone::k_for_ever);
    standalone::fail_call(standalone::service::libxml2_allocation, 1, standalone::k_for_ever);
    standalone::roll_subtransaction_back();
    standalone::commit_transaction();
    EXPECT_EQ(standalone::calls_of(standalone::service::allocation), 0);
    EXPECT_EQ(standalone::calls_of(standalone::service::libxml2_allocation), 0);
    standalone::clear_faults();
    EXPECT_EQ(in_use(), 0);
    EXPECT_TRUE(sql::check_invariants());
}

host::datum commit_within(host::call & /*call*/) {
    standalone::commit_transaction();
    return 0;
}

TEST_F(lifetimes, an_end_within_a_call_is_made_up_for_later) {
    make_for_transaction();
    const sql::handle made = document("<a/>");
    host::call_record record;
    host::invoke(&record, commit_within);
    EXPECT_TRUE(is_known(made));
    standalone::begin_subtransaction();
    standalone::roll_subtransaction_back();
    EXPECT_TRUE(is_known(made));
    standalone::commit_transaction();
    EXPECT_FALSE(is_known(made));
}

// A document or a parser that could not be made is in no list.
TEST_F(lifetimes, making_them_fails_as_a_whole) {
    struct maker {
        const char *name;
        std::function<sql::result()> make;
    };
    const maker makers[] = {
        {"a document", [] { return call(xml_dom_new_document_clob, "<a><b/></a>"); }},
        {"an empty document", [] { return call(xml_dom_new_document_empty); }},
        {"a parser", [] { return call(xmlparser_new_parser); }},
    };
    for (const maker &each : makers) {
        sql::scenario played;
        played.name = each.name;
        played.prepare = [] { make_for_transaction(); };
        played.run = [&each] {
            sql::result made = each.make();
            standalone::commit_transaction();
            return made;
        };
        played.state = [] {
            return std::to_string(pkg_dbe_xml::xml_count_hashentries()) + " handles, " +
                   std::to_string(host::gate.bytes_in_use) + " bytes";
        };
        const sql::sweep_figures figures = sql::sweep_allocation_failures(played);
        EXPECT_GT(figures.reported, 0) << each.name;
    }
}

} // namespace
