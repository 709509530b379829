// Reading an element: attribute values, names, one attribute as a handle, children by tag name.

#include "functions/call_frame.hpp"
#include "libxml/xml.hpp"
#include "tree/node_text.hpp"
#include "tree/pkg_xml_dom_common.hpp"
#include "tree/poll_counter.hpp"
#include "tree/text_compare.hpp"

#include <optional>

namespace pkg_dbe_xml {

namespace {

void require_element_kind(const XMLHashEntry &entry) {
    if (entry.kind != XMLDomNodeType::element) {
        report(reports::unsupported_kind);
    }
}

// With a URI, the namespace counts too; nodes without one do not match.
bool is_called(const xmlNode *node, const xmlChar *name, const xmlChar *uri) noexcept {
    if (!same_text(node->name, name)) {
        return false;
    }
    const xmlNs *record = namespace_of(node);
    return uri == nullptr || (record != nullptr && same_text(record->href, uri));
}

// From the first element child on every sibling of whatever type is tested, so "text" collects the
// texts that follow it: programs rely on this. Nothing stands below a declaration, though libxml2
// 2.15 looks below those of entities.
bool fill_by_tagname(xmlNodePtr element, const xmlChar *name, const xmlChar *uri, xmlListPtr list) {
    poll_counter poll;
    xmlNodePtr const first =
        is_declaration(element->type) ? nullptr : xmlFirstElementChild(element);
    for (xmlNodePtr child = first; child != nullptr; child = child->next) {
        if (is_called(child, name, uri) && !xml_list_pushback(child, list)) {
            return false;
        }
        poll.step();
    }
    return true;
}

// Makes a list with `fill` and hands it out under a new handle. Reports list_not_made and
// list_not_filled.
template <class Fill> host::datum list_result(const XMLHashEntry &entry, Fill fill) {
    xml_list_ptr list;
    {
        const host::tree_scope scope;
        list.reset(xmlListCreate(nullptr, nullptr));
        if (list == nullptr) {
            report(reports::list_not_made);
        }
        if (!fill(list.get())) {
            report(reports::list_not_filled);
        }
    }
    const host::datum result = mint_handle<XMLDomNodeType::node_list>(entry, list.get());
    list.release(); // the registry's now
    return result;
}

// The children called as argument 1 says, and as argument 2 says if `with_namespace`.
host::datum children_by_tagname(host::call &call, bool with_namespace) {
    if (call.is_null(0) || call.is_null(1) || (with_namespace && call.is_null(2))) {
        return call.null();
    }
    const XMLHashEntry &entry = find_handle(call, 0);
    if (entry.object == nullptr) {
        return call.null();
    }
    require_element_kind(entry);
    const utf8_argument name(call.value(1));
    std::optional<utf8_argument> uri;
    if (with_namespace) {
        uri.emplace(call.value(2));
    }
    return list_result(entry, [&](xmlListPtr list) {
        return fill_by_tagname(as_node(entry.object), name.xml(), uri ? uri->xml() : nullptr, list);
    });
}

// The elements below the node of argument 0, likewise. Any node will do; a list or a map has
// nothing below it.
host::datum elements_by_tagname(host::call &call, bool with_namespace) {
    if (call.is_null(0) || call.is_null(1) || (with_namespace && call.is_null(2))) {
        return call.null();
    }
    const XMLHashEntry &entry = find_handle(call, 0);
    xmlNodePtr start = node_or_null(entry);
    if (start == nullptr) {
        return call.null();
    }
    const utf8_argument name(call.value(1));
    std::optional<utf8_argument> uri;
    if (with_namespace) {
        uri.emplace(call.value(2));
    }
    return list_result(entry, [&](xmlListPtr list) {
        return search_node_by_name(start, name.xml(), uri ? uri->xml() : nullptr, list);
    });
}

} // namespace

PKG_DBE_XML_FUNCTION(xml_dom_get_attribute) {
    if (call.is_null(0) || call.is_null(1)) {
        return call.null();
    }
    const XMLHashEntry &entry = find_handle(call, 0);
    require_element_kind(entry);
    if (entry.object == nullptr) {
        return call.null();
    }
    const utf8_argument name(call.value(1));
    return attribute_result(call, as_node(entry.object), name.xml(), nullptr);
}

PKG_DBE_XML_FUNCTION(xml_dom_get_tagname) {
    if (call.is_null(0)) {
        return call.null();
    }
    const XMLHashEntry &entry = find_handle(call, 0);
    require_element_kind(entry);
    const xmlNode *node = as_node(entry.object);
    if (node == nullptr || node->name == nullptr) {
        return call.null();
    }
    const xmlNs *record = namespace_of(node);
    const bool has_prefix =
        record != nullptr && record->prefix != nullptr && record->prefix[0] != '\0';
    return name_result(has_prefix ? record->prefix : nullptr, node->name);
}

PKG_DBE_XML_FUNCTION(xml_dom_get_localname) {
    if (call.is_null(0)) {
        return call.null();
    }
    const XMLHashEntry &entry = find_handle(call, 0);
    if (entry.object == nullptr) {
        return call.null();
    }
    if (entry.kind != XMLDomNodeType::element && entry.kind != XMLDomNodeType::node &&
        entry.kind != XMLDomNodeType::attribute) {
        report(reports::kind_mismatch);
    }
    const xmlChar *name = as_node(entry.object)->name;
    return name == nullptr ? call.null() : name_result(nullptr, name);
}

PKG_DBE_XML_FUNCTION(xml_dom_get_attribute_node) {
    if (call.is_null(0) || call.is_null(1)) {
        return call.null();
    }
    const XMLHashEntry &entry = find_handle(call, 0);
    if (entry.object == nullptr) {
        report(reports::node_gone);
    }
    if (entry.kind == XMLDomNodeType::node_list) {
        report(reports::inconsistent_types);
    }
    const utf8_argument name(call.value(1));
    xmlNodePtr node = as_node(entry.object);
    // A text passes and then has no attributes.
    if (node->type != XML_ELEMENT_NODE && node->type != XML_TEXT_NODE) {
        report(reports::not_for_get_attribute_node);
    }
    std::optional<utf8_argument> uri;
    if (!call.is_null(2)) {
        uri.emplace(call.value(2));
    }
    xmlNodePtr found = look_up_attribute(node, name.xml(), uri ? uri->xml() : nullptr);
    // The serial is the session's, not that of the element's handle.
    return found == nullptr
               ? call.null()
               : mint_handle(entry, xml_current_serial(), found, XMLDomNodeType::attribute);
}

PKG_DBE_XML_FUNCTION(xml_dom_get_children_by_tagname) { return children_by_tagname(call, false); }

PKG_DBE_XML_FUNCTION(xml_dom_get_children_by_tagname_ns) { return children_by_tagname(call, true); }

// Documents and elements are searched alike.
PKG_DBE_XML_FUNCTION(xml_dom_get_elements_by_tagname_document) {
    return elements_by_tagname(call, false);
}

PKG_DBE_XML_FUNCTION(xml_dom_get_elements_by_tagname_element) {
    return elements_by_tagname(call, false);
}

PKG_DBE_XML_FUNCTION(xml_dom_get_elements_by_tagname_ns) { return elements_by_tagname(call, true); }

} // namespace pkg_dbe_xml
