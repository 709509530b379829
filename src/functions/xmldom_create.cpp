// The package xmldom: new nodes, which belong to a document and stand in no tree yet.

#include "edit/character_data.hpp"
#include "functions/package_changes.hpp"
#include "libxml/xml.hpp"

#include <libxml/entities.h>

namespace pkg_dbe_xml {

namespace {

constexpr package_function k_create_element{"xmldom.create_element", {"document", "tag_name"}};
constexpr package_function k_create_element_ns{"xmldom.create_element_ns",
                                               {"document", "qualified_name", "uri"}};
constexpr package_function k_create_attribute{"xmldom.create_attribute", {"document", "name"}};
constexpr package_function k_create_attribute_ns{"xmldom.create_attribute_ns",
                                                 {"document", "qualified_name", "uri"}};
constexpr package_function k_create_text_node{"xmldom.create_text_node", {"document", "data"}};
constexpr package_function k_create_comment{"xmldom.create_comment", {"document", "data"}};
constexpr package_function k_create_cdata_section{"xmldom.create_cdata_section",
                                                  {"document", "data"}};
constexpr package_function k_create_processing_instruction{"xmldom.create_processing_instruction",
                                                           {"document", "target", "data"}};
constexpr package_function k_create_entity_reference{"xmldom.create_entity_reference",
                                                     {"document", "name"}};
constexpr package_function k_create_document_fragment{"xmldom.create_document_fragment",
                                                      {"document"}};

[[nodiscard]] xmlDocPtr document_of(const named_node &document) noexcept {
    return reinterpret_cast<xmlDocPtr>(document.node);
}

// The handle of a new node, which goes when that cannot be made.
host::datum finish(const package_call &here, const named_node &document, xml_node_ptr made) {
    const host::datum result = here.result_of_new(document, made.get());
    made.release();
    return result;
}

// Takes what libxml2 made. Reports out_of_memory.
[[nodiscard]] xml_node_ptr checked(const host::tree_scope &scope, xmlNodePtr node) {
    xml_node_ptr made(node);
    if (made == nullptr || scope.refused()) {
        report(reports::out_of_memory);
    }
    return made;
}

void require_no_prefix(const package_call &here, int index, const name_argument &name) {
    if (name.prefix() != nullptr) {
        here.fail(reports::undeclared_prefix, index, {name.whole()});
    }
}

[[nodiscard]] int size_of(const xmlChar *text) noexcept { return xmlStrlen(text); }

// A comment or CDATA section that holds argument 1; null counts as the empty text.
host::datum create_data_node(host::call &call, const package_function &function,
                             xmlElementType type) {
    const package_call here(call, function);
    const named_node document = here.needed_node(0, k_document);
    const optional_argument data(call, 1);
    const xmlChar *const text = data.or_empty();
    require_data(here, 1, type, text);
    const host::tree_scope scope;
    xmlDocPtr const owner = document_of(document);
    return finish(here, document,
                  checked(scope, type == XML_COMMENT_NODE
                                     ? xmlNewDocComment(owner, text)
                                     : xmlNewCDataBlock(owner, text, size_of(text))));
}

} // namespace

PKG_DBE_XML_FUNCTION(xmldom_create_element) {
    const package_call here(call, k_create_element);
    const named_node document = here.needed_node(0, k_document);
    const name_argument name(here, call, 1, "an element");
    require_no_prefix(here, 1, name);
    require_namespace(here, 1, check_element_name(name.in(nullptr)), name, nullptr);
    return finish(here, document, new_element(document_of(document), name.local()));
}

PKG_DBE_XML_FUNCTION(xmldom_create_element_ns) {
    const package_call here(call, k_create_element_ns);
    const named_node document = here.needed_node(0, k_document);
    const name_argument name(here, call, 1, "an element");
    const uri_argument uri(here, call, 2);
    require_namespace(here, 1, check_element_name(name.in(uri.xml())), name, uri.xml());
    return finish(here, document, new_element_in(document_of(document), name.in(uri.xml())));
}

// "xml:lang" and the like need no namespace to be given.
PKG_DBE_XML_FUNCTION(xmldom_create_attribute) {
    const package_call here(call, k_create_attribute);
    const named_node document = here.needed_node(0, k_document);
    const name_argument name(here, call, 1, "an attribute");
    const auto *uri = static_cast<const xmlChar *>(nullptr);
    if (is_xml_prefix(name.prefix())) {
        uri = reinterpret_cast<const xmlChar *>(k_xml_uri);
    }
    require_namespace(here, 1,
                      names_declaration(name.prefix(), name.local()) ? namespace_fault::xmlns_name
                                                                     : namespace_fault::none,
                      name, nullptr);
    if (uri == nullptr) {
        require_no_prefix(here, 1, name);
    }
    return finish(here, document, new_attribute_in(document_of(document), name.in(uri)));
}

PKG_DBE_XML_FUNCTION(xmldom_create_attribute_ns) {
    const package_call here(call, k_create_attribute_ns);
    const named_node document = here.needed_node(0, k_document);
    const name_argument name(here, call, 1, "an attribute");
    const uri_argument uri(here, call, 2);
    require_namespace(here, 1, check_attribute_name(name.in(uri.xml())), name, uri.xml());
    return finish(here, document, new_attribute_in(document_of(document), name.in(uri.xml())));
}

PKG_DBE_XML_FUNCTION(xmldom_create_text_node) {
    const package_call here(call, k_create_text_node);
    const named_node document = here.needed_node(0, k_document);
    const data_argument data(call, 1);
    require_data(here, 1, XML_TEXT_NODE, data);
    return finish(here, document, new_text(document_of(document), data.text()));
}

PKG_DBE_XML_FUNCTION(xmldom_create_comment) {
    return create_data_node(call, k_create_comment, XML_COMMENT_NODE);
}

PKG_DBE_XML_FUNCTION(xmldom_create_cdata_section) {
    return create_data_node(call, k_create_cdata_section, XML_CDATA_SECTION_NODE);
}

PKG_DBE_XML_FUNCTION(xmldom_create_processing_instruction) {
    const package_call here(call, k_create_processing_instruction);
    const named_node document = here.needed_node(0, k_document);
    const needed_text target(here, call, 1);
    if (const text_check check = check_target(target.xml()); !check.passed()) {
        fail_name(here, 1, target.c_str(), "a processing instruction", check);
    }
    const optional_argument data(call, 2);
    require_data(here, 2, XML_PI_NODE, data.or_empty());
    const host::tree_scope scope;
    return finish(here, document,
                  checked(scope, xmlNewDocPI(document_of(document), target.xml(),
                                             *data.or_empty() == 0 ? nullptr : data.xml())));
}

// Its text is that of the entity, which the document type declares.
PKG_DBE_XML_FUNCTION(xmldom_create_entity_reference) {
    const package_call here(call, k_create_entity_reference);
    const named_node document = here.needed_node(0, k_document);
    const needed_text name(here, call, 1);
    if (const text_check check = check_plain_name(name.xml()); !check.passed()) {
        fail_name(here, 1, name.c_str(), "an entity", check);
    }
    if (xmlGetDocEntity(document_of(document), name.xml()) == nullptr) {
        here.fail(reports::no_such_entity, 1, {name.c_str()});
    }
    const host::tree_scope scope;
    return finish(here, document,
                  checked(scope, xmlNewReference(document_of(document), name.xml())));
}

PKG_DBE_XML_FUNCTION(xmldom_create_document_fragment) {
    const package_call here(call, k_create_document_fragment);
    const named_node document = here.needed_node(0, k_document);
    const host::tree_scope scope;
    return finish(here, document, checked(scope, xmlNewDocFragment(document_of(document))));
}

} // namespace pkg_dbe_xml
