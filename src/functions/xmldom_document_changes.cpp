// The package xmldom: making documents, and changing what they say of themselves.

#include "edit/character_data.hpp"
#include "functions/package_changes.hpp"
#include "libxml/xml.hpp"
#include "tree/text_compare.hpp"
#include "write/encoded_text.hpp"

#include <utility>

namespace pkg_dbe_xml {

namespace {

constexpr package_function k_new_document{"xmldom.new_document", {"root", "uri", "doctype"}};
constexpr package_function k_set_xml_version{"xmldom.set_xml_version", {"document", "version"}};
constexpr package_function k_set_xml_standalone{"xmldom.set_xml_standalone",
                                                {"document", "standalone"}};
constexpr package_function k_set_document_uri{"xmldom.set_document_uri", {"document", "uri"}};
constexpr package_function k_set_charset{"xmldom.set_charset", {"document", "character_set"}};
constexpr package_function k_set_doctype{"xmldom.set_doctype",
                                         {"document", "name", "system_id", "public_id"}};
constexpr package_function k_free_document{"xmldom.free_document", {"document"}};
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
[[nodiscard]] xml_text_ptr copy_or_null(const data_argument &text) {
    return text.is_null() ? nullptr : copy_of_text(text.text());
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

// Puts a new document type in front of the root element.
void add_document_type(xmlDocPtr document, const xmlChar *name) {
    const host::tree_scope scope;
    xmlDtdPtr const type = xmlNewDtd(nullptr, name, nullptr, nullptr);
    if (type == nullptr || scope.refused() || type->name == nullptr) {
        xmlFreeDtd(type);
        report(reports::out_of_memory);
    }
    xmlNodePtr root = document->children;
    while (root != nullptr && root->type != XML_ELEMENT_NODE) {
        root = root->next;
    }
    type->doc = document;
    document->intSubset = type;
    link_before(as_node(document), reinterpret_cast<xmlNodePtr>(type), root);
}

// Gives the document type its name and its identifiers, of which two may be null.
void set_document_type(xmlDocPtr document, const xmlChar *name, const data_argument &system_id,
                       const data_argument &public_id) {
    xml_text_ptr system_copy = copy_or_null(system_id);
    xml_text_ptr public_copy = copy_or_null(public_id);
    if (document->intSubset == nullptr) {
        add_document_type(document, name);
    } else {
        replace_string(document, document->intSubset->name, copy_of_text(name));
    }
    replace_string(document, document->intSubset->SystemID, std::move(system_copy));
    replace_string(document, document->intSubset->ExternalID, std::move(public_copy));
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
    const uri_argument uri(here, call, 1);
    if (!call.is_null(0)) {
        const name_argument name(here, call, 0, "an element");
        const full_name wanted = name.in(uri.xml());
        require_namespace(here, 0, check_element_name(wanted), name, uri.xml());
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
    const host::datum result = here.same(0, document);
    xmlDocPtr const changed = as_document(document);
    replace_string(changed, changed->version, copy_of_text(wanted));
    return result;
}

// A null takes the statement out of the declaration.
PKG_DBE_XML_FUNCTION(xmldom_set_xml_standalone) {
    const package_call here(call, k_set_xml_standalone);
    const named_node document = here.needed_node(0, k_document);
    const host::datum result = here.same(0, document);
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
    const host::datum result = here.same(0, document);
    xmlDocPtr const changed = as_document(document);
    replace_string(changed, changed->URL, copy_or_null(uri.xml()));
    return result;
}

// A null means UTF-8. Reports unsupported_character_set.
PKG_DBE_XML_FUNCTION(xmldom_set_charset) {
    const package_call here(call, k_set_charset);
    const named_node document = here.needed_node(0, k_document);
    const optional_argument name(call, 1);
    const xmlChar *const wanted =
        name.xml() == nullptr ? reinterpret_cast<const xmlChar *>("UTF-8") : name.xml();
    if (!is_known_encoding(reinterpret_cast<const char *>(wanted))) {
        here.fail(reports::unsupported_character_set, 1);
    }
    const host::datum result = here.same(0, document);
    xmlDocPtr const changed = as_document(document);
    replace_string(changed, changed->encoding, copy_of_text(wanted));
    return result;
}

// A public identifier needs a system identifier. What the document type declares stays.
PKG_DBE_XML_FUNCTION(xmldom_set_doctype) {
    const package_call here(call, k_set_doctype);
    const named_node document = here.needed_node(0, k_document);
    const name_argument name(here, call, 1, "a document type");
    const data_argument system_id(call, 2);
    const data_argument public_id(call, 3);
    if (!public_id.is_null()) {
        here.needs(2);
    }
    require_data(here, 2, check_system_id(system_id.text()), "system identifier");
    require_data(here, 3, check_public_id(public_id.text()), "public identifier");
    const host::datum result = here.same(0, document);
    set_document_type(as_document(document), reinterpret_cast<const xmlChar *>(name.whole()),
                      system_id, public_id);
    return result;
}

// The handle of a document that is gone already needs no more to be done. Reports wrong_node_type
// for a copy of a document that was imported, which goes with the document that it was imported
// into.
PKG_DBE_XML_FUNCTION(xmldom_free_document) {
    if (call.is_null(0)) {
        return call.null();
    }
    const DomKey *const key = handle_in_place(call.value(0));
    const XMLHashEntry *const entry = key == nullptr ? nullptr : look_up_handle(*key);
    if (key != nullptr && (entry == nullptr || entry->object == nullptr)) {
        if (entry != nullptr && entry->kind == XMLDomNodeType::document) {
            xml_release_document(*key);
        }
        return call.null();
    }
    const package_call here(call, k_free_document);
    const named_node document = here.node(0, k_document);
    const family *const owner = find_family(*document.entry);
    if (owner != nullptr && owner->main != as_document(document)) {
        here.fail(reports::wrong_node_type, 0,
                  {"a document that was parsed or made", "a copy that was imported and goes with "
                                                         "the document that it was imported into"});
    }
    xml_release_document(document.entry->key);
    return call.null();
}

// Joins texts, and declares whatever a name uses and nothing declares.
PKG_DBE_XML_FUNCTION(xmldom_normalize_document) {
    const package_call here(call, k_normalize_document);
    const named_node document = here.needed_node(0, k_document);
    const host::datum result = here.same(0, document);
    namespace_plan plan(as_document(document));
    plan.fit(document.node, nullptr);
    normalize_texts(family_of(*document.entry), document.node);
    plan.apply();
    return result;
}

} // namespace pkg_dbe_xml
