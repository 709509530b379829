// Setting an attribute by name, and viewing a node as an attribute.

#include "edit/tree_attributes.hpp"
#include "functions/call_frame.hpp"
#include "libxml/xml.hpp"
#include "text/text_argument.hpp"
#include "tree/immutable_nodes.hpp"

namespace pkg_dbe_xml {

namespace {

// The attribute that a qualified name means on an element: with a prefix that is declared there,
// the local name in that namespace, else the whole name in none.
struct attribute_name {
    xmlNsPtr space;
    const xmlChar *name;
};

attribute_name resolve_name(xmlNodePtr element, const xmlChar *qualified) {
    const host::tree_scope scope;
    int prefix_length = 0;
    const xmlChar *const local = xmlSplitQName3(qualified, &prefix_length);
    if (local == nullptr) {
        return {nullptr, qualified};
    }
    const xml_text_ptr prefix(xmlStrndup(qualified, prefix_length));
    xmlNsPtr const space =
        prefix == nullptr ? nullptr : xmlSearchNs(element->doc, element, prefix.get());
    if (scope.refused()) {
        report(reports::out_of_memory);
    }
    return space == nullptr ? attribute_name{nullptr, qualified} : attribute_name{space, local};
}

// What the message calls a node that is no attribute.
const char *type_name(xmlElementType type) noexcept {
    switch (type) {
    case XML_DOCUMENT_NODE:
        return "document";
    case XML_ELEMENT_NODE:
        return "element";
    case XML_TEXT_NODE:
        return "textnode";
    default:
        return "";
    }
}

} // namespace

PKG_DBE_XML_FUNCTION(xml_dom_set_attribute) {
    if (call.is_null(0) || call.is_null(1)) {
        return call.null();
    }
    const XMLHashEntry entry = find_handle(call, 0);
    if (entry.object == nullptr) {
        return call.null();
    }
    if (entry.kind != XMLDomNodeType::element) {
        report(reports::unsupported_kind);
    }
    const optional_text value(call, 2);
    const utf8_argument name(call.value(1));
    xmlNodePtr const element = as_node(entry.object);
    if (element->type == XML_ELEMENT_NODE && !is_immutable(element)) {
        const attribute_name resolved = resolve_name(element, name.xml());
        set_attribute_of(family_of(entry), element, resolved.space, resolved.name, value.bytes());
    }
    return call.null();
}

PKG_DBE_XML_FUNCTION(xml_dom_make_attr) {
    if (call.is_null(0)) {
        return call.null();
    }
    const XMLHashEntry entry = find_handle(call, 0);
    xmlNodePtr const node = node_or_null(entry);
    if (node == nullptr) {
        report(reports::node_gone);
    }
    if (!is_attribute(node)) {
        report(reports::cannot_convert, {type_name(node->type)});
    }
    return mint_handle<XMLDomNodeType::attribute>(entry, node);
}

} // namespace pkg_dbe_xml
