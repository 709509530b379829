// What a session may take in all: refused with the name of the setting, nothing changed, and
// everything can still be freed.
#include "changing.hpp"
#include "host/limits.hpp"
#include "support/invariants.hpp"

namespace {

using sql::call;

class session_memory : public changing {
  protected:
    void TearDown() override {
        set_limit(4 * 1024 * 1024);
        changing::TearDown();
    }
    static void set_limit(int kilobytes) {
        host::max_session_memory = kilobytes;
        host::count_handle_bytes(0);
    }
    static std::int64_t in_use() { return host::gate.bytes_in_use + host::gate.handle_bytes; }
    static std::int64_t limit() { return std::int64_t{host::max_session_memory} * 1024; }
    // Calls until one fails; the report of that. It takes less than `most` calls.
    template <class Step> static sql::error until_refused(int most, const Step &step) {
        for (int count = 0; count < most; ++count) {
            const sql::result result = step();
            if (result.failed()) {
                EXPECT_TRUE(sql::check_invariants());
                return *result.error_;
            }
            host::standalone::reset_caller_context();
        }
        ADD_FAILURE() << "never refused";
        return {};
    }
};

constexpr std::string_view k_name = "pkg_dbe_xml.max_session_memory";

void expect_named(const sql::error &told) {
    EXPECT_EQ(told.sqlstate, "53400");
    EXPECT_NE(told.message.find(k_name), std::string::npos) << told.message;
}

void expect_refused(const sql::result &result) {
    ASSERT_TRUE(result.failed());
    expect_named(*result.error_);
}

TEST_F(session_memory, a_loop_that_makes_handles_is_stopped) {
    const sql::handle tree = document("<a><b/></a>");
    const sql::handle top = root(tree);
    set_limit(1024);
    for (int round = 0; round < 3; ++round) {
        expect_named(until_refused(30000, [&] { return call(xml_dom_get_first_child, top); }));
        EXPECT_LE(in_use(), limit());
        EXPECT_GT(in_use(), limit() - 64 * 1024);
    }
    // What is there can be used and freed, and then there is room again.
    EXPECT_EQ(call(xml_dom_get_node_name, top).text(), "a");
    EXPECT_FALSE(call(xml_dom_free_document, tree).failed());
    EXPECT_EQ(in_use(), 0);
    EXPECT_EQ(written_root(document("<c/>")), "<c/>");
    EXPECT_TRUE(sql::check_invariants());
}

TEST_F(session_memory, released_handles_make_room) {
    const sql::handle tree = document("<a><b/></a>");
    const sql::handle top = root(tree);
    set_limit(1024);
    std::vector<sql::handle> held;
    for (int round = 0; round < 3; ++round) {
        held.clear();
        expect_named(until_refused(30000, [&] {
            sql::result result = call(xml_dom_get_first_child, top);
            if (!result.failed()) {
                held.push_back(result.handle());
            }
            return result;
        }));
        EXPECT_GT(held.size(), 10000U);
        for (const sql::handle &each : held) {
            call(xml_dom_free_node, each);
        }
        EXPECT_LT(in_use(), limit() / 4);
    }
}

TEST_F(session_memory, a_loop_that_makes_nodes_is_stopped) {
    const sql::handle tree = document("<a/>");
    const sql::handle top = root(tree);
    std::string children;
    for (int count = 0; count < 200; ++count) {
        children += "<c/>";
    }
    const sql::handle source = document("<s>" + children + "</s>");
    const sql::handle attribute = call(xml_dom_create_attribute, tree, "x").handle();
    const sql::handle source_root = root(source); // while there is room for its handle
    const std::string long_text(3000, 'x');
    set_limit(1024);
    expect_named(
        until_refused(2000, [&] { return call(xml_dom_create_text_node, tree, long_text); }));
    EXPECT_LE(in_use(), limit());
    expect_named(until_refused(2000, [&] { return call(xml_dom_create_element, tree, "b"); }));
    // Whatever needs more memory is refused, each function in its own way.
    expect_refused(call(xml_dom_set_node_value, attribute, long_text));
    expect_refused(call(xml_dom_set_attribute, top, "y", long_text));
    expect_refused(call(xml_dom_get_elements_by_tagname_document, source, "*"));
    expect_refused(call(xml_dom_get_child_nodes, source_root));
    expect_refused(call(xml_dom_import_node, tree, source, true));
    expect_refused(call(xmlparser_new_parser));
    expect_refused(call(xml_dom_new_document_empty));
    EXPECT_TRUE(sql::check_invariants());
    set_limit(2048);
    EXPECT_EQ(written_root(tree), "<a/>"); // nothing was changed
    EXPECT_FALSE(call(xml_dom_free_document, tree).failed());
    EXPECT_FALSE(call(xml_dom_free_document, source).failed());
    EXPECT_EQ(in_use(), 0);
}

TEST_F(session_memory, a_parse_names_the_setting) {
    static_cast<void>(document("<a/>"));
    std::string text = "<a>";
    for (int count = 0; count < 30000; ++count) {
        text += "<b c='d'>text</b>";
    }
    text += "</a>";
    const std::int64_t before = in_use();
    set_limit(1024);
    const sql::result refused = call(xml_dom_new_document_clob, text);
    ASSERT_TRUE(refused.failed());
    EXPECT_EQ(refused.error_->sqlstate, "2200M");
    EXPECT_NE(refused.error_->context.find(k_name), std::string::npos) << refused.error_->context;
    EXPECT_EQ(in_use(), before);
    set_limit(64 * 1024);
    EXPECT_FALSE(call(xml_dom_new_document_clob, text).failed());
    EXPECT_TRUE(sql::check_invariants());
    // The budget of a parse still has its own name.
    const int base = std::exchange(host::parse_limits.budget_base, 64);
    const int factor = std::exchange(host::parse_limits.budget_factor, 1);
    const sql::result over_budget = call(xml_dom_new_document_clob, text);
    host::parse_limits.budget_base = base;
    host::parse_limits.budget_factor = factor;
    EXPECT_NE(over_budget.error_->context.find("parse_budget"), std::string::npos)
        << over_budget.error_->context;
}

TEST_F(session_memory, a_limit_below_what_is_held_lets_everything_go) {
    const sql::handle tree = document("<a x='1'><b/><c>text</c></a>");
    const sql::handle other = document("<o/>");
    const sql::handle top = root(tree);
    std::vector<sql::handle> held;
    for (int count = 0; count < 20000; ++count) {
        held.push_back(first(top));
    }
    const sql::handle list = call(xml_dom_get_child_nodes, top).handle();
    const sql::handle array = call(xmldom_get_child_nodes, top).handle();
    const sql::handle parser = call(xmlparser_new_parser).handle();
    set_limit(1);
    expect_refused(call(xml_dom_create_text_node, tree, std::string(100, 'x')));
    expect_named(until_refused(2000, [&] { return call(xml_dom_get_first_child, top); }));
    EXPECT_EQ(name(top), "a");
    EXPECT_EQ(call(xml_dom_get_length, list).integer(), 2);
    EXPECT_FALSE(call(xml_dom_free_nodelist, list).failed());
    EXPECT_EQ(call(xmldom_get_child_nodes, top).handle(), array);
    EXPECT_FALSE(call(xml_dom_free_nodelist, array).failed());
    expect_refused(call(xmldom_get_child_nodes, top));
    for (const sql::handle &each : held) {
        EXPECT_FALSE(call(xml_dom_free_node, each).failed());
    }
    EXPECT_FALSE(call(xmlparser_free_parser, parser).failed());
    EXPECT_FALSE(call(xml_dom_free_document, tree).failed());
    EXPECT_FALSE(call(xml_dom_free_document, other).failed());
    EXPECT_EQ(in_use(), 0);
}

TEST_F(session_memory, everything_goes_with_a_reset_of_the_session) {
    const sql::handle tree = document("<a><b/></a>");
    const sql::handle top = root(tree);
    set_limit(1024);
    expect_named(until_refused(30000, [&] { return call(xml_dom_get_child_nodes, top); }));
    EXPECT_EQ(host::standalone::reset_session(), 0);
    EXPECT_EQ(in_use(), 0);
    EXPECT_EQ(written_root(document("<c/>")), "<c/>");
}

} // namespace
