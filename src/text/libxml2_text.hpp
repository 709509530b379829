// Text that libxml2 writes: document types and their declarations, and what the writers of this
// library leave to it.
#pragma once

#include "libxml/xml.hpp"
#include "text/encoding_handler.hpp"
#include "text/text_output.hpp"

#include "error_reports.hpp"

#include <libxml/tree.h>

#include <exception>

namespace pkg_dbe_xml {

// Where libxml2 writes to: what goes wrong there is kept until libxml2 has returned.
struct libxml2_receiver {
    text_output &output;
    std::exception_ptr failure;
};

extern "C" int receive_from_libxml2(void *receiver, const char *bytes, int size) noexcept;

// Appends what `write` has libxml2 write into a buffer of its own, which it closes. The functions
// of libxml2 that collect a text themselves cannot be stopped, and free it twice when memory runs
// out (xmlNodeDump, up to 2.12). Reports no_memory_for_buffer and out_of_memory.
template <class Write> void append_from_libxml2(text_output &output, Write write) {
    libxml2_receiver own{output, nullptr};
    const host::xml_scope scope;
    xmlOutputBufferPtr const buffer = make_output_buffer(receive_from_libxml2, &own, nullptr);
    if (buffer == nullptr) {
        report(reports::no_memory_for_buffer);
    }
    write(buffer);
    if (own.failure != nullptr) {
        std::rethrow_exception(own.failure);
    }
    if (scope.refused()) {
        report(reports::out_of_memory);
    }
}

// Appends a node as xmlNodeDump writes it with level 0, indented or not.
void append_node_from_libxml2(text_output &output, const xmlNode *node, bool indented);

// Appends what stands between the brackets of a document type, written anew.
void append_declarations(text_output &output, const xmlNode *document_type);

} // namespace pkg_dbe_xml
