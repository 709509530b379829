// Validating a tree by a compiled schema.
#pragma once

#include "bare_copy.hpp"
#include "compiled_schema.hpp"
#include "complaints.hpp"

namespace pkg_dbe_xml::validation {

// The complaints about a document or an element, with all below it. `is_own` says that the tree is
// of this call alone, and may be written into. The nodes that complaints name stand in that tree,
// or in `copy`, if there is one. Throws when the statement was asked to stop. Reports
// entity_in_tree, value_too_long_to_validate, too_deep_to_validate, validation_over_budget,
// validation_failed, out_of_memory and session_memory_full.
struct outcome {
    complaint_list complaints;
    xmlDocPtr copy = nullptr; // one of the two below
    bare_copy bare;
    xmlDocPtr whole = nullptr;
    outcome() = default;
    ~outcome();
    outcome(const outcome &) = delete;
    outcome &operator=(const outcome &) = delete;
};
void validate_tree(const xmlNode *tree, bool is_own, const compiled_schema &schema,
                   outcome &result);

// Tells libxml2 of the tree piece by piece. True when identifiers may be the same, so that this was
// not all. Used by validate_tree.
[[nodiscard]] bool validate_by_pieces(const xmlNode *root, const compiled_schema &schema,
                                      complaint_list &complaints);

} // namespace pkg_dbe_xml::validation
