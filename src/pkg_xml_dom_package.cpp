// What the package layer needs beyond the functions themselves.

#include "call_frame.hpp"

namespace pkg_dbe_xml {

// The map of a node's attributes, whatever the kind of its handle. Reports handle_not_found, and
// inconsistent_types for a list or a map.
PKG_DBE_XML_FUNCTION(xml_dom_get_attributes_of_node) {
    if (call.is_null(0)) {
        return call.null();
    }
    const XMLHashEntry &entry = find_handle(call, 0);
    const xmlNode *node = node_or_null(entry);
    if (node == nullptr) {
        return call.null();
    }
    return mint_handle(entry, first_beside_children(node), XMLDomNodeType::named_node_map);
}

} // namespace pkg_dbe_xml
