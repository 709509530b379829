// Lists that functions of the packages make: a snapshot of nodes in their order.
#pragma once

#include "error_reports.hpp"
#include "libxml/xml.hpp"
#include "registry.hpp"
#include "registry/own_lists.hpp"
#include "tree/pkg_xml_dom_common.hpp"
#include "tree/poll_counter.hpp"
#include "xml_owner.hpp"

namespace pkg_dbe_xml {

// Collects the members of a list that is being made.
class node_collector {
  public:
    explicit node_collector(xmlListPtr list) noexcept : list_(list) {}
    // Reports list_not_filled when memory runs out.
    void add(xmlNodePtr node) {
        if (!xml_list_pushback(node, list_)) {
            report(reports::list_not_filled);
        }
        digest_.add(node);
        poll_.step();
    }
    // To be called for each node that is looked at and is no member. Throws when the statement was
    // asked to stop.
    void pass_by() { poll_.step(); }
    [[nodiscard]] const list_digest &digest() const noexcept { return digest_; }

  private:
    xmlListPtr list_;
    list_digest digest_;
    poll_counter poll_;
};

// A list as the result, in the family of `from`, filled by `fill`; the one of the same members that
// there is, or else a new one. Reports list_not_made and list_not_filled, and throws what `fill`
// throws.
template <class Fill> [[nodiscard]] host::datum list_result(const XMLHashEntry &from, Fill fill) {
    const host::tree_scope scope;
    xml_list_ptr list(xmlListCreate(nullptr, nullptr));
    if (list == nullptr) {
        report(reports::list_not_made);
    }
    node_collector found(list.get());
    fill(found);
    if (scope.refused()) {
        report(reports::list_not_filled);
    }
    return own_list(from, list, found.digest());
}

} // namespace pkg_dbe_xml
