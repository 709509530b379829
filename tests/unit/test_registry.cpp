// The registry by itself: keys, entries, identifiers, families, what is kept and what is freed.
#include "sql.hpp"

#include "host/session.hpp"
#include "libxml/xml.hpp"
#include "registry.hpp"
#include "registry/dom_map.hpp"
#include "standalone_session.hpp"
#include "support/broken_tables.hpp"
#include "support/invariants.hpp"

#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace std::string_literals;
using pkg_dbe_xml::DomKey;
using pkg_dbe_xml::family;
using pkg_dbe_xml::XMLDomNodeType;
using pkg_dbe_xml::XMLEntryType;
using pkg_dbe_xml::XMLHashEntry;

constexpr XMLEntryType k_dom_map = XMLEntryType::dom_map;

DomKey key_of(std::uint32_t document_id, std::uint32_t node_id, std::uint32_t serial) {
    DomKey key{};
    pkg_dbe_xml::xml_dom_general_key(document_id, node_id, serial, key);
    return key;
}

DomKey key_of(host::datum handle) { return pkg_dbe_xml::check_raw_id_valid(handle); }

XMLHashEntry &entry_of(host::datum handle) {
    return *pkg_dbe_xml::xml_get_hashentry(k_dom_map, key_of(handle));
}

const xmlChar *text(const char *ascii) { return reinterpret_cast<const xmlChar *>(ascii); }

// A document <root/> within a scope, so that its memory counts as the session's.
xmlDocPtr make_document() {
    const host::tree_scope scope;
    xmlDocPtr document = xmlNewDoc(text("1.0"));
    xmlDocSetRootElement(document, xmlNewDocNode(document, nullptr, text("root"), nullptr));
    return document;
}
xmlNodePtr make_element(xmlDocPtr document, const char *name) {
    const host::tree_scope scope;
    return xmlNewDocNode(document, nullptr, text(name), nullptr);
}

class registry : public sql::session_test {
  protected:
    // A registered document <root/>; `document` names it.
    host::datum handle = 0;
    xmlDocPtr document = nullptr;
    void add_document() {
        document = make_document();
        handle = pkg_dbe_xml::register_document(document);
    }
    host::datum mint(xmlNodePtr node) const {
        return pkg_dbe_xml::mint_handle<XMLDomNodeType::node>(entry_of(handle), node);
    }
};

TEST_F(registry, key_has_its_bytes_in_order) {
    const DomKey key = key_of(0x04030201U, 0x14131211U, 0x24232221U);
    const std::vector<int> expected{1, 2, 3, 4, 17, 18, 19, 20, 33, 34, 35, 36, 1};
    for (std::size_t index = 0; index < expected.size(); ++index) {
        EXPECT_EQ(std::to_integer<int>(key.bytes.at(index)), expected[index]);
    }
    EXPECT_EQ(pkg_dbe_xml::xml_getdom_docid(&key), 0x04030201U);
    EXPECT_EQ(pkg_dbe_xml::xml_getdom_nodeid(&key), 0x14131211U);
    EXPECT_EQ(pkg_dbe_xml::xml_getdom_sessionid(&key), 0x24232221U);
}

TEST_F(registry, null_key_reads_as_all_ones) {
    EXPECT_EQ(pkg_dbe_xml::xml_getdom_docid(nullptr), 0xFFFFFFFFU);
    EXPECT_EQ(pkg_dbe_xml::xml_getdom_nodeid(nullptr), 0xFFFFFFFFU);
    EXPECT_EQ(pkg_dbe_xml::xml_getdom_sessionid(nullptr), 0xFFFFFFFFU);
}

TEST_F(registry, keys_compare_like_memory) {
    const unsigned char low[3]{1, 2, 3};
    const unsigned char high[3]{1, 200, 3};
    EXPECT_EQ(pkg_dbe_xml::xml_dom_hash_key_cmp(low, low, 3), 0);
    EXPECT_EQ(pkg_dbe_xml::xml_dom_hash_key_cmp(high, low, 3), 198);
    EXPECT_EQ(pkg_dbe_xml::xml_dom_hash_key_cmp(low, high, 3), -198);
    EXPECT_EQ(pkg_dbe_xml::xml_dom_hash_key_cmp(low, high, 1), 0);
}

TEST_F(registry, handle_value_is_seventeen_bytes_with_a_long_header) {
    const DomKey key = key_of(1, 2, 3);
    const host::datum value = pkg_dbe_xml::get_datum_by_dom_key(key);
    const auto *bytes = reinterpret_cast<const unsigned char *>(value);
    EXPECT_EQ(bytes[0], 17 << 2);
    EXPECT_EQ(bytes[1] | bytes[2] | bytes[3], 0);
    EXPECT_EQ(std::memcmp(bytes + 4, key.bytes.data(), 13), 0);
    EXPECT_EQ(key_of(value), key);
}

