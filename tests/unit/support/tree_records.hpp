// The bytes of all records of a tree, of its document and of its values: to show that somebody who
// was only to read it has written nowhere.
#pragma once

#include <libxml/tree.h>

#include <string>

namespace trees {

class records {
  public:
    static std::string of(xmlDocPtr document) {
        records made;
        made.add(*document);
        made.add_below(reinterpret_cast<const xmlNode *>(document));
        return made.bytes_;
    }

  private:
    template <class Record> void add(const Record &record) {
        bytes_.append(reinterpret_cast<const char *>(&record), sizeof record);
    }
    void add_text(const xmlChar *text) {
        bytes_ += text == nullptr ? "" : reinterpret_cast<const char *>(text);
    }
    void add_element(const xmlNode *element) {
        add(*element);
        for (const xmlNs *record = element->nsDef; record != nullptr; record = record->next) {
            add(*record);
        }
        for (const xmlAttr *one = element->properties; one != nullptr; one = one->next) {
            add(*one);
            for (const xmlNode *piece = one->children; piece != nullptr; piece = piece->next) {
                add(*piece);
                add_text(piece->content);
            }
        }
    }
    void add_node(const xmlNode *node) {
        if (node->type == XML_ELEMENT_NODE) {
            add_element(node);
        } else if (node->type == XML_DTD_NODE) {
            add(*reinterpret_cast<const xmlDtd *>(node));
        } else {
            add(*node);
            add_text(node->content);
        }
    }
    void add_below(const xmlNode *top) {
        for (const xmlNode *node = top->children; node != nullptr;) {
            add_node(node);
            if (node->type == XML_ELEMENT_NODE && node->children != nullptr) {
                node = node->children;
                continue;
            }
            while (node != top && node->next == nullptr) {
                node = node->parent;
            }
            node = node == top ? nullptr : node->next;
        }
    }

    std::string bytes_;
};

} // namespace trees
