// Whether two trees are alike.
#pragma once

#include "tree/typed_access.hpp"

namespace pkg_dbe_xml {

// Whether two nodes are of one type and one name, prefix and namespace included, hold the same
// data, have the same attributes in whatever order, and equal children in the same order. Where
// they stand and which namespaces they declare without using them does not count. Linear; throws
// when the statement was asked to stop, reports out_of_memory.
[[nodiscard]] bool is_equal_node(xmlNodePtr left, xmlNodePtr right);

} // namespace pkg_dbe_xml
