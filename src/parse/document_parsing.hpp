// Documents from text.
#pragma once

#include "host/call.hpp"
#include "host/large_object.hpp"
#include "xml_owner.hpp"

namespace pkg_dbe_xml {

// Parses a text or CLOB value into a new document and registers it; returns its handle. Reports
// text_too_large and invalid_document (with libxml2's words, line and column as context).
[[nodiscard]] host::datum create_dom_document(host::datum value);

// The same for the text of a large object.
[[nodiscard]] host::datum create_dom_document_of_object(host::object_number number);

// Registers a document and gives its handle; the registry owns it from here on. Throws before that.
[[nodiscard]] host::datum hand_over(xml_doc_ptr document);

} // namespace pkg_dbe_xml
