// A session that changes the same things over and over, and keeps no handle, does not grow.
#include "changing.hpp"

#include "registry/family_waste.hpp"

namespace {

using sql::call;

constexpr int k_rounds = 20000;
// Released handles stay known, with their kind, at a word for each page of 256, and what a few
// pages of any size take.
constexpr std::size_t k_handles_per_registry_byte = 16;
constexpr std::size_t k_registry_bytes = 16384;
// Blocks of one size may lie in places of slightly different sizes.
constexpr std::int64_t k_unused_bytes = 1024;

class growth : public changing {
  protected:
    // Runs the rounds; afterwards libxml2 holds what it held after the first ones, and the
    // registry no more than the rest of its released handles. Where `with_waste`, what nobody needs
    // may wait until there is enough of it.
    template <class Round>
    static void expect_flat(int handles_per_round, const Round &round, bool with_waste = false) {
        for (int warm_up = 0; warm_up < 1000; ++warm_up) {
            round();
            host::standalone::reset_caller_context();
        }
        const std::int64_t tree_before = libxml2_bytes();
        const std::size_t registry_before = registry_bytes();
        const std::size_t session_before = session_bytes();
        for (int count = 0; count < k_rounds; ++count) {
            round();
            host::standalone::reset_caller_context();
        }
        const auto waste = static_cast<std::int64_t>(with_waste ? 2 * pkg_dbe_xml::least_waste : 0);
        EXPECT_LE(libxml2_bytes(), tree_before + k_unused_bytes + waste);
        EXPECT_LE(registry_bytes(), registry_before + k_registry_bytes +
                                        static_cast<std::size_t>(handles_per_round * k_rounds) /
                                            k_handles_per_registry_byte);
        // Whatever else the session holds does not grow at all.
        EXPECT_LE(session_bytes() - registry_bytes(), session_before - registry_before);
    }
    // Takes an element into a document, and out of it with all its handles.
    template <class Action>
    static void move_through(const sql::handle &tree, const sql::handle &what, Action action) {
        const sql::handle top = root(tree);
        const sql::handle moved = append(top, what);
        action();
        const sql::handle other = element(tree, "gone");
        const sql::handle gone = append(other, what);
        for (const sql::handle &each : {top, moved, what, gone, other}) {
            call(xml_dom_free_node, each);
        }
    }
    // Imported documents that the family of a handle keeps.
    static std::size_t copies(const sql::handle &of) {
        pkg_dbe_xml::family &owner = *pkg_dbe_xml::find_family(*entry(of));
        pkg_dbe_xml::free_idle_copies(owner);
        return owner.copies.count;
    }
    static std::size_t session_bytes() {
        return host::standalone::memory_of(host::session_memory_context()).bytes;
    }
};

TEST_F(growth, setting_one_attribute) {
    const sql::handle top = root(document("<a x='1'/>"));
    int count = 0;
    expect_flat(0,
                [&] { call(xml_dom_set_attribute, top, "x", count++ % 2 == 0 ? "one" : "two"); });
    EXPECT_EQ(written(top), "<a x=\"two\"/>");
}

TEST_F(growth, setting_one_attribute_in_a_namespace) {
    const sql::handle top = root(document("<a/>"));
    int count = 0;
    expect_flat(0, [&] {
        call(xml_dom_set_attribute_ns, top, "x", count++ % 2 == 0 ? "one" : "two", "urn:x");
    });
    EXPECT_EQ(written(top), "<a x=\"two\"/>");
}

TEST_F(growth, setting_one_value) {
    const sql::handle tree = document("<a x='1'>t<!--c--></a>");
    const sql::handle held = attribute_of(root(tree), "x");
    const sql::handle text_node = first(root(tree));
    const sql::handle comment = last(root(tree));
    int count = 0;
    expect_flat(0, [&] {
        const char *value = count++ % 2 == 0 ? "a & b" : "another value, of another length";
        call(xml_dom_set_node_value, held, value);
        call(xml_dom_set_node_value, text_node, value);
        call(xml_dom_set_node_value, comment, value);
    });
}

TEST_F(growth, making_and_releasing) {
    const sql::handle tree = document("<a/>");
    expect_flat(4, [&] {
        call(xml_dom_free_node, element(tree, "never-seen-before"));
        call(xml_dom_free_node, call(xml_dom_create_element_ns, tree, "n", "urn:n").handle());
        call(xml_dom_free_node, text(tree, "text"));
        call(xml_dom_free_node, attribute(tree, "attribute", "value"));
    });
    EXPECT_EQ(detached(tree), 0U);
}

TEST_F(growth, appending_and_replacing_attributes) {
    const sql::handle tree = document("<a x='1'/>");
    const sql::handle top = root(tree);
    expect_flat(2, [&] {
        const sql::handle made = attribute(tree, "x", "2");
        call(xml_dom_free_node, append(top, made));
        call(xml_dom_free_node, made);
    });
    EXPECT_EQ(detached(tree), 0U);
}

TEST_F(growth, putting_attribute_nodes_on_an_element) {
    const sql::handle tree = document("<a x='1'/>");
    const sql::handle top = root(tree);
    expect_flat(1, [&] {
        const sql::handle made = attribute(tree, "x", "2");
        call(xml_dom_set_attribute_node, top, made);
        call(xml_dom_free_node, made);
    });
    EXPECT_EQ(detached(tree), 0U);
}

TEST_F(growth, taking_attributes_off) {
    const sql::handle tree = document("<a xmlns:p='urn:p' x='1'/>");
    const sql::handle top = root(tree);
    expect_flat(2, [&] {
        call(xml_dom_set_attribute, top, "x", "value");
        const sql::handle held = attribute_of(top, "x");
        call(xml_dom_free_node, call(xml_dom_remove_attribute_node, top, held).handle());
        call(xml_dom_free_node, held);
    });
    EXPECT_EQ(detached(tree), 0U);
}

TEST_F(growth, merging_texts) {
    const sql::handle tree = document("<a>t</a>");
    const sql::handle top = root(tree);
    const sql::handle only = first(top);
    expect_flat(2, [&] {
        call(xml_dom_free_node, append(top, text(tree, " and more")));
        call(xml_dom_set_node_value, only, "t");
    });
    EXPECT_EQ(detached(tree), 0U);
}

TEST_F(growth, importing_and_releasing) {
    const sql::handle tree = document("<a/>");
    const sql::handle from = root(document("<b x='1'><c>text</c></b>"));
    expect_flat(1, [&] { call(xml_dom_free_node, import(tree, from, true)); });
    EXPECT_EQ(detached(tree), 0U);
}

TEST_F(growth, importing_and_releasing_what_declares_namespaces) {
    const sql::handle tree = document("<a/>");
    const sql::handle from =
        root(document("<p:b xmlns:p='urn:p' p:x='1'><c xmlns='urn:c'>text</c></p:b>"));
    expect_flat(1, [&] { call(xml_dom_free_node, import(tree, from, true)); });
    EXPECT_EQ(detached(tree), 0U);
}

// Lists and handles that are given up leave nothing behind, whatever else is held of the document.
TEST_F(growth, setting_a_value_whose_text_was_listed) {
    const sql::handle tree = document("<a x='1'><b/><c/></a>");
    const sql::handle held = attribute_of(root(tree), "x");
    const sql::handle other = call(xml_dom_get_child_nodes, root(tree)).handle();
    expect_flat(1, [&] {
        const sql::handle list = call(xml_dom_get_child_nodes, held).handle();
        call(xml_dom_free_nodelist, list);
        call(xml_dom_set_node_value, held, "value");
    });
    expect_flat(1, [&] { // the other order
        const sql::handle list = call(xml_dom_get_child_nodes, held).handle();
        call(xml_dom_set_node_value, held, "value");
        call(xml_dom_free_nodelist, list);
    });
    EXPECT_EQ(detached(tree), 0U);
    EXPECT_EQ(call(xml_dom_get_length, other).integer(), 2);
}

TEST_F(growth, setting_a_value_whose_text_was_named) {
    const sql::handle tree = document("<a x='1'/>");
    const sql::handle held = attribute_of(root(tree), "x");
    expect_flat(1, [&] {
        const sql::handle old = first(held);
        call(xml_dom_set_node_value, held, "value");
        call(xml_dom_free_node, old);
    });
    EXPECT_EQ(detached(tree), 0U);
}

TEST_F(growth, releasing_a_tree_before_what_is_named_in_it) {
    const sql::handle tree = document("<a/>");
    const sql::handle from = root(document("<b x='1'><c>text</c><d/></b>"));
    expect_flat(4, [&] {
        const sql::handle copy = import(tree, from, true);
        const sql::handle inner = first(copy);
        const sql::handle deepest = first(inner);
        const sql::handle list = call(xml_dom_get_child_nodes, inner).handle();
        call(xml_dom_free_node, copy);
        call(xml_dom_free_node, inner);
        call(xml_dom_free_node, deepest);
        call(xml_dom_free_nodelist, list);
    });
    EXPECT_EQ(detached(tree), 0U);
}

TEST_F(growth, parser_objects_and_their_documents) {
    const sql::handle kept = document("<a/>");
    expect_flat(0, [&] {
        const sql::handle parser = call(xmlparser_new_parser).handle();
        call(xmlparser_parse_clob, parser, "<b/>");
        call(xml_dom_free_document, call(xmlparser_get_doc, parser).handle());
        call(xmlparser_free_parser, parser);
    });
    EXPECT_EQ(written_root(kept), "<a/>");
}

// --- imported documents -------------------------------------------------------------------------

TEST_F(growth, importing_documents_and_releasing_them) {
    const sql::handle tree = document("<a/>");
    const sql::handle from =
        document("<!DOCTYPE b [<!ENTITY e 'x'>]><b x='1' xml:lang='en'><c/></b>");
    expect_flat(
        1, [&] { call(xml_dom_free_node, import(tree, from, true)); }, true);
    EXPECT_EQ(copies(tree), 0U);
}

TEST_F(growth, importing_documents_and_taking_them_apart) {
    const sql::handle tree = document("<a/>");
    const sql::handle from = document("<p:b xmlns:p='urn:p' p:x='1' xml:lang='en'><c/></p:b>");
    expect_flat(
        7,
        [&] {
            const sql::handle copy = import(tree, from, true);
            const sql::handle top = root(copy);
            move_through(tree, top, [&] {
                call(xml_dom_free_node, copy);
                EXPECT_EQ(call(xml_dom_get_attribute, top, "x").text(), "1");
            });
        },
        true);
    EXPECT_EQ(detached(tree), 0U);
    EXPECT_EQ(copies(tree), 0U);
}

// What leaves an element that declares its prefix goes on using the declaration.
TEST_F(growth, elements_that_declare_prefixes_for_others) {
    const sql::handle tree = document("<a/>");
    const sql::handle from = root(document("<p:b xmlns:p='urn:p'><p:c p:x='1'/></p:b>"));
    expect_flat(
        7,
        [&] {
            const sql::handle copy = import(tree, from, true);
            const sql::handle inner = first(copy);
            move_through(tree, inner, [&] {
                call(xml_dom_free_node, copy);
                EXPECT_STREQ(reinterpret_cast<const char *>(node(inner)->ns->href), "urn:p");
            });
        },
        true);
    EXPECT_EQ(detached(tree), 0U);
}

TEST_F(growth, lists) {
    const sql::handle top = root(document("<a><b/>text<c/></a>"));
    expect_flat(2, [&] {
        const sql::handle list = call(xml_dom_get_child_nodes, top).handle();
        call(xml_dom_free_node, call(xml_dom_item, list, 1).handle());
        call(xml_dom_free_nodelist, list);
    });
}

} // namespace
