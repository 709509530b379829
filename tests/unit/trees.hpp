// Trees for tests: documents parsed or built with libxml2 itself, and a look behind handles. For
// tests of functions that read, which need nodes that no function of the library makes.
#pragma once

#include "sql.hpp"

#include "libxml/xml.hpp"
#include "registry.hpp"

#include <libxml/parser.h>

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace trees {

using pkg_dbe_xml::XMLDomNodeType;
using pkg_dbe_xml::XMLEntryType;
using pkg_dbe_xml::XMLHashEntry;

inline const xmlChar *xml(const char *text) { return reinterpret_cast<const xmlChar *>(text); }

inline pkg_dbe_xml::DomKey key_of(const sql::handle &handle) {
    pkg_dbe_xml::DomKey key{};
    std::memcpy(key.bytes.data(), handle.bytes.data(), handle.bytes.size());
    return key;
}
inline sql::handle handle_of(host::datum value) {
    const pkg_dbe_xml::DomKey key = pkg_dbe_xml::check_raw_id_valid(value);
    sql::handle handle;
    std::memcpy(handle.bytes.data(), key.bytes.data(), key.bytes.size());
    return handle;
}
// The entry of a handle, null when it is not registered.
inline XMLHashEntry *entry_of(const sql::handle &handle) {
    return pkg_dbe_xml::xml_find_hashentry(key_of(handle));
}
// What a handle names; null for nothing and for a handle that is not registered.
inline xmlNodePtr node_of(const sql::handle &handle) {
    const XMLHashEntry *entry = entry_of(handle);
    return entry == nullptr ? nullptr : pkg_dbe_xml::as_node(entry->object);
}
inline xmlDocPtr document_of(const sql::handle &handle) { return node_of(handle)->doc; }
inline int kind_of(const sql::handle &handle) {
    const XMLHashEntry *entry = entry_of(handle);
    return entry == nullptr ? 0 : static_cast<int>(entry->kind);
}

// A document that libxml2 parses with these options, registered under a new handle.
inline sql::handle parsed(std::string_view text, int options = 0) {
    xmlDocPtr document = nullptr;
    {
        const host::xml_scope scope;
        document = xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, "UTF-8",
                                 options | XML_PARSE_HUGE | XML_PARSE_NONET);
    }
    if (document == nullptr) {
        ADD_FAILURE() << "does not parse: " << text;
        return {};
    }
    return handle_of(pkg_dbe_xml::register_document(document));
}
// An empty document, registered.
inline sql::handle empty_document() {
    xmlDocPtr document = nullptr;
    {
        const host::tree_scope scope;
        document = xmlNewDoc(xml("1.0"));
    }
    return handle_of(pkg_dbe_xml::register_document(document));
}
// A new handle of any kind for any object, of the document that `from` belongs to.
inline sql::handle named(const sql::handle &from, void *object, XMLDomNodeType kind) {
    const pkg_dbe_xml::XMLHashEntry &entry = *entry_of(from);
    return handle_of(pkg_dbe_xml::mint_handle(entry, entry.key.serial(), object, kind));
}
inline sql::handle named(const sql::handle &from, xmlNodePtr node) {
    return named(from, node, XMLDomNodeType::node);
}
// A list of these nodes.
inline sql::handle list_of(const sql::handle &from, const std::vector<xmlNodePtr> &nodes) {
    xmlListPtr list = nullptr;
    {
        const host::tree_scope scope;
        list = xmlListCreate(nullptr, nullptr);
        for (xmlNodePtr node : nodes) {
            xmlListPushBack(list, node);
        }
    }
    return named(from, list, XMLDomNodeType::node_list);
}
// The handle goes on naming nothing, as after xml_dom_free_node.
inline void release(const sql::handle &handle) {
    pkg_dbe_xml::xml_free_hashentry(XMLEntryType::dom_map, key_of(handle));
}

inline sql::handle root(const sql::handle &document) {
    return sql::call(xml_dom_get_document_element, document).handle();
}
// The root as a handle of kind node.
inline sql::handle root_node(const sql::handle &document) {
    return sql::call(xml_dom_makenode, root(document)).handle();
}
// The names of all members of a list, with a space between them.
inline std::string names_in(const sql::handle &list) {
    std::string names;
    const int size = sql::call(xml_dom_get_length, list).integer();
    for (int index = 0; index < size; ++index) {
        const sql::handle item = sql::call(xml_dom_item, list, index).handle();
        names += (index == 0 ? "" : " ") + sql::call(xml_dom_get_node_name, item).text();
    }
    return names;
}

} // namespace trees
