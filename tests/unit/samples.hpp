// One node of every type that handles can name, in a small document, and what is known of each:
// for tests that go over all types and all kinds of handles.
#pragma once

#include "trees.hpp"

#include <optional>
#include <string>

namespace samples {

using trees::XMLDomNodeType;

inline constexpr const char *k_text =
    "<!DOCTYPE r [<!ELEMENT r ANY><!ATTLIST r d CDATA 'dv'><!ENTITY e 'et<x/>'>"
    "<!NOTATION n SYSTEM 'n'>]>"
    "<r xmlns:p='urn:p' a='av' p:b='bv'>text<![CDATA[cd]]>&e;<?pi pd?><!--cm-->"
    "<p:c k='v'>t2</p:c></r>";

// A node and everything that the functions say of it. Types are libxml2's numbers, 0 where there
// is no such node.
struct sample {
    const char *label;
    int type;
    int parent, first, last, next;
    int first_element; // 1 when a child is an element
    int listed;        // members of the list of its children
    int below;         // elements below it
    int beside;        // nodes from it on, to its last sibling
    const char *raw;   // libxml2's name, null when it has none
    const char *name;  // DOM's name
    const char *value; // null when it has none
    const char *tag;   // as the tag name of an element, null when it has no name
    int attributes;    // members of its map
    bool in_namespace;
    int elements, counted_attributes, texts; // from it on
};

inline constexpr sample k_samples[] = {
    // label, type, parent, first, last, next, element?, listed, below, beside, raw, name, value,
    // tag, attributes, in a namespace, elements, attributes, texts
    {"root", 1, 9, 3, 1, 0, 1, 6, 1, 1, "r", "r", nullptr, "r", 2, false, 2, 3, 5},
    {"element", 1, 1, 3, 3, 0, 0, 1, 0, 1, "c", "p:c", nullptr, "p:c", 1, true, 1, 1, 2},
    {"attribute", 2, 1, 3, 3, 2, 0, 1, 0, 2, "a", "a", "av", "a", 0, false, 0, 2, 2},
    {"attribute in a namespace", 2, 1, 3, 3, 0, 0, 1, 0, 1, "b", "p:b", "bv", "p:b", 0, true, 0, 1,
     1},
    {"text", 3, 1, 0, 0, 4, 0, 0, 0, 6, "text", "#text", "text", "text", 0, false, 1, 1, 3},
    {"section", 4, 1, 0, 0, 5, 0, 0, 0, 5, nullptr, "#cdata-section", "cd", nullptr, 0, false, 1, 1,
     2},
    {"entity reference", 5, 1, 0, 0, 7, 0, 0, 0, 4, "e", "e", "et", "e", 0, false, 1, 1, 2},
    {"instruction", 7, 1, 0, 0, 8, 0, 0, 0, 3, "pi", "pi", "pd", "pi", 0, false, 1, 1, 2},
    {"comment", 8, 1, 0, 0, 1, 0, 0, 0, 2, "comment", "#comment", "cm", "comment", 0, false, 1, 1,
     2},
    {"document", 9, 0, 14, 1, 0, 1, 2, 2, 1, nullptr, "#document", nullptr, nullptr, 0, false, 3, 3,
     6},
    {"fragment", 11, 0, 0, 0, 0, 0, 0, 0, 1, nullptr, "#document-fragment", nullptr, nullptr, 0,
     false, 0, 0, 0},
    {"document type", 14, 9, 15, 17, 1, 0, 3, 0, 2, "r", "r", nullptr, "r", 0, false, 3, 3, 6},
    {"element declaration", 15, 14, 0, 0, 16, 0, 0, 0, 3, "r", "r", nullptr, "r", 0, false, 1, 0,
     1},
    {"attribute declaration", 16, 14, 0, 0, 17, 0, 0, 0, 2, "d", "d", nullptr, "d", 0, false, 1, 0,
     1},
    {"entity declaration", 17, 14, 3, 1, 0, 1, 2, 1, 1, "e", "e", nullptr, "e", 0, false, 1, 0, 1},
    {"element of an entity", 1, 17, 0, 0, 0, 0, 0, 0, 1, "x", "x", nullptr, "x", 0, false, 1, 0, 0},
    {"detached element", 1, 0, 0, 0, 0, 0, 0, 0, 1, "lone", "lone", nullptr, "lone", 0, false, 1, 0,
     0},
    {"detached text", 3, 0, 0, 0, 0, 0, 0, 0, 1, "text", "#text", "loose", "text", 0, false, 0, 0,
     1},
    {"detached attribute", 2, 0, 3, 3, 0, 0, 1, 0, 1, "l", "l", "lv", "l", 0, false, 0, 1, 1},
};
inline constexpr int k_count = static_cast<int>(std::size(k_samples));

inline constexpr XMLDomNodeType k_kinds[] = {
    XMLDomNodeType::attribute, XMLDomNodeType::document,
    XMLDomNodeType::element,   XMLDomNodeType::named_node_map,
    XMLDomNodeType::node,      XMLDomNodeType::node_list,
    XMLDomNodeType::text};

inline bool is_collection(XMLDomNodeType kind) {
    return kind == XMLDomNodeType::named_node_map || kind == XMLDomNodeType::node_list;
}
// Whether the functions of the library make handles of that kind for nodes of that type.
inline bool is_reachable(XMLDomNodeType kind, int type) {
    switch (kind) {
    case XMLDomNodeType::attribute:
        return type == 2 || type == 16;
    case XMLDomNodeType::document:
        return type == 9;
    case XMLDomNodeType::element:
        return type != 2 && type != 3 && type != 9;
    case XMLDomNodeType::named_node_map:
        return type == 2;
    case XMLDomNodeType::text:
        return type == 3;
    default:
        return true;
    }
}

// The document with all of them, and the nodes in the order of the table.
struct collection {
    sql::handle document;
    std::vector<xmlNodePtr> nodes;

