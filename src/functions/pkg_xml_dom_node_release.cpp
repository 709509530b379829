// Giving up handles of nodes, elements and lists.
//
// A handle that was given up stays registered and names nothing. The node stays where it is; one
// that stands in no tree and is named by no other handle goes out of use.

#include "functions/call_frame.hpp"
#include "registry/dom_map.hpp"

namespace pkg_dbe_xml {

namespace {

void release_list(XMLHashEntry &entry) {
    if (entry.object == nullptr) {
        report(reports::node_gone);
    }
    if (entry.kind != XMLDomNodeType::node_list) {
        report(reports::inconsistent_types);
    }
    release_entry(entry);
}

// Whether a node stands at the top of a tree of its own that goes when nobody names it.
[[nodiscard]] bool is_detached(const xmlNode *node) noexcept {
    return node != nullptr && node->parent == nullptr && !is_document(node) &&
           !is_declaration(node->type);
}

// Apart from release_node, which is short without it: most nodes stand in a tree.
[[gnu::noinline]] void release_detached(XMLHashEntry &entry, xmlNodePtr node) {
    family &owner = family_of(entry);
    reserve_parking(owner, 1);
    release_entry(entry);
    if (first_name(node) == nullptr) {
        retire(owner, node);
    }
}

inline void release_node(XMLHashEntry &entry) {
    if (xmlNodePtr const node = as_node(entry.object); is_detached(node)) [[unlikely]] {
        release_detached(entry, node);
    } else {
        // A document may be gone after this, and all its nodes with it.
        release_entry(entry);
    }
}

host::datum release_handle(const host::call &call) {
    XMLHashEntry &entry = find_handle(call, 0);
    if (entry.kind == XMLDomNodeType::node_list) {
        release_list(entry);
    } else {
        release_node(entry);
    }
    return 0;
}

} // namespace

PKG_DBE_XML_FUNCTION(xml_dom_free_node) { return release_handle(call); }

PKG_DBE_XML_RETURNING(xml_dom_free_node, call.null())

PKG_DBE_XML_FUNCTION(xml_dom_free_element) { return release_handle(call); }

PKG_DBE_XML_FUNCTION(xml_dom_free_nodelist) {
    release_list(find_handle(call, 0));
    return 0;
}

PKG_DBE_XML_RETURNING(xml_dom_free_nodelist, call.null())

} // namespace pkg_dbe_xml
