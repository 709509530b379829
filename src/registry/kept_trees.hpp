// The trees of a family that stand in no document.
#pragma once

#include "growing_array.hpp"
#include "registry.hpp"
#include "tree/poll_counter.hpp"

namespace pkg_dbe_xml {

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
    [[nodiscard]] xmlNodePtr *begin() noexcept { return roots_.begin(); }
    [[nodiscard]] xmlNodePtr *end() noexcept { return roots_.end(); }

  private:
    void look_at(xmlNodePtr node);
    void note(xmlNodePtr node);
    void look_at_members(const XMLHashEntry &list);

    growing_array<xmlNodePtr, 16> roots_;
    growing_array<xmlNodePtr, 16> seen_;
    poll_counter poll_;
};

} // namespace pkg_dbe_xml
