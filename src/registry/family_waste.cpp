// See family_waste.hpp.
#include "registry/family_waste.hpp"

#include "libxml/xml.hpp"
#include "registry/dom_map.hpp"
#include "registry/kept_trees.hpp"
#include "tree/id_attributes.hpp"
#include "tree/namespace_marks.hpp"

namespace pkg_dbe_xml {

constinit PKG_DBE_XML_SESSION_STORAGE std::size_t least_waste = std::size_t{64} * 1024;

namespace {

// About what a record, its URI and its prefix take.
constexpr std::size_t k_namespace_bytes = 128;
constexpr std::size_t k_least_copy_bytes = 1024;
constexpr std::size_t k_steps_between_looks = 4096;

// What the session's trees take; never negative.
[[nodiscard]] std::size_t tree_bytes() noexcept {
    return static_cast<std::size_t>(std::max<std::int64_t>(host::gate.bytes_in_use, 0));
}
[[nodiscard]] std::size_t handle_bytes() noexcept {
    return static_cast<std::size_t>(std::max<std::int64_t>(host::gate.handle_bytes, 0));
}

// Whether looking costs no more than what may be found.
[[nodiscard]] bool is_worth_looking(std::size_t waste, std::size_t cost) noexcept {
    return least_waste == 0 ? waste != 0 : waste >= least_waste + cost;
}

// A walk that cannot throw: it is told when to end.
class stop_counter {
  public:
    [[nodiscard]] bool goes_on() noexcept {
        if (++steps_ % k_steps_between_looks == 0) {
            stopped_ = stopped_ || host::interrupts_pending();
        }
        return !stopped_;
    }
    [[nodiscard]] bool stopped() const noexcept { return stopped_; }

