// Copying nodes from one document to another, of any depth.
//
// libxml2's own copy recurses, looks every namespace up from the bottom of the copy, and gives the
// copy names that belong to nobody in the target's family.

#include "edit/tree_copy.hpp"

#include "edit/namespace_index.hpp"
#include "edit/namespace_plan.hpp"
#include "edit/tree_append.hpp"
#include "edit/tree_attributes.hpp"
#include "edit/tree_namespaces.hpp"
#include "error_reports.hpp"
#include "host/error.hpp"
#include "libxml/xml.hpp"
#include "tree/namespace_marks.hpp"
#include "tree/poll_counter.hpp"
#include "tree/text_compare.hpp"

#include <libxml/parserInternals.h>

#include <cstddef>
#include <cstdint>
#include <utility>

namespace pkg_dbe_xml {

namespace {

// Which record of the copy stands for which record of the source. While a copy is being made, the
// source's record points to its copy by `_private`; the copies are chained through `context`, so
// that all traces can be taken away again. A copy uses its records itself.
class namespace_copies {
  public:
    namespace_copies() = default;
    ~namespace_copies() {
        while (last_ != nullptr) {
            xmlNsPtr const copy = last_;
            last_ = reinterpret_cast<xmlNsPtr>(context_of(copy));
            static_cast<xmlNsPtr>(copy->_private)->_private = nullptr;
            copy->_private = nullptr;
            mark_used_inside(copy);
        }
    }
    namespace_copies(const namespace_copies &) = delete;
    namespace_copies &operator=(const namespace_copies &) = delete;

    void add(xmlNsPtr source, xmlNsPtr copy) noexcept {
        source->_private = copy;
        copy->_private = source;
        set_context(copy, reinterpret_cast<xmlDocPtr>(last_));
        last_ = copy;
    }
    // The copy of an element is complete: what it declares is out of scope from here on.
    static void leave(const xmlNode *copy) noexcept {
        for (const xmlNs *record = declared_namespaces(copy); record != nullptr;
             record = record->next) {
            if (record->_private != nullptr) {
                static_cast<xmlNsPtr>(record->_private)->_private = nullptr;
            }
        }
    }
    // `copy`, which was added for `source`, is in scope again.
    static void find_again(xmlNsPtr source, xmlNsPtr copy) noexcept {
        if (copy->_private == source) {
            source->_private = copy;
        }
    }
    // The record that stands for `source` on an element above, or on the element itself.
    [[nodiscard]] static xmlNsPtr find(const xmlNs *source) noexcept {
        return static_cast<xmlNsPtr>(source->_private);
    }

  private:
    xmlNsPtr last_ = nullptr;
};

[[nodiscard]] int text_length(const xmlChar *text) noexcept {
    return text == nullptr ? 0 : xmlStrlen(text);
}

// The declarations of a copied document type know their document.
void adopt_document_type(xmlDocPtr document, xmlNodePtr document_type) noexcept {
    document->intSubset = reinterpret_cast<xmlDtdPtr>(document_type);
    document_type->doc = document;
    for (xmlNodePtr declaration = document_type->children; declaration != nullptr;
         declaration = declaration->next) {
        declaration->doc = document;
    }
}

// What becomes of namespaces that are declared nowhere in the tree that is copied.
enum class undeclared_namespaces : std::uint8_t {
    declared_on_top,
    left_to_caller, // the names keep them, by records of the document's
    // On top, for as long as a plan for the copy would do no more than that. Beside a declaration
    // of the tree's own, and wherever a prefix is none or taken, they are left to the caller's
    // plan. A copy of five elements below a declaration took a third more instructions when it was
    // always planned for.
    declared_as_planned,
};

// What a copy shows of itself while it is made.
struct copy_notes {
    bool needs_plan = false; // asked for by declared_as_planned
    const xmlChar *missing_entity = nullptr;
};

// One copy in the making. Every node is linked to the copy as soon as it is made, and completed
// then, so that a failure leaves one tree to free.
class copier {
  public:
    copier(xmlDocPtr target, undeclared_namespaces undeclared, copy_notes &notes) noexcept
        : target_(target), undeclared_(undeclared), notes_(notes) {}

