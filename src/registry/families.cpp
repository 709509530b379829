// Families: what belongs to one, and what happens when it ends.
#include "registry/dom_map.hpp"

#include "libxml/xml.hpp"
#include "registry/family_waste.hpp"
#include "registry/kept_trees.hpp"

#include <algorithm>
#include <type_traits>

namespace pkg_dbe_xml {
namespace {

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

// The lists of a family, of its document ids and of its parsers: linked in both directions.
template <class Entry> void put_first(Entry *&first, Entry &entry) noexcept {
    entry.previous_in_family = nullptr;
    entry.next_in_family = first;
    if (first != nullptr) {
        first->previous_in_family = &entry;
    }
    first = &entry;
}
template <class Entry> void take_out(Entry *&first, Entry &entry) noexcept {
    if (entry.previous_in_family != nullptr) {
        entry.previous_in_family->next_in_family = entry.next_in_family;
    } else {
        first = entry.next_in_family;
    }
    if (entry.next_in_family != nullptr) {
        entry.next_in_family->previous_in_family = entry.previous_in_family;
    }
    entry.next_in_family = nullptr;
    entry.previous_in_family = nullptr;
}

// For a family whose detached trees are known, or that has none: not even the nodes are read.
struct nobody_collects {
    void operator()(xmlNodePtr) const noexcept {}
};

// Lets every entry of a document id go of its object; lists stay, empty. Calls `collect` with each
// node that was named or listed.
template <class Collect> void disown_entries(document_entry &document, Collect &collect) noexcept {
    for_each_slot(document, [&collect](XMLHashEntry &entry) {
        if (entry.object == nullptr) {
            return;
        }
        if (entry.kind == XMLDomNodeType::node_list) {
            if constexpr (!std::is_same_v<Collect, nobody_collects>) {
                for_each_member(entry, collect);
            }
            empty_list(entry);
            return;
        }
        collect(as_node(entry.object));
        entry.object = nullptr;
    });
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

// --- families -----------------------------------------------------------------------------------

family *find_shared(registry &state, void *document) noexcept {
    auto *const entry = static_cast<domkeys_entry *>(host::hash_search(
        state.domkeys_map, static_cast<const void *>(&document), host::hash_action::find, nullptr));
    return entry == nullptr ? nullptr : entry->shared;
}

family &make_family(registry &state, xmlDocPtr main) {
    auto *const owner = static_cast<family *>(
        host::mmgr_memory_alloc_zero(host::u_sess.xmldom_context, sizeof(whole_family)));
    std::unique_ptr<family, host::memory_deleter> guard(owner);
    owner->has_detached = main == nullptr; // all that it may come to hold
    if (main != nullptr) {
        void *const key = main;
        auto *const entry = static_cast<domkeys_entry *>(host::hash_search(
            state.domkeys_map, static_cast<const void *>(&key), host::hash_action::enter, nullptr));
        entry->shared = owner;
        owner->main = main;
        main->psvi = owner;
    }
    return *guard.release();
}

void discard_family(registry &state, family &owner) noexcept {
    if (owner.main != nullptr) {
        void *const key = owner.main;
        host::hash_search(state.domkeys_map, static_cast<const void *>(&key),
                          host::hash_action::remove, nullptr);
        owner.main->psvi = nullptr;
    }
    free_memory(owner.copies.objects);
    free_memory(owner.ids_by_value);
    free_memory(&owner);
}

void join_family(family &owner, document_entry &document) noexcept {
    document.owner = &owner;
    put_first(owner.ids, document);
}

void leave_family(document_entry &document) noexcept {
    if (document.owner == nullptr) {
        return;
    }
    take_out(document.owner->ids, document);
    document.owner = nullptr;
}

namespace {

// The handles of `but` are left alone; it may be null.
template <class Collect>
void disown_all(family &owner, const document_entry *but, Collect collect) noexcept {
    while (owner.ids != nullptr) {
        document_entry &document = *owner.ids;
        if (&document != but) {
            disown_entries(document, collect);
        }
        leave_family(document);
    }
    forget_parsers(owner);
}

// Frees a family that nothing names, and whose detached trees are freed.
void free_rest_of(registry &state, family &owner) noexcept {
    xmlFreeNsList(owner.namespaces);
    for (std::size_t index = 0; index < owner.copies.count; ++index) {
        host::free_document(owner.copies.objects[index]);
    }
    xmlDocPtr const main = owner.main;
    discard_family(state, owner);
    host::free_document(main);
}

} // namespace

void end_family(registry &state, family &owner) noexcept {
    xmlNodePtr collected = nullptr;
    disown_family(owner, nullptr, collected);
    free_family(state, owner, collected);
}

void end_family_unless_stopped(registry &state, family &owner) {
    detached_trees trees;
    trees.collect(owner);
    const host::tree_scope scope;
    const std::int64_t before = host::gate.bytes_in_use;
    disown_all(owner, nullptr, nobody_collects{});
    trees.free_all(owner);
    free_rest_of(state, owner);
    host::give_memory_back(before - host::gate.bytes_in_use);
}

void disown_family(family &owner, const document_entry *but, xmlNodePtr &chain) noexcept {
    if (owner.has_detached) {
        disown_all(owner, but, [&chain](xmlNodePtr node) { collect_tree(chain, node); });
    } else {
        disown_all(owner, but, nobody_collects{});
    }
}

void free_family(registry &state, family &owner, xmlNodePtr chain) noexcept {
    const host::tree_scope scope;
    const std::int64_t before = host::gate.bytes_in_use;
    free_collected(owner, chain);
    free_rest_of(state, owner);
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

void adopt_copy(family &owner, xml_doc_ptr &copy) {
    reserve_kept(owner.copies, 1);
    copy->psvi = &owner;
    owner.copies.objects[owner.copies.count] = copy.release();
    ++owner.copies.count;
}

void link_parser(family &owner, XmlParserHashEntry &parser) noexcept {
    parser.handed_to = &owner;
    put_first(owner.parsers, parser);
}

void unlink_parser(XmlParserHashEntry &parser) noexcept {
    if (parser.handed_to == nullptr) {
        return;
    }
    take_out(parser.handed_to->parsers, parser);
    parser.handed_to = nullptr;
}

} // namespace pkg_dbe_xml
