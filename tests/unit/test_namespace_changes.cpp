// Random changes to imported trees full of namespaces, of which few handles are kept, so that most
// trees go as soon as nobody names them: whoever still uses a declaration finds it.
#include "changing.hpp"

#include "support/invariants.hpp"

#include <iterator>
#include <random>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using sql::call;

constexpr int k_seeds = 300;
constexpr int k_steps = 500;
constexpr int k_steps_between_checks = 10;
constexpr std::size_t k_held = 4;

constexpr std::string_view k_source =
    "<o xmlns:q='urn:q'><p:a xmlns:p='urn:p' p:x='1' x='0'>text<q:b xmlns='urn:d' q:y='2' y='3'>"
    "text<p:d/><e xmlns:p='urn:other' p:x='4' x='0'/></q:b><p:f q:y='6' y='0'>t<p:d/></p:f></p:a>"
    "<q:g xmlns:r='urn:r'>text<r:h r:i='7' i='8'><r:j/></r:h></q:g></o>";

constexpr std::pair<std::string_view, std::string_view> k_attributes[] = {
    {"x", "urn:p"}, {"y", "urn:q"}, {"i", "urn:r"}};

class namespace_changes : public changing, public ::testing::WithParamInterface<int> {
  protected:
    void run() {
        tree = document("<t xmlns:p='urn:t'><p:u/></t>");
        top = root(tree);
        const sql::handle from = document(k_source);
        const sql::handle outer = root(from);
        const sql::handle one = first(outer);
        sources = {outer, one, next(first(one)), last(outer)};
        held.resize(k_held);
        for (int step = 0; step < k_steps; ++step) {
            one_step();
            if (step % k_steps_between_checks == 0) {
                ASSERT_TRUE(sql::check_invariants());
                host::standalone::reset_caller_context();
            }
        }
    }

    int imported = 0;
    int appended = 0;
    int removed = 0;

  private:
    std::size_t below(std::size_t bound) { return random() % bound; }
    const sql::handle &any() { return held[below(k_held)]; }
    // Keeps a handle in place of another, which is given back.
    void keep(const sql::result &result) {
        if (is_there(result)) {
            sql::handle &place = held[below(k_held)];
            call(xml_dom_free_node, place);
            place = result.handle();
        }
    }
    void keep_appended(const sql::result &result) {
        appended += is_there(result) ? 1 : 0;
        keep(result);
    }
    // An element handle of a node, used for one call.
    template <class Use> void with_element(const Use &use) {
        const sql::result element = call(xml_dom_make_element, any());
        if (is_there(element)) {
            use(element.handle());
            call(xml_dom_free_element, element.handle());
        }
    }

    void one_step() {
        switch (below(18)) {
        case 0:
        case 1:
            ++imported;
            keep(call(xml_dom_import_node, tree, sources[below(sources.size())], below(8) != 0));
            break;
        case 2:
        case 3:
            keep_one_below(any());
            break;
        case 4:
            keep(call(xml_dom_get_parent_node, any()));
            break;
        case 5:
        case 6:
            keep_appended(call(xml_dom_append_child, any(), any()));
            break;
        case 7:
            keep_appended(call(xml_dom_append_child, top, any()));
            break;
        case 8:
            with_element([this](const sql::handle &element) { use_attribute(element); });
            break;
        case 9:
            with_element([](const sql::handle &element) {
                call(xml_dom_set_attribute, element, "p:x", "new");
            });
            break;
        case 10:
        case 11:
            consume_parent(any());
            break;
        case 12:
            keep(call(xml_dom_create_element_ns, tree, "p:n", "urn:n"));
            break;
        default:
            call(xml_dom_free_node, any());
            break;
        }
    }
    // Goes down a few levels and aside, and keeps a handle of where it gets to only.
    void keep_one_below(const sql::handle &above) {
        sql::result reached = call(xml_dom_get_first_child, above);
        for (std::size_t steps = below(8); steps > 0 && is_there(reached); --steps) {
            const sql::result next = below(3) == 0 ? step(xml_dom_get_first_child, reached)
                                                   : step(xml_dom_get_next_sibling, reached);
            if (is_there(next)) {
                give_back(reached);
                reached = next;
            }
        }
        keep(reached);
    }
    // A text takes up the parent of a node, which is kept for that node.
    void consume_parent(const sql::handle &below) {
        const sql::result parent = call(xml_dom_get_parent_node, below);
        const sql::result above = step(xml_dom_get_parent_node, parent);
        const sql::result text = step(xml_dom_get_first_child, above);
        if (is_there(text)) {
            const sql::result result = call(xml_dom_append_child, text.handle(), parent.handle());
            appended += is_there(result) ? 1 : 0;
            give_back(result);
        }
        for (const sql::result &made : {parent, above, text}) {
            give_back(made);
        }
    }
    // Takes an attribute off its element, or keeps it.
    void use_attribute(const sql::handle &element) {
        const auto &[local, uri] = k_attributes[below(std::size(k_attributes))];
        const sql::result attribute = call(xml_dom_get_attribute_node, element, local, uri);
        if (is_there(attribute) && below(2) == 0) {
            const sql::result copy =
                call(xml_dom_remove_attribute_node, element, attribute.handle());
            removed += is_there(copy) ? 1 : 0;
            give_back(copy);
        }
        keep(attribute);
    }
    static bool is_there(const sql::result &result) {
        return !result.failed() && !result.is_null();
    }
    template <class Function> static sql::result step(Function function, const sql::result &from) {
        return is_there(from) ? call(function, from.handle()) : from;
    }
    static void give_back(const sql::result &made) {
        if (is_there(made)) {
            call(xml_dom_free_node, made.handle());
        }
    }

    std::mt19937 random{static_cast<unsigned>(GetParam()) * 7919U + 3U};
    sql::handle tree;
    sql::handle top;
    std::vector<sql::handle> sources;
    std::vector<sql::handle> held;
};

TEST_P(namespace_changes, keep_every_declaration_in_use) {
    run();
    EXPECT_GT(imported, 0);
    EXPECT_GT(appended + removed, 0);
}

INSTANTIATE_TEST_SUITE_P(seeds, namespace_changes, ::testing::Range(0, k_seeds));

} // namespace
