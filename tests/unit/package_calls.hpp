// A call of every function of the packages that changes, makes or writes something, with arguments
// with which it works, over a document with a node of every type. For tests that let one argument
// or one allocation fail in each.
#pragma once

#include "package_changing.hpp"
#include "samples.hpp"
#include "standalone_session.hpp"

#include <cstddef>
#include <string>
#include <vector>

namespace package_calls {

// Places in samples::k_samples.
enum place : int {
    k_root,
    k_element,
    k_attribute,
    k_spaced_attribute,
    k_text,
    k_section,
    k_reference,
    k_instruction,
    k_comment,
    k_document,
    k_fragment,
    k_type,
    k_element_declaration,
    k_attribute_declaration,
    k_entity,
    k_element_of_entity,
    k_lone_element,
    k_lone_text,
    k_lone_attribute,
};

// The document of samples.hpp, and another one.
struct world {
    samples::collection nodes;
    sql::handle other = trees::parsed("<o><f x='y'>z</f></o>");

    // The own handle of a node of the samples.
    [[nodiscard]] sql::handle of(int index) const {
        return own(nodes.document, nodes.nodes[static_cast<std::size_t>(index)]);
    }
    // The root of the other document, and its child.
    [[nodiscard]] sql::handle foreign() const {
        return own(other, xmlDocGetRootElement(trees::document_of(other)));
    }
    [[nodiscard]] sql::handle foreign_child() const {
        return own(other, xmlDocGetRootElement(trees::document_of(other))->children);
    }
    [[nodiscard]] sql::handle map() const {
        return sql::call(xmldom_get_attributes, of(k_root)).handle();
    }
    [[nodiscard]] sql::handle list() const {
        return sql::call(xmldom_get_child_nodes, of(k_root)).handle();
    }
    // Both documents and what stands in neither, as they are written, and how many handles there
    // are.
    [[nodiscard]] std::string state() const {
        std::string all = written(nodes.document) + "\n" + written(other) + "\n";
        for (const sql::handle &detached : nodes.keepers) {
            all += written(detached) + "\n";
        }
        return all + std::to_string(pkg_dbe_xml::xml_count_hashentries()) + " handles";
    }

