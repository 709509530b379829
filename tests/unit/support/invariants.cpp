// The audit of a session's registry and trees.
//
// It reads the registry's own tables. Every tree of a family is walked once from its root; the
// nodes so reached are the live ones, and whatever handles, lists and kept nodes point at must be
// among them.
#include "support/invariants.hpp"

#include "libxml/xml.hpp"
#include "registry/dom_map.hpp"
#include "registry/parser_registry.hpp"
#include "standalone_session.hpp"
#include "support/pointer_table.hpp"

#include <libxml/globals.h>

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

namespace sql {
namespace {

namespace dbe = pkg_dbe_xml;

constexpr std::uintptr_t k_witness = 1;
constexpr std::uintptr_t k_holds_witness = 2;
constexpr std::uintptr_t k_all_marks = 7;
constexpr std::size_t k_most_problems = 20;

std::uintptr_t private_word(const xmlNode *node) {
    return reinterpret_cast<std::uintptr_t>(node->_private);
}
const dbe::XMLHashEntry *first_entry(const xmlNode *node) {
    return (private_word(node) & k_holds_witness) != 0
               ? nullptr
               : reinterpret_cast<const dbe::XMLHashEntry *>(private_word(node) & ~k_all_marks);
}

// A set of pointers.
struct nothing {};
template <class Key> using pointer_set = pointer_table<Key, nothing>;

// --- the watch ----------------------------------------------------------------------------------

struct watched_nodes {
    pointer_set<const void *> alive;
    std::size_t named_when_freed = 0;
};
thread_local watched_nodes *t_watched = nullptr;

void note_made(xmlNodePtr node) { t_watched->alive.insert(node, {}); }

void note_freed(xmlNodePtr node) {
    t_watched->alive.erase(node);
    const dbe::XMLHashEntry *name = first_entry(node);
    if (name != nullptr && name->object == node) {
        ++t_watched->named_when_freed;
    }
}

// --- the audit ----------------------------------------------------------------------------------

// Where a node stands: under which family, and whether below an entity declaration, whose content
// libxml2 keeps by rules of its own.
struct place {
    const dbe::family *family;
    bool in_declaration;
};

// One is used for all audits of a thread, which is why it keeps its tables.
class audit {
  public:
    std::string run();

  private:
    struct named {
        const dbe::document_entry *document;
        const dbe::XMLHashEntry *entry;
    };

    void begin();
    void problem(const std::string &what);
    void read_documents();
    void check_recent_entries(dbe::registry &state);
    void read_document(dbe::document_entry &document);
    void check_next_slot(const dbe::document_entry &document);
    void read_entry(const dbe::document_entry &document, const dbe::XMLHashEntry &entry);
    std::size_t released_handles(const dbe::document_entry &document);
    static std::size_t bytes_of(const dbe::document_entry &document);
    void check_free_ids(const dbe::document_entry &document);
    void read_family(const dbe::family &owner);
    void check_ids(const dbe::family &owner);
    void check_parsers_of(const dbe::family &owner);
    void walk_detached_trees();
    void walk_tree_of(const named &each, const xmlNode *node);
    void check_detached_trees();
    void check_nothing_is_forgotten();
    void walk(const xmlNode *root, const dbe::family &owner);
    void visit_children(const xmlNode *node, const place &where);
    void visit_attributes(const xmlNode *node, const place &where);
    bool reach(const xmlNode *node, const place &where);
    void read_namespaces(const xmlNode *node, const dbe::family &owner);
    void check_namespaces();
    void check_entries();
    void check_list(const dbe::document_entry &document, const dbe::XMLHashEntry &entry);
    void check_chains();
    void check_own_names(const xmlNode *node);
    void check_parsers();
    void check_host();
    [[nodiscard]] bool known_dead(const void *node) const;
    [[nodiscard]] static std::size_t left_to_free(const dbe::family &owner);
    [[nodiscard]] const place *place_of(const xmlNode *node) const;

