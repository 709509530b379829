// Whether two trees are alike. See node_equality.hpp.

#include "tree/node_equality.hpp"

#include "error_reports.hpp"
#include "growing_array.hpp"
#include "libxml/xml.hpp"
#include "text/libxml2_text.hpp"
#include "tree/node_text.hpp"
#include "tree/poll_counter.hpp"
#include "tree/text_compare.hpp"
#include "xml_owner.hpp"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace pkg_dbe_xml {

namespace {

// Absent and empty texts are alike: libxml2 keeps either for a node without data.
[[nodiscard]] const xmlChar *or_empty(const xmlChar *text) noexcept {
    return text == nullptr ? BAD_CAST "" : text;
}

[[nodiscard]] const xmlChar *prefix_of(const xmlNs *record) noexcept {
    return record == nullptr ? nullptr : record->prefix;
}

[[nodiscard]] bool same_name(const xmlNode *left, const xmlNode *right) noexcept {
    const xmlNs *const left_space = namespace_of(left);
    const xmlNs *const right_space = namespace_of(right);
    return same_or_absent(left->name, right->name) &&
           (left_space == right_space ||
            (same_or_absent(uri_of(left_space), uri_of(right_space)) &&
             same_or_absent(prefix_of(left_space), prefix_of(right_space))));
}

[[nodiscard]] bool same_attribute(const xmlNode *left, const xmlNode *right) {
    text_room left_room;
    text_room right_room;
    return same_name(left, right) && same_or_absent(or_empty(node_text(left, left_room).bytes),
                                                    or_empty(node_text(right, right_room).bytes));
}

// An order in which equal attributes of two elements come at the same place.
[[nodiscard]] bool sorts_before(const xmlAttr *left, const xmlAttr *right) noexcept {
    int order = xmlStrcmp(left->name, right->name);
    if (order == 0) {
        order = xmlStrcmp(or_empty(uri_of(left->ns)), or_empty(uri_of(right->ns)));
    }
    return order != 0
               ? order < 0
               : xmlStrcmp(or_empty(prefix_of(left->ns)), or_empty(prefix_of(right->ns))) < 0;
}

using attribute_set = growing_array<xmlAttrPtr, 16>;

[[nodiscard]] bool same_attributes(const xmlNode *left, const xmlNode *right, poll_counter &poll) {
    xmlAttrPtr one = first_attribute(left);
    xmlAttrPtr other = first_attribute(right);
    // Most often they stand in one order.
    while (one != nullptr && other != nullptr && same_attribute(as_node(one), as_node(other))) {
        one = one->next;
        other = other->next;
        poll.step();
    }
    attribute_set left_rest;
    attribute_set right_rest;
    for (; one != nullptr; one = one->next) {
        left_rest.push_back(one);
        poll.step();
    }
    for (; other != nullptr; other = other->next) {
        right_rest.push_back(other);
        poll.step();
    }
    if (left_rest.size() != right_rest.size()) {
        return false;
    }
    std::sort(left_rest.begin(), left_rest.end(), sorts_before);
    std::sort(right_rest.begin(), right_rest.end(), sorts_before);
    for (std::size_t place = 0; place < left_rest.size(); ++place) {
        poll.step();
        if (!same_attribute(as_node(left_rest[place]), as_node(right_rest[place]))) {
            return false;
        }
    }
    return true;
}

[[nodiscard]] bool same_document_type(const xmlNode *left, const xmlNode *right) {
    if (left->type == XML_DTD_NODE) {
        const auto *const one = reinterpret_cast<const xmlDtd *>(left);
        const auto *const other = reinterpret_cast<const xmlDtd *>(right);
        if (!same_or_absent(or_empty(one->ExternalID), or_empty(other->ExternalID)) ||
            !same_or_absent(or_empty(one->SystemID), or_empty(other->SystemID))) {
            return false;
        }
    }
    text_output left_text(INT64_MAX);
    text_output right_text(INT64_MAX);
    append_node_from_libxml2(left_text, left, false);
    append_node_from_libxml2(right_text, right, false);
    return left_text.view() == right_text.view();
}

// Everything but the children.
[[nodiscard]] bool alike(const xmlNode *left, const xmlNode *right, poll_counter &poll) {
    poll.step();
    if (left->type != right->type) {
        return false;
    }
    switch (left->type) {
    case XML_DOCUMENT_NODE:
    case XML_DOCUMENT_FRAG_NODE:
        return true;
    case XML_ELEMENT_NODE:
        return same_name(left, right) && same_attributes(left, right, poll);
    case XML_ATTRIBUTE_NODE:
        return same_attribute(left, right);
    case XML_TEXT_NODE:
    case XML_CDATA_SECTION_NODE:
    case XML_COMMENT_NODE:
    case XML_PI_NODE:
        if (left->content != nullptr) {
            poll.step_over(std::strlen(reinterpret_cast<const char *>(left->content)));
        }
        return (left->type != XML_PI_NODE || same_or_absent(left->name, right->name)) &&
               same_or_absent(or_empty(left->content), or_empty(right->content));
    case XML_ENTITY_REF_NODE:
        return same_or_absent(left->name, right->name);
    default:
        return same_or_absent(left->name, right->name) && same_document_type(left, right);
    }
}

// Children count where a node is more than what was compared of it already.
[[nodiscard]] xmlNodePtr first_compared(const xmlNode *node) noexcept {
    return is_container(node) || node->type == XML_DOCUMENT_FRAG_NODE ? first_child(node) : nullptr;
}

} // namespace

bool is_equal_node(xmlNodePtr left, xmlNodePtr right) {
    const xmlNode *const top = left;
    poll_counter poll;
    while (alike(left, right, poll)) {
        xmlNodePtr one = first_compared(left);
        xmlNodePtr other = first_compared(right);
        while (one == nullptr && other == nullptr) {
            if (left == top) {
                return true;
            }
            one = left->next;
            other = right->next;
            if (one == nullptr && other == nullptr) {
                left = left->parent;
                right = right->parent;
                poll.step();
            }
        }
        if (one == nullptr || other == nullptr) {
            return false;
        }
        left = one;
        right = other;
    }
    return false;
}

} // namespace pkg_dbe_xml
