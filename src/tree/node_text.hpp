// The text of a node, as its value is read: without a copy wherever the node keeps it in one piece.
#pragma once

#include "growing_array.hpp"
#include "host/call.hpp"
#include "tree/typed_access.hpp"

#include <cstddef>

namespace pkg_dbe_xml {

// Text in UTF-8; a zero byte follows the last one.
struct text_piece {
    const xmlChar *bytes; // null: there is none
    std::size_t size;
};
// Where a text is put together when it lies in pieces.
using text_room = growing_array<xmlChar, 256>;

// The value of a node:
//   text, CDATA, comment, processing instruction   its own content
//   attribute                                      the texts below it, one after the other; never
//                                                  none
//   declaration of an attribute                    its default value
//   entity reference                               the texts of the entity
//   any other node                                 none
// An entity that stands below itself is read once; reports out_of_memory for entities that unfold
// to more than k_largest_unfolding. The result is good as long as `node` is unchanged and `room`
// lives.
[[nodiscard]] text_piece node_text(const xmlNode *node, text_room &room);

// "prefix:name" as a text result, the name alone when the prefix is null. Throws like text_result.
[[nodiscard]] host::datum name_result(const xmlChar *prefix, const xmlChar *name);

// The attribute of a node that has the name, as libxml2 finds it: with a null URI in whichever
// namespace it stands, else in that one; one that the document type declares with a default counts
// (its declaration is returned). Null when there is none, and for nodes that are no elements.
// Reports out_of_memory.
[[nodiscard]] xmlNodePtr look_up_attribute(xmlNodePtr node, const xmlChar *name,
                                           const xmlChar *uri);
// The value of that attribute as a text result, null when there is no such attribute. An empty
// value is an empty text. Reports out_of_memory.
[[nodiscard]] host::datum attribute_result(host::call &call, xmlNodePtr node, const xmlChar *name,
                                           const xmlChar *uri);

// Nodes visited plus bytes of text when entities are unfolded, and how deep they nest.
inline constexpr std::size_t k_largest_unfolding = 64 * 1024 * 1024;
inline constexpr std::size_t k_deepest_unfolding = 40;

} // namespace pkg_dbe_xml
