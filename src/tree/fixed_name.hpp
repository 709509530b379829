// The names that the DOM fixes for nodes of some types.
#pragma once

#include <libxml/tree.h>

namespace pkg_dbe_xml {

// The name that the DOM fixes for nodes of a type; null for types whose nodes have names of their
// own.
[[nodiscard]] constexpr const char *fixed_name(xmlElementType type) noexcept {
    switch (type) {
    case XML_TEXT_NODE:
        return "#text";
    case XML_CDATA_SECTION_NODE:
        return "#cdata-section";
    case XML_COMMENT_NODE:
        return "#comment";
    case XML_DOCUMENT_NODE:
        return "#document";
    case XML_DOCUMENT_FRAG_NODE:
        return "#document-fragment";
    default:
        return nullptr;
    }
}

} // namespace pkg_dbe_xml
