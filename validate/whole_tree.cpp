// Validating trees as a whole: Relax NG, document type definitions, and identifiers of XML Schema.
//
// These write into the tree, and so they get a copy, unless the tree is of this call alone.
#include "bare_copy.hpp"
#include "services.hpp"
#include "tree_walk.hpp"
#include "validating.hpp"
#include "validation_reports.hpp"

#include <libxml/hash.h>
#include <libxml/valid.h>

#include <algorithm>
#include <exception>
#include <new>
#include <string>

// Validating by parts is not for everyone in later versions, but there is no other way that can be
// stopped.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace pkg_dbe_xml::validation {

namespace {

// What the stack of a server surely holds: libxml2 takes up to 1 kB for a level.
constexpr int k_most_levels = 1000;
constexpr unsigned k_elements_between_looks = 256;
// What a node counts as text, for the budget.
constexpr std::size_t k_bytes_of_node = 16;

struct whole_task {
    xmlDocPtr document;
    const compiled_schema *schema;
    complaint_list *complaints;
    tree_size size;
    unrefused_work work{};
    bool finished = false;
    bool unexplained = false; // not valid, and libxml2 does not say why
};

void run_xsd(whole_task &task) noexcept {
    xmlSchemaValidCtxtPtr const context = xmlSchemaNewValidCtxt(task.schema->xsd.get());
    if (context != nullptr) {
        xmlSchemaSetValidStructuredErrors(context, note_complaint, task.complaints);
        task.finished = xmlSchemaValidateDoc(context, task.document) >= 0;
        xmlSchemaFreeValidCtxt(context);
    }
}

void run_relax_ng(whole_task &task) noexcept {
    xmlRelaxNGValidCtxtPtr const context = xmlRelaxNGNewValidCtxt(task.schema->relax_ng.get());
    if (context != nullptr) {
        xmlRelaxNGSetValidStructuredErrors(context, note_complaint, task.complaints);
        const int result = xmlRelaxNGValidateDoc(context, task.document);
        task.finished = result >= 0;
        task.unexplained = result > 0 && task.complaints->errors == 0;
        xmlRelaxNGFreeValidCtxt(context);
    }
}

// libxml2's tables of identifiers stop growing, and chains of thousands are gone through for each
// more: they are made as wide as they may need to be, and without the document's dictionary, which
// would have to be searched for each value. A parse that found identifiers made a table itself;
// that one stays, since its attributes are not entered twice.
void make_tables(xmlDocPtr document, std::size_t attributes) noexcept {
    const int size =
        static_cast<int>(std::clamp<std::size_t>(attributes, 64, std::size_t{1} << 22U));
    if (document->ids == nullptr) {
        document->ids = xmlHashCreate(size);
    }
    if (document->refs == nullptr) {
        document->refs = xmlHashCreate(size);
    }
}

// libxml2 tells of a content model that is not deterministic when it meets it first, and not again
// by the same definition.
void note_ambiguous_content(complaint_list &complaints, const xmlNode *element) noexcept {
    ++complaints.errors;
    if (complaints.is_full()) {
        return;
    }
    try {
        complaints.found.push_back(
            {line_of(element), element, "error", XML_DTD_CONTENT_NOT_DETERMINIST,
             "the content model of this element's type is not deterministic", ""});
    } catch (const std::exception &) {
        complaints.lost_memory = true;
    }
}

// One element with its attributes and declarations of namespaces.
void check_by_dtd(whole_task &task, xmlValidCtxtPtr context, xmlNodePtr element) noexcept {
    xmlDocPtr const document = task.document;
    const std::size_t errors = task.complaints->errors;
    task.complaints->current = element;
    if (xmlValidateOneElement(context, document, element) <= 0 &&
        task.complaints->errors == errors) {
        note_ambiguous_content(*task.complaints, element);
    }
    for (xmlAttrPtr one = element->properties; one != nullptr; one = one->next) {
        xmlChar *const value = xmlNodeListGetString(document, one->children, 0);
        static_cast<void>(xmlValidateOneAttribute(context, document, element, one, value));
        xmlFree(value);
    }
    const xmlChar *const prefix = element->ns == nullptr ? nullptr : element->ns->prefix;
    for (xmlNsPtr record = element->nsDef; record != nullptr; record = record->next) {
        static_cast<void>(
            xmlValidateOneNamespace(context, document, element, prefix, record, record->href));
    }
}

// What xmlValidateDtd does, but element by element, so that the work can be stopped.
void run_dtd(whole_task &task) noexcept {
    xmlValidCtxtPtr const context = xmlNewValidCtxt();
    if (context == nullptr) {
        return;
    }
    xmlDocPtr const document = task.document;
    xmlDtdPtr const own = document->intSubset;
    xmlDtdPtr const outer = document->extSubset;
    document->intSubset = nullptr;
    document->extSubset = task.schema->dtd.get();
    drop_tables(document);
    make_tables(document, task.size.attributes);
    if (xmlValidateRoot(context, document) != 0) {
        unsigned elements = 0;
        xmlNodePtr const root = xmlDocGetRootElement(document);
        const xmlNode *node = root;
        while (node != nullptr && !task.complaints->is_full() &&
               (++elements % k_elements_between_looks != 0 || services().may_go_on(task.work, 0))) {
            if (node->type == XML_ELEMENT_NODE) {
                check_by_dtd(task, context, const_cast<xmlNodePtr>(node));
            }
            node = next_in_order(node, root);
        }
        task.finished = node == nullptr;
        task.complaints->current = nullptr;
        if (task.finished) {
            static_cast<void>(xmlValidateDocumentFinal(context, document));
        }
    } else {
        task.finished = true;
    }
    document->intSubset = own;
    document->extSubset = outer;
    xmlFreeValidCtxt(context);
}

void whole_step(void *state) noexcept {
    auto &task = *static_cast<whole_task *>(state);
    if (task.schema->dtd == nullptr) {
        make_tables(task.document, task.size.attributes);
    }
    xmlSetStructuredErrorFunc(task.complaints, note_complaint); // of document type definitions
    if (task.schema->xsd != nullptr) {
        run_xsd(task);
    } else if (task.schema->relax_ng != nullptr) {
        run_relax_ng(task);
    } else {
        run_dtd(task);
    }
}

// Reports a reference to an entity.
void refuse_entity(const xmlNode *reference) {
    services().report(reports::entity_in_tree, {reinterpret_cast<const char *>(reference->name)},
                      {});
}

// Returns their number.
std::size_t check_attributes(const xmlNode *element) {
    std::size_t count = 0;
    for (const xmlAttr *one = element->properties; one != nullptr; one = one->next) {
        ++count;
        for (const xmlNode *piece = one->children; piece != nullptr; piece = piece->next) {
            if (piece->type == XML_ENTITY_REF_NODE) {
                refuse_entity(piece);
            }
        }
    }
    return count;
}

// Levels of elements and references to entities, which are reported. Throws when the statement was
// asked to stop.
tree_size check_shape(const xmlNode *top) {
    int depth = 1;
    tree_size size;
    for (const xmlNode *node = top; node != nullptr;) {
        if (++size.nodes % 4096 == 0) {
            services().check_for_interrupts();
        }
        if (node->type == XML_ENTITY_REF_NODE) {
            refuse_entity(node);
        }
        if (node->type == XML_ELEMENT_NODE) {
            size.attributes += check_attributes(node);
        }
        if (node->type == XML_ELEMENT_NODE && node->children != nullptr) {
            if (++depth > k_most_levels) {
                services().report(reports::too_deep_to_validate, {std::to_string(k_most_levels)},
                                  {});
            }
            node = node->children;
            continue;
        }
        while (node != top && node->next == nullptr) {
            node = node->parent;
            --depth;
        }
        node = node == top ? nullptr : node->next;
    }
    return size;
}

const xmlNode *root_of(const xmlNode *tree) noexcept {
    return tree->type != XML_ELEMENT_NODE
               ? xmlDocGetRootElement(reinterpret_cast<xmlDocPtr>(const_cast<xmlNodePtr>(tree)))
               : tree;
}

// Validates a tree of this call. Reports as validate_tree.
void validate_whole(xmlDocPtr document, const compiled_schema &schema, complaint_list &complaints,
                    const tree_size &size) {
    whole_task task{document, &schema, &complaints, size};
    task.work.budget = services().budget_for(size.nodes * k_bytes_of_node);
    services().run_unrefused(task.work, whole_step, &task);
    services().check_for_interrupts();
    if (!task.finished && !complaints.is_full()) {
        services().end_stopped(task.work, reports::validation_over_budget);
        if (task.work.cancelled) { // the request to stop was withdrawn
            complaints.found.clear();
            complaints.errors = 0;
            task.work.polls = false;
            services().run_unrefused(task.work, whole_step, &task);
        }
    }
    drop_tables(document);
    if (task.unexplained) {
        complaints.errors = 1;
        complaints.found.push_back(
            {0, nullptr, "error", 0, "the document is not valid, and libxml2 gives no reason", ""});
    }
    if (!task.finished && !complaints.is_full() && complaints.errors == 0) {
        services().report(reports::validation_failed, {"it could not go on"}, {});
    }
}

void make_copy(const xmlNode *tree, const xmlNode *root, const tree_size &size, outcome &result) {
    if (bare_copy::fits(tree)) {
        result.copy = result.bare.make(tree, root, size);
    } else {
        result.copy = result.whole = services().copy(tree);
    }
}

} // namespace

