// What passes from one document to another.

#include "edit/adoption.hpp"

#include "error_reports.hpp"
#include "host/error.hpp"
#include "libxml/xml.hpp"
#include "tree/poll_counter.hpp"
#include "tree/typed_access.hpp"

#include <libxml/entities.h>

#include <cstddef>

namespace pkg_dbe_xml {

namespace {

[[nodiscard]] bool is_missing(xmlDocPtr document, const xmlNode *node) noexcept {
    return node->type == XML_ENTITY_REF_NODE && xmlGetDocEntity(document, node->name) == nullptr;
}

[[nodiscard]] const xmlChar *missing_among(xmlDocPtr document, const xmlNode *child) noexcept {
    for (; child != nullptr; child = child->next) {
        if (is_missing(document, child)) {
            return child->name;
        }
    }
    return nullptr;
}

} // namespace

const xmlChar *missing_entity(xmlDocPtr document, const xmlNode *top) {
    if (is_missing(document, top)) {
        return top->name;
    }
    if (is_attribute(top)) {
        return missing_among(document, top->children);
    }
    poll_counter poll;
    for (xmlNodePtr node = const_cast<xmlNodePtr>(top); node != nullptr;
         node = next_below(node, top)) {
        poll.step();
        if (is_missing(document, node)) {
            return node->name;
        }
        for (const xmlAttr *attribute = first_attribute(node); attribute != nullptr;
             attribute = attribute->next) {
            if (const xmlChar *const name = missing_among(document, attribute->children)) {
                return name;
            }
        }
    }
    return nullptr;
}

xml_doc_ptr copy_empty_document(xmlDocPtr source) {
    const host::tree_scope scope;
    xml_doc_ptr made(xmlNewDoc(source->version));
    if (made != nullptr) {
        made->standalone = source->standalone;
        if (source->encoding != nullptr) {
            made->encoding = xmlStrdup(source->encoding);
        }
        if (source->URL != nullptr) {
            made->URL = xmlStrdup(source->URL);
        }
    }
    if (made == nullptr || scope.refused()) {
        report(reports::out_of_memory);
    }
    return made;
}

} // namespace pkg_dbe_xml
