// Insertion, replacement and removal of nodes.

#include "edit/place.hpp"

#include "libxml/xml.hpp"
#include "registry/kept_trees.hpp"
#include "tree/id_attributes.hpp"
#include "tree/immutable_nodes.hpp"
#include "tree/poll_counter.hpp"
#include "tree/typed_access.hpp"

#include <algorithm>
#include <iterator>

namespace pkg_dbe_xml {

namespace {

[[nodiscard]] xmlDocPtr document_of(xmlNodePtr node) noexcept {
    return is_document(node) ? reinterpret_cast<xmlDocPtr>(node) : node->doc;
}

[[nodiscard]] place_fault check_parent(const xmlNode *parent) noexcept {
    switch (parent->type) {
    case XML_ELEMENT_NODE:
    case XML_DOCUMENT_FRAG_NODE:
    case XML_DOCUMENT_NODE:
    case XML_ATTRIBUTE_NODE:
        return place_fault::none;
    case XML_ENTITY_REF_NODE:
        return place_fault::immutable_parent;
    default:
        return is_declaration(parent->type) ? place_fault::immutable_parent
                                            : place_fault::no_children;
    }
}

[[nodiscard]] place_fault check_types(const xmlNode *parent, const xmlNode *child) noexcept {
    if (const place_fault fault = check_parent(parent); fault != place_fault::none) {
        return fault;
    }
    switch (child->type) {
    case XML_ELEMENT_NODE:
    case XML_TEXT_NODE:
    case XML_CDATA_SECTION_NODE:
    case XML_ENTITY_REF_NODE:
    case XML_PI_NODE:
    case XML_COMMENT_NODE:
        break;
    default:
        return is_declaration(child->type) ? place_fault::immutable_child : place_fault::no_child;
    }
    switch (parent->type) {
    case XML_DOCUMENT_NODE:
        return child->type == XML_ELEMENT_NODE || child->type == XML_COMMENT_NODE ||
                       child->type == XML_PI_NODE
                   ? place_fault::none
                   : place_fault::not_in_document;
    case XML_ATTRIBUTE_NODE:
        return child->type == XML_TEXT_NODE || child->type == XML_ENTITY_REF_NODE
                   ? place_fault::none
                   : place_fault::not_in_attribute;
    default:
        return place_fault::none;
    }
}

// The attribute that a node stands in changes its value with it.
void note_value_change(xmlNodePtr parent) noexcept {
    if (is_attribute(parent)) {
        auto *const attribute = reinterpret_cast<xmlAttrPtr>(parent);
        forget_parsed_id(attribute);
        note_attribute_change(attribute);
    }
}

void take_out(xmlNodePtr node) noexcept {
    if (node->parent != nullptr) {
        note_value_change(node->parent);
        unlink_fitted_node(node);
    }
}

} // namespace

xmlNodePtr next_changeable(xmlNodePtr node, const xmlNode *top) noexcept {
    if (!is_declaration(node->type)) {
        return next_below(node, top);
    }
    while (node != nullptr && node != top && node->next == nullptr) {
        node = node->parent;
    }
    return node == nullptr || node == top ? nullptr : node->next;
}

void link_before(xmlNodePtr parent, xmlNodePtr child, xmlNodePtr reference) noexcept {
    child->parent = parent;
    child->next = reference;
    child->prev = reference == nullptr ? parent->last : reference->prev;
    (child->prev == nullptr ? parent->children : child->prev->next) = child;
    (reference == nullptr ? parent->last : reference->prev) = child;
}

namespace {

[[nodiscard]] bool is_any_of(const xmlNode *node, unsigned types) noexcept {
    return (types >> node->type & 1U) != 0;
}
template <class... Type> [[nodiscard]] constexpr unsigned bits_of(Type... type) noexcept {
    return ((1U << type) | ...);
}
constexpr unsigned k_leaves =
    bits_of(XML_TEXT_NODE, XML_CDATA_SECTION_NODE, XML_PI_NODE, XML_COMMENT_NODE);

// Whether a node stands above the place below `parent`. One that has nothing below it, or stands in
// that place already, cannot.
[[nodiscard]] bool is_above(const xmlNode *node, const xmlNode *parent) {
    if (node->children == nullptr || node->parent == parent) {
        return false;
    }
    poll_counter poll;
    for (; parent != nullptr; parent = parent->parent) {
        poll.step();
        if (parent == node) {
            return true;
        }
    }
    return false;
}

// Whether names in a tree that declares nothing use the records that are in scope below `parent`.
// Trees use few: more than these, and others, are left to a plan.
class names_in_scope {
  public:
    explicit names_in_scope(const xmlNode *parent) noexcept : parent_(parent) {}
    [[nodiscard]] bool are_all_of(const xmlNode *element) {
        if (element->nsDef != nullptr || (element->ns != nullptr && !is_known(element->ns))) {
            return false;
        }
        met_none_ = met_none_ || element->ns == nullptr;
        for (const xmlAttr *attribute = element->properties; attribute != nullptr;
             attribute = attribute->next) {
            if (attribute->ns != nullptr &&
                (attribute->ns->prefix == nullptr || !is_known(attribute->ns))) {
                return false;
            }
        }
        return true;
    }
    // An element was in no namespace.
    [[nodiscard]] bool met_none() const noexcept { return met_none_; }

