// Attributes and their values, elements, and what is never changed.

#include "edit/tree_attributes.hpp"

#include "edit/character_data.hpp"
#include "edit/tree_texts.hpp"
#include "error_reports.hpp"
#include "libxml/xml.hpp"
#include "tree/id_attributes.hpp"
#include "tree/text_compare.hpp"

#include <bit>
#include <cstddef>
#include <cstdint>

namespace pkg_dbe_xml {

namespace {

// The single text below an attribute, if it may be changed without anybody noticing.
[[nodiscard]] xmlNodePtr changeable_text(const xmlAttr *attribute) noexcept {
    xmlNodePtr text = attribute->children;
    const bool changeable = text != nullptr && text->next == nullptr &&
                            text->type == XML_TEXT_NODE && text->children == nullptr &&
                            !is_kept(text);
    return changeable ? text : nullptr;
}

// The attribute is about to get another value.
void forget_id(xmlAttrPtr attribute) noexcept {
    forget_parsed_id(attribute);
    note_attribute_change(attribute);
}

void link_only_child(xmlAttrPtr attribute, xmlNodePtr text) noexcept {
    attribute->children = text;
    attribute->last = text;
    text->parent = as_node(attribute);
}

// The dictionary's string for a name it knows already. A name that it does not know is not added,
// since a dictionary never gives back what freed nodes were called.
[[nodiscard]] const xmlChar *dictionary_name(xmlDocPtr document, const xmlChar *name) noexcept {
    if (document == nullptr || document->dict == nullptr) {
        return nullptr;
    }
    return xmlDictExists(document->dict, name, -1);
}

[[nodiscard]] bool is_in_namespace(const xmlAttr *attribute, const xmlChar *uri) noexcept {
    return uri == nullptr ? attribute->ns == nullptr
                          : attribute->ns != nullptr && same_or_absent(attribute->ns->href, uri);
}

// Attributes of one element that are looked at by name; further ones are told apart by a hash of
// their name first.
constexpr std::size_t k_few_attributes = 8;

// Never null.
[[nodiscard]] void *hash_of(const xmlChar *name) noexcept {
    std::uint64_t hash = 1469598103934665603U;
    for (; *name != 0; ++name) {
        hash = (hash ^ *name) * 1099511628211U;
    }
    return std::bit_cast<void *>(static_cast<std::uintptr_t>(hash | 1U));
}

// The hash of an attribute's name is kept in its `psvi`, which libxml2 leaves alone.
[[nodiscard]] bool may_be_called(xmlAttr *attribute, const void *hash) noexcept {
    if (attribute->psvi == nullptr) {
        attribute->psvi = hash_of(attribute->name);
    }
    return attribute->psvi == hash;
}

struct attribute_place {
    xmlAttrPtr found; // null when the element has no such attribute; `last` is its last one then
    xmlAttrPtr last;
};

[[nodiscard]] attribute_place locate(const xmlNode *element, const xmlChar *name,
                                     const xmlChar *uri) noexcept {
    attribute_place place{nullptr, nullptr};
    const void *hash = nullptr;
    std::size_t seen = 0;
    for (xmlAttrPtr attribute = first_attribute(element); attribute != nullptr;
         attribute = attribute->next) {
        place.last = attribute;
        if (++seen > k_few_attributes) {
            hash = hash == nullptr ? hash_of(name) : hash;
            if (!may_be_called(attribute, hash)) {
                continue;
            }
        }
        if (is_in_namespace(attribute, uri) && same_or_absent(attribute->name, name)) {
            place.found = attribute;
            break;
        }
    }
    return place;
}

void link_behind(xmlNodePtr element, xmlAttrPtr last, xmlAttrPtr attribute) noexcept {
    attribute->parent = element;
    attribute->prev = last;
    (last == nullptr ? element->properties : last->next) = attribute;
    note_attribute_change(attribute);
}

} // namespace

xmlAttrPtr find_attribute(const xmlNode *element, const xmlChar *name,
                          const xmlChar *uri) noexcept {
    return locate(element, name, uri).found;
}

bool has_plain_attribute(const xmlNode *element, const xmlChar *name) {
    const host::tree_scope scope;
    const bool found =
        xmlHasNsProp(const_cast<xmlNodePtr>(element), name, nullptr) != nullptr; // reads only
    if (scope.refused()) {
        report(reports::out_of_memory);
    }
    return found;
}

xml_node_ptr new_attribute(xmlDocPtr document, const xmlChar *name, const text_bytes *value) {
    const host::tree_scope scope;
    // With a document the name comes from its dictionary.
    xmlDocPtr const names = dictionary_name(document, name) != nullptr ? document : nullptr;
    xml_node_ptr made(as_node(xmlNewDocProp(names, name, nullptr)));
    if (made != nullptr) {
        made->doc = document;
        if (value != nullptr) {
            link_only_child(reinterpret_cast<xmlAttrPtr>(made.get()),
                            new_text(document, *value).release());
        }
    }
    if (made == nullptr || scope.refused()) {
        report(reports::out_of_memory);
    }
    return made;
}

xml_node_ptr new_element(xmlDocPtr document, const xmlChar *name) {
    const host::tree_scope scope;
    const xmlChar *const known = dictionary_name(document, name);
    xml_node_ptr made(known != nullptr ? xmlNewDocNodeEatName(document, nullptr,
                                                              const_cast<xmlChar *>(known), nullptr)
                                       : xmlNewNode(nullptr, name));
    if (made == nullptr || scope.refused()) {
        report(reports::out_of_memory);
    }
    made->doc = document;
    return made;
}

void set_attribute_text(family &owner, xmlAttrPtr attribute, const text_bytes &value,
                        bool keep_empty_text) {
    const host::tree_scope scope;
    const bool empty = value.size == 0 && !keep_empty_text;
    xmlNodePtr const in_place = empty ? nullptr : changeable_text(attribute);
    if (in_place != nullptr) {
        xml_text_ptr content = copy_of_text(value);
        forget_id(attribute);
        replace_content(in_place, std::move(content));
        return;
    }
    xml_node_ptr text = empty ? nullptr : new_text(attribute->doc, value);
    retire_children(owner, as_node(attribute));
    forget_id(attribute);
    if (text != nullptr) {
        link_only_child(attribute, text.release());
    }
}

void set_attribute_of(family &owner, xmlNodePtr element, xmlNsPtr space, const xmlChar *name,
                      const text_bytes &value) {
    const attribute_place place = locate(element, name, space == nullptr ? nullptr : space->href);
    if (place.found != nullptr) {
        set_attribute_text(owner, place.found, value, true);
        place.found->ns = space;
    } else {
        xml_node_ptr made = new_attribute(element->doc, name, &value);
        made->ns = space;
        link_behind(element, place.last, reinterpret_cast<xmlAttrPtr>(made.release()));
    }
}

void link_attribute(xmlNodePtr element, xmlAttrPtr attribute) noexcept {
    xmlAttrPtr last = element->properties;
    while (last != nullptr && last->next != nullptr) {
        last = last->next;
    }
    link_behind(element, last, attribute);
}

} // namespace pkg_dbe_xml
