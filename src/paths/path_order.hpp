// Inside the room: which of two nodes comes first in their tree.
#pragma once

#include "paths/path_nodes.hpp"

#include <cstddef>

namespace pkg_dbe_xml::paths {

enum class relation { before, same, after, unknown };

// How `left` stands to `right`, two nodes of one tree. Every step from node to node takes one of
// `budget`; `unknown` when that is used up.
[[nodiscard]] relation compare_order(const xmlNode *left, const xmlNode *right,
                                     std::size_t &budget) noexcept;

} // namespace pkg_dbe_xml::paths
