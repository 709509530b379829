// Writing text and attribute values with the characters that have a meaning in markup replaced, in
// exactly the way libxml2 replaces them.
#pragma once

#include "text_output.hpp"

#include <libxml/xmlstring.h>

namespace pkg_dbe_xml {

// Text between tags: "<", ">", "&" and carriage returns become references. Bytes that are no valid
// UTF-8 pass unchanged.
void write_escaped_text(text_output &output, const xmlChar *text);
// Text of an attribute, in double quotes that are not written here: also '"', tabulators and line
// feeds. With `ascii_only`, every other character beyond ASCII becomes a reference too, and so do
// the bytes of what is no valid UTF-8, but for one at the very end.
void write_escaped_attribute(text_output &output, const xmlChar *text, bool ascii_only);

} // namespace pkg_dbe_xml