  private:
    [[nodiscard]] bool is_known(const xmlNs *record) {
        const xmlNs *const *const end = known_ + count_;
        if (std::find(std::cbegin(known_), end, record) != end) {
            return true;
        }
        if (count_ == std::size(known_) || uri_of(record) == nullptr ||
            declaration_in_scope(parent_, record->prefix) != record) {
            return false;
        }
        known_[count_++] = record;
        return true;
    }

    const xmlNode *parent_;
    const xmlNs *known_[4];
    std::size_t count_ = 0;
    bool met_none_ = false;
};

// Whether a plan for a tree, as namespace_plan::fit makes it, would be empty: it is found out in a
// tenth of the instructions.
[[nodiscard]] bool names_stay_right(const xmlNode *parent, const xmlNode *top) {
    names_in_scope names(parent);
    poll_counter poll;
    for (auto *node = const_cast<xmlNodePtr>(top); node != nullptr; node = next_below(node, top)) {
        poll.step();
        if (node->type == XML_ELEMENT_NODE && !names.are_all_of(node)) {
            return false;
        }
    }
    return !names.met_none() || uri_of(declaration_in_scope(parent, nullptr)) == nullptr;
}

} // namespace

bool only_needs_links(const xmlNode *parent, const xmlNode *child) {
    const xmlDoc *const document = parent->doc;
    if (parent->type != XML_ELEMENT_NODE || child == parent || child->doc != document ||
        document == nullptr || document->intSubset != nullptr || document->extSubset != nullptr) {
        return false;
    }
    if (child->parent != nullptr &&
        !is_any_of(child->parent, bits_of(XML_ELEMENT_NODE, XML_DOCUMENT_FRAG_NODE))) {
        return false;
    }
    if (child->type != XML_ELEMENT_NODE) {
        return is_any_of(child, k_leaves) && child->children == nullptr;
    }
    if (child->nsDef != nullptr || is_above(child, parent)) {
        return false;
    }
    return stands_below_declarations(child) ? names_stay_right(parent, child)
                                            : !has_default_namespace(parent);
}

void move_by_links(xmlNodePtr parent, xmlNodePtr child, xmlNodePtr reference) noexcept {
    if (child->parent == nullptr) {
        link_before(parent, child, reference);
        note_tree_change(child);
        return;
    }
    const host::tree_scope scope;
    xmlNodePtr const left = take_witness_along(child);
    note_tree_change(child);
    xmlUnlinkNode(child);
    link_before(parent, child, reference);
    note_tree_change(child);
    settle_left_tree(left);
}

placement::placement(xmlNodePtr parent, xmlNodePtr reference, leaving what)
    : parent_(parent), reference_(reference), leaving_(what), plan_(document_of(parent)) {}

void placement::add(xmlNodePtr node) {
    // A fragment cannot be put into itself.
    if (node->type != XML_DOCUMENT_FRAG_NODE || node == parent_) {
        nodes_.push_back(node);
        return;
    }
    for (xmlNodePtr child = node->children; child != nullptr; child = child->next) {
        nodes_.push_back(child);
    }
}

bool placement::is_moved(const xmlNode *node) const noexcept { return is_member(sorted_, node); }

bool placement::leaves(const xmlNode *child) const noexcept {
    return child == replaced_ || leaving_ == leaving::all_children || is_moved(child);
}

// A node that was named more than once ends up where it was named last.
void placement::keep_last_of_each() {
    for (const xmlNodePtr node : nodes_) {
        sorted_.push_back(node);
    }
    sort_nodes(sorted_);
    std::size_t distinct = 0;
    for (std::size_t index = 0; index < sorted_.size(); ++index) {
        if (index == 0 || sorted_[index] != sorted_[index - 1]) {
            sorted_[distinct++] = sorted_[index];
        }
    }
    sorted_.shrink(distinct);
    if (distinct == nodes_.size()) {
        return;
    }
    growing_array<bool, 64> is_kept_already;
    for (std::size_t index = 0; index < distinct; ++index) {
        is_kept_already.push_back(false);
    }
    node_set kept; // from the last one on
    for (std::size_t index = nodes_.size(); index != 0; --index) {
        xmlNodePtr const node = nodes_[index - 1];
        const auto *const place = std::lower_bound(sorted_.begin(), sorted_.end(), node);
        bool &is_known = is_kept_already[static_cast<std::size_t>(place - sorted_.begin())];
        if (!is_known) {
            is_known = true;
            kept.push_back(node);
        }
    }
    nodes_.clear();
    for (std::size_t index = kept.size(); index != 0; --index) {
        nodes_.push_back(kept[index - 1]);
    }
}

place_check placement::check_document() const noexcept {
    std::size_t roots = 0;
    xmlNodePtr root = nullptr;
    for (const xmlNodePtr node : nodes_) {
        if (node->type == XML_ELEMENT_NODE) {
            root = node;
            ++roots;
        }
    }
    if (root == nullptr) {
        return {};
    }
    for (const xmlNode *child = parent_->children; child != nullptr; child = child->next) {
        roots += child->type == XML_ELEMENT_NODE && !leaves(child) ? 1 : 0;
    }
    if (roots > 1) {
        return {place_fault::second_root, root};
    }
    for (const xmlNode *child = reference_; child != nullptr; child = child->next) {
        if (child->type == XML_DTD_NODE) {
            return {place_fault::before_doctype, root};
        }
    }
    return {};
}

// Climbs once for all nodes, and not at all where nothing stands below any of them.
void placement::look_above() {
    const bool may_stand_above = std::any_of(nodes_.begin(), nodes_.end(), [](const xmlNode *node) {
        return first_child(node) != nullptr;
    });
    xmlNodePtr const end = may_stand_above ? nullptr : parent_->parent;
    poll_counter poll;
    for (xmlNodePtr above = parent_; above != end; above = above->parent) {
        poll.step();
        if (is_moved(above)) {
            above_.push_back(above);
        }
    }
    sort_nodes(above_);
}

// Whether a node may stand below the parent, which may change; its other children are not looked
// at.
place_fault placement::check_child(const xmlNode *child) {
    if (const place_fault fault = check_types(parent_, child); fault != place_fault::none) {
        return fault;
    }
    if (child->doc != document_of(parent_)) {
        return place_fault::other_document;
    }
    if (is_member(above_, child)) {
        return place_fault::below_itself;
    }
    if (child->parent != nullptr && child->parent == checked_parent_) {
        return place_fault::none; // it may change as its sibling may
    }
    if (is_immutable(child)) {
        return place_fault::immutable_child;
    }
    checked_parent_ = child->parent;
    return place_fault::none;
}

place_check placement::check() {
    keep_last_of_each();
    look_above();
    if (const place_fault fault = check_parent(parent_); fault != place_fault::none) {
        return {fault, parent_};
    }
    if (is_immutable(parent_)) {
        return {place_fault::immutable_parent, parent_};
    }
    if (leaving_ == leaving::reference) {
        replaced_ = is_moved(reference_) ? nullptr : reference_;
        if (replaced_ != nullptr && is_immutable(replaced_)) {
            return {place_fault::immutable_child, replaced_};
        }
    }
    if (leaving_ == leaving::all_children) {
        for (xmlNodePtr child = first_child(parent_); child != nullptr; child = child->next) {
            if (is_declaration(child->type)) {
                return {place_fault::immutable_child, child};
            }
        }
    }
    for (const xmlNodePtr node : nodes_) {
        if (node == parent_ && node->type == XML_DOCUMENT_FRAG_NODE) {
            return {place_fault::below_itself, node};
        }
        if (const place_fault fault = check_child(node); fault != place_fault::none) {
            return {fault, node};
        }
    }
    return is_document(parent_) ? check_document() : place_check{};
}

void placement::prepare() {
    // What is moved itself is no place to stand in front of.
    while (reference_ != nullptr && is_moved(reference_)) {
        reference_ = reference_->next;
    }
    const node_set *const apart = &sorted_;
    for (const xmlNodePtr node : nodes_) {
        plan_.fit_moved(node, parent_, apart);
    }
    if (replaced_ != nullptr) {
        plan_.fit_moved(replaced_, nullptr, apart);
    }
    if (leaving_ == leaving::all_children) {
        for (xmlNodePtr child = first_child(parent_); child != nullptr; child = child->next) {
            if (!is_moved(child)) {
                plan_.fit_moved(child, nullptr, apart);
            }
        }
    }
    left_trees_.reserve(nodes_.size() + 2); // the replaced one, and the parent's
}

// The node, or one that stands below it, leaves: the tree is settled when all stand in their
// places.
void placement::leave_tree(xmlNodePtr node) noexcept {
    if (node->parent != nullptr || node == parent_) {
        if (xmlNodePtr const root = take_witness_along(node)) {
            left_trees_.push_back(root);
        }
    }
}

void placement::remove_children() noexcept {
    xmlNodePtr child = parent_->children;
    while (child != nullptr && !is_moved(child)) {
        xmlNodePtr const next = child->next;
        retire_fitted(child);
        child = next;
    }
}

void placement::carry_out() noexcept {
    const host::tree_scope scope;
    note_value_change(parent_);
    for (const xmlNodePtr node : nodes_) {
        leave_tree(node);
    }
    if (replaced_ != nullptr) {
        leave_tree(replaced_);
    }
    if (leaving_ == leaving::all_children) {
        leave_tree(parent_);
    }
    xmlNodePtr reference = anchor_ != nullptr && is_moved(anchor_) ? anchor_ : reference_;
    for (const xmlNodePtr node : nodes_) {
        if (node == anchor_) {
            reference = reference_;
            continue;
        }
        take_out(node);
        link_before(parent_, node, reference);
        note_tree_change(node);
    }
    plan_.apply();
    for (const xmlNodePtr node : nodes_) {
        if (node->type == XML_ELEMENT_NODE && node->parent->type == XML_ELEMENT_NODE) {
            drop_repeated_declarations(node);
        }
    }
    if (replaced_ != nullptr) {
        take_out(replaced_);
    }
    if (leaving_ == leaving::all_children) {
        remove_children();
    }
    // Last: with what leaves may go the tree that it stood in, when nobody needs that any more.
    for (const xmlNodePtr root : left_trees_) {
        settle_left_tree(root);
    }
}

void remove_from_tree(xmlNodePtr node) {
    namespace_plan plan(node->doc);
    plan.fit_moved(node, nullptr);
    const host::tree_scope scope;
    take_out(node);
    plan.apply();
}

} // namespace pkg_dbe_xml
