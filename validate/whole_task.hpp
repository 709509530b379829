// The validation of one tree as a whole, under way.
#pragma once

#include "bare_copy.hpp"
#include "compiled_schema.hpp"
#include "complaints.hpp"
#include "library_services.hpp"

namespace pkg_dbe_xml::validation {

struct whole_task {
    const xmlNode *root;
    xmlDocPtr document; // null for an element
    const compiled_schema *schema;
    complaint_list *complaints;
    tree_size size;
    unrefused_work work{};
    bool finished = false;
    bool unexplained = false; // not valid, and libxml2 does not say why
};

// By a document type definition. Neither the tree nor its document is written into. In
// `unrefused_work` only.
void check_by_definition(whole_task &task) noexcept;

} // namespace pkg_dbe_xml::validation
