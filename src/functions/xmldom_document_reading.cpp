// The package xmldom: what documents and their document types say of themselves.

#include "functions/package_arguments.hpp"
#include "libxml/xml.hpp"
#include "registry/list_making.hpp"
#include "text/libxml2_text.hpp"
#include "text/text_limits.hpp"
#include "write/serialization.hpp"
#include "xml_owner.hpp"

#include <cstring>
#include <string_view>

namespace pkg_dbe_xml {

namespace {

constexpr package_function k_get_doctype{"xmldom.get_doctype", {"document"}};
constexpr package_function k_get_xml_version{"xmldom.get_xml_version", {"document"}};
constexpr package_function k_get_xml_standalone{"xmldom.get_xml_standalone", {"document"}};
constexpr package_function k_get_xml_encoding{"xmldom.get_xml_encoding", {"document"}};
constexpr package_function k_get_input_encoding{"xmldom.get_input_encoding", {"document"}};
constexpr package_function k_get_document_uri{"xmldom.get_document_uri", {"document"}};
constexpr package_function k_get_public_id{"xmldom.get_public_id", {"node"}};
constexpr package_function k_get_system_id{"xmldom.get_system_id", {"node"}};
constexpr package_function k_get_internal_subset{"xmldom.get_internal_subset", {"document_type"}};
constexpr package_function k_get_entities{"xmldom.get_entities", {"document_type"}};
constexpr package_function k_get_notation_name{"xmldom.get_notation_name", {"entity"}};

constexpr node_wish k_document_type{type_bits(XML_DTD_NODE), "a document type"};
constexpr node_wish k_entity{type_bits(XML_ENTITY_DECL), "an entity"};
constexpr node_wish k_external{type_bits(XML_DTD_NODE, XML_ENTITY_DECL),
                               "a document type or an entity"};

// The document of argument 0, null for null.
[[nodiscard]] const xmlDoc *document_argument(host::call &call, const package_function &function) {
    const named_node named = package_call(call, function).node(0, k_document);
    return reinterpret_cast<const xmlDoc *>(named.node);
}

[[nodiscard]] bool is_parsed(const xmlDoc *document) noexcept {
    return (document->properties & XML_DOC_USERBUILT) == 0;
}

struct external_ids {
    const xmlChar *public_id;
    const xmlChar *system_id;
};
[[nodiscard]] external_ids ids_of(const xmlNode *node) noexcept {
    if (node->type == XML_DTD_NODE) {
        const auto *const type = reinterpret_cast<const xmlDtd *>(node);
        return {type->ExternalID, type->SystemID};
    }
    const auto *const entity = reinterpret_cast<const xmlEntity *>(node);
    return {entity->ExternalID, entity->SystemID};
}

// Entities that a document can refer to by name; those with "%" are of the document type alone.
[[nodiscard]] bool is_general_entity(const xmlNode *declaration) noexcept {
    if (declaration->type != XML_ENTITY_DECL) {
        return false;
    }
    switch (reinterpret_cast<const xmlEntity *>(declaration)->etype) {
    case XML_INTERNAL_GENERAL_ENTITY:
    case XML_EXTERNAL_GENERAL_PARSED_ENTITY:
    case XML_EXTERNAL_GENERAL_UNPARSED_ENTITY:
        return true;
    default:
        return false;
    }
}

} // namespace

PKG_DBE_XML_FUNCTION(xmldom_get_doctype) {
    const package_call here(call, k_get_doctype);
    const named_node named = here.node(0, k_document);
    if (!named) {
        return call.null();
    }
    return here.result(named, as_node(reinterpret_cast<const xmlDoc *>(named.node)->intSubset));
}

PKG_DBE_XML_FUNCTION(xmldom_get_xml_version) {
    const xmlDoc *const document = document_argument(call, k_get_xml_version);
    if (document == nullptr) {
        return call.null();
    }
    return text_or_null(call, document->version != nullptr
                                  ? document->version
                                  : reinterpret_cast<const xmlChar *>("1.0"));
}

PKG_DBE_XML_FUNCTION(xmldom_get_xml_standalone) {
    const xmlDoc *const document = document_argument(call, k_get_xml_standalone);
    return document == nullptr ? call.null() : host::from_boolean(document->standalone == 1);
}

PKG_DBE_XML_FUNCTION(xmldom_get_xml_encoding) {
    const xmlDoc *const document = document_argument(call, k_get_xml_encoding);
    return text_or_null(call, document == nullptr ? nullptr : document->encoding);
}

// What the text of a parsed document was read as: the encoding it declares, else UTF-8.
PKG_DBE_XML_FUNCTION(xmldom_get_input_encoding) {
    const xmlDoc *const document = document_argument(call, k_get_input_encoding);
    if (document == nullptr || !is_parsed(document)) {
        return call.null();
    }
    return text_or_null(call, document->encoding != nullptr
                                  ? document->encoding
                                  : reinterpret_cast<const xmlChar *>("UTF-8"));
}

PKG_DBE_XML_FUNCTION(xmldom_get_document_uri) {
    const xmlDoc *const document = document_argument(call, k_get_document_uri);
    return text_or_null(call, document == nullptr ? nullptr : document->URL);
}

PKG_DBE_XML_FUNCTION(xmldom_get_public_id) {
    const named_node named = package_call(call, k_get_public_id).node(0, k_external);
    return text_or_null(call, named ? ids_of(named.node).public_id : nullptr);
}

PKG_DBE_XML_FUNCTION(xmldom_get_system_id) {
    const named_node named = package_call(call, k_get_system_id).node(0, k_external);
    return text_or_null(call, named ? ids_of(named.node).system_id : nullptr);
}

// Null when the document type declares nothing itself.
PKG_DBE_XML_FUNCTION(xmldom_get_internal_subset) {
    const named_node named = package_call(call, k_get_internal_subset).node(0, k_document_type);
    if (!named || named.node->children == nullptr) {
        return call.null();
    }
    text_output output(longest_value());
    append_declarations(output, named.node);
    if (output.size() > longest_value()) {
        report(reports::over_one_gigabyte);
    }
    return inline_result(output);
}

// A list of the entities that a document type declares, in their order.
PKG_DBE_XML_FUNCTION(xmldom_get_entities) {
    const named_node named = package_call(call, k_get_entities).node(0, k_document_type);
    if (!named) {
        return call.null();
    }
    return list_result(*named.entry, [&named](node_collector &found) {
        for (xmlNodePtr member = named.node->children; member != nullptr; member = member->next) {
            if (is_general_entity(member)) {
                found.add(member);
            } else {
                found.pass_by();
            }
        }
    });
}

// The notation of an entity that is not parsed; null for every other entity.
PKG_DBE_XML_FUNCTION(xmldom_get_notation_name) {
    const named_node named = package_call(call, k_get_notation_name).node(0, k_entity);
    if (!named) {
        return call.null();
    }
    const auto *const entity = reinterpret_cast<const xmlEntity *>(named.node);
    return text_or_null(
        call, entity->etype == XML_EXTERNAL_GENERAL_UNPARSED_ENTITY ? entity->content : nullptr);
}

} // namespace pkg_dbe_xml
