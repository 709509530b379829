// Who uses the namespaces that an element declares: only what stands in it, or others too.
#pragma once

#include <libxml/tree.h>

namespace pkg_dbe_xml {

// Marks a record that an element declares and that nothing but the element and what stands in it
// uses. It stays so until something leaves the element. Records that a parse made are not marked:
// declarations of entities may use them.
void mark_used_inside(xmlNsPtr record) noexcept;
// The same for a declaration that somebody asked for; it is never taken for one made for a name.
void mark_asked_for(xmlNsPtr record) noexcept;
// Whether a declaration was made because a name needed it, and is used inside its element only.
[[nodiscard]] bool is_made_for_name(const xmlNs *record) noexcept;
// What stands in a tree is about to leave its parent: from now on it may use, from outside, what
// the elements above it declare. Costs the depth of the node; nothing when it has no parent,
// or is a text, which uses no namespace.
void mark_used_outside(const xmlNode *leaving) noexcept;
// True when nodes that do not stand in the element may use a namespace record that it declares.
[[nodiscard]] bool declares_for_others(const xmlNode *element) noexcept;

} // namespace pkg_dbe_xml
