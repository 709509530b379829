// Attributes by name and namespace, and declarations of namespaces.

#include "edit/attribute_changes.hpp"

#include "edit/legal_text.hpp"
#include "edit/tree_attributes.hpp"
#include "edit/tree_namespaces.hpp"
#include "error_reports.hpp"
#include "libxml/xml.hpp"
#include "registry/family_waste.hpp"
#include "tree/id_attributes.hpp"
#include "tree/namespace_marks.hpp"
#include "tree/text_compare.hpp"
#include "tree/typed_access.hpp"

#include <utility>

namespace pkg_dbe_xml {

namespace {

[[nodiscard]] namespace_fault check_name(const full_name &name) noexcept {
    if (name.uri == nullptr) {
        return name.prefix == nullptr ? namespace_fault::none : namespace_fault::prefix_without_uri;
    }
    if (is_xml_prefix(name.prefix)) {
        return same_text(name.uri, k_xml_uri) ? namespace_fault::none : namespace_fault::xml_prefix;
    }
    return same_text(name.uri, k_xmlns_uri) ? namespace_fault::xmlns_uri : namespace_fault::none;
}

} // namespace

const char *words_for(namespace_fault fault) noexcept {
    switch (fault) {
    case namespace_fault::none:
        return "nothing is wrong";
    case namespace_fault::prefix_without_uri:
        return "a prefix stands for a namespace, and none is given";
    case namespace_fault::xml_prefix:
        return "the prefix \"xml\" stands for http://www.w3.org/XML/1998/namespace only";
    case namespace_fault::xml_uri:
        return "only the prefix \"xml\" stands for http://www.w3.org/XML/1998/namespace";
    case namespace_fault::xmlns_name:
        return "\"xmlns\" declares namespaces and cannot be a name or a prefix of one";
    case namespace_fault::xmlns_uri:
        return "only \"xmlns\" stands for http://www.w3.org/2000/xmlns/";
    case namespace_fault::declared_as_none:
        return "a prefix cannot be declared to stand for no namespace";
    case namespace_fault::in_use:
        return "names in the element would come to stand for something else";
    }
    return "";
}

prefix_text::prefix_text(const xmlChar *name, std::size_t size) {
    if (size != 0) {
        text_.bytes.append(name, size);
        text_.bytes.push_back(0);
    }
}

namespace_fault check_element_name(const full_name &name) noexcept {
    if (same_text(name.prefix, "xmlns") || same_text(name.local, "xmlns")) {
        return namespace_fault::xmlns_name;
    }
    const namespace_fault fault = check_name(name);
    if (fault == namespace_fault::none && same_text(name.uri, k_xml_uri) &&
        !is_xml_prefix(name.prefix)) {
        return namespace_fault::xml_uri;
    }
    return fault;
}

namespace_fault check_attribute_name(const full_name &name) noexcept {
    if (names_declaration(name.prefix, name.local)) {
        return namespace_fault::xmlns_name;
    }
    const namespace_fault fault = check_name(name);
    // Without a prefix it gets the one there is.
    if (fault == namespace_fault::none && same_text(name.uri, k_xml_uri) &&
        name.prefix != nullptr && !is_xml_prefix(name.prefix)) {
        return namespace_fault::xml_uri;
    }
    return fault;
}

xmlAttrPtr attribute_called(const xmlNode *element, const xmlChar *prefix,
                            const xmlChar *local) noexcept {
    const int prefix_size = prefix == nullptr ? 0 : xmlStrlen(prefix);
    for (xmlAttrPtr attribute = first_attribute(element); attribute != nullptr;
         attribute = attribute->next) {
        const xmlChar *const own = attribute->ns == nullptr ? nullptr : attribute->ns->prefix;
        if (own == nullptr && prefix != nullptr) {
            // Written with a prefix that nothing declares.
            if (xmlStrncmp(attribute->name, prefix, prefix_size) == 0 &&
                attribute->name[prefix_size] == ':' &&
                same_or_absent(attribute->name + prefix_size + 1, local)) {
                return attribute;
            }
        } else if (same_or_absent(own, prefix) && same_or_absent(attribute->name, local)) {
            return attribute;
        }
    }
    return nullptr;
}

// --- attributes ---------------------------------------------------------------------------------

void set_value(family &owner, xmlAttrPtr attribute, const text_bytes &value) {
    set_attribute_text(owner, attribute, value, false);
}

void add_plain_attribute(xmlNodePtr element, const xmlChar *name, const text_bytes &value) {
    xml_node_ptr made = new_attribute(element->doc, name, value.size == 0 ? nullptr : &value);
    link_attribute(element, reinterpret_cast<xmlAttrPtr>(made.release()));
}

void set_attribute_in(family &owner, xmlNodePtr element, const full_name &name,
                      const text_bytes &value) {
    xmlAttrPtr const found = find_attribute(element, name.local, name.uri);
    if (name.uri == nullptr && found == nullptr) {
        add_plain_attribute(element, name.local, value);
        return;
    }
    namespace_plan plan(element->doc);
    xmlNsPtr record = nullptr;
    if (name.uri != nullptr) {
        const bool keeps_prefix =
            found != nullptr &&
            (name.prefix == nullptr || same_or_absent(found->ns->prefix, name.prefix));
        record =
            keeps_prefix ? found->ns : plan.record_for_attribute(element, name.prefix, name.uri);
    }
    if (found != nullptr) {
        set_value(owner, found, value);
        found->ns = record;
    } else {
        xml_node_ptr made =
            new_attribute(element->doc, name.local, value.size == 0 ? nullptr : &value);
        made->ns = record;
        link_attribute(element, reinterpret_cast<xmlAttrPtr>(made.release()));
    }
    plan.apply();
}

namespace {

// The record of an attribute that leaves its element, whose declarations may go.
[[nodiscard]] xmlNsPtr lasting_record(const xmlAttr *attribute) {
    xmlNsPtr const record = attribute->ns;
    return record == nullptr || is_xml_prefix(record->prefix)
               ? record
               : shared_namespace(attribute->doc, record->href, record->prefix);
}

} // namespace

void remove_attribute(family &owner, xmlAttrPtr attribute) {
    xmlNsPtr const record = lasting_record(attribute);
    forget_parsed_id(attribute);
    note_attribute_change(attribute);
    attribute->ns = record;
    retire(owner, as_node(attribute));
}

xmlAttrPtr attribute_like(const xmlNode *element, const xmlAttr *attribute) noexcept {
    return find_attribute(element, attribute->name, uri_of(attribute->ns));
}

attribute_placement::attribute_placement(xmlNodePtr element, xmlAttrPtr attribute)
    : element_(element), attribute_(attribute), replaced_(attribute_like(element, attribute)),
      record_(attribute->ns), plan_(element->doc) {
    if (uri_of(record_) != nullptr) {
        record_ = plan_.record_for_attribute(element, record_->prefix, record_->href);
    }
    if (replaced_ != nullptr) {
        prepare_detachment(replaced_);
    }
}

void attribute_placement::carry_out() noexcept {
    if (replaced_ != nullptr) {
        detach_attribute(replaced_);
    }
    attribute_->ns = record_;
    link_attribute(element_, attribute_);
    plan_.apply();
}

// The record is found from then on.
void prepare_detachment(const xmlAttr *attribute) { static_cast<void>(lasting_record(attribute)); }

void detach_attribute(xmlAttrPtr attribute) {
    xmlNsPtr const record = lasting_record(attribute);
    const host::tree_scope scope;
    forget_parsed_id(attribute);
    note_attribute_change(attribute);
    attribute->ns = record;
    unlink_fitted_node(as_node(attribute));
}

// --- declarations -------------------------------------------------------------------------------

namespace {

[[nodiscard]] namespace_fault check_declaration(const xmlChar *prefix,
                                                const xmlChar *uri) noexcept {
    if (is_xml_prefix(prefix)) {
        return same_text(uri, k_xml_uri) ? namespace_fault::none : namespace_fault::xml_prefix;
    }
    if (same_text(prefix, "xmlns")) {
        return namespace_fault::xmlns_name;
    }
    if (same_text(uri, k_xml_uri)) {
        return namespace_fault::xml_uri;
    }
    if (same_text(uri, k_xmlns_uri)) {
        return namespace_fault::xmlns_uri;
    }
    return prefix != nullptr && *uri == 0 ? namespace_fault::declared_as_none
                                          : namespace_fault::none;
}

void replace_declaration(xmlNodePtr element, xmlNsPtr old, xmlNsPtr made) noexcept {
    made->next = old->next;
    xmlNsPtr *place = &element->nsDef;
    while (*place != old) {
        place = &(*place)->next;
    }
    *place = made;
    // Whoever was moved out of the tree with it may use it still.
    count_namespace_of(element->doc);
    old->next = element->doc->oldNs->next;
    element->doc->oldNs->next = old;
}

} // namespace

namespace_fault declare_namespace(xmlNodePtr element, const xmlChar *prefix, const xmlChar *uri) {
    if (const namespace_fault fault = check_declaration(prefix, uri);
        fault != namespace_fault::none || is_xml_prefix(prefix)) {
        return fault;
    }
    xmlNsPtr const old = declaration_on(element, prefix);
    if (old != nullptr && same_or_absent(old->href, uri)) {
        mark_asked_for(old);
        return namespace_fault::none;
    }
    const xmlNs *const in_force = declaration_in_scope(element, prefix);
    const bool means_the_same =
        uri_of(in_force) == nullptr ? *uri == 0 : same_or_absent(in_force->href, uri);
    if (!means_the_same && uses_prefix(element, prefix, uri_of(in_force) == nullptr)) {
        return namespace_fault::in_use;
    }
    xml_ns_ptr made = new_declaration(uri, prefix, declared_by::request);
    static_cast<void>(xml_namespace(element->doc));
    if (old == nullptr) {
        link_declaration(element, made.release());
    } else {
        replace_declaration(element, old, made.release());
    }
    return namespace_fault::none;
}

namespace_fault remove_declaration(xmlNodePtr element, const xmlChar *prefix) {
    xmlNsPtr const old = declaration_on(element, prefix);
    if (old == nullptr) {
        return namespace_fault::none;
    }
    const xmlNs *const above =
        element->parent == nullptr ? nullptr : declaration_in_scope(element->parent, prefix);
    const bool means_the_same = same_or_absent(uri_of(above), uri_of(old));
    if (!means_the_same && uses_prefix(element, prefix, uri_of(old) == nullptr)) {
        return namespace_fault::in_use;
    }
    static_cast<void>(xml_namespace(element->doc));
    unlink_declaration(element->doc, element, old);
    return namespace_fault::none;
}

// --- new nodes and new names --------------------------------------------------------------------

xml_node_ptr new_element_in(xmlDocPtr document, const full_name &name) {
    xml_node_ptr made = new_element(document, name.local);
    if (is_xml_prefix(name.prefix)) {
        made->ns = xml_namespace(document);
    } else if (name.uri != nullptr) {
        static_cast<void>(xml_namespace(document));
        made->nsDef = new_declaration(name.uri, name.prefix, declared_by::need).release();
        made->ns = made->nsDef;
    }
    return made;
}

xml_node_ptr new_attribute_in(xmlDocPtr document, const full_name &name) {
    xml_node_ptr made = new_attribute(document, name.local);
    if (name.uri != nullptr) {
        made->ns = same_text(name.uri, k_xml_uri)
                       ? xml_namespace(document)
                       : shared_namespace(document, name.uri, name.prefix);
    }
    return made;
}

namespace {

// A name for a node of the document: the dictionary's own string where it has one.
class new_name {
  public:
    new_name(xmlDocPtr document, const xmlChar *name)
        : known_(document == nullptr || document->dict == nullptr
                     ? nullptr
                     : xmlDictExists(document->dict, name, -1)) {
        if (known_ == nullptr) {
            const host::tree_scope scope;
            copy_.reset(xmlStrdup(name));
            if (copy_ == nullptr) {
                report(reports::out_of_memory);
            }
        }
    }
    // Frees the old name unless the dictionary has it.
    void give_to(xmlNodePtr node) noexcept {
        const host::tree_scope scope;
        const xmlChar *const old = node->name;
        if (node->doc == nullptr || node->doc->dict == nullptr ||
            xmlDictOwns(node->doc->dict, old) == 0) {
            xmlFree(const_cast<xmlChar *>(old));
        }
        node->name = known_ != nullptr ? known_ : copy_.release();
    }