    // A node of the same type, name and text, with nothing below it and no attributes yet.
    [[nodiscard]] xml_node_ptr copy_bare(const xmlNode *source);
    // Gives the copy its namespace, and its attributes or, if it is an attribute, its texts.
    void complete(const xmlNode *source, xmlNodePtr copy);
    // Copies all that stands below `source` to below `copy`.
    void copy_below(xmlNodePtr source, xmlNodePtr copy);

  private:
    void check(const void *made) const {
        if (made == nullptr || scope_.refused()) {
            report(reports::out_of_memory);
        }
    }
    [[nodiscard]] xmlNodePtr copy_step(xmlNodePtr source, xmlNodePtr parent);
    void complete_attribute(const xmlNode *source, xmlNodePtr copy, xmlNodePtr element);
    void copy_attributes(const xmlNode *source, xmlNodePtr copy);
    void copy_declarations(const xmlNode *source, xmlNodePtr copy);
    [[nodiscard]] xmlNsPtr copy_of(xmlNsPtr source, xmlNodePtr element, bool for_attribute);
    [[nodiscard]] bool is_left_to_caller(const xmlNs *source, const xmlNode *element) noexcept;
    [[nodiscard]] xmlNsPtr declare_on_top(xmlNsPtr source);
    [[nodiscard]] xmlNsPtr declare(xmlNodePtr element, const xmlNs *source);
    [[nodiscard]] xmlNsPtr declaration_of(const xmlNode *element, const xmlChar *prefix);
    [[nodiscard]] declared_prefixes &declared_by(const xmlNode *element) noexcept {
        return element == top_ ? of_top_ : of_element_;
    }

