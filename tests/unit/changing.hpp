// What the tests of changes share: documents from text, their root, what is written, the node that
// a handle names.
#pragma once

#include "sql.hpp"

#include "host/session.hpp"
#include "libxml/xml.hpp"
#include "registry/dom_map.hpp"
#include "registry/kept_trees.hpp"
#include "standalone_session.hpp"

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

class changing : public sql::session_test {
  protected:
    static sql::handle document(std::string_view xml) {
        return sql::call(xml_dom_new_document_clob, xml).handle();
    }
    static sql::handle empty_document() { return sql::call(xml_dom_new_document_empty).handle(); }
    // The handle of the root element, of kind element.
    static sql::handle root(const sql::handle &of) {
        return sql::call(xml_dom_get_document_element, of).handle();
    }
    static sql::handle first(const sql::handle &of) {
        return sql::call(xml_dom_get_first_child, of).handle();
    }
    static sql::handle last(const sql::handle &of) {
        return sql::call(xml_dom_get_last_child, of).handle();
    }
    static sql::handle next(const sql::handle &of) {
        return sql::call(xml_dom_get_next_sibling, of).handle();
    }
    static sql::handle element(const sql::handle &of, std::string_view name) {
        return sql::call(xml_dom_create_element, of, name).handle();
    }
    static sql::handle text(const sql::handle &of, std::string_view data) {
        return sql::call(xml_dom_create_text_node, of, data).handle();
    }
    // A new attribute with that value.
    static sql::handle attribute(const sql::handle &of, std::string_view name,
                                 std::string_view value) {
        const sql::handle made = sql::call(xml_dom_create_attribute, of, name).handle();
        EXPECT_FALSE(sql::call(xml_dom_set_node_value, made, value).failed());
        return made;
    }
    // The attribute of an element handle.
    static sql::handle attribute_of(const sql::handle &of, std::string_view name) {
        return sql::call(xml_dom_get_attribute_node, of, name).handle();
    }
    static sql::handle append(const sql::handle &parent, const sql::handle &child) {
        return sql::call(xml_dom_append_child, parent, child).handle();
    }
    static sql::handle import(const sql::handle &into, const sql::handle &node, bool deep) {
        return sql::call(xml_dom_import_node, into, node, deep).handle();
    }
    static std::string value(const sql::handle &of) {
        return sql::call(xml_dom_get_node_value, of).text();
    }
    static std::string name(const sql::handle &of) {
        return sql::call(xml_dom_get_node_name, of).text();
    }
    // The node as it is written without line breaks of the writer's own.
    static std::string written(const sql::handle &of) {
        const host::tree_scope scope;
        const pkg_dbe_xml::xml_buffer_ptr buffer(xmlBufferCreate());
        xmlNodeDump(buffer.get(), node(of)->doc, node(of), 0, 0);
        return reinterpret_cast<const char *>(xmlBufferContent(buffer.get()));
    }
    // The root of a document as it is written.
    static std::string written_root(const sql::handle &of) { return written(root(of)); }

    static const pkg_dbe_xml::XMLHashEntry *entry(const sql::handle &of) {
        pkg_dbe_xml::DomKey key;
        std::memcpy(key.bytes.data(), of.bytes.data(), of.bytes.size());
        return pkg_dbe_xml::xml_find_hashentry(key);
    }
    // The node itself, null when the handle is unknown or names nothing.
    static xmlNodePtr node(const sql::handle &of) {
        const pkg_dbe_xml::XMLHashEntry *const found = entry(of);
        return found == nullptr ? nullptr : static_cast<xmlNodePtr>(found->object);
    }
    static bool is_known(const sql::handle &of) { return entry(of) != nullptr; }
    static bool is_null(const sql::handle &of) { return sql::call(xml_dom_is_null, of).boolean(); }
    // Detached trees that are kept for the family of a handle.
    static std::size_t detached(const sql::handle &of) {
        pkg_dbe_xml::detached_trees trees;
        trees.collect(*pkg_dbe_xml::find_family(*entry(of)));
        return static_cast<std::size_t>(trees.end() - trees.begin());
    }
    static std::int64_t libxml2_bytes() { return host::gate.bytes_in_use; }
    static std::size_t registry_bytes() {
        return host::standalone::memory_of(host::u_sess.xmldom_context).bytes;
    }
};
