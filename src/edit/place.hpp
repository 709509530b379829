// Where nodes may stand, as the DOM has it, and putting them there: insertion, replacement,
// removal.
//
// A change is checked and prepared as a whole before anything moves.
#pragma once

#include "edit/namespace_plan.hpp"
#include "registry.hpp"

#include <libxml/tree.h>

#include <cstddef>
#include <cstdint>

namespace pkg_dbe_xml {

enum class place_fault : std::uint8_t {
    none,
    no_children,      // the parent is of a type that holds none
    not_in_document,  // only elements, comments and processing instructions stand in documents
    not_in_attribute, // only texts and entity references stand in attributes
    no_child,         // attributes and documents are children of nothing
    below_itself,     // the parent stands below the child, or is it
    second_root,      // a document has one root element
    before_doctype,   // the root element stands behind the document type
    immutable_parent, // what stands in a document type never changes
    immutable_child,  // and never moves
    other_document,   // the child belongs to another document
};

struct place_check {
    place_fault fault = place_fault::none;
    xmlNodePtr child = nullptr; // the one that cannot stand there
    [[nodiscard]] bool passed() const noexcept { return fault == place_fault::none; }
};

// The node after `node` in document order below `top`, as next_below gives it, but without what
// stands in a document type.
[[nodiscard]] xmlNodePtr next_changeable(xmlNodePtr node, const xmlNode *top) noexcept;

// Sets the links of a node that stands nowhere; a null reference means behind the last child.
// Never throws.
void link_before(xmlNodePtr parent, xmlNodePtr child, xmlNodePtr reference) noexcept;

// Whether a node can be put below an element of its document, which declares no entities, and
// nothing is to be done but to set links: the namespaces of its tree are right there as they are.
// False also where that is not easily seen. Costs no more than what a plan would cost. Throws when
// the statement was asked to stop.
[[nodiscard]] bool only_needs_links(const xmlNode *parent, const xmlNode *child);
// Puts such a node in front of a child of that parent, not itself; null: at the end. Never throws.
void move_by_links(xmlNodePtr parent, xmlNodePtr child, xmlNodePtr reference) noexcept;

// What leaves while nodes are put below a parent.
enum class leaving : std::uint8_t { nothing, reference, all_children };

// Nodes that are put below a parent, in front of one of its children or at the end.
class placement {
  public:
    // `reference` is a child of `parent` or null. With leaving::reference it goes when the nodes
    // stand, unless it is one of them.
    placement(xmlNodePtr parent, xmlNodePtr reference, leaving what);

    // A child of the parent by which the place was given: where it is one of the nodes itself, the
    // others are put around it, since nobody else may need the tree that it stands in.
    void around(xmlNodePtr anchor) noexcept { anchor_ = anchor; }
    // Adds a node, or the children of a fragment. Throws when memory runs out.
    void add(xmlNodePtr node);
    // The first node added that cannot stand there. Throws when memory runs out or the statement
    // was asked to stop.
    [[nodiscard]] place_check check();
    // Whatever can fail: plans namespaces. After a check that passed. Throws as that does.
    void prepare();
    // Puts the nodes in their places. What leaves stays, outside of the tree, for those who name
    // it. Never throws.
    void carry_out() noexcept;

  private:
    void keep_last_of_each();
    void look_above();
    [[nodiscard]] place_fault check_child(const xmlNode *child);
    void leave_tree(xmlNodePtr node) noexcept;
    void remove_children() noexcept;
    [[nodiscard]] place_check check_document() const noexcept;
    [[nodiscard]] bool is_moved(const xmlNode *node) const noexcept;
    [[nodiscard]] bool leaves(const xmlNode *child) const noexcept;

    xmlNodePtr parent_;
    xmlNodePtr reference_;
    leaving leaving_;
    xmlNodePtr replaced_ = nullptr;
    xmlNodePtr anchor_ = nullptr;
    node_set nodes_;
    node_set sorted_;
    node_set above_;                          // those of them that stand above the parent
    const xmlNode *checked_parent_ = nullptr; // of the node that was checked last
    growing_array<xmlNodePtr, 8> left_trees_; // kept for what leaves them
    namespace_plan plan_;
};

// Takes a node out of its tree: for nodes that have a parent and may change. Reports
// out_of_memory; throws when the statement was asked to stop.
void remove_from_tree(xmlNodePtr node);

} // namespace pkg_dbe_xml
