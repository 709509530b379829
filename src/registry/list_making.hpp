// Lists that functions of the packages make: a snapshot of nodes in their order.
#pragma once

#include "growing_array.hpp"
#include "registry.hpp"
#include "registry/own_lists.hpp"
#include "tree/poll_counter.hpp"

namespace pkg_dbe_xml {

// Collects the members of a list. They become one of libxml2's only if no list is known that holds
// the same: a call that finds one took twice as long when it made another to compare with.
class node_collector {
  public:
    // Throws when memory runs out or the statement was asked to stop.
    void add(xmlNodePtr node) {
        members_.push_back(node);
        digest_.add(node);
        poll_.step();
    }
    // To be called for each node that is looked at and is no member. Throws when the statement was
    // asked to stop.
    void pass_by() { poll_.step(); }
    // The list as the result, in the family of `from`; throws and reports as own_list does.
    [[nodiscard]] host::datum result(const XMLHashEntry &from) const {
        return own_list(from, members_.begin(), digest_);
    }

  private:
    growing_array<xmlNodePtr, 64> members_;
    list_digest digest_;
    poll_counter poll_;
};

// A list as the result, in the family of `from`, filled by `fill`; the one of the same members that
// there is, or else a new one. Throws what `fill` and own_list throw.
template <class Fill> [[nodiscard]] host::datum list_result(const XMLHashEntry &from, Fill fill) {
    node_collector found;
    fill(found);
    return found.result(from);
}

} // namespace pkg_dbe_xml
