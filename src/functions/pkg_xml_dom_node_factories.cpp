// Making nodes that belong to a document and stand in no tree yet: elements, texts, attributes.

#include "edit/tree_attributes.hpp"
#include "functions/call_frame.hpp"
#include "libxml/xml.hpp"
#include "text/text_argument.hpp"
#include "tree/namespace_marks.hpp"

#include <cstddef>
#include <optional>

namespace pkg_dbe_xml {

namespace {

// Bytes in the database encoding.
constexpr std::size_t k_longest_literal = 32767;

void require_literal(const text_argument &text) {
    if (text.size() > k_longest_literal) {
        report(reports::literal_too_long);
    }
}

// The steps that both element factories share: checks the handle and the tag name, makes the
// element and registers it. Gives null, and sets `element` to null, when the handle names nothing.
host::datum make_element(host::call &call, xmlNodePtr &element) {
    element = nullptr;
    if (call.is_null(0)) {
        report(reports::null_handle);
    }
    DomKey room;
    const DomKey &key = key_argument(call, 0, room);
    if (call.is_null(1)) {
        report(reports::null_tag_name);
    }
    text_argument name(call.value(1));
    require_literal(name);
    const XMLHashEntry entry = *xml_get_hashentry(XMLEntryType::dom_map, key);
    if (entry.object == nullptr) {
        return call.null();
    }
    xml_node_ptr made = new_element(require_document(entry), name.to_utf8().xml());
    const host::datum result = mint_handle<XMLDomNodeType::element>(entry, made.get());
    element = made.release();
    return result;
}

// Declares the URI as the default namespace of an element and puts the element into it.
void set_default_namespace(xmlNodePtr element, const xmlChar *uri) {
    const host::tree_scope scope;
    xml_ns_ptr record(xmlNewNs(nullptr, uri, nullptr));
    if (record == nullptr || scope.refused()) {
        report(reports::out_of_memory);
    }
    mark_used_inside(record.get());
    element->nsDef = record.release();
    xmlSetNs(element, element->nsDef);
}

// A text of a handle's document; without content for a null.
host::datum make_text(const XMLHashEntry &entry, const xmlChar *content) {
    family &owner = family_of(entry);
    const host::tree_scope scope;
    xml_node_ptr made(xmlNewDocText(owner.main, content));
    if (made == nullptr || scope.refused()) {
        report(reports::out_of_memory);
    }
    const host::datum result = mint_handle<XMLDomNodeType::text>(entry, made.get());
    made.release();
    return result;
}

} // namespace

PKG_DBE_XML_FUNCTION(xml_dom_create_element) {
    xmlNodePtr element = nullptr;
    return make_element(call, element);
}

// The qualified name stays whole, prefix and colon included. The element is registered before the
// namespace is looked at: programs may find it, and it goes with its document, when the namespace
// is refused.
PKG_DBE_XML_FUNCTION(xml_dom_create_element_ns) {
    xmlNodePtr element = nullptr;
    const host::datum result = make_element(call, element);
    if (element != nullptr && !call.is_null(2)) {
        text_argument uri(call.value(2));
        require_literal(uri);
        set_default_namespace(element, uri.to_utf8().xml());
    }
    return result;
}

// The object of the handle is not looked at: through a handle that names nothing the text is made
// all the same, and is released with the document id.
PKG_DBE_XML_FUNCTION(xml_dom_create_text_node) {
    if (call.is_null(0)) {
        report(reports::null_handle);
    }
    DomKey room;
    const DomKey &key = key_argument(call, 0, room);
    std::optional<text_argument> data;
    if (!call.is_null(1)) {
        require_literal(data.emplace(call.value(1)));
    }
    const XMLHashEntry entry = *xml_get_hashentry(XMLEntryType::dom_map, key);
    return make_text(entry, data ? data->to_utf8().xml() : nullptr);
}

PKG_DBE_XML_FUNCTION(xml_dom_create_attribute) {
    if (call.is_null(1)) {
        report(reports::null_attribute_name);
    }
    if (call.is_null(0)) {
        return call.null();
    }
    const XMLHashEntry entry = find_handle(call, 0);
    if (entry.object == nullptr) {
        return call.null();
    }
    xmlDocPtr const document = require_document(entry);
    const utf8_argument name(call.value(1));
    xml_node_ptr made = new_attribute(document, name.xml());
    const host::datum result = mint_handle<XMLDomNodeType::attribute>(entry, made.get());
    made.release();
    return result;
}

} // namespace pkg_dbe_xml
