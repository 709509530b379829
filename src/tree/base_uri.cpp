// Base URIs. See base_uri.hpp.
//
// libxml2's own function resolves level by level without an end to it: in a tree of relative bases
// each of them is longer than the one before.

#include "tree/base_uri.hpp"

#include "error_reports.hpp"
#include "growing_array.hpp"
#include "libxml/xml.hpp"
#include "tree/node_text.hpp"
#include "tree/poll_counter.hpp"
#include "tree/text_compare.hpp"

#include <libxml/uri.h>

#include <cstddef>
#include <utility>

namespace pkg_dbe_xml {

namespace {

// The attribute xml:base of an element; null when it has none.
[[nodiscard]] const xmlNode *base_attribute(const xmlNode *node) noexcept {
    for (xmlAttrPtr attribute = first_attribute(node); attribute != nullptr;
         attribute = attribute->next) {
        if (attribute->ns != nullptr && same_text(attribute->name, "base") &&
            same_text(attribute->ns->prefix, "xml")) {
            return as_node(attribute);
        }
    }
    return nullptr;
}

// A scheme ends in a colon before any of the characters that a path can hold.
[[nodiscard]] bool is_absolute(const xmlChar *uri) noexcept {
    for (; *uri != 0; ++uri) {
        if (*uri == ':') {
            return true;
        }
        if (*uri == '/' || *uri == '?' || *uri == '#') {
            return false;
        }
    }
    return false;
}

// A reference resolved against a base, which may be null. A reference that is no URI stands for
// itself.
[[nodiscard]] xml_text_ptr resolved(const xmlChar *reference, const xmlChar *base) {
    const host::tree_scope scope;
    xml_text_ptr made(base == nullptr ? nullptr : xmlBuildURI(reference, base));
    if (made == nullptr && !scope.refused()) {
        made.reset(xmlStrdup(reference));
    }
    if (made == nullptr || scope.refused()) {
        report(reports::out_of_memory);
    }
    return made;
}

} // namespace

xml_text_ptr base_uri(const xmlNode *node) {
    poll_counter poll;
    const xmlDoc *const document =
        is_document(node) ? reinterpret_cast<const xmlDoc *>(node) : node->doc;
    growing_array<const xmlNode *, 16> bases;
    const xmlChar *start = document == nullptr ? nullptr : document->URL;
    for (const xmlNode *above = node; above != nullptr && !is_document(above);
         above = above->parent) {
        poll.step();
        const xmlNode *const base = base_attribute(above);
        if (base == nullptr) {
            continue;
        }
        bases.push_back(base);
        text_room room;
        if (is_absolute(node_text(base, room).bytes)) {
            start = nullptr;
            break;
        }
    }
    xml_text_ptr result(start == nullptr ? nullptr : resolved(start, nullptr));
    for (std::size_t place = bases.size(); place > 0; --place) {
        text_room room;
        xml_text_ptr next = resolved(node_text(bases[place - 1], room).bytes, result.get());
        poll.step_over(static_cast<std::size_t>(xmlStrlen(next.get())));
        result = std::move(next);
    }
    return result;
}

} // namespace pkg_dbe_xml
