// Documents and nodes into files: from the path to the file in its place.
#pragma once

#include "error_reports.hpp"
#include "files/tree_files.hpp"
#include "host/memory.hpp"

#include <libxml/tree.h>

#include <memory>

namespace pkg_dbe_xml {

using host_text = std::unique_ptr<char, host::memory_deleter>;

// The path behind DIR/NAME.xml, which is changed in place, after all checks. Reports what the
// functions of file_paths.hpp report.
[[nodiscard]] host_text checked_path(char *input);
// Opens the file of a node. Reports file_not_opened.
[[nodiscard]] file_ptr open_file(const char *path);
// Leaves the file that opening it has made, and reports.
[[noreturn]] void give_file_up(file_ptr file, const report_row &row);

// The three below write, and make the written file take its place. They report out_of_memory and
// write_failed, and throw when the statement was asked to stop.

// A document with its declaration, indented; without `encoding` in the document's own. As fixed, a
// character set that nobody knows counts as a failed write, before there is a file.
void save_document(const char *path, xmlDocPtr document, const char *encoding);
// The value of an attribute as it is, in UTF-8; an attribute without one leaves the file empty.
void save_value(file_ptr file, const char *path, xmlNodePtr attribute);
// An element, text or document, indented, in a character set, null for UTF-8. Reports
// unsupported_character_set too, and leaves an empty file then.
void save_markup(file_ptr file, const char *path, xmlNodePtr node, const char *character_set);

} // namespace pkg_dbe_xml
