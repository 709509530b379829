// Attributes that are IDs: declared so by the document type, called xml:id, or made so by a
// program.
#pragma once

#include "host/session.hpp"

#include <libxml/tree.h>

#include <cstdint>

namespace pkg_dbe_xml {

// Whether an attribute is an ID. One that a program made none is none, whatever its declaration
// says; xml:id always is one.
[[nodiscard]] bool is_id_attribute(const xmlAttr *attribute) noexcept;

// Grows whenever an element may have come to be found under another ID, or under none: what was
// looked up before a change of it is to be looked up again. Of this session.
extern constinit PKG_DBE_XML_SESSION_STORAGE std::uint64_t id_changes;

// To be called when an attribute, its value, or what makes it an ID changes.
void note_attribute_change(const xmlAttr *attribute) noexcept;
// To be called when a tree is about to leave its place, or has got one. Looks through small trees,
// and takes it that large ones hold IDs.
void note_tree_change(const xmlNode *top) noexcept;
// Takes an attribute whose value or place is about to change out of the parser's own table of IDs,
// which would go on naming it; the attribute stays an ID.
void forget_parsed_id(xmlAttrPtr attribute) noexcept;

} // namespace pkg_dbe_xml
