// Elements by their IDs: a table of the document, made when it is first asked and again when an ID
// may have changed since.
#pragma once

#include "registry.hpp"

#include <libxml/tree.h>

namespace pkg_dbe_xml {

// The first element, in document order, of those that stand in the document and have this ID; null
// when there is none. Throws when memory runs out and when the statement was asked to stop.
[[nodiscard]] xmlNodePtr element_with_id(family &owner, xmlDocPtr document, const xmlChar *id);

// Makes an attribute an ID, or none. xml:id stays one.
void make_id(xmlAttrPtr attribute, bool is_id) noexcept;

} // namespace pkg_dbe_xml
