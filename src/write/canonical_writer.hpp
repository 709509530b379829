// Trees in canonical form: two trees that mean the same to XML are the same bytes, to be signed,
// digested or compared.
//
// The forms are Canonical XML 1.0 and 1.1 and Exclusive XML Canonicalization 1.0, each with or
// without comments. What cannot be written as XML is refused, as by markup_writer.hpp.
#pragma once

#include "text/text_output.hpp"

#include <libxml/tree.h>

#include <span>

namespace pkg_dbe_xml {

enum class canonical_form { version_1_0, version_1_1, exclusive };

struct canonical_options {
    canonical_form form = canonical_form::version_1_0;
    bool with_comments = false;
    // Of the exclusive form: prefixes whose namespaces are written as by the others, in the order
    // of xmlStrcmp, null for the default namespace.
    std::span<const xmlChar *const> inclusive_prefixes;
};

// Appends a node with all below it, in UTF-8: a document, a fragment, an element, a text, a CDATA
// section, a comment or a processing instruction. An element that stands below others brings what
// it has from them: namespaces, and but for the exclusive form attributes such as xml:lang. Reports
// unwritable_node and relative_namespace, with the path of the node as CONTEXT, and out_of_memory;
// throws when the statement was asked to stop.
void write_canonical(xmlNodePtr node, const canonical_options &options, text_output &output);

} // namespace pkg_dbe_xml
