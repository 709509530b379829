// The text of a whole tree, as the DOM's textContent reads it.
#pragma once

#include "text/text_output.hpp"
#include "tree/typed_access.hpp"

namespace pkg_dbe_xml {

// Whether a node has a text content at all: documents, document types and the declarations in them
// have none.
[[nodiscard]] bool has_text_content(const xmlNode *node) noexcept;

// Appends the text content of a node: what it holds itself, or the texts and CDATA sections below
// it in their order, without comments and processing instructions. Throws when the statement was
// asked to stop; reports out_of_memory for entities that unfold to too much.
void append_text_content(xmlNodePtr node, text_output &output);

} // namespace pkg_dbe_xml
