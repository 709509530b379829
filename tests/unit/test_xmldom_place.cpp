// Putting nodes into trees with the package xmldom, replacing them, taking them out.
#include "package_changing.hpp"

#include "libxml/xml.hpp"
#include "standalone_session.hpp"

namespace {

using sql::call;

class package_place : public package_changing {
  protected:
    void SetUp() override {
        package_changing::SetUp();
        tree_ = document("<r><a/>one<b><c/></b><!--x--></r>");
        root_ = root(tree_);
    }
    sql::handle tree_;
    sql::handle root_;
};

// --- insert, replace, remove --------------------------------------------------------------------

TEST_F(package_place, append_child_moves_and_gives_the_child) {
    const sql::handle made = element(tree_, "n");
    EXPECT_EQ(call(xmldom_append_child, root_, made).handle(), made);
    EXPECT_EQ(written(root_), "<r><a/>one<b><c/></b><!--x--><n/></r>");
    const sql::handle first = child(root_, {0});
    EXPECT_EQ(call(xmldom_append_child, root_, first).handle(), first);
    EXPECT_EQ(written(root_), "<r>one<b><c/></b><!--x--><n/><a/></r>");
}

// The long-named function merges; here a text is never lost in another.
TEST_F(package_place, texts_stay_themselves) {
    const sql::handle first = text(tree_, "1");
    const sql::handle second = text(tree_, "2");
    call(xmldom_append_child, root_, first);
    EXPECT_EQ(call(xmldom_append_child, root_, second).handle(), second);
    EXPECT_EQ(node(first)->next, node(second));
    EXPECT_EQ(written(root_), "<r><a/>one<b><c/></b><!--x-->12</r>");
}

TEST_F(package_place, insert_before_a_child_and_at_the_end) {
    const sql::handle made = element(tree_, "n");
    EXPECT_EQ(call(xmldom_insert_before, root_, made, child(root_, {2})).handle(), made);
    EXPECT_EQ(written(root_), "<r><a/>one<n/><b><c/></b><!--x--></r>");
    EXPECT_EQ(call(xmldom_insert_before, root_, made, made).handle(), made);
    EXPECT_EQ(written(root_), "<r><a/>one<n/><b><c/></b><!--x--></r>");
    EXPECT_EQ(call(xmldom_insert_before, root_, made, sql::null).handle(), made);
    EXPECT_EQ(written(root_), "<r><a/>one<b><c/></b><!--x--><n/></r>");
    const sql::handle empty = child(root_, {0});
    call(xmldom_insert_before, empty, made, sql::null);
    EXPECT_EQ(written(root_), "<r><a><n/></a>one<b><c/></b><!--x--></r>");
}

TEST_F(package_place, replace_child_gives_the_old_one) {
    const sql::handle old = child(root_, {2});
    const sql::handle made = element(tree_, "n");
    EXPECT_EQ(call(xmldom_replace_child, root_, made, old).handle(), old);
    EXPECT_EQ(written(root_), "<r><a/>one<n/><!--x--></r>");
    EXPECT_EQ(written(old), "<b><c/></b>");
    EXPECT_EQ(node(old)->parent, nullptr);
    EXPECT_EQ(call(xmldom_replace_child, root_, made, made).handle(), made);
    EXPECT_EQ(written(root_), "<r><a/>one<n/><!--x--></r>");
}

// What stands in a node takes its place: an unwrapping.
TEST_F(package_place, a_node_is_replaced_by_what_it_holds) {
    const sql::handle old = child(root_, {2});
    const sql::handle inner = child(root_, {2, 0});
    EXPECT_EQ(call(xmldom_replace_child, root_, inner, old).handle(), old);
    EXPECT_EQ(written(root_), "<r><a/>one<c/><!--x--></r>");
    EXPECT_EQ(written(old), "<b/>");
}

TEST_F(package_place, remove_child_and_remove) {
    const sql::handle first = child(root_, {0});
    EXPECT_EQ(call(xmldom_remove_child, root_, first).handle(), first);
    EXPECT_EQ(written(root_), "<r>one<b><c/></b><!--x--></r>");
    EXPECT_REPORT(call(xmldom_remove_child, root_, first), reports::not_found, "an element <a>",
                  "an element <r>");
    const sql::handle second = child(root_, {1});
    EXPECT_EQ(call(xmldom_remove, second).handle(), second);
    EXPECT_EQ(call(xmldom_remove, second).handle(), second);
    EXPECT_EQ(written(root_), "<r>one<!--x--></r>");
    EXPECT_EQ(call(xmldom_remove, root_).handle(), root_);
    EXPECT_EQ(written(tree_), "");
    EXPECT_REPORT(call(xmldom_remove, tree_), reports::no_parent, "a document");
}

// --- many nodes ---------------------------------------------------------------------------------

TEST_F(package_place, append_and_prepend_take_many) {
    const sql::handle n = element(tree_, "n");
    const sql::handle m = element(tree_, "m");
    EXPECT_EQ(call(xmldom_append, root_, array({n, text(tree_, "t"), m})).handle(), root_);
    EXPECT_EQ(written(root_), "<r><a/>one<b><c/></b><!--x--><n/>t<m/></r>");
    EXPECT_EQ(call(xmldom_prepend, root_, array({m, n})).handle(), root_);
    EXPECT_EQ(written(root_), "<r><m/><n/><a/>one<b><c/></b><!--x-->t</r>");
    call(xmldom_append, root_, array({}));
    call(xmldom_append, root_, sql::null);
    EXPECT_EQ(written(root_), "<r><m/><n/><a/>one<b><c/></b><!--x-->t</r>");
}

TEST_F(package_place, a_node_named_twice_ends_where_it_was_named_last) {
    const sql::handle n = element(tree_, "n");
    const sql::handle m = element(tree_, "m");
    call(xmldom_append, root_, array({n, m, n}));
    EXPECT_EQ(written(root_), "<r><a/>one<b><c/></b><!--x--><m/><n/></r>");
}

TEST_F(package_place, before_after_and_replace_with) {
    const sql::handle b = child(root_, {2});
    const sql::handle n = element(tree_, "n");
    const sql::handle m = element(tree_, "m");
    EXPECT_EQ(call(xmldom_before, b, array({n, m})).handle(), b);
    EXPECT_EQ(written(root_), "<r><a/>one<n/><m/><b><c/></b><!--x--></r>");
    EXPECT_EQ(call(xmldom_after, b, array({m, n})).handle(), b);
    EXPECT_EQ(written(root_), "<r><a/>one<b><c/></b><m/><n/><!--x--></r>");
    call(xmldom_before, b, array({b, m}));
    EXPECT_EQ(written(root_), "<r><a/>one<b><c/></b><m/><n/><!--x--></r>");
    EXPECT_EQ(call(xmldom_replace_with, b, array({n, child(root_, {2, 0})})).handle(), b);
    EXPECT_EQ(written(root_), "<r><a/>one<n/><c/><m/><!--x--></r>");
    call(xmldom_replace_with, n, array({m, n}));
    EXPECT_EQ(written(root_), "<r><a/>one<m/><n/><c/><!--x--></r>");
    EXPECT_REPORT(call(xmldom_before, b, array({n})), reports::no_parent, "an element <b>");
}

// The parent is named by nobody, and goes with the last node of its tree that is.
TEST_F(package_place, a_node_among_those_put_beside_it_stays) {
    const sql::handle b = child(root_, {2});
    call(xmldom_remove, b);
    const sql::handle c = child(b, {0});
    const sql::handle n = element(tree_, "n");
    const sql::handle m = element(tree_, "m");
    call(xml_dom_free_node, b);
    for (const sql::function put : {xmldom_after, xmldom_before, xmldom_replace_with}) {
        EXPECT_EQ(call(put, c, array({n, c, m})).handle(), c);
        EXPECT_EQ(written(handle(c, node(c)->parent)), "<b><n/><c/><m/></b>");
        call(xml_dom_free_node, handle(c, node(c)->parent));
        EXPECT_TRUE(sql::check_invariants());
    }
}

TEST_F(package_place, replace_children_keeps_what_it_is_given) {
    const sql::handle c = child(root_, {2, 0});
    const sql::handle a = child(root_, {0});
    EXPECT_EQ(call(xmldom_replace_children, root_, array({c, a, text(tree_, "t")})).handle(),
              root_);
    EXPECT_EQ(written(root_), "<r><c/><a/>t</r>");
    call(xmldom_replace_children, root_, sql::null);
    EXPECT_EQ(written(root_), "<r/>");
}

TEST_F(package_place, a_null_among_nodes_and_wrong_members) {
    const sql::handle n = element(tree_, "n");
    sql::raw with_null = array({n});
    with_null.bytes[4] = 28; // the members begin behind a bitmap
    with_null.bytes.insert(with_null.bytes.begin() + 20, {0, 0, 0, 0});
    EXPECT_REPORT(call(xmldom_append, root_, with_null), reports::null_member);
    sql::handle unknown = n;
    unknown.bytes[4] = 0x7F;
    EXPECT_REPORT(call(xmldom_append, root_, array({n, unknown})), reports::unknown_handle);
    EXPECT_EQ(node(n)->parent, nullptr);
    call(xml_dom_free_node, n);
    EXPECT_REPORT(call(xmldom_append, root_, array({n})), reports::stale_handle);
}

// --- fragments ----------------------------------------------------------------------------------

TEST_F(package_place, a_fragment_gives_its_children_and_stays) {
    const sql::handle fragment = call(xmldom_create_document_fragment, tree_).handle();
    call(xmldom_append, fragment, array({element(tree_, "n"), text(tree_, "t")}));
    EXPECT_EQ(written(fragment), "<n/>t");
    EXPECT_EQ(call(xmldom_insert_before, root_, fragment, child(root_, {0})).handle(), fragment);
    EXPECT_EQ(written(root_), "<r><n/>t<a/>one<b><c/></b><!--x--></r>");
    EXPECT_EQ(written(fragment), "");
    call(xmldom_append_child, root_, fragment);
    EXPECT_EQ(written(root_), "<r><n/>t<a/>one<b><c/></b><!--x--></r>");
    const sql::handle old = child(root_, {0});
    EXPECT_EQ(call(xmldom_replace_child, root_, fragment, old).handle(), old);
    EXPECT_EQ(written(root_), "<r>t<a/>one<b><c/></b><!--x--></r>");
}

TEST_F(package_place, a_fragment_is_not_put_into_itself) {
    const sql::handle fragment = call(xmldom_create_document_fragment, tree_).handle();
    EXPECT_REPORT(call(xmldom_append_child, fragment, fragment), reports::child_contains_parent,
                  "a document fragment");
    call(xmldom_append, fragment, array({element(tree_, "n"), element(tree_, "m")}));
    EXPECT_REPORT(call(xmldom_insert_before, fragment, fragment, child(fragment, {1})),
                  reports::child_contains_parent, "a document fragment");
    EXPECT_REPORT(call(xmldom_replace_children, fragment, array({fragment})),
                  reports::child_contains_parent, "a document fragment");
    EXPECT_REPORT(call(xmldom_append_child, child(fragment, {0}), fragment),
                  reports::child_contains_parent, "an element <n>");
    EXPECT_EQ(written(fragment), "<n/><m/>");
}

TEST_F(package_place, a_fragment_is_checked_as_a_whole) {
    const sql::handle fragment = call(xmldom_create_document_fragment, tree_).handle();
    call(xmldom_append, fragment,
         array({call(xmldom_create_comment, tree_, "c").handle(), text(tree_, "t")}));
    EXPECT_REPORT(call(xmldom_append_child, tree_, fragment), reports::child_not_allowed, "a text",
                  "a document");
    EXPECT_EQ(written(fragment), "<!--c-->t");
    EXPECT_EQ(written(tree_), "<r><a/>one<b><c/></b><!--x--></r>");
}

// --- what is refused ----------------------------------------------------------------------------

TEST_F(package_place, nothing_stands_below_itself) {
    EXPECT_REPORT(call(xmldom_append_child, root_, root_), reports::child_contains_parent,
                  "an element <r>");
    EXPECT_REPORT(call(xmldom_append_child, child(root_, {2, 0}), root_),
                  reports::child_contains_parent, "an element <r>");
}

TEST_F(package_place, documents_hold_one_root_and_no_text) {
    EXPECT_REPORT(call(xmldom_append_child, tree_, element(tree_, "n")), reports::second_root,
                  "an element <n>");
    EXPECT_REPORT(call(xmldom_append_child, tree_, text(tree_, " ")), reports::child_not_allowed,
                  "a text", "a document");
    EXPECT_REPORT(
        call(xmldom_append_child, tree_, call(xmldom_create_cdata_section, tree_, "t").handle()),
        reports::child_not_allowed, "a CDATA section", "a document");
    const sql::handle note = call(xmldom_create_comment, tree_, "c").handle();
    call(xmldom_insert_before, tree_, note, root_);
    call(xmldom_append_child, tree_,
         call(xmldom_create_processing_instruction, tree_, "p", "d").handle());
    EXPECT_EQ(written(tree_), "<!--c--><r><a/>one<b><c/></b><!--x--></r><?p d?>");
    // The root moves among its siblings, and gives way to another one.
    call(xmldom_append_child, tree_, root_);
    EXPECT_EQ(written(tree_), "<!--c--><?p d?><r><a/>one<b><c/></b><!--x--></r>");
    EXPECT_EQ(call(xmldom_replace_child, tree_, element(tree_, "n"), root_).handle(), root_);
    EXPECT_EQ(written(tree_), "<!--c--><?p d?><n/>");
    EXPECT_REPORT(call(xmldom_replace_child, tree_, root_, note), reports::second_root,
                  "an element <r>");
}

TEST_F(package_place, declarations_stay) {
    const sql::handle typed = document("<!DOCTYPE r [<!ENTITY e 'x'><!ELEMENT r ANY>]><r/>");
    const sql::handle type = child(typed, {0});
    const sql::handle entity = child(typed, {0, 0});
    const sql::handle top = root(typed);
    for (const sql::handle &declared : {type, entity}) {
        EXPECT_REPORT(call(xmldom_append_child, top, declared), reports::no_modification_allowed,
                      declared == type ? "a document type r" : "a declaration");
        EXPECT_EQ(call(xmldom_append_child, declared, element(typed, "n")).error().sqlstate,
                  "XD007");
        EXPECT_EQ(call(xmldom_remove, declared).error().sqlstate, "XD007");
    }
    EXPECT_EQ(call(xmldom_remove_child, typed, type).error().sqlstate, "XD007");
    EXPECT_EQ(call(xmldom_replace_children, typed, sql::null).error().sqlstate, "XD007");
    EXPECT_REPORT(call(xmldom_insert_before, typed, top, type), reports::root_before_doctype,
                  "an element <r>");
    call(xmldom_insert_before, typed, call(xmldom_create_comment, typed, "c").handle(), type);
    EXPECT_TRUE(reads_back(typed));
}

TEST_F(package_place, attributes_and_documents_are_nobodys_children) {
    const sql::handle made = call(xmldom_create_attribute, tree_, "k").handle();
    EXPECT_REPORT(call(xmldom_append_child, root_, made), reports::attribute_as_child,
                  "an attribute k");
    EXPECT_REPORT(call(xmldom_append_child, root_, tree_), reports::child_not_allowed, "a document",
                  "an element <r>");
    EXPECT_REPORT(call(xmldom_append_child, text(tree_, "t"), element(tree_, "n")),
                  reports::no_children_allowed, "a text");
    EXPECT_REPORT(call(xmldom_append_child, made, element(tree_, "n")), reports::child_not_allowed,
                  "an element <n>", "an attribute k");
    EXPECT_REPORT(call(xmldom_remove, made), reports::no_parent, "an attribute k");
    call(xmldom_append_child, made, text(tree_, "v"));
    call(xmldom_set_attribute_node, root_, made);
    EXPECT_EQ(written(root_), "<r k=\"v\"><a/>one<b><c/></b><!--x--></r>");
}

TEST_F(package_place, other_documents_are_hinted_at_import) {
    const sql::handle foreign = document("<f><g/></f>");
    EXPECT_REPORT(call(xmldom_append_child, root_, root(foreign)), reports::wrong_document,
                  "an element <f>");
    EXPECT_REPORT(call(xmldom_insert_before, root_, element(tree_, "n"), root(foreign)),
                  reports::not_found, "an element <f>", "an element <r>");
    EXPECT_REPORT(call(xmldom_append, root_, array({root(foreign)})), reports::wrong_document,
                  "an element <f>");
    // A document could not stand there if it were of the same one.
    EXPECT_REPORT(call(xmldom_append_child, root_, foreign), reports::child_not_allowed,
                  "a document", "an element <r>");
    EXPECT_REPORT(call(xmldom_append, root_, array({foreign})), reports::child_not_allowed,
                  "a document", "an element <r>");
    const sql::handle copy = trees::handle_of(
        call(xml_dom_import_node, tree_, foreign).datum()); // a document of the same family
    EXPECT_REPORT(call(xmldom_append_child, root_, child(copy, {0})), reports::wrong_document,
                  "an element <f>");
}

TEST_F(package_place, nulls_and_stale_handles_are_errors) {
    EXPECT_REPORT(call(xmldom_append_child, sql::null, root_), reports::null_package_argument,
                  "parent", "xmldom.append_child");
    EXPECT_REPORT(call(xmldom_append_child, root_, sql::null), reports::null_package_argument,
                  "new_child", "xmldom.append_child");
    const sql::handle gone = element(tree_, "n");
    call(xml_dom_free_node, gone);
    EXPECT_REPORT(call(xmldom_append_child, root_, gone), reports::stale_handle);
    EXPECT_REPORT(call(xmldom_insert_before, root_, child(root_, {0}), gone),
                  reports::stale_handle);
    EXPECT_EQ(call(xmldom_append_child, root_, gone).error().context,
              "argument 2 (new_child) of xmldom.append_child");
}

// --- sizes --------------------------------------------------------------------------------------

TEST_F(package_place, a_hundred_thousand_in_front_of_the_first) {
    for (int count = 0; count < 100000; ++count) {
        ASSERT_FALSE(
            call(xmldom_insert_before, root_, element(tree_, "n"), child(root_, {0})).failed());
    }
    EXPECT_EQ(xmlChildElementCount(node(root_)), 100002U);
}

TEST_F(package_place, a_deep_tree_is_built_moved_and_copied) {
    sql::handle deepest = root_;
    for (int level = 0; level < 200000; ++level) {
        const sql::handle made = element(tree_, "n");
        ASSERT_FALSE(call(xmldom_append_child, deepest, made).failed());
        deepest = made;
    }
    sql::handle top = element(tree_, "t");
    const sql::handle below = child(root_, {4});
    ASSERT_FALSE(call(xmldom_append_child, top, below).failed());
    EXPECT_EQ(written(root_), "<r><a/>one<b><c/></b><!--x--></r>");
    ASSERT_FALSE(call(xmldom_clone_node, top, true).failed());
    ASSERT_FALSE(call(xmldom_normalize, top).failed());
    for (int level = 0; level < 200000; ++level) {
        const sql::handle made = element(tree_, "w");
        ASSERT_FALSE(call(xmldom_append_child, made, top).failed());
        top = made;
    }
    ASSERT_FALSE(call(xmldom_append_child, root_, top).failed());
}

// --- many nodes at a great depth ----------------------------------------------------------------

// Looks are taken for each few thousand steps. Many nodes that move to one place, or leave it, go
// all the way up once, not each of them.
class deep_places : public package_place {
  protected:
    static constexpr int k_depth = 100000;
    static constexpr int k_nodes = 400;
    static constexpr std::int64_t k_looks_a_climb = k_depth / 4096;

