// What never changes.
#pragma once

#include <libxml/tree.h>

namespace pkg_dbe_xml {

// True for a declaration of the document type and for all that stands below one: none of it is
// ever changed. Costs the depth of the node in documents that declare entities, else nothing.
// Throws when the statement was asked to stop.
[[nodiscard]] bool is_immutable(const xmlNode *node);

} // namespace pkg_dbe_xml
