// Own handles: the one handle by which the packages know a node, and the map of its attributes.
#include "error_reports.hpp"
#include "registry/dom_map.hpp"

namespace pkg_dbe_xml {
namespace {

[[nodiscard]] bool is_map(const XMLHashEntry &entry) noexcept {
    return entry.kind == XMLDomNodeType::named_node_map;
}

// What first_name gives, in place.
[[nodiscard]] inline XMLHashEntry *first_of_names(const xmlNode *node) noexcept {
    const std::uintptr_t word = names_and_marks(node);
    return (word & k_holds_witness) != 0 ? nullptr
                                         : reinterpret_cast<XMLHashEntry *>(word & ~k_marks);
}

// The own handle of a node where it is found at once, as it is for all nodes but documents; null
// else.
[[nodiscard]] inline XMLHashEntry *known_own_entry(const xmlNode *node) noexcept {
    XMLHashEntry *const first = first_of_names(node);
    return first != nullptr && is_own_of_node(*first) ? first : nullptr;
}

// An own entry of that sort among the first two names of the node.
[[nodiscard]] XMLHashEntry *find_own(const xmlNode *node, bool wants_map) noexcept {
    XMLHashEntry *const first = first_of_names(node);
    if (first == nullptr || !first->is_own) {
        return nullptr;
    }
    if (is_map(*first) == wants_map) {
        return first;
    }
    XMLHashEntry *const second = first->names.next;
    return second != nullptr && second->is_own && is_map(*second) == wants_map ? second : nullptr;
}

// A document whose own handle was released goes by another of those that have a share in it. It is
// looked for once: it stands first from then on.
[[nodiscard]] XMLHashEntry *choose_document_handle(const xmlNode *document) noexcept {
    XMLHashEntry *entry = first_name(document);
    while (entry != nullptr && entry->key.node_id() != 0) {
        entry = entry->names.next;
    }
    if (entry != nullptr) {
        remove_name(*entry);
        entry->is_own = true;
        add_name(*entry);
    }
    return entry;
}

[[nodiscard]] XMLHashEntry &mint_own_entry(const XMLHashEntry &from, xmlNodePtr node,
                                           XMLDomNodeType kind) {
    registry &state = *current_registry();
    document_entry &document = *find_document(state, from.key.document_id());
    const std::uint32_t node_id = next_node_id(document);
    XMLHashEntry &slot = slot_of_next_node(state, document);
    take_node_id(document);
    fill_slot(state, slot, head_of(document.document_id, node_id, from.key.serial(), kind, true),
              node, "", kind);
    return slot;
}

[[nodiscard]] std::byte *value_room() {
    return asserted(static_cast<std::byte *>(host::allocate_result(k_handle_room)),
                    k_no_result_room);
}

template <class Head> void write_head(const Head &head, std::byte *room) noexcept {
    static_assert(k_handle_room == host::k_long_header + sizeof(entry_head));
    host::set_total_size(reinterpret_cast<host::varlena *>(room), k_handle_size);
    std::memcpy(room + host::k_long_header, &head, sizeof(entry_head));
}

// The next call is likely to be about this handle.
[[nodiscard]] host::datum finish_value(XMLHashEntry &entry, std::byte *room) noexcept {
    recent_entry(*current_registry(), entry.key.node_id()) = &entry;
    write_handle(entry, room);
    return host::from_pointer(room);
}

// A new own handle as the result: where the slot of the next node is at hand, as mint_handle makes
// the others, in 40 instructions less.
[[nodiscard, gnu::always_inline]] inline host::datum
mint_own_value(const XMLHashEntry &from, xmlNodePtr node, XMLDomNodeType kind, std::byte *room) {
    registry &state = *current_registry();
    document_entry *const document = cached_document(state, from.key.document_id());
    if (document == nullptr || document->next_slot == nullptr) [[unlikely]] {
        return finish_value(mint_own_entry(from, node, kind), room);
    }
    const std::uint32_t node_id = document->next_node_id;
    XMLHashEntry &slot = *document->next_slot;
    take_fresh_node_id(*document);
    const entry_head head = head_of(document->document_id, node_id, from.key.serial(), kind, true);
    recent_entry(state, node_id) = &slot;
    write_head(head, room);
    fill_slot(state, slot, head, node, "", kind);
    return host::from_pointer(room);
}

} // namespace

void add_name_behind_own(XMLHashEntry &entry, XMLHashEntry &first) noexcept {
    XMLHashEntry *last_own = &first;
    if (first.names.next != nullptr && first.names.next->is_own) {
        last_own = first.names.next;
    }
    entry.names = {last_own->names.next, last_own};
    if (entry.names.next != nullptr) {
        entry.names.next->names.previous = &entry;
    }
    last_own->names.next = &entry;
}

XMLHashEntry *find_own_entry(const xmlNode *node) noexcept { return find_own(node, false); }

XMLHashEntry &own_entry(const XMLHashEntry &from, xmlNodePtr node) {
    if (XMLHashEntry *const known = known_own_entry(node)) [[likely]] {
        return *known;
    }
    if (is_document(node)) {
        if (XMLHashEntry *const chosen = choose_document_handle(node)) {
            return *chosen;
        }
    }
    return mint_own_entry(from, node, own_kind(node));
}

void write_handle(const XMLHashEntry &entry, std::byte *room) noexcept { write_head(entry, room); }

host::datum own_handle(const XMLHashEntry &from, xmlNodePtr node) {
    std::byte *const room = value_room();
    if (XMLHashEntry *const known = known_own_entry(node)) {
        return finish_value(*known, room);
    }
    return is_document(node) ? finish_value(own_entry(from, node), room)
                             : mint_own_value(from, node, own_kind(node), room);
}

host::datum own_handle_of_new(const XMLHashEntry &from, xmlNodePtr node) {
    return mint_own_value(from, node, own_kind(node), value_room());
}

host::datum own_map(const XMLHashEntry &from, xmlNodePtr element) {
    std::byte *const room = value_room();
    XMLHashEntry *const known = find_own(element, true);
    return finish_value(
        known != nullptr ? *known : mint_own_entry(from, element, XMLDomNodeType::named_node_map),
        room);
}

} // namespace pkg_dbe_xml
