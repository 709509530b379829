// The registry's own care for its tables: pages that shrink and come back, ids taken back after a
// failure, entries that are there already, families whose ids, parsers and nodes come and go in
// every order. Much of it no sequence of calls brings about.
#include "support/invariants.hpp"
#include "support/sql.hpp"

#include "host/session.hpp"
#include "libxml/xml.hpp"
#include "registry.hpp"
#include "standalone_faults.hpp"
#include "standalone_session.hpp"
#include "trees.hpp"

#include <libxml/HTMLtree.h>

#include <array>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace {

namespace standalone = host::standalone;
using pkg_dbe_xml::DomKey;
using pkg_dbe_xml::family;
using pkg_dbe_xml::XmlParserHashEntry;
using trees::XMLDomNodeType;
using trees::XMLEntryType;
using trees::XMLHashEntry;

constexpr XMLEntryType k_dom_map = XMLEntryType::dom_map;
constexpr std::uint32_t k_page = 256; // node ids from here on stand in pages of so many

DomKey key_of(std::uint32_t document_id, std::uint32_t node_id, std::uint32_t serial) {
    DomKey key{};
    pkg_dbe_xml::xml_dom_general_key(document_id, node_id, serial, key);
    return key;
}

class registry_tables : public sql::session_test {
  protected:
    DomKey document_key{};
    xmlDocPtr document = nullptr;

    static xmlDocPtr make_document() {
        const host::tree_scope scope;
        xmlDocPtr const made = xmlNewDoc(trees::xml("1.0"));
        xmlDocSetRootElement(made, xmlNewDocNode(made, nullptr, trees::xml("root"), nullptr));
        return made;
    }
    static DomKey added(xmlDocPtr made) {
        return pkg_dbe_xml::check_raw_id_valid(pkg_dbe_xml::register_document(made));
    }
    // A registered document <root/>.
    void add_document() {
        document = make_document();
        document_key = added(document);
    }
    [[nodiscard]] xmlNodePtr root() const { return document->children; }
    xmlNodePtr make_element(const char *name) const {
        const host::tree_scope scope;
        return xmlNewDocNode(document, nullptr, trees::xml(name), nullptr);
    }
    static XMLHashEntry *find(const DomKey &key) { return pkg_dbe_xml::xml_find_hashentry(key); }
    DomKey mint(void *object, XMLDomNodeType kind = XMLDomNodeType::node) const {
        const XMLHashEntry &from = *find(document_key);
        return pkg_dbe_xml::check_raw_id_valid(
            pkg_dbe_xml::mint_handle(from, from.key.serial(), object, kind));
    }
    // Handles with the next `count` node ids, of kinds that take turns.
    std::vector<DomKey> mint_many(std::size_t count,
                                  const std::vector<XMLDomNodeType> &kinds) const {
        std::vector<DomKey> keys;
        for (std::size_t index = 0; index < count; ++index) {
            keys.push_back(mint(root(), kinds[index % kinds.size()]));
        }
        return keys;
    }
    // Uses up the node ids below the first page.
    void fill_pieces() const { mint_many(k_page - 1, {XMLDomNodeType::node}); }
    static void release(const std::vector<DomKey> &keys) {
        for (const DomKey &key : keys) {
            pkg_dbe_xml::xml_free_hashentry(k_dom_map, key);
        }
    }
    static void expect_released(const std::vector<DomKey> &keys,
                                const std::vector<XMLDomNodeType> &kinds) {
        for (std::size_t index = 0; index < keys.size(); ++index) {
            const XMLHashEntry *const entry = find(keys[index]);
            ASSERT_NE(entry, nullptr) << index;
            ASSERT_EQ(entry->object, nullptr) << index;
            ASSERT_EQ(entry->kind, kinds[index % kinds.size()]) << index;
        }
    }
    static std::size_t registry_bytes() {
        return standalone::memory_of(host::u_sess.xmldom_context).bytes;
    }
};

// --- pages ---------------------------------------------------------------------------------------

