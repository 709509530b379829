// Whether two trees are the same document, and whether what is written of a tree reads back as the
// same one. Independent of the library: what libxml2 itself writes and reads.
#pragma once

#include "libxml/xml.hpp"

#include <gtest/gtest.h>

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <algorithm>
#include <string>
#include <vector>

namespace trees {

inline std::string string_of(const xmlChar *text) {
    return text == nullptr ? "" : reinterpret_cast<const char *>(text);
}

// A tree as lines that say what the DOM sees of it: namespaces and prefixes of names, attributes in
// the order of their names, neighbouring texts as one, and neighbouring CDATA sections.
class description {
  public:
    static std::string of(const xmlNode *top) {
        description made;
        made.walk(top);
        made.flush();
        return made.text_;
    }

  private:
    void flush() {
        if (!pending_.empty()) {
            text_ += (pending_is_section_ ? "cdata " : "text ") + pending_ + "\n";
            pending_.clear();
        }
    }
    // A parser joins neighbouring texts, and neighbouring CDATA sections.
    void add_pending(const xmlNode *node) {
        const bool is_section = node->type == XML_CDATA_SECTION_NODE;
        if (is_section != pending_is_section_) {
            flush();
        }
        pending_is_section_ = is_section;
        pending_ += string_of(node->content);
    }
    static std::string name_of(const xmlNode *node) {
        std::string name;
        if (node->ns != nullptr && node->ns->href != nullptr && *node->ns->href != 0) {
            name = "{" + string_of(node->ns->href) + "}";
            if (node->ns->prefix != nullptr) {
                name += string_of(node->ns->prefix) + ":";
            }
        }
        return name + string_of(node->name);
    }
    void begin(const xmlNode *node) {
        if (is_empty(node)) {
            return;
        }
        if (node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE) {
            add_pending(node);
            return;
        }
        flush();
        switch (node->type) {
        case XML_ELEMENT_NODE:
            text_ += "element " + name_of(node) + "\n";
            attributes(node);
            break;
        case XML_COMMENT_NODE:
            text_ += "comment " + string_of(node->content) + "\n";
            break;
        case XML_PI_NODE:
            text_ += "pi " + string_of(node->name) + " " + string_of(node->content) + "\n";
            break;
        case XML_ENTITY_REF_NODE:
            text_ += "reference " + string_of(node->name) + "\n";
            break;
        default:
            break;
        }
    }
    void attributes(const xmlNode *element) {
        std::vector<std::string> lines;
        for (const xmlAttr *attribute = element->properties; attribute != nullptr;
             attribute = attribute->next) {
            std::string value;
            for (const xmlNode *child = attribute->children; child != nullptr;
                 child = child->next) {
                value += child->type == XML_ENTITY_REF_NODE ? "&" + string_of(child->name) + ";"
                                                            : string_of(child->content);
            }
            lines.push_back("  " + name_of(reinterpret_cast<const xmlNode *>(attribute)) + "=" +
                            value + "\n");
        }
        std::sort(lines.begin(), lines.end());
        for (const std::string &line : lines) {
            text_ += line;
        }
    }
    void walk(const xmlNode *top) {
        const xmlNode *node = top;
        for (;;) {
            begin(node);
            const bool enters = node->type != XML_ENTITY_REF_NODE && node->type != XML_DTD_NODE &&
                                node->type != XML_ATTRIBUTE_NODE && node->children != nullptr;
            if (enters) {
                node = node->children;
                continue;
            }
            end(node);
            while (node != top && node->next == nullptr) {
                node = node->parent;
                end(node);
            }
            if (node == top) {
                return;
            }
            node = node->next;
        }
    }
    void end(const xmlNode *node) {
        if (node->type == XML_ELEMENT_NODE) {
            flush();
            text_ += "end\n";
        }
    }
    // A parser gives nothing for texts and CDATA sections that hold nothing.
    static bool is_empty(const xmlNode *node) {
        return (node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE) &&
               (node->content == nullptr || *node->content == 0);
    }
    std::string text_;
    std::string pending_; // of texts, or of CDATA sections
    bool pending_is_section_ = false;
};

// What libxml2 writes of a node, without indentation.
inline std::string written(xmlNodePtr node) {
    const host::xml_scope scope;
    xmlBufferPtr const buffer = xmlBufferCreate();
    if (node->type == XML_DOCUMENT_NODE) {
        for (xmlNodePtr child = node->children; child != nullptr; child = child->next) {
            xmlNodeDump(buffer, node->doc, child, 0, 0);
        }
    } else if (node->type == XML_DOCUMENT_FRAG_NODE) {
        for (xmlNodePtr child = node->children; child != nullptr; child = child->next) {
            xmlNodeDump(buffer, node->doc, child, 0, 0);
        }
    } else {
        xmlNodeDump(buffer, node->doc, node, 0, 0);
    }
    std::string text = string_of(xmlBufferContent(buffer));
    xmlBufferFree(buffer);
    return text;
}

// Whether the tree that a node stands in, if its top is an element or a document with a root,
// reads back as it is.
inline ::testing::AssertionResult reads_back(xmlNodePtr node) {
    while (node->parent != nullptr) {
        node = node->parent;
    }
    const bool is_document = node->type == XML_DOCUMENT_NODE;
    if (node->type != XML_ELEMENT_NODE &&
        !(is_document && xmlDocGetRootElement(node->doc) != nullptr)) {
        return ::testing::AssertionSuccess();
    }
    const std::string text = written(node);
    xmlDocPtr copy = nullptr;
    {
        const host::xml_scope scope;
        copy = xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, "UTF-8",
                             XML_PARSE_HUGE | XML_PARSE_NONET);
    }
    if (copy == nullptr) {
        return ::testing::AssertionFailure() << "is not read: " << text;
    }
    const std::string expected = description::of(node);
    const std::string actual = description::of(is_document ? reinterpret_cast<xmlNodePtr>(copy)
                                                           : xmlDocGetRootElement(copy));
    {
        const host::xml_scope scope;
        xmlFreeDoc(copy);
    }
    if (expected != actual) {
        return ::testing::AssertionFailure() << "reads back as another tree:\n"
                                             << text << "\nwas\n"
                                             << expected << "is\n"
                                             << actual;
    }
    return ::testing::AssertionSuccess();
}

} // namespace trees
