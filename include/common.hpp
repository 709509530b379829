// Helpers of the common module: large values, counting, search by name, path checks.
#pragma once

#include "error_reports.hpp"
#include "host/large_object.hpp"
#include "host/path.hpp"
#include "host/text.hpp"
#include "libxml/xml.hpp"
#include "xml_owner.hpp"

#include <cstddef>
#include <cstdint>

namespace pkg_dbe_xml {

// --- large values (src/text/large_values.cpp)
// ------------------------------------------------------

// Longest text that is parsed, in bytes.
inline constexpr std::int64_t k_longest_text = 2147483647;

// Copies the first `length` bytes of a large value into `destination`, piece by piece. Copies
// nothing when the length is 0 or less. Fails the assertion k_no_slice for a slice that cannot be
// read.
void copy_lob_to_flat_buffer(host::datum large_value, std::int64_t length, char *destination);
// A text value of any length in the caller's context, built from pieces. Reports
// piece_length_negative.
[[nodiscard]] host::varlena *copy_flat_buffer_to_lob(std::int64_t length, const char *buffer);

// --- parsing (src/functions/pkg_xml_dom_document_lifecycle.cpp)
// -------------------------------------------

// Parses a text or CLOB value into a new document and registers it; returns its handle. Reports
// text_too_large and invalid_document (with libxml2's words, line and column as context).
[[nodiscard]] host::datum create_dom_document(host::datum value);

// The same for the text of a large object.
[[nodiscard]] host::datum create_dom_document_of_object(host::object_number number);

// The text of a value in UTF-8, for parsing, in one piece of host memory or in place.
class parse_text {
  public:
    // `too_large` is the report for a large value above k_longest_text. Throws.
    parse_text(host::datum value, const report_row &too_large);
    // The text of a large object, in memory of `context`; `too_large` as above. Throws.
    parse_text(host::object_number number, const report_row &too_large,
               host::memory_context *context);
    ~parse_text();
    parse_text(const parse_text &) = delete;
    parse_text &operator=(const parse_text &) = delete;
    [[nodiscard]] const char *bytes() const noexcept { return bytes_; }
    [[nodiscard]] std::size_t size() const noexcept { return size_; }

  private:
    const char *bytes_;
    std::size_t size_;
    char *owned_; // host memory to give back, or null
};

// --- counting and search ----------------------------------------------------------------------

// Nodes in the chain of siblings from `node` on and everything below, attributes included; null
// counts 0. Declarations of the document type are counted, nothing below an entity reference is.
[[nodiscard]] int count_nodes(const xmlNode *node);
struct node_counts {
    int elements;
    int attributes;
    int texts;
};
// Adds elements, attributes and texts of the same range.
void count_nodes_separate_type(const xmlNode *node, node_counts &counts);

// Appends the elements below `start` (which itself is not tested) that have the name, and the
// namespace URI unless it is null, to the list, in document order. A name or URI that begins with
// "*" matches all. False when an append failed.
[[nodiscard]] bool search_node_by_name(xmlNodePtr start, const xmlChar *name,
                                       const xmlChar *namespace_uri, xmlListPtr list);
[[nodiscard]] bool xml_node_pushback(xmlNodePtr node, const xmlChar *name,
                                     const xmlChar *namespace_uri, xmlListPtr list);
// The element after `node` in document order below `top` that has the name ("*": any), null when
// there is none. Throws when the statement was asked to stop.
[[nodiscard]] xmlNodePtr next_element_by_name(xmlNodePtr node, const xmlNode *top,
                                              const xmlChar *name);
// Appends a node; false when that failed.
[[nodiscard]] bool xml_list_pushback(xmlNodePtr node, xmlListPtr list);

// --- paths (src/files/file_paths.cpp)
// -----------------------------------------------------------------

// Splits DIR/NAME.xml (backslashes count as slashes; changed in place) into the directory name and
// "/NAME.xml", both new strings in the current context. Reports empty_path, path_shape,
// file_name_too_long, file_name_extension.
void check_and_get_input_path(char *path, char *&directory, char *&file_part);
// The full canonical path of a file in a directory object; frees `file_part`. Reports
// directory_not_found, directory_path_null, directory_denied.
[[nodiscard]] char *check_safe_path(char *directory, char *file_part);
// Reports protected_file_name for a path that do_check_file_path calls protected.
void check_copy_file_permission(const char *path);
// True when the name of the file is protected. Reports outside_safe_path.
[[nodiscard]] bool do_check_file_path(const char *path);
// Reports outside_safe_path when the host refuses the path.
void check_file_permission(const char *path);
// What follows the last "/", the whole path when there is none; null for a missing or empty path.
[[nodiscard]] const char *FindFileName(const char *path) noexcept;

// --- writing to files (src/functions/pkg_xml_dom_file_serialization.cpp)
// ----------------------------------

struct dump_result {
    bool done;          // everything was written
    int reason;         // errno of the writing that failed, 0 when it was not that
    bool out_of_memory; // set by who holds the scope
};
// Writes a node into an open file, indented, in the encoding that `handler` makes (null for both:
// UTF-8). Takes the handler in any case. Stands in an xml_scope.
[[nodiscard]] dump_result xml_elem_dump(host::output_file *file, xmlDocPtr document,
                                        xmlNodePtr node, const char *encoding,
                                        xmlCharEncodingHandlerPtr handler);

} // namespace pkg_dbe_xml
