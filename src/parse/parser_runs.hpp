// What a parser object does with a text.
#pragma once

#include "registry.hpp"
#include "xml_owner.hpp"

#include <cstddef>

namespace pkg_dbe_xml {

// Makes a context validate in its next parse, or not.
void set_validation(xmlParserCtxt &context, bool validates) noexcept;
// A context for a parser object. Reports out_of_memory.
[[nodiscard]] xml_parser_ctxt_ptr make_context(bool validates);
// Parses `size` bytes of UTF-8 with the record's context and keeps what came of it: a document,
// or none when the parse failed. What the user should know of it is shown as a warning.
void parse_inner(XmlParserHashEntry &parser, const char *text, std::size_t size);

} // namespace pkg_dbe_xml