  private:
    static std::string written(const sql::handle &top) {
        xmlNodePtr const node = trees::node_of(top);
        return node == nullptr ? "nothing" : trees::written(node);
    }
    static sql::handle own(const sql::handle &from, xmlNodePtr node) {
        return trees::handle_of(pkg_dbe_xml::own_handle(*trees::entry_of(from), node));
    }
};

// An attribute that takes the place of the one in a namespace.
inline sql::handle spaced_attribute(const world &w) {
    return sql::call(xmldom_create_attribute_ns, w.nodes.document, "q:b", "urn:p").handle();
}

// Prefixes for the canonical form.
inline sql::value prefixes() {
    return sql::value::of_datum(host::standalone::make_text_array({"p", "#default"}, 1));
}

struct changing_call {
    const char *name;
    sql::function entry;
    // A letter for each: h a handle, a an array of handles, n a name, u a namespace, d data, i a
    // number, b a truth value, c a character set or version, v a version of a form, . something
    // else.
    const char *arguments;
    std::vector<sql::value> (*good)(const world &);
};

#define PACKAGE_CALL(function, arguments, ...)                                                     \
    changing_call {                                                                                \
#function, function, arguments,                                                            \
            []([[maybe_unused]] const world &w) { return std::vector<sql::value>{__VA_ARGS__}; }   \
    }
// clang-format off
inline const changing_call k_calls[] = {
    PACKAGE_CALL(xmldom_append_child, "hh", w.of(k_root), w.of(k_lone_element)),
    PACKAGE_CALL(xmldom_insert_before, "hhh", w.of(k_root), w.of(k_lone_element), w.of(k_text)),
    PACKAGE_CALL(xmldom_replace_child, "hhh", w.of(k_root), w.of(k_lone_element), w.of(k_comment)),
    PACKAGE_CALL(xmldom_remove_child, "hh", w.of(k_root), w.of(k_text)),
    PACKAGE_CALL(xmldom_append, "ha", w.of(k_root), sql::array_of({w.of(k_lone_text), w.of(k_text)})),
    PACKAGE_CALL(xmldom_prepend, "ha", w.of(k_root), sql::array_of({w.of(k_lone_text), w.of(k_comment)})),
    PACKAGE_CALL(xmldom_before, "ha", w.of(k_comment), sql::array_of({w.of(k_lone_text), w.of(k_lone_element)})),
    PACKAGE_CALL(xmldom_after, "ha", w.of(k_text), sql::array_of({w.of(k_lone_text), w.of(k_lone_element)})),
    PACKAGE_CALL(xmldom_replace_with, "ha", w.of(k_element), sql::array_of({w.of(k_lone_text), w.of(k_lone_element)})),
    PACKAGE_CALL(xmldom_replace_children, "ha", w.of(k_root), sql::array_of({w.of(k_text), w.of(k_lone_element)})),
    PACKAGE_CALL(xmldom_remove, "h", w.of(k_element)),
    PACKAGE_CALL(xmldom_clone_node, "hb", w.of(k_root), true),
    PACKAGE_CALL(xmldom_import_node, "hhb", w.nodes.document, w.foreign(), true),
    PACKAGE_CALL(xmldom_adopt_node, "hh", w.nodes.document, w.foreign_child()),
    PACKAGE_CALL(xmldom_rename_node, "hnu", w.of(k_root), "q:renamed", "urn:q"),
    PACKAGE_CALL(xmldom_set_prefix, "hn", w.of(k_element), "q"),
    PACKAGE_CALL(xmldom_set_attribute, "hnd", w.of(k_root), "made", "value"),
    PACKAGE_CALL(xmldom_set_attribute_ns, "hndu", w.of(k_root), "q:made", "value", "urn:q"),
    PACKAGE_CALL(xmldom_remove_attribute, "hn", w.of(k_root), "a"),
    PACKAGE_CALL(xmldom_remove_attribute_ns, "hnu", w.of(k_root), "b", "urn:p"),
    PACKAGE_CALL(xmldom_set_attribute_node, "hh", w.of(k_root), w.of(k_lone_attribute)),
    PACKAGE_CALL(xmldom_set_attribute_node, "..", w.of(k_root), spaced_attribute(w)),
    PACKAGE_CALL(xmldom_remove_attribute_node, "hh", w.of(k_root), w.of(k_spaced_attribute)),
    PACKAGE_CALL(xmldom_set_value, "hd", w.of(k_attribute), "value"),
    PACKAGE_CALL(xmldom_set_named_item, "hh", w.map(), w.of(k_lone_attribute)),
    PACKAGE_CALL(xmldom_remove_named_item, "hn", w.map(), "p:b"),
    PACKAGE_CALL(xmldom_remove_named_item_ns, "hnu", w.map(), "b", "urn:p"),
    PACKAGE_CALL(xmldom_set_id_attribute, "hnb", w.of(k_root), "a", true),
    PACKAGE_CALL(xmldom_set_id_attribute_ns, "hnub", w.of(k_root), "b", "urn:p", true),
    PACKAGE_CALL(xmldom_set_id_attribute_node, "hhb", w.of(k_root), w.of(k_attribute), true),
    PACKAGE_CALL(xmldom_create_element, "hn", w.nodes.document, "made"),
    PACKAGE_CALL(xmldom_create_element_ns, "hnu", w.nodes.document, "q:made", "urn:q"),
    PACKAGE_CALL(xmldom_create_element_ns, "hnu", w.nodes.document, "made", "urn:q"),
    PACKAGE_CALL(xmldom_create_attribute, "hn", w.nodes.document, "made"),
    PACKAGE_CALL(xmldom_create_attribute_ns, "hnu", w.nodes.document, "q:made", "urn:q"),
    PACKAGE_CALL(xmldom_create_text_node, "hd", w.nodes.document, "data"),
    PACKAGE_CALL(xmldom_create_comment, "hd", w.nodes.document, "data"),
    PACKAGE_CALL(xmldom_create_cdata_section, "hd", w.nodes.document, "data"),
    PACKAGE_CALL(xmldom_create_processing_instruction, "hnd", w.nodes.document, "made", "data"),
    PACKAGE_CALL(xmldom_create_entity_reference, "hn", w.nodes.document, "e"),
    PACKAGE_CALL(xmldom_create_document_fragment, "h", w.nodes.document),
    PACKAGE_CALL(xmldom_new_document, "nuh", "made", "urn:q", w.of(k_type)),
    PACKAGE_CALL(xmldom_set_charset, "hc", w.nodes.document, "ISO-8859-1"),
    PACKAGE_CALL(xmldom_set_doctype, "hndd", w.nodes.document, "made", "system", "public"),
    PACKAGE_CALL(xmldom_set_doctype, "hndd", w.other, "made", "system", "public"),
    PACKAGE_CALL(xmldom_set_xml_version, "hc", w.nodes.document, "1.1"),
    PACKAGE_CALL(xmldom_set_xml_standalone, "hb", w.nodes.document, true),
    PACKAGE_CALL(xmldom_set_document_uri, "hd", w.nodes.document, "urn:made"),
    PACKAGE_CALL(xmldom_normalize_document, "h", w.nodes.document),
    PACKAGE_CALL(xmldom_normalize, "h", w.of(k_root)),
    PACKAGE_CALL(xmldom_set_node_value, "hd", w.of(k_text), "value"),
    PACKAGE_CALL(xmldom_set_text_content, "hd", w.of(k_root), "value"),
    PACKAGE_CALL(xmldom_set_data, "hd", w.of(k_text), "value"),
    PACKAGE_CALL(xmldom_append_data, "hd", w.of(k_text), "value"),
    PACKAGE_CALL(xmldom_insert_data, "hid", w.of(k_text), 1, "value"),
    PACKAGE_CALL(xmldom_delete_data, "hii", w.of(k_text), 0, 1),
    PACKAGE_CALL(xmldom_replace_data, "hiid", w.of(k_text), 0, 1, "value"),
    PACKAGE_CALL(xmldom_split_text, "hi", w.of(k_text), 1),
    PACKAGE_CALL(xmldom_replace_whole_text, "hd", w.of(k_text), "value"),
    PACKAGE_CALL(xmldom_to_text, "hib", w.of(k_root), 2, true),
    PACKAGE_CALL(xmldom_to_bytea, "hcib", w.of(k_root), "ISO-8859-1", 2, true),
    PACKAGE_CALL(xmldom_to_large_object, "h.ib", w.of(k_root), sql::null, 2, true),
    PACKAGE_CALL(xmldom_canonical, "hbb.v", w.of(k_root), false, true, sql::null, "1.1"),
    PACKAGE_CALL(xmldom_canonical, ".bb..", w.of(k_element), true, false, prefixes(), "1.0"),
    PACKAGE_CALL(xmldom_canonical_to_large_object, "h.bb.v", w.of(k_root), sql::null, false, true, sql::null, "1.0"),
    PACKAGE_CALL(xmldom_free_document, "h", w.nodes.document),
};
// clang-format on
#undef PACKAGE_CALL

} // namespace package_calls
