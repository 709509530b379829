// What the trees of the session take of the process's memory, for administrators.
//
// A tree is measured by going through it: each node, name and text counts with the size of the
// block that it needs, strings of the document's dictionary once with the dictionary. Nodes
// that a document keeps for handles that still name them, and documents imported into it, count
// with it.

#include "functions/call_frame.hpp"
#include "growing_array.hpp"
#include "host/error.hpp"
#include "libxml/xml.hpp"
#include "registry/dom_map.hpp"
#include "text/text_argument.hpp"
#include "tree/typed_access.hpp"

#include <libxml/dict.h>
#include <libxml/valid.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>

// The particles of a content model are not for everyone in later versions, but there is no other
// way to count them.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace pkg_dbe_xml {

namespace {

using report_text = growing_array<xmlChar, 512>;

struct tree_size {
    std::int64_t nodes;
    std::int64_t bytes;
};

std::int64_t block_size(std::size_t size) noexcept {
    return static_cast<std::int64_t>(host::allocation_cost(size));
}

// Adds up the parts of one document and what is kept with it.
class tree_measure {
  public:
    explicit tree_measure(xmlDictPtr dictionary) noexcept : dictionary_(dictionary) {}

    void document(const xmlDoc *document) {
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
        if (const xmlNode *external =
                external_subset(reinterpret_cast<const xmlNode *>(document))) {
            subset(reinterpret_cast<const xmlDtd *>(external));
        }
    }

    void subtree(xmlNodePtr top) {
        for (xmlNodePtr node = top; node != nullptr; node = next_below(node, top)) {
            one_node(node);
            if ((++steps_ & 4095U) == 0) {
                host::check_for_interrupts();
            }
        }
    }

    void namespaces(const xmlNs *record) noexcept {
        for (; record != nullptr; record = record->next) {
            size_.bytes += block_size(sizeof(xmlNs));
            string(record->href);
            string(record->prefix);
        }
    }

    [[nodiscard]] tree_size size() const noexcept {
        tree_size total = size_;
        if (dictionary_ != nullptr) {
            // libxml2 keeps a record of 40 bytes or so for each string.
            total.bytes += static_cast<std::int64_t>(xmlDictGetUsage(dictionary_)) +
                           std::int64_t{40} * std::max(xmlDictSize(dictionary_), 0);
        }
        return total;
    }

  private:
    void add(std::size_t bytes) noexcept {
        ++size_.nodes;
        size_.bytes += block_size(bytes);
    }

    void string(const xmlChar *text) noexcept {
        if (text != nullptr && (dictionary_ == nullptr || xmlDictOwns(dictionary_, text) != 1)) {
            size_.bytes += block_size(static_cast<std::size_t>(xmlStrlen(text)) + 1);
        }
    }

    void one_node(const xmlNode *node) {
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

    void subset(const xmlDtd *dtd) {
        add(sizeof(xmlDtd));
        string(dtd->name);
        string(dtd->ExternalID);
        string(dtd->SystemID);
        for (const xmlNode *child = dtd->children; child != nullptr; child = child->next) {
            declaration(child);
        }
    }

    void declaration(const xmlNode *node) {
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

    void entity(const xmlEntity *entity) {
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

    // The particles of a content model.
    void model(const xmlElementContent *top) {
        const xmlElementContent *particle = top;
        while (particle != nullptr) {
            size_.bytes += block_size(sizeof(xmlElementContent));
            if (particle->c1 != nullptr) {
                particle = particle->c1;
                continue;
            }
            while (particle != nullptr && particle != top &&
                   (particle->parent == nullptr || particle->parent->c2 == particle ||
                    particle->parent->c2 == nullptr)) {
                particle = particle->parent;
            }
            particle = particle == nullptr || particle == top ? nullptr : particle->parent->c2;
        }
    }

    xmlDictPtr dictionary_;
    tree_size size_{0, 0};
    std::uint32_t steps_ = 0;
};

tree_size measure(const XMLHashEntry &entry) {
    const auto *document = static_cast<const xmlDoc *>(entry.object);
    tree_measure measured(document->dict);
    measured.document(document);
    const family &owner = *find_family(entry); // a document that is named has one
    detached_trees detached;
    detached.collect(owner);
    for (xmlNodePtr const root : detached) {
        measured.subtree(root);
    }
    measured.namespaces(owner.namespaces);
    for (std::size_t i = 0; i < owner.copies.count; ++i) {
        measured.document(owner.copies.objects[i]);
    }
    return measured.size();
}

void append_line(report_text &text, const char *name, const tree_size &size) {
    char line[128];
    const int length =
        std::snprintf(line, sizeof line, "%s %lld %lld\n", name, static_cast<long long>(size.nodes),
                      static_cast<long long>(size.bytes));
    text.append(reinterpret_cast<const xmlChar *>(line), static_cast<std::size_t>(length));
}

struct collected_text {
    report_text text;
    tree_size total{0, 0};
};

// One line for a document handle.
void append_document(const XMLHashEntry &entry, void *state) {
    if (xml_getdom_nodeid(&entry.key) != 0 || entry.kind != XMLDomNodeType::document ||
        !is_document(as_node(entry.object))) {
        return;
    }
    auto &collected = *static_cast<collected_text *>(state);
    char name[2 * k_key_size + 1];
    for (std::size_t i = 0; i < k_key_size; ++i) {
        std::snprintf(name + 2 * i, 3, "%02X", std::to_integer<unsigned>(entry.key.bytes[i]));
    }
    const tree_size size = measure(entry);
    collected.total.nodes += size.nodes;
    append_line(collected.text, name, size);
}

} // namespace

// The memory behind each document handle of the session, and all that libxml2 holds for it.
//
// One line for each document handle: its 26 hexadecimal digits, the nodes of its tree and their
// bytes; documents that share a tree each tell of all of it. A last line "all" gives the nodes told
// of and the bytes of every block that libxml2 holds in this session, parser objects and what a
// cancelled parse has left included. Takes the time of a walk through all trees; can be cancelled.
PKG_DBE_XML_FUNCTION(xml_dom_get_memory_info) {
    collected_text collected;
    xml_for_each_hashentry(append_document, &collected);
    collected.total.bytes = std::max<std::int64_t>(host::gate.bytes_in_use, 0);
    append_line(collected.text, "all", collected.total);
    const std::size_t size = collected.text.size() - 1; // without the last line's end
    collected.text.push_back(0);
    return text_result(collected.text.data(), size);
}

} // namespace pkg_dbe_xml
