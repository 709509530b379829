// Namespaces in scope. See namespaces_in_scope.hpp.

#include "tree/namespaces_in_scope.hpp"

#include "growing_array.hpp"
#include "tree/poll_counter.hpp"
#include "tree/text_compare.hpp"

#include <algorithm>
#include <cstddef>

namespace pkg_dbe_xml {

namespace {

// The element where looking begins: the node itself, the root of a document, the element that a
// node stands in. Null when there is none.
[[nodiscard]] const xmlNode *nearest_element(const xmlNode *node) noexcept {
    if (is_document(node)) {
        return xmlDocGetRootElement(reinterpret_cast<const xmlDoc *>(node));
    }
    while (node != nullptr && node->type != XML_ELEMENT_NODE) {
        if (is_declaration(node->type) || node->type == XML_DOCUMENT_FRAG_NODE ||
            is_document(node)) {
            return nullptr;
        }
        node = node->parent;
    }
    return node;
}

[[nodiscard]] const xmlNode *element_above(const xmlNode *element) noexcept {
    const xmlNode *const parent = element->parent;
    return parent != nullptr && parent->type == XML_ELEMENT_NODE ? parent : nullptr;
}

// A prefix with what it is bound to, and how far away.
struct binding {
    const xmlChar *prefix;
    const xmlChar *uri;
    std::size_t distance;
};

using bindings = growing_array<binding, 16>;

// What the elements from `element` up bind: by their declarations, and by their own names.
void collect(const xmlNode *element, bindings &found) {
    poll_counter poll;
    for (; element != nullptr; element = element_above(element)) {
        poll.step();
        if (element->ns != nullptr && element->ns->prefix != nullptr) {
            found.push_back({element->ns->prefix, element->ns->href, found.size()});
        }
        for (const xmlNs *record = element->nsDef; record != nullptr; record = record->next) {
            poll.step();
            if (record->prefix != nullptr) {
                found.push_back({record->prefix, record->href, found.size()});
            }
        }
    }
}

} // namespace

const xmlChar *namespace_of_prefix(const xmlNode *node, const xmlChar *prefix) {
    const xmlNode *element = nearest_element(node);
    if (element == nullptr) {
        return nullptr;
    }
    if (same_text(prefix, "xml")) {
        return as_xml(k_xml_uri);
    }
    if (same_text(prefix, "xmlns")) {
        return as_xml(k_xmlns_uri);
    }
    poll_counter poll;
    for (; element != nullptr; element = element_above(element)) {
        poll.step();
        if (element->ns != nullptr && same_or_absent(element->ns->prefix, prefix)) {
            return uri_of(element->ns);
        }
        for (const xmlNs *record = element->nsDef; record != nullptr; record = record->next) {
            poll.step();
            if (same_or_absent(record->prefix, prefix)) {
                return uri_of(record);
            }
        }
    }
    return nullptr;
}

const xmlChar *prefix_of_namespace(const xmlNode *node, const xmlChar *uri) {
    const xmlNode *const element = nearest_element(node);
    if (element == nullptr || null_if_empty(uri) == nullptr) {
        return nullptr;
    }
    if (same_text(uri, k_xml_uri)) {
        return as_xml("xml");
    }
    if (same_text(uri, k_xmlns_uri)) {
        return as_xml("xmlns");
    }
    bindings found;
    collect(element, found);
    // By prefix, the nearest of each first: the others are hidden by it.
    std::sort(found.begin(), found.end(), [](const binding &left, const binding &right) {
        const int order = xmlStrcmp(left.prefix, right.prefix);
        return order != 0 ? order < 0 : left.distance < right.distance;
    });
    const binding *nearest = nullptr;
    for (const binding *each = found.begin(); each != found.end(); ++each) {
        const bool is_hidden =
            each != found.begin() && same_or_absent(each[-1].prefix, each->prefix);
        if (!is_hidden && same_or_absent(each->uri, uri) &&
            (nearest == nullptr || each->distance < nearest->distance)) {
            nearest = each;
        }
    }
    return nearest == nullptr ? nullptr : nearest->prefix;
}

} // namespace pkg_dbe_xml