TEST_F(registry, only_thirteen_bytes_are_a_handle) {
    for (std::size_t size = 0; size < 40; ++size) {
        const std::string bytes(size, 'x');
        const std::string expected = size == 13 ? "none" : "2200U";
        EXPECT_EQ(sql::sqlstate_of([&] { key_of(host::standalone::make_text(bytes)); }), expected);
        EXPECT_EQ(sql::sqlstate_of([&] { key_of(host::standalone::make_short_text(bytes)); }),
                  expected);
    }
}

TEST_F(registry, clean_up_without_use_does_nothing) {
    EXPECT_EQ(pkg_dbe_xml::xml_clean_all_res(), 0);
    EXPECT_EQ(host::u_sess.xmldom_context, nullptr);
    EXPECT_EQ(pkg_dbe_xml::xml_count_hashentries(), 0U);
}

TEST_F(registry, first_use_sets_everything_up_once) {
    EXPECT_EQ(pkg_dbe_xml::xml_get_next_docid(), 0U);
    ASSERT_NE(host::u_sess.xmldom_context, nullptr);
    EXPECT_TRUE(host::u_sess.initialised);
    EXPECT_EQ(host::u_sess.clean_up, pkg_dbe_xml::xml_clean_all_res);
    host::memory_context *const context = host::u_sess.xmldom_context;
    pkg_dbe_xml::xml_init_hashtable(k_dom_map);
    EXPECT_EQ(host::u_sess.xmldom_context, context);
    EXPECT_LT(host::standalone::memory_of(context).bytes, 64U * 1024U);
}

TEST_F(registry, ids_and_serials_follow_the_counter) {
    add_document();
    const DomKey first = key_of(handle);
    EXPECT_EQ(pkg_dbe_xml::xml_getdom_docid(&first), 0U);
    EXPECT_EQ(pkg_dbe_xml::xml_getdom_sessionid(&first), 2U);
    add_document();
    const DomKey second = key_of(handle);
    EXPECT_EQ(pkg_dbe_xml::xml_getdom_docid(&second), 1U);
    EXPECT_EQ(pkg_dbe_xml::xml_getdom_sessionid(&second), 3U);
    pkg_dbe_xml::xml_release_document(first);
    add_document();
    const DomKey third = key_of(handle);
    EXPECT_EQ(pkg_dbe_xml::xml_getdom_docid(&third), 0U);
    EXPECT_EQ(pkg_dbe_xml::xml_getdom_sessionid(&third), 4U);
    // The recycled id has used up a value of the counter: the next fresh id skips it.
    add_document();
    const DomKey fourth = key_of(handle);
    EXPECT_EQ(pkg_dbe_xml::xml_getdom_docid(&fourth), 3U);
    EXPECT_EQ(pkg_dbe_xml::xml_getdom_sessionid(&fourth), 5U);
}

TEST_F(registry, recycled_document_ids_come_back_first_in_first_out) {
    std::vector<DomKey> keys;
    for (int count = 0; count < 40; ++count) {
        add_document();
        keys.push_back(key_of(handle));
    }
    for (const std::uint32_t id : {7U, 3U, 39U, 0U}) {
        pkg_dbe_xml::xml_release_document(keys[id]);
    }
    for (const std::uint32_t id : {7U, 3U, 39U, 0U, 44U}) {
        add_document();
        const DomKey key = key_of(handle);
        EXPECT_EQ(pkg_dbe_xml::xml_getdom_docid(&key), id);
    }
}

TEST_F(registry, node_ids_count_up_and_freed_ones_come_first) {
    add_document();
    std::vector<DomKey> keys;
    for (int count = 1; count <= 6; ++count) {
        keys.push_back(key_of(mint(document->children)));
        EXPECT_EQ(pkg_dbe_xml::xml_getdom_nodeid(&keys.back()), static_cast<unsigned>(count));
    }
    pkg_dbe_xml::xml_delete_hashentry(k_dom_map, keys[2]); // node id 3
    EXPECT_EQ(pkg_dbe_xml::xml_get_next_nodeid(0), 3U);
    EXPECT_EQ(pkg_dbe_xml::xml_get_next_nodeid(0), 7U);
    pkg_dbe_xml::xml_delete_hashentry(k_dom_map, keys[4]); // 5
    pkg_dbe_xml::xml_delete_hashentry(k_dom_map, keys[0]); // 1
    pkg_dbe_xml::xml_delete_hashentry(k_dom_map, keys[3]); // 4
    for (const unsigned expected : {5U, 1U, 4U, 8U}) {
        const DomKey key = key_of(mint(document->children));
        EXPECT_EQ(pkg_dbe_xml::xml_getdom_nodeid(&key), expected);
    }
}

