// Families that have ended with their transaction and are too large to be freed by it.
//
// Their document ids are given up at once, so that no handle leads to them. The entries of the
// handles are still needed: they lead to the detached trees of the family. They stay where they
// are, and the record of what is left stands in the place of the first of them, since no memory may
// be taken for it.
#include "registry/dom_map.hpp"

#include "libxml/xml.hpp"

#include <memory>

namespace pkg_dbe_xml {

// The handles of a document id that was given up; in the memory of its first piece.
struct resting_handles {
    document_entry document;  // its first piece is this record
    std::uint32_t pages_left; // the others are freed
};
static_assert(sizeof(resting_handles) <=
              (k_piece_starts[1] - k_piece_starts[0]) * sizeof(XMLHashEntry));
static_assert(alignof(resting_handles) <= alignof(XMLHashEntry));

namespace {

// Pages between two looks at whether the statement is to stop.
constexpr std::uint32_t k_pages_between_looks = 8;

// An entry is about to go, and all that it could name.
void end_entry(registry &state, XMLHashEntry &entry, xmlNodePtr &chain) noexcept {
    if (entry.kind == XMLDomNodeType::none) {
        return;
    }
    --state.entry_count;
    if (entry.object == nullptr) {
        return;
    }
    if (entry.kind != XMLDomNodeType::node_list) {
        collect_tree(chain, as_node(entry.object));
        return;
    }
    for_each_member(entry, [&chain](xmlNodePtr member) { collect_tree(chain, member); });
    free_list(entry);
}

void end_piece(registry &state, const document_entry &document, std::size_t piece,
               xmlNodePtr &chain) noexcept {
    if (document.pieces[piece] == nullptr) {
        return;
    }
    const std::uint32_t size = k_piece_starts[piece + 1] - k_piece_starts[piece];
    for (std::uint32_t index = 0; index < size; ++index) {
        end_entry(state, document.pieces[piece][index], chain);
    }
}

void end_page(registry &state, document_entry &document, std::uint32_t number,
              xmlNodePtr &chain) noexcept {
    const std::uintptr_t page = document.pages[number];
    if (page != 0 && !is_released(page)) {
        for (XMLHashEntry &entry : reinterpret_cast<entry_page *>(page)->entries) {
            end_entry(state, entry, chain);
        }
    }
    free_page(state, document, number);
}

// Frees the handles of a family; false when the statement is asked to stop before that is done.
bool free_handles(registry &state, family &owner, bool to_the_end) noexcept {
    resting_handles &rest = *owner.handles;
    while (rest.pages_left != 0) {
        if (!to_the_end && rest.pages_left % k_pages_between_looks == 0 &&
            host::interrupts_pending()) {
            return false;
        }
        --rest.pages_left;
        end_page(state, rest.document, rest.pages_left, owner.trees);
    }
    for (std::size_t piece = 1; piece < std::size(rest.document.pieces); ++piece) {
        end_piece(state, rest.document, piece, owner.trees);
        free_piece(rest.document, piece);
    }
    free_of_handles(rest.document.pages, rest.document.page_capacity * sizeof(std::uintptr_t));
    document_entry document = rest.document; // whose first piece is the record itself
    free_piece(document, 0);
    owner.handles = nullptr;
    if (state.entry_count == 0) {
        forget_lists(state);
    }
    return true;
}

} // namespace

bool rest_family(registry &state, family &owner, document_entry &document) noexcept {
    if (document.pieces[0] == nullptr) {
        return false;
    }
    disown_family(owner, &document, owner.trees);
    end_piece(state, document, 0, owner.trees);
    owner.handles = std::construct_at(reinterpret_cast<resting_handles *>(document.pieces[0]),
                                      resting_handles{document, document.page_capacity});
    remove_document(state, document);
    owner.next_resting = state.resting;
    state.resting = &owner;
    return true;
}

bool free_resting(registry &state, bool to_the_end) noexcept {
    while (family *const owner = state.resting) {
        if (owner->handles != nullptr && !free_handles(state, *owner, to_the_end)) {
            return false;
        }
        state.resting = owner->next_resting;
        free_family(state, *owner, owner->trees);
        if (!to_the_end && host::interrupts_pending()) {
            return false;
        }
    }
    return true;
}

} // namespace pkg_dbe_xml
