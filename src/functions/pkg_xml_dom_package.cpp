// What the packages need beyond the functions themselves: steps for sets of handles, and scopes.
//
// A scope is 13 bytes like a handle: the number of the next parser, a node id that no handle has,
// and the serial of the next document. Documents and parsers with these or later numbers were made
// since the scope was; serials and parser numbers are never used twice in a session.

#include "functions/call_frame.hpp"
#include "registry/parser_registry.hpp"
#include "tree/pkg_xml_dom_common.hpp"

#include <algorithm>
#include <limits>

namespace pkg_dbe_xml {

namespace {

constexpr std::uint32_t k_scope_node_id = k_no_node_id;

// The node of argument 0; null when the argument is null or names nothing.
xmlNodePtr node_argument(const host::call &call) {
    return call.is_null(0) ? nullptr : node_or_null(find_handle(call, 0));
}

// A new handle for `node` beside that of argument 0, null for null.
template <XMLDomNodeType kind> host::datum handle_result(host::call &call, void *node) {
    return node == nullptr ? call.null() : mint_handle<kind>(find_handle(call, 0), node);
}

host::datum number_result(std::size_t count) {
    constexpr std::size_t k_largest = std::numeric_limits<std::int32_t>::max();
    return host::from_int4(static_cast<std::int32_t>(std::min(count, k_largest)));
}

} // namespace

// The first child of whatever type, of a document too. Reports handle_not_found, and
// inconsistent_types for a list or a map.
PKG_DBE_XML_FUNCTION(xml_dom_first_node) {
    const xmlNode *node = node_argument(call);
    return handle_result<XMLDomNodeType::node>(call, node == nullptr ? nullptr : first_child(node));
}

// The first attribute of an element, and the one behind an attribute. Reports as above.
PKG_DBE_XML_FUNCTION(xml_dom_first_attribute) {
    const xmlNode *node = node_argument(call);
    return handle_result<XMLDomNodeType::attribute>(call, node == nullptr ? nullptr
                                                                          : first_attribute(node));
}

PKG_DBE_XML_FUNCTION(xml_dom_next_attribute) {
    const xmlNode *node = node_argument(call);
    return handle_result<XMLDomNodeType::attribute>(
        call, node == nullptr || !is_attribute(node) ? nullptr : node->next);
}

// Arguments: node, top, name. The element after `node`, in document order below `top`, that has
// the name; "*" means any. Reports as above.
PKG_DBE_XML_FUNCTION(xml_dom_next_element) {
    xmlNodePtr const node = node_argument(call);
    if (node == nullptr || call.is_null(1) || call.is_null(2)) {
        return call.null();
    }
    const xmlNode *top = node_or_null(find_handle(call, 1));
    if (top == nullptr) {
        return call.null();
    }
    const utf8_argument name(call.value(2));
    return handle_result<XMLDomNodeType::element>(call,
                                                  next_element_by_name(node, top, name.xml()));
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

// Gives back every document and parser of the session; their number.
PKG_DBE_XML_FUNCTION(xml_dom_free_all) {
    const std::size_t parsers = xml_parser_release_since(0);
    return number_result(parsers + xml_release_all_documents());
}

} // namespace pkg_dbe_xml
