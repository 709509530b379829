// Walking through a tree in document order, without recursion.
#pragma once

#include <libxml/tree.h>

namespace pkg_dbe_xml::validation {

// The node behind `node` and all below it, within the tree below `top`; null at its end.
[[nodiscard]] inline const xmlNode *next_behind(const xmlNode *node, const xmlNode *top) noexcept {
    while (node != top && node->next == nullptr) {
        node = node->parent;
    }
    return node == top ? nullptr : node->next;
}

// The next node in document order. What references to entities stand for is not entered.
[[nodiscard]] inline const xmlNode *next_in_order(const xmlNode *node,
                                                  const xmlNode *top) noexcept {
    return node->type == XML_ELEMENT_NODE && node->children != nullptr ? node->children
                                                                       : next_behind(node, top);
}

} // namespace pkg_dbe_xml::validation
