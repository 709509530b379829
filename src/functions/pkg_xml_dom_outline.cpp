// A picture of a tree for people.
#include "functions/call_frame.hpp"
#include "tree/outline.hpp"
#include "write/serialization.hpp"

namespace pkg_dbe_xml {

// The picture of a node and all below it; null for a null argument and a handle that names
// nothing. Reports handle_not_found, inconsistent_types for a list or a map, over_one_gigabyte.
PKG_DBE_XML_FUNCTION(xml_dom_outline) {
    if (call.is_null(0)) {
        return call.null();
    }
    const xmlNode *node = node_or_null(find_handle(call, 0));
    if (node == nullptr) {
        return call.null();
    }
    text_output output(longest_value());
    append_outline(node, output);
    if (output.overflowed()) {
        report(reports::over_one_gigabyte);
    }
    return inline_result(output);
}

} // namespace pkg_dbe_xml
