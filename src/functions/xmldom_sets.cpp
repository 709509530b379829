// Sets of nodes as rows: children, attributes, descendants, members of a list, siblings, ancestors.
//
// A set hands out the nodes' own handles, so one over nodes that have handles already makes nothing
// that stays. All rows are given within the call: changes that the query makes between two rows
// have no effect on them.

#include "functions/package_arguments.hpp"
#include "host/rows.hpp"
#include "tree/element_names.hpp"
#include "tree/poll_counter.hpp"

#include <optional>

namespace pkg_dbe_xml {

namespace {

// The rows of a set of nodes of one family.
class node_rows {
  public:
    explicit node_rows(host::call &call) : rows_(call) {}

    void put(const named_node &from, xmlNodePtr node) {
        // The handle first: making it may fail, and every row put is one written.
        const XMLHashEntry &entry = own_entry(*from.entry, node);
        write_handle(entry, rows_.put_copied(k_handle_room));
    }
    // To be called for every node looked at.
    void poll() { poll_.step(); }
    [[nodiscard]] host::datum finish() { return rows_.finish(); }

  private:
    host::row_set rows_;
    poll_counter poll_;
};

// Gives `first` and what follows it in its chain of siblings, as far as `wanted` takes it.
template <class Wanted>
host::datum chain_of_siblings(node_rows &rows, const named_node &from, xmlNodePtr first,
                              Wanted wanted) {
    for (xmlNodePtr node = first; node != nullptr; node = node->next) {
        rows.poll();
        if (wanted(node)) {
            rows.put(from, node);
        }
    }
    return rows.finish();
}

constexpr auto k_all = [](const xmlNode *) { return true; };

// The name, and the namespace URI, in arguments 1 and 2.
class name_arguments {
  public:
    explicit name_arguments(const host::call &call) {
        if (!call.is_null(1)) {
            name_.emplace(call.value(1));
        }
        if (!call.is_null(2)) {
            uri_.emplace(call.value(2));
        }
    }
    [[nodiscard]] element_name wanted() const noexcept {
        return {name_ ? name_->xml() : nullptr, uri_ ? uri_->xml() : nullptr};
    }

  private:
    std::optional<utf8_argument> name_;
    std::optional<utf8_argument> uri_;
};

constexpr package_function k_children{"xmldom.children", {"node"}};
constexpr package_function k_child_elements{"xmldom.child_elements", {"node", "name", "uri"}};
constexpr package_function k_attributes{"xmldom.attributes", {"node"}};
constexpr package_function k_descendants{"xmldom.descendants", {"node", "name", "uri"}};
constexpr package_function k_nodes{"xmldom.nodes", {"list"}};
constexpr package_function k_following_siblings{"xmldom.following_siblings", {"node"}};
constexpr package_function k_ancestors{"xmldom.ancestors", {"node"}};

} // namespace

PKG_DBE_XML_FUNCTION(xmldom_children) {
    node_rows rows(call);
    const named_node parent = package_call(call, k_children).node(0);
    return chain_of_siblings(rows, parent, parent ? first_child(parent.node) : nullptr, k_all);
}

PKG_DBE_XML_FUNCTION(xmldom_child_elements) {
    node_rows rows(call);
    const named_node parent = package_call(call, k_child_elements).node(0);
    const name_arguments names(call);
    return chain_of_siblings(
        rows, parent, parent ? first_child(parent.node) : nullptr,
        [wanted = names.wanted()](const xmlNode *node) { return wanted.matches(node); });
}

PKG_DBE_XML_FUNCTION(xmldom_attributes) {
    node_rows rows(call);
    const named_node element = package_call(call, k_attributes).node(0);
    return chain_of_siblings(rows, element,
                             element ? as_node(first_attribute(element.node)) : nullptr, k_all);
}

PKG_DBE_XML_FUNCTION(xmldom_descendants) {
    node_rows rows(call);
    const named_node top = package_call(call, k_descendants).node(0);
    if (!top) {
        return rows.finish();
    }
    const name_arguments names(call);
    const element_name wanted = names.wanted();
    xmlNodePtr node = top.node;
    while ((node = next_below(node, top.node)) != nullptr) {
        rows.poll();
        if (wanted.matches(node)) {
            rows.put(top, node);
        }
    }
    return rows.finish();
}

PKG_DBE_XML_FUNCTION(xmldom_nodes) {
    node_rows rows(call);
    XMLHashEntry *const list = package_call(call, k_nodes).list(0);
    const std::size_t size = list == nullptr ? 0 : list_size(*list);
    for (std::size_t place = 0; place < size; ++place) {
        rows.put({list, nullptr}, list_member(*list, place));
    }
    return rows.finish();
}

// Attributes have no siblings and no ancestors in the DOM, though libxml2 links them.
PKG_DBE_XML_FUNCTION(xmldom_following_siblings) {
    node_rows rows(call);
    const named_node start = package_call(call, k_following_siblings).node(0);
    return chain_of_siblings(
        rows, start, start && !is_attribute(start.node) ? start.node->next : nullptr, k_all);
}

PKG_DBE_XML_FUNCTION(xmldom_ancestors) {
    node_rows rows(call);
    const named_node start = package_call(call, k_ancestors).node(0);
    xmlNodePtr node = start && !is_attribute(start.node) ? start.node->parent : nullptr;
    for (; node != nullptr; node = node->parent) {
        rows.poll();
        rows.put(start, node);
    }
    return rows.finish();
}

} // namespace pkg_dbe_xml
