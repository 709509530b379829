// Counting the nodes of a tree, and searching elements by name.
#pragma once

#include <libxml/list.h>
#include <libxml/tree.h>

namespace pkg_dbe_xml {

// Nodes in the chain of siblings from `node` on and everything below, attributes included; null
// counts 0. Declarations of the document type are counted, nothing below an entity reference is.
[[nodiscard]] int count_nodes(const xmlNode *node);
struct node_counts {
    int elements;
    int attributes;
    int texts;
};
// Adds elements, attributes and texts of the same range.
void count_nodes_separate_type(const xmlNode *node, node_counts &counts);

// Appends the elements below `start` (which itself is not tested) that have the name, and the
// namespace URI unless it is null, to the list, in document order. A name or URI that begins with
// "*" matches all. False when an append failed.
[[nodiscard]] bool search_node_by_name(xmlNodePtr start, const xmlChar *name,
                                       const xmlChar *namespace_uri, xmlListPtr list);
[[nodiscard]] bool xml_node_pushback(xmlNodePtr node, const xmlChar *name,
                                     const xmlChar *namespace_uri, xmlListPtr list);
// The element after `node` in document order below `top` that has the name ("*": any), null when
// there is none. Throws when the statement was asked to stop.
[[nodiscard]] xmlNodePtr next_element_by_name(xmlNodePtr node, const xmlNode *top,
                                              const xmlChar *name);
// Appends a node; false when that failed.
[[nodiscard]] bool xml_list_pushback(xmlNodePtr node, xmlListPtr list);

} // namespace pkg_dbe_xml
