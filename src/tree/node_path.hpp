// A path by which a node is found again, and the line that it was read from.
#pragma once

#include "text/text_output.hpp"
#include "tree/typed_access.hpp"

#include <cstdint>

namespace pkg_dbe_xml {

// Whether a path query can lead to a node: document types and what stands in them, and entity
// references, are no nodes to it.
[[nodiscard]] bool has_path(const xmlNode *node) noexcept;

// Appends a path, in XPath 1.0, that leads to the node from wherever in its tree, and to no other:
// "/" is the topmost node, "/order/item[2]/@id" an attribute. It needs no prefixes: an element in a
// namespace is counted among all elements beside it, "*[3]". Costs the depth of the node and what
// stands before it on each level. Throws when the statement was asked to stop.
void append_path(const xmlNode *node, text_output &output);

// The line on which a node began when it was parsed, of an attribute that of its element; 0 when
// that is not known: for nodes that were made, for CDATA sections, and from line 65,535 on.
[[nodiscard]] std::int32_t line_of(const xmlNode *node) noexcept;

} // namespace pkg_dbe_xml