outcome::~outcome() { services().free_document(whole); }

void validate_tree(const xmlNode *tree, bool is_own, const compiled_schema &schema,
                   outcome &result) {
    const xmlNode *const root = root_of(tree);
    complaint_list &complaints = result.complaints;
    if (root == nullptr) {
        complaints.errors = 1;
        complaints.found.push_back({0, nullptr, "error", 0, "the document has no element", ""});
        return;
    }
    bool whole = schema.xsd == nullptr || schema.needs_tree;
    if (!whole) {
        whole = validate_by_pieces(root, schema, complaints) && !complaints.is_full();
    }
    if (whole) {
        const tree_size size = check_shape(root);
        const std::size_t at_most = complaints.at_most;
        complaints = complaint_list{};
        complaints.at_most = at_most;
        auto *const own = reinterpret_cast<xmlDocPtr>(const_cast<xmlNodePtr>(tree));
        if (!is_own) {
            make_copy(tree, root, size, result);
        }
        validate_whole(is_own ? own : result.copy, schema, complaints, size);
    }
    if (complaints.lost_memory) {
        throw std::bad_alloc();
    }
    if (complaints.internal) {
        services().report(reports::validation_failed, {complaints.found.back().message}, {});
    }
}

} // namespace pkg_dbe_xml::validation
