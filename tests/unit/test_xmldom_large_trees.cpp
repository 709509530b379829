// Trees a million levels deep and a million members wide through every function of the package that
// changes trees: no recursion, in a time that grows with the tree, and a request to stop ends each
// call at whatever look it takes, with everything as it was.
#include "faults.hpp"
#include "standalone_faults.hpp"
#include "standalone_session.hpp"
#include "support/invariants.hpp"
#include "support/large_sizes.hpp"
#include "trees.hpp"

#include <memory>
#include <string>
#include <vector>

namespace {

namespace standalone = host::standalone;
using namespace trees;

using sql::call;

// A root with a chain of elements, and an element with many members: elements and texts that stand
// beside each other.
struct large_tree {
    sql::handle document, other, root, deep, wide, end;

    void build(int depth, int width) {
        document = call(xmldom_parse_text, "<r><t xmlns='urn:t'>a<![CDATA[b]]></t></r>").handle();
        other = call(xmldom_parse_text, "<o/>").handle();
        root = call(xmldom_get_document_element, document).handle();
        xmlNodePtr bottom = nullptr;
        {
            const host::tree_scope scope;
            xmlNodePtr const above = node_of(root);
            bottom = chain(above, depth);
            while (bottom->children != nullptr) {
                bottom = bottom->children;
            }
            members(above, width);
        }
        wide = call(xmldom_get_last_child, root).handle();
        deep = call(xmldom_get_previous_sibling, wide).handle();
        end = call(xmldom_rename_node, named(document, bottom), "d", sql::null).handle();
    }
    [[nodiscard]] std::string state() const {
        return std::to_string(pkg_dbe_xml::xml_count_hashentries()) + " handles\n" +
               written(document) + "\n" + written(other);
    }

