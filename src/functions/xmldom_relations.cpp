// How nodes of the packages stand to each other, and which names mean what at a node.

#include "functions/package_arguments.hpp"
#include "tree/document_order.hpp"
#include "tree/namespaces_in_scope.hpp"
#include "tree/node_equality.hpp"
#include "tree/text_compare.hpp"

#include <cstring>
#include <optional>
#include <tuple>

namespace pkg_dbe_xml {

namespace {

constexpr package_function k_is_same_node{"xmldom.is_same_node", {"node", "other"}};
constexpr package_function k_is_equal_node{"xmldom.is_equal_node", {"node", "other"}};
constexpr package_function k_contains{"xmldom.contains", {"node", "other"}};
constexpr package_function k_compare_document_position{"xmldom.compare_document_position",
                                                       {"node", "other"}};
constexpr package_function k_lookup_prefix{"xmldom.lookup_prefix", {"node", "namespace_uri"}};
constexpr package_function k_lookup_namespace_uri{"xmldom.lookup_namespace_uri",
                                                  {"node", "prefix"}};
constexpr package_function k_is_default_namespace{"xmldom.is_default_namespace",
                                                  {"node", "namespace_uri"}};

// Two nodes of different trees are ordered by the numbers of the trees: of their documents, then of
// their topmost nodes.
[[nodiscard]] std::uint32_t position_between_trees(const named_node &node, const named_node &other,
                                                   xmlNodePtr top, xmlNodePtr other_top) {
    using namespace position;
    const DomKey key = own_entry(*node.entry, top).key;
    const DomKey other_key = own_entry(*other.entry, other_top).key;
    const auto order = [](const DomKey &of) {
        return std::tuple(of.serial(), of.document_id(), of.node_id());
    };
    return k_disconnected | k_implementation_specific |
           (order(key) < order(other_key) ? k_following : k_preceding);
}

// The answer of a test of two nodes: null when the first is null, false when the second is.
template <class Test>
host::datum test(host::call &call, const package_function &function, Test passes) {
    const package_call here(call, function);
    const named_node node = here.node(0);
    const named_node other = here.node(1);
    if (!node) {
        return call.null();
    }
    return host::from_boolean(other && passes(node.node, other.node));
}

} // namespace

PKG_DBE_XML_FUNCTION(xmldom_is_same_node) {
    return test(call, k_is_same_node,
                [](const xmlNode *node, const xmlNode *other) { return node == other; });
}

PKG_DBE_XML_FUNCTION(xmldom_is_equal_node) { return test(call, k_is_equal_node, is_equal_node); }

PKG_DBE_XML_FUNCTION(xmldom_contains) { return test(call, k_contains, contains); }

// Null when either is null.
PKG_DBE_XML_FUNCTION(xmldom_compare_document_position) {
    const package_call here(call, k_compare_document_position);
    const named_node node = here.node(0);
    const named_node other = here.node(1);
    if (!node || !other) {
        return call.null();
    }
    xmlNodePtr const top = topmost(node.node);
    xmlNodePtr const other_top = topmost(other.node);
    const std::uint32_t bits = top == other_top
                                   ? compare_position(node.node, other.node)
                                   : position_between_trees(node, other, top, other_top);
    return host::from_int4(static_cast<std::int32_t>(bits));
}

PKG_DBE_XML_FUNCTION(xmldom_lookup_prefix) {
    const named_node named = package_call(call, k_lookup_prefix).node(0);
    if (!named) {
        return call.null();
    }
    const optional_argument uri(call, 1);
    return text_or_null(call, prefix_of_namespace(named.node, uri.uri()));
}

// A null or empty prefix asks for the default namespace.
PKG_DBE_XML_FUNCTION(xmldom_lookup_namespace_uri) {
    const named_node named = package_call(call, k_lookup_namespace_uri).node(0);
    if (!named) {
        return call.null();
    }
    const optional_argument prefix(call, 1);
    return text_or_null(call, namespace_of_prefix(named.node, null_if_empty(prefix.xml())));
}

// A null or empty URI asks whether there is no default namespace.
PKG_DBE_XML_FUNCTION(xmldom_is_default_namespace) {
    const named_node named = package_call(call, k_is_default_namespace).node(0);
    if (!named) {
        return call.null();
    }
    const optional_argument uri(call, 1);
    return host::from_boolean(same_or_absent(namespace_of_prefix(named.node, nullptr), uri.uri()));
}

} // namespace pkg_dbe_xml