TEST_F(registry, unknown_ids_are_reported) {
    add_document();
    EXPECT_EQ(sql::sqlstate_of([] { static_cast<void>(pkg_dbe_xml::xml_get_next_nodeid(99)); }),
              "22023");
    EXPECT_EQ(host::standalone::last_report().message, "invalid dom handler");
    EXPECT_EQ(host::standalone::last_report().module_id, 18);
    EXPECT_EQ(sql::sqlstate_of([] { pkg_dbe_xml::xml_dom_remove_doc_entry(99); }), "2200U");
    EXPECT_EQ(host::standalone::last_report().message, "not find xmldom in hash");
    const DomKey unknown = key_of(0, 99, 2);
    EXPECT_EQ(sql::sqlstate_of([&] { pkg_dbe_xml::xml_get_hashentry(k_dom_map, unknown); }),
              "2200U");
    EXPECT_EQ(sql::sqlstate_of([&] { pkg_dbe_xml::xml_free_hashentry(k_dom_map, unknown); }),
              "2200U");
    EXPECT_EQ(sql::sqlstate_of([&] { pkg_dbe_xml::xml_delete_hashentry(k_dom_map, unknown); }),
              "2200U");
    EXPECT_EQ(host::standalone::last_report().module_id, 0);
    EXPECT_EQ(sql::sqlstate_of([] { pkg_dbe_xml::xml_domkeys_hash_decrease_key(nullptr); }),
              "2200U");
    EXPECT_EQ(host::standalone::last_report().message, "entry is NULL");
}

TEST_F(registry, a_key_is_registered_once) {
    add_document();
    const DomKey key = key_of(0, 5, 2);
    pkg_dbe_xml::xml_insert_hashentry(k_dom_map, key, document->children, "", XMLDomNodeType::node);
    EXPECT_EQ(sql::sqlstate_of([&] {
                  pkg_dbe_xml::xml_insert_hashentry(k_dom_map, key, document->children, "",
                                                    XMLDomNodeType::node);
              }),
              "2200V");
    EXPECT_EQ(host::standalone::last_report().message, "xmldom insert to hash failed");
    EXPECT_EQ(host::standalone::last_report().cause, "Entry is already in hash.");
}

TEST_F(registry, a_key_with_another_serial_or_flag_is_unknown) {
    add_document();
    EXPECT_NE(pkg_dbe_xml::xml_find_hashentry(key_of(0, 0, 2)), nullptr);
    EXPECT_EQ(pkg_dbe_xml::xml_find_hashentry(key_of(0, 0, 3)), nullptr);
    DomKey flagged = key_of(0, 0, 2);
    flagged.bytes.back() = std::byte{0};
    EXPECT_EQ(pkg_dbe_xml::xml_find_hashentry(flagged), nullptr);
    // An empty slot has zero bytes where its key would stand.
    DomKey zero{};
    zero.bytes[4] = std::byte{1};
    EXPECT_EQ(pkg_dbe_xml::xml_find_hashentry(zero), nullptr);
    EXPECT_EQ(pkg_dbe_xml::xml_find_hashentry(key_of(0xFFFFFFFFU, 0, 2)), nullptr);
    EXPECT_EQ(pkg_dbe_xml::xml_find_hashentry(key_of(0, 0xFFFFFFFFU, 2)), nullptr);
}

TEST_F(registry, released_handle_keeps_its_entry_and_names_nothing) {
    add_document();
    const host::datum root = mint(document->children);
    pkg_dbe_xml::xml_free_hashentry(k_dom_map, key_of(root));
    EXPECT_EQ(entry_of(root).object, nullptr);
    EXPECT_EQ(entry_of(root).kind, XMLDomNodeType::node);
    EXPECT_EQ(pkg_dbe_xml::xml_count_hashentries(), 2U);
    pkg_dbe_xml::xml_free_hashentry(k_dom_map, key_of(root));
    EXPECT_EQ(pkg_dbe_xml::first_name(document->children), nullptr);
}

TEST_F(registry, a_node_knows_all_its_names) {
    add_document();
    const host::datum first = mint(document->children);
    const host::datum second = mint(document->children);
    const host::datum third = mint(document->children);
    std::vector<XMLHashEntry *> names;
    for (XMLHashEntry *entry = pkg_dbe_xml::first_name(document->children); entry != nullptr;
         entry = entry->names.next) {
        names.push_back(entry);
    }
    EXPECT_EQ(names,
              (std::vector<XMLHashEntry *>{&entry_of(third), &entry_of(second), &entry_of(first)}));
    pkg_dbe_xml::xml_free_hashentry(k_dom_map, key_of(second));
    EXPECT_EQ(entry_of(third).names.next, &entry_of(first));
    EXPECT_EQ(entry_of(first).names.previous, &entry_of(third));
    pkg_dbe_xml::drop_names(document->children);
    EXPECT_EQ(pkg_dbe_xml::first_name(document->children), nullptr);
    EXPECT_EQ(pkg_dbe_xml::xml_find_hashentry(key_of(first)), nullptr);
    EXPECT_EQ(pkg_dbe_xml::xml_find_hashentry(key_of(third)), nullptr);
    EXPECT_NE(pkg_dbe_xml::xml_find_hashentry(key_of(second)), nullptr);
    EXPECT_EQ(pkg_dbe_xml::xml_count_hashentries(), 2U);
    // Dropped node ids are not handed out again.
    EXPECT_EQ(pkg_dbe_xml::xml_get_next_nodeid(0), 4U);
}

