// Trees that stand in no document, and how long they are kept.
//
// A node is needed while a handle names it or a live list holds it. A detached tree is kept while
// any of its nodes is needed, and freed with the last of them. Nothing lists these trees. A tree
// whose root is not needed itself has a witness instead: some needed node of it that is marked, and
// that the root points to. Only when the witness is needed no more is another one looked for, from
// where it stands, so that giving up all handles of a tree in either direction reads it once.
#include "registry/kept_trees.hpp"

#include "registry/dom_map.hpp"

#include "libxml/xml.hpp"
#include "tree/id_attributes.hpp"
#include "tree/namespace_marks.hpp"

#include <algorithm>

namespace pkg_dbe_xml {
namespace {

static_assert(alignof(XMLHashEntry) > k_marks && alignof(xmlNode) > k_marks, "room for the marks");

[[nodiscard]] xmlNodePtr rest_of(std::uintptr_t word) noexcept {
    return reinterpret_cast<xmlNodePtr>(word & ~k_marks);
}

// Whether a node can stand at the top of a detached tree: documents and what stands in a document
// type are freed with their documents.
[[nodiscard]] bool can_be_root(const xmlNode *node) noexcept {
    return node->parent == nullptr && node->type != XML_DOCUMENT_NODE &&
           node->type != XML_HTML_DOCUMENT_NODE && !is_declaration(node->type);
}

[[nodiscard]] xmlNodePtr top_of(xmlNodePtr node) noexcept {
    while (node->parent != nullptr) {
        node = node->parent;
    }
    return node;
}

// --- looking for needed nodes -------------------------------------------------------------------

// The node itself or one that hangs on it beside its children.
[[nodiscard]] xmlNodePtr needed_at(xmlNodePtr node) noexcept {
    if (is_kept(node)) {
        return node;
    }
    for (xmlAttrPtr attribute = first_attribute(node); attribute != nullptr;
         attribute = attribute->next) {
        if (is_kept(as_node(attribute))) {
            return as_node(attribute);
        }
        for (xmlNodePtr child = attribute->children; child != nullptr; child = child->next) {
            if (is_kept(child)) {
                return child;
            }
        }
    }
    return nullptr;
}

// The first needed node of a tree from `node` on, as far as `end`; null when there is none.
[[nodiscard]] xmlNodePtr find_needed(xmlNodePtr node, const xmlNode *top,
                                     const xmlNode *end = nullptr) noexcept {
    for (; node != end; node = next_below(node, top)) {
        if (xmlNodePtr const needed = needed_at(node)) {
            return needed;
        }
    }
    return nullptr;
}

// Where a walk through the tree of `top` comes upon a node: attributes and their texts with their
// element.
[[nodiscard]] xmlNodePtr place_in_walk(xmlNodePtr node, const xmlNode *top) noexcept {
    if (node != top && is_attribute(node->parent)) {
        node = node->parent;
    }
    return node != top && is_attribute(node) ? node->parent : node;
}

// --- witnesses ----------------------------------------------------------------------------------

void appoint_witness(xmlNodePtr root, xmlNodePtr witness) noexcept {
    set_names_and_marks(root, reinterpret_cast<std::uintptr_t>(witness) | k_holds_witness);
    set_names_and_marks(witness, names_and_marks(witness) | k_witness);
    ++current_registry()->witnesses;
}

[[nodiscard]] bool holds_witness(const xmlNode *node) noexcept {
    return (names_and_marks(node) & k_holds_witness) != 0;
}

// `node`, or what stands below it, is about to leave its tree. The root of the tree if its witness
// is there; it has none any more then. Null otherwise.
[[nodiscard]] xmlNodePtr take_witness_along(xmlNodePtr node) noexcept {
    if (current_registry()->witnesses == 0) {
        return nullptr;
    }
    xmlNodePtr const root = top_of(node);
    if (!holds_witness(root)) {
        return nullptr;
    }
    const xmlNode *witness = rest_of(names_and_marks(root));
    while (witness != nullptr && witness != node) {
        witness = witness->parent;
    }
    if (witness == nullptr) {
        return nullptr;
    }
    dismiss_witness(root);
    return root;
}

// --- freeing ------------------------------------------------------------------------------------

// Namespace records of the tree that nodes elsewhere may use live on with the family.
void save_namespaces(family &owner, xmlNodePtr top) noexcept {
    for (xmlNodePtr node = top; node != nullptr; node = next_below(node, top)) {
        if (!declares_for_others(node)) {
            continue;
        }
        xmlNsPtr last = node->nsDef;
        while (last->next != nullptr) {
            last = last->next;
        }
        last->next = owner.namespaces;
        owner.namespaces = node->nsDef;
        node->nsDef = nullptr;
    }
}

// There is no time to free the rest of a tree: the statement is to stop. It goes with its family.
void leave_for_later(family *owner, xmlNodePtr root) noexcept {
    if (owner == nullptr) {
        xmlFreeNode(root);
        return;
    }
    root->next = owner->remains;
    owner->remains = root;
}

void free_tree(xmlNodePtr root) noexcept {
    const host::tree_scope scope;
    const std::int64_t before = host::gate.bytes_in_use;
    family *const owner = family_of_document(root->doc);
    if (owner != nullptr) {
        save_namespaces(*owner, root);
    }
    if (!host::free_tree(root)) {
        leave_for_later(owner, root);
    }
    host::give_memory_back(before - host::gate.bytes_in_use);
}

// Keeps a detached tree whose root is not needed for another node of it, looked for from `from` on;
// frees it when there is none.
void settle_tree(xmlNodePtr root, xmlNodePtr from) noexcept {
    xmlNodePtr needed = find_needed(from, root);
    if (needed == nullptr && from != root) {
        needed = find_needed(root, root, from);
    }
    if (needed == nullptr) {
        free_tree(root);
    } else {
        appoint_witness(root, needed);
    }
}

// Frees a tree that has lost its witness unless it is kept for another node.
void settle_left_tree(xmlNodePtr root) noexcept {
    if (root != nullptr) {
        settle_tree(root, root);
    }
}

// Takes a node out of use once nobody else of its tree is concerned. `marked` tells whether the
// elements above know already that what they declare is in use elsewhere.
void retire_alone(xmlNodePtr node, bool &marked) noexcept {
    xmlNodePtr const needed = find_needed(node, node);
    if (needed != nullptr && !marked) {
        mark_used_outside(node);
        marked = true;
    }
    if (node->parent != nullptr || node->next != nullptr || node->prev != nullptr) {
        note_tree_change(node);
        xmlUnlinkNode(node);
    }
    if (needed == nullptr) {
        free_tree(node);
    } else if (needed != node) {
        appoint_witness(node, needed);
    }
}

} // namespace

// --- who needs a node ---------------------------------------------------------------------------

XMLHashEntry *first_name(const xmlNode *node) noexcept {
    const std::uintptr_t word = names_and_marks(node);
    return (word & k_holds_witness) != 0 ? nullptr
                                         : reinterpret_cast<XMLHashEntry *>(word & ~k_marks);
}

bool is_kept(const xmlNode *node) noexcept {
    return first_name(node) != nullptr || lists_with(node) != 0;
}

void dismiss_witness(xmlNodePtr root) noexcept {
    xmlNodePtr const witness = rest_of(names_and_marks(root));
    set_names_and_marks(witness, names_and_marks(witness) & ~k_witness);
    set_names_and_marks(root, 0);
    --current_registry()->witnesses;
}

void drop_names(xmlNodePtr node) noexcept {
    registry &state = *current_registry();
    while (XMLHashEntry *const entry = first_name(node)) {
        remove_name(*entry);
        empty_slot(state, *find_document(state, entry->key.document_id()), *entry, false, false);
    }
}

void let_go(xmlNodePtr node) noexcept {
    if (is_kept(node)) {
        return;
    }
    if ((names_and_marks(node) & k_witness) != 0) {
        xmlNodePtr const root = top_of(node);
        dismiss_witness(root);
        settle_tree(root, place_in_walk(node, root));
    } else if (can_be_root(node) && !holds_witness(node)) {
        settle_tree(node, node);
    }
}

// A tree has one node at most that is let go of and on which something depends: its root, or its
// witness. So nothing that stands in the chain is freed with a tree before its turn.
void let_go_later(xmlNodePtr &chain, xmlNodePtr node) noexcept {
    if (!may_go(node) || is_kept(node)) {
        return;
    }
    set_names_and_marks(node, reinterpret_cast<std::uintptr_t>(chain) | k_collected |
                                  names_and_marks(node));
    chain = node;
}

void let_go_of_all(xmlNodePtr chain) noexcept {
    while (chain != nullptr) {
        xmlNodePtr const node = chain;
        const std::uintptr_t word = names_and_marks(node);
        chain = rest_of(word);
        set_names_and_marks(node, word & k_witness);
        let_go(node);
    }
}

// --- leaving a tree -----------------------------------------------------------------------------

void unlink_fitted_node(xmlNodePtr node) noexcept {
    const host::tree_scope scope;
    xmlNodePtr const left = node->parent == nullptr ? nullptr : take_witness_along(node);
    note_tree_change(node);
    xmlUnlinkNode(node);
    settle_left_tree(left);
}

void unlink_node(xmlNodePtr node) noexcept {
    mark_used_outside(node);
    unlink_fitted_node(node);
}

void retire(family & /*owner*/, xmlNodePtr node) noexcept {
    const host::tree_scope scope;
    bool marked = false;
    xmlNodePtr const left = take_witness_along(node);
    retire_alone(node, marked);
    if (left != node) {
        settle_left_tree(left);
    }
}

namespace {

// Lets every handle of a node go of it. The tree is kept meanwhile.
void release_names(xmlNodePtr node) noexcept {
    while (XMLHashEntry *const entry = first_name(node)) {
        remove_name(*entry);
        entry->object = nullptr;
        settle_slot(*entry, entry->key);
    }
}

} // namespace

void retire_with_names(family &owner, xmlNodePtr top) noexcept {
    for (xmlNodePtr node = top; node != nullptr; node = next_below(node, top)) {
        release_names(node);
        for (xmlAttrPtr attribute = first_attribute(node); attribute != nullptr;
             attribute = attribute->next) {
            release_names(as_node(attribute));
            for (xmlNodePtr text = attribute->children; text != nullptr; text = text->next) {
                release_names(text);
            }
        }
    }
    retire(owner, top);
}

void retire_children(family & /*owner*/, xmlNodePtr parent) noexcept {
    const host::tree_scope scope;
    bool marked = false;
    xmlNodePtr const left = parent->children == nullptr ? nullptr : take_witness_along(parent);
    while (parent->children != nullptr) {
        retire_alone(parent->children, marked);
    }
    settle_left_tree(left);
}

// --- all of a family ----------------------------------------------------------------------------

void collect_tree(xmlNodePtr &chain, xmlNodePtr node) noexcept {
    if (node->parent != nullptr) {
        if ((names_and_marks(node) & k_witness) == 0) {
            return;
        }
        set_names_and_marks(node, names_and_marks(node) & ~k_witness);
        --current_registry()->witnesses;
        node = top_of(node);
    }
    if (!can_be_root(node) || (names_and_marks(node) & k_collected) != 0) {
        return;
    }
    set_names_and_marks(node, reinterpret_cast<std::uintptr_t>(chain) | k_collected);
    chain = node;
}

// Frees a tree of a family that ends. What there is no time for goes with its document.
static void free_or_hand_on(const family &owner, xmlNodePtr root) noexcept {
    if (host::free_tree(root)) {
        return;
    }
    const auto *const copies = owner.copies.objects;
    const auto *const copies_end = copies + owner.copies.count;
    const bool is_own =
        root->doc != nullptr &&
        (root->doc == owner.main || std::find(copies, copies_end, root->doc) != copies_end);
    if (is_own) {
        host::hang_on_document(root);
    } else {
        xmlFreeNode(root);
    }
}

void free_collected(family &owner, xmlNodePtr chain) noexcept {
    while (chain != nullptr) {
        xmlNodePtr const node = chain;
        chain = rest_of(names_and_marks(node));
        node->_private = nullptr;
        free_or_hand_on(owner, node);
    }
    while (owner.remains != nullptr) {
        xmlNodePtr const node = owner.remains;
        owner.remains = node->next;
        node->next = nullptr;
        free_or_hand_on(owner, node);
    }
}

detached_trees::~detached_trees() {
    for (xmlNodePtr const node : seen_) {
        set_names_and_marks(node, names_and_marks(node) & ~k_collected);
    }
}

// A node that a tree is kept for, or its root.
void detached_trees::look_at(xmlNodePtr node) {
    poll_.step();
    if (node->parent != nullptr) {
        if ((names_and_marks(node) & (k_witness | k_collected)) != k_witness) {
            return;
        }
        note(node);
        node = top_of(node);
    }
    if (can_be_root(node) && (names_and_marks(node) & k_collected) == 0) {
        note(node);
        roots_.push_back(node);
    }
}

void detached_trees::note(xmlNodePtr node) {
    seen_.push_back(node);
    set_names_and_marks(node, names_and_marks(node) | k_collected);
}

void detached_trees::look_at_members(const XMLHashEntry &list) {
    growing_array<xmlNodePtr, 64> members;
    members.reserve(list_size(list)); // nothing is thrown where libxml2 calls
    for_each_member(
        list,
        [](xmlNodePtr member, void *state) noexcept {
            static_cast<growing_array<xmlNodePtr, 64> *>(state)->push_back(member);
        },
        &members);
    for (xmlNodePtr const member : members) {
        look_at(member);
    }
}

void detached_trees::collect(const family &owner) {
    for (document_entry *document = owner.ids; document != nullptr;
         document = document->next_in_family) {
        for_each_slot(*document, [this](XMLHashEntry &entry) {
            if (entry.object == nullptr) {
                return;
            }
            if (entry.kind == XMLDomNodeType::node_list) {
                look_at_members(entry);
            } else {
                look_at(as_node(entry.object));
            }
        });
    }
}

} // namespace pkg_dbe_xml
