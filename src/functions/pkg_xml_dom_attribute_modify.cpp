// Setting an attribute in a namespace, putting an attribute node on an element, taking one off.

#include "edit/tree_append.hpp"
#include "edit/tree_attributes.hpp"
#include "edit/tree_copy.hpp"
#include "edit/tree_namespaces.hpp"
#include "functions/call_frame.hpp"
#include "text/text_argument.hpp"
#include "tree/immutable_nodes.hpp"

namespace pkg_dbe_xml {

namespace {

// An attribute node and an element, as two of the functions take them. Both objects are nodes.
struct attribute_and_element {
    xmlNodePtr attribute;
    xmlNodePtr element;
};

// The two nodes; null attribute when one of the handles names nothing.
attribute_and_element nodes_of(const XMLHashEntry &element, const XMLHashEntry &attribute) {
    if (element.object == nullptr || attribute.object == nullptr) {
        return {nullptr, nullptr};
    }
    xmlNodePtr const attribute_node = node_or_null(attribute);
    return {attribute_node, node_or_null(element)};
}

// Whether both handles belong together and may be changed.
[[nodiscard]] bool is_changeable_attribute(const XMLHashEntry &element,
                                           const XMLHashEntry &attribute) {
    xmlNodePtr const node = as_node(attribute.object);
    return is_attribute(node) && !is_immutable(node) &&
           find_family(attribute) == find_family(element);
}

} // namespace

// The attribute gets a namespace without a prefix, and no declaration is added: it is written
// under its name alone.
PKG_DBE_XML_FUNCTION(xml_dom_set_attribute_ns) {
    if (call.is_null(0) || call.is_null(1) || call.is_null(3)) {
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
    const utf8_argument uri(call.value(3));
    xmlNodePtr const element = as_node(entry.object);
    if (element->type == XML_ELEMENT_NODE && !is_immutable(element)) {
        xmlNsPtr const space = shared_namespace(element->doc, uri.xml(), nullptr);
        set_attribute_of(family_of(entry), element, space, name.xml(), value.bytes());
    }
    return call.null();
}

// Puts the attribute where the element has one of its name and no namespace, taking it from
// wherever it stands. The result is the attribute's own handle. The second argument is looked at
// before the first, but its size only when it is looked up. Handles of a replaced attribute go on
// naming it, outside the tree.
PKG_DBE_XML_FUNCTION(xml_dom_set_attribute_node) {
    if (call.is_null(1)) {
        report(reports::null_handle);
    }
    if (call.is_null(0)) {
        return call.null();
    }
    const XMLHashEntry element = find_handle(call, 0);
    if (element.object == nullptr) {
        return call.null();
    }
    const XMLHashEntry attribute = find_handle(call, 1);
    const attribute_and_element nodes = nodes_of(element, attribute);
    if (nodes.attribute == nullptr || is_immutable(nodes.element) ||
        !has_plain_attribute(nodes.element, nodes.attribute->name)) {
        return call.null();
    }
    if (!is_changeable_attribute(element, attribute)) {
        report(reports::not_allowed);
    }
    const host::datum result = get_datum_by_dom_key(attribute.key);
    if (nodes.attribute->parent != nodes.element) {
        family &owner = family_of(element);
        if (xmlAttrPtr const replaced = replaced_attribute(nodes.element, nodes.attribute)) {
            retire(owner, as_node(replaced));
        }
        move_below(nodes.element, nodes.attribute);
    }
    return result;
}

// Takes the attribute off whichever element holds it, provided that `element` has one of its name
// and no namespace. Its handle goes on naming it; the result names a copy that stands nowhere.
PKG_DBE_XML_FUNCTION(xml_dom_remove_attribute_node) {
    if (call.is_null(1)) {
        report(reports::null_handle);
    }
    DomKey attribute_room;
    const DomKey &attribute_key = key_argument(call, 1, attribute_room);
    if (call.is_null(0)) {
        return call.null();
    }
    DomKey element_room;
    const DomKey &element_key = key_argument(call, 0, element_room);
    const XMLHashEntry attribute = *xml_get_hashentry(XMLEntryType::dom_map, attribute_key);
    if (attribute.object == nullptr) {
        return call.null();
    }
    const XMLHashEntry element = *xml_get_hashentry(XMLEntryType::dom_map, element_key);
    const attribute_and_element nodes = nodes_of(element, attribute);
    if (nodes.attribute == nullptr || !is_changeable_attribute(element, attribute) ||
        is_immutable(nodes.element) || !has_plain_attribute(nodes.element, nodes.attribute->name)) {
        return call.null();
    }
    xml_node_ptr copy = copy_node(nodes.element->doc, nodes.attribute, false);
    const host::datum result = mint_handle<XMLDomNodeType::attribute>(attribute, copy.get());
    copy.release();
    detach(nodes.attribute);
    return result;
}

} // namespace pkg_dbe_xml
