// Writing trees as text: what libxml2 writes, byte for byte, in a quarter of the time.
//
// libxml2 takes each piece of markup through an output buffer, a second buffer for the encoding
// and a copy at the end. Here the bytes go straight into the result. The outcome is defined by
// libxml2: where a tree holds something that this writer does not know how to write the same way
// (an XHTML document, whose elements are closed by rules of their own; nodes in places where no
// parser puts them), libxml2 writes. What differs between its versions: output_rules.hpp.
#pragma once

#include "text/text_output.hpp"

#include <libxml/tree.h>

namespace pkg_dbe_xml {

// Writes a document as xmlDocDumpFormatMemoryEnc does with encoding "UTF-8" and format 1. Reports
// out_of_memory; a statement that was asked to stop ends.
void write_document(xmlDocPtr document, text_output &output);
// Writes an element, a text node or a document as xmlNodeDump does with level 0 and format 1.
// Reports no_memory_for_buffer and out_of_memory; a statement that was asked to stop ends.
void write_node(xmlNodePtr node, text_output &output);

// Writes what a text node below an attribute becomes in a document of libxml2's own writer
// (xmlSaveFormatFileTo) that is in UTF-8 or names no encoding. Only where knows_libxml2. A
// statement that was asked to stop ends; libxml2 does not look for that within one value.
void write_attribute_text(const xmlNode *text, text_output &output);

// Whether this writer writes as the process's libxml2 does; else libxml2 writes.
[[nodiscard]] bool knows_libxml2();
// The two ways of write_document and write_node. The first gives false, having written something
// or nothing, when the tree is not for it. `encoding` is the name in the declaration of a document,
// for callers that bring the text into it.
[[nodiscard]] bool write_document_directly(xmlDocPtr document, text_output &output);
[[nodiscard]] bool write_node_directly(xmlNodePtr node, text_output &output,
                                       const char *encoding = "UTF-8");
void write_document_with_libxml2(xmlDocPtr document, text_output &output);
void write_node_with_libxml2(xmlNodePtr node, text_output &output);

} // namespace pkg_dbe_xml
