// Counting the nodes of a tree, and searching elements by name.
//
// The walks go by the links of the tree itself, so they need neither recursion nor a stack and
// hold for a tree of any depth. They enter children only where these name the node as their
// parent, and never below an entity reference.

#include "tree/pkg_xml_dom_common.hpp"

#include "tree/poll_counter.hpp"
#include "tree/text_compare.hpp"
#include "tree/typed_access.hpp"

namespace pkg_dbe_xml {

namespace {

xmlNodePtr own_first_child(const xmlNode *node) noexcept {
    xmlNodePtr child = first_child(node);
    return child != nullptr && child->parent == node ? child : nullptr;
}

// An external subset does not name its document as its parent.
const xmlNode *parent_of(const xmlNode *node) noexcept {
    if (node->parent == nullptr && node->type == XML_DTD_NODE) {
        return as_node(node->doc);
    }
    return node->parent;
}

bool stands_beside_children(const xmlNode *node, const xmlNode *parent) noexcept {
    return node->type == XML_ATTRIBUTE_NODE || external_subset(parent) == node;
}

// A walk over a chain of siblings and everything below: of each node first what hangs beside its
// children, then the children.
struct full_walk {
    const xmlNode *node; // null at the end
    std::size_t depth;   // below the chain the walk began with

    void advance() noexcept {
        const xmlNode *below = first_beside_children(node);
        if (below == nullptr) {
            below = own_first_child(node);
        }
        if (below != nullptr) {
            node = below;
            ++depth;
            return;
        }
        leave();
    }

  private:
    void leave() noexcept {
        while (node->next == nullptr) {
            const xmlNode *parent = depth == 0 ? nullptr : parent_of(node);
            if (parent == nullptr) {
                node = nullptr;
                return;
            }
            const xmlNode *child =
                stands_beside_children(node, parent) ? own_first_child(parent) : nullptr;
            if (child != nullptr) {
                node = child;
                return;
            }
            node = parent;
            --depth;
        }
        node = node->next;
    }
};

xmlNodePtr element_from(xmlNodePtr node) noexcept {
    while (node != nullptr && node->type != XML_ELEMENT_NODE) {
        node = node->next;
    }
    return node;
}

// The element after `node` in document order below `top`; null when there is none.
xmlNodePtr next_element_below(xmlNodePtr node, const xmlNode *top) noexcept {
    if (xmlNodePtr child = element_from(own_first_child(node))) {
        return child;
    }
    while (node != nullptr && node != top) {
        if (xmlNodePtr sibling = element_from(node->next)) {
            return sibling;
        }
        node = node->parent;
    }
    return nullptr;
}

bool is_wildcard(const xmlChar *text) noexcept { return text != nullptr && text[0] == '*'; }

bool namespace_matches(const xmlNode *node, const xmlChar *uri) noexcept {
    if (uri == nullptr || is_wildcard(uri)) {
        return true;
    }
    const xmlNs *record = namespace_of(node);
    return record != nullptr && same_text(record->href, uri);
}

} // namespace

int count_nodes(const xmlNode *node) {
    int count = 0;
    poll_counter poll;
    for (full_walk walk{node, 0}; walk.node != nullptr; walk.advance()) {
        ++count;
        poll.step();
    }
    return count;
}

void count_nodes_separate_type(const xmlNode *node, node_counts &counts) {
    poll_counter poll;
    for (full_walk walk{node, 0}; walk.node != nullptr; walk.advance()) {
        counts.elements += walk.node->type == XML_ELEMENT_NODE;
        counts.attributes += walk.node->type == XML_ATTRIBUTE_NODE;
        counts.texts += walk.node->type == XML_TEXT_NODE;
        poll.step();
    }
}

bool search_node_by_name(xmlNodePtr start, const xmlChar *name, const xmlChar *namespace_uri,
                         xmlListPtr list) {
    poll_counter poll;
    for (xmlNodePtr node = next_element_below(start, start); node != nullptr;
         node = next_element_below(node, start)) {
        if (!xml_node_pushback(node, name, namespace_uri, list)) {
            return false;
        }
        poll.step();
    }
    return true;
}

xmlNodePtr next_element_by_name(xmlNodePtr node, const xmlNode *top, const xmlChar *name) {
    poll_counter poll;
    do {
        node = next_element_below(node, top);
        poll.step();
    } while (node != nullptr && !same_text(node->name, name) && !is_wildcard(name));
    return node;
}

bool xml_node_pushback(xmlNodePtr node, const xmlChar *name, const xmlChar *namespace_uri,
                       xmlListPtr list) {
    if (node->type != XML_ELEMENT_NODE || !(same_text(node->name, name) || is_wildcard(name)) ||
        !namespace_matches(node, namespace_uri)) {
        return true;
    }
    return xml_list_pushback(node, list);
}

bool xml_list_pushback(xmlNodePtr node, xmlListPtr list) {
    return xmlListPushBack(list, node) == 1;
}

} // namespace pkg_dbe_xml
