// Moving nodes within a tree and into it.
//
// The functions marked "never throws" are the last steps of a change. Whatever can fail (text,
// nodes, room for parking, the handle of the result) is made before them.
#pragma once

#include <libxml/tree.h>

namespace pkg_dbe_xml {

// Whether `child` may stand below `parent`: types that can hold it, nothing immutable, no node
// below itself. Costs the depth of `parent`; throws when the statement is asked to stop meanwhile.
[[nodiscard]] bool may_append(const xmlNode *parent, const xmlNode *child);
// The text node that takes up the text of `child` once the child has left its old place, null when
// the child will stand on its own.
[[nodiscard]] xmlNodePtr merge_target(xmlNodePtr parent, const xmlNode *child) noexcept;
// The attribute of `parent` that an attribute will replace; null for every other node.
[[nodiscard]] xmlAttrPtr replaced_attribute(const xmlNode *parent, const xmlNode *child) noexcept;
// Lets a tree that stands nowhere belong to another document of its family, whose documents share a
// dictionary, so that names and texts can stay as they are. Never throws.
void set_document_of_tree(xmlNodePtr top, xmlDocPtr document) noexcept;
// Takes a node out of its tree. Never throws.
void detach(xmlNodePtr node) noexcept;
// Makes a node that stands nowhere the last child of `parent`. Never throws.
void link_last(xmlNodePtr parent, xmlNodePtr child) noexcept;
// Moves a node behind the last child, or the last attribute, of `parent`. Never throws.
void move_below(xmlNodePtr parent, xmlNodePtr child) noexcept;

} // namespace pkg_dbe_xml
