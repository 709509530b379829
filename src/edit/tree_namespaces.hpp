// Namespace records that no element declares.
#pragma once

#include <libxml/tree.h>

namespace pkg_dbe_xml {

// The document's record for the namespace of the prefix "xml". Reports out_of_memory.
[[nodiscard]] xmlNsPtr xml_namespace(xmlDocPtr document);
// The one record that a document keeps for a URI and a prefix (which may be null) that no element
// declares; it lives as long as the document. Reports out_of_memory.
[[nodiscard]] xmlNsPtr shared_namespace(xmlDocPtr document, const xmlChar *uri,
                                        const xmlChar *prefix);
// Adds one that the document does not keep yet. Reports out_of_memory.
[[nodiscard]] xmlNsPtr add_shared_namespace(xmlDocPtr document, const xmlChar *uri,
                                            const xmlChar *prefix);

} // namespace pkg_dbe_xml
