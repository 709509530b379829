// Cutting a record loose from the tree of its stream.
#pragma once

#include <libxml/parser.h>
#include <libxml/tree.h>

namespace pkg_dbe_xml {

// Marks the namespaces that an element declares as such that records have to declare themselves.
void mark_as_outer(const xmlNode *anchor) noexcept;

// Makes the record below `top`, which was built in `context`, a document of its own: it declares
// what it uses of namespaces that were marked, and shares the dictionary. The caller owns it. Null
// when memory was refused; then the record is gone, or still where it was.
[[nodiscard]] xmlDocPtr cut_record(xmlParserCtxt &context, xmlNodePtr top) noexcept;

} // namespace pkg_dbe_xml
