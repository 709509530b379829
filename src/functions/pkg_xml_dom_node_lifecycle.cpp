// Casts, which name a node under a handle of another kind, and tests of handles.

#include "functions/call_frame.hpp"

namespace pkg_dbe_xml {

namespace {

// What a node is called whose type cannot become an element; null for the types that can.
const char *unconvertible_type(xmlElementType type) noexcept {
    switch (type) {
    case XML_TEXT_NODE:
        return "text";
    case XML_DOCUMENT_NODE:
        return "document";
    case XML_ATTRIBUTE_NODE:
        return "attribute";
    default:
        return nullptr;
    }
}

} // namespace

PKG_DBE_XML_FUNCTION(xml_dom_makenode) {
    if (call.is_null(0)) {
        return call.null();
    }
    const XMLHashEntry &entry = find_handle(call, 0);
    if (entry.object == nullptr) {
        return call.null();
    }
    switch (entry.kind) {
    case XMLDomNodeType::attribute:
    case XMLDomNodeType::document:
    case XMLDomNodeType::element:
    case XMLDomNodeType::text:
        return mint_handle<XMLDomNodeType::node>(entry, entry.object);
    default:
        report(reports::kind_mismatch);
    }
}

PKG_DBE_XML_FUNCTION(xml_dom_make_element) {
    if (call.is_null(0)) {
        return call.null();
    }
    const XMLHashEntry &entry = find_handle(call, 0);
    const xmlNode *node = node_or_null(entry);
    if (node == nullptr) {
        return call.null();
    }
    if (const char *type = unconvertible_type(node->type)) {
        report(reports::cannot_convert, {type});
    }
    return mint_handle<XMLDomNodeType::element>(entry, entry.object);
}

PKG_DBE_XML_FUNCTION(xml_dom_is_null) {
    if (call.is_null(0)) {
        return host::from_boolean(true);
    }
    const XMLHashEntry &entry = find_handle(call, 0);
    switch (entry.kind) {
    case XMLDomNodeType::named_node_map:
        return host::from_boolean(false); // also when there are no attributes
    case XMLDomNodeType::node_list:
        return host::from_boolean(entry.object == nullptr || list_size(entry) == 0);
    default:
        return host::from_boolean(entry.object == nullptr);
    }
}

PKG_DBE_XML_FUNCTION(xml_dom_has_child_nodes) {
    if (call.is_null(0)) {
        return host::from_boolean(false);
    }
    const xmlNode *node = node_or_null(find_handle(call, 0));
    if (node == nullptr) {
        return call.null();
    }
    return host::from_boolean(!is_attribute(node) && first_child(node) != nullptr);
}

} // namespace pkg_dbe_xml
