// Plans for namespaces: one walk over a tree, with the bindings in scope beside it.

#include "edit/namespace_plan.hpp"

#include "edit/legal_text.hpp"
#include "edit/tree_namespaces.hpp"
#include "error_reports.hpp"
#include "host/error.hpp"
#include "libxml/xml.hpp"
#include "registry/family_waste.hpp"
#include "tree/namespace_marks.hpp"
#include "tree/poll_counter.hpp"
#include "tree/text_compare.hpp"
#include "tree/typed_access.hpp"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace pkg_dbe_xml {

namespace {

// "ns" and a number.
struct generated_prefix {
    char text[16];
    explicit generated_prefix(std::uint32_t number) noexcept {
        std::snprintf(text, sizeof text, "ns%u", number);
    }
    [[nodiscard]] const xmlChar *xml() const noexcept {
        return reinterpret_cast<const xmlChar *>(text);
    }
};

} // namespace

using planning::step;
using planning::step_kind;

// --- what is in scope ---------------------------------------------------------------------------

bool is_xml_prefix(const xmlChar *prefix) noexcept { return same_text(prefix, "xml"); }

bool has_undeclared_prefix(const xmlNode *node) noexcept {
    return namespace_of(node) == nullptr && node->name != nullptr &&
           std::strchr(reinterpret_cast<const char *>(node->name), ':') != nullptr;
}

xmlNsPtr declaration_on(const xmlNode *element, const xmlChar *prefix) noexcept {
    for (xmlNsPtr record = declared_namespaces(element); record != nullptr; record = record->next) {
        if (same_or_absent(record->prefix, prefix)) {
            return record;
        }
    }
    return nullptr;
}

namespace {

[[nodiscard]] xmlNsPtr find_declaration(const xmlNode *node, const xmlChar *prefix,
                                        poll_counter &poll) {
    for (; node != nullptr; node = node->parent) {
        poll.step();
        if (xmlNsPtr const found = declaration_on(node, prefix)) {
            return found;
        }
    }
    return nullptr;
}

} // namespace

xmlNsPtr declaration_in_scope(const xmlNode *node, const xmlChar *prefix) {
    poll_counter poll;
    return find_declaration(node, prefix, poll);
}

xmlNsPtr prefixed_declaration(const xmlNode *node, const xmlChar *uri) {
    poll_counter poll;
    for (const xmlNode *above = node; above != nullptr; above = above->parent) {
        poll.step();
        for (xmlNsPtr record = declared_namespaces(above); record != nullptr;
             record = record->next) {
            if (record->prefix != nullptr && same_or_absent(record->href, uri) &&
                find_declaration(node, record->prefix, poll) == record) {
                return record;
            }
        }
    }
    return nullptr;
}

bool has_default_namespace(const xmlNode *parent) {
    poll_counter poll;
    for (; parent != nullptr && parent->type == XML_ELEMENT_NODE; parent = parent->parent) {
        poll.step();
        if (const xmlNs *const record = declaration_on(parent, nullptr)) {
            return uri_of(record) != nullptr;
        }
        // An element without a prefix shows what is in scope.
        const bool is_in_one = uri_of(parent->ns) != nullptr;
        if (is_in_one ? parent->ns->prefix == nullptr : !has_undeclared_prefix(parent)) {
            return is_in_one;
        }
    }
    return false;
}

bool stands_below_declarations(const xmlNode *node) {
    poll_counter poll;
    for (const xmlNode *above = node->parent; above != nullptr; above = above->parent) {
        poll.step();
        if (declared_namespaces(above) != nullptr) {
            return true;
        }
    }
    return false;
}

// --- declarations -------------------------------------------------------------------------------

