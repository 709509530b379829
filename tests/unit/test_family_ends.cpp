// Nodes that stand in lists leave their places in every way there is; then their family ends, in
// every way there is. Nothing may stay behind, and the lists are empty.
#include "changing.hpp"

#include "host/lifetime.hpp"
#include "standalone_transactions.hpp"
#include "support/arrays.hpp"
#include "support/invariants.hpp"

#include <array>
#include <vector>

namespace {

using sql::call;
namespace standalone = host::standalone;

// A document, and lists that hold all of its nodes and nothing else does.
struct listed_tree {
    sql::handle document, root, section, attribute;
    std::array<sql::handle, 4> lists; // children of the document, the root, the section, and x
};

using change = void (*)(const listed_tree &t);

struct departure {
    const char *name;
    bool detaches; // a needed node stands at the top of a tree at some moment
    change leave;
};

sql::handle made(const listed_tree &t) {
    return call(xmldom_create_element, t.document, "made").handle();
}
sql::handle child(const listed_tree &t, int place) {
    return call(xml_dom_item, t.lists[1], place).handle();
}
void expect_done(const sql::result &outcome) { EXPECT_FALSE(outcome.failed()); }

const departure k_departures[] = {
    {"none", false, [](const listed_tree &) {}},
    {"named", false,
     [](const listed_tree &t) {
         for (int place = 0; place < 4; ++place) {
             expect_done(call(xml_dom_get_parent_node, child(t, place)));
         }
         expect_done(call(xml_dom_get_elements_by_tagname_document, t.document, "u"));
         expect_done(call(xml_dom_get_attributes, child(t, 0)));
     }},
    {"made_freed_at_once", true,
     [](const listed_tree &t) { expect_done(call(xml_dom_free_element, made(t))); }},
    {"made", true, [](const listed_tree &t) { static_cast<void>(made(t)); }},
    {"made_with_children_listed_and_given_up", true,
     [](const listed_tree &t) {
         const sql::handle top = made(t);
         expect_done(call(xmldom_append_child, top, made(t)));
         expect_done(call(xml_dom_get_child_nodes, top));
         expect_done(call(xml_dom_free_element, top));
     }},
    {"imported_with_a_list_of_it", true,
     [](const listed_tree &t) {
         const sql::handle copy = call(xml_dom_import_node, t.document, child(t, 0), true).handle();
         expect_done(call(xml_dom_get_child_nodes, copy));
         expect_done(call(xml_dom_free_node, copy));
     }},
    {"removed", true, [](const listed_tree &t) { expect_done(call(xmldom_remove, child(t, 0))); }},
    {"removed_below_what_was_removed", true,
     [](const listed_tree &t) {
         expect_done(call(xmldom_remove, child(t, 0)));
         expect_done(call(xmldom_remove, call(xml_dom_item, t.lists[2], 0).handle()));
     }},
    {"removed_root", true, [](const listed_tree &t) { expect_done(call(xmldom_remove, t.root)); }},
    {"removed_and_given_up", true,
     [](const listed_tree &t) {
         const sql::handle first = child(t, 0);
         expect_done(call(xmldom_remove, first));
         expect_done(call(xml_dom_free_node, first));
     }},
    {"removed_and_put_back", true,
     [](const listed_tree &t) {
         const sql::handle first = child(t, 0);
         expect_done(call(xmldom_remove, first));
         expect_done(call(xmldom_append_child, t.root, first));
     }},
    {"replaced", true,
     [](const listed_tree &t) {
         expect_done(call(xmldom_replace_child, t.root, made(t), child(t, 1)));
     }},
    {"replaced_by_its_child", true,
     [](const listed_tree &t) {
         expect_done(call(xmldom_replace_child, t.root,
                          call(xml_dom_get_first_child, child(t, 2)).handle(), child(t, 2)));
     }},
    {"replaced_with_others", true,
     [](const listed_tree &t) {
         expect_done(call(xmldom_replace_with, child(t, 2), sql::array_of({made(t), child(t, 0)})));
     }},
    {"children_replaced", true,
     [](const listed_tree &t) {
         expect_done(call(xmldom_replace_children, t.root, sql::array_of({child(t, 3)})));
     }},
    {"text_set", true,
     [](const listed_tree &t) { expect_done(call(xmldom_set_text_content, t.root, "x")); }},
    {"text_set_that_only_a_list_holds", true,
     [](const listed_tree &t) { expect_done(call(xmldom_set_text_content, t.section, "x")); }},
    {"normalized", true,
     [](const listed_tree &t) {
         expect_done(call(xmldom_split_text, child(t, 1), 1));
         expect_done(call(xml_dom_get_child_nodes, t.root));
         expect_done(call(xmldom_normalize, t.root));
     }},
    {"merged", true,
     [](const listed_tree &t) { expect_done(call(xml_dom_append_child, t.section, child(t, 1))); }},
    {"moved", true,
     [](const listed_tree &t) { expect_done(call(xml_dom_append_child, t.root, child(t, 0))); }},
    {"moved_below_a_new_node", true,
     [](const listed_tree &t) {
         const sql::handle top = made(t);
         expect_done(call(xml_dom_append_child, top, child(t, 0)));
         expect_done(call(xml_dom_free_element, top));
     }},
    {"adopted_within_the_document", true,
     [](const listed_tree &t) { expect_done(call(xmldom_adopt_node, t.document, child(t, 2))); }},
    {"adopted_by_another_document", true,
     [](const listed_tree &t) {
         const sql::handle other = call(xml_dom_new_document_clob, "<o/>").handle();
         expect_done(call(xmldom_adopt_node, other, child(t, 0)));
         expect_done(call(xml_dom_free_document, other));
     }},
    {"attribute_value_set", true,
     [](const listed_tree &t) { expect_done(call(xml_dom_set_attribute, t.section, "x", "2")); }},
    {"attribute_text_set", true,
     [](const listed_tree &t) { expect_done(call(xml_dom_set_node_value, t.attribute, "2")); }},
    {"attribute_removed", true,
     [](const listed_tree &t) {
         expect_done(call(xml_dom_remove_attribute_node, t.section, t.attribute));
         expect_done(call(xml_dom_free_node, t.attribute)); // its text is listed
     }},
    {"attribute_replaced", true,
     [](const listed_tree &t) {
         const sql::handle other = call(xml_dom_create_attribute, t.document, "x").handle();
         expect_done(call(xml_dom_set_attribute_node, t.section, other));
     }},
};

struct ending {
    const char *name;
    bool by_transaction;
    bool forgets; // no handle of the document is known any more
    void (*end)(const listed_tree &t);
};

const ending k_endings[] = {
    {"document_freed", false, true,
     [](const listed_tree &t) { expect_done(call(xml_dom_free_document, t.document)); }},
    {"last_share_given_up", false, false,
     [](const listed_tree &t) { expect_done(call(xml_dom_free_node, t.document)); }},
    {"all_freed", false, true, [](const listed_tree &) { expect_done(call(xml_dom_free_all)); }},
    {"transaction_ended", true, true,
     [](const listed_tree &) { standalone::commit_transaction(); }},
};

class family_ends : public changing {
  protected:
    // With lists of the packages, which are arrays, or of the long-named functions; these list the
    // text of an attribute too.
    static listed_tree make(bool arrays) {
        const auto list_of = [arrays](const sql::handle &of) {
            return arrays ? call(xmldom_get_child_nodes, of).handle()
                          : call(xml_dom_get_child_nodes, of).handle();
        };
        listed_tree t;
        t.document = document("<r><s x='1'>in</s>text<t><u/></t><!--c--></r>");
        t.root = root(t.document);
        t.section = call(xml_dom_make_element, first(t.root)).handle();
        t.attribute = attribute_of(t.section, "x");
        t.lists = {list_of(t.document), list_of(t.root), list_of(t.section),
                   call(xml_dom_get_child_nodes, t.attribute).handle()};
        EXPECT_EQ(pkg_dbe_xml::is_array(*entry(t.lists[0])), arrays);
        return t;
    }
    // The lists hold what they held, and the family knows whether nodes may be detached.
    static void expect_kept(const listed_tree &t, bool detaches) {
        const std::array<int, 4> lengths{1, 4, 1, 1};
        for (std::size_t i = 0; i < lengths.size(); ++i) {
            EXPECT_EQ(call(xml_dom_get_length, t.lists[i]).integer(), lengths[i]);
            EXPECT_TRUE(entry(t.lists[i])->object != nullptr);
        }
        EXPECT_EQ(pkg_dbe_xml::find_family(*entry(t.document))->has_detached, detaches);
        EXPECT_TRUE(sql::check_invariants());
    }
    static void expect_gone(const listed_tree &t, bool forgets) {
        for (const sql::handle &list : t.lists) {
            EXPECT_EQ(is_known(list), !forgets);
            if (!forgets) {
                EXPECT_EQ(call(xml_dom_get_length, list).integer(), 0);
            }
        }
        EXPECT_EQ(is_known(t.section), !forgets);
        EXPECT_EQ(node(t.section), nullptr);
        EXPECT_EQ(pkg_dbe_xml::current_registry()->witnesses, 0U);
        EXPECT_TRUE(sql::check_invariants());
        if (!forgets) {
            expect_done(call(xml_dom_free_document, t.document)); // its empty lists go
        }
    }
    sql::node_watch watch; // before the session begins and after it has ended
};

TEST_F(family_ends, after_nodes_left_in_every_way) {
    expect_done(call(xmldom_get_child_nodes, document("<o/>"))); // the session has what it keeps
    for (const ending &way : k_endings) {
        for (const departure &departs : k_departures) {
            for (const bool arrays : {false, true}) {
                SCOPED_TRACE(std::string(departs.name) + ", " + way.name +
                             (arrays ? ", arrays" : ", lists"));
                const std::int64_t before = libxml2_bytes();
                host::lifetime_setting = static_cast<int>(
                    way.by_transaction ? host::lifetime::transaction : host::lifetime::session);
                const listed_tree t = make(arrays);
                EXPECT_FALSE(pkg_dbe_xml::find_family(*entry(t.document))->has_detached);
                departs.leave(t);
                expect_kept(t, departs.detaches);
                way.end(t);
                expect_gone(t, way.forgets);
                EXPECT_LE(libxml2_bytes(), before);
                host::standalone::reset_caller_context();
            }
        }
    }
}

TEST_F(family_ends, with_the_session_after_nodes_left_in_every_way) {
    for (const departure &departs : k_departures) {
        SCOPED_TRACE(departs.name);
        departs.leave(make(false));
        departs.leave(make(true));
    }
    EXPECT_TRUE(sql::check_invariants());
    restart_session();
    EXPECT_EQ(libxml2_bytes(), 0);
}

// Only handles that were given up lead to a family whose document is gone.
TEST_F(family_ends, of_a_family_of_loose_nodes) {
    const sql::handle tree = document("<r/>");
    call(xml_dom_free_node, tree);
    EXPECT_TRUE(pkg_dbe_xml::family_of(*entry(tree)).has_detached);
}

} // namespace
