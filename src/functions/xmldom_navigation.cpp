// Steps from a node of the packages to others: parent, children, siblings, and the elements among
// them.
//
// An attribute has no parent and no siblings; a document type and what it declares have no
// children, and a declaration stands nowhere. So the DOM has it, whatever libxml2 links.

#include "functions/package_arguments.hpp"
#include "registry/list_making.hpp"
#include "tree/poll_counter.hpp"

namespace pkg_dbe_xml {

namespace {

constexpr package_function k_get_parent_node{"xmldom.get_parent_node", {"node"}};
constexpr package_function k_get_first_child{"xmldom.get_first_child", {"node"}};
constexpr package_function k_get_last_child{"xmldom.get_last_child", {"node"}};
constexpr package_function k_get_previous_sibling{"xmldom.get_previous_sibling", {"node"}};
constexpr package_function k_get_next_sibling{"xmldom.get_next_sibling", {"node"}};
constexpr package_function k_get_child_nodes{"xmldom.get_child_nodes", {"node"}};
constexpr package_function k_has_child_nodes{"xmldom.has_child_nodes", {"node"}};
constexpr package_function k_first_element_child{"xmldom.first_element_child", {"node"}};
constexpr package_function k_last_element_child{"xmldom.last_element_child", {"node"}};
constexpr package_function k_previous_element_sibling{"xmldom.previous_element_sibling", {"node"}};
constexpr package_function k_next_element_sibling{"xmldom.next_element_sibling", {"node"}};
constexpr package_function k_child_element_count{"xmldom.child_element_count", {"node"}};
constexpr package_function k_get_document_element{"xmldom.get_document_element", {"document"}};

[[nodiscard]] bool stands_among_siblings(const xmlNode *node) noexcept {
    return !is_attribute(node) && (!is_declaration(node->type) || node->type == XML_DTD_NODE);
}

xmlNodePtr parent_of(const xmlNode *node) {
    return stands_among_siblings(node) ? node->parent : nullptr;
}
xmlNodePtr previous_of(const xmlNode *node) {
    return stands_among_siblings(node) ? node->prev : nullptr;
}
xmlNodePtr next_of(const xmlNode *node) {
    return stands_among_siblings(node) ? node->next : nullptr;
}
xmlNodePtr first_of(const xmlNode *node) {
    return is_declaration(node->type) ? nullptr : first_child(node);
}
xmlNodePtr last_of(const xmlNode *node) {
    return is_declaration(node->type) ? nullptr : last_child(node);
}

// The first element of a chain of siblings, forward or backward.
template <bool forward> xmlNodePtr element_from(xmlNodePtr node) {
    poll_counter poll;
    while (node != nullptr && node->type != XML_ELEMENT_NODE) {
        node = forward ? node->next : node->prev;
        poll.step();
    }
    return node;
}
xmlNodePtr first_element(const xmlNode *node) { return element_from<true>(first_of(node)); }
xmlNodePtr last_element(const xmlNode *node) { return element_from<false>(last_of(node)); }
xmlNodePtr previous_element(const xmlNode *node) { return element_from<false>(previous_of(node)); }
xmlNodePtr next_element(const xmlNode *node) { return element_from<true>(next_of(node)); }

using tree_step = xmlNodePtr (*)(const xmlNode *node);

template <tree_step step>
host::datum take_step(host::call &call, const package_function &function,
                      const node_wish &wish = k_any_node) {
    const package_call here(call, function);
    const named_node from = here.node(0, wish);
    return from ? here.result(from, step(from.node)) : call.null();
}

} // namespace

PKG_DBE_XML_FUNCTION(xmldom_get_parent_node) {
    return take_step<parent_of>(call, k_get_parent_node);
}

PKG_DBE_XML_FUNCTION(xmldom_get_first_child) {
    return take_step<first_of>(call, k_get_first_child);
}

PKG_DBE_XML_FUNCTION(xmldom_get_last_child) { return take_step<last_of>(call, k_get_last_child); }

PKG_DBE_XML_FUNCTION(xmldom_get_previous_sibling) {
    return take_step<previous_of>(call, k_get_previous_sibling);
}

PKG_DBE_XML_FUNCTION(xmldom_get_next_sibling) {
    return take_step<next_of>(call, k_get_next_sibling);
}

PKG_DBE_XML_FUNCTION(xmldom_get_document_element) {
    return take_step<first_element>(call, k_get_document_element, k_document);
}

PKG_DBE_XML_FUNCTION(xmldom_first_element_child) {
    return take_step<first_element>(call, k_first_element_child);
}

PKG_DBE_XML_FUNCTION(xmldom_last_element_child) {
    return take_step<last_element>(call, k_last_element_child);
}

PKG_DBE_XML_FUNCTION(xmldom_previous_element_sibling) {
    return take_step<previous_element>(call, k_previous_element_sibling);
}

PKG_DBE_XML_FUNCTION(xmldom_next_element_sibling) {
    return take_step<next_element>(call, k_next_element_sibling);
}

PKG_DBE_XML_FUNCTION(xmldom_child_element_count) {
    const named_node from = package_call(call, k_child_element_count).node(0);
    if (!from) {
        return call.null();
    }
    poll_counter poll;
    std::int32_t count = 0;
    for (const xmlNode *child = first_of(from.node); child != nullptr; child = child->next) {
        count += child->type == XML_ELEMENT_NODE ? 1 : 0;
        poll.step();
    }
    return host::from_int4(count);
}

PKG_DBE_XML_FUNCTION(xmldom_has_child_nodes) {
    const named_node from = package_call(call, k_has_child_nodes).node(0);
    return from ? host::from_boolean(!is_attribute(from.node) && first_of(from.node) != nullptr)
                : call.null();
}

// All children, blank texts too.
PKG_DBE_XML_FUNCTION(xmldom_get_child_nodes) {
    const named_node from = package_call(call, k_get_child_nodes).node(0);
    if (!from) {
        return call.null();
    }
    return list_result(*from.entry, [&from](node_collector &found) {
        for (xmlNodePtr child = is_attribute(from.node) ? nullptr : first_of(from.node);
             child != nullptr; child = child->next) {
            found.add(child);
        }
    });
}

} // namespace pkg_dbe_xml
