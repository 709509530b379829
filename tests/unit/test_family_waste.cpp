// What a family keeps for nobody goes, and nothing that somebody needs goes with it.
#include "changing.hpp"

#include "registry/family_waste.hpp"
#include "standalone_session.hpp"
#include "support/invariants.hpp"

#include <utility>

namespace {

using sql::call;
namespace dbe = pkg_dbe_xml;

class family_waste : public changing {
  protected:
    void SetUp() override {
        changing::SetUp();
        usual_ = std::exchange(dbe::least_waste, 0);
        tree = document("<a/>");
        source = document("<!DOCTYPE b [<!ELEMENT b ANY><!ENTITY e 'x'>]>"
                          "<b xmlns:p='urn:p' xml:lang='en'><p:c p:x='1'>text</p:c><d/></b>");
    }
    void TearDown() override {
        dbe::least_waste = usual_;
        changing::TearDown();
    }
    // Imported documents that are there after waste was looked for.
    std::size_t copies() const {
        dbe::family &owner = *dbe::find_family(*entry(tree));
        dbe::count_idle_copy(owner);
        EXPECT_TRUE(sql::check_invariants());
        return owner.copies.count;
    }
    // Records that are kept for others after waste was looked for.
    std::size_t namespaces() const {
        dbe::family &owner = *dbe::find_family(*entry(tree));
        dbe::count_kept_namespace(owner);
        dbe::free_idle_namespaces(owner);
        EXPECT_TRUE(sql::check_invariants());
        std::size_t count = 0;
        for (const xmlNs *record = owner.namespaces; record != nullptr; record = record->next) {
            ++count;
        }
        return count;
    }
    sql::handle imported() const { return import(tree, source, true); }
    static void release(const sql::handle &handle) { call(xml_dom_free_node, handle); }

    sql::node_watch watch;
    sql::handle tree, source;

  private:
    std::size_t usual_ = 0;
};

TEST_F(family_waste, a_copy_goes_with_its_last_handle) {
    const sql::handle copy = imported();
    EXPECT_EQ(copies(), 1U);
    const sql::handle top = root(copy);
    release(copy);
    EXPECT_EQ(copies(), 1U);
    EXPECT_EQ(written(top).substr(0, 18), "<b xmlns:p=\"urn:p\"");
    release(top);
    EXPECT_EQ(copies(), 0U);
    EXPECT_TRUE(is_known(copy));
    EXPECT_TRUE(is_null(copy));
}

TEST_F(family_waste, a_copy_is_needed_for_whatever_of_it_is_named) {
    for (const char *const what : {"element", "attribute", "text", "doctype", "list", "map"}) {
        const sql::handle copy = imported();
        const sql::handle top = root(copy);
        const sql::handle inner = first(top);
        sql::handle held = inner;
        if (what[0] == 'a') {
            held = attribute_of(top, "lang");
        } else if (what[0] == 't') {
            held = first(inner);
        } else if (what[0] == 'd') {
            held = first(copy);
        } else if (what[0] == 'l') {
            held = call(xml_dom_get_child_nodes, inner).handle();
        } else if (what[0] == 'm') {
            held = call(xml_dom_get_attributes, inner).handle();
        }
        for (const sql::handle &each : {copy, top}) {
            release(each);
        }
        if (what[0] != 'e') {
            release(inner);
        }
        EXPECT_EQ(copies(), 1U) << what;
        if (what[0] == 'l') {
            call(xml_dom_free_nodelist, held);
        } else {
            release(held);
        }
        EXPECT_EQ(copies(), 0U) << what;
    }
}

TEST_F(family_waste, a_copy_is_needed_for_a_detached_node_that_came_from_it) {
    const sql::handle copy = imported();
    const sql::handle made = element(copy, "made");
    release(copy);
    EXPECT_EQ(copies(), 1U);
    EXPECT_EQ(reinterpret_cast<const char *>(node(made)->doc->children->name), std::string("b"));
    append(root(tree), made); // now it belongs to the other document
    EXPECT_EQ(copies(), 0U);
    EXPECT_EQ(written_root(tree), "<a><made/></a>");
}

TEST_F(family_waste, what_moved_out_of_a_copy_keeps_its_namespaces) {
    const sql::handle copy = imported();
    const sql::handle top = root(copy);
    const sql::handle inner = first(top);
    const sql::handle language = attribute_of(top, "lang");
    const sql::handle into = root(tree);
    append(into, inner);
    append(into, language);
    for (const sql::handle &each : {copy, top, inner, language}) {
        release(each);
    }
    EXPECT_EQ(copies(), 0U);
    EXPECT_EQ(namespaces(), 2U); // of p and of xml
    const sql::handle moved = call(xml_dom_make_element, first(into)).handle();
    EXPECT_EQ(call(xml_dom_get_attribute_ns, moved, "x", "urn:p").text(), "1");
    EXPECT_EQ(call(xml_dom_get_attribute, into, "lang").text(), "en");
}

TEST_F(family_waste, a_record_stays_while_anything_uses_it) {
    const sql::handle declaring = import(tree, root(source), true);
    const sql::handle inner = first(declaring);
    release(append(root(tree), inner));
    release(declaring);
    EXPECT_EQ(namespaces(), 1U);
    const sql::handle other = element(tree, "other");
    release(append(other, inner)); // stands in a detached tree, which is kept for the inner node
    release(other);
    EXPECT_EQ(namespaces(), 1U);
    const sql::handle list = call(xml_dom_get_child_nodes, inner).handle();
    release(inner); // and now for a member of a list
    EXPECT_EQ(namespaces(), 1U);
    call(xml_dom_free_nodelist, list);
    EXPECT_EQ(namespaces(), 0U);
}

// The content of entities is not walked: nothing goes while there is any.
TEST_F(family_waste, records_that_entities_may_use_stay) {
    const sql::handle with_entity =
        document("<!DOCTYPE r [<!ENTITY e '<p:x>in</p:x>'>]><r xmlns:p='urn:p'><s>&e;</s></r>");
    tree = with_entity;
    const sql::handle held = first(root(tree)); // shows the entity's content
    const sql::handle declaring = import(tree, root(source), true);
    const sql::handle inner = first(declaring);
    append(root(tree), inner);
    release(declaring);
    const auto *const type = reinterpret_cast<xmlDocPtr>(node(tree))->intSubset;
    const bool has_content = type->children != nullptr && type->children->children != nullptr;
    call(xml_dom_free_node, inner);
    EXPECT_EQ(namespaces(), 1U);
    EXPECT_TRUE(has_content);
    EXPECT_EQ(name(held), "s");
}

// Asked to stop, it leaves all as it is; the next time it goes on.
TEST_F(family_waste, looking_stops_with_its_statement) {
    std::string wide = "<b xmlns:p='urn:p'>";
    for (int i = 0; i < 20000; ++i) {
        wide += "<p:c/>";
    }
    const sql::handle copy = import(tree, document(wide + "</b>"), true);
    const sql::handle top = root(copy);
    const sql::handle loose = first(top);
    append(root(tree), loose); // what the top declares is used elsewhere from now on
    release(loose);
    release(top);
    dbe::family &owner = *dbe::find_family(*entry(tree));
    host::standalone::cancel_after_polls(1);
    release(copy);
    EXPECT_EQ(owner.copies.count, 1U);
    host::standalone::forget_cancel();
    EXPECT_TRUE(sql::check_invariants());
    EXPECT_EQ(copies(), 0U);
    EXPECT_EQ(written_root(tree), "<a><p:c/></a>");
    EXPECT_EQ(node(first(root(tree)))->ns->href[0], 'u');
}

} // namespace