  private:
    static std::string written(const sql::handle &of) {
        const sql::result text = call(xmldom_to_text, of, 0, sql::null);
        return text.failed() ? text.error().message : text.text();
    }
    static void link(xmlNodePtr parent, xmlNodePtr child) {
        child->parent = parent;
        child->prev = parent->last;
        (parent->last != nullptr ? parent->last->next : parent->children) = child;
        parent->last = child;
    }
    static xmlNodePtr chain(xmlNodePtr above, int depth) {
        xmlNodePtr first = nullptr;
        for (int level = 0; level < depth; ++level) {
            xmlNodePtr const made = xmlNewDocNode(above->doc, nullptr, xml("d"), nullptr);
            link(above, made);
            first = first == nullptr ? made : first;
            above = made;
        }
        return first;
    }
    static void members(xmlNodePtr above, int width) {
        xmlNodePtr const made = xmlNewDocNode(above->doc, nullptr, xml("w"), nullptr);
        link(above, made);
        for (int i = 0; i < width; ++i) {
            link(made, i % 2 == 0 ? xmlNewDocNode(above->doc, nullptr, xml("m"), nullptr)
                                  : xmlNewDocText(above->doc, xml("x")));
            if (i % 4 == 3) {
                link(made, xmlNewDocText(above->doc, xml("y")));
            }
        }
    }
};

using argument_list = std::vector<sql::value>;
struct changing_call {
    const char *name;
    sql::function entry;
    argument_list (*arguments)(const large_tree &);
    bool looks; // it goes through the tree
};

sql::handle element(const sql::handle &of) { return call(xmldom_create_element, of, "n").handle(); }
sql::handle member(const large_tree &t) { return call(xmldom_get_first_child, t.wide).handle(); }
sql::handle text(const large_tree &t) { return call(xmldom_get_next_sibling, member(t)).handle(); }
sql::handle sub_tree(const sql::handle &of) { return call(xmldom_clone_node, of, true).handle(); }

#define CHANGE(looks, function, ...)                                                               \
    changing_call {                                                                                \
#function, function,                                                                       \
            []([[maybe_unused]] const large_tree &t) { return argument_list{__VA_ARGS__}; }, looks \
    }

// clang-format off
const changing_call k_calls[] = {
    CHANGE(true, xmldom_clone_node, t.root, true),
    CHANGE(true, xmldom_clone_node, t.document, true),
    CHANGE(true, xmldom_import_node, t.other, t.root, true),
    CHANGE(true, xmldom_adopt_node, t.other, t.deep),
    CHANGE(true, xmldom_adopt_node, t.other, t.wide),
    CHANGE(true, xmldom_normalize, t.root),
    CHANGE(true, xmldom_normalize_document, t.document),
    CHANGE(false, xmldom_rename_node, t.deep, "n", "urn:n"),
    CHANGE(false, xmldom_rename_node, t.end, "n", "urn:n"),
    CHANGE(false, xmldom_rename_node, t.wide, "p:n", "urn:n"),
    CHANGE(false, xmldom_set_text_content, t.root, "x"),
    CHANGE(false, xmldom_set_text_content, t.wide, "x"),
    CHANGE(false, xmldom_insert_before, t.wide, element(t.document), member(t)),
    CHANGE(false, xmldom_insert_before, t.end, sub_tree(t.wide), sql::null),
    CHANGE(false, xmldom_append_child, t.end, t.wide),
    CHANGE(false, xmldom_replace_child, t.root, element(t.document), t.deep),
    CHANGE(false, xmldom_replace_child, t.root, element(t.document), t.wide),
    CHANGE(false, xmldom_remove_child, t.root, t.deep),
    CHANGE(false, xmldom_remove_child, t.wide, member(t)),
    CHANGE(false, xmldom_split_text, text(t), 1),
    CHANGE(false, xmldom_set_attribute, t.end, "a", "b"),
    CHANGE(true, xmldom_is_equal_node, t.root, sub_tree(t.root)),
    CHANGE(true, xmldom_get_text_content, t.root),
    CHANGE(true, xmldom_to_text, t.root, 0, sql::null),
};
// clang-format on

// What holds of the tree afterwards: the links agree, whatever the depth.
void expect_whole(xmlNodePtr top) {
    std::int64_t members = 0;
    for (xmlNodePtr node = top;;) {
        ++members;
        if (node->type == XML_ELEMENT_NODE && node->children != nullptr) {
            ASSERT_EQ(node->children->prev, nullptr);
            ASSERT_EQ(node->children->parent, node);
            node = node->children;
            continue;
        }
        while (node != top && node->next == nullptr) {
            ASSERT_EQ(node->parent->last, node);
            node = node->parent;
        }
        if (node == top) {
            break;
        }
        ASSERT_EQ(node->next->prev, node);
        ASSERT_EQ(node->next->parent, node->parent);
        node = node->next;
    }
    EXPECT_GT(members, 0);
}

class large_trees : public ::testing::TestWithParam<changing_call> {};

TEST_P(large_trees, a_million_deep_and_a_million_wide) {
    standalone::begin_session();
    {
        large_tree tree;
        tree.build(k_large, k_large);
        const changing_call &row = GetParam();
        const sql::result outcome = sql::call_with(row.entry, row.arguments(tree));
        EXPECT_FALSE(outcome.failed()) << outcome.error().message;
        expect_whole(node_of(tree.root));
        expect_whole(xmlDocGetRootElement(document_of(tree.other)));
    }
    EXPECT_TRUE(standalone::end_session().nothing());
}

// Twice the tree takes twice the looks, no more: each look stands for so many steps.
TEST_P(large_trees, looks_grow_with_the_tree) {
    const changing_call &row = GetParam();
    std::int64_t looks[2] = {0, 0};
    for (const int size : {0, 1}) {
        standalone::begin_session();
        large_tree tree;
        tree.build(40000 << size, 40000 << size);
        const argument_list arguments = row.arguments(tree);
        const std::int64_t before = standalone::poll_count();
        EXPECT_FALSE(sql::call_with(row.entry, arguments).failed());
        looks[size] = standalone::poll_count() - before;
        standalone::end_session();
    }
    EXPECT_LE(looks[1], 2 * looks[0] + 10);
    if (row.looks) {
        EXPECT_GE(looks[0], 5);
    }
}

TEST_P(large_trees, stopped_at_any_look_leave_everything_as_it_was) {
    const changing_call &row = GetParam();
    auto tree = std::make_shared<large_tree>();
    auto arguments = std::make_shared<argument_list>();
    sql::scenario played;
    played.name = row.name;
    played.prepare = [tree, arguments, &row] {
        tree->build(9000, 9000);
        *arguments = row.arguments(*tree);
    };
    played.run = [arguments, &row] { return sql::call_with(row.entry, *arguments); };
    played.state = [tree] { return tree->state(); };
    played.shown = [](const sql::result &outcome) {
        return outcome.failed() ? outcome.error().sqlstate : "done";
    };
    const sql::sweep_figures figures = sql::sweep_failures(played, standalone::service::poll);
    if (row.looks) {
        EXPECT_GE(figures.reported, 2);
    }
}

INSTANTIATE_TEST_SUITE_P(each, large_trees, ::testing::ValuesIn(k_calls),
                         [](const ::testing::TestParamInfo<changing_call> &row) {
                             return std::string(row.param.name).substr(7) + "_" +
                                    std::to_string(row.index);
                         });

} // namespace
