// Validating by a document type definition: what xmlValidateDtd does, but element by element, so
// that the work can be stopped.
//
// libxml2 only reads elements. What it writes are types of attributes and tables of identifiers,
// which point to attributes: so it is given copies of these, one at a time, and a document of this
// call's own, and the tree may be anybody's.
#include "identifier_tables.hpp"
#include "services.hpp"
#include "tree_walk.hpp"
#include "whole_task.hpp"

#include <libxml/globals.h>
#include <libxml/valid.h>

#include <array>
#include <exception>

// Validating by parts is not for everyone in later versions, but there is no other way that can be
// stopped.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace pkg_dbe_xml::validation {

namespace {

constexpr unsigned k_elements_between_looks = 256;

// Copies of attributes. Those that a table points to stay until the end.
class attribute_copies {
  public:
    attribute_copies() noexcept = default;
    ~attribute_copies() {
        while (last_ != nullptr) {
            block *const before = last_->before;
            xmlFree(last_);
            last_ = before;
        }
    }
    attribute_copies(const attribute_copies &) = delete;
    attribute_copies &operator=(const attribute_copies &) = delete;

    // Null when memory runs out. Good until the next call, or with `keep` until the end.
    xmlAttrPtr copy(const xmlAttr &source, xmlDocPtr document) noexcept {
        if (used_ == k_in_block) {
            auto *const made = static_cast<block *>(xmlMalloc(sizeof(block)));
            if (made == nullptr) {
                return nullptr;
            }
            made->before = last_;
            last_ = made;
            used_ = 0;
        }
        xmlAttrPtr const made = &last_->records[used_];
        *made = source;
        made->doc = document;
        made->atype = xmlAttributeType{};
#if LIBXML_VERSION >= 21300
        made->id = nullptr;
#endif
        return made;
    }
    void keep() noexcept { ++used_; }

  private:
    static constexpr std::size_t k_in_block = 250;
    struct block {
        block *before;
        std::array<xmlAttr, k_in_block> records;
    };
    block *last_ = nullptr;
    std::size_t used_ = k_in_block; // records of the last block
};

// libxml2 2.9.14 keeps marks of its own in the upper bits of the type.
bool is_in_table(const xmlAttr *attribute) noexcept {
    const unsigned type = static_cast<unsigned>(attribute->atype) & 15U;
    return type == XML_ATTRIBUTE_ID || type == XML_ATTRIBUTE_IDREF || type == XML_ATTRIBUTE_IDREFS;
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
            {complaints.line_of(element), element, "error", XML_DTD_CONTENT_NOT_DETERMINIST,
             "the content model of this element's type is not deterministic", ""});
    } catch (const std::exception &) {
        complaints.lost_memory = true;
    }
}

class definition_walk {
  public:
    definition_walk(whole_task &task) noexcept : task_(task), context_(xmlNewValidCtxt()) {
        document_.type = XML_DOCUMENT_NODE;
        document_.doc = &document_;
        document_.extSubset = task.schema->dtd.get();
        document_.standalone = -1;
        if (task.document != nullptr) {
            document_.standalone = task.document->standalone;
            document_.encoding = task.document->encoding; // values are compared as it writes them
        }
        make_tables(&document_, task.size.attributes);
    }
    ~definition_walk() {
        drop_tables(&document_);
        xmlFreeValidCtxt(context_);
    }
    definition_walk(const definition_walk &) = delete;
    definition_walk &operator=(const definition_walk &) = delete;

    // False when the work is to stop, or memory ran out.
    [[nodiscard]] bool run() noexcept {
        complaint_list &complaints = *task_.complaints;
        unsigned elements = 0;
        for (const xmlNode *node = task_.root; node != nullptr;
             node = next_in_order(node, task_.root)) {
            if (context_ == nullptr || complaints.is_full() ||
                (++elements % k_elements_between_looks == 0 &&
                 !services().may_go_on(task_.work, 0))) {
                return false;
            }
            if (node->type == XML_ELEMENT_NODE && !check(const_cast<xmlNodePtr>(node))) {
                return false;
            }
        }
        complaints.current = nullptr;
        static_cast<void>(xmlValidateDocumentFinal(context_, &document_));
        return true;
    }

  private:
    // One element with its attributes and declarations of namespaces.
    bool check(xmlNodePtr element) noexcept {
        complaint_list &complaints = *task_.complaints;
        const std::size_t errors = complaints.errors;
        complaints.current = element;
        if (xmlValidateOneElement(context_, &document_, element) <= 0 &&
            complaints.errors == errors) {
            note_ambiguous_content(complaints, element);
        }
        for (const xmlAttr *one = element->properties; one != nullptr; one = one->next) {
            if (!check_attribute(element, *one)) {
                return false;
            }
        }
        const xmlChar *const prefix = element->ns == nullptr ? nullptr : element->ns->prefix;
        for (xmlNsPtr record = element->nsDef; record != nullptr; record = record->next) {
            static_cast<void>(xmlValidateOneNamespace(context_, &document_, element, prefix, record,
                                                      record->href));
        }
        return true;
    }

    bool check_attribute(xmlNodePtr element, const xmlAttr &attribute) noexcept {
        xmlAttrPtr const copy = copies_.copy(attribute, &document_);
        if (copy == nullptr) {
            return false;
        }
        xmlChar *const value = xmlNodeListGetString(&document_, attribute.children, 0);
        static_cast<void>(xmlValidateOneAttribute(context_, &document_, element, copy, value));
        xmlFree(value);
        if (is_in_table(copy)) {
            copies_.keep();
        }
        return true;
    }

    whole_task &task_;
    xmlValidCtxtPtr context_;
    xmlDoc document_{};
    attribute_copies copies_;
};

} // namespace

void check_by_definition(whole_task &task) noexcept {
    definition_walk walk(task);
    task.finished = walk.run();
}

} // namespace pkg_dbe_xml::validation
