// Trees into files that are open already: libxml2 is never given a file name, since it would
// unescape it.
#pragma once

#include "host/path.hpp"
#include "libxml/xml.hpp"
#include "xml_owner.hpp"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace pkg_dbe_xml {

using file_ptr = std::unique_ptr<host::output_file, host::output_file_deleter>;

// Where output goes. Every byte goes through it, and it notes what went wrong; once something
// failed nothing more is written.
struct file_sink {
    host::output_file *file;
    std::int64_t written = 0; // bytes
    int reason = 0;           // errno of the first failure
    bool stopped = false;     // the statement was asked to stop, or the rest is not wanted

    bool write(const void *bytes, std::size_t size) noexcept;
};

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
// Opens a file and writes a document into it with its declaration, indented, in the encoding of
// that name (null: UTF-8). `file` is null when it could not be opened, or when nobody knows the
// encoding.
[[nodiscard]] dump_result dump_document(const char *path, xmlDocPtr document, const char *encoding,
                                        file_ptr &file);

} // namespace pkg_dbe_xml
