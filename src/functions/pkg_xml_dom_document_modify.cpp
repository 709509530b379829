// The root element of a document, its character set, and its document type declaration.

#include "functions/call_frame.hpp"
#include "libxml/xml.hpp"
#include "text/encoding_handler.hpp"

#include <optional>
#include <utility>

namespace pkg_dbe_xml {

namespace {

// Limits in bytes of the database encoding.
constexpr std::size_t k_longest_character_set = 60;
constexpr std::size_t k_longest_doctype = 32500; // each text, and all three together

// Strings of a parsed document may belong to its dictionary.
void free_document_string(xmlDocPtr document, const xmlChar *text) noexcept {
    if (text != nullptr && (document->dict == nullptr || xmlDictOwns(document->dict, text) == 0)) {
        xmlFree(const_cast<xmlChar *>(text));
    }
}

// A copy for libxml2 to own; null for null. Reports out_of_memory.
xml_text_ptr copied(const xmlChar *text) {
    xml_text_ptr copy(text == nullptr ? nullptr : xmlStrdup(text));
    if (text != nullptr && copy == nullptr) {
        report(reports::out_of_memory);
    }
    return copy;
}

// Only the name is tested. Reports unsupported_character_set and out_of_memory.
void require_known_encoding(const char *name) {
    bool known = false;
    bool refused = false;
    {
        const host::xml_scope scope;
        const encoding_handler_ptr handler(find_encoding_handler(name));
        known = handler != nullptr;
        refused = scope.refused();
    }
    if (refused) {
        report(reports::out_of_memory);
    }
    if (!known) {
        report(reports::unsupported_character_set);
    }
}

void replace_encoding(xmlDocPtr document, const char *name) {
    const host::tree_scope scope;
    xml_text_ptr copy = copied(reinterpret_cast<const xmlChar *>(name));
    free_document_string(document, document->encoding);
    document->encoding = copy.release();
}

// The texts of a document type declaration; each may be absent.
struct doctype_texts {
    std::optional<text_argument> name;
    std::optional<text_argument> system_id;
    std::optional<text_argument> public_id;

    // Reports numeric_or_value_error.
    void require_lengths() const {
        std::size_t sum = 0;
        for (const auto *text : {&name, &system_id, &public_id}) {
            const std::size_t size = *text ? (*text)->size() : 0;
            sum += size;
            if (size > k_longest_doctype || sum > k_longest_doctype) {
                report(reports::numeric_or_value_error);
            }
        }
    }
    void to_utf8() {
        for (auto *text : {&name, &system_id, &public_id}) {
            if (*text) {
                (*text)->to_utf8();
            }
        }
    }
};

const xmlChar *text_or_null(const std::optional<text_argument> &text) noexcept {
    return text ? text->xml() : nullptr;
}

void replace_doctype(xmlDocPtr document, const doctype_texts &texts) {
    const host::tree_scope scope;
    xml_text_ptr name = copied(text_or_null(texts.name));
    xml_text_ptr system_id = copied(text_or_null(texts.system_id));
    xml_text_ptr public_id = copied(text_or_null(texts.public_id));
    xmlDtdPtr dtd = document->intSubset;
    free_document_string(document, dtd->name);
    dtd->name = name.release();
    free_document_string(document, dtd->SystemID);
    dtd->SystemID = system_id.release();
    free_document_string(document, dtd->ExternalID);
    dtd->ExternalID = public_id.release();
}

// Reports out_of_memory.
void make_doctype(xmlDocPtr document, const doctype_texts &texts) {
    const host::tree_scope scope;
    if (xmlCreateIntSubset(document, text_or_null(texts.name), text_or_null(texts.public_id),
                           text_or_null(texts.system_id)) == nullptr) {
        report(reports::out_of_memory);
    }
}

} // namespace

// The kind of the handle is not looked at: of any node the first element child is handed out.
PKG_DBE_XML_FUNCTION(xml_dom_get_document_element) {
    if (call.is_null(0)) {
        return call.null();
    }
    const XMLHashEntry &entry = find_handle(call, 0);
    xmlNodePtr node = node_or_null(entry);
    if (node == nullptr) {
        return call.null();
    }
    xmlNodePtr root = first_child(node);
    while (root != nullptr && root->type != XML_ELEMENT_NODE) {
        root = root->next;
    }
    if (root == nullptr) {
        // A node id is used up even when there is no root to give it to.
        static_cast<void>(xml_get_next_nodeid(xml_getdom_docid(&entry.key)));
        return call.null();
    }
    return mint_handle<XMLDomNodeType::element>(entry, root);
}

PKG_DBE_XML_FUNCTION(xml_dom_set_charset) {
    host::StmtRetrySetQuerytUnsupportedFlag();
    if (call.is_null(0)) {
        return call.null();
    }
    xmlDocPtr document = require_document(find_handle(call, 0));
    std::optional<text_argument> name;
    if (!call.is_null(1)) {
        name.emplace(call.value(1));
        if (name->size() > k_longest_character_set) {
            report(reports::encoding_name_too_long);
        }
        name->to_utf8();
    }
    const char *encoding = name ? name->c_str() : "UTF-8";
    require_known_encoding(encoding);
    replace_encoding(document, encoding);
    return call.null();
}

PKG_DBE_XML_FUNCTION(xml_dom_set_doctype) {
    host::StmtRetrySetQuerytUnsupportedFlag();
    if (call.is_null(0)) {
        return call.null();
    }
    DomKey room;
    const DomKey &key = key_argument(call, 0, room);
    // The texts are read before the handle is looked up.
    doctype_texts texts;
    for (auto [index, text] : {std::pair{1, &texts.name}, std::pair{2, &texts.system_id},
                               std::pair{3, &texts.public_id}}) {
        if (!call.is_null(index)) {
            text->emplace(call.value(index));
        }
    }
    xmlDocPtr document = require_document(*xml_get_hashentry(XMLEntryType::dom_map, key));
    texts.require_lengths();
    texts.to_utf8();
    if (document->intSubset != nullptr) {
        replace_doctype(document, texts);
    } else {
        make_doctype(document, texts);
    }
    return call.null();
}

} // namespace pkg_dbe_xml
