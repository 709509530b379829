// Names and lifetimes: who names a node, what a family keeps, and what happens when it ends.
#include "registry/dom_map.hpp"

#include "edit/tree_changes.hpp"
#include "libxml/xml.hpp"

#include <algorithm>
#include <cassert>

namespace pkg_dbe_xml {
namespace {

// Set instead while a family ends: the rest is the next tree to free.
constexpr std::uintptr_t k_collected = 4;
static_assert(alignof(XMLHashEntry) >= 8 && alignof(xmlNode) >= 8, "room for the marks");

void free_memory(void *memory) noexcept { host::mmgr_free_with_fl(memory, __FILE__, __LINE__); }

template <class Object> void reserve_kept(kept_objects<Object> &kept, std::size_t count) {
    if (kept.capacity - kept.count >= count) {
        return;
    }
    const std::size_t capacity =
        std::max({kept.count + count, kept.capacity * 2, static_cast<std::size_t>(8)});
    auto *const objects = static_cast<Object *>(
        host::mmgr_memory_alloc_huge(host::u_sess.xmldom_context, capacity * sizeof(Object)));
    std::copy_n(kept.objects, kept.count, objects);
    free_memory(kept.objects);
    kept.objects = objects;
    kept.capacity = capacity;
}

// Whether a node can stand at the top of a tree of its own: documents and what stands in a
// document type are freed with their documents.
[[nodiscard]] bool can_be_root(const xmlNode *node) noexcept {
    return node->parent == nullptr && node->type != XML_DOCUMENT_NODE &&
           node->type != XML_HTML_DOCUMENT_NODE && !is_declaration(node->type);
}

[[nodiscard]] bool attribute_is_free(const xmlAttr *attribute) noexcept {
    if (attribute->_private != nullptr) {
        return false;
    }
    for (const xmlNode *child = attribute->children; child != nullptr; child = child->next) {
        if (child->_private != nullptr) {
            return false;
        }
    }
    return true;
}

// Nobody names the node, and no namespace record of it can be in use by nodes that stand
// elsewhere.
[[nodiscard]] bool node_is_free(const xmlNode *node) noexcept {
    if (node->_private != nullptr || declares_for_others(node)) {
        return false;
    }
    for (const xmlAttr *attribute = first_attribute(node); attribute != nullptr;
         attribute = attribute->next) {
        if (!attribute_is_free(attribute)) {
            return false;
        }
    }
    return true;
}

[[nodiscard]] bool subtree_is_free(xmlNodePtr top) noexcept {
    for (xmlNodePtr node = top; node != nullptr; node = next_below(node, top)) {
        if (!node_is_free(node)) {
            return false;
        }
    }
    return true;
}

// Puts a tree on the list of those to free, unless it stands there already.
void collect_root(xmlNodePtr &collected, xmlNodePtr node) noexcept {
    if (!can_be_root(node) || (names_and_marks(node) & k_collected) != 0) {
        return;
    }
    set_names_and_marks(node, reinterpret_cast<std::uintptr_t>(collected) | k_collected);
    collected = node;
}

// Lets every entry of a document id go of its object; lists stay, empty.
void disown_entries(document_entry &document, xmlNodePtr &collected) noexcept {
    for_each_slot(document, [&collected](XMLHashEntry &entry) {
        if (entry.object == nullptr) {
            return;
        }
        if (entry.kind == XMLDomNodeType::node_list) {
            xmlListClear(static_cast<xmlListPtr>(entry.object));
            free_memory(entry.members.index);
            entry.members = {};
            return;
        }
        collect_root(collected, as_node(entry.object));
        entry.object = nullptr;
    });
}

void free_collected(xmlNodePtr collected) noexcept {
    while (collected != nullptr) {
        const auto next = reinterpret_cast<xmlNodePtr>(names_and_marks(collected) & ~k_collected);
        collected->_private = nullptr;
        xmlFreeNode(collected);
        collected = next;
    }
}

void forget_parsers(family &owner) noexcept {
    while (owner.parsers != nullptr) {
        XmlParserHashEntry &parser = *owner.parsers;
        unlink_parser(parser);
        parser.doc = nullptr;
        parser.docHandedOver = false;
    }
}

} // namespace

// --- names --------------------------------------------------------------------------------------

XMLHashEntry *first_name(const xmlNode *node) noexcept {
    return reinterpret_cast<XMLHashEntry *>(names_and_marks(node) & ~k_marks);
}

void mark_listed(xmlNodePtr node) noexcept {
    set_names_and_marks(node, names_and_marks(node) | k_listed);
}

bool is_kept(const xmlNode *node) noexcept { return node->_private != nullptr; }

void drop_names(xmlNodePtr node) noexcept {
    registry &state = *current_registry();
    while (XMLHashEntry *const entry = first_name(node)) {
        remove_name(*entry);
        empty_slot(state, *find_document(state, entry->key.document_id()), *entry, false, false);
    }
}

// --- families -----------------------------------------------------------------------------------

family *find_shared(registry &state, void *document) noexcept {
    auto *const entry = static_cast<domkeys_entry *>(host::hash_search(
        state.domkeys_map, static_cast<const void *>(&document), host::hash_action::find, nullptr));
    return entry == nullptr ? nullptr : entry->shared;
}

family &make_family(registry &state, xmlDocPtr main) {
    auto *const owner = static_cast<family *>(
        host::mmgr_memory_alloc_zero(host::u_sess.xmldom_context, sizeof(family)));
    std::unique_ptr<family, host::memory_deleter> guard(owner);
    if (main != nullptr) {
        void *const key = main;
        auto *const entry = static_cast<domkeys_entry *>(host::hash_search(
            state.domkeys_map, static_cast<const void *>(&key), host::hash_action::enter, nullptr));
        entry->shared = owner;
        owner->main = main;
    }
    return *guard.release();
}

void discard_family(registry &state, family &owner) noexcept {
    if (owner.main != nullptr) {
        void *const key = owner.main;
        host::hash_search(state.domkeys_map, static_cast<const void *>(&key),
                          host::hash_action::remove, nullptr);
    }
    free_memory(owner.parked.objects);
    free_memory(owner.copies.objects);
    free_memory(&owner);
}

void join_family(family &owner, document_entry &document) noexcept {
    document.owner = &owner;
    document.previous_in_family = nullptr;
    document.next_in_family = owner.ids;
    if (owner.ids != nullptr) {
        owner.ids->previous_in_family = &document;
    }
    owner.ids = &document;
}

void leave_family(document_entry &document) noexcept {
    if (document.owner == nullptr) {
        return;
    }
    if (document.previous_in_family != nullptr) {
        document.previous_in_family->next_in_family = document.next_in_family;
    } else {
        document.owner->ids = document.next_in_family;
    }
    if (document.next_in_family != nullptr) {
        document.next_in_family->previous_in_family = document.previous_in_family;
    }
    document.owner = nullptr;
    document.next_in_family = nullptr;
    document.previous_in_family = nullptr;
}

void end_family(registry &state, family &owner) noexcept {
    const host::tree_scope scope;
    const std::int64_t before = host::gate.bytes_in_use;
    xmlNodePtr collected = nullptr;
    while (owner.ids != nullptr) {
        document_entry &document = *owner.ids;
        disown_entries(document, collected);
        leave_family(document);
    }
    for (std::size_t index = 0; index < owner.parked.count; ++index) {
        collect_root(collected, owner.parked.objects[index]);
    }
    forget_parsers(owner);
    free_collected(collected);
    for (std::size_t index = 0; index < owner.copies.count; ++index) {
        xmlFreeDoc(owner.copies.objects[index]);
    }
    xmlDocPtr const main = owner.main;
    discard_family(state, owner);
    if (main != nullptr) {
        xmlFreeDoc(main);
    }
    host::give_memory_back(before - host::gate.bytes_in_use);
}

family *find_family(const XMLHashEntry &entry) noexcept {
    const document_entry *const document =
        find_document(*current_registry(), entry.key.document_id());
    return document == nullptr ? nullptr : document->owner;
}

family &family_of(const XMLHashEntry &entry) {
    registry &state = *current_registry();
    document_entry &document = *find_document(state, entry.key.document_id());
    if (document.owner == nullptr) {
        join_family(make_family(state, nullptr), document);
    }
    return *document.owner;
}

// --- what a family keeps ------------------------------------------------------------------------

void reserve_parking(family &owner, std::size_t count) { reserve_kept(owner.parked, count); }

bool is_unparked_root(const xmlNode *node) noexcept {
    return can_be_root(node) && (names_and_marks(node) & k_parked) == 0;
}

void park_root(family &owner, xmlNodePtr node) noexcept {
    if (!is_unparked_root(node)) {
        return;
    }
    assert(owner.parked.count < owner.parked.capacity);
    set_names_and_marks(node, names_and_marks(node) | k_parked);
    owner.parked.objects[owner.parked.count] = node;
    ++owner.parked.count;
}

void retire(family &owner, xmlNodePtr node) noexcept {
    const host::tree_scope scope;
    const bool is_free = subtree_is_free(node);
    if (!is_free) {
        mark_used_outside(node);
    }
    if (node->parent != nullptr || node->next != nullptr || node->prev != nullptr) {
        xmlUnlinkNode(node);
    }
    if (is_free) {
        xmlFreeNode(node);
    } else {
        park_root(owner, node);
    }
}

void retire_children(family &owner, xmlNodePtr parent) {
    std::size_t count = 0;
    for (const xmlNode *child = parent->children; child != nullptr; child = child->next) {
        ++count;
    }
    reserve_parking(owner, count);
    while (parent->children != nullptr) {
        retire(owner, parent->children);
    }
}

void adopt_copy(family &owner, xml_doc_ptr &copy) {
    reserve_kept(owner.copies, 1);
    owner.copies.objects[owner.copies.count] = copy.release();
    ++owner.copies.count;
}

void link_parser(family &owner, XmlParserHashEntry &parser) noexcept {
    parser.handed_to = &owner;
    parser.previous_in_family = nullptr;
    parser.next_in_family = owner.parsers;
    if (owner.parsers != nullptr) {
        owner.parsers->previous_in_family = &parser;
    }
    owner.parsers = &parser;
}

void unlink_parser(XmlParserHashEntry &parser) noexcept {
    if (parser.handed_to == nullptr) {
        return;
    }
    if (parser.previous_in_family != nullptr) {
        parser.previous_in_family->next_in_family = parser.next_in_family;
    } else {
        parser.handed_to->parsers = parser.next_in_family;
    }
    if (parser.next_in_family != nullptr) {
        parser.next_in_family->previous_in_family = parser.previous_in_family;
    }
    parser.handed_to = nullptr;
    parser.next_in_family = nullptr;
    parser.previous_in_family = nullptr;
}

} // namespace pkg_dbe_xml