TEST_F(registry, releasing_the_document_frees_all_of_it) {
    add_document();
    const host::datum root = mint(document->children);
    const host::datum loose = mint(make_element(document, "loose"));
    xmlListPtr list = xmlListCreate(nullptr, nullptr);
    xmlListPushBack(list, document->children);
    const host::datum members =
        pkg_dbe_xml::mint_handle<XMLDomNodeType::node_list>(entry_of(handle), list);
    EXPECT_EQ(pkg_dbe_xml::xml_count_hashentries(), 4U);
    pkg_dbe_xml::xml_release_document(key_of(root));
    EXPECT_EQ(pkg_dbe_xml::xml_count_hashentries(), 0U);
    for (const host::datum old : {handle, root, loose, members}) {
        EXPECT_EQ(pkg_dbe_xml::xml_find_hashentry(key_of(old)), nullptr);
    }
    EXPECT_EQ(host::gate.bytes_in_use, 0);
    pkg_dbe_xml::xml_release_document(key_of(root)); // unknown: nothing happens
}

TEST_F(registry, releasing_the_document_handle_leaves_the_others_naming_nothing) {
    add_document();
    const host::datum root = mint(document->children);
    xmlListPtr list = xmlListCreate(nullptr, nullptr);
    xmlListPushBack(list, document->children);
    const host::datum members =
        pkg_dbe_xml::mint_handle<XMLDomNodeType::node_list>(entry_of(handle), list);
    EXPECT_EQ(pkg_dbe_xml::list_member(entry_of(members), 0), document->children);
    pkg_dbe_xml::xml_free_hashentry(k_dom_map, key_of(handle));
    EXPECT_EQ(entry_of(handle).object, nullptr);
    EXPECT_EQ(entry_of(root).object, nullptr);
    ASSERT_NE(entry_of(members).object, nullptr);
    EXPECT_EQ(pkg_dbe_xml::list_size(entry_of(members)), 0U);
    EXPECT_EQ(xmlListSize(static_cast<xmlListPtr>(entry_of(members).object)), 0);
    EXPECT_EQ(pkg_dbe_xml::find_family(entry_of(root)), nullptr);
    pkg_dbe_xml::xml_free_hashentry(k_dom_map, key_of(members));
    EXPECT_EQ(entry_of(members).object, nullptr);
    pkg_dbe_xml::xml_release_document(key_of(handle));
    EXPECT_EQ(pkg_dbe_xml::xml_count_hashentries(), 0U);
}

TEST_F(registry, a_shared_document_lives_until_its_last_handle_goes) {
    add_document();
    const host::datum first = handle;
    const host::datum loose = mint(make_element(document, "loose"));
    const host::datum second = pkg_dbe_xml::register_document(document);
    const XMLHashEntry &second_entry = entry_of(second);
    EXPECT_EQ(&pkg_dbe_xml::family_of(second_entry), &pkg_dbe_xml::family_of(entry_of(first)));
    const host::datum seen =
        pkg_dbe_xml::mint_handle<XMLDomNodeType::node>(second_entry, entry_of(loose).object);
    pkg_dbe_xml::xml_release_document(key_of(first));
    // The detached node was named under the other id too: it is there, and freed once.
    ASSERT_NE(entry_of(seen).object, nullptr);
    EXPECT_STREQ(
        reinterpret_cast<const char *>(static_cast<xmlNodePtr>(entry_of(seen).object)->name),
        "loose");
    EXPECT_EQ(pkg_dbe_xml::family_of(second_entry).shares, 1U);
    pkg_dbe_xml::xml_release_document(key_of(second));
    EXPECT_EQ(host::gate.bytes_in_use, 0);
}

TEST_F(registry, retire_frees_what_nobody_names) {
    add_document();
    const std::int64_t before = host::gate.bytes_in_use;
    family &owner = pkg_dbe_xml::family_of(entry_of(handle));
    xmlNodePtr child = make_element(document, "child");
    xmlAddChild(document->children, child);
    pkg_dbe_xml::retire(owner, child);
    EXPECT_EQ(document->children->children, nullptr);
    EXPECT_EQ(host::gate.bytes_in_use, before);
}

TEST_F(registry, retire_keeps_what_is_named_below_or_listed) {
    add_document();
    const std::int64_t before = host::gate.bytes_in_use;
    family &owner = pkg_dbe_xml::family_of(entry_of(handle));

    xmlNodePtr parent = make_element(document, "parent");
    xmlNodePtr below = make_element(document, "below");
    xmlAddChild(parent, below);
    const host::datum name = mint(below);
    for (int round = 0; round < 2; ++round) { // the second time it is kept already
        pkg_dbe_xml::retire(owner, parent);
        EXPECT_EQ(entry_of(name).object, below);
        EXPECT_TRUE(sql::check_invariants());
    }

    xmlNodePtr listed = make_element(document, "listed");
    const std::int64_t before_list = host::gate.bytes_in_use;
    xmlListPtr list = xmlListCreate(nullptr, nullptr);
    xmlListPushBack(list, listed);
    const host::datum list_name =
        pkg_dbe_xml::mint_handle<XMLDomNodeType::node_list>(entry_of(handle), list);
    EXPECT_TRUE(pkg_dbe_xml::is_kept(listed));
    pkg_dbe_xml::retire(owner, listed);
    EXPECT_TRUE(sql::check_invariants());
    EXPECT_GT(host::gate.bytes_in_use, before_list);

    // A name on an attribute, and one on the text of an attribute.
    xmlNodePtr carrier = make_element(document, "carrier");
    xmlAttrPtr attribute = nullptr;
    {
        const host::tree_scope scope;
        attribute = xmlNewProp(carrier, text("a"), text("value"));
    }
    const host::datum text_name = mint(attribute->children);
    const host::datum attribute_name = mint(reinterpret_cast<xmlNodePtr>(attribute));
    pkg_dbe_xml::retire(owner, carrier);
    EXPECT_EQ(entry_of(text_name).object, attribute->children);
    EXPECT_TRUE(sql::check_invariants());

    for (const host::datum each : {name, list_name, attribute_name, text_name}) {
        pkg_dbe_xml::xml_free_hashentry(k_dom_map, key_of(each));
        EXPECT_TRUE(sql::check_invariants());
    }
    EXPECT_EQ(host::gate.bytes_in_use, before);
}