    host::tree_scope scope_;
    xmlDocPtr target_;
    undeclared_namespaces undeclared_;
    copy_notes &notes_;
    xmlNodePtr top_ = nullptr;    // the element of the copy that stands above the others
    bool default_on_top_ = false; // a default namespace was declared there for names of the tree
    namespace_copies namespaces_;
    poll_counter poll_;
    declared_prefixes of_top_;     // what the top declares
    declared_prefixes of_element_; // what the element that is being copied declares
    kept_namespaces kept_;
};

// For a prefix that the element does not declare yet.
xmlNsPtr copier::declare(xmlNodePtr element, const xmlNs *source) {
    xmlNsPtr const made = xmlNewNs(nullptr, source->href, source->prefix);
    if (made != nullptr) {
        declared_by(element).append(element, made);
    }
    check(made);
    mark_used_inside(made);
    return made;
}

xmlNsPtr copier::declaration_of(const xmlNode *element, const xmlChar *prefix) {
    xmlNsPtr const found = declared_by(element).find(element, prefix);
    if (scope_.refused()) {
        report(reports::out_of_memory);
    }
    return found;
}

// Whether the caller decides what becomes of a namespace that is declared outside of the copied
// tree, whatever the top of the copy declares.
bool copier::is_left_to_caller(const xmlNs *source, const xmlNode *element) noexcept {
    if (undeclared_ != undeclared_namespaces::declared_as_planned) {
        return undeclared_ == undeclared_namespaces::left_to_caller;
    }
    if (uri_of(source) == nullptr || (source->prefix == nullptr && element != top_)) {
        notes_.needs_plan = true;
    }
    return notes_.needs_plan;
}

xmlNsPtr copier::declare_on_top(xmlNsPtr source) {
    if (undeclared_ == undeclared_namespaces::declared_as_planned) {
        static_cast<void>(xml_namespace(target_)); // taking declarations off again needs it
        default_on_top_ = default_on_top_ || source->prefix == nullptr;
    }
    xmlNsPtr const made = declare(top_, source);
    namespaces_.add(source, made);
    return made;
}

// The record that a node of the copy uses for what its original uses. A namespace declared outside
// of the copied tree is declared on top of the copy; where its prefix is taken there, on the
// element itself.
xmlNsPtr copier::copy_of(xmlNsPtr source, xmlNodePtr element, bool for_attribute) {
    if (xmlNsPtr const known = namespace_copies::find(source)) {
        return known;
    }
    if (same_text(source->prefix, "xml")) {
        return xml_namespace(target_);
    }
    // An attribute without a prefix cannot get its namespace from a declaration.
    if (element == nullptr || (for_attribute && source->prefix == nullptr) ||
        is_left_to_caller(source, element)) {
        return kept_.get(target_, source->href, source->prefix);
    }
    xmlNsPtr found = declaration_of(top_, source->prefix);
    if (found == nullptr) {
        return declare_on_top(source);
    }
    if (same_or_absent(found->href, source->href)) {
        namespace_copies::find_again(source, found);
        return found;
    }
    if (undeclared_ == undeclared_namespaces::declared_as_planned) {
        notes_.needs_plan = true;
        return kept_.get(target_, source->href, source->prefix);
    }
    found = declaration_of(element, source->prefix);
    if (found == nullptr) {
        return declare(element, source);
    }
    return same_or_absent(found->href, source->href)
               ? found
               : kept_.get(target_, source->href, source->prefix);
}

void copier::copy_declarations(const xmlNode *source, xmlNodePtr copy) {
    notes_.needs_plan = notes_.needs_plan || source->nsDef != nullptr;
    xmlNsPtr last = nullptr;
    for (xmlNsPtr record = source->nsDef; record != nullptr; record = record->next) {
        poll_.step();
        xmlNsPtr const made = xmlNewNs(nullptr, record->href, record->prefix);
        if (made != nullptr) {
            (last == nullptr ? copy->nsDef : last->next) = made;
            last = made;
            namespaces_.add(record, made);
        }
        check(made);
    }
}

xml_node_ptr copier::copy_bare(const xmlNode *source) {
    xml_node_ptr made;
    switch (source->type) {
    case XML_ELEMENT_NODE:
        made = new_element(target_, source->name);
        made->line = source->line;
        break;
    case XML_ATTRIBUTE_NODE:
        made = new_attribute(target_, source->name);
        break;
    case XML_TEXT_NODE:
        made.reset(xmlNewDocText(target_, source->content));
        if (made != nullptr && source->name == xmlStringTextNoenc) {
            made->name = xmlStringTextNoenc;
        }
        break;
    case XML_CDATA_SECTION_NODE:
        made.reset(xmlNewCDataBlock(target_, source->content, text_length(source->content)));
        break;
    case XML_ENTITY_REF_NODE:
        made.reset(xmlNewReference(target_, source->name));
        if (made != nullptr && made->children == nullptr && notes_.missing_entity == nullptr) {
            notes_.missing_entity = source->name;
        }
        break;
    case XML_PI_NODE:
        made.reset(xmlNewDocPI(target_, source->name, source->content));
        break;
    case XML_COMMENT_NODE:
        made.reset(xmlNewDocComment(target_, source->content));
        break;
    case XML_DOCUMENT_FRAG_NODE:
        made.reset(xmlNewDocFragment(target_));
        break;
    case XML_DTD_NODE:
        made.reset(reinterpret_cast<xmlNodePtr>(
            xmlCopyDtd(reinterpret_cast<xmlDtdPtr>(const_cast<xmlNodePtr>(source)))));
        break;
    default:
        break;
    }
    check(made.get());
    return made;
}

void copier::complete_attribute(const xmlNode *source, xmlNodePtr copy, xmlNodePtr element) {
    if (source->ns != nullptr) {
        notes_.needs_plan = notes_.needs_plan || source->ns->prefix == nullptr;
        copy->ns = copy_of(source->ns, element, true);
    }
    for (const xmlNode *child = source->children; child != nullptr; child = child->next) {
        poll_.step();
        link_last(copy, copy_bare(child).release());
    }
}

void copier::copy_attributes(const xmlNode *source, xmlNodePtr copy) {
    xmlAttrPtr last = nullptr;
    for (const xmlAttr *attribute = source->properties; attribute != nullptr;
         attribute = attribute->next) {
        poll_.step();
        const auto *const original = reinterpret_cast<const xmlNode *>(attribute);
        auto *const made = reinterpret_cast<xmlAttrPtr>(copy_bare(original).release());
        made->parent = copy;
        made->prev = last;
        (last == nullptr ? copy->properties : last->next) = made;
        last = made;
        complete_attribute(original, as_node(made), copy);
    }
}

void copier::complete(const xmlNode *source, xmlNodePtr copy) {
    switch (source->type) {
    case XML_ELEMENT_NODE:
        if (copy->parent == nullptr || copy->parent->type != XML_ELEMENT_NODE) {
            top_ = copy;
        }
        copy_declarations(source, copy);
        if (source->ns != nullptr) {
            copy->ns = copy_of(source->ns, copy, false);
        }
        if (default_on_top_ && uri_of(source->ns) == nullptr) {
            notes_.needs_plan = true;
        }
        copy_attributes(source, copy);
        break;
    case XML_ATTRIBUTE_NODE:
        complete_attribute(source, copy, nullptr);
        break;
    case XML_DTD_NODE:
        adopt_document_type(target_, copy);
        break;
    default:
        break;
    }
}

xmlNodePtr copier::copy_step(xmlNodePtr source, xmlNodePtr parent) {
    poll_.step();
    xmlNodePtr const copy = copy_bare(source).release();
    link_last(parent, copy);
    complete(source, copy);
    return copy;
}

void copier::copy_below(xmlNodePtr source, xmlNodePtr copy) {
    xmlNodePtr node = source;
    for (;;) {
        xmlNodePtr const child = node->type == XML_DTD_NODE ? nullptr : first_child(node);
        if (child != nullptr) {
            copy = copy_step(child, copy);
            node = child;
            continue;
        }
        while (node != source && node->next == nullptr) {
            namespace_copies::leave(copy);
            node = node->parent;
            copy = copy->parent;
        }
        if (node == source) {
            return;
        }
        namespace_copies::leave(copy);
        node = node->next;
        copy = copy_step(node, copy->parent);
    }
}

// `Text` is const or not, by the version of libxml2.
template <class Text> void set_text(Text *&place, const xmlChar *text) noexcept {
    if (text != nullptr) {
        place = xmlStrdup(text);
    }
}

} // namespace

namespace {

xml_node_ptr copy_with(xmlDocPtr target, undeclared_namespaces undeclared, copy_notes &notes,
                       xmlNodePtr source, bool deep) {
    xml_node_ptr made; // outlives the copier, which goes through the records of the copy at its end
    copier copying(target, undeclared, notes);
    made = copying.copy_bare(source);
    copying.complete(source, made.get());
    if (deep && !is_attribute(source)) {
        copying.copy_below(source, made.get());
    }
    return made;
}

} // namespace

xml_node_ptr copy_node(xmlDocPtr target, xmlNodePtr source, bool deep) {
    copy_notes notes;
    return copy_with(target, undeclared_namespaces::declared_on_top, notes, source, deep);
}

copied_tree copy_tree(xmlDocPtr target, xmlNodePtr source, bool deep) {
    const bool may_need_plan = stands_below_declarations(source) || !deep;
    copy_notes notes;
    xml_node_ptr made = copy_with(target,
                                  may_need_plan ? undeclared_namespaces::declared_as_planned
                                                : undeclared_namespaces::left_to_caller,
                                  notes, source, deep);
    if (may_need_plan && notes.needs_plan) {
        namespace_plan plan(target);
        plan.fit(made.get(), nullptr);
        plan.apply();
    }
    return {std::move(made), notes.missing_entity};
}

namespace {

xml_doc_ptr copy_document_with(xmlDocPtr target, xmlDocPtr source,
                               undeclared_namespaces undeclared) {
    xml_doc_ptr made;
    const host::tree_scope scope;
    made.reset(xmlNewDoc(source->version));
    if (made == nullptr) {
        report(reports::out_of_memory);
    }
    if (target->dict != nullptr) {
        xmlDictReference(target->dict);
        made->dict = target->dict;
    }
    set_text(made->encoding, source->encoding);
    set_text(made->URL, source->URL);
    made->standalone = source->standalone;
    if (scope.refused()) {
        report(reports::out_of_memory);
    }
    copy_notes notes;
    copier copying(made.get(), undeclared, notes);
    copying.copy_below(as_node(source), as_node(made.get()));
    return made;
}

} // namespace

xml_doc_ptr copy_document(xmlDocPtr target, xmlDocPtr source) {
    return copy_document_with(target, source, undeclared_namespaces::declared_on_top);
}

xml_doc_ptr copy_whole_document(xmlDocPtr source) {
    return copy_document_with(source, source, undeclared_namespaces::left_to_caller);
}

} // namespace pkg_dbe_xml
