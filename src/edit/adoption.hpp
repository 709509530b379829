// What passes from one document to another, and what stays behind.
#pragma once

#include "xml_owner.hpp"

#include <libxml/tree.h>

namespace pkg_dbe_xml {

// The name of the first entity that a tree refers to and a document does not declare; null when
// there is none. Throws when the statement was asked to stop.
[[nodiscard]] const xmlChar *missing_entity(xmlDocPtr document, const xmlNode *top);

// A document without nodes that says of itself what another one does. Reports out_of_memory.
[[nodiscard]] xml_doc_ptr copy_empty_document(xmlDocPtr source);

} // namespace pkg_dbe_xml
