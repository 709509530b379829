// What the packages need beyond the functions themselves: steps for sets of handles, and scopes.
//
// A scope is 13 bytes like a handle: the number of the next parser, a node id that no handle has,
// and the serial of the next document. Documents and parsers with these or later numbers were made
// since the scope was; serials and parser numbers are never used twice in a session.

#include "functions/package_arguments.hpp"
#include "registry/parser_registry.hpp"
#include "stream/stream_table.hpp"
#include "tree/pkg_xml_dom_common.hpp"

#include <algorithm>
#include <limits>

namespace pkg_dbe_xml {

namespace {

constexpr std::uint32_t k_scope_node_id = k_no_node_id;

constexpr package_function k_first_node{"xmldom.first_node", {"node"}};
constexpr package_function k_first_attribute{"xmldom.first_attribute", {"element"}};
constexpr package_function k_next_attribute{"xmldom.next_attribute", {"attribute"}};
constexpr package_function k_next_element{"xmldom.next_element", {"node", "top", "name"}};

host::datum number_result(std::size_t count) {
    constexpr std::size_t k_largest = std::numeric_limits<std::int32_t>::max();
    return host::from_int4(static_cast<std::int32_t>(std::min(count, k_largest)));
}

} // namespace

// The first child of whatever type, of a document too. Steps report unknown_handle, stale_handle
// and wrong_node_type.
PKG_DBE_XML_FUNCTION(xml_dom_first_node) {
    const package_call here(call, k_first_node);
    const named_node from = here.node(0);
    return from ? here.result(from, first_child(from.node)) : call.null();
}

// The first attribute of an element, and the one behind an attribute; null for other nodes.
PKG_DBE_XML_FUNCTION(xml_dom_first_attribute) {
    const package_call here(call, k_first_attribute);
    const named_node from = here.node(0);
    return from ? here.result(from, as_node(first_attribute(from.node))) : call.null();
}

PKG_DBE_XML_FUNCTION(xml_dom_next_attribute) {
    const package_call here(call, k_next_attribute);
    const named_node from = here.node(0);
    return from && is_attribute(from.node) ? here.result(from, from.node->next) : call.null();
}

// Arguments: node, top, name. The element after `node`, in document order below `top`, that has
// the name; "*" means any.
PKG_DBE_XML_FUNCTION(xml_dom_next_element) {
    const package_call here(call, k_next_element);
    const named_node from = here.node(0);
    const named_node top = here.node(1);
    if (!from || !top || call.is_null(2)) {
        return call.null();
    }
    const utf8_argument name(call.value(2));
    return here.result(from, next_element_by_name(from.node, top.node, name.xml()));
}

// A scope that begins now.
PKG_DBE_XML_FUNCTION(xml_dom_mark_scope) {
    DomKey scope;
    xml_dom_general_key(xml_parser_next_id(), k_scope_node_id, xml_next_serial(), scope);
    return get_datum_by_dom_key(scope);
}

// Gives back the documents and parsers made since the scope of argument 0 began; their number.
// Reports handle_not_found for a value that is no scope.
PKG_DBE_XML_FUNCTION(xml_dom_release_scope) {
    if (call.is_null(0)) {
        return call.null();
    }
    const DomKey scope = check_raw_id_valid(call.value(0));
    if (scope.node_id() != k_scope_node_id) {
        report(reports::handle_not_found);
    }
    const std::size_t parsers = xml_parser_release_since(scope.document_id());
    return number_result(parsers + xml_release_documents_since(scope.serial()));
}

// Gives back every document, parser and stream of the session; their number.
PKG_DBE_XML_FUNCTION(xml_dom_free_all) {
    const std::size_t streams = close_all_streams();
    const std::size_t parsers = xml_parser_release_since(0);
    return number_result(streams + parsers + xml_release_all_documents());
}

} // namespace pkg_dbe_xml
