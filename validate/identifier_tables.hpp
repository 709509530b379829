// libxml2's tables of identifiers and of references to them, of a document.
#pragma once

#include <libxml/tree.h>

#include <cstddef>

namespace pkg_dbe_xml::validation {

// Makes those that are not there, wide enough for so many attributes. In `unrefused_work` only.
void make_tables(xmlDocPtr document, std::size_t attributes) noexcept;
// Frees them, and their hold on attributes, which must still be there.
void drop_tables(xmlDocPtr document) noexcept;

} // namespace pkg_dbe_xml::validation
