// Walking the tree: from a node to its parent, its first and last child, its next sibling, and to
// the list of its children. Every step hands out a new handle.

#include "functions/call_frame.hpp"
#include "libxml/xml.hpp"
#include "tree/pkg_xml_dom_common.hpp"
#include "tree/poll_counter.hpp"

namespace pkg_dbe_xml {

namespace {

using tree_step = xmlNodePtr (*)(const xmlNode *node);

// A handle for the node that `step` leads to from the node of argument 0; null when the argument
// is null, names nothing, or there is nothing there.
template <tree_step step> host::datum take_step(host::call &call) {
    if (call.is_null(0)) {
        return call.null();
    }
    const XMLHashEntry &entry = find_handle(call, 0);
    const xmlNode *node = node_or_null(entry);
    xmlNodePtr reached = node == nullptr ? nullptr : step(node);
    return reached == nullptr ? call.null() : mint_handle<XMLDomNodeType::node>(entry, reached);
}

// Attributes have no parent and no siblings here, though libxml2 links them.
xmlNodePtr parent_node(const xmlNode *node) { return is_attribute(node) ? nullptr : node->parent; }

xmlNodePtr next_sibling(const xmlNode *node) { return is_attribute(node) ? nullptr : node->next; }

// Of a document the first element: what stands before the root is passed over. The last child
// makes no such difference.
xmlNodePtr first_child_node(const xmlNode *node) {
    return is_document(node) ? xmlFirstElementChild(const_cast<xmlNodePtr>(node))
                             : first_child(node);
}

xmlNodePtr last_child_node(const xmlNode *node) { return last_child(node); }

[[nodiscard]] bool is_blank_text(const xmlNode *node) noexcept {
    return node->type == XML_TEXT_NODE && xmlIsBlankNode(node) != 0;
}

// A blank text between other children is no member; one that stands alone is. A CDATA section is
// one however blank.
bool fill_with_children(xmlNodePtr first, xmlListPtr list) {
    if (first->next == nullptr) {
        return xml_list_pushback(first, list);
    }
    poll_counter poll;
    for (xmlNodePtr child = first; child != nullptr; child = child->next) {
        if (!is_blank_text(child) && !xml_list_pushback(child, list)) {
            return false;
        }
        poll.step();
    }
    return true;
}

// The list of a node's children. Reports out_of_memory.
xml_list_ptr list_of_children(const xmlNode *node) {
    const host::tree_scope scope;
    xml_list_ptr list(xmlListCreate(nullptr, nullptr));
    xmlNodePtr first = first_child(node);
    if (list == nullptr || (first != nullptr && !fill_with_children(first, list.get()))) {
        report(reports::out_of_memory);
    }
    return list;
}

} // namespace

PKG_DBE_XML_FUNCTION(xml_dom_get_parent_node) { return take_step<parent_node>(call); }

PKG_DBE_XML_FUNCTION(xml_dom_get_first_child) { return take_step<first_child_node>(call); }

PKG_DBE_XML_FUNCTION(xml_dom_get_last_child) { return take_step<last_child_node>(call); }

PKG_DBE_XML_FUNCTION(xml_dom_get_next_sibling) { return take_step<next_sibling>(call); }

PKG_DBE_XML_FUNCTION(xml_dom_get_child_nodes) {
    if (call.is_null(0)) {
        return call.null();
    }
    const XMLHashEntry &entry = find_handle(call, 0);
    const xmlNode *node = node_or_null(entry);
    if (node == nullptr) {
        return call.null();
    }
    xml_list_ptr list = list_of_children(node);
    const host::datum result = mint_handle<XMLDomNodeType::node_list>(entry, list.get());
    list.release(); // the registry's now
    return result;
}

} // namespace pkg_dbe_xml
