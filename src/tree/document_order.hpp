// Where nodes stand to each other.
#pragma once

#include "tree/typed_access.hpp"

#include <cstdint>

namespace pkg_dbe_xml {

// The bits of a position, as the DOM numbers them.
namespace position {
inline constexpr std::uint32_t k_disconnected = 1;
inline constexpr std::uint32_t k_preceding = 2;
inline constexpr std::uint32_t k_following = 4;
inline constexpr std::uint32_t k_contains = 8;
inline constexpr std::uint32_t k_contained_by = 16;
inline constexpr std::uint32_t k_implementation_specific = 32;
} // namespace position

// The topmost node that a node stands below: a document, or the top of a tree that stands nowhere.
[[nodiscard]] xmlNodePtr topmost(xmlNodePtr node);

// Whether `inner` is `outer` or stands below it; attributes stand below nothing. Throws, as the
// functions beside, when the statement was asked to stop.
[[nodiscard]] bool contains(const xmlNode *outer, const xmlNode *inner);

// Where `other` stands as seen from `node`, for two nodes of one tree: the bits above, 0 for the
// same node. An element contains its attributes, which come before its children. Costs the depth of
// the two, and the shorter way between the siblings where their paths part.
[[nodiscard]] std::uint32_t compare_position(const xmlNode *node, const xmlNode *other);

} // namespace pkg_dbe_xml