  private:
    std::size_t steps_ = 0;
    bool stopped_ = false;
};

// Calls `visit` for each node that a handle of the family names or a list of it holds, some more
// than once; a node that stands for a map is named by that, too.
template <class Visitor> void for_each_needed(family &owner, Visitor &visit) noexcept {
    for (document_entry *document = owner.ids; document != nullptr;
         document = document->next_in_family) {
        for_each_slot(*document, [&visit](XMLHashEntry &entry) {
            if (entry.object == nullptr) {
                return;
            }
            if (entry.kind == XMLDomNodeType::node_list) {
                for_each_member(entry, visit);
            } else {
                visit(as_node(entry.object));
            }
        });
    }
}

// --- imported documents -------------------------------------------------------------------------

[[nodiscard]] bool is_marked(xmlDocPtr document) noexcept {
    return (names_and_marks(as_node(document)) & k_collected) != 0;
}
void set_mark(xmlDocPtr document) noexcept {
    set_names_and_marks(as_node(document), names_and_marks(as_node(document)) | k_collected);
}
void take_mark(xmlDocPtr document) noexcept {
    set_names_and_marks(as_node(document), names_and_marks(as_node(document)) & ~k_collected);
}

void take_marks_of_documents(const family &owner) noexcept {
    if (owner.main != nullptr) {
        take_mark(owner.main);
    }
    for (std::size_t index = 0; index < owner.copies.count; ++index) {
        take_mark(owner.copies.objects[index]);
    }
}

// Marks the documents that needed nodes belong to. A detached tree belongs to one whole, and it
// holds a needed node. False when the statement is to stop.
[[nodiscard]] bool mark_needed_documents(family &owner) noexcept {
    stop_counter counter;
    auto mark = [&counter](const xmlNode *node) noexcept {
        if (counter.goes_on() && node->doc != nullptr) {
            set_mark(node->doc);
        }
    };
    for_each_needed(owner, mark);
    for (xmlNodePtr rest = owner.remains; rest != nullptr; rest = rest->next) {
        mark(rest); // freeing it reads its document
    }
    return !counter.stopped();
}

// Frees a copy that nobody needs; what moved out of it may use its namespace records. False when
// the statement is to stop, and the copy stays.
[[nodiscard]] bool free_copy(family &owner, xmlDocPtr copy) noexcept {
    for (xmlNodePtr child = copy->children; child != nullptr; child = child->next) {
        if (!is_declaration(child->type) && !save_namespaces(owner, child)) {
            return false;
        }
    }
    while (copy->oldNs != nullptr) {
        xmlNsPtr const record = copy->oldNs;
        copy->oldNs = record->next;
        record->next = owner.namespaces;
        owner.namespaces = record;
        count_kept_namespace(owner);
    }
    forget_ids(); // a table of its IDs is not to be read any more
    host::free_document(copy);
    return true;
}

} // namespace

void count_copy(family &owner, std::size_t bytes) noexcept {
    family_waste &waste = waste_of(owner);
    waste.copies += std::max(bytes, k_least_copy_bytes);
    waste.idle_copies += std::max(bytes, k_least_copy_bytes);
}

void count_idle_copy(family &owner) noexcept {
    family_waste &waste = waste_of(owner);
    waste.idle_copies += waste.copies / std::max<std::size_t>(owner.copies.count, 1);
    free_idle_copies(owner);
}

void free_idle_copies(family &owner) noexcept {
    family_waste &waste = waste_of(owner);
    if (!is_worth_looking(waste.idle_copies, handle_bytes()) || owner.copies.count == 0) {
        return;
    }
    const host::tree_scope scope;
    const std::int64_t before = host::gate.bytes_in_use;
    bool goes_on = mark_needed_documents(owner);
    std::size_t kept = 0;
    for (std::size_t index = 0; index < owner.copies.count; ++index) {
        xmlDocPtr const copy = owner.copies.objects[index];
        const bool is_needed = is_marked(copy);
        goes_on = goes_on && (is_needed || free_copy(owner, copy));
        if (is_needed || !goes_on) {
            owner.copies.objects[kept++] = copy;
        }
    }
    owner.copies.count = kept;
    take_marks_of_documents(owner);
    const std::int64_t freed = before - host::gate.bytes_in_use;
    waste.copies -=
        std::min(waste.copies, static_cast<std::size_t>(std::max<std::int64_t>(freed, 0)));
    if (goes_on) {
        waste.idle_copies = 0;
    }
    host::give_memory_back(freed);
}

// --- namespace records --------------------------------------------------------------------------

namespace {

// Stands in the `_private` of records while it is not known that they are used. Its address is what
// counts.
[[nodiscard]] void *idle_mark() noexcept {
    static constinit const char mark = 0;
    return const_cast<char *>(&mark);
}

// Calls `visit` with the place of the first of each chain of records that may be waste: of freed
// trees, and those that documents keep behind the one for "xml".
template <class Visitor> void for_each_chain(family &owner, Visitor visit) noexcept {
    visit(owner.namespaces);
    for (std::size_t index = 0; index <= owner.copies.count; ++index) {
        xmlDocPtr const document = index == 0 ? owner.main : owner.copies.objects[index - 1];
        if (document != nullptr && document->oldNs != nullptr) {
            visit(document->oldNs->next);
        }
    }
}

void set_idle_marks(family &owner, void *mark) noexcept {
    for_each_chain(owner, [mark](xmlNsPtr first) {
        for (xmlNsPtr record = first; record != nullptr; record = record->next) {
            record->_private = mark;
        }
    });
}

void note_use(xmlNsPtr record) noexcept {
    if (record != nullptr && record->_private == idle_mark()) {
        record->_private = nullptr;
    }
}

// Notes what the nodes of a tree use, declarations of a document type left out.
void note_uses(xmlNodePtr top, stop_counter &counter) noexcept {
    for (xmlNodePtr node = top; node != nullptr && counter.goes_on();
         node = next_below(node, top)) {
        note_use(namespace_of(node));
        for (xmlAttrPtr attribute = first_attribute(node);
             attribute != nullptr && counter.goes_on(); attribute = attribute->next) {
            note_use(attribute->ns);
        }
    }
}

// The content of entities may use the records of elements far away, and is not walked.
[[nodiscard]] bool has_entities_with_content(const xmlDtd *document_type) noexcept {
    const xmlNode *child = document_type == nullptr ? nullptr : document_type->children;
    while (child != nullptr && (child->type != XML_ENTITY_DECL || child->children == nullptr)) {
        child = child->next;
    }
    return child != nullptr;
}

// False when records may be used that nobody can tell.
[[nodiscard]] bool note_uses_of_document(const xmlDoc *document, stop_counter &counter) noexcept {
    if (has_entities_with_content(document->intSubset) ||
        has_entities_with_content(document->extSubset)) {
        return false;
    }
    for (xmlNodePtr child = document->children; child != nullptr; child = child->next) {
        if (!is_declaration(child->type)) {
            note_uses(child, counter);
        }
    }
    return true;
}

void note_uses_of_detached_trees(family &owner, stop_counter &counter) noexcept {
    auto look = [&counter](xmlNodePtr node) noexcept {
        xmlNodePtr const root = root_of_needed(node);
        if (root == nullptr || !counter.goes_on()) {
            return;
        }
        set_names_and_marks(node, names_and_marks(node) | k_collected); // it may come again
        note_uses(root, counter);
    };
    for_each_needed(owner, look);
    auto forget = [](xmlNodePtr node) noexcept {
        set_names_and_marks(node, names_and_marks(node) & ~k_collected);
    };
    for_each_needed(owner, forget);
}

// Whether all uses were noted.
[[nodiscard]] bool note_all_uses(family &owner) noexcept {
    stop_counter counter;
    if (owner.main != nullptr && !note_uses_of_document(owner.main, counter)) {
        return false;
    }
    for (std::size_t index = 0; index < owner.copies.count; ++index) {
        if (!note_uses_of_document(owner.copies.objects[index], counter)) {
            return false;
        }
    }
    note_uses_of_detached_trees(owner, counter);
    return !counter.stopped();
}

void free_marked_namespaces(xmlNsPtr &first) noexcept {
    xmlNsPtr *place = &first;
    while (xmlNsPtr const record = *place) {
        if (record->_private == idle_mark()) {
            *place = record->next;
            xmlFreeNs(record);
        } else {
            place = &record->next;
        }
    }
}

} // namespace

void count_kept_namespace(family &owner) noexcept {
    waste_of(owner).namespaces += k_namespace_bytes;
}

void count_namespace_of(const xmlDoc *document) noexcept {
    if (family *const owner = family_of_document(document)) {
        count_kept_namespace(*owner);
    }
}

bool save_namespaces(family &owner, xmlNodePtr top) noexcept {
    stop_counter counter;
    for (xmlNodePtr node = top; node != nullptr; node = next_below(node, top)) {
        if (!counter.goes_on()) {
            return false;
        }
        if (!declares_for_others(node)) {
            continue;
        }
        xmlNsPtr last = node->nsDef;
        count_kept_namespace(owner);
        while (last->next != nullptr) {
            last = last->next;
            count_kept_namespace(owner);
        }
        last->next = owner.namespaces;
        owner.namespaces = node->nsDef;
        node->nsDef = nullptr;
    }
    return true;
}

void free_idle_namespaces(family &owner) noexcept {
    family_waste &waste = waste_of(owner);
    if (!is_worth_looking(waste.namespaces, (tree_bytes() + handle_bytes()) / 4)) {
        return;
    }
    const host::tree_scope scope;
    set_idle_marks(owner, idle_mark());
    if (note_all_uses(owner)) {
        for_each_chain(owner, free_marked_namespaces);
    }
    set_idle_marks(owner, nullptr);
    waste.namespaces = 0;
}

} // namespace pkg_dbe_xml