  private:
    const xmlChar *known_;
    xml_text_ptr copy_;
};

// Where an element gets its namespace from, and what it declares for that.
struct element_record {
    xmlNsPtr record = nullptr;
    xml_ns_ptr made;              // to be declared on it
    xmlNsPtr taken_off = nullptr; // what it declares for the same prefix now
};

[[nodiscard]] element_record record_for_element(xmlNodePtr element, const full_name &name) {
    element_record found;
    if (is_xml_prefix(name.prefix)) {
        found.record = xml_namespace(element->doc);
        return found;
    }
    xmlNsPtr const in_scope = declaration_in_scope(element, name.prefix);
    if (name.uri == nullptr ? uri_of(in_scope) == nullptr
                            : same_or_absent(uri_of(in_scope), name.uri)) {
        found.record = name.uri == nullptr ? nullptr : in_scope;
        return found;
    }
    static_cast<void>(xml_namespace(element->doc));
    found.taken_off = declaration_on(element, name.prefix);
    found.made = new_declaration(name.uri, name.prefix, declared_by::need);
    found.record = name.uri == nullptr ? nullptr : found.made.get();
    return found;
}

// An element under a new namespace for as long as its consequences are planned, or for good.
class trial_namespace {
  public:
    trial_namespace(xmlNodePtr element, element_record &space) noexcept
        : element_(element), space_(space), old_(element->ns), place_(&element->nsDef) {
        element->ns = space.record;
        if (space.made != nullptr) {
            while (*place_ != space.taken_off) {
                place_ = &(*place_)->next;
            }
            space.made->next = space.taken_off == nullptr ? nullptr : space.taken_off->next;
            *place_ = space.made.get();
        }
    }
    ~trial_namespace() {
        if (is_kept_) {
            return;
        }
        element_->ns = old_;
        if (space_.made != nullptr) {
            *place_ = space_.taken_off;
            space_.made->next = nullptr;
        }
    }
    trial_namespace(const trial_namespace &) = delete;
    trial_namespace &operator=(const trial_namespace &) = delete;
    void keep() noexcept {
        is_kept_ = true;
        if (space_.taken_off != nullptr) {
            count_namespace_of(element_->doc);
            space_.taken_off->next = element_->doc->oldNs->next;
            element_->doc->oldNs->next = space_.taken_off;
        }
        static_cast<void>(space_.made.release());
    }

