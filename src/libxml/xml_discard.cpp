// Getting rid of large trees: of the document of a parse that was asked to stop, and of those that
// a call frees.
//
// Freeing the nodes of a large document takes a good part of the time that parsing it took, and
// whoever cancels a statement waits for it. So only what can be freed at once is; the rest goes
// when the session next parses or frees something, or ends.
#include "libxml/xml_parse_run.hpp"

#include <libxml/tree.h>

#include <chrono>

namespace host {

namespace {

constexpr int k_nodes_between_looks = 1024;
constexpr std::chrono::milliseconds k_patience{20};
// What a session may hold in all for its trees to be freed in one go: a few hundredths of a second.
constexpr std::int64_t k_quickly_freed = 64LL * 1024 * 1024;

// Documents that are still to be freed, chained by `next`.
constinit PKG_DBE_XML_SESSION_STORAGE xmlDocPtr abandoned = nullptr;

bool has_children_of_its_own(const xmlNode *node) noexcept {
    return node->type == XML_ELEMENT_NODE && node->children != nullptr;
}

// Frees up to `count` nodes of the chain of siblings that begins with `node` and of what is below
// it, from the front, leaves first, without `top`, which stands above the chain. False when none is
// left.
bool free_some_nodes(xmlNodePtr node, const xmlNode *top, int count) noexcept {
    while (node != nullptr && count > 0) {
        while (has_children_of_its_own(node)) {
            node = node->children;
        }
        xmlNodePtr parent = node->parent;
        xmlNodePtr next = node->next;
        if (next == nullptr && parent != top && parent != nullptr &&
            parent->type == XML_ELEMENT_NODE) {
            next = parent;
        }
        xmlUnlinkNode(node);
        xmlFreeNode(node);
        node = next;
        --count;
    }
    return node != nullptr;
}

// The same of a document; false when only the document and its declarations are left.
bool free_some_nodes(xmlDocPtr document, int count) noexcept {
    xmlNodePtr node = document->children;
    while (node != nullptr && node->type == XML_DTD_NODE) {
        node = node->next;
    }
    return free_some_nodes(node, reinterpret_cast<xmlNodePtr>(document), count);
}

int free_at_end_of_session() {
    forget_abandoned();
    return 0;
}

void abandon(xmlDocPtr document) noexcept {
    document->next = reinterpret_cast<xmlNodePtr>(abandoned);
    abandoned = document;
    if (u_sess.clean_up == nullptr) { // the session has nothing else yet
        u_sess.clean_up = free_at_end_of_session;
    }
}

void free_first_abandoned() noexcept {
    xmlDocPtr const document = abandoned;
    abandoned = reinterpret_cast<xmlDocPtr>(document->next);
    document->next = nullptr;
    xmlFreeDoc(document);
}

// Goes on with what was kept, until the statement is asked to stop.
void free_abandoned() noexcept {
    while (abandoned != nullptr && !interrupts_pending()) {
        if (!free_some_nodes(abandoned, k_nodes_between_looks)) {
            free_first_abandoned();
        }
    }
}

} // namespace

void discard_document(xmlDocPtr document) noexcept {
    using clock = std::chrono::steady_clock;
    const clock::time_point end = clock::now() + k_patience;
    while (free_some_nodes(document, k_nodes_between_looks)) {
        if (clock::now() > end) {
            abandon(document);
            return;
        }
    }
    xmlFreeDoc(document);
}

void free_document(xmlDocPtr document) noexcept {
    free_abandoned();
    if (document != nullptr && gate.bytes_in_use > k_quickly_freed) {
        while (free_some_nodes(document, k_nodes_between_looks)) {
            if (interrupts_pending()) {
                abandon(document);
                return;
            }
        }
    }
    xmlFreeDoc(document);
}

bool free_tree(xmlNodePtr top) noexcept {
    if (gate.bytes_in_use > k_quickly_freed && has_children_of_its_own(top)) {
        while (free_some_nodes(top->children, top, k_nodes_between_looks)) {
            if (interrupts_pending()) {
                return false;
            }
        }
    }
    xmlFreeNode(top);
    return true;
}

void hang_on_document(xmlNodePtr top) noexcept {
    auto *const document = reinterpret_cast<xmlNodePtr>(top->doc);
    top->parent = document;
    top->next = document->children;
    (top->next == nullptr ? document->last : top->next->prev) = top;
    document->children = top;
}

void release_abandoned() {
    free_abandoned();
    check_for_interrupts();
}

void forget_abandoned() noexcept {
    while (abandoned != nullptr) {
        free_first_abandoned();
    }
}

} // namespace host
