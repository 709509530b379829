// Nodes that cannot be written: why not, and the report that says so. What is checked here is what
// would not be read again as it stands.
#pragma once

#include "error_reports.hpp"
#include "write/name_checks.hpp"

#include <libxml/tree.h>

#include <string_view>

namespace pkg_dbe_xml {

// Ends the statement: `node` cannot be written. CONTEXT leads to it. Reports unwritable_node, or
// the row that is given, whose message takes the words for the node and the reason.
[[noreturn]] void refuse_to_write(const xmlNode *node, std::string_view reason,
                                  const report_row &row = reports::unwritable_node);

// What an entity reference stands for. Refuses the reference when nothing declares it, and when it
// is one to a file that is no text.
[[nodiscard]] const xmlEntity *entity_to_write(const xmlNode *reference);
// Whether the content of an entity is its text as it stands, without markup or references.
[[nodiscard]] bool is_text_only(const xmlEntity *entity) noexcept;

// Each of these gives the reason why something cannot be written, null when it can be.

// The name of an element or attribute, where `scope` is what prefixes mean. A name without a
// namespace may hold a colon: it was read with a prefix that nothing declared.
[[nodiscard]] const char *name_fault(const xmlNode *node, known_names &names, written_scope &scope);
// A declaration of a namespace; a null or empty URI takes the default one back.
[[nodiscard]] const char *declaration_fault(const xmlChar *prefix, const xmlChar *uri,
                                            known_names &names) noexcept;
// The content of a comment.
[[nodiscard]] const char *comment_fault(std::string_view content) noexcept;
// The target and the data of a processing instruction.
[[nodiscard]] const char *instruction_fault(const xmlNode *instruction,
                                            known_names &names) noexcept;

} // namespace pkg_dbe_xml
