// What a tree takes of the process's memory.
#include "tree/tree_sizes.hpp"

#include "libxml/content_model.hpp"
#include "libxml/xml.hpp"
#include "tree/typed_access.hpp"

#include <libxml/valid.h>

#include <algorithm>

// The particles of a content model are not for everyone in later versions, but there is no other
// way to count them.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace pkg_dbe_xml {

namespace {

std::int64_t block_size(std::size_t size) noexcept {
    return static_cast<std::int64_t>(host::allocation_cost(size));
}

} // namespace

void tree_measure::document(const xmlDoc *document) {
    add(sizeof(xmlDoc));
    string(document->version);
    string(document->encoding);
    string(document->URL);
    for (xmlNodePtr child = document->children; child != nullptr; child = child->next) {
        if (child->type == XML_DTD_NODE) {
            subset(reinterpret_cast<const xmlDtd *>(child));
        } else {
            subtree(child);
        }
    }
    if (const xmlNode *external = external_subset(reinterpret_cast<const xmlNode *>(document))) {
        subset(reinterpret_cast<const xmlDtd *>(external));
    }
}

void tree_measure::subtree(xmlNodePtr top) {
    for (xmlNodePtr node = top; node != nullptr; node = next_below(node, top)) {
        one_node(node);
        poll_.step();
    }
}

void tree_measure::namespaces(const xmlNs *record) noexcept {
    for (; record != nullptr; record = record->next) {
        size_.bytes += block_size(sizeof(xmlNs));
        string(record->href);
        string(record->prefix);
    }
}

tree_size tree_measure::size() const noexcept {
    tree_size total = size_;
    if (dictionary_ != nullptr) {
        // libxml2 keeps a record of 40 bytes or so for each string.
        total.bytes += static_cast<std::int64_t>(xmlDictGetUsage(dictionary_)) +
                       std::int64_t{40} * std::max(xmlDictSize(dictionary_), 0);
    }
    return total;
}

void tree_measure::add(std::size_t bytes) noexcept {
    ++size_.nodes;
    size_.bytes += block_size(bytes);
}

void tree_measure::string(const xmlChar *text) noexcept {
    if (text != nullptr && (dictionary_ == nullptr || xmlDictOwns(dictionary_, text) != 1)) {
        size_.bytes += block_size(static_cast<std::size_t>(xmlStrlen(text)) + 1);
    }
}

void tree_measure::one_node(const xmlNode *node) {
    add(node->type == XML_ATTRIBUTE_NODE ? sizeof(xmlAttr) : sizeof(xmlNode));
    const xmlChar *content = own_content(node);
    // libxml2 keeps the shortest texts within the node.
    if (content != reinterpret_cast<const xmlChar *>(&node->properties)) {
        string(content);
    }
    if (node->type == XML_ELEMENT_NODE || node->type == XML_ATTRIBUTE_NODE ||
        node->type == XML_PI_NODE || node->type == XML_ENTITY_REF_NODE) {
        string(node->name);
    }
    namespaces(declared_namespaces(node));
    for (xmlAttrPtr attribute = first_attribute(node); attribute != nullptr;
         attribute = attribute->next) {
        auto *top = reinterpret_cast<xmlNodePtr>(attribute);
        for (xmlNodePtr part = top; part != nullptr; part = next_below(part, top)) {
            add(part->type == XML_ATTRIBUTE_NODE ? sizeof(xmlAttr) : sizeof(xmlNode));
            string(part == top ? part->name : own_content(part));
        }
    }
}

void tree_measure::subset(const xmlDtd *dtd) {
    add(sizeof(xmlDtd));
    string(dtd->name);
    string(dtd->ExternalID);
    string(dtd->SystemID);
    for (const xmlNode *child = dtd->children; child != nullptr; child = child->next) {
        declaration(child);
    }
}

void tree_measure::declaration(const xmlNode *node) {
    switch (node->type) {
    case XML_ENTITY_DECL:
        entity(reinterpret_cast<const xmlEntity *>(node));
        break;
    case XML_ELEMENT_DECL:
        add(sizeof(xmlElement));
        model(reinterpret_cast<const xmlElement *>(node)->content);
        break;
    case XML_ATTRIBUTE_DECL:
        add(sizeof(xmlAttribute));
        string(declared_default(node));
        break;
    default:
        one_node(node); // comments and processing instructions
    }
}

void tree_measure::entity(const xmlEntity *entity) {
    add(sizeof(xmlEntity));
    string(entity->content);
    string(entity->orig);
    string(entity->ExternalID);
    string(entity->SystemID);
    string(entity->URI);
    for (xmlNodePtr child = entity->children; child != nullptr;
         child = child == entity->last ? nullptr : child->next) {
        subtree(child);
    }
}

void tree_measure::model(const xmlElementContent *top) {
    for (const xmlElementContent *particle = top; particle != nullptr;
         particle = host::next_particle(particle, top)) {
        size_.bytes += block_size(sizeof(xmlElementContent));
    }
}

} // namespace pkg_dbe_xml