  private:
    xmlNodePtr element_;
    element_record &space_;
    xmlNsPtr old_;
    xmlNsPtr *place_;
    bool is_kept_ = false;
};

// Whatever the element declared for its prefix and now means something else is declared where it
// is used.
void rename_element(xmlNodePtr element, const full_name &name) {
    new_name called(element->doc, name.local);
    element_record space = record_for_element(element, name);
    namespace_plan plan(element->doc);
    trial_namespace trial(element, space);
    if (space.made != nullptr) {
        plan.fit(element, element->parent);
    }
    trial.keep();
    called.give_to(element);
    plan.apply();
}

void rename_attribute(xmlAttrPtr attribute, const full_name &name) {
    new_name called(attribute->doc, name.local);
    namespace_plan plan(attribute->doc);
    xmlNsPtr record = nullptr;
    if (name.uri != nullptr) {
        record = attribute->parent != nullptr
                     ? plan.record_for_attribute(attribute->parent, name.prefix, name.uri)
                 : same_text(name.uri, k_xml_uri)
                     ? xml_namespace(attribute->doc)
                     : shared_namespace(attribute->doc, name.uri, name.prefix);
    }
    forget_parsed_id(attribute);
    note_attribute_change(attribute);
    attribute->ns = record;
    called.give_to(as_node(attribute));
    attribute->psvi = nullptr; // the hash of its name
    note_attribute_change(attribute);
    plan.apply();
}

} // namespace

void rename_in_place(xmlNodePtr node, const full_name &name) {
    if (is_attribute(node)) {
        rename_attribute(reinterpret_cast<xmlAttrPtr>(node), name);
    } else {
        note_tree_change(node);
        rename_element(node, name);
        note_tree_change(node);
    }
}

} // namespace pkg_dbe_xml