TEST_F(registry, namespaces_of_a_freed_tree_live_as_long_as_its_family) {
    add_document();
    family &owner = pkg_dbe_xml::family_of(entry_of(handle));
    xmlNodePtr declaring = make_element(document, "declaring");
    {
        const host::tree_scope scope;
        xmlNewNs(declaring, text("urn:x"), text("x"));
        document->children->ns = xmlNewNs(declaring, text("urn:y"), text("y"));
    }
    pkg_dbe_xml::retire(owner, declaring);
    EXPECT_STREQ(reinterpret_cast<const char *>(document->children->ns->href), "urn:y");
    EXPECT_TRUE(sql::check_invariants());
    pkg_dbe_xml::xml_release_document(key_of(handle));
    EXPECT_EQ(host::gate.bytes_in_use, 0);
}

TEST_F(registry, retired_children_leave_an_attribute_empty) {
    add_document();
    family &owner = pkg_dbe_xml::family_of(entry_of(handle));
    xmlAttrPtr attribute = nullptr;
    {
        const host::tree_scope scope;
        attribute = xmlNewProp(document->children, text("a"), text("old"));
    }
    xmlNodePtr old = attribute->children;
    const host::datum name = mint(old);
    pkg_dbe_xml::retire_children(owner, reinterpret_cast<xmlNodePtr>(attribute));
    EXPECT_EQ(attribute->children, nullptr);
    EXPECT_EQ(attribute->last, nullptr);
    EXPECT_EQ(entry_of(name).object, old);
    EXPECT_EQ(old->parent, nullptr);
}

TEST_F(registry, an_adopted_copy_goes_with_its_family) {
    add_document();
    pkg_dbe_xml::xml_doc_ptr copy(make_document());
    xmlDocPtr const raw = copy.get();
    pkg_dbe_xml::adopt_copy(pkg_dbe_xml::family_of(entry_of(handle)), copy);
    EXPECT_EQ(copy, nullptr);
    const host::datum name = pkg_dbe_xml::mint_handle<XMLDomNodeType::node>(entry_of(handle), raw);
    EXPECT_EQ(entry_of(name).object, raw);
    pkg_dbe_xml::xml_release_document(key_of(name));
    EXPECT_EQ(host::gate.bytes_in_use, 0);
}

TEST_F(registry, nodes_under_a_released_document_belong_to_its_id) {
    add_document();
    pkg_dbe_xml::xml_free_hashentry(k_dom_map, key_of(handle));
    family &shell = pkg_dbe_xml::family_of(entry_of(handle));
    EXPECT_EQ(shell.main, nullptr);
    xmlNodePtr loose = nullptr;
    {
        const host::tree_scope scope;
        loose = xmlNewText(text("loose"));
    }
    mint(loose);
    pkg_dbe_xml::xml_release_document(key_of(handle));
    EXPECT_EQ(host::gate.bytes_in_use, 0);
}

TEST_F(registry, ten_thousand_handles_are_found_and_released) {
    add_document();
    std::vector<DomKey> keys;
    for (int count = 0; count < 10000; ++count) {
        keys.push_back(key_of(mint(document->children)));
    }
    for (const DomKey &key : keys) {
        ASSERT_EQ(pkg_dbe_xml::xml_get_hashentry(k_dom_map, key)->object, document->children);
    }
    EXPECT_EQ(pkg_dbe_xml::xml_count_hashentries(), 10001U);
    for (const DomKey &key : keys) {
        pkg_dbe_xml::xml_free_hashentry(k_dom_map, key);
        const XMLHashEntry *const entry = pkg_dbe_xml::xml_get_hashentry(k_dom_map, key);
        ASSERT_EQ(entry->object, nullptr);
        ASSERT_EQ(entry->kind, XMLDomNodeType::node);
    }
    EXPECT_EQ(pkg_dbe_xml::xml_count_hashentries(), 10001U);
}

