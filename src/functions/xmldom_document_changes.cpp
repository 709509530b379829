// The package xmldom: making documents, and changing what they say of themselves.

#include "edit/character_data.hpp"
#include "functions/package_changes.hpp"
#include "libxml/xml.hpp"
#include "tree/text_compare.hpp"

#include <utility>

namespace pkg_dbe_xml {

namespace {

constexpr package_function k_new_document{"xmldom.new_document", {"root", "uri", "doctype"}};
constexpr package_function k_set_xml_version{"xmldom.set_xml_version", {"document", "version"}};
constexpr package_function k_set_xml_standalone{"xmldom.set_xml_standalone",
                                                {"document", "standalone"}};
constexpr package_function k_set_document_uri{"xmldom.set_document_uri", {"document", "uri"}};
constexpr package_function k_normalize_document{"xmldom.normalize_document", {"document"}};

constexpr node_wish k_document_type{type_bits(XML_DTD_NODE), "a document type"};

[[nodiscard]] xmlDocPtr as_document(const named_node &node) noexcept {
    return reinterpret_cast<xmlDocPtr>(node.node);
}

// Strings of a parsed document may belong to its dictionary. `Text` is const or not, by the version
// of libxml2.
template <class Text>
void replace_string(xmlDocPtr document, Text *&place, xml_text_ptr text) noexcept {
    const host::tree_scope scope;
    if (place != nullptr &&
        (document->dict == nullptr || xmlDictOwns(document->dict, place) == 0)) {
        xmlFree(const_cast<xmlChar *>(place));
    }
    place = text.release();
}

[[nodiscard]] xml_text_ptr copy_or_null(const xmlChar *text) {
    return text == nullptr ? nullptr : copy_of_text(text);
}

[[nodiscard]] bool is_version(const xmlChar *text) noexcept {
    return same_text(text, "1.0") || same_text(text, "1.1");
}

[[nodiscard]] xml_doc_ptr empty_document() {
    const host::tree_scope scope;
    xml_doc_ptr made(xmlNewDoc(reinterpret_cast<const xmlChar *>("1.0")));
    if (made == nullptr || scope.refused()) {
        report(reports::out_of_memory);
    }
    return made;
}

} // namespace

// All arguments may be null: without a root the document is empty.
PKG_DBE_XML_FUNCTION(xmldom_new_document) {
    const package_call here(call, k_new_document);
    xml_doc_ptr made = empty_document();
    if (const named_node doctype = here.node(2, k_document_type)) {
        xml_node_ptr copy = copy_node(made.get(), doctype.node, true);
        link_before(as_node(made.get()), copy.release(), nullptr);
    }
    const optional_argument uri(call, 1);
    require_uri(here, 1, uri.uri());
    if (!call.is_null(0)) {
        const name_argument name(here, call, 0, "an element");
        const full_name wanted = name.in(uri.uri());
        require_namespace(here, 0, check_element_name(wanted), name, uri.uri());
        link_before(as_node(made.get()), new_element_in(made.get(), wanted).release(), nullptr);
    }
    const host::datum result = register_document(made.get());
    made.release();
    return result;
}

PKG_DBE_XML_FUNCTION(xmldom_set_xml_version) {
    const package_call here(call, k_set_xml_version);
    const named_node document = here.needed_node(0, k_document);
    const optional_argument version(call, 1);
    const xmlChar *const wanted =
        version.xml() == nullptr ? reinterpret_cast<const xmlChar *>("1.0") : version.xml();
    if (!is_version(wanted)) {
        here.fail(reports::unsupported_version, 1, {reinterpret_cast<const char *>(wanted)});
    }
    const host::datum result = here.result(document, document.node);
    xmlDocPtr const changed = as_document(document);
    replace_string(changed, changed->version, copy_of_text(wanted));
    return result;
}

// A null takes the statement out of the declaration.
PKG_DBE_XML_FUNCTION(xmldom_set_xml_standalone) {
    const package_call here(call, k_set_xml_standalone);
    const named_node document = here.needed_node(0, k_document);
    const host::datum result = here.result(document, document.node);
    as_document(document)->standalone = call.is_null(1) ? -1 : call.boolean(1) ? 1 : 0;
    return result;
}

PKG_DBE_XML_FUNCTION(xmldom_set_document_uri) {
    const package_call here(call, k_set_document_uri);
    const named_node document = here.needed_node(0, k_document);
    const optional_argument uri(call, 1);
    if (uri.xml() != nullptr) {
        require_data(here, 1, check_characters(uri.xml()), "document's URI");
    }
    const host::datum result = here.result(document, document.node);
    xmlDocPtr const changed = as_document(document);
    replace_string(changed, changed->URL, copy_or_null(uri.xml()));
    return result;
}

// Joins texts, and declares whatever a name uses and nothing declares.
PKG_DBE_XML_FUNCTION(xmldom_normalize_document) {
    const package_call here(call, k_normalize_document);
    const named_node document = here.needed_node(0, k_document);
    const host::datum result = here.result(document, document.node);
    namespace_plan plan(as_document(document));
    plan.fit(document.node, nullptr);
    normalize_texts(family_of(*document.entry), document.node);
    plan.apply();
    return result;
}

} // namespace pkg_dbe_xml
