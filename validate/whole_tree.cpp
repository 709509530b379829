// Validating trees as a whole: Relax NG, document type definitions, and identifiers of XML Schema.
//
// Relax NG and XML Schema write into the tree, and so they get a copy, unless the tree is of this
// call alone.
#include "attribute_values.hpp"
#include "identifier_tables.hpp"
#include "services.hpp"
#include "validating.hpp"
#include "validation_reports.hpp"
#include "whole_task.hpp"

#include <algorithm>
#include <exception>
#include <new>
#include <string>

namespace pkg_dbe_xml::validation {

namespace {

// What the stack of a server surely holds: libxml2 takes up to 1 kB for a level.
constexpr int k_most_levels = 1000;
// What a node counts as text, for the budget.
constexpr std::size_t k_bytes_of_node = 16;

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

void whole_step(void *state) noexcept {
    auto &task = *static_cast<whole_task *>(state);
    xmlSetStructuredErrorFunc(task.complaints, note_complaint); // of document type definitions
    if (task.schema->dtd != nullptr) {
        check_by_definition(task);
        return;
    }
    make_tables(task.document, task.size.attributes);
    if (task.schema->xsd != nullptr) {
        run_xsd(task);
    } else {
        run_relax_ng(task);
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
        if (length_of(*one, false).bytes > k_longest_copied_value) {
            services().report(reports::value_too_long_to_validate,
                              {reinterpret_cast<const char *>(one->name)}, {});
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

xmlDocPtr document_of(const xmlNode *tree) noexcept {
    return tree->type == XML_ELEMENT_NODE
               ? nullptr
               : reinterpret_cast<xmlDocPtr>(const_cast<xmlNodePtr>(tree));
}

// Validates a tree of this call, or by a document type definition one of others. Reports as
// validate_tree.
void validate_whole(const xmlNode *tree, const compiled_schema &schema, complaint_list &complaints,
                    const tree_size &size) {
    xmlDocPtr const document = document_of(tree);
    whole_task task{root_of(tree), document, &schema, &complaints, size};
    task.work.budget = services().budget_for(size.nodes * k_bytes_of_node);
    services().run_unrefused(task.work, whole_step, &task);
    services().check_for_interrupts();
    if (!task.finished && !complaints.is_full()) {
        services().end_stopped(task.work, reports::validation_over_budget);
        if (task.work.cancelled) { // the request to stop was withdrawn
            complaints.clear();
            task.work.polls = false;
            services().run_unrefused(task.work, whole_step, &task);
        }
    }
    if (schema.dtd == nullptr) {
        drop_tables(document);
    }
    if (task.unexplained) {
        complaints.errors = 1;
        complaints.found.push_back(
            {0, nullptr, "error", 0, "the document is not valid, and libxml2 gives no reason", ""});
    }
    if (!task.finished && !complaints.is_full() && complaints.errors == 0) {
        services().report(reports::validation_failed, {"it could not go on"}, {});
    }
}

// The tree that libxml2 is to be shown: a copy, unless nobody else has the tree or it is only read.
const xmlNode *shown_tree(const xmlNode *tree, const compiled_schema &schema, const tree_size &size,
                          outcome &result) {
    if (!bare_copy::fits(tree)) {
        result.copy = result.whole = services().copy(tree);
    } else if (schema.dtd == nullptr) {
        result.copy = result.bare.make(tree, root_of(tree), size);
    } else {
        return tree;
    }
    result.complaints.is_of_others = false;
    return reinterpret_cast<const xmlNode *>(result.copy);
}

} // namespace

outcome::~outcome() { services().free_document(whole); }

void validate_tree(const xmlNode *tree, bool is_own, const compiled_schema &schema,
                   outcome &result) {
    const xmlNode *const root = root_of(tree);
    complaint_list &complaints = result.complaints;
    complaints.is_of_others = !is_own;
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
        complaints.clear();
        validate_whole(is_own ? tree : shown_tree(tree, schema, size, result), schema, complaints,
                       size);
    }
    if (complaints.lost_memory) {
        throw std::bad_alloc();
    }
    if (complaints.internal) {
        services().report(reports::validation_failed, {complaints.found.back().message}, {});
    }
}

} // namespace pkg_dbe_xml::validation
