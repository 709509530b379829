// Getting rid of large trees: of the document of a parse that was asked to stop, of those that a
// call frees, and of those that end with a transaction.
//
// Freeing the nodes of a large document takes a good part of the time that parsing it took, and
// whoever cancels a statement waits for it. So only what can be freed at once is; the rest goes
// when the session next parses or frees something, or ends.
#include "libxml/xml_parse_run.hpp"

#include <libxml/dict.h>
#include <libxml/hash.h>
#include <libxml/tree.h>

#include <algorithm>
#include <chrono>

// The table of references is not for everyone in later versions; it counts among what a document
// takes.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace host {

namespace {

constexpr int k_nodes_between_looks = 1024;
constexpr std::chrono::milliseconds k_patience{20};
// What a session may hold in all for its trees to be freed in one go: a few hundredths of a second.
constexpr std::int64_t k_quickly_freed = 64LL * 1024 * 1024;

// Nodes and handles that one brief release frees in a session that holds more: a hundredth of a
// second or so.
constexpr int k_briefly_freed = 65536;
constexpr int k_no_bound = -1;
// What is left of that; k_no_bound when there is no brief release.
constinit PKG_DBE_XML_SESSION_STORAGE int brief_count = k_no_bound;

// Documents that are still to be freed, chained by `next`.
constinit PKG_DBE_XML_SESSION_STORAGE xmlDocPtr abandoned = nullptr;

bool has_children_of_its_own(const xmlNode *node) noexcept {
    return node->type == XML_ELEMENT_NODE && node->children != nullptr;
}

// Frees up to `count` nodes of the chain of siblings that `place` stands in and of what is below
// it, from the front, leaves first, without `top`, which stands above the chain; counts them down.
// Leaves `place` where it goes on, so that a deep tree is gone down once: null when none is left.
void free_some_nodes(xmlNodePtr &place, const xmlNode *top, int &count) noexcept {
    for (; place != nullptr && count > 0; --count) {
        while (has_children_of_its_own(place)) {
            place = place->children;
        }
        xmlNodePtr const node = place;
        xmlNodePtr const parent = node->parent;
        place = node->next;
        if (place == nullptr && parent != top && parent != nullptr &&
            parent->type == XML_ELEMENT_NODE) {
            place = parent;
        }
        xmlUnlinkNode(node);
        xmlFreeNode(node);
    }
}

// Where to begin with a document; null when only the document and its declarations are left.
[[nodiscard]] xmlNodePtr first_to_free(const xmlDoc *document) noexcept {
    xmlNodePtr node = document->children;
    while (node != nullptr && node->type == XML_DTD_NODE) {
        node = node->next;
    }
    return node;
}

// Frees the siblings from `place` on and what is below them until `is_to_end`, which is asked after
// each of many nodes. False when something is left.
template <class Question>
[[nodiscard]] bool free_nodes(xmlNodePtr place, const xmlNode *top, Question is_to_end) noexcept {
    while (place != nullptr) {
        int count = k_nodes_between_looks;
        free_some_nodes(place, top, count);
        if (place != nullptr && is_to_end()) {
            return false;
        }
    }
    return true;
}
// The same of what stands in a document.
template <class Question>
[[nodiscard]] bool free_nodes_of(xmlDocPtr document, Question is_to_end) noexcept {
    return free_nodes(first_to_free(document), reinterpret_cast<xmlNodePtr>(document), is_to_end);
}

// What a brief release may still free of the chain that begins with `place`. False when something
// is left.
[[nodiscard]] bool free_nodes_briefly(xmlNodePtr place, const xmlNode *top) noexcept {
    free_some_nodes(place, top, brief_count);
    return place == nullptr;
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
    while (abandoned != nullptr && !interrupts_pending() &&
           free_nodes_of(abandoned, interrupts_pending)) {
        free_first_abandoned();
    }
}

int table_size(void *table) noexcept {
    return std::max(xmlHashSize(static_cast<xmlHashTablePtr>(table)), 0);
}

// About how many blocks a document takes beside its nodes.
std::int64_t count_of_rest(xmlDocPtr document) noexcept {
    std::int64_t count = table_size(document->ids) + table_size(document->refs);
    if (document->dict != nullptr) {
        count += std::max(xmlDictSize(document->dict), 0);
    }
    for (const xmlDtd *dtd : {document->intSubset, document->extSubset}) {
        if (dtd != nullptr) {
            count += table_size(dtd->notations) + table_size(dtd->elements) +
                     table_size(dtd->attributes) + table_size(dtd->entities) +
                     table_size(dtd->pentities);
        }
    }
    return count;
}

bool is_much() noexcept { return gate.bytes_in_use + gate.handle_bytes > k_quickly_freed; }

void free_document_briefly(xmlDocPtr document) noexcept {
    if (is_much() &&
        (!free_nodes_briefly(first_to_free(document), reinterpret_cast<xmlNodePtr>(document)) ||
         count_of_rest(document) > brief_count)) {
        abandon(document);
    } else {
        xmlFreeDoc(document);
    }
}

} // namespace

brief_release::brief_release() noexcept { brief_count = k_briefly_freed; }
brief_release::~brief_release() { brief_count = k_no_bound; }

bool may_free_handles(std::uint32_t count) noexcept {
    if (brief_count == k_no_bound || !is_much()) {
        return true;
    }
    if (count > static_cast<std::uint32_t>(brief_count)) {
        return false;
    }
    brief_count -= static_cast<int>(count);
    return true;
}

bool has_abandoned() noexcept { return abandoned != nullptr; }

void discard_document(xmlDocPtr document) noexcept {
    using clock = std::chrono::steady_clock;
    const clock::time_point end = clock::now() + k_patience;
    if (!free_nodes_of(document, [end]() noexcept { return clock::now() > end; })) {
        abandon(document);
        return;
    }
    xmlFreeDoc(document);
}

void free_document(xmlDocPtr document) noexcept {
    if (brief_count != k_no_bound) {
        if (document != nullptr) {
            free_document_briefly(document);
        }
        return;
    }
    free_abandoned();
    if (document != nullptr && gate.bytes_in_use > k_quickly_freed &&
        !free_nodes_of(document, interrupts_pending)) {
        abandon(document);
        return;
    }
    xmlFreeDoc(document);
}

bool free_tree(xmlNodePtr top) noexcept {
    if (brief_count != k_no_bound) {
        if (is_much() && has_children_of_its_own(top) && !free_nodes_briefly(top->children, top)) {
            return false;
        }
        xmlFreeNode(top);
        return true;
    }
    if (gate.bytes_in_use > k_quickly_freed && has_children_of_its_own(top) &&
        !free_nodes(top->children, top, interrupts_pending)) {
        return false;
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
    forget_parser_ctxt();
    while (abandoned != nullptr) {
        free_first_abandoned();
    }
}

} // namespace host
