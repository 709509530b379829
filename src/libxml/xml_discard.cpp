// Getting rid of the document of a parse that was asked to stop.
//
// Freeing the nodes of a large document takes a good part of the time that parsing it took, and
// whoever cancels a statement waits for it. So only what can be freed at once is; the rest goes
// when the session next parses something, or ends.
#include "libxml/xml_parse_run.hpp"

#include <libxml/tree.h>

#include <chrono>

namespace host {

namespace {

constexpr int k_nodes_between_looks = 1024;
constexpr std::chrono::milliseconds k_patience{20};

constinit PKG_DBE_XML_SESSION_STORAGE xmlDocPtr abandoned = nullptr;

bool has_children_of_its_own(const xmlNode *node) noexcept {
    return node->type == XML_ELEMENT_NODE && node->children != nullptr;
}

// Frees up to `count` nodes of the document from the front, leaves first; false when only the
// document and its declarations are left.
bool free_some_nodes(xmlDocPtr document, int count) noexcept {
    xmlNodePtr node = document->children;
    while (node != nullptr && node->type == XML_DTD_NODE) {
        node = node->next;
    }
    while (node != nullptr && count > 0) {
        while (has_children_of_its_own(node)) {
            node = node->children;
        }
        xmlNodePtr parent = node->parent;
        xmlNodePtr next = node->next;
        if (next == nullptr && parent != nullptr && parent->type == XML_ELEMENT_NODE) {
            next = parent;
        }
        xmlUnlinkNode(node);
        xmlFreeNode(node);
        node = next;
        --count;
    }
    return node != nullptr;
}

int free_at_end_of_session() {
    forget_abandoned();
    return 0;
}

} // namespace

void discard_document(xmlDocPtr document) noexcept {
    using clock = std::chrono::steady_clock;
    const clock::time_point end = clock::now() + k_patience;
    if (abandoned == nullptr) {
        while (free_some_nodes(document, k_nodes_between_looks)) {
            if (clock::now() > end) {
                abandoned = document;
                if (u_sess.clean_up == nullptr) { // the session has nothing else yet
                    u_sess.clean_up = free_at_end_of_session;
                }
                return;
            }
        }
    }
    xmlFreeDoc(document);
}

void release_abandoned() {
    while (abandoned != nullptr && free_some_nodes(abandoned, k_nodes_between_looks)) {
        check_for_interrupts();
    }
    xmlFreeDoc(abandoned);
    abandoned = nullptr;
}

void forget_abandoned() noexcept {
    xmlFreeDoc(abandoned);
    abandoned = nullptr;
}

} // namespace host
