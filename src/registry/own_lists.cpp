// Lists that are found by what they hold.
//
// The table has the keys of lists by the hashes of their members. It is never told when a list
// goes: what it finds is looked at, and what names no list any more makes room for one of the same
// hash, or is left out when the table grows.
#include "registry/own_lists.hpp"

#include "registry/dom_map.hpp"

#include <bit>
#include <cstring>
#include <memory>

namespace pkg_dbe_xml {

struct known_list {
    std::uint64_t hash; // 0: nothing stands here
    DomKey key;
};

std::size_t bytes_of(const known_lists &lists) noexcept {
    return lists.capacity * sizeof(known_list);
}

namespace {

constexpr std::size_t k_fewest_places = 16;

[[nodiscard]] XMLHashEntry *find_list(registry &state, const DomKey &key) noexcept {
    XMLHashEntry *const entry = find_entry(state, key);
    return entry != nullptr && entry->kind == XMLDomNodeType::node_list && entry->object != nullptr
               ? entry
               : nullptr;
}

void enter(known_lists &lists, const known_list &known) noexcept {
    std::size_t place = known.hash & (lists.capacity - 1);
    while (lists.places[place].hash != 0) {
        place = (place + 1) & (lists.capacity - 1);
    }
    lists.places[place] = known;
    ++lists.used;
}

[[nodiscard]] std::size_t count_live(registry &state) noexcept {
    std::size_t live = 0;
    for (std::size_t place = 0; place < state.lists.capacity; ++place) {
        const known_list &known = state.lists.places[place];
        live += known.hash != 0 && find_list(state, known.key) != nullptr ? 1 : 0;
    }
    return live;
}

// Room for one more, at most half of the places taken. Throws before anything has changed.
void reserve_place(registry &state) {
    known_lists &lists = state.lists;
    if (lists.capacity >= 2 * (lists.used + 1)) {
        return;
    }
    known_lists grown{nullptr, 0, std::bit_ceil(4 * count_live(state) + k_fewest_places)};
    grown.places = static_cast<known_list *>(
        allocate_for_handles(host::u_sess.xmldom_context, bytes_of(grown)));
    for (std::size_t place = 0; place < lists.capacity; ++place) {
        const known_list &known = lists.places[place];
        if (known.hash != 0 && find_list(state, known.key) != nullptr) {
            enter(grown, known);
        }
    }
    free_of_handles(lists.places, bytes_of(lists));
    lists = grown;
}

// Whether a known list has these members. Throws when memory runs out.
[[nodiscard]] bool holds_same(XMLHashEntry &known, const xmlNodePtr *members, std::size_t size) {
    if (list_size(known) != size) {
        return false;
    }
    if (size == 0) {
        return true;
    }
    static_cast<void>(list_member(known, 0)); // makes the index
    return std::memcmp(known.members.index, members, size * sizeof *members) == 0;
}

// Frees an array of members that no list owns yet.
struct array_deleter {
    std::size_t size = 0;
    void operator()(xmlNodePtr *members) const noexcept {
        free_of_handles(members, size * sizeof *members);
    }
};
using array_owner = std::unique_ptr<xmlNodePtr[], array_deleter>;

[[nodiscard]] array_owner copy_of(const xmlNodePtr *members, std::size_t size) {
    array_owner copy(nullptr, {size});
    if (size != 0) {
        copy.reset(static_cast<xmlNodePtr *>(
            allocate_for_handles(host::u_sess.xmldom_context, size * sizeof *members)));
        std::memcpy(copy.get(), members, size * sizeof *members);
    }
    return copy;
}

struct search_result {
    XMLHashEntry *entry; // of a known list with these members, null when there is none
    known_list *vacant;  // of a list that is gone and had this hash; null when none was met
};

[[nodiscard]] search_result find_alike(registry &state, const XMLHashEntry &from,
                                       const xmlNodePtr *members, const list_digest &digest) {
    const known_lists &lists = state.lists;
    search_result result{nullptr, nullptr};
    if (lists.capacity == 0) {
        return result;
    }
    const std::size_t mask = lists.capacity - 1;
    for (std::size_t place = digest.hash() & mask; lists.places[place].hash != 0;
         place = (place + 1) & mask) {
        known_list &known = lists.places[place];
        if (known.hash != digest.hash()) {
            continue;
        }
        XMLHashEntry *const entry = find_list(state, known.key);
        if (entry == nullptr) {
            result.vacant = &known;
        } else if (known.key.document_id() == from.key.document_id() &&
                   known.key.serial() == from.key.serial() &&
                   holds_same(*entry, members, digest.size())) {
            result.entry = entry;
            break;
        }
    }
    return result;
}

} // namespace

host::datum own_list(const XMLHashEntry &from, const xmlNodePtr *members,
                     const list_digest &digest) {
    registry &state = *current_registry();
    const search_result known = find_alike(state, from, members, digest);
    if (known.entry != nullptr) {
        return get_datum_by_dom_key(known.entry->key);
    }
    array_owner array = copy_of(members, digest.size());
    if (known.vacant == nullptr) {
        reserve_place(state);
    }
    const host::datum result = mint_handle<XMLDomNodeType::node_list>(from, no_members);
    known_list made{digest.hash(), {}};
    std::memcpy(made.key.bytes.data(),
                reinterpret_cast<const std::byte *>(result) + host::k_long_header, k_key_size);
    if (array != nullptr) {
        hold_array(*find_entry(state, made.key), array.release(), digest.size());
    }
    if (known.vacant != nullptr) {
        *known.vacant = made;
    } else {
        enter(state.lists, made);
    }
    return result;
}

void forget_lists(registry &state) noexcept {
    free_of_handles(state.lists.places, bytes_of(state.lists));
    state.lists = {};
}

} // namespace pkg_dbe_xml