    collection() : document(trees::parsed(k_text)) {
        xmlDocPtr tree = trees::document_of(document);
        xmlNodePtr root = xmlDocGetRootElement(tree);
        xmlNodePtr attribute = reinterpret_cast<xmlNodePtr>(root->properties);
        nodes = {root, root->last, attribute, attribute->next};
        for (xmlNodePtr child = root->children; child != root->last; child = child->next) {
            nodes.push_back(child);
        }
        nodes.push_back(trees::node_of(document));
        xmlNodePtr detached[4] = {};
        {
            const host::tree_scope scope;
            detached[0] = xmlNewDocFragment(tree);
            detached[1] = xmlNewDocNode(tree, nullptr, trees::xml("lone"), nullptr);
            detached[2] = xmlNewDocText(tree, trees::xml("loose"));
            detached[3] = reinterpret_cast<xmlNodePtr>(
                xmlNewDocProp(tree, trees::xml("l"), trees::xml("lv")));
        }
        nodes.push_back(detached[0]);
        nodes.push_back(root->prev);
        for (xmlNodePtr child = root->prev->children; child != nullptr; child = child->next) {
            nodes.push_back(child);
        }
        nodes.push_back(nodes.back()->last);
        nodes.insert(nodes.end(), detached + 1, detached + 4);
        // Detached nodes live as long as a handle names them.
        for (xmlNodePtr node : detached) {
            keepers.push_back(trees::named(document, node));
        }
    }
    // A handle of that kind for a node; of kind list, a list with the node as its only member.
    [[nodiscard]] sql::handle handle(int index, XMLDomNodeType kind) const {
        xmlNodePtr node = nodes[static_cast<std::size_t>(index)];
        if (kind == XMLDomNodeType::node_list) {
            return trees::list_of(document, {node});
        }
        // The only handle of kind document with a node id of its own would name no share.
        return kind == XMLDomNodeType::document && index == document_index()
                   ? document
                   : trees::named(document, node, kind);
    }
    [[nodiscard]] static int document_index() {
        int index = 0;
        while (k_samples[index].type != 9) {
            ++index;
        }
        return index;
    }

    std::vector<sql::handle> keepers;
};

} // namespace samples
