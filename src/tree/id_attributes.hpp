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
// Set by whoever has looked up what he keeps. While it is not set nothing that is kept is still
// good, so that changes need not be looked at: most sessions never ask for an ID.
extern constinit PKG_DBE_XML_SESSION_STORAGE bool ids_are_kept;

inline void forget_ids() noexcept {
    ++id_changes;
    ids_are_kept = false;
}

// Whether there is an ID in a tree. Looks through small trees, and takes it that large ones hold
// IDs.
[[nodiscard]] bool may_hold_id(const xmlNode *top) noexcept;

// To be called when a tree is about to leave its place, or has got one.
inline void note_tree_change(const xmlNode *top) noexcept {
    if (ids_are_kept && may_hold_id(top)) [[unlikely]] {
        forget_ids();
    }
}
// To be called when an attribute, its value, or what makes it an ID changes.
inline void note_attribute_change(const xmlAttr *attribute) noexcept {
    if (ids_are_kept && is_id_attribute(attribute)) [[unlikely]] {
        forget_ids();
    }
}
// Takes an attribute whose value or place is about to change out of the parser's own table of IDs,
// which would go on naming it; the attribute stays an ID.
void forget_parsed_id(xmlAttrPtr attribute) noexcept;

} // namespace pkg_dbe_xml