xml_ns_ptr new_declaration(const xmlChar *uri, const xmlChar *prefix, declared_by whom) {
    const host::tree_scope scope;
    xml_ns_ptr made(
        xmlNewNs(nullptr, uri == nullptr ? reinterpret_cast<const xmlChar *>("") : uri, prefix));
    if (made == nullptr || scope.refused()) {
        report(reports::out_of_memory);
    }
    if (whom == declared_by::need) {
        mark_used_inside(made.get());
    } else {
        mark_asked_for(made.get());
    }
    return made;
}

void link_declaration(xmlNodePtr element, xmlNsPtr record) noexcept {
    xmlNsPtr *place = &element->nsDef;
    while (*place != nullptr) {
        place = &(*place)->next;
    }
    *place = record;
}

void unlink_declaration(xmlDocPtr document, xmlNodePtr element, xmlNsPtr record) noexcept {
    xmlNsPtr *place = &element->nsDef;
    while (*place != record) {
        place = &(*place)->next;
    }
    *place = record->next;
    count_namespace_of(document);
    record->next = document->oldNs->next; // behind the one for "xml", which stays the first
    document->oldNs->next = record;
}

namespace {

// Whether a name uses the binding of a prefix that is in scope where it stands.
[[nodiscard]] bool name_uses(const xmlNode *named, const xmlChar *prefix, bool unbound) noexcept {
    if (uri_of(namespace_of(named)) != nullptr) {
        return same_or_absent(named->ns->prefix, prefix);
    }
    if (!unbound) {
        return false;
    }
    if (prefix == nullptr) {
        return !is_attribute(named) && !has_undeclared_prefix(named);
    }
    const auto size = static_cast<std::size_t>(xmlStrlen(prefix));
    return has_undeclared_prefix(named) &&
           xmlStrncmp(named->name, prefix, static_cast<int>(size)) == 0 && named->name[size] == ':';
}

[[nodiscard]] bool element_uses(const xmlNode *element, const xmlChar *prefix,
                                bool unbound) noexcept {
    if (name_uses(element, prefix, unbound)) {
        return true;
    }
    for (xmlAttrPtr attribute = first_attribute(element); attribute != nullptr;
         attribute = attribute->next) {
        if (prefix != nullptr && name_uses(as_node(attribute), prefix, unbound)) {
            return true;
        }
    }
    return false;
}

// The node behind all that stands below `node`, in a tree.
[[nodiscard]] xmlNodePtr next_beside(xmlNodePtr node, const xmlNode *top) noexcept {
    while (node != nullptr && node != top && node->next == nullptr) {
        node = node->parent;
    }
    return node == nullptr || node == top ? nullptr : node->next;
}

} // namespace

bool uses_prefix(xmlNodePtr element, const xmlChar *prefix, bool unbound) {
    poll_counter poll;
    xmlNodePtr node = element;
    while (node != nullptr) {
        poll.step();
        if (node->type != XML_ELEMENT_NODE) {
            node = next_beside(node, element);
        } else if (node != element && declaration_on(node, prefix) != nullptr) {
            node = next_beside(node, element);
        } else if (element_uses(node, prefix, unbound)) {
            return true;
        } else {
            node = next_below(node, element);
        }
    }
    return false;
}

// --- declarations that say what is in scope already ---------------------------------------------

