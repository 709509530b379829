// Which namespace a prefix stands for at a node, and which prefix a namespace has there.
#pragma once

#include "tree/typed_access.hpp"

namespace pkg_dbe_xml {

// The namespace that a prefix (null: the default namespace) is bound to at a node; null for none.
// "xml" and "xmlns" stand for their own everywhere but where there are no names at all: in document
// types, and in documents without a root. Throws, as the function below, when the statement was
// asked to stop.
[[nodiscard]] const xmlChar *namespace_of_prefix(const xmlNode *node, const xmlChar *prefix);
// A prefix that is bound to a namespace at a node, the nearest one that no nearer declaration
// hides; null when there is none.
[[nodiscard]] const xmlChar *prefix_of_namespace(const xmlNode *node, const xmlChar *uri);

} // namespace pkg_dbe_xml