TEST_F(registry_tables, pages_shrink_beside_others_of_any_form) {
    add_document();
    fill_pieces();
    using enum XMLDomNodeType;
    const std::vector<std::vector<XMLDomNodeType>> patterns{
        {node}, {node, text}, {element, node}, {element, node}, {attribute}, {text, node}};
    std::vector<std::vector<DomKey>> pages;
    for (const auto &pattern : patterns) {
        pages.push_back(mint_many(k_page, pattern));
    }
    const std::size_t full = registry_bytes();
    for (const auto &page : pages) {
        release(page);
    }
    EXPECT_LT(registry_bytes(), full - pages.size() * k_page * sizeof(XMLHashEntry) / 2);
    for (std::size_t number = 0; number < pages.size(); ++number) {
        expect_released(pages[number], patterns[number]);
    }
    EXPECT_TRUE(sql::check_invariants());
}

TEST_F(registry_tables, forged_keys_of_pages_that_were_given_back_or_never_made_are_unknown) {
    add_document();
    fill_pieces();
    using enum XMLDomNodeType;
    release(mint_many(k_page, {node}));
    release(mint_many(k_page, {node, text}));
    const std::uint32_t serial = document_key.serial();
    for (const std::uint32_t node_id : {k_page, 2 * k_page}) {
        EXPECT_NE(find(key_of(document_key.document_id(), node_id, serial)), nullptr);
        EXPECT_EQ(find(key_of(document_key.document_id(), node_id, serial + 1)), nullptr);
    }
    // The directory of pages has room for more than there are.
    for (const std::uint32_t node_id : {3 * k_page, 4 * k_page, 5 * k_page, 1000 * k_page}) {
        EXPECT_EQ(find(key_of(document_key.document_id(), node_id, serial)), nullptr);
    }
    pkg_dbe_xml::xml_release_document(document_key);
    EXPECT_EQ(pkg_dbe_xml::xml_count_hashentries(), 0U);
    EXPECT_EQ(find(key_of(document_key.document_id(), k_page, serial)), nullptr);
}

TEST_F(registry_tables, a_handle_of_a_given_back_page_is_deleted) {
    add_document();
    fill_pieces();
    using enum XMLDomNodeType;
    const std::vector<DomKey> uniform = mint_many(k_page, {node});
    xmlNodePtr const dropped = make_element("dropped");
    const DomKey gap = mint(dropped);
    const std::vector<DomKey> mixed = mint_many(k_page - 1, {text, node});
    pkg_dbe_xml::drop_names(dropped);
    pkg_dbe_xml::retire(pkg_dbe_xml::family_of(*find(document_key)), dropped);
    release(uniform);
    release(mixed);
    EXPECT_EQ(find(gap), nullptr);
    const std::size_t count = pkg_dbe_xml::xml_count_hashentries();
    for (const std::vector<DomKey> &keys : {uniform, mixed}) {
        pkg_dbe_xml::xml_delete_hashentry(k_dom_map, keys[10]);
        EXPECT_EQ(find(keys[10]), nullptr);
        EXPECT_NE(find(keys[9]), nullptr);
        EXPECT_NE(find(keys[11]), nullptr);
    }
    EXPECT_EQ(pkg_dbe_xml::xml_count_hashentries(), count - 2);
    EXPECT_EQ(find(gap), nullptr);
    // Its node id comes back, and the page shrinks again with it.
    EXPECT_EQ(mint(root()).node_id(), uniform[10].node_id());
    EXPECT_EQ(mint(root()).node_id(), mixed[10].node_id());
    EXPECT_TRUE(sql::check_invariants());
}

TEST_F(registry_tables, handles_of_pages_of_every_form_are_counted_until_their_document_goes) {
    const DomKey other = added(make_document());
    add_document();
    fill_pieces();
    using enum XMLDomNodeType;
    xmlNodePtr const dropped = make_element("dropped");
    for (std::uint32_t count = 0; count < k_page; ++count) { // a page of no handle at all
        mint(dropped);
    }
    pkg_dbe_xml::drop_names(dropped);
    pkg_dbe_xml::retire(pkg_dbe_xml::family_of(*find(document_key)), dropped);
    release(mint_many(k_page, {node}));
    release(mint_many(k_page, {node, text}));
    mint_many(10, {node});
    // The two documents, what is in the pieces, and three pages.
    EXPECT_EQ(pkg_dbe_xml::xml_count_hashentries(), 2 + (k_page - 1) + 2 * k_page + 10);
    EXPECT_TRUE(sql::check_invariants());
    pkg_dbe_xml::xml_release_document(document_key);
    EXPECT_EQ(pkg_dbe_xml::xml_count_hashentries(), 1U);
    pkg_dbe_xml::xml_release_document(other);
    EXPECT_EQ(pkg_dbe_xml::xml_count_hashentries(), 0U);
}