TEST_F(registry, released_handles_cost_next_to_nothing) {
    add_document();
    for (int count = 0; count < 300; ++count) {
        pkg_dbe_xml::xml_free_hashentry(k_dom_map, key_of(mint(document->children)));
    }
    const std::size_t before = host::standalone::memory_of(host::u_sess.xmldom_context).bytes;
    for (int count = 0; count < 100000; ++count) {
        pkg_dbe_xml::xml_free_hashentry(k_dom_map, key_of(mint(document->children)));
    }
    const std::size_t after = host::standalone::memory_of(host::u_sess.xmldom_context).bytes;
    EXPECT_LT(after - before, 100000U / 8U);
}

TEST_F(registry, pages_given_back_still_know_kinds_serials_and_gaps) {
    add_document();
    const XMLHashEntry &from = entry_of(handle);
    std::vector<DomKey> keys;
    const XMLDomNodeType kinds[]{XMLDomNodeType::node, XMLDomNodeType::element,
                                 XMLDomNodeType::attribute, XMLDomNodeType::text};
    for (std::uint32_t count = 0; count < 1000; ++count) {
        keys.push_back(key_of(
            pkg_dbe_xml::mint_handle(from, 2 + count % 3, document->children, kinds[count % 4])));
    }
    // One handle of a page is dropped from the map: a gap.
    xmlNodePtr gap = make_element(document, "gap");
    const DomKey gap_key = key_of(mint(gap));
    for (int count = 0; count < 1000; ++count) {
        keys.push_back(key_of(mint(document->children)));
    }
    pkg_dbe_xml::drop_names(gap);
    pkg_dbe_xml::retire(pkg_dbe_xml::family_of(from), gap);
    pkg_dbe_xml::xml_free_hashentry(k_dom_map, keys[0]);
    for (const DomKey &key : keys) {
        pkg_dbe_xml::xml_free_hashentry(k_dom_map, key);
    }
    const std::size_t left = host::standalone::memory_of(host::u_sess.xmldom_context).bytes;
    EXPECT_LT(left, 40000U);
    for (std::uint32_t count = 0; count < 1000; ++count) {
        const XMLHashEntry *const entry = pkg_dbe_xml::xml_get_hashentry(k_dom_map, keys[count]);
        ASSERT_EQ(entry->kind, kinds[count % 4]);
        ASSERT_EQ(entry->key, keys[count]);
        ASSERT_EQ(entry->object, nullptr);
    }
    EXPECT_EQ(pkg_dbe_xml::xml_find_hashentry(gap_key), nullptr);
    EXPECT_EQ(pkg_dbe_xml::xml_count_hashentries(), 2001U);

    // Deleting a handle of such a page hands its node id out again.
    pkg_dbe_xml::xml_delete_hashentry(k_dom_map, keys[500]);
    EXPECT_EQ(pkg_dbe_xml::xml_find_hashentry(keys[500]), nullptr);
    EXPECT_NE(pkg_dbe_xml::xml_find_hashentry(keys[501]), nullptr);
    const DomKey again = key_of(mint(document->children));
    EXPECT_EQ(pkg_dbe_xml::xml_getdom_nodeid(&again), pkg_dbe_xml::xml_getdom_nodeid(&keys[500]));
    pkg_dbe_xml::xml_free_hashentry(k_dom_map, again);
    EXPECT_EQ(pkg_dbe_xml::xml_get_hashentry(k_dom_map, again)->object, nullptr);
    EXPECT_EQ(pkg_dbe_xml::xml_count_hashentries(), 2001U);
}

TEST_F(registry, a_page_with_many_serials_stays_as_it_is) {
    add_document();
    const XMLHashEntry &from = entry_of(handle);
    std::vector<DomKey> keys;
    for (std::uint32_t count = 0; count < 600; ++count) {
        keys.push_back(key_of(
            pkg_dbe_xml::mint_handle(from, count, document->children, XMLDomNodeType::node)));
    }
    for (const DomKey &key : keys) {
        pkg_dbe_xml::xml_free_hashentry(k_dom_map, key);
    }
    for (const DomKey &key : keys) {
        ASSERT_EQ(pkg_dbe_xml::xml_get_hashentry(k_dom_map, key)->key, key);
    }
}

TEST_F(registry, walking_visits_what_names_something) {
    add_document();
    mint(document->children);
    const host::datum released = mint(document->children);
    pkg_dbe_xml::xml_free_hashentry(k_dom_map, key_of(released));
    std::size_t visited = 0;
    pkg_dbe_xml::xml_for_each_hashentry(
        [](const XMLHashEntry &entry, void *state) {
            EXPECT_NE(entry.object, nullptr);
            ++*static_cast<std::size_t *>(state);
        },
        &visited);
    EXPECT_EQ(visited, 2U);
}

