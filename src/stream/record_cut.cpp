// See record_cut.hpp.
//
// A namespace that belongs to an element around records points to itself by `_private`, and while a
// record is cut loose to the one that stands for it there, which points back.
#include "stream/record_cut.hpp"

#include "libxml/xml.hpp"
#include "libxml/xml_parse_run.hpp"
#include "xml_owner.hpp"

#include <libxml/dict.h>
#include <libxml/valid.h>

// The table of references is not for everyone in later versions, and has to be emptied.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace pkg_dbe_xml {

namespace {

struct record_cut {
    xmlDocPtr from;
    xmlDocPtr to;
    xmlNodePtr top;
    xmlNsPtr last; // declared by `top`
};

[[nodiscard]] xmlNsPtr last_declaration(const xmlNode *element) noexcept {
    xmlNsPtr last = element->nsDef;
    while (last != nullptr && last->next != nullptr) {
        last = last->next;
    }
    return last;
}

// The declaration on the top that stands for one outside.
[[nodiscard]] xmlNsPtr declare(record_cut &cut, xmlNsPtr outer) noexcept {
    xmlNsPtr const made = xmlNewNs(nullptr, outer->href, outer->prefix);
    if (made == nullptr) {
        return nullptr; // the gate knows
    }
    (cut.last == nullptr ? cut.top->nsDef : cut.last->next) = made;
    cut.last = made;
    made->_private = outer;
    outer->_private = made;
    return made;
}

// What a node that uses `used` is to use in its own document.
[[nodiscard]] xmlNsPtr own_namespace(record_cut &cut, xmlNsPtr used) noexcept {
    if (used == nullptr) {
        return nullptr;
    }
    if (used->_private != nullptr) {
        auto *const found = static_cast<xmlNsPtr>(used->_private);
        return found != used ? found : declare(cut, used);
    }
    // That of the prefix xml belongs to no element.
    return used == cut.from->oldNs ? xmlSearchNs(cut.to, cut.top, BAD_CAST "xml") : used;
}

// Enters an attribute that identifies its element in the new document's table.
void move_id(const record_cut &cut, xmlAttrPtr attribute) noexcept {
    xmlRemoveID(cut.from, attribute);
    attribute->doc = cut.to;
    const xml_text_ptr value(xmlNodeListGetString(cut.to, attribute->children, 1));
    if (value != nullptr) {
        xmlAddID(nullptr, cut.to, value.get(), attribute);
    }
}

void move_attributes(record_cut &cut, const xmlNode *element) noexcept {
    for (xmlAttrPtr each = element->properties; each != nullptr; each = each->next) {
        for (xmlNodePtr text = each->children; text != nullptr; text = text->next) {
            text->doc = cut.to;
        }
        if (each->atype == XML_ATTRIBUTE_ID) [[unlikely]] {
            move_id(cut, each);
        }
        each->doc = cut.to;
        each->ns = own_namespace(cut, each->ns);
    }
}

[[nodiscard]] xmlNodePtr following(xmlNodePtr node, const xmlNode *top) noexcept {
    if (node->type == XML_ELEMENT_NODE && node->children != nullptr) {
        return node->children;
    }
    while (node != top && node->next == nullptr) {
        node = node->parent;
    }
    return node == top ? nullptr : node->next;
}

void move_nodes(record_cut &cut) noexcept {
    for (xmlNodePtr node = cut.top; node != nullptr; node = following(node, cut.top)) {
        node->doc = cut.to;
        if (node->type == XML_ELEMENT_NODE) {
            node->ns = own_namespace(cut, node->ns);
            move_attributes(cut, node);
        }
    }
}

// The marks of namespaces as they were.
void forget_copies(const record_cut &cut) noexcept {
    for (xmlNsPtr each = cut.top->nsDef; each != nullptr; each = each->next) {
        if (each->_private != nullptr) {
            auto *const outer = static_cast<xmlNsPtr>(each->_private);
            outer->_private = outer;
            each->_private = nullptr;
        }
    }
}

[[nodiscard]] xmlDocPtr new_document(const xmlParserCtxt &context) noexcept {
    xmlDocPtr const document = xmlNewDoc(nullptr);
    if (document != nullptr) {
        document->dict = context.dict;
        xmlDictReference(context.dict);
        document->parseFlags = context.options;
        document->properties = XML_DOC_WELLFORMED;
        document->standalone = -1;
    }
    return document;
}

} // namespace

void mark_as_outer(const xmlNode *anchor) noexcept {
    for (xmlNsPtr each = anchor->nsDef; each != nullptr; each = each->next) {
        each->_private = each;
    }
}

xmlDocPtr cut_record(xmlParserCtxt &context, xmlNodePtr top) noexcept {
    xmlDocPtr const document = new_document(context);
    if (document == nullptr) {
        return nullptr;
    }
    record_cut cut{context.myDoc, document, top, last_declaration(top)};
    xmlUnlinkNode(top);
    top->parent = reinterpret_cast<xmlNodePtr>(document);
    document->children = top;
    document->last = top;
    move_nodes(cut);
    forget_copies(cut);
    if (cut.from->refs != nullptr) [[unlikely]] { // these name nodes of the record
        xmlFreeRefTable(static_cast<xmlRefTablePtr>(cut.from->refs));
        cut.from->refs = nullptr;
    }
    if (host::gate.refused) {
        host::discard_document(document);
        return nullptr;
    }
    return document;
}

} // namespace pkg_dbe_xml
