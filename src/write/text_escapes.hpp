// Writing text and attribute values with the characters that have a meaning in markup replaced, in
// exactly the way libxml2 replaces them.
#pragma once

#include "text/text_output.hpp"

#include <libxml/xmlstring.h>

namespace pkg_dbe_xml {

// What libxml2 replaces changed between its generations.
enum class escape_rules {
    // To 2.13: bytes that are no valid UTF-8 and control characters pass unchanged.
    early,
    // Since 2.14: control characters become references to the replacement character.
    late
};

// Text between tags: "<", ">", "&" and carriage returns become references.
void write_escaped_text(text_output &output, const xmlChar *text, escape_rules rules);
// Text of an attribute, in double quotes that are not written here: also '"', tabulators and line
// feeds.
void write_escaped_attribute(text_output &output, const xmlChar *text, escape_rules rules);
// What becomes of bytes that are no valid UTF-8 where only ASCII is written. By the early rules one
// at the very end passes unchanged.
enum class invalid_bytes {
    referred_to, // each becomes a reference to its own number; to 2.12
    replaced     // each becomes a reference to the replacement character; since 2.13
};
// The same where every other character beyond ASCII becomes a reference too.
void write_ascii_attribute(text_output &output, const xmlChar *text, escape_rules rules,
                           invalid_bytes rule);

} // namespace pkg_dbe_xml