TEST_F(registry, list_members_are_read_in_order_and_beyond_the_end_is_null) {
    add_document();
    xmlListPtr list = xmlListCreate(nullptr, nullptr);
    std::vector<xmlNodePtr> nodes;
    for (int count = 0; count < 100; ++count) {
        xmlNodePtr node = make_element(document, "n");
        xmlAddChild(document->children, node);
        nodes.push_back(node);
        xmlListPushBack(list, node);
    }
    XMLHashEntry &entry =
        entry_of(pkg_dbe_xml::mint_handle<XMLDomNodeType::node_list>(entry_of(handle), list));
    EXPECT_EQ(pkg_dbe_xml::list_size(entry), 100U);
    for (std::size_t index = 0; index < nodes.size(); ++index) {
        EXPECT_EQ(pkg_dbe_xml::list_member(entry, index), nodes[index]);
    }
    EXPECT_EQ(pkg_dbe_xml::list_member(entry, 100), nullptr);
    pkg_dbe_xml::delete_list(entry);
    EXPECT_EQ(entry.object, nullptr);
}

TEST_F(registry, a_document_that_no_family_shares_is_reported) {
    add_document();
    const sql::value argument = sql::value::of_datum(handle);
    {
        const sql::lost_document lost(document);
        EXPECT_REPORT(sql::call(xml_dom_free_node, argument), reports::dom_keys_not_found);
        EXPECT_EQ(sql::sqlstate_of(
                      [&] { pkg_dbe_xml::xml_domkeys_hash_decrease_key(&entry_of(handle)); }),
                  reports::dom_keys_not_found.sqlstate);
        EXPECT_EQ(host::standalone::last_report().message, reports::dom_keys_not_found.message);
        // The handle names the document as before.
        EXPECT_EQ(entry_of(handle).object, document);
        EXPECT_EQ(pkg_dbe_xml::first_name(reinterpret_cast<xmlNodePtr>(document)),
                  &entry_of(handle));
    }
    EXPECT_FALSE(sql::call(xml_dom_free_node, argument).failed());
    EXPECT_EQ(entry_of(handle).object, nullptr);
    EXPECT_EQ(host::gate.bytes_in_use, 0);
}

TEST_F(registry, only_handles_of_documents_have_a_share_to_give_up) {
    add_document();
    const host::datum node = mint(document->children);
    const family &owner = pkg_dbe_xml::family_of(entry_of(handle));
    pkg_dbe_xml::xml_domkeys_hash_decrease_key(&entry_of(node));
    pkg_dbe_xml::xml_free_hashentry(k_dom_map, key_of(node));
    pkg_dbe_xml::xml_domkeys_hash_decrease_key(&entry_of(node));
    EXPECT_EQ(owner.shares, 1U);
    pkg_dbe_xml::xml_free_hashentry(k_dom_map, key_of(handle));
    pkg_dbe_xml::xml_domkeys_hash_decrease_key(&entry_of(handle));
    EXPECT_EQ(host::gate.bytes_in_use, 0);
}

TEST_F(registry, serials_end_and_are_never_used_twice) {
    sql::set_serial_counter(0xFFFFFFFEU);
    add_document();
    const DomKey last = key_of(handle);
    EXPECT_EQ(last.serial(), 0xFFFFFFFEU);
    EXPECT_EQ(last.document_id(), 0xFFFFFFFCU);
    const std::int64_t bytes = host::gate.bytes_in_use;
    pkg_dbe_xml::xml_doc_ptr refused(make_document());
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(sql::sqlstate_of(
                      [&] { static_cast<void>(pkg_dbe_xml::register_document(refused.get())); }),
                  "54000");
    }
    refused.reset();
    EXPECT_EQ(host::gate.bytes_in_use, bytes);
    EXPECT_EQ(pkg_dbe_xml::xml_count_hashentries(), 1U);
    EXPECT_EQ(entry_of(handle).object, document);
    EXPECT_EQ(pkg_dbe_xml::xml_release_documents_since(pkg_dbe_xml::xml_next_serial()), 0U);
    EXPECT_EQ(pkg_dbe_xml::xml_release_documents_since(0xFFFFFFFEU), 1U);
    EXPECT_EQ(host::gate.bytes_in_use, 0);
    EXPECT_EQ(sql::call(xml_dom_new_document_empty).error_->sqlstate, "54000");
    pkg_dbe_xml::xml_clean_all_res(); // what another client of a pool finds
    EXPECT_EQ(sql::call(xml_dom_new_document_empty).error_->sqlstate, "54000");
    EXPECT_TRUE(sql::check_invariants());
}

TEST_F(registry, serials_go_on_after_a_clean_up) {
    add_document();
    const DomKey before = key_of(handle);
    pkg_dbe_xml::xml_clean_all_res();
    add_document();
    const DomKey after = key_of(handle);
    EXPECT_EQ(after.serial(), before.serial() + 1);
    EXPECT_EQ(after.document_id(), before.document_id() + 1);
    EXPECT_EQ(pkg_dbe_xml::xml_find_hashentry(before), nullptr);
}

