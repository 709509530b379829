// Lists that functions of the packages make: a snapshot of nodes in their order.
#pragma once

#include "error_reports.hpp"
#include "libxml/xml.hpp"
#include "registry.hpp"
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
        poll_.step();
    }
    // To be called for each node that is looked at and is no member. Throws when the statement was
    // asked to stop.
    void pass_by() { poll_.step(); }

  private:
    xmlListPtr list_;
    poll_counter poll_;
};

// A new list as the result, in the family of `from`, filled by `fill`. Reports list_not_made and
// list_not_filled, and throws what `fill` throws.
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
    const host::datum result = mint_handle<XMLDomNodeType::node_list>(from, list.get());
    list.release(); // the registry's now
    return result;
}

} // namespace pkg_dbe_xml
