// A copy of a tree that validation may write into. See bare_copy.hpp.
#include "bare_copy.hpp"

#include "identifier_tables.hpp"
#include "services.hpp"
#include "validation_reports.hpp"

#include <libxml/globals.h>

#include <sys/mman.h>

#include <bit>
#include <cstdint>

namespace pkg_dbe_xml::validation {

namespace {

constexpr unsigned k_nodes_between_looks = 4096;

struct block_request {
    std::size_t bytes;
    void *block = nullptr;
};

void allocate_step(void *state) noexcept {
    auto &request = *static_cast<block_request *>(state);
    request.block = xmlMalloc(request.bytes);
}

// Most of the time that a large copy takes goes into pages that are touched first: with 110 MB,
// validation by Relax NG took 104 ms of processor time, and takes 58.
void ask_for_large_pages([[maybe_unused]] void *block,
                         [[maybe_unused]] std::size_t bytes) noexcept {
#ifdef MADV_HUGEPAGE
    constexpr std::uintptr_t k_page = 4096;
    constexpr std::size_t k_worth_it = std::size_t{8} << 20U;
    if (bytes >= k_worth_it) {
        const std::uintptr_t start =
            (std::bit_cast<std::uintptr_t>(block) + k_page - 1) & ~(k_page - 1);
        const std::uintptr_t end = (std::bit_cast<std::uintptr_t>(block) + bytes) & ~(k_page - 1);
        static_cast<void>(madvise(std::bit_cast<void *>(start), end - start, MADV_HUGEPAGE));
    }
#endif
}

// What a new record has in common with that which it is a copy of.
template <class Record>
void set_place(Record *copy, const Record *source, xmlNodePtr parent, xmlDocPtr document) noexcept {
    *copy = Record{};
    copy->type = source->type;
    copy->name = source->name;
    copy->ns = source->ns;
    copy->parent = parent;
    copy->doc = document;
}

} // namespace

bare_copy::~bare_copy() {
    drop_tables(&document_);
    xmlFreeNsList(document_.oldNs); // the declaration of "xml", where it was looked for
    xmlFree(block_);
}

bool bare_copy::fits(const xmlNode *tree) noexcept {
    for (const xmlNode *above = tree->parent; above != nullptr; above = above->parent) {
        if (above->type == XML_ELEMENT_NODE && above->nsDef != nullptr) {
            return false;
        }
    }
    return true;
}

void bare_copy::allocate(const tree_size &size) {
    const std::size_t of_nodes = size.nodes * sizeof(xmlNode);
    block_request request{of_nodes + size.attributes * sizeof(xmlAttr)};
    unrefused_work work;
    work.budget = INT64_MAX / 2; // it counts towards the session's limit only
    services().run_unrefused(work, allocate_step, &request);
    block_ = request.block;
    work.starved = work.starved || block_ == nullptr;
    services().end_stopped(work, reports::validation_over_budget);
    ask_for_large_pages(block_, request.bytes);
    next_node_ = static_cast<xmlNodePtr>(block_);
    next_attribute_ = reinterpret_cast<xmlAttrPtr>(next_node_ + size.nodes);
}

xmlNodePtr bare_copy::copy_node(const xmlNode *source, xmlNodePtr parent) noexcept {
    xmlNodePtr const copy = next_node_++;
    set_place(copy, source, parent, &document_);
    copy->prev = parent->last;
    (parent->last == nullptr ? parent->children : parent->last->next) = copy;
    parent->last = copy;
    if (source->type == XML_ELEMENT_NODE) {
        copy->line = source->line;
        copy->nsDef = source->nsDef;
        copy_attributes(source, copy);
    } else {
        copy->content = source->content;
    }
    return copy;
}

void bare_copy::copy_attributes(const xmlNode *source, xmlNodePtr copy) noexcept {
    xmlAttrPtr last = nullptr;
    for (const xmlAttr *attribute = source->properties; attribute != nullptr;
         attribute = attribute->next) {
        xmlAttrPtr const made = next_attribute_++;
        set_place(made, attribute, copy, &document_);
        made->children = attribute->children;
        made->last = attribute->last;
        made->prev = last;
        (last == nullptr ? copy->properties : last->next) = made;
        last = made;
    }
}

void bare_copy::copy_below(const xmlNode *source, xmlNodePtr copy) {
    unsigned nodes = 0;
    for (const xmlNode *node = source;;) {
        if (++nodes % k_nodes_between_looks == 0) {
            services().check_for_interrupts();
        }
        if (node->type == XML_ELEMENT_NODE && node->children != nullptr) {
            node = node->children;
            copy = copy_node(node, copy);
            continue;
        }
        while (node != source && node->next == nullptr) {
            node = node->parent;
            copy = copy->parent;
        }
        if (node == source) {
            return;
        }
        node = node->next;
        copy = copy_node(node, copy->parent);
    }
}

xmlDocPtr bare_copy::make(const xmlNode *tree, const xmlNode *root, const tree_size &size) {
    allocate(size);
    document_.type = XML_DOCUMENT_NODE;
    document_.doc = &document_;
    document_.standalone = -1;
    if (tree->type != XML_ELEMENT_NODE) {
        // Types of XML Schema look entities up.
        const auto *const source = reinterpret_cast<const xmlDoc *>(tree);
        document_.standalone = source->standalone;
        document_.intSubset = source->intSubset;
    }
    copy_below(root, copy_node(root, reinterpret_cast<xmlNodePtr>(&document_)));
    return &document_;
}

} // namespace pkg_dbe_xml::validation
