// Copies of nodes and documents.
#pragma once

#include "xml_owner.hpp"

namespace pkg_dbe_xml {

// A copy of `source` for `target`, of any depth, standing nowhere: the node with its attributes and
// namespace declarations, and when `deep` with all below it. Names come from the target's
// dictionary. Namespaces declared outside of the copied tree are declared on top of the copy.
// `source` is of a type from 1 to 12 and no document. Reports out_of_memory.
[[nodiscard]] xml_node_ptr copy_node(xmlDocPtr target, xmlNodePtr source, bool deep);
// A copy of a whole document, document type included, that shares the dictionary of `target`.
// Reports out_of_memory.
[[nodiscard]] xml_doc_ptr copy_document(xmlDocPtr target, xmlDocPtr source);

struct copied_tree {
    xml_node_ptr top;
    const xmlChar *missing_entity; // the first one referred to that the target does not declare
};
// As copy_node copies, but where a name of the copy is not bound to its namespace by what the
// copied tree declares itself, it is declared as namespace_plan does it, and what is in no
// namespace stays so. The copy of a fragment is a fragment. Throws when the statement was asked to
// stop.
[[nodiscard]] copied_tree copy_tree(xmlDocPtr target, xmlNodePtr source, bool deep);
// A copy of a whole document for a family of its own, as copy_tree copies.
[[nodiscard]] xml_doc_ptr copy_whole_document(xmlDocPtr source);

} // namespace pkg_dbe_xml