TEST_F(registry_tables, a_page_stays_as_it_is_without_the_memory_for_its_small_form) {
    add_document();
    fill_pieces();
    using enum XMLDomNodeType;
    const std::vector<DomKey> keys = mint_many(k_page, {node, text});
    release({keys.begin(), keys.end() - 1});
    const std::size_t before = registry_bytes();
    standalone::fail_call(standalone::service::allocation, 1, standalone::k_for_ever);
    pkg_dbe_xml::xml_free_hashentry(k_dom_map, keys.back());
    EXPECT_EQ(standalone::faults_of(standalone::service::allocation), 1);
    standalone::clear_faults();
    EXPECT_EQ(registry_bytes(), before);
    expect_released(keys, {node, text});
    EXPECT_TRUE(sql::check_invariants());
    // The page that is still whole takes its ids back, as any other does.
    pkg_dbe_xml::xml_delete_hashentry(k_dom_map, keys[7]);
    EXPECT_EQ(mint(root()).node_id(), keys[7].node_id());
}

TEST_F(registry_tables, a_released_handle_is_deleted_and_its_node_id_comes_back) {
    add_document();
    const DomKey first = mint(root());
    const DomKey second = mint(root());
    pkg_dbe_xml::xml_free_hashentry(k_dom_map, first);
    pkg_dbe_xml::xml_delete_hashentry(k_dom_map, first);
    EXPECT_EQ(find(first), nullptr);
    EXPECT_NE(find(second), nullptr);
    EXPECT_EQ(mint(root()).node_id(), first.node_id());
    EXPECT_EQ(mint(root()).node_id(), second.node_id() + 1);
}

// --- insertion and deletion ----------------------------------------------------------------------

TEST_F(registry_tables, a_handle_is_not_registered_under_a_document_id_that_was_not_given_out) {
    add_document();
    const DomKey key = key_of(document_key.document_id() + 1, 1, document_key.serial());
    EXPECT_EQ(sql::sqlstate_of([&] {
                  pkg_dbe_xml::xml_insert_hashentry(k_dom_map, key, root(), "",
                                                    XMLDomNodeType::node);
              }),
              reports::handle_not_found.sqlstate);
    EXPECT_EQ(find(key), nullptr);
    EXPECT_EQ(pkg_dbe_xml::first_name(root()), nullptr);
}

TEST_F(registry_tables, a_node_id_has_one_handle_whatever_the_serial) {
    add_document();
    const DomKey key = mint(root());
    const DomKey later = key_of(key.document_id(), key.node_id(), key.serial() + 1);
    EXPECT_EQ(sql::sqlstate_of([&] {
                  pkg_dbe_xml::xml_insert_hashentry(k_dom_map, later, root(), "",
                                                    XMLDomNodeType::node);
              }),
              reports::handle_exists.sqlstate);
    EXPECT_EQ(find(later), nullptr);
    EXPECT_EQ(pkg_dbe_xml::first_name(root()), find(key));
    EXPECT_EQ(find(key)->names.next, nullptr);
}

