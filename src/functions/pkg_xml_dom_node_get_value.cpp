// What a node is: its value, its name, its type, its attributes as a map, the value of one
// attribute in a namespace.

#include "functions/call_frame.hpp"
#include "tree/fixed_name.hpp"
#include "tree/node_text.hpp"
#include "tree/text_compare.hpp"

#include <cstring>

namespace pkg_dbe_xml {

PKG_DBE_XML_FUNCTION(xml_dom_get_node_value) {
    if (call.is_null(0)) {
        return call.null();
    }
    const xmlNode *node = node_or_null(find_handle(call, 0));
    // An element or a document has no value; nor has a declaration, whatever it declares.
    if (node == nullptr || is_container(node) || is_declaration(node->type)) {
        return call.null();
    }
    text_room room;
    const text_piece value = node_text(node, room);
    return value.size == 0 ? call.null() : text_result(value.bytes, value.size);
}

PKG_DBE_XML_FUNCTION(xml_dom_get_node_name) {
    if (call.is_null(0)) {
        return call.null();
    }
    const xmlNode *node = node_or_null(find_handle(call, 0));
    if (node == nullptr) {
        return call.null();
    }
    if (const char *name = fixed_name(node->type)) {
        return text_result(BAD_CAST name, std::strlen(name));
    }
    if (node->name == nullptr) {
        report(reports::out_of_memory);
    }
    const xmlNs *record = namespace_of(node);
    return name_result(record == nullptr ? nullptr : record->prefix, node->name);
}

PKG_DBE_XML_FUNCTION(xml_dom_get_node_type) {
    if (call.is_null(0)) {
        return call.null();
    }
    const xmlNode *node = node_or_null(find_handle(call, 0));
    return node == nullptr ? call.null() : host::from_int4(static_cast<std::int32_t>(node->type));
}

PKG_DBE_XML_FUNCTION(xml_dom_get_attributes) {
    if (call.is_null(0)) {
        return call.null();
    }
    const XMLHashEntry &entry = find_handle(call, 0);
    // The kind comes first: a handle of another kind is refused even when it names nothing.
    if (entry.kind != XMLDomNodeType::node) {
        report(reports::inconsistent_types);
    }
    if (entry.object == nullptr) {
        return call.null();
    }
    xmlNodePtr first = first_beside_children(as_node(entry.object));
    return mint_handle<XMLDomNodeType::named_node_map>(entry, first);
}

PKG_DBE_XML_FUNCTION(xml_dom_get_attribute_ns) {
    if (call.is_null(0) || call.is_null(1) || call.is_null(2)) {
        return call.null();
    }
    const XMLHashEntry &entry = find_handle(call, 0);
    if (entry.object == nullptr) {
        return call.null();
    }
    if (entry.kind != XMLDomNodeType::element) {
        report(reports::unsupported_kind);
    }
    const utf8_argument name(call.value(1));
    const utf8_argument uri(call.value(2));
    return attribute_result(call, as_node(entry.object), name.xml(), uri.xml());
}

} // namespace pkg_dbe_xml
