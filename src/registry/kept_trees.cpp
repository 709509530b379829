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
#include "registry/family_waste.hpp"
#include "tree/id_attributes.hpp"
#include "tree/namespace_marks.hpp"

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

// Goes through a tree to its end, come what may.
struct no_looks {
    void step() noexcept {}
};

// The first needed node of a tree from `node` on, as far as `end`; null when there is none.
template <class Poll>
[[nodiscard]] xmlNodePtr find_needed(xmlNodePtr node, const xmlNode *top, const xmlNode *end,
                                     Poll &poll) {
    for (; node != end; node = next_below(node, top)) {
        poll.step();
        if (xmlNodePtr const needed = needed_at(node)) {
            return needed;
        }
    }
    return nullptr;
}

[[nodiscard]] xmlNodePtr find_needed(xmlNodePtr top) noexcept {
    no_looks poll;
    return find_needed(top, top, nullptr, poll);
}

// The same of a whole tree, beginning at `from`.
template <class Poll>
[[nodiscard]] xmlNodePtr find_needed_from(xmlNodePtr from, xmlNodePtr root, Poll &poll) {
    xmlNodePtr const needed = find_needed(from, root, nullptr, poll);
    return needed == nullptr && from != root ? find_needed(root, root, from, poll) : needed;
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

[[nodiscard]] bool is_witness(const xmlNode *node) noexcept {
    return (names_and_marks(node) & k_witness) != 0;
}

// Whether the node is a witness, or what hangs on it beside its children.
[[nodiscard]] bool has_witness_at(const xmlNode *node) noexcept {
    if (is_witness(node)) {
        return true;
    }
    for (xmlAttrPtr attribute = first_attribute(node); attribute != nullptr;
         attribute = attribute->next) {
        if (is_witness(as_node(attribute))) {
            return true;
        }
        for (const xmlNode *child = attribute->children; child != nullptr; child = child->next) {
            if (is_witness(child)) {
                return true;
            }
        }
    }
    return false;
}

// The root of the tree that `node` stands in, if the tree's witness is `node` or stands below it;
// null otherwise. Goes down and up in turns: the cost is the size of what stands below the node, or
// the way to the root and from there to the witness, whichever is less. So whoever asks for many
// nodes, none of them below another, goes through their tree once.
[[nodiscard]] xmlNodePtr find_root_by_witness(xmlNodePtr node) noexcept {
    xmlNodePtr below = node;
    const xmlNode *above = node;
    xmlNodePtr root = nullptr;
    for (; below != nullptr && !has_witness_at(below); below = next_below(below, node)) {
        if (root == nullptr && above->parent != nullptr) {
            above = above->parent;
            continue;
        }
        if (root == nullptr) {
            root = const_cast<xmlNodePtr>(above);
            if (!holds_witness(root)) {
                return nullptr;
            }
            above = rest_of(names_and_marks(root));
        }
        if (above == node) {
            return root;
        }
        above = above->parent;
        if (above == nullptr) {
            return nullptr;
        }
    }
    return below == nullptr ? nullptr : top_of(node);
}

// --- freeing ------------------------------------------------------------------------------------

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
    if ((owner != nullptr && !save_namespaces(*owner, root)) || !host::free_tree(root)) {
        leave_for_later(owner, root);
    }
    host::give_memory_back(before - host::gate.bytes_in_use);
}

// Keeps a detached tree whose root is not needed for another node of it; frees it when there is
// none.
void settle_tree(xmlNodePtr root, xmlNodePtr needed) noexcept {
    if (needed == nullptr) {
        free_tree(root);
    } else {
        appoint_witness(root, needed);
    }
}