namespace {

// Levels above a tree, and nodes in it, that are looked at for the sake of a tidy text.
constexpr std::size_t k_levels_looked_at = 1024;
constexpr std::size_t k_nodes_looked_at = 1024;

// Whether a declaration says what is in scope above its element; `above` is the record there, null
// where a default namespace is taken back that there is none of.
[[nodiscard]] bool is_repeated(const xmlNode *element, const xmlNs *record,
                               xmlNsPtr &above) noexcept {
    above = nullptr;
    const xmlNode *node = element->parent;
    for (std::size_t level = 0; level < k_levels_looked_at; ++level, node = node->parent) {
        if (node == nullptr || node->type != XML_ELEMENT_NODE) {
            return uri_of(record) == nullptr;
        }
        above = declaration_on(node, record->prefix);
        if (above != nullptr) {
            return same_or_absent(uri_of(above), uri_of(record));
        }
    }
    return false;
}

// Lets what uses one record use another. False when the tree is too large to look through.
[[nodiscard]] bool replace_users(xmlNodePtr top, const xmlNs *record, xmlNsPtr other) noexcept {
    std::size_t steps = 0;
    for (xmlNodePtr node = top; node != nullptr; node = next_below(node, top)) {
        if (++steps > k_nodes_looked_at) {
            return false;
        }
        if (node->type != XML_ELEMENT_NODE) {
            continue;
        }
        if (node->ns == record) {
            node->ns = other;
        }
        for (xmlAttrPtr attribute = node->properties; attribute != nullptr;
             attribute = attribute->next) {
            ++steps;
            if (attribute->ns == record) {
                attribute->ns = other;
            }
        }
    }
    return true;
}

void drop_declaration(xmlNodePtr top, xmlNsPtr record, xmlNsPtr above) noexcept {
    const bool is_unused = replace_users(top, record, above);
    unlink_declaration(top->doc, top, record);
    if (is_unused) {
        top->doc->oldNs->next = record->next;
        xmlFreeNs(record);
    }
}

} // namespace

void drop_repeated_declarations(xmlNodePtr top) noexcept {
    if (declared_namespaces(top) == nullptr || top->doc == nullptr || top->doc->oldNs == nullptr) {
        return;
    }
    const host::tree_scope scope;
    for (xmlNsPtr record = top->nsDef; record != nullptr;) {
        xmlNsPtr const next = record->next;
        xmlNsPtr above = nullptr;
        if (is_made_for_name(record) && is_repeated(top, record, above)) {
            drop_declaration(top, record, above);
        }
        record = next;
    }
}

// --- planning -----------------------------------------------------------------------------------

bool is_member(const node_set &sorted, const xmlNode *node) noexcept {
    return std::binary_search(sorted.begin(), sorted.end(), node);
}

void sort_nodes(node_set &nodes) noexcept {
    if (nodes.size() > 1) { // mostly there is one
        std::sort(nodes.begin(), nodes.end());
    }
}

namespace_plan::~namespace_plan() {
    if (applied_) {
        return;
    }
    for (std::size_t index = 0; index < steps_.size(); ++index) {
        if (steps_[index].kind == step_kind::declare) {
            xmlFreeNs(steps_[index].record);
        }
    }
}

void namespace_plan::add(step_kind kind, xmlNodePtr node, xmlNsPtr record) {
    steps_.push_back({node, record, kind});
}

void namespace_plan::use(xmlNodePtr node, xmlNsPtr record) {
    if (node->ns != record) {
        add(step_kind::use, node, record);
    }
}

xmlNsPtr namespace_plan::declare(xmlNodePtr element, const xmlChar *uri, const xmlChar *prefix) {
    xml_ns_ptr made = new_declaration(uri, prefix, declared_by::need);
    // Taking declarations off again needs the document's own record.
    static_cast<void>(xml_namespace(document_));
    add(step_kind::declare, element, made.get());
    return made.release();
}

// Whether a prefix is declared on the element that was entered last.
bool namespace_plan::declares(xmlNodePtr element, const xmlChar *prefix) const noexcept {
    if (element == topmost_ && hoisted_.find(prefix) != nullptr) {
        return true;
    }
    const namespace_binding *const found = scope_.find(prefix);
    return found != nullptr && scope_.index_of(found) >= levels_[levels_.size() - 1];
}

xmlNsPtr namespace_plan::declare_generated(xmlNodePtr element, const xmlChar *uri) {
    for (;;) {
        const generated_prefix prefix(++generated_);
        if (scope_.find(prefix.xml()) == nullptr && hoisted_.find(prefix.xml()) == nullptr) {
            xmlNsPtr const made = declare(element, uri, prefix.xml());
            scope_.push(made->prefix, made->href, made);
            return made;
        }
    }
}

