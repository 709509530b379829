// How libxml2 writes trees: what changed from version to version.
#pragma once

#include "text/text_output.hpp"
#include "write/text_escapes.hpp"

#include <libxml/tree.h>

namespace pkg_dbe_xml {

// The rules of one generation of libxml2.
struct output_rules {
    int since; // the version as xmlParserVersion begins: 21300 for 2.13.0
    escape_rules escapes;
    // Values of attributes are written in ASCII where their document names no encoding.
    bool writes_ascii;
    invalid_bytes invalid;
    // The names of namespaces are escaped as values of attributes are; else they stand in whatever
    // quotes they do not hold.
    bool escapes_namespaces;
    // The version in the declaration stands in whatever quotes it does not hold; else in double
    // quotes, as it is.
    bool quotes_version;
};

// The rules of the libxml2 of this process; null when it is older than all of them, or newer and
// writes a sample in another way. Reports no_memory_for_buffer and out_of_memory while it finds
// out, which it does once.
[[nodiscard]] const output_rules *rules_in_force();

// The rules of a version; null for one that is older than all of them.
[[nodiscard]] const output_rules *rules_of(int number) noexcept;
// Whether libxml2 writes a sample by these rules, which holds all that they differ in. Reports as
// above.
[[nodiscard]] bool writes_as_libxml2(const output_rules &rules);

// Write a document and a node by given rules. False, having written something or nothing, when the
// tree is not for this writer. A statement that was asked to stop ends. `encoding` is the name in
// the declaration of a document; the text is in UTF-8.
[[nodiscard]] bool write_document_by(const output_rules &rules, xmlDocPtr document,
                                     text_output &output, const char *encoding = "UTF-8");
[[nodiscard]] bool write_node_by(const output_rules &rules, xmlNodePtr node, text_output &output,
                                 const char *encoding = "UTF-8");

} // namespace pkg_dbe_xml
