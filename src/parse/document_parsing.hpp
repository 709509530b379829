// Documents from text.
#pragma once

#include "host/call.hpp"
#include "host/large_object.hpp"
#include "libxml/xml.hpp"
#include "parse/parse_text.hpp"
#include "xml_owner.hpp"

#include <cstddef>

namespace pkg_dbe_xml {

// Parses a text or CLOB value into a new document and registers it; returns its handle. Reports
// text_too_large and invalid_document (with libxml2's words, line and column as context).
[[nodiscard]] host::datum create_dom_document(host::datum value);

// The same for the text of a large object.
[[nodiscard]] host::datum create_dom_document_of_object(host::object_number number);

// The document of a text in UTF-8, with libxml2's options. Reports invalid_document as above;
// throws when the statement was asked to stop.
[[nodiscard]] xml_doc_ptr parse_document(const char *text, std::size_t size, int options);
[[nodiscard]] xml_doc_ptr parse_document(const parse_text &text, int options);

// The document of a text that the call reads, never changes, and frees. `watch`, which may be null,
// is shown elements while it is parsed (libxml/xml.hpp); no document when it stopped that. Reports
// and throws as above.
[[nodiscard]] xml_doc_ptr parse_for_call(const parse_text &text, host::element_watch *watch);

// Registers a parsed document; its handle. Before that, a last look at whether the statement was
// asked to stop: who cancels a parse finds no document. So the text should have been given back.
[[nodiscard]] host::datum hand_over_parsed(xml_doc_ptr document);

// Registers a document and gives its handle; the registry owns it from here on. Throws before that.
[[nodiscard]] host::datum hand_over(xml_doc_ptr document);

} // namespace pkg_dbe_xml
