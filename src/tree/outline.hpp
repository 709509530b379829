// A picture of a tree for people: a line for each node, indented by its depth.
#pragma once

#include "text/text_output.hpp"

#include <libxml/tree.h>

namespace pkg_dbe_xml {

// Appends the picture of a node and all below it. Elements show their attributes, and their text
// when they hold nothing else. Long texts are cut short, line ends in texts are shown as \n. Throws
// when memory runs out and when the statement was asked to stop.
void append_outline(const xmlNode *top, text_output &output);

} // namespace pkg_dbe_xml
