// The reports of path queries, as rows like those of error_reports.hpp.
#pragma once

#include "error_reports.hpp"

namespace pkg_dbe_xml {

// clang-format off
namespace reports {

// --- paths ---
// SQLSTATE XP and a number of our own.
inline constexpr report_row path_syntax{0, "XP001",
    "the path has a syntax error at character %d: %s expected, \"%s\" found",
    "The text is not an XPath 1.0 expression.", "Correct the path at the mark.", nullptr, false};
inline constexpr report_row path_ends_early{0, "XP001",
    "the path ends too early: %s expected",
    "The text is not a whole XPath 1.0 expression.", "Complete the path.", nullptr, false};
inline constexpr report_row unknown_path_name{0, "XP002",
    "unknown %s \"%s\" at character %d of the path",
    "The path uses a name that it was not given.", "Check the name.", "%s", false};
inline constexpr report_row wrong_path_type{0, "XP003",
    "wrong type in the path: %s at character %d, and this is %s",
    "XPath 1.0 makes no set of nodes of anything else.", "Check what stands at the mark.", nullptr,
    false};
inline constexpr report_row wrong_argument_count{0, "XP003",
    "function %s() at character %d of the path takes %s, and has %s",
    "The number of arguments does not fit the function.", "Correct the call.", nullptr, false};
inline constexpr report_row path_not_nodes{0, "XP003",
    "the path gives %s, and not nodes",
    "Only a set of nodes can be returned as nodes.",
    "Ask for its text, its number or its truth value.",
    "Use xpath_text, xpath_number or xpath_exists.", false};
inline constexpr report_row path_namespace_node{0, "XP004",
    "a namespace node has no handle",
    "The path ends on the namespace axis.",
    "Ask for its text or its name.",
    "Use xpath_text with the path, or with name() of it.", false};
inline constexpr report_row path_context{0, "XP004",
    "a path cannot start from a declaration",
    "The node is a document type or stands in one.",
    "Start from the document or one of its nodes.", nullptr, false};
inline constexpr report_row path_bindings_shape{0, "22023",
    "names and values for a path come in pairs",
    "The array has neither two columns nor an even number of members.",
    "Write array[array['name', 'value'], array['name', 'value']].", nullptr, false};
inline constexpr report_row path_bindings_null{0, "22004",
    "a name or a value for a path is null",
    "Names of prefixes and variables, URIs and values are texts.",
    "Leave the pair out, or give it an empty text.", nullptr, false};
inline constexpr report_row path_too_long{0, "54000",
    "the path is longer than 1048576 bytes",
    "The path is too long.", "Shorten the path, or put values into variables.", nullptr, false};
inline constexpr report_row path_too_deep{0, "54001",
    "the path is nested too deeply at character %d",
    "Parentheses, predicates and arguments may be nested 256 levels deep, and less when the "
    "server's stack is short.",
    "Simplify the path.", nullptr, false};
inline constexpr report_row path_work_limit{0, "54000",
    "the path takes more work than the setting %s allows",
    "Every node, comparison and piece of text that the evaluation looks at is counted.",
    "Simplify the path, or start it from a node nearer to what it looks for.",
    "A superuser can raise the setting.", false};
inline constexpr report_row path_memory_limit{0, "54000",
    "the path takes more memory than the setting %s allows",
    "Sets of nodes and texts that the evaluation makes are too large.",
    "Simplify the path, or start it from a node nearer to what it looks for.",
    "A superuser can raise the setting.", false};

} // namespace reports
// clang-format on

} // namespace pkg_dbe_xml