// The record by which the name of an element or of one of its attributes stays in its namespace.
// A prefix that is free everywhere above is declared on top of the tree.
xmlNsPtr namespace_plan::record_for_name(xmlNodePtr element, const xmlNs *wanted) {
    const namespace_binding *found = scope_.find(wanted->prefix);
    if (found == nullptr) {
        found = hoisted_.find(wanted->prefix);
    }
    if (found != nullptr && same_or_absent(found->uri, wanted->href)) {
        return found->record;
    }
    if (found == nullptr && wanted->prefix != nullptr) {
        xmlNsPtr const made = declare(topmost_, wanted->href, wanted->prefix);
        hoisted_.push(made->prefix, made->href, made);
        return made;
    }
    if (declares(element, wanted->prefix)) {
        return declare_generated(element, wanted->href);
    }
    xmlNsPtr const made = declare(element, wanted->href, wanted->prefix);
    scope_.push(made->prefix, made->href, made);
    return made;
}

// An element in no namespace stands where there is a default one.
void namespace_plan::take_default_back(xmlNodePtr element) {
    const std::size_t level = levels_[levels_.size() - 1];
    const namespace_binding *outer = scope_.find(nullptr);
    if (scope_.index_of(outer) >= level) {
        static_cast<void>(xml_namespace(document_));
        add(step_kind::undeclare, element, outer->record);
        outer = scope_.find_before(nullptr, level);
        if (outer == nullptr || outer->uri == nullptr) {
            scope_.push(nullptr, nullptr, nullptr);
            return;
        }
    }
    scope_.push(nullptr, nullptr, declare(element, nullptr, nullptr));
}

void namespace_plan::fit_attribute(xmlNodePtr element, xmlNodePtr attribute) {
    const xmlNs *const wanted = attribute->ns;
    if (uri_of(wanted) == nullptr || is_xml_prefix(wanted->prefix)) {
        return;
    }
    if (wanted->prefix != nullptr) {
        use(attribute, record_for_name(element, wanted));
    } else if (const namespace_binding *const found = scope_.find_uri(wanted->href)) {
        use(attribute, found->record);
    } else {
        use(attribute, declare_generated(element, wanted->href));
    }
}

void namespace_plan::fit_element(xmlNodePtr element) {
    const xmlNs *const wanted = element->ns;
    if (uri_of(wanted) != nullptr) {
        if (!is_xml_prefix(wanted->prefix)) {
            use(element, record_for_name(element, wanted));
        }
    } else if (!has_undeclared_prefix(element)) {
        const namespace_binding *const found = scope_.find(nullptr);
        if (found != nullptr && found->uri != nullptr) {
            take_default_back(element);
        }
    }
    for (xmlAttrPtr attribute = element->properties; attribute != nullptr;
         attribute = attribute->next) {
        fit_attribute(element, as_node(attribute));
    }
}

void namespace_plan::enter(xmlNodePtr element) {
    levels_.push_back(scope_.size());
    if (levels_.size() == 1) {
        topmost_ = element;
        hoisted_.pop_to(0);
    }
    for (xmlNsPtr record = element->nsDef; record != nullptr; record = record->next) {
        scope_.push(record->prefix, uri_of(record), record);
    }
    fit_element(element);
}

// The declarations above a place, the outermost first.
void namespace_plan::push_scope_of(const xmlNode *parent) {
    if (parent != nullptr && parent == scope_parent_) {
        scope_.pop_to(scope_base_);
        return;
    }
    scope_parent_ = nullptr;
    scope_.pop_to(0);
    poll_counter poll;
    growing_array<xmlNsPtr, 16> records;
    for (const xmlNode *above = parent; above != nullptr; above = above->parent) {
        poll.step();
        for (xmlNsPtr record = declared_namespaces(above); record != nullptr;
             record = record->next) {
            poll.step();
            records.push_back(record);
        }
    }
    for (std::size_t index = records.size(); index != 0; --index) {
        xmlNsPtr const record = records[index - 1];
        poll.step();
        scope_.push(record->prefix, uri_of(record), record);
    }
    scope_parent_ = parent;
    scope_base_ = scope_.size();
}

