// Giving up handles of nodes, elements and lists.
//
// A handle that was given up stays registered and names nothing. The node stays where it is; one
// that stands in no tree and is named by no other handle goes out of use.

#include "functions/call_frame.hpp"

namespace pkg_dbe_xml {

namespace {

void release_list(XMLHashEntry &entry) {
    if (entry.object == nullptr) {
        report(reports::node_gone);
    }
    if (entry.kind != XMLDomNodeType::node_list) {
        report(reports::inconsistent_types);
    }
    release_handle(entry);
}

host::datum release_argument(const host::call &call) {
    XMLHashEntry &entry = find_handle(call, 0);
    if (entry.kind == XMLDomNodeType::node_list) {
        release_list(entry);
    } else {
        // A document may be gone after this, and all its nodes with it.
        release_handle(entry);
    }
    return 0;
}

} // namespace

PKG_DBE_XML_FUNCTION(xml_dom_free_node) { return release_argument(call); }

PKG_DBE_XML_RETURNING(xml_dom_free_node, call.null())

PKG_DBE_XML_FUNCTION(xml_dom_free_element) { return release_argument(call); }

PKG_DBE_XML_FUNCTION(xml_dom_free_nodelist) {
    release_list(find_handle(call, 0));
    return 0;
}

PKG_DBE_XML_RETURNING(xml_dom_free_nodelist, call.null())

} // namespace pkg_dbe_xml