    // The deepest of so many elements, one below the other.
    static sql::handle deep(const sql::handle &tree) {
        xmlNodePtr inner = node(root(tree));
        const host::tree_scope scope;
        for (int level = 0; level < k_depth; ++level) {
            inner = xmlNewChild(inner, nullptr, BAD_CAST "d", nullptr);
        }
        return handle(tree, inner);
    }
    // Elements that hold something, so that they might stand above the place.
    static std::vector<sql::handle> filled(const sql::handle &tree) {
        std::vector<sql::handle> made;
        for (int i = 0; i < k_nodes; ++i) {
            made.push_back(element(tree, "e"));
            const host::tree_scope scope;
            xmlNewChild(node(made.back()), nullptr, BAD_CAST "f", nullptr);
        }
        return made;
    }
    // A few climbs for all of them.
    template <class Action> static void expect_few_climbs(Action action) {
        const std::int64_t before = host::standalone::poll_count();
        EXPECT_FALSE(action().failed());
        const std::int64_t looks = host::standalone::poll_count() - before;
        EXPECT_GE(looks, k_looks_a_climb);
        EXPECT_LE(looks, 12 * k_looks_a_climb);
    }
};

TEST_F(deep_places, children_come_and_go_together) {
    for (const char *const text :
         {"<r/>", "<r xmlns:p='urn:p'/>", "<!DOCTYPE r [<!ENTITY e 'x'>]><r xmlns='urn:d'/>"}) {
        const sql::handle tree = document(text);
        const sql::handle inner = deep(tree);
        const sql::raw nodes = array(filled(tree));
        expect_few_climbs([&] { return call(xmldom_append, inner, nodes); });
        EXPECT_EQ(xmlChildElementCount(node(inner)), k_nodes);
        const std::vector<sql::handle> others = filled(tree);
        expect_few_climbs([&] { return call(xmldom_replace_children, inner, array(others)); });
        EXPECT_EQ(xmlChildElementCount(node(inner)), k_nodes);
        EXPECT_EQ(node(inner)->children, node(others.front()));
        call(xml_dom_free_document, tree);
    }
}

// The tree that they leave is kept for one of them.
TEST_F(deep_places, nodes_leave_a_detached_tree_together) {
    const sql::handle tree = document("<r/>");
    const sql::handle top = element(tree, "top");
    const std::vector<sql::handle> nodes = filled(tree);
    call(xmldom_append, top, array(nodes));
    const sql::handle stays = child(top, {0, 0});
    call(xml_dom_free_node, top);
    EXPECT_FALSE(call(xmldom_append, root(tree), array(nodes)).failed());
    EXPECT_EQ(xmlChildElementCount(node(root(tree))), k_nodes);
    EXPECT_EQ(node(stays)->parent, node(nodes.front()));
}

} // namespace