TEST_F(registry, node_ids_end_and_are_never_used_twice) {
    add_document();
    constexpr std::uint32_t k_end = pkg_dbe_xml::k_end_of_node_ids;
    pkg_dbe_xml::document_entry *const own =
        pkg_dbe_xml::find_document(*pkg_dbe_xml::current_registry(), key_of(handle).document_id());
    own->next_node_id = k_end - 3;
    own->next_slot = nullptr;
    // Every way to take one: a node id alone, a handle, and the quick way to the next handle.
    EXPECT_EQ(pkg_dbe_xml::xml_get_next_nodeid(own->document_id), k_end - 3);
    const DomKey one = key_of(mint(document->children));
    EXPECT_EQ(one.node_id(), k_end - 2);
    EXPECT_EQ(key_of(mint(document->children)).node_id(), k_end - 1);
    const std::size_t count = pkg_dbe_xml::xml_count_hashentries();
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(sql::sqlstate_of([&] { static_cast<void>(mint(document->children)); }), "54000");
        EXPECT_EQ(sql::sqlstate_of([&] {
                      static_cast<void>(pkg_dbe_xml::xml_get_next_nodeid(own->document_id));
                  }),
                  "54000");
    }
    EXPECT_EQ(pkg_dbe_xml::xml_count_hashentries(), count);
    EXPECT_TRUE(sql::check_invariants());
    // An id that was given back is still handed out.
    pkg_dbe_xml::xml_delete_hashentry(k_dom_map, one);
    EXPECT_EQ(key_of(mint(document->children)).node_id(), one.node_id());
    EXPECT_EQ(sql::sqlstate_of([&] { static_cast<void>(mint(document->children)); }), "54000");
    pkg_dbe_xml::xml_release_document(key_of(handle));
    EXPECT_EQ(pkg_dbe_xml::xml_count_hashentries(), 0U);
    add_document(); // under the same document id, which counts afresh
    EXPECT_EQ(key_of(mint(document->children)).node_id(), 1U);
}

// The call that hands out a node id though there is no node.
TEST_F(registry, asking_an_empty_document_for_its_root_ends_with_the_node_ids) {
    const sql::handle empty = sql::call(xml_dom_new_document_empty).handle();
    pkg_dbe_xml::document_entry *const own =
        pkg_dbe_xml::find_document(*pkg_dbe_xml::current_registry(), empty.document_id());
    own->next_node_id = pkg_dbe_xml::k_end_of_node_ids - 1;
    own->next_slot = nullptr;
    EXPECT_TRUE(sql::call(xml_dom_get_document_element, empty).is_null());
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(sql::call(xml_dom_get_document_element, empty).error_->sqlstate, "54000");
        EXPECT_EQ(sql::call(xml_dom_create_element, empty, "a").error_->sqlstate, "54000");
    }
    EXPECT_FALSE(sql::call(xml_dom_is_null, empty).boolean());
    EXPECT_TRUE(sql::check_invariants());
}

TEST_F(registry, shares_of_a_document_end) {
    add_document();
    family &owner = pkg_dbe_xml::family_of(entry_of(handle));
    owner.shares = 0xFFFFFFFFU;
    const std::uint32_t serial = pkg_dbe_xml::xml_next_serial();
    EXPECT_EQ(
        sql::sqlstate_of([&] { static_cast<void>(pkg_dbe_xml::register_document(document)); }),
        "54000");
    EXPECT_EQ(owner.shares, 0xFFFFFFFFU);
    EXPECT_EQ(pkg_dbe_xml::xml_next_serial(), serial);
    owner.shares = 1;
    EXPECT_TRUE(sql::check_invariants());
}

TEST_F(registry, an_id_that_no_document_has_yet_is_not_released) {
    add_document();
    const std::uint32_t taken = pkg_dbe_xml::xml_get_next_docid();
    EXPECT_EQ(taken, 1U);
    EXPECT_EQ(pkg_dbe_xml::xml_release_documents_since(0), 1U);
    EXPECT_EQ(pkg_dbe_xml::xml_release_all_documents(), 0U);
    EXPECT_EQ(pkg_dbe_xml::xml_get_next_nodeid(taken), 1U); // the id is still known
    pkg_dbe_xml::xml_dom_remove_doc_entry(taken);
    EXPECT_EQ(sql::sqlstate_of([&] { static_cast<void>(pkg_dbe_xml::xml_get_next_nodeid(taken)); }),
              "22023");
}

TEST_F(registry, clean_up_frees_everything_and_a_new_registry_starts) {
    for (int count = 0; count < 5; ++count) {
        add_document();
        mint(document->children);
        mint(make_element(document, "loose"));
        xmlListPtr list = xmlListCreate(nullptr, nullptr);
        xmlListPushBack(list, document->children);
        static_cast<void>(
            pkg_dbe_xml::mint_handle<XMLDomNodeType::node_list>(entry_of(handle), list));
    }
    EXPECT_EQ(pkg_dbe_xml::xml_clean_all_res(), 0);
    EXPECT_EQ(host::gate.bytes_in_use, 0);
    EXPECT_EQ(pkg_dbe_xml::xml_count_hashentries(), 0U);
    EXPECT_EQ(pkg_dbe_xml::xml_clean_all_res(), 0);
    add_document();
    const DomKey key = key_of(handle);
    // The numbers go on.
    EXPECT_EQ(pkg_dbe_xml::xml_getdom_docid(&key), 5U);
    EXPECT_EQ(pkg_dbe_xml::xml_getdom_sessionid(&key), 7U);
}

} // namespace
