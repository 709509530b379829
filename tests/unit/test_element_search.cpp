// Searching all elements below a document or element by name and namespace.
#include "trees.hpp"

#include "faults.hpp"
#include "standalone_session.hpp"
#include "tree/pkg_xml_dom_common.hpp"

namespace {

using namespace trees;

constexpr sql::function k_searches[] = {xml_dom_get_elements_by_tagname_document,
                                        xml_dom_get_elements_by_tagname_element};

class element_search : public sql::session_test {
  protected:
    static std::string found(const sql::handle &start, const std::string &name) {
        const sql::handle list =
            sql::call(xml_dom_get_elements_by_tagname_element, start, name).handle();
        EXPECT_EQ(kind_of(list), 14);
        return names_in(list);
    }
    static std::string found(const sql::handle &start, const std::string &name,
                             const std::string &uri) {
        return names_in(sql::call(xml_dom_get_elements_by_tagname_ns, start, name, uri).handle());
    }
};

TEST_F(element_search, null_gives_null) {
    const sql::handle document = parsed("<r/>");
    for (const sql::function search : k_searches) {
        EXPECT_TRUE(sql::call(search, sql::null, "a").is_null());
        EXPECT_TRUE(sql::call(search, document, sql::null).is_null());
    }
    EXPECT_TRUE(sql::call(xml_dom_get_elements_by_tagname_ns, sql::null, "a", "u").is_null());
    EXPECT_TRUE(sql::call(xml_dom_get_elements_by_tagname_ns, document, sql::null, "u").is_null());
    EXPECT_TRUE(sql::call(xml_dom_get_elements_by_tagname_ns, document, "a", sql::null).is_null());
}

TEST_F(element_search, what_names_nothing_gives_null) {
    const sql::handle element = root(parsed("<r/>"));
    release(element);
    for (const sql::function search : k_searches) {
        EXPECT_TRUE(sql::call(search, element, "a").is_null());
    }
    EXPECT_TRUE(sql::call(xml_dom_get_elements_by_tagname_ns, element, "a", "u").is_null());
}

TEST_F(element_search, finds_in_document_order) {
    const sql::handle document = parsed("<r><a i='1'><b><a i='2'/></b><a i='3'/></a><c/>"
                                        "<d><e><a i='4'/></e></d><a i='5'/></r>");
    const sql::handle list =
        sql::call(xml_dom_get_elements_by_tagname_document, document, "a").handle();
    std::string order;
    for (int i = 0; i < sql::call(xml_dom_get_length, list).integer(); ++i) {
        const sql::handle item = sql::call(xml_dom_item, list, i).handle();
        order +=
            sql::call(xml_dom_get_attribute, sql::call(xml_dom_make_element, item).handle(), "i")
                .text();
    }
    EXPECT_EQ(order, "12345");
    EXPECT_EQ(found(document, "*"), "r a b a a c d e a a");
}

TEST_F(element_search, the_start_is_not_found_but_the_root_of_a_document_is) {
    const sql::handle document = parsed("<a><a/><b/></a>");
    EXPECT_EQ(found(document, "a"), "a a");
    EXPECT_EQ(found(root(document), "a"), "a");
    EXPECT_EQ(found(root(document), "*"), "a b");
    const sql::handle inner = sql::call(xml_dom_get_first_child, root(document)).handle();
    EXPECT_EQ(found(inner, "*"), "");
}

TEST_F(element_search, does_not_leave_the_subtree) {
    const sql::handle document = parsed("<r><a><x/></a><b><x/><x/></b><x/></r>");
    const sql::handle a = sql::call(xml_dom_get_first_child, root(document)).handle();
    EXPECT_EQ(found(a, "x"), "x");
    EXPECT_EQ(found(sql::call(xml_dom_get_next_sibling, a).handle(), "x"), "x x");
}

TEST_F(element_search, wildcards_are_told_by_their_first_byte) {
    const sql::handle document = parsed("<r><a/><p:b xmlns:p='urn:p'/></r>");
    EXPECT_EQ(found(document, "*"), "r a p:b");
    EXPECT_EQ(found(document, "*anything"), "r a p:b");
    EXPECT_EQ(found(document, "a*"), "");
    EXPECT_EQ(found(document, ""), "");
    EXPECT_EQ(found(document, "*", "*"), "r a p:b");
    EXPECT_EQ(found(document, "*", "*rest"), "r a p:b");
    EXPECT_EQ(found(document, "b", "*"), "p:b");
    EXPECT_EQ(found(document, "a", "*"), "a");
}

TEST_F(element_search, prefixes_play_no_part) {
    const sql::handle document =
        parsed("<r xmlns:p='urn:p' xmlns:q='urn:q'><p:a/><q:a/><a/><x:a xmlns:x='urn:p'/></r>");
    EXPECT_EQ(found(document, "a"), "p:a q:a a x:a");
    EXPECT_EQ(found(document, "p:a"), "");
    EXPECT_EQ(found(document, "a", "urn:p"), "p:a x:a");
    EXPECT_EQ(found(document, "*", "urn:p"), "p:a x:a");
    EXPECT_EQ(found(document, "a", "p"), "");
    EXPECT_EQ(found(document, "a", ""), "");
    EXPECT_EQ(found(document, "r", "urn:p"), "");
}

TEST_F(element_search, only_elements_are_found_and_entered) {
    const sql::handle document = parsed("<!DOCTYPE r [<!ENTITY e '<a/>'>]><!--a--><r>text"
                                        "<![CDATA[a]]>&e;<?a?><!--a--><a/></r>");
    EXPECT_EQ(found(document, "text"), "");
    EXPECT_EQ(found(document, "*"), "r a");
    EXPECT_EQ(found(document, "a"), "a");
}

TEST_F(element_search, starts_without_elements_below_give_an_empty_list) {
    const sql::handle document = parsed("<!DOCTYPE r [<!ELEMENT r ANY><!ENTITY e '<a/>'>]>"
                                        "<r x='1'>text&e;<!--c--></r>");
    std::vector<xmlNodePtr> starts{
        reinterpret_cast<xmlNodePtr>(node_of(root(document))->properties),
        document_of(document)->children, document_of(document)->children->children};
    for (xmlNodePtr node = node_of(root(document))->children; node != nullptr; node = node->next) {
        starts.push_back(node);
    }
    for (xmlNodePtr start : starts) {
        EXPECT_EQ(found(named(document, start), "*"), "");
    }
    // The content of an entity can be searched from its declaration.
    EXPECT_EQ(found(named(document, document_of(document)->children->last), "*"), "a");
}

TEST_F(element_search, lists_and_maps_are_no_starts) {
    const sql::handle document = parsed("<r x='1'><a/></r>");
    const sql::handle list = sql::call(xml_dom_get_child_nodes, document).handle();
    const sql::handle map = sql::call(xml_dom_get_attributes, root_node(document)).handle();
    for (const sql::handle &handle : {list, map}) {
        for (const sql::function search : k_searches) {
            EXPECT_REPORT(sql::call(search, handle, "*"), reports::inconsistent_types);
        }
        EXPECT_REPORT(sql::call(xml_dom_get_elements_by_tagname_ns, handle, "*", "*"),
                      reports::inconsistent_types);
        release(handle);
        EXPECT_TRUE(sql::call(xml_dom_get_elements_by_tagname_document, handle, "*").is_null());
    }
}

TEST_F(element_search, both_names_are_the_same_search) {
    const sql::handle document = parsed("<r><a/><a/></r>");
    for (const sql::function search : k_searches) {
        EXPECT_EQ(names_in(sql::call(search, document, "a").handle()), "a a");
        EXPECT_EQ(names_in(sql::call(search, root(document), "a").handle()), "a a");
    }
}

TEST_F(element_search, each_search_makes_a_list_of_its_own) {
    const sql::handle document = parsed("<r><a/></r>");
    const sql::handle once =
        sql::call(xml_dom_get_elements_by_tagname_document, document, "a").handle();
    const sql::handle twice =
        sql::call(xml_dom_get_elements_by_tagname_document, document, "a").handle();
    EXPECT_EQ(twice.node_id(), once.node_id() + 1);
    EXPECT_NE(node_of(once), node_of(twice));
    EXPECT_EQ(once.serial(), document.serial());
}

TEST_F(element_search, wide_documents) {
    std::string text = "<r>";
    for (int i = 0; i < 50000; ++i) {
        text += "<a><b/></a>";
    }
    const sql::handle document = parsed(text + "</r>");
    const sql::handle list =
        sql::call(xml_dom_get_elements_by_tagname_document, document, "b").handle();
    EXPECT_EQ(sql::call(xml_dom_get_length, list).integer(), 50000);
}

TEST_F(element_search, a_list_that_cannot_be_made_or_filled) {
    const sql::handle document = parsed("<r><a/><a/></r>");
    const auto before = pkg_dbe_xml::xml_count_hashentries();
    for (int call = 1; call <= 4; ++call) {
        host::standalone::fail_call(host::standalone::service::libxml2_allocation, call);
        const sql::result outcome =
            sql::call(xml_dom_get_elements_by_tagname_document, document, "a");
        host::standalone::clear_faults();
        EXPECT_REPORT(outcome, call <= 2 ? reports::list_not_made : reports::list_not_filled);
    }
    EXPECT_EQ(pkg_dbe_xml::xml_count_hashentries(), before);
}

TEST_F(element_search, a_long_search_can_be_cancelled) {
    std::string text = "<r>";
    for (int i = 0; i < 20000; ++i) {
        text += "<a/>";
    }
    const sql::handle document = parsed(text + "</r>");
    host::standalone::cancel_after_polls(1);
    const sql::result outcome = sql::call(xml_dom_get_elements_by_tagname_document, document, "a");
    host::standalone::forget_cancel();
    EXPECT_TRUE(outcome.failed());
    EXPECT_EQ(found(document, "r"), "r");
}

// --- the routines by themselves
// ---------------------------------------------------------------------

TEST_F(element_search, one_node_is_tested) {
    const sql::handle document = parsed("<p:r xmlns:p='urn:p'>text</p:r>");
    xmlNodePtr element = node_of(root(document));
    xmlListPtr list = xmlListCreate(nullptr, nullptr);
    const auto appended = [&](xmlNodePtr node, const char *name, const char *uri) {
        const int before = xmlListSize(list);
        EXPECT_TRUE(pkg_dbe_xml::xml_node_pushback(node, xml(name),
                                                   uri == nullptr ? nullptr : xml(uri), list));
        return xmlListSize(list) - before;
    };
    EXPECT_EQ(appended(element, "r", nullptr), 1);
    EXPECT_EQ(appended(element, "*", nullptr), 1);
    EXPECT_EQ(appended(element, "r", "*"), 1);
    EXPECT_EQ(appended(element, "r", "urn:p"), 1);
    EXPECT_EQ(appended(element, "r", "urn:q"), 0);
    EXPECT_EQ(appended(element, "s", "urn:p"), 0);
    EXPECT_EQ(appended(element->children, "text", nullptr), 0);
    EXPECT_EQ(appended(element->children, "*", nullptr), 0);
    xmlListDelete(list);
}

TEST_F(element_search, members_are_marked_as_listed) {
    const sql::handle document = parsed("<r><a/></r>");
    xmlNodePtr a = node_of(root(document))->children;
    EXPECT_FALSE(pkg_dbe_xml::is_kept(a));
    static_cast<void>(sql::call(xml_dom_get_elements_by_tagname_document, document, "a"));
    EXPECT_TRUE(pkg_dbe_xml::is_kept(a));
}

} // namespace