// Takes a node out of use once nobody else of its tree is concerned. `marked` tells whether the
// elements above know already that what they declare is in use elsewhere.
void retire_alone(xmlNodePtr node, bool &marked) noexcept {
    xmlNodePtr const needed = find_needed(node);
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
        return;
    }
    note_detached(node);
    if (needed != node) {
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

// A tree without a document was detached from the beginning, and its family was told with its name.
void note_detached(const xmlNode *root) noexcept {
    if (family *const owner = family_of_document(root->doc)) {
        owner->has_detached = true;
    }
}

void note_named_root(const XMLHashEntry &entry) noexcept {
    if (is_document(as_node(entry.object))) {
        return;
    }
    // A node can do without a document, its handle cannot.
    if (family *const owner = find_family(entry)) {
        owner->has_detached = true;
    }
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

namespace {

// What a node that is needed no more leaves behind: a detached tree that was kept for it, and the
// next node to keep it for.
struct left_behind {
    xmlNodePtr root = nullptr; // null: no tree depends on the node
    xmlNodePtr needed = nullptr;
};

template <class Poll> [[nodiscard]] left_behind look_behind(xmlNodePtr node, Poll &poll) {
    if (is_kept(node) || is_document(node)) {
        return {};
    }
    if (is_witness(node)) {
        xmlNodePtr const root = top_of(node);
        return {root, find_needed_from(place_in_walk(node, root), root, poll)};
    }
    if (can_be_root(node) && !holds_witness(node)) {
        return {node, find_needed(node, node, nullptr, poll)};
    }
    return {};
}

void settle(const left_behind &found) noexcept {
    if (found.root == nullptr) {
        return;
    }
    if (holds_witness(found.root)) {
        dismiss_witness(found.root);
    }
    settle_tree(found.root, found.needed);
}

// Imported documents are kept as trees are, but not freed at once.
void note_idle(xmlNodePtr node) noexcept {
    family *const owner = family_of_document(node->doc);
    if (owner != nullptr && is_document(node) && as_node(owner->main) != node) {
        count_idle_copy(*owner);
    }
}

void free_waste_of(family *owner) noexcept {
    if (owner != nullptr) {
        free_idle_namespaces(*owner);
    }
}

} // namespace

void release_last_name(XMLHashEntry &entry, xmlNodePtr node, bool is_own) {
    left_behind found;
    try {
        poll_counter poll;
        found = look_behind(node, poll);
    } catch (...) {
        entry.is_own = is_own;
        add_name(entry);
        throw;
    }
    entry.object = nullptr;
    settle_slot(entry, entry.key);
    if (is_document(node)) {
        note_idle(node);
        return;
    }
    family *const owner = family_of_document(node->doc);
    settle(found);
    free_waste_of(owner);
}

void let_go(xmlNodePtr node) noexcept {
    if (is_document(node)) {
        note_idle(node);
        return;
    }
    family *const owner = family_of_document(node->doc);
    no_looks poll;
    settle(look_behind(node, poll));
    free_waste_of(owner);
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
        no_looks poll;
        settle(look_behind(node, poll));
    }
}

// --- leaving a tree -----------------------------------------------------------------------------

xmlNodePtr take_witness_along(xmlNodePtr node) noexcept {
    if (current_registry()->witnesses == 0) {
        return nullptr;
    }
    xmlNodePtr const root = find_root_by_witness(node);
    if (root != nullptr) {
        dismiss_witness(root);
    }
    return root;
}

void settle_left_tree(xmlNodePtr root) noexcept {
    if (root != nullptr) {
        settle_tree(root, find_needed(root));
    }
}

void retire_fitted(xmlNodePtr node) noexcept {
    const host::tree_scope scope;
    bool marked = true;
    retire_alone(node, marked);
}

void unlink_fitted_node(xmlNodePtr node) noexcept {
    const host::tree_scope scope;
    xmlNodePtr const left = node->parent == nullptr ? nullptr : take_witness_along(node);
    note_tree_change(node);
    xmlUnlinkNode(node);
    note_detached(node);
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
    if (family_of_document(root->doc) == &owner) {
        host::hang_on_document(root);
    } else {
        xmlFreeNode(root);
    }
}

static void free_remains(family &owner) noexcept {
    while (owner.remains != nullptr) {
        xmlNodePtr const node = owner.remains;
        owner.remains = node->next;
        node->next = nullptr;
        free_or_hand_on(owner, node);
    }
}

void free_collected(family &owner, xmlNodePtr chain) noexcept {
    while (chain != nullptr) {
        xmlNodePtr const node = chain;
        chain = rest_of(names_and_marks(node));
        node->_private = nullptr;
        free_or_hand_on(owner, node);
    }
    free_remains(owner);
}

void detached_trees::free_all(family &owner) noexcept {
    for (xmlNodePtr const root : roots_) {
        if (holds_witness(root)) {
            dismiss_witness(root);
        }
    }
    for (xmlNodePtr const root : roots_) {
        root->_private = nullptr;
        free_or_hand_on(owner, root);
    }
    seen_.clear();
    roots_.clear();
    free_remains(owner);
}

detached_trees::~detached_trees() {
    for (xmlNodePtr const node : seen_) {
        set_names_and_marks(node, names_and_marks(node) & ~k_collected);
    }
}

namespace {

// Whether a node stands below another and no tree is kept for it, or that is known. So it is with
// nearly all.
[[nodiscard]] bool is_of_no_account(const xmlNode *node) noexcept {
    return node->parent != nullptr &&
           (names_and_marks(node) & (k_witness | k_collected)) != k_witness;
}

} // namespace

xmlNodePtr root_of_needed(xmlNodePtr node) noexcept {
    if (is_of_no_account(node)) {
        return nullptr;
    }
    xmlNodePtr const root = top_of(node);
    return can_be_root(root) && (names_and_marks(root) & k_collected) == 0 ? root : nullptr;
}

// A node that a tree is kept for, or its root.
void detached_trees::add_tree_of(xmlNodePtr node) {
    if (node->parent != nullptr) {
        note(node);
        node = top_of(node);
    }
    if (can_be_root(node) && (names_and_marks(node) & k_collected) == 0) {
        note(node);
        roots_.push_back(node);
    }
}

inline void detached_trees::look_at(xmlNodePtr node) {
    poll_.step();
    if (!is_of_no_account(node)) [[unlikely]] {
        add_tree_of(node);
    }
}

void detached_trees::note(xmlNodePtr node) {
    seen_.push_back(node);
    set_names_and_marks(node, names_and_marks(node) | k_collected);
}

void detached_trees::look_at_members(const XMLHashEntry &list) {
    growing_array<xmlNodePtr, 64> members;
    members.reserve(list_size(list)); // nothing is thrown where libxml2 calls
    for_each_member(list, [&members](xmlNodePtr member) {
        if (!is_of_no_account(member)) {
            members.push_back(member);
        }
    });
    poll_.step_by(list_size(list));
    for (xmlNodePtr const member : members) {
        look_at(member);
    }
}

void detached_trees::collect(const family &owner) {
    if (!owner.has_detached) {
        host::check_for_interrupts();
        return;
    }
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