TEST_F(registry_tables, handles_are_registered_for_nothing) {
    add_document();
    const std::uint32_t id = document_key.document_id();
    for (const std::uint32_t node_id : {5U, 600U}) {
        for (const XMLDomNodeType kind : {XMLDomNodeType::node, XMLDomNodeType::node_list}) {
            const DomKey key = key_of(id, kind == XMLDomNodeType::node ? node_id : node_id + 1, 2);
            const XMLHashEntry *const made =
                pkg_dbe_xml::xml_insert_hashentry(k_dom_map, key, nullptr, "", kind);
            EXPECT_EQ(made->object, nullptr);
            EXPECT_EQ(find(key)->kind, kind);
        }
    }
    // That of a document takes no share of any.
    const std::uint32_t empty = pkg_dbe_xml::xml_get_next_docid();
    const DomKey own = key_of(empty, 0, 9);
    pkg_dbe_xml::xml_insert_hashentry(k_dom_map, own, nullptr, "", XMLDomNodeType::document);
    EXPECT_EQ(pkg_dbe_xml::find_family(*find(own)), nullptr);
    EXPECT_EQ(pkg_dbe_xml::family_of(*find(document_key)).shares, 1U);
    pkg_dbe_xml::xml_release_document(own);
    EXPECT_EQ(find(own), nullptr);
}

TEST_F(registry_tables, the_deleted_handle_of_a_document_gives_back_no_node_id) {
    add_document();
    const DomKey node = mint(root());
    pkg_dbe_xml::xml_delete_hashentry(k_dom_map, document_key);
    EXPECT_EQ(find(document_key), nullptr);
    EXPECT_EQ(host::gate.bytes_in_use, 0); // the only share is gone
    EXPECT_EQ(find(node)->object, nullptr);
    EXPECT_EQ(pkg_dbe_xml::xml_get_next_nodeid(document_key.document_id()), node.node_id() + 1);
    // Without a document handle there is no document to be released.
    EXPECT_EQ(pkg_dbe_xml::xml_release_all_documents(), 0U);
    pkg_dbe_xml::xml_release_document(node);
    EXPECT_EQ(find(node), nullptr);
}

TEST_F(registry_tables, a_document_handle_comes_back_to_the_family_of_its_id) {
    add_document();
    const DomKey second = key_of(pkg_dbe_xml::xml_get_next_docid(), 0, 77);
    pkg_dbe_xml::xml_insert_hashentry(k_dom_map, second, document, "", XMLDomNodeType::document);
    const family &owner = pkg_dbe_xml::family_of(*find(document_key));
    EXPECT_EQ(owner.shares, 2U);
    pkg_dbe_xml::xml_delete_hashentry(k_dom_map, second);
    EXPECT_EQ(owner.shares, 1U);
    pkg_dbe_xml::xml_insert_hashentry(k_dom_map, second, document, "", XMLDomNodeType::document);
    EXPECT_EQ(owner.shares, 2U);
    EXPECT_EQ(&pkg_dbe_xml::family_of(*find(second)), &owner);
    EXPECT_TRUE(sql::check_invariants());
    pkg_dbe_xml::xml_release_document(document_key);
    EXPECT_EQ(owner.shares, 1U);
    pkg_dbe_xml::xml_release_document(second);
    EXPECT_EQ(host::gate.bytes_in_use, 0);
}

// A document id without a document: what it owns ends with it.
TEST_F(registry_tables, an_id_without_a_document_handle_is_released) {
    add_document();
    for (const std::uint32_t node_id : {3U, 20U}) { // with and without the first piece of the map
        const std::uint32_t id = pkg_dbe_xml::xml_get_next_docid();
        xmlNodePtr const loose = make_element("loose");
        const DomKey key = key_of(id, node_id, 5);
        pkg_dbe_xml::xml_insert_hashentry(k_dom_map, key, loose, "", XMLDomNodeType::node);
        EXPECT_EQ(pkg_dbe_xml::find_family(*find(key)), nullptr);
        const family &owner = pkg_dbe_xml::family_of(*find(key));
        EXPECT_EQ(owner.main, nullptr);
        EXPECT_EQ(pkg_dbe_xml::find_family(*find(key)), &owner);
        const std::int64_t before = host::gate.bytes_in_use;
        pkg_dbe_xml::xml_release_document(key);
        EXPECT_EQ(find(key), nullptr);
        EXPECT_LT(host::gate.bytes_in_use, before); // the node went with its only name
    }
    EXPECT_TRUE(sql::check_invariants());
}

TEST_F(registry_tables, an_entry_outlives_its_document_id) {
    EXPECT_EQ(find(key_of(0, 0, 2)), nullptr); // before there is a registry
    add_document();
    const XMLHashEntry copy = *find(document_key);
    pkg_dbe_xml::xml_release_document(document_key);
    EXPECT_EQ(pkg_dbe_xml::find_family(copy), nullptr);
}

