// The registry's tables: document entries, and the entries of handles below them.
//
// Internal to the registry; the rest of the library uses registry.hpp.
#pragma once

#include "error_reports.hpp"
#include "growing_array.hpp"
#include "registry.hpp"

#include <algorithm>
#include <bit>
#include <iterator>
#include <type_traits>

namespace pkg_dbe_xml {

// Memory for handles: counted, and given as far as the session may have more. Zeroed. Reports
// session_memory_full and throws when memory runs out.
[[nodiscard]] void *allocate_for_handles(host::memory_context *context, std::size_t size);
// The same where what is needed replaces more, and is given in any case.
[[nodiscard]] void *allocate_in_place(host::memory_context *context, std::size_t size);
void free_of_handles(void *memory, std::size_t size) noexcept;
// What the index of a list's members takes, 0 for all other entries.
[[nodiscard]] inline std::size_t index_bytes(const XMLHashEntry &entry) noexcept {
    return entry.kind == XMLDomNodeType::node_list && entry.object != nullptr &&
                   entry.members.index != nullptr
               ? entry.members.size * sizeof(xmlNodePtr)
               : 0;
}

// Document ids to be handed out again, first in first out: a ring.
struct id_queue {
    std::uint32_t *ids;
    std::size_t first;
    std::size_t count;
    std::size_t capacity;
};

// The lists of the packages by what they hold: a hash table, src/registry/own_lists.cpp.
struct known_list;
struct known_lists {
    known_list *places;
    std::size_t used;
    std::size_t capacity; // 0 or a power of 2
};

// Three short ways lead past the look-ups. What each saves, in instructions of a walk through
// 11,000 nodes that reads names and values, parsing included, and of making and releasing a handle:
//   recent_entries                    5.6 % and 2.4 %
//   document_cache                    6.2 % and 9.6 %; a third of the time of the latter
//   document_entry::next_slot         2.9 % and 3.3 %
inline constexpr std::size_t k_document_cache_size = 64;

// What a session's registry consists of; u_sess.registry.
struct registry {
    recent_entries recent;          // first: looked at without the rest
    host::hash_table *document_map; // "XMLDOM doc map"
    host::hash_table *domkeys_map;  // "XMLDOM domKeys map"
    host::memory_context *dom_map;  // "XMLDOM map": the pages of entries
    std::size_t entry_count;        // of the DOM map
    std::size_t witnesses;          // of detached trees
    family *resting;                // ended, and still to be freed; chained by `next_resting`
    id_queue recycled;
    known_lists lists;
    document_entry *document_cache[k_document_cache_size]; // by the low bits of the id
    // Stands for an entry of a page that was given back, until the next look-up. Look-ups that hand
    // out copies instead made the walk 1.4 % longer, and whatever changes an entry needs the entry.
    XMLHashEntry released_entry;
};
static_assert(offsetof(registry, recent) == 0);

// Ids 0 to 255 stand in three pieces that grow with need; from 256 on in pages of 256.
inline constexpr std::uint32_t k_page_size = 256;
inline constexpr std::uint32_t k_piece_starts[4] = {0, 8, 40, k_page_size};

// Where node ids end. The page that would be the last one is never made, so that its ids mean other
// things: the highest marks a scope.
inline constexpr std::uint32_t k_end_of_node_ids = k_no_node_id - (k_page_size - 1);

// A page counts the slots that may still come to name something. When none is left, every handle
// in it is released for good and the page shrinks to their kinds and serials.
struct entry_page {
    std::uint32_t open_slots;
    XMLHashEntry entries[k_page_size];
};

// A page whose handles are all released. Programs that do the same over and over release the same
// kinds of handles in the same order, so neighbours that are alike are kept once: five million
// handles of a loop take 0.3 MB, and without that 5.7.
inline constexpr std::size_t k_serials_per_page = 8;
struct released_page {
    std::uint32_t users; // pages of the document that are this one
    std::uint32_t serials[k_serials_per_page];
    std::uint8_t codes[k_page_size]; // kind in the low five bits, serial index in the high three
};

// `document_entry::pages[]`: null, an entry_page, or a released_page with this mark.
inline constexpr std::uintptr_t k_released_mark = 1;

[[nodiscard]] inline bool is_released(std::uintptr_t page) noexcept {
    return (page & k_released_mark) != 0;
}

[[nodiscard]] inline registry *current_registry() noexcept {
    return static_cast<registry *>(host::u_sess.registry);
}

// The entry of a document id, null when there is none, looked up in the doc map.
[[nodiscard]] document_entry *search_document(registry &state, std::uint32_t document_id) noexcept;
// The same where it was found lately, null else.
[[nodiscard]] inline document_entry *cached_document(registry &state,
                                                     std::uint32_t document_id) noexcept {
    document_entry *const cached = state.document_cache[document_id % k_document_cache_size];
    return cached != nullptr && cached->document_id == document_id ? cached : nullptr;
}
// The same by way of the cache. The registry must be set up.
[[nodiscard]] inline document_entry *find_document(registry &state,
                                                   std::uint32_t document_id) noexcept {
    document_entry *const cached = cached_document(state, document_id);
    return cached != nullptr ? cached : search_document(state, document_id);
}
// The entry of a document id, made when there is none. Throws when memory runs out.
document_entry &enter_document(registry &state, std::uint32_t document_id);
// Frees a document's pages and lists, takes all its handles out of the map and its id out of the
// doc map, its family and its transaction. Does not end the family.
void drop_document(registry &state, document_entry &document) noexcept;
// Bytes that the table of lists takes.
[[nodiscard]] std::size_t bytes_of(const known_lists &lists) noexcept;
// Gives the table of lists back; the lists stay.
void forget_lists(registry &state) noexcept;
// The last step of that: no handle is known under the id any more. Whatever hung on it is the
// caller's.
void remove_document(registry &state, document_entry &document) noexcept;
// Frees a page of a document, handles and all, and notes it as missing.
void free_page(registry &state, document_entry &document, std::uint32_t number) noexcept;
// The same of a piece, 0 to 2.
void free_piece(document_entry &document, std::size_t piece) noexcept;

[[nodiscard]] inline std::size_t piece_of(std::uint32_t node_id) noexcept {
    if (node_id < k_piece_starts[1]) {
        return 0;
    }
    return node_id < k_piece_starts[2] ? 1 : 2;
}
// Number of slots behind that of a node id in its piece or page.
[[nodiscard]] inline std::uint32_t slots_behind(std::uint32_t node_id) noexcept {
    return node_id < k_page_size ? k_piece_starts[piece_of(node_id) + 1] - 1 - node_id
                                 : k_page_size - 1 - node_id % k_page_size;
}
// Place of a node id's page in `document_entry::pages`; for ids from k_page_size on.
[[nodiscard]] inline std::uint32_t page_number(std::uint32_t node_id) noexcept {
    return node_id / k_page_size - 1;
}
// The slot of a node id in memory, null when its page is missing or was given back.
[[nodiscard]] inline XMLHashEntry *find_slot(const document_entry &document,
                                             std::uint32_t node_id) noexcept {
    if (node_id < k_page_size) {
        const std::size_t piece = piece_of(node_id);
        XMLHashEntry *const entries = document.pieces[piece];
        return entries == nullptr ? nullptr : entries + (node_id - k_piece_starts[piece]);
    }
    const std::uint32_t number = page_number(node_id);
    if (number >= document.page_capacity) {
        return nullptr;
    }
    const std::uintptr_t page = document.pages[number];
    if (page == 0 || is_released(page)) {
        return nullptr;
    }
    return reinterpret_cast<entry_page *>(page)->entries + node_id % k_page_size;
}

// The slot of a node id that may be filled, its page made when missing. Throws when memory runs
// out; the slot is empty or holds the handle registered before.
[[nodiscard]] XMLHashEntry &make_slot(registry &state, document_entry &document,
                                      std::uint32_t node_id);
[[nodiscard]] inline XMLHashEntry &slot_for_insert(registry &state, document_entry &document,
                                                   std::uint32_t node_id) {
    XMLHashEntry *const slot = find_slot(document, node_id);
    return slot != nullptr ? *slot : make_slot(state, document, node_id);
}
// The entry of a released handle whose page was given back: `released_entry`, null when there is
// none.
[[nodiscard]] XMLHashEntry *find_released(registry &state, const document_entry &document,
                                          const DomKey &key) noexcept;
[[nodiscard]] inline XMLHashEntry *&recent_entry(registry &state, std::uint32_t node_id) noexcept {
    return state.recent.entries[node_id % k_recent_entries];
}
// To be called before the memory of entries goes.
inline void forget_recent_entries(registry &state) noexcept {
    std::fill(std::begin(state.recent.entries), std::end(state.recent.entries), nullptr);
}

[[nodiscard]] inline bool holds(const XMLHashEntry &slot, const DomKey &key) noexcept {
    return slot.kind != XMLDomNodeType::none && slot.key == key;
}
// The entry registered under exactly this key, null when there is none. It is good until the next
// call when its page was given back.
[[nodiscard]] inline XMLHashEntry *find_entry(registry &state, const DomKey &key) noexcept {
    const document_entry *const document = find_document(state, key.document_id());
    if (document == nullptr) [[unlikely]] {
        return nullptr;
    }
    if (XMLHashEntry *const slot = find_slot(*document, key.node_id())) [[likely]] {
        return holds(*slot, key) ? slot : nullptr;
    }
    return find_released(state, *document, key);
}
// The object of a list without members that is no xmlList.
inline constinit xmlNodePtr no_members[1] = {};
// Whether a list is an array, as those of the packages are, and no xmlList.
[[nodiscard]] inline bool is_array(const XMLHashEntry &list) noexcept {
    return list.object == list.members.index || list.object == no_members;
}
// Notes the size of the list that an entry has just got, and that it holds its members: an xmlList,
// or `no_members`.
void hold_list(XMLHashEntry &entry) noexcept;
// Gives the entry of a list without members an array of some, which it owns and holds.
void hold_array(XMLHashEntry &entry, xmlNodePtr *members, std::size_t size) noexcept;
// Calls `visit` for each member of a list. It must not throw: libxml2 calls it.
template <class Visitor> void for_each_member(const XMLHashEntry &entry, Visitor &&visit) noexcept {
    if (is_array(entry)) {
        for (std::size_t index = 0; index < entry.members.size; ++index) {
            visit(entry.members.index[index]);
        }
        return;
    }
    xmlListWalk(
        static_cast<xmlListPtr>(entry.object),
        [](const void *member, void *state) noexcept {
            (*static_cast<std::remove_reference_t<Visitor> *>(state))(
                static_cast<xmlNodePtr>(const_cast<void *>(member)));
            return 1; // goes on
        },
        &visit);
}
// Takes all members from a list, which lets go of none, and frees their index or array.
void empty_list(XMLHashEntry &entry) noexcept;
// Frees a list, which lets go of none of its members, and their index; the entry keeps its
// pointers.
void free_list(XMLHashEntry &entry) noexcept;
// What delete_list does, but for letting go of the members that may go: they are put on the chain.
void delete_list(XMLHashEntry &entry, xmlNodePtr &chain) noexcept;
// Empties a slot for good (`for_reuse` false) or so that its node id is handed out again. The entry
// names nothing any more; `was_settled` tells whether that was so before the caller released it.
void empty_slot(registry &state, document_entry &document, XMLHashEntry &slot, bool was_settled,
                bool for_reuse) noexcept;
// Shrinks the page of a node id from k_page_size on, whose handles are all released.
void give_page_back(const DomKey &key) noexcept;
// The page that an entry of a node id from k_page_size on stands in.
[[nodiscard]] inline entry_page &page_of(XMLHashEntry &entry, std::uint32_t node_id) noexcept {
    XMLHashEntry *const first = &entry - node_id % k_page_size;
    return *reinterpret_cast<entry_page *>(reinterpret_cast<std::byte *>(first) -
                                           offsetof(entry_page, entries));
}
// An entry names nothing any more: its page may be given back, and the entry with it.
inline void settle_slot(XMLHashEntry &entry, const DomKey &key) noexcept {
    const std::uint32_t node_id = key.node_id();
    if (node_id < k_page_size) {
        return;
    }
    entry_page &page = page_of(entry, node_id);
    --page.open_slots;
    if (page.open_slots == 0) [[unlikely]] {
        give_page_back(key);
    }
}

// The node id that take_node_id would give.
[[nodiscard]] inline std::uint32_t next_node_id(const document_entry &document) noexcept {
    return document.first_freed != 0 ? document.first_freed : document.next_node_id;
}
// Reports numbers_used_up when there is none.
inline void require_next_node_id(const document_entry &document) {
    if (next_node_id(document) == k_end_of_node_ids) [[unlikely]] {
        report(reports::numbers_used_up, {"the handles of this document"});
    }
}
// Its slot, which may be filled, as slot_for_insert gives it. Reports numbers_used_up.
[[nodiscard]] inline XMLHashEntry &slot_of_next_node(registry &state, document_entry &document) {
    if (document.next_slot != nullptr) [[likely]] {
        return *document.next_slot;
    }
    require_next_node_id(document);
    XMLHashEntry &slot = slot_for_insert(state, document, next_node_id(document));
    if (document.first_freed == 0) {
        document.next_slot = &slot;
        document.last_slot = &slot + slots_behind(document.next_node_id);
    }
    return slot;
}
// Takes the first of the freed node ids off their queue.
void take_freed_node_id(document_entry &document) noexcept;
// Takes `next_node_id`, whose slot is at hand.
inline void take_fresh_node_id(document_entry &document) noexcept {
    ++document.next_node_id;
    document.next_slot =
        document.next_slot == document.last_slot ? nullptr : document.next_slot + 1;
}
inline void take_node_id(document_entry &document) noexcept {
    if (document.next_slot != nullptr) {
        take_fresh_node_id(document);
    } else if (document.first_freed == 0) {
        ++document.next_node_id;
    } else {
        take_freed_node_id(document);
    }
}

// Every registered entry of a document that is not in a page that was given back. The visitor may
// change the entry's object, but not empty or settle slots.
template <class Visitor> void for_each_slot(document_entry &document, Visitor &&visit) {
    for (std::size_t piece = 0; piece < 3; ++piece) {
        if (document.pieces[piece] == nullptr) {
            continue;
        }
        const std::uint32_t size = k_piece_starts[piece + 1] - k_piece_starts[piece];
        for (std::uint32_t index = 0; index < size; ++index) {
            if (document.pieces[piece][index].kind != XMLDomNodeType::none) {
                visit(document.pieces[piece][index]);
            }
        }
    }
    for (std::uint32_t number = 0; number < document.page_capacity; ++number) {
        const std::uintptr_t page = document.pages[number];
        if (page == 0 || is_released(page)) {
            continue;
        }
        for (XMLHashEntry &entry : reinterpret_cast<entry_page *>(page)->entries) {
            if (entry.kind != XMLDomNodeType::none) {
                visit(entry);
            }
        }
    }
}

// Document ids to be handed out again. Reserving throws; pushing and taking cannot fail.
void reserve_recycled(id_queue &queue);
void push_recycled(id_queue &queue, std::uint32_t document_id) noexcept;
void push_recycled_first(id_queue &queue, std::uint32_t document_id) noexcept;
[[nodiscard]] std::uint32_t take_recycled(id_queue &queue) noexcept;

// --- names of nodes, src/registry/kept_trees.cpp
// ------------------------------------------------------

// Marks in the low bits of a node's `_private`; the rest is its first name, but for the roots of
// detached trees that hold a witness, and while trees are collected.
inline constexpr std::uintptr_t k_witness = 1;       // its tree is kept for this node
inline constexpr std::uintptr_t k_holds_witness = 2; // of a root: the rest is the witness
inline constexpr std::uintptr_t k_collected = 4;     // during a call: the rest is the next one
inline constexpr std::uintptr_t k_marks = k_witness | k_holds_witness | k_collected;

[[nodiscard]] inline std::uintptr_t names_and_marks(const xmlNode *node) noexcept {
    return reinterpret_cast<std::uintptr_t>(node->_private);
}
inline void set_names_and_marks(xmlNodePtr node, std::uintptr_t value) noexcept {
    node->_private = reinterpret_cast<void *>(value);
}

// A root that holds a witness is about to be named, and needs none then.
void dismiss_witness(xmlNodePtr root) noexcept;

// A node that is needed has come to stand at the top of a tree. To be called wherever that happens:
// a family that was never told so has no detached trees, and its end reads none of the nodes that
// handles name and lists hold.
void note_detached(const xmlNode *root) noexcept;
// The same of the node that an entry names.
void note_named_root(const XMLHashEntry &entry) noexcept;

// Whether an entry is the own one of the node that it names, not of the node's map.
[[nodiscard]] inline bool is_own_of_node(const XMLHashEntry &entry) noexcept {
    return entry.is_own && entry.kind != XMLDomNodeType::named_node_map;
}
// Chains an entry to the node it names, behind its own entries unless it is the node's own itself,
// and unchains it. Not for lists.
void add_name_behind_own(XMLHashEntry &entry, XMLHashEntry &first) noexcept;
inline void add_name(XMLHashEntry &entry) noexcept {
    xmlNodePtr node = as_node(entry.object);
    if (node->parent == nullptr) [[unlikely]] {
        note_named_root(entry);
    }
    if ((names_and_marks(node) & k_holds_witness) != 0) [[unlikely]] {
        dismiss_witness(node);
    }
    const std::uintptr_t before = names_and_marks(node);
    auto *const first = reinterpret_cast<XMLHashEntry *>(before & ~k_marks);
    if (first != nullptr) {
        if (first->is_own && !is_own_of_node(entry)) {
            add_name_behind_own(entry, *first);
            return;
        }
        first->names.previous = &entry;
    }
    entry.names = {first, nullptr};
    set_names_and_marks(node, reinterpret_cast<std::uintptr_t>(&entry) | (before & k_marks));
}
inline void remove_name(XMLHashEntry &entry) noexcept {
    XMLHashEntry *const next = entry.names.next;
    XMLHashEntry *const previous = entry.names.previous;
    if (previous != nullptr) {
        previous->names.next = next;
    } else {
        xmlNodePtr node = as_node(entry.object);
        set_names_and_marks(node, reinterpret_cast<std::uintptr_t>(next) |
                                      (names_and_marks(node) & k_marks));
    }
    if (next != nullptr) {
        next->names.previous = previous;
    }
    entry.names = {};
    entry.is_own = false;
}

// Number of live lists that hold a node. From k_many_lists on it is not counted: such a node is
// kept as long as its family.
inline constexpr unsigned k_many_lists = 0xFFFF;
[[nodiscard]] inline unsigned lists_with(const xmlNode *node) noexcept {
    return counts_lists(node) ? list_count(node) : 0;
}

// Whether a node that has lost a name may have been what something was kept for: nobody names it,
// and it stands at the top of a tree or is the witness of one.
[[nodiscard]] inline bool may_go(const xmlNode *node) noexcept {
    const std::uintptr_t word = names_and_marks(node);
    return (word & ~k_witness) == 0 && (word != 0 || node->parent == nullptr);
}
// An entry has let go of the last name of such a node, and still holds it: frees the detached tree
// that was kept for it unless it is kept for another reason. `is_own` as it was. Throws when the
// statement was asked to stop, and the entry names the node again.
void release_last_name(XMLHashEntry &entry, xmlNodePtr node, bool is_own);
// Frees the detached tree of such a node if none of it is kept for another reason.
void let_go(xmlNodePtr node) noexcept;
// The same for many nodes, once it is known of all of them: puts a node that may go on a chain,
// which begins null, and lets go of all of it.
void let_go_later(xmlNodePtr &chain, xmlNodePtr node) noexcept;
void let_go_of_all(xmlNodePtr chain) noexcept;

// The end of a family: puts the root of the detached tree that is kept for `node` on the chain, and
// frees all trees of the chain. Whatever else such a tree is kept for is on the chain with it.
void collect_tree(xmlNodePtr &chain, xmlNodePtr node) noexcept;
void free_collected(family &owner, xmlNodePtr chain) noexcept;

// What release_entry does for the handle of a list, and for the own handle of a document.
void release_list_or_document(XMLHashEntry &entry);
// What xml_free_hashentry does, for an entry at hand. It may be given back with its page: do not
// read it afterwards.
inline void release_entry(XMLHashEntry &entry) {
    if (entry.object == nullptr) {
        return;
    }
    if (entry.kind == XMLDomNodeType::node_list || entry.key.node_id() == 0) [[unlikely]] {
        release_list_or_document(entry);
        return;
    }
    xmlNodePtr const node = as_node(entry.object);
    const bool is_own = entry.is_own;
    remove_name(entry);
    if (may_go(node)) [[unlikely]] {
        release_last_name(entry, node, is_own);
        return;
    }
    entry.object = nullptr;
    settle_slot(entry, entry.key);
}

// The first 16 bytes of an entry, key, type and kind, as they are written: two words put together
// in registers. What is read again soon and was stored in pieces makes the processor wait.
struct entry_head {
    std::uint64_t ids;  // document id, node id
    std::uint64_t rest; // serial, flag, type, kind, whether it is an own handle
};
static_assert(sizeof(entry_head) == offsetof(XMLHashEntry, object));
static_assert(offsetof(XMLHashEntry, key) == 0);
static_assert(offsetof(XMLHashEntry, type) == k_key_size);
static_assert(offsetof(XMLHashEntry, kind) == k_key_size + 1);
static_assert(offsetof(XMLHashEntry, is_own) == k_key_size + 2);

// Two numbers one behind the other in memory.
[[nodiscard]] constexpr std::uint64_t one_word(std::uint32_t first, std::uint32_t second) noexcept {
    constexpr bool is_little = std::endian::native == std::endian::little;
    return static_cast<std::uint64_t>(is_little ? second : first) << 32U |
           (is_little ? first : second);
}
[[nodiscard]] inline entry_head head_of(std::uint32_t document_id, std::uint32_t node_id,
                                        std::uint32_t serial, XMLDomNodeType kind,
                                        bool is_own = false) noexcept {
    const std::array<std::uint8_t, 4> tail{
        k_handle_flag, static_cast<std::uint8_t>(XMLEntryType::dom_map),
        static_cast<std::uint8_t>(kind), static_cast<std::uint8_t>(is_own ? 1 : 0)};
    return {one_word(document_id, node_id), one_word(serial, std::bit_cast<std::uint32_t>(tail))};
}

// Fills an empty slot.
inline void fill_slot(registry &state, XMLHashEntry &slot, const entry_head &head, void *object,
                      const char *text, XMLDomNodeType kind) noexcept {
    std::memcpy(reinterpret_cast<std::byte *>(&slot), &head, sizeof head);
    slot.object = object;
    slot.text = text;
    ++state.entry_count;
    if (object == nullptr) [[unlikely]] {
        slot.names = {};
        settle_slot(slot, slot.key);
    } else if (kind == XMLDomNodeType::node_list) [[unlikely]] {
        hold_list(slot);
    } else {
        add_name(slot);
    }
}

// The family that owns a libxml2 document, null when none does yet.
[[nodiscard]] family *find_shared(registry &state, void *document) noexcept;
// Makes a family; of `main`, which is entered in the domKeys map, or of nothing. Throws.
[[nodiscard]] family &make_family(registry &state, xmlDocPtr main);
// Frees a family that owns nothing yet.
void discard_family(registry &state, family &owner) noexcept;
void join_family(family &owner, document_entry &document) noexcept;
void leave_family(document_entry &document) noexcept;
// Ends a family: nothing names anything of it afterwards, its lists are empty, its trees are freed.
// Takes as long as the family has handles, whatever the statement is asked: for the end of a
// session.
void end_family(registry &state, family &owner) noexcept;
// The same for the middle of one. Throws when memory runs out or the statement was asked to stop,
// and has then changed nothing.
void end_family_unless_stopped(registry &state, family &owner);
// The first part of that: handles and parsers name nothing. The handles of `but`, which may be
// null, are left alone. Puts the roots of detached trees on the chain.
void disown_family(family &owner, const document_entry *but, xmlNodePtr &chain) noexcept;
// The other part: frees the trees, those of the chain too, and the family.
void free_family(registry &state, family &owner, xmlNodePtr chain) noexcept;

// --- what ends with transactions, src/registry/lifetimes.cpp ------------------------------------

// Enters a member in the list of what ends with the transaction, or does nothing for
// k_no_subtransaction; takes it out of the list, if it is in it.
void join_transaction(transaction_member &member, host::subtransaction_number made_in) noexcept;
void leave_transaction(transaction_member &member) noexcept;
// Takes all out of the list.
void forget_transaction() noexcept;
// Ends a document id, and its family when it was the last to have a share in it. Does not recycle
// the id.
void end_document(registry &state, document_entry &document) noexcept;
// The same for the middle of a session. Throws when memory runs out or the statement was asked to
// stop, and has then changed nothing.
void end_document_unless_stopped(registry &state, document_entry &document);

// --- families that rest, src/registry/resting_families.cpp --------------------------------------

// Ends a family of which `document` was the last to have a share, and the document id, in a time
// that does not depend on their size. What they take is freed by free_resting. False when that
// cannot be: nothing has changed then.
bool rest_family(registry &state, family &owner, document_entry &document) noexcept;
// Frees the families that rest, until the statement is asked to stop; then false. `to_the_end`:
// whatever is asked.
bool free_resting(registry &state, bool to_the_end) noexcept;
// The family of a document, which `psvi` of the document names; null when it has none.
[[nodiscard]] inline family *family_of_document(const xmlDoc *document) noexcept {
    return document == nullptr ? nullptr : static_cast<family *>(document->psvi);
}

} // namespace pkg_dbe_xml
