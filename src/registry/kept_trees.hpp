// The trees of a family that stand in no document.
#pragma once

#include "growing_array.hpp"
#include "registry.hpp"
#include "tree/poll_counter.hpp"

namespace pkg_dbe_xml {

// `node`, or what stands below it, is about to leave its tree. The root of the tree if its witness
// is there: it has none any more then, and is to be settled when the change is done. Null
// otherwise.
[[nodiscard]] xmlNodePtr take_witness_along(xmlNodePtr node) noexcept;
// Frees a tree that has lost its witness so unless it is kept for another node; null is passed
// over. Linear in the tree.
void settle_left_tree(xmlNodePtr root) noexcept;
// What `retire` does, for a node that uses no namespace declared above it and whose tree is settled
// by the caller.
void retire_fitted(xmlNodePtr node) noexcept;

// The root of the detached tree that is kept for a needed node; null when the node stands in a
// document, or when its tree is kept for another. Nodes marked as collected are passed over.
[[nodiscard]] xmlNodePtr root_of_needed(xmlNodePtr node) noexcept;

// The roots of a family's detached trees. Marks what it has seen for as long as it lives: nothing
// may change meanwhile.
class detached_trees {
  public:
    detached_trees() noexcept {}
    ~detached_trees();
    detached_trees(const detached_trees &) = delete;
    detached_trees &operator=(const detached_trees &) = delete;
    // To be called once. Takes as long as the family has handles and members of lists; throws when
    // memory runs out or the statement is asked to stop.
    void collect(const family &owner);
    // Frees them, at the end of their family: what there is no time for goes with its document. To
    // be called once, last of all.
    void free_all(family &owner) noexcept;
    [[nodiscard]] xmlNodePtr *begin() noexcept { return roots_.begin(); }
    [[nodiscard]] xmlNodePtr *end() noexcept { return roots_.end(); }

  private:
    void look_at(xmlNodePtr node);
    [[gnu::noinline]] void add_tree_of(xmlNodePtr node);
    void note(xmlNodePtr node);
    void look_at_members(const XMLHashEntry &list);

    growing_array<xmlNodePtr, 16> roots_;
    growing_array<xmlNodePtr, 16> seen_;
    poll_counter poll_;
};

} // namespace pkg_dbe_xml
