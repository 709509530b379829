// Appending, importing, setting values.

#include "edit/tree_append.hpp"
#include "edit/tree_attributes.hpp"
#include "edit/tree_copy.hpp"
#include "edit/tree_texts.hpp"
#include "functions/call_frame.hpp"
#include "libxml/xml.hpp"
#include "registry/family_waste.hpp"
#include "text/text_argument.hpp"
#include "tree/immutable_nodes.hpp"

#include <algorithm>
#include <cstdint>

namespace pkg_dbe_xml {

namespace {

void refuse_collections(const XMLHashEntry &entry) {
    if (is_collection(entry)) {
        report(reports::inconsistent_types);
    }
}

// Elements and documents have no value of their own, entity references show their declaration's.
[[nodiscard]] bool has_value(const xmlNode *node) noexcept {
    switch (node->type) {
    case XML_ATTRIBUTE_NODE:
    case XML_TEXT_NODE:
    case XML_CDATA_SECTION_NODE:
    case XML_PI_NODE:
    case XML_COMMENT_NODE:
        return true;
    default:
        return false;
    }
}

// The text of `child` goes to the end of `target`, and the child out of use: its own handles are
// dropped, nodes below it stay as they are for those who name them.
host::datum merge(const XMLHashEntry &parent, xmlNodePtr target, xmlNodePtr child) {
    family &owner = family_of(parent);
    text_growth growth(target, own_content(child));
    const host::datum result = mint_handle<XMLDomNodeType::node>(parent, target);
    growth.apply();
    drop_names(child);
    retire(owner, child);
    return result;
}

// The child moves to the end of the parent's children, an attribute to the end of its attributes;
// the handles of an attribute that it replaces are dropped.
host::datum move(const XMLHashEntry &parent, xmlNodePtr child) {
    xmlNodePtr const parent_node = as_node(parent.object);
    family &owner = family_of(parent);
    const host::datum result = mint_handle<XMLDomNodeType::node>(parent, child);
    xmlNodePtr const replaced = as_node(replaced_attribute(parent_node, child));
    move_below(parent_node, child);
    if (replaced != nullptr) {
        drop_names(replaced);
        retire(owner, replaced);
    }
    return result;
}

// Takes the copy that a family adopted last back, unless the call succeeds.
class adopted_copy {
  public:
    adopted_copy(family &owner, xml_doc_ptr copy) : owner_(owner), copy_(copy.get()) {
        adopt_copy(owner, copy);
    }
    ~adopted_copy() {
        if (!kept_) {
            --owner_.copies.count;
            xmlFreeDoc(copy_);
        }
    }
    adopted_copy(const adopted_copy &) = delete;
    adopted_copy &operator=(const adopted_copy &) = delete;
    [[nodiscard]] xmlDocPtr get() const noexcept { return copy_; }
    void keep() noexcept { kept_ = true; }

  private:
    family &owner_;
    xmlDocPtr copy_;
    bool kept_ = false;
};

// The copy of a document belongs to the family that it was imported into, and goes with it unless
// nobody needs it before.
host::datum import_document(const XMLHashEntry &into, xmlDocPtr document, xmlDocPtr source) {
    family &owner = family_of(into);
    free_idle_copies(owner);
    free_idle_namespaces(owner);
    const std::int64_t before = host::gate.bytes_in_use;
    adopted_copy copy(owner, copy_document(document, source));
    const host::datum result = mint_handle<XMLDomNodeType::node>(into, copy.get());
    copy.keep();
    count_copy(owner, static_cast<std::size_t>(
                          std::max<std::int64_t>(host::gate.bytes_in_use - before, 0)));
    return result;
}

} // namespace

PKG_DBE_XML_FUNCTION(xml_dom_append_child) {
    if (call.is_null(0)) {
        return call.null();
    }
    if (call.is_null(1)) {
        report(reports::null_child);
    }
    DomKey parent_room;
    const DomKey &parent_key = key_argument(call, 0, parent_room);
    DomKey child_room;
    const DomKey &child_key = key_argument(call, 1, child_room);
    const XMLHashEntry parent = *xml_get_hashentry(XMLEntryType::dom_map, parent_key);
    const XMLHashEntry child = *xml_get_hashentry(XMLEntryType::dom_map, child_key);
    if (parent.object == nullptr || child.object == nullptr) {
        return call.null();
    }
    refuse_collections(parent);
    refuse_collections(child);
    if (xml_getdom_docid(&parent_key) != xml_getdom_docid(&child_key)) {
        report(reports::other_document);
    }
    if (parent_key == child_key) {
        report(reports::not_allowed);
    }
    xmlNodePtr const parent_node = as_node(parent.object);
    xmlNodePtr const child_node = as_node(child.object);
    if (is_document(child_node)) {
        // A handle that names nothing, and no change: programs rely on it.
        return mint_handle<XMLDomNodeType::node>(parent, nullptr);
    }
    if (!may_append(parent_node, child_node)) {
        report(reports::not_allowed);
    }
    xmlNodePtr const target = merge_target(parent_node, child_node);
    return target != nullptr ? merge(parent, target, child_node) : move(parent, child_node);
}

PKG_DBE_XML_FUNCTION(xml_dom_import_node) {
    if (call.is_null(0) || call.is_null(1)) {
        return call.null();
    }
    DomKey document_room;
    const DomKey &document_key = key_argument(call, 0, document_room);
    DomKey node_room;
    const DomKey &node_key = key_argument(call, 1, node_room);
    const XMLHashEntry into = *xml_get_hashentry(XMLEntryType::dom_map, document_key);
    const XMLHashEntry from = *xml_get_hashentry(XMLEntryType::dom_map, node_key);
    if (into.object == nullptr || from.object == nullptr) {
        return call.null();
    }
    xmlDocPtr const document = require_document(into);
    refuse_collections(from);
    xmlNodePtr const source = as_node(from.object);
    if (source->type > XML_NOTATION_NODE) {
        report(reports::import_unsupported);
    }
    if (is_document(source)) {
        return import_document(into, document, reinterpret_cast<xmlDocPtr>(source));
    }
    xml_node_ptr copy = copy_node(document, source, !call.is_null(2) && call.boolean(2));
    const host::datum result = mint_handle<XMLDomNodeType::node>(into, copy.get());
    copy.release();
    return result;
}

PKG_DBE_XML_FUNCTION(xml_dom_set_node_value) {
    if (call.is_null(0) || call.is_null(1)) {
        return call.null();
    }
    const XMLHashEntry entry = find_handle(call, 0);
    if (entry.object == nullptr) {
        report(reports::invalid_node_handle);
    }
    refuse_collections(entry);
    xmlNodePtr const node = as_node(entry.object);
    if (!has_value(node) || is_immutable(node)) {
        report(reports::no_modification);
    }
    const utf8_argument value(call.value(1));
    if (is_attribute(node)) {
        set_attribute_text(family_of(entry), reinterpret_cast<xmlAttrPtr>(node),
                           {value.xml(), value.size()}, false);
    } else {
        set_own_content(family_of(entry), node, value.xml());
    }
    return 0;
}

} // namespace pkg_dbe_xml