    std::string problems_;
    std::size_t problem_count_ = 0;
    std::vector<named> entries_;                    // with an object
    pointer_set<const dbe::XMLHashEntry *> naming_; // those of them that name a node
    pointer_set<const dbe::document_entry *> ids_;
    pointer_set<const dbe::family *> families_;
    pointer_table<const xmlNode *, place> places_;
    std::vector<const xmlNode *> detached_;                // roots of detached trees
    pointer_table<const xmlNode *, unsigned> list_counts_; // how many lists hold a node
    pointer_set<const xmlNode *> witnesses_;
    pointer_set<const dbe::released_page *> packed_;
    pointer_set<const xmlDoc *> documents_; // main ones and copies
    pointer_table<const xmlNs *, const dbe::family *> namespaces_;
    std::vector<const xmlNode *> open_;    // reached, their children not yet
    std::vector<const xmlNode *> members_; // of one list
    std::vector<std::uint32_t> recycled_;
    std::size_t entry_total_ = 0;
    std::size_t handle_bytes_ = 0;
    std::size_t domkeys_total_ = 0;
    std::size_t linked_parsers_ = 0;
};

void audit::problem(const std::string &what) {
    if (++problem_count_ <= k_most_problems) {
        problems_ += what + "\n";
    }
}

bool audit::known_dead(const void *node) const {
    return t_watched != nullptr && !t_watched->alive.contains(node);
}

const place *audit::place_of(const xmlNode *node) const { return places_.find(node); }

std::string name_of(const dbe::XMLHashEntry &entry) {
    return "handle " + std::to_string(dbe::xml_getdom_docid(&entry.key)) + "/" +
           std::to_string(dbe::xml_getdom_nodeid(&entry.key)) + " of kind " +
           std::to_string(static_cast<int>(entry.kind));
}

// --- tables --------------------------------------------------------------------------------------

void audit::read_documents() {
    dbe::registry &state = *dbe::current_registry();
    host::hash_walk walk;
    host::hash_seq_init(walk, state.document_map);
    while (auto *document = static_cast<dbe::document_entry *>(host::hash_seq_search(walk))) {
        ids_.insert(document, {});
        read_document(*document);
    }
    for (std::size_t i = 0; i < dbe::k_document_cache_size; ++i) {
        const dbe::document_entry *cached = state.document_cache[i];
        if (cached != nullptr &&
            (!ids_.contains(cached) || cached->document_id % dbe::k_document_cache_size != i)) {
            problem("the cache of documents holds one that is gone");
        }
    }
    check_recent_entries(state);
    handle_bytes_ += dbe::bytes_of(state.lists);
    if (static_cast<std::int64_t>(handle_bytes_) != host::gate.handle_bytes) {
        problem("handles take " + std::to_string(handle_bytes_) + " bytes, and " +
                std::to_string(host::gate.handle_bytes) + " are counted");
    }
    if (entry_total_ != state.entry_count) {
        problem("the map holds " + std::to_string(entry_total_) + " handles and counts " +
                std::to_string(state.entry_count));
    }
    for (std::size_t i = 0; i < state.recycled.count; ++i) {
        const std::uint32_t id =
            state.recycled.ids[(state.recycled.first + i) % state.recycled.capacity];
        recycled_.push_back(id);
        if (dbe::find_document(state, id) != nullptr) {
            problem("document id " + std::to_string(id) + " is to be reused and in use");
        }
    }
    std::ranges::sort(recycled_);
    if (std::ranges::adjacent_find(recycled_) != recycled_.end()) {
        problem("a document id is to be reused twice");
    }
}

// Reading one whose memory is gone is for the sanitizer to tell.
void audit::check_recent_entries(dbe::registry &state) {
    for (std::size_t i = 0; i < dbe::k_recent_entries; ++i) {
        const dbe::XMLHashEntry *recent = state.recent.entries[i];
        if (recent == nullptr) {
            continue;
        }
        if (recent->key.node_id() % dbe::k_recent_entries != i ||
            dbe::find_entry(state, recent->key) != recent) {
            problem("the entries made or found last hold one that is not there");
        }
    }
}

// Without pages of released handles.
std::size_t audit::bytes_of(const dbe::document_entry &document) {
    std::size_t bytes =
        sizeof(dbe::document_entry) + document.page_capacity * sizeof(std::uintptr_t);
    for (std::size_t piece = 0; piece < 3; ++piece) {
        const std::size_t slots = dbe::k_piece_starts[piece + 1] - dbe::k_piece_starts[piece];
        bytes += document.pieces[piece] == nullptr ? 0 : slots * sizeof(dbe::XMLHashEntry);
    }
    for (std::uint32_t number = 0; number < document.page_capacity; ++number) {
        const std::uintptr_t page = document.pages[number];
        bytes += page == 0 || dbe::is_released(page) ? 0 : sizeof(dbe::entry_page);
    }
    return bytes;
}

void audit::read_document(dbe::document_entry &document) {
    entry_total_ += released_handles(document);
    handle_bytes_ += bytes_of(document);
    dbe::for_each_slot(document, [this, &document](const dbe::XMLHashEntry &entry) {
        ++entry_total_;
        read_entry(document, entry);
    });
    check_next_slot(document);
    check_free_ids(document);
    if (document.owner != nullptr) {
        families_.insert(document.owner, {});
    }
}

// The slot of the next node id and the last that lies side by side with it.
void audit::check_next_slot(const dbe::document_entry &document) {
    if (document.next_slot == nullptr) {
        return;
    }
    const std::string name = "document " + std::to_string(document.document_id);
    if (document.first_freed != 0 ||
        document.next_slot != dbe::find_slot(document, document.next_node_id)) {
        problem(name + " has a wrong slot for its next node id");
    }
    const auto behind = static_cast<std::uint32_t>(document.last_slot - document.next_slot);
    if (document.last_slot != dbe::find_slot(document, document.next_node_id + behind) ||
        dbe::slots_behind(document.next_node_id) != behind) {
        problem(name + " has a wrong last slot beside the next");
    }
}

// Handles in pages that were given back.
std::size_t audit::released_handles(const dbe::document_entry &document) {
    std::size_t count = 0;
    for (std::uint32_t number = 0; number < document.page_capacity; ++number) {
        const std::uintptr_t page = document.pages[number];
        if (!dbe::is_released(page)) {
            continue;
        }
        const auto *packed =
            reinterpret_cast<const dbe::released_page *>(page & ~dbe::k_released_mark);
        if (packed_.insert(packed, {})) {
            handle_bytes_ += sizeof(dbe::released_page);
        }
        for (const std::uint8_t code : packed->codes) {
            count += (code & 31U) != 0 ? 1 : 0;
        }
    }
    return count;
}

void audit::read_entry(const dbe::document_entry &document, const dbe::XMLHashEntry &entry) {
    if (dbe::xml_getdom_docid(&entry.key) != document.document_id ||
        dbe::find_entry(*dbe::current_registry(), entry.key) != &entry) {
        problem(name_of(entry) + " is not found by its key");
    }
    if (entry.type != dbe::XMLEntryType::dom_map || entry.key.bytes[12] != std::byte{1}) {
        problem(name_of(entry) + " has a wrong type or flag");
    }
    if (entry.object == nullptr) {
        return;
    }
    handle_bytes_ += dbe::index_bytes(entry);
    entries_.push_back({&document, &entry});
    if (entry.kind != dbe::XMLDomNodeType::node_list) {
        naming_.insert(&entry, {});
    }
}

// The queue of node ids to hand out again runs through empty slots and ends where it says.
void audit::check_free_ids(const dbe::document_entry &document) {
    std::uint32_t id = document.first_freed;
    std::uint32_t last = 0;
    for (std::size_t steps = 0; id != 0; ++steps) {
        const std::uint32_t page = id / dbe::k_page_size;
        const dbe::XMLHashEntry *slot = nullptr;
        if (id < dbe::k_page_size) {
            const std::size_t piece = id < dbe::k_piece_starts[1]   ? 0
                                      : id < dbe::k_piece_starts[2] ? 1
                                                                    : 2;
            slot = document.pieces[piece] == nullptr
                       ? nullptr
                       : document.pieces[piece] + (id - dbe::k_piece_starts[piece]);
        } else if (page - 1 < document.page_capacity && document.pages[page - 1] != 0 &&
                   !dbe::is_released(document.pages[page - 1])) {
            slot = reinterpret_cast<const dbe::entry_page *>(document.pages[page - 1])->entries +
                   id % dbe::k_page_size;
        }
        if (slot == nullptr || slot->kind != dbe::XMLDomNodeType::none ||
            steps > document.next_node_id) {
            problem("the queue of free node ids of document " +
                    std::to_string(document.document_id) + " is broken");
            return;
        }
        last = id;
        id = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(slot->object));
    }
    if (last != document.last_freed) {
        problem("the queue of free node ids ends at another id");
    }
}

// --- families and trees --------------------------------------------------------------------------

void audit::check_ids(const dbe::family &owner) {
    const dbe::document_entry *previous = nullptr;
    std::size_t shares = 0;
    for (const dbe::document_entry *document = owner.ids; document != nullptr;
         document = document->next_in_family) {
        if (document->owner != &owner || document->previous_in_family != previous) {
            problem("the chain of document ids of a family is broken");
            return;
        }
        const dbe::XMLHashEntry *own = document->pieces[0];
        if (own != nullptr && own->kind != dbe::XMLDomNodeType::none && own->object != nullptr) {
            ++shares;
            if (own->object != owner.main) {
                problem("a document handle names another document than its family's");
            }
        }
        previous = document;
    }
    if (shares != owner.shares) {
        problem("a family counts " + std::to_string(owner.shares) + " shares, has " +
                std::to_string(shares));
    }
    if (owner.main != nullptr && shares == 0) {
        problem("a family outlived the last handle of its document");
    }
}

void audit::check_parsers_of(const dbe::family &owner) {
    const dbe::XmlParserHashEntry *previous = nullptr;
    for (const dbe::XmlParserHashEntry *parser = owner.parsers; parser != nullptr;
         parser = parser->next_in_family) {
        ++linked_parsers_;
        if (parser->handed_to != &owner || parser->previous_in_family != previous ||
            !parser->docHandedOver || parser->doc != owner.main) {
            problem("a parser object and the family of its document disagree");
            return;
        }
        previous = parser;
    }
}

void audit::read_family(const dbe::family &owner) {
    check_ids(owner);
    check_parsers_of(owner);
    if (owner.main != nullptr) {
        ++domkeys_total_;
        if (dbe::find_shared(*dbe::current_registry(), owner.main) != &owner) {
            problem("a document is not entered under its family");
        }
        documents_.insert(owner.main, {});
    }
    for (std::size_t i = 0; i < owner.copies.count; ++i) {
        documents_.insert(owner.copies.objects[i], {});
    }
    for (std::size_t i = 0; i <= owner.copies.count; ++i) {
        const xmlDoc *document = i == 0 ? owner.main : owner.copies.objects[i - 1];
        if (document == nullptr) {
            continue;
        }
        if (known_dead(document)) {
            problem("a family keeps a document that is not alive");
            continue;
        }
        walk(reinterpret_cast<const xmlNode *>(document), owner);
        if (document->extSubset != nullptr && document->extSubset->parent == nullptr) {
            walk(reinterpret_cast<const xmlNode *>(document->extSubset), owner);
        }
    }
    for (const xmlNs *record = owner.namespaces; record != nullptr; record = record->next) {
        if (!namespaces_.insert(record, &owner)) {
            problem("a namespace record is kept twice");
            return;
        }
    }
}

// xmlListWalker: collects the members.
int collect_member(const void *member, void *state) {
    static_cast<std::vector<const xmlNode *> *>(state)->push_back(
        static_cast<const xmlNode *>(member));
    return 1;
}

// The members of a list, of an xmlList by what libxml2 says.
void collect_members(const dbe::XMLHashEntry &list, std::vector<const xmlNode *> &members) {
    members.clear();
    if (!dbe::is_array(list)) {
        xmlListWalk(static_cast<xmlListPtr>(list.object), collect_member, &members);
    } else if (list.members.index != nullptr) {
        members.assign(list.members.index, list.members.index + list.members.size);
    }
}

// The tree in which a node stands that an entry names or has as a member, unless it was walked.
void audit::walk_tree_of(const named &each, const xmlNode *node) {
    if (place_of(node) != nullptr) {
        return;
    }
    std::size_t height = 0;
    while (!known_dead(node) && node->parent != nullptr && place_of(node->parent) == nullptr &&
           ++height < 10000000) {
        node = node->parent;
    }
    if (known_dead(node)) {
        problem(name_of(*each.entry) + " names a node that is not alive, or stands below one");
    } else if (node->parent == nullptr) {
        if (!each.document->owner->has_detached) {
            problem("a family does not know that it has a detached tree");
        }
        detached_.push_back(node);
        walk(node, *each.document->owner);
    }
}

// Trees that nobody keeps but handles that name something in them, and lists.
void audit::walk_detached_trees() {
    for (const named &each : entries_) {
        if (each.document->owner == nullptr) {
            continue;
        }
        if (each.entry->kind != dbe::XMLDomNodeType::node_list) {
            walk_tree_of(each, static_cast<const xmlNode *>(each.entry->object));
            continue;
        }
        collect_members(*each.entry, members_);
        for (const xmlNode *member : members_) {
            walk_tree_of(each, member);
            unsigned *const count = list_counts_.find(member);
            if (count == nullptr) {
                list_counts_.insert(member, 1);
            } else {
                ++*count;
            }
        }
    }
}

// A detached tree whose root is not needed itself has a witness that is.
void audit::check_detached_trees() {
    const auto is_needed = [this](const xmlNode *node) {
        return first_entry(node) != nullptr || list_counts_.contains(node);
    };
    std::size_t holding = 0;
    for (const xmlNode *root : detached_) {
        if ((private_word(root) & k_holds_witness) == 0) {
            if (!is_needed(root)) {
                problem("a detached tree is kept though nobody needs its root, without a witness");
            }
            continue;
        }
        ++holding;
        const auto *witness = reinterpret_cast<const xmlNode *>(private_word(root) & ~k_all_marks);
        const xmlNode *top = witness;
        while (place_of(top) != nullptr && top->parent != nullptr) {
            top = top->parent;
        }
        if (top != root || witness == root || !is_needed(witness)) {
            problem("a detached tree is kept for a node that nobody needs, or for another tree's");
        }
        if (!witnesses_.insert(witness, {})) {
            problem("two trees have one witness");
        }
    }
    if (holding != dbe::current_registry()->witnesses) {
        problem("there are " + std::to_string(holding) + " witnesses, and " +
                std::to_string(dbe::current_registry()->witnesses) + " were counted");
    }
}

// Nodes that the statement was asked to stop before freeing: they go with their family.
std::size_t audit::left_to_free(const dbe::family &owner) {
    std::size_t count = 0;
    const auto add = [&count](const void *node) { count += t_watched->alive.contains(node); };
    for (xmlNodePtr root = owner.remains; root != nullptr; root = root->next) {
        for (xmlNodePtr node = root; node != nullptr; node = dbe::next_below(node, root)) {
            add(node);
            for (const xmlAttr *attribute = dbe::first_attribute(node); attribute != nullptr;
                 attribute = attribute->next) {
                add(attribute);
                for (const xmlNode *text = attribute->children; text != nullptr;
                     text = text->next) {
                    add(text);
                }
            }
        }
    }
    return count;
}

// Whatever node is alive stands in a tree that somebody keeps, or is to go.
void audit::check_nothing_is_forgotten() {
    if (t_watched == nullptr || host::u_sess.xmlparser_map != nullptr) {
        return; // parsers may hold documents of their own
    }
    std::size_t forgotten = 0;
    for (const auto &[node, nothing_else] : t_watched->alive) {
        forgotten += place_of(static_cast<const xmlNode *>(node)) == nullptr ? 1 : 0;
    }
    for (const auto &[owner, nothing_else] : families_) {
        forgotten -= left_to_free(*owner);
    }
    if (forgotten != 0) {
        problem(std::to_string(forgotten) + " nodes are alive that nobody keeps");
    }
}

bool audit::reach(const xmlNode *node, const place &where) {
    if (!places_.insert(node, where)) {
        problem("a node is reached twice: a cycle, or two places");
        return false;
    }
    open_.push_back(node);
    return true;
}

void audit::walk(const xmlNode *root, const dbe::family &owner) {
    if (root->type != XML_DTD_NODE && (root->next != nullptr || root->prev != nullptr)) {
        problem("the root of a tree has siblings");
    }
    open_.clear();
    if (!reach(root, {&owner, false})) {
        return;
    }
    while (!open_.empty()) {
        const xmlNode *node = open_.back();
        open_.pop_back();
        const place where = *places_.find(node);
        read_namespaces(node, owner);
        visit_attributes(node, where);
        visit_children(node, where);
    }
}

void audit::visit_attributes(const xmlNode *node, const place &where) {
    const xmlAttr *previous = nullptr;
    for (const xmlAttr *attribute = dbe::first_attribute(node); attribute != nullptr;
         attribute = attribute->next) {
        if (attribute->parent != node || attribute->prev != previous ||
            attribute->type != XML_ATTRIBUTE_NODE) {
            problem("the links of an attribute are broken");
        }
        if (!reach(reinterpret_cast<const xmlNode *>(attribute), where)) {
            return;
        }
        previous = attribute;
    }
}

void audit::visit_children(const xmlNode *node, const place &where) {
    if (node->type == XML_ENTITY_REF_NODE || node->type == XML_ELEMENT_DECL ||
        node->type == XML_ATTRIBUTE_DECL || node->type == XML_NAMESPACE_DECL) {
        return;
    }
    const bool declaration = node->type == XML_ENTITY_DECL;
    if (declaration && node->children != nullptr && node->children->parent != node) {
        return; // content that stands in the document
    }
    const xmlNode *previous = nullptr;
    for (const xmlNode *child = node->children; child != nullptr; child = child->next) {
        if (child->parent != node || child->prev != previous) {
            problem("the links of a child of type " + std::to_string(child->type) +
                    " below one of type " + std::to_string(node->type) + " are broken");
        }
        if (!where.in_declaration && !declaration && child->doc != nullptr &&
            !documents_.contains(child->doc)) {
            problem("a node belongs to a document that is not alive");
        }
        if (!reach(child, {where.family, where.in_declaration || declaration})) {
            return;
        }
        previous = child;
    }
    if (node->last != previous) {
        problem("the last child of a node of type " + std::to_string(node->type) +
                " is another one");
    }
}

void audit::read_namespaces(const xmlNode *node, const dbe::family &owner) {
    const xmlNs *record = dbe::declared_namespaces(node);
    if (node->type == XML_DOCUMENT_NODE) {
        record = reinterpret_cast<const xmlDoc *>(node)->oldNs;
    }
    for (; record != nullptr; record = record->next) {
        if (!namespaces_.insert(record, &owner)) {
            problem("a namespace record stands in two places");
            return;
        }
    }
}

// --- handles, lists and chains -------------------------------------------------------------------

void audit::check_namespaces() {
    for (const auto &[node, where] : places_) {
        const xmlNs *record = dbe::namespace_of(node);
        if (record == nullptr || where.in_declaration) {
            continue;
        }
        const dbe::family *const *found = namespaces_.find(record);
        if (found == nullptr || *found != where.family) {
            problem("a node has a namespace record that its family does not hold");
        }
    }
}

void audit::check_entries() {
    for (const named &each : entries_) {
        if (each.entry->kind == dbe::XMLDomNodeType::node_list) {
            check_list(*each.document, *each.entry);
            continue;
        }
        const auto *node = static_cast<const xmlNode *>(each.entry->object);
        const place *where = place_of(node);
        if (each.document->owner == nullptr) {
            problem(name_of(*each.entry) + " names something, though its document is gone");
        } else if (where == nullptr) {
            problem(name_of(*each.entry) + " names a node that no tree holds");
        } else if (where->family != each.document->owner) {
            problem(name_of(*each.entry) + " names a node of another family");
        }
    }
}

void audit::check_list(const dbe::document_entry &document, const dbe::XMLHashEntry &entry) {
    collect_members(entry, members_);
    if (members_.size() != entry.members.size) {
        problem(name_of(entry) + " has a length other than its list's");
        return;
    }
    for (std::size_t i = 0; i < members_.size(); ++i) {
        const place *where = place_of(members_[i]);
        if (where == nullptr || where->family != document.owner) {
            problem(name_of(entry) + " has a member that no tree of its family holds");
            return;
        }
        if (entry.members.index != nullptr && entry.members.index[i] != members_[i]) {
            problem(name_of(entry) + " has an index other than its list");
            return;
        }
    }
}

// The own handle of a node heads the chain of its names, the own map comes behind it, then all
// others; the kind of the one follows from the type of the node.
void audit::check_own_names(const xmlNode *node) {
    const dbe::XMLHashEntry *entry = first_entry(node);
    const auto is_own = [&entry](bool is_map) {
        return entry != nullptr && entry->is_own &&
               (entry->kind == dbe::XMLDomNodeType::named_node_map) == is_map;
    };
    if (is_own(false)) {
        if (entry->kind != dbe::own_kind(node)) {
            problem(name_of(*entry) + " is the own handle of a node of type " +
                    std::to_string(node->type));
        }
        if (documents_.contains(reinterpret_cast<const xmlDoc *>(node)) &&
            dbe::find_shared(*dbe::current_registry(), const_cast<xmlNode *>(node)) != nullptr &&
            entry->key.node_id() != 0) {
            problem(name_of(*entry) + " is the own handle of a document and has no share in it");
        }
        entry = entry->names.next;
    }
    if (is_own(true)) {
        if (node->type != XML_ELEMENT_NODE) {
            problem(name_of(*entry) + " is the own map of what is no element");
        }
        entry = entry->names.next;
    }
    for (; entry != nullptr; entry = entry->names.next) {
        if (entry->is_own) {
            problem(name_of(*entry) + " is an own handle and does not stand before the others");
        }
    }
}

// Both ways: what a node says of its names, and what the names say.
void audit::check_chains() {
    std::size_t chained = 0;
    for (const auto &[node, where] : places_) {
        if ((private_word(node) & k_all_marks & ~(k_witness | k_holds_witness)) != 0) {
            problem("a node has a mark that does not exist between calls");
            continue;
        }
        if (((private_word(node) & k_witness) != 0) != witnesses_.contains(node)) {
            problem("a node is marked as a witness and is none");
        }
        if ((private_word(node) & k_holds_witness) != 0 &&
            (node->parent != nullptr || std::ranges::find(detached_, node) == detached_.end())) {
            problem("a node that is no root of a detached tree holds a witness");
        }
        const unsigned *const lists = list_counts_.find(node);
        if (dbe::lists_with(node) != (lists == nullptr || !dbe::counts_lists(node) ? 0 : *lists)) {
            problem("a node counts " + std::to_string(dbe::lists_with(node)) +
                    " lists that hold it, and there are " +
                    std::to_string(lists == nullptr ? 0 : *lists));
        }
        const dbe::XMLHashEntry *previous = nullptr;
        for (const dbe::XMLHashEntry *entry = first_entry(node); entry != nullptr;
             entry = entry->names.next) {
            if (!naming_.contains(entry) || entry->object != node ||
                entry->names.previous != previous) {
                problem("the chain of the names of a node is broken");
                break;
            }
            ++chained;
            previous = entry;
        }
        check_own_names(node);
    }
    if (chained != naming_.size()) {
        problem(std::to_string(naming_.size()) + " handles name nodes, " + std::to_string(chained) +
                " are known to them");
    }
}

void audit::check_parsers() {
    std::size_t handed_over = 0;
    if (host::u_sess.xmlparser_map != nullptr) {
        host::hash_walk walk;
        host::hash_seq_init(walk, host::u_sess.xmlparser_map);
        while (void *shown = host::hash_seq_search(walk)) {
            const dbe::XmlParserHashEntry *parser =
                static_cast<const dbe::parser_map_entry *>(shown)->parser;
            if (parser == nullptr) {
                problem("a parser handle without a parser");
            } else if (parser->handed_to != nullptr) {
                ++handed_over;
            } else if (parser->docHandedOver) {
                problem("a parser handed its document to no family");
            } else if (parser->doc != nullptr && known_dead(parser->doc)) {
                problem("a parser owns a document that is not alive");
            }
        }
    }
    if (handed_over != linked_parsers_) {
        problem("families know other parser objects than there are");
    }
}

void audit::check_host() {
    if (host::standalone::call_depth() != 0) {
        problem("a call is in progress");
    }
    if (host::gate.depth != 0 || host::gate.quiet_scopes != 0 || host::gate.handlers_saved ||
        host::gate.parsing || host::gate.ceiling != host::session_room()) {
        problem("a scope of libxml2 was left open");
    }
    if (t_watched != nullptr && t_watched->named_when_freed != 0) {
        problem(std::to_string(t_watched->named_when_freed) + " nodes were freed while named");
    }
}

void audit::begin() {
    problems_.clear();
    problem_count_ = entry_total_ = handle_bytes_ = domkeys_total_ = linked_parsers_ = 0;
    entries_.clear();
    naming_.clear();
    ids_.clear();
    families_.clear();
    places_.clear();
    detached_.clear();
    list_counts_.clear();
    witnesses_.clear();
    packed_.clear();
    documents_.clear();
    namespaces_.clear();
    recycled_.clear();
}

std::string audit::run() {
    begin();
    check_host();
    if (dbe::current_registry() != nullptr && host::u_sess.initialised) {
        read_documents();
        for (const auto &[owner, nothing_else] : families_) {
            read_family(*owner);
        }
        if (domkeys_total_ != host::hash_get_num_entries(dbe::current_registry()->domkeys_map)) {
            problem("documents are entered whose families no document id belongs to");
        }
        walk_detached_trees();
        check_namespaces();
        check_entries();
        check_detached_trees();
        check_chains();
    }
    check_parsers();
    check_nothing_is_forgotten();
    if (problem_count_ > k_most_problems) {
        problems_ += "and " + std::to_string(problem_count_ - k_most_problems) + " more\n";
    }
    return std::move(problems_);
}

} // namespace

// Sets the callbacks of this thread, null for none. Later versions advise against them.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
static void set_callbacks(xmlRegisterNodeFunc made, xmlDeregisterNodeFunc freed) {
#if LIBXML_VERSION < 21200
    // xmlRegisterNodeDefault sets those of the main thread, whichever thread calls it.
    xmlThrDefRegisterNodeDefault(nullptr); // from here on callbacks are called at all
    xmlRegisterNodeDefaultValue = made;
    xmlDeregisterNodeDefaultValue = freed;
#else
    xmlRegisterNodeDefault(made);
    xmlDeregisterNodeDefault(freed);
#endif
}

node_watch::node_watch() {
    t_watched = new watched_nodes;
    set_callbacks(note_made, note_freed);
}

node_watch::~node_watch() {
    set_callbacks(nullptr, nullptr);
    delete std::exchange(t_watched, nullptr);
}

std::string broken_invariants() {
    static thread_local audit own;
    return own.run();
}

::testing::AssertionResult check_invariants() {
    const std::string broken = broken_invariants();
    if (broken.empty()) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << broken;
}

} // namespace sql