// --- identifiers ---------------------------------------------------------------------------------

TEST_F(registry_tables, a_document_id_handed_back_comes_after_those_before_it) {
    std::array<DomKey, 3> keys{};
    for (DomKey &key : keys) {
        add_document();
        key = document_key;
    }
    pkg_dbe_xml::xml_release_document(keys[1]);
    pkg_dbe_xml::xml_release_document(keys[0]);
    pkg_dbe_xml::xml_dom_remove_doc_entry(pkg_dbe_xml::xml_get_next_docid());
    pkg_dbe_xml::xml_recycle_docid(keys[1].document_id());
    EXPECT_EQ(pkg_dbe_xml::xml_get_next_docid(), keys[0].document_id());
    EXPECT_EQ(pkg_dbe_xml::xml_get_next_docid(), keys[1].document_id());
}

TEST_F(registry_tables, a_document_id_that_was_not_used_is_the_next_one) {
    std::array<DomKey, 3> keys{};
    for (DomKey &key : keys) {
        add_document();
        key = document_key;
    }
    pkg_dbe_xml::xml_release_document(keys[2]);
    pkg_dbe_xml::xml_release_document(keys[0]);
    const std::int64_t before = host::gate.bytes_in_use;
    std::int64_t failed = 0;
    for (;; ++failed) {
        standalone::fail_call(standalone::service::allocation, failed + 1);
        const sql::result made = sql::call(xml_dom_new_document_clob, "<a/>");
        standalone::clear_faults();
        if (!made.failed()) {
            EXPECT_EQ(made.handle().document_id(), keys[2].document_id());
            break;
        }
        EXPECT_EQ(made.error().sqlstate, "53200");
        EXPECT_EQ(host::gate.bytes_in_use, before);
        EXPECT_TRUE(sql::check_invariants());
    }
    EXPECT_GT(failed, 2);
    EXPECT_EQ(trees::empty_document().document_id(), keys[0].document_id());
}

TEST_F(registry_tables, a_registry_that_is_half_made_has_no_documents) {
    std::int64_t failed = 0;
    for (;; ++failed) {
        standalone::fail_call(standalone::service::allocation, failed + 1);
        const std::string outcome =
            sql::sqlstate_of([] { static_cast<void>(pkg_dbe_xml::xml_next_serial()); });
        standalone::clear_faults();
        if (outcome == "none") {
            break;
        }
        EXPECT_EQ(outcome, "53200");
        EXPECT_EQ(pkg_dbe_xml::xml_release_all_documents(), 0U);
        EXPECT_EQ(pkg_dbe_xml::xml_count_hashentries(), 0U);
    }
    EXPECT_GT(failed, 3);
    add_document();
    EXPECT_EQ(pkg_dbe_xml::xml_release_all_documents(), 1U);
}

// --- families ------------------------------------------------------------------------------------

TEST_F(registry_tables, a_family_ends_with_several_parsers_that_handed_its_document_over) {
    add_document();
    family &owner = pkg_dbe_xml::family_of(*find(document_key));
    std::array<XmlParserHashEntry, 4> parsers{};
    for (XmlParserHashEntry &parser : parsers) {
        parser.doc = document;
        parser.docHandedOver = true;
        pkg_dbe_xml::unlink_parser(parser); // no family names it yet: nothing happens
        EXPECT_EQ(parser.doc, document);
        pkg_dbe_xml::link_parser(owner, parser);
    }
    EXPECT_EQ(owner.parsers, &parsers[3]);
    // One from the middle of the chain, one from its end, one from its beginning.
    pkg_dbe_xml::unlink_parser(parsers[1]);
    EXPECT_EQ(parsers[2].next_in_family, parsers.data());
    EXPECT_EQ(parsers[0].previous_in_family, &parsers[2]);
    pkg_dbe_xml::unlink_parser(parsers[0]);
    EXPECT_EQ(parsers[2].next_in_family, nullptr);
    pkg_dbe_xml::unlink_parser(parsers[3]);
    EXPECT_EQ(owner.parsers, &parsers[2]);
    EXPECT_EQ(parsers[2].previous_in_family, nullptr);
    pkg_dbe_xml::link_parser(owner, parsers[0]);
    pkg_dbe_xml::xml_release_document(document_key);
    for (const std::size_t index : {0U, 2U}) {
        EXPECT_EQ(parsers.at(index).doc, nullptr);
        EXPECT_FALSE(parsers.at(index).docHandedOver);
        EXPECT_EQ(parsers.at(index).handed_to, nullptr);
    }
    for (const std::size_t index : {1U, 3U}) { // those that took leave before
        EXPECT_EQ(parsers.at(index).doc, document);
        EXPECT_TRUE(parsers.at(index).docHandedOver);
        EXPECT_EQ(parsers.at(index).handed_to, nullptr);
    }
}

