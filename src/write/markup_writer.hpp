// Writing trees for the packages: what was written can be read again, and is the same tree.
//
// Unlike the writer of the long-named functions, which follows libxml2 byte by byte, this one adds
// no blank unless it is asked to, and refuses what would not be read as it stands: names that are
// none, data that ends its own markup, prefixes that mean something else where they stand.
#pragma once

#include "text/text_output.hpp"
#include "write/encodability.hpp"

#include <libxml/tree.h>

namespace pkg_dbe_xml {

struct markup_options {
    int indent = 0;                       // blanks a level; 0 adds no blank at all
    bool declaration = false;             // in front of a document or an element
    const char *encoding = nullptr;       // that the declaration names; null: none
    const encodability *bounds = nullptr; // of the characters; null: all can be written
};

// Appends a node with all below it. An element brings the namespace declarations that are in scope
// where it stands; an attribute is written as name="value", a fragment as its children. Reports
// unwritable_node, with the path of the node as CONTEXT, and out_of_memory; throws when the
// statement was asked to stop.
void write_markup(xmlNodePtr node, const markup_options &options, text_output &output);

} // namespace pkg_dbe_xml