void namespace_plan::fit(xmlNodePtr top, const xmlNode *parent, const node_set *apart) {
    hoisted_.pop_to(0);
    levels_.shrink(0);
    push_scope_of(parent);
    poll_counter poll;
    xmlNodePtr node = top;
    for (;;) {
        poll.step();
        const bool is_apart = apart != nullptr && node != top && is_member(*apart, node);
        bool is_open = node->type == XML_ELEMENT_NODE && !is_apart;
        if (is_open) {
            enter(node);
        }
        if (xmlNodePtr const child =
                is_apart || is_declaration(node->type) ? nullptr : first_child(node)) {
            node = child;
            continue;
        }
        for (;; node = node->parent, is_open = node->type == XML_ELEMENT_NODE) {
            if (is_open) {
                scope_.pop_to(levels_[levels_.size() - 1]);
                levels_.shrink(levels_.size() - 1);
            }
            if (node == top) {
                return;
            }
            if (node->next != nullptr) {
                node = node->next;
                break;
            }
        }
    }
}

void namespace_plan::fit_detached(xmlNodePtr top, const xmlNode *parent, const node_set *apart) {
    if (top->type != XML_ELEMENT_NODE || parent == nullptr || parent->type != XML_ELEMENT_NODE ||
        declaration_on(top, nullptr) != nullptr) {
        return;
    }
    const bool shows_default = uri_of(top->ns) == nullptr && !has_undeclared_prefix(top);
    if ((!shows_default && first_child(top) == nullptr) || !meets_default(parent)) {
        return;
    }
    if (shows_default) {
        static_cast<void>(declare(top, nullptr, nullptr));
    } else {
        fit(top, parent, apart);
    }
}

bool namespace_plan::leaves_declarations(const xmlNode *top) {
    if (top->parent == nullptr || top->parent != left_parent_) {
        leaves_declarations_ = stands_below_declarations(top);
        left_parent_ = top->parent;
    }
    return leaves_declarations_;
}

bool namespace_plan::meets_default(const xmlNode *parent) {
    if (parent != new_parent_) {
        meets_default_ = has_default_namespace(parent);
        new_parent_ = parent;
    }
    return meets_default_;
}

void namespace_plan::fit_moved(xmlNodePtr top, const xmlNode *parent, const node_set *apart) {
    if (leaves_declarations(top)) {
        fit(top, parent, apart);
    } else {
        fit_detached(top, parent, apart);
    }
}

xmlNsPtr namespace_plan::record_for_attribute(xmlNodePtr element, const xmlChar *prefix,
                                              const xmlChar *uri) {
    if (is_xml_prefix(prefix) || same_text(uri, k_xml_uri)) {
        return xml_namespace(document_);
    }
    if (prefix != nullptr) {
        xmlNsPtr const found = declaration_in_scope(element, prefix);
        if (found == nullptr) {
            return declare(element, uri, prefix);
        }
        if (same_or_absent(found->href, uri)) {
            return found;
        }
    }
    if (xmlNsPtr const found = prefixed_declaration(element, uri)) {
        return found;
    }
    for (;;) {
        const generated_prefix made(++generated_);
        if (declaration_in_scope(element, made.xml()) == nullptr) {
            return declare(element, uri, made.xml());
        }
    }
}

void namespace_plan::apply() noexcept {
    applied_ = true;
    for (std::size_t index = 0; index < steps_.size(); ++index) {
        const step &next = steps_[index];
        switch (next.kind) {
        case step_kind::declare:
            link_declaration(next.node, next.record);
            break;
        case step_kind::use:
            next.node->ns = next.record;
            break;
        case step_kind::undeclare:
            unlink_declaration(document_, next.node, next.record);
            break;
        }
    }
}

} // namespace pkg_dbe_xml