TEST_F(registry_tables, a_node_among_siblings_without_a_parent_is_retired_alone) {
    add_document();
    family &owner = pkg_dbe_xml::family_of(*find(document_key));
    std::array<xmlNodePtr, 3> chain{};
    for (xmlNodePtr &node : chain) {
        node = make_element("loose");
    }
    for (std::size_t index = 1; index < chain.size(); ++index) {
        chain.at(index - 1)->next = chain.at(index);
        chain.at(index)->prev = chain.at(index - 1);
    }
    pkg_dbe_xml::retire(owner, chain[0]); // has a next one
    EXPECT_EQ(chain[1]->prev, nullptr);
    EXPECT_EQ(chain[1]->next, chain[2]);
    pkg_dbe_xml::retire(owner, chain[2]); // has one before it
    EXPECT_EQ(chain[1]->next, nullptr);
    pkg_dbe_xml::retire(owner, chain[1]);
    EXPECT_TRUE(sql::check_invariants());
}

// No function makes them, but their nodes are nodes like others.
TEST_F(registry_tables, a_document_of_html_ends_with_its_last_handle) {
    xmlDocPtr html = nullptr;
    {
        const host::tree_scope scope;
        html = htmlNewDocNoDtD(nullptr, nullptr);
        xmlAddChild(reinterpret_cast<xmlNodePtr>(html),
                    xmlNewDocNode(html, nullptr, trees::xml("p"), nullptr));
    }
    document = html;
    document_key = added(html);
    const DomKey paragraph = mint(root());
    pkg_dbe_xml::xml_release_document(paragraph);
    EXPECT_EQ(find(document_key), nullptr);
    EXPECT_EQ(host::gate.bytes_in_use, 0);
}

// --- lists ---------------------------------------------------------------------------------------

TEST_F(registry_tables, a_list_has_the_members_it_was_registered_with) {
    add_document();
    xmlListPtr list = nullptr;
    {
        const host::tree_scope scope;
        list = xmlListCreate(nullptr, nullptr);
        xmlListPushBack(list, root());
    }
    XMLHashEntry &entry = *find(mint(list, XMLDomNodeType::node_list));
    {
        const host::tree_scope scope;
        xmlListPushBack(list, document);
    }
    EXPECT_EQ(pkg_dbe_xml::list_size(entry), 1U);
    EXPECT_EQ(pkg_dbe_xml::list_member(entry, 0), root());
    EXPECT_EQ(pkg_dbe_xml::list_member(entry, 1), nullptr);
}

TEST_F(registry_tables, more_members_than_a_number_can_tell_are_reported) {
    add_document();
    const sql::handle list =
        trees::list_of(trees::handle_of(pkg_dbe_xml::get_datum_by_dom_key(document_key)), {root()});
    XMLHashEntry &entry = *trees::entry_of(list);
    entry.members.size = std::size_t{INT32_MAX} + 1;
    EXPECT_REPORT(sql::call(xml_dom_get_length, list), reports::internal_function_failed);
    EXPECT_REPORT(sql::call(xml_dom_item, list, 0), reports::internal_function_failed);
    entry.members.size = INT32_MAX;
    EXPECT_EQ(sql::call(xml_dom_get_length, list).integer(), INT32_MAX);
    entry.members.size = 1;
    EXPECT_EQ(trees::node_of(sql::call(xml_dom_item, list, 0).handle()), root());
}

} // namespace
