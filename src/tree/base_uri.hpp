// The URI against which relative references of a node are resolved.
#pragma once

#include "tree/typed_access.hpp"
#include "xml_owner.hpp"

namespace pkg_dbe_xml {

// What the attributes xml:base of a node and of the elements above it say, resolved against each
// other and, last, against the URI of the document; null when none of them says anything. Reports
// out_of_memory; throws when the statement was asked to stop.
[[nodiscard]] xml_text_ptr base_uri(const xmlNode *node);

} // namespace pkg_dbe_xml
