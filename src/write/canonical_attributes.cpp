// The attributes of an element in canonical form. See canonical_attributes.hpp.

#include "write/canonical_attributes.hpp"

#include "tree/text_compare.hpp"
#include "write/unwritable.hpp"

#include <algorithm>
#include <cstddef>

namespace pkg_dbe_xml {

namespace {

[[nodiscard]] bool is_of_xml(const xmlAttr *attribute) noexcept {
    return attribute->ns != nullptr && same_text(attribute->ns->prefix, "xml") &&
           same_text(attribute->ns->href, k_xml_uri);
}

// An attribute of the namespace xml, and how many elements above it was found.
struct found_above {
    const xmlAttr *attribute;
    std::size_t distance;
};
using attributes_above = growing_array<found_above, 16>;

[[nodiscard]] int compare_names(const xmlAttr *left, const xmlAttr *right) noexcept {
    return xmlStrcmp(left->name, right->name);
}

// By namespace, where none comes first, then by name; in the order of code points, which is that of
// the bytes.
[[nodiscard]] int compare(const xmlAttr *left, const xmlAttr *right) noexcept {
    if (left->ns != right->ns) {
        const int order = xmlStrcmp(uri_of(left->ns), uri_of(right->ns));
        if (order != 0) {
            return order;
        }
    }
    return compare_names(left, right);
}

// Whether an element gets an attribute from those above it when these are left out.
[[nodiscard]] bool is_inherited(const xmlAttr *attribute, canonical_form form) noexcept {
    return form == canonical_form::version_1_0 || same_text(attribute->name, "lang") ||
           same_text(attribute->name, "space");
}

// The attribute xml:base; null when there is none.
[[nodiscard]] const xmlAttr *base_of(const xmlNode *element, poll_counter &poll) {
    const xmlAttr *attribute = element->properties;
    while (attribute != nullptr && !(is_of_xml(attribute) && same_text(attribute->name, "base"))) {
        attribute = attribute->next;
        poll.step();
    }
    return attribute;
}

// The value of a base that is joined, of texts and of entities that stand for text.
void append_value(const xmlAttr *attribute, joined_base &text) {
    for (const xmlNode *piece = attribute->children; piece != nullptr; piece = piece->next) {
        const xmlChar *content = piece->content;
        if (piece->type == XML_ENTITY_REF_NODE) {
            const xmlEntity *const entity = entity_to_write(piece);
            if (!is_text_only(entity)) {
                refuse_to_write(piece, "its entity is more than text, in a base that is joined");
            }
            content = entity->content;
        }
        const std::string_view bytes = view_of(content);
        text.append(bytes.data(), bytes.size());
    }
}

[[nodiscard]] const xmlNode *element_above(const xmlNode *element) noexcept {
    const xmlNode *const parent = element->parent;
    return parent != nullptr && parent->type == XML_ELEMENT_NODE ? parent : nullptr;
}

} // namespace

void canonical_attributes::collect(const xmlNode *element, poll_counter &poll) {
    attributes_.clear();
    take(element, poll);
    sort(element, poll);
}

void canonical_attributes::collect_topmost(const xmlNode *element, canonical_form form,
                                           poll_counter &poll) {
    attributes_.clear();
    take(element, poll);
    if (element_above(element) != nullptr) {
        inherit(element, form, poll);
        if (form == canonical_form::version_1_1) {
            join_base(element, poll);
        }
    }
    sort(element, poll);
}

void canonical_attributes::take(const xmlNode *element, poll_counter &poll) {
    for (const xmlAttr *attribute = element->properties; attribute != nullptr;
         attribute = attribute->next) {
        attributes_.push_back(attribute);
        poll.step();
    }
}

// Adds those of the namespace xml that the nearest elements above have and this one does not.
void canonical_attributes::inherit(const xmlNode *element, canonical_form form,
                                   poll_counter &poll) {
    attributes_above found;
    std::size_t distance = 0;
    for (const xmlNode *above = element; above != nullptr; above = element_above(above)) {
        poll.step();
        for (const xmlAttr *attribute = above->properties; attribute != nullptr;
             attribute = attribute->next) {
            poll.step();
            if (is_of_xml(attribute) && is_inherited(attribute, form)) {
                found.push_back({attribute, distance});
            }
        }
        ++distance;
    }
    std::sort(found.begin(), found.end(),
              [&poll](const found_above &left, const found_above &right) {
                  poll.step();
                  const int order = compare_names(left.attribute, right.attribute);
                  return order != 0 ? order < 0 : left.distance < right.distance;
              });
    const found_above *nearest = nullptr;
    for (const found_above &each : found) {
        if (nearest != nullptr && compare_names(nearest->attribute, each.attribute) == 0) {
            continue;
        }
        nearest = &each;
        if (each.distance > 0) {
            attributes_.push_back(each.attribute);
        }
    }
}

// Where elements above have a base, the element's becomes one with theirs. An empty one is left
// out.
void canonical_attributes::join_base(const xmlNode *element, poll_counter &poll) {
    const xmlAttr *const own = base_of(element, poll);
    const xmlAttr *nearest = own;
    joined_.clear();
    if (own != nullptr) {
        append_value(own, joined_);
    }
    joined_base value, next;
    bool has_any_above = false;
    for (const xmlNode *above = element_above(element); above != nullptr;
         above = element_above(above)) {
        poll.step();
        const xmlAttr *const base = base_of(above, poll);
        if (base == nullptr) {
            continue;
        }
        has_any_above = true;
        if (nearest == nullptr) {
            nearest = base;
            append_value(base, joined_);
            continue;
        }
        value.clear();
        append_value(base, value);
        join_bases(view_of(value), view_of(joined_), next);
        joined_.clear();
        joined_.append(next.data(), next.size());
        poll.step_over(next.size());
    }
    if (!has_any_above) {
        return;
    }
    if (joined_.empty() && own != nullptr) {
        const xmlAttr **const kept = std::remove(attributes_.begin(), attributes_.end(), own);
        attributes_.shrink(static_cast<std::size_t>(kept - attributes_.begin()));
    } else if (!joined_.empty()) {
        joined_attribute_ = nearest;
        joined_value_ = view_of(joined_);
        if (own == nullptr) {
            attributes_.push_back(nearest);
        }
    }
}

void canonical_attributes::sort(const xmlNode *element, poll_counter &poll) {
    if (attributes_.size() < 2) {
        return;
    }
    std::sort(attributes_.begin(), attributes_.end(),
              [&poll](const xmlAttr *left, const xmlAttr *right) {
                  poll.step();
                  return compare(left, right) < 0;
              });
    const auto same = [](const xmlAttr *left, const xmlAttr *right) noexcept {
        return compare(left, right) == 0;
    };
    if (std::adjacent_find(attributes_.begin(), attributes_.end(), same) != attributes_.end()) {
        refuse_to_write(element, "it has two attributes of one name");
    }
}

} // namespace pkg_dbe_xml
