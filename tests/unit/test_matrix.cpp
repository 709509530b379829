// Every function that reads, called with a handle of every kind for a node of every type, live,
// released and empty: each has one outcome, and it is written down here. The functions that change
// and write are in test_matrix_changes.cpp.
#include "samples.hpp"

#include "invariants.hpp"

#include <functional>
#include <iostream>

namespace {

using namespace trees;
using samples::is_collection;
using samples::sample;

// --- outcomes as texts
// ----------------------------------------------------------------------------

enum class gives { handle, text, integer, truth, nothing };

std::string report_text(const pkg_dbe_xml::report_row &row) {
    return std::string(row.sqlstate) + " " + row.message;
}
const std::string k_null = "null";
const std::string k_inconsistent = report_text(reports::inconsistent_types);
const std::string k_unsupported = report_text(reports::unsupported_kind);
const std::string k_mismatch = report_text(reports::kind_mismatch);
const std::string k_gone = report_text(reports::node_gone);
const std::string k_no_document = report_text(reports::not_a_document);
const std::string k_unknown = report_text(reports::handle_not_found);

// "kind:type", or "kind:size" for lists and maps.
std::string handle_text(const sql::handle &handle) {
    const XMLHashEntry *entry = entry_of(handle);
    if (entry == nullptr) {
        return "a handle that is not registered";
    }
    const std::string kind = std::to_string(static_cast<int>(entry->kind)) + ":";
    if (is_collection(entry->kind)) {
        return kind + std::to_string(sql::call(xml_dom_get_length, handle).integer());
    }
    return kind + std::to_string(static_cast<int>(pkg_dbe_xml::as_node(entry->object)->type));
}
std::string handle_text(int kind, int type_or_size) {
    return std::to_string(kind) + ":" + std::to_string(type_or_size);
}
std::string node_or_null(int type) { return type == 0 ? k_null : handle_text(13, type); }
std::string text_or_null(const char *text) { return text == nullptr ? k_null : text; }

std::string outcome_text(const sql::result &outcome, gives type) {
    if (outcome.failed()) {
        return outcome.error().sqlstate + " " + outcome.error().message;
    }
    if (outcome.is_null() || type == gives::nothing) {
        return k_null;
    }
    switch (type) {
    case gives::handle:
        return handle_text(outcome.handle());
    case gives::text:
        return outcome.text();
    case gives::integer:
        return std::to_string(outcome.integer());
    default:
        return outcome.boolean() ? "true" : "false";
    }
}

// --- the functions
// --------------------------------------------------------------------------------

struct tested_function {
    const char *label;
    sql::function entry;
    std::vector<sql::value> more; // the arguments after the handle
    gives type;
    std::string for_null;                                          // a null handle
    std::function<std::string(const sample &, XMLDomNodeType)> of; // a live one
    std::function<std::string(XMLDomNodeType)> of_nothing;         // one that names nothing
};

using on_node = std::function<std::string(const sample &)>;
std::string always_null(XMLDomNodeType /*kind*/) { return k_null; }

// Functions that take any handle whose object is a node.
tested_function takes_nodes(const char *label, sql::function entry, gives type, on_node of,
                            std::vector<sql::value> more = {}) {
    return {label,
            entry,
            std::move(more),
            type,
            k_null,
            [of](const sample &node, XMLDomNodeType kind) {
                return is_collection(kind) ? k_inconsistent : of(node);
            },
            always_null};
}
// Functions that ask for the kind element before anything else, or after the null test.
tested_function takes_elements(const char *label, sql::function entry, gives type, on_node of,
                               bool kind_first, std::vector<sql::value> more = {}) {
    return {label,
            entry,
            std::move(more),
            type,
            k_null,
            [of](const sample &node, XMLDomNodeType kind) {
                return kind == XMLDomNodeType::element ? of(node) : k_unsupported;
            },
            [kind_first](XMLDomNodeType kind) {
                return kind_first && kind != XMLDomNodeType::element ? k_unsupported : k_null;
            }};
}
tested_function takes_documents(const char *label, sql::function entry,
                                std::vector<sql::value> more) {
    return {label,
            entry,
            std::move(more),
            gives::nothing,
            k_null,
            [](const sample &node, XMLDomNodeType kind) {
                return is_collection(kind) || node.type != 9 ? k_no_document : k_null;
            },
            [](XMLDomNodeType) { return k_gone; }};
}
bool is_root(const sample &node) { return node.label == std::string_view("root"); }

std::vector<tested_function> navigation_functions() {
    return {
        takes_nodes("get_document_element", xml_dom_get_document_element, gives::handle,
                    [](const sample &node) {
                        return node.first_element != 0 ? handle_text(8, 1) : k_null;
                    }),
        takes_nodes(
            "get_parent_node", xml_dom_get_parent_node, gives::handle,
            [](const sample &node) { return node.type == 2 ? k_null : node_or_null(node.parent); }),
        takes_nodes(
            "get_first_child", xml_dom_get_first_child, gives::handle,
            [](const sample &node) { return node_or_null(node.type == 9 ? 1 : node.first); }),
        takes_nodes("get_last_child", xml_dom_get_last_child, gives::handle,
                    [](const sample &node) { return node_or_null(node.last); }),
        takes_nodes(
            "get_next_sibling", xml_dom_get_next_sibling, gives::handle,
            [](const sample &node) { return node.type == 2 ? k_null : node_or_null(node.next); }),
        takes_nodes("get_child_nodes", xml_dom_get_child_nodes, gives::handle,
                    [](const sample &node) { return handle_text(14, node.listed); }),
    };
}

std::vector<tested_function> node_functions() {
    tested_function has_children = takes_nodes(
        "has_child_nodes", xml_dom_has_child_nodes, gives::truth, [](const sample &node) {
            return std::string(node.type != 2 && node.first != 0 ? "true" : "false");
        });
    has_children.for_null = "false";
    return {
        has_children,
        takes_nodes("get_node_value", xml_dom_get_node_value, gives::text,
                    [](const sample &node) { return text_or_null(node.value); }),
        takes_nodes("get_node_name", xml_dom_get_node_name, gives::text,
                    [](const sample &node) { return std::string(node.name); }),
        takes_nodes("get_node_type", xml_dom_get_node_type, gives::integer,
                    [](const sample &node) { return std::to_string(node.type); }),
        {"get_attributes",
         xml_dom_get_attributes,
         {},
         gives::handle,
         k_null,
         [](const sample &node, XMLDomNodeType kind) {
             return kind == XMLDomNodeType::node ? handle_text(12, node.attributes)
                                                 : k_inconsistent;
         },
         [](XMLDomNodeType kind) {
             return kind == XMLDomNodeType::node ? k_null : k_inconsistent;
         }},
        {"get_localname",
         xml_dom_get_localname,
         {},
         gives::text,
         k_null,
         [](const sample &node, XMLDomNodeType kind) {
             return kind == XMLDomNodeType::element || kind == XMLDomNodeType::node ||
                            kind == XMLDomNodeType::attribute
                        ? text_or_null(node.raw)
                        : k_mismatch;
         },
         always_null},
    };
}

on_node of_root(const char *text) {
    return [text](const sample &node) { return is_root(node) ? std::string(text) : k_null; };
}

std::vector<tested_function> element_functions() {
    const auto children = [](const sample &node) { return handle_text(14, is_root(node)); };
    return {
        takes_elements("get_attribute", xml_dom_get_attribute, gives::text, of_root("av"), true,
                       {"a"}),
        takes_elements("get_attribute of a default", xml_dom_get_attribute, gives::text,
                       of_root("dv"), true, {"d"}),
        takes_elements("get_attribute_ns", xml_dom_get_attribute_ns, gives::text, of_root("bv"),
                       false, {"b", "urn:p"}),
        takes_elements(
            "get_tagname", xml_dom_get_tagname, gives::text,
            [](const sample &node) { return text_or_null(node.tag); }, true),
        takes_elements("get_children_by_tagname", xml_dom_get_children_by_tagname, gives::handle,
                       children, false, {"c"}),
        takes_elements("get_children_by_tagname_ns", xml_dom_get_children_by_tagname_ns,
                       gives::handle, children, false, {"c", "urn:p"}),
    };
}

// With the type of the attribute that the root has under these names.
tested_function attribute_node(const char *label, int type, std::vector<sql::value> more) {
    return {label,
            xml_dom_get_attribute_node,
            std::move(more),
            gives::handle,
            k_null,
            [type](const sample &node, XMLDomNodeType kind) {
                if (kind == XMLDomNodeType::node_list) {
                    return k_inconsistent;
                }
                if (node.type != 1 && node.type != 3) {
                    return report_text(reports::not_for_get_attribute_node);
                }
                return is_root(node) ? handle_text(1, type) : k_null;
            },
            [](XMLDomNodeType) { return k_gone; }};
}

std::vector<tested_function> search_functions() {
    const on_node below = [](const sample &node) { return handle_text(14, node.below); };
    return {
        attribute_node("get_attribute_node", 2, {"a"}),
        attribute_node("get_attribute_node of a default", 16, {"d"}),
        attribute_node("get_attribute_node in a namespace", 2, {"b", "urn:p"}),
        attribute_node("get_attribute_node with a null namespace", 2, {"b", sql::null}),
        takes_nodes("get_elements_by_tagname_document", xml_dom_get_elements_by_tagname_document,
                    gives::handle, below, {"*"}),
        takes_nodes("get_elements_by_tagname_element", xml_dom_get_elements_by_tagname_element,
                    gives::handle, below, {"*"}),
        takes_nodes("get_elements_by_tagname_ns", xml_dom_get_elements_by_tagname_ns, gives::handle,
                    below, {"*", "*"}),
    };
}

// What a list with the node as its only member gives, and what a map that begins with it gives.
tested_function takes_collections(const char *label, sql::function entry, gives type,
                                  on_node of_list, on_node of_map, std::string list_of_nothing,
                                  std::string map_of_nothing, std::vector<sql::value> more) {
    return {label,
            entry,
            std::move(more),
            type,
            k_null,
            [of_list, of_map](const sample &node, XMLDomNodeType kind) {
                if (!is_collection(kind)) {
                    return k_inconsistent;
                }
                return kind == XMLDomNodeType::node_list ? of_list(node) : of_map(node);
            },
            [list_of_nothing, map_of_nothing](XMLDomNodeType kind) {
                if (!is_collection(kind)) {
                    return k_inconsistent;
                }
                return kind == XMLDomNodeType::node_list ? list_of_nothing : map_of_nothing;
            }};
}

// Every node is found by the name that libxml2 has for it; the kind does not matter.
std::function<std::string(const sample &, XMLDomNodeType)> found_by_name(bool any_namespace) {
    return [any_namespace](const sample &node, XMLDomNodeType kind) {
        if (kind == XMLDomNodeType::node_list) {
            return k_inconsistent;
        }
        return node.raw == nullptr || (node.in_namespace && !any_namespace)
                   ? k_null
                   : handle_text(13, node.type);
    };
}

std::vector<tested_function> collection_functions() {
    const on_node null = [](const sample &) { return k_null; };
    const on_node itself = [](const sample &node) { return handle_text(13, node.type); };
    tested_function length = takes_collections(
        "get_length", xml_dom_get_length, gives::integer,
        [](const sample &) { return std::string("1"); },
        [](const sample &node) { return std::to_string(node.beside); }, "0", "0", {});
    length.for_null = "0";
    return {
        length,
        takes_collections("item 0", xml_dom_item, gives::handle, itself,
                          [](const sample &node) { return node_or_null(node.first); }, k_null,
                          k_null, {0}),
        takes_collections("item -1", xml_dom_item, gives::handle,
                          [](const sample &) { return report_text(reports::negative_index); }, null,
                          k_null, k_null, {-1}),
        takes_collections("item beyond the end", xml_dom_item, gives::handle, null, null, k_null,
                          k_null, {99}),
        {"get_named_item",
         xml_dom_get_named_item,
         {sql::null},
         gives::handle,
         k_null,
         found_by_name(true),
         always_null},
        {"get_named_item_ns",
         xml_dom_get_named_item_ns,
         {sql::null, "urn:none"},
         gives::handle,
         k_null,
         found_by_name(false),
         always_null},
    };
}

std::string counts_text(int elements, int attributes, int texts) {
    return "|Element count:" + std::to_string(elements) +
           "\t|Attribute count:" + std::to_string(attributes) +
           "\t|Text count:" + std::to_string(texts) + "\t|";
}

std::vector<tested_function> other_functions() {
    tested_function detail =
        takes_nodes("get_detail_doc_tree_info", xml_dom_get_detail_doc_tree_info, gives::text,
                    [](const sample &node) {
                        return counts_text(node.elements, node.counted_attributes, node.texts);
                    });
    detail.of_nothing = [](XMLDomNodeType) { return counts_text(0, 0, 0); };
    return {
        detail,
        takes_documents("set_charset", xml_dom_set_charset, {"UTF-8"}),
        takes_documents("set_doctype", xml_dom_set_doctype, {"r", sql::null, sql::null}),
        {"makenode",
         xml_dom_makenode,
         {},
         gives::handle,
         k_null,
         [](const sample &node, XMLDomNodeType kind) {
             return is_collection(kind) || kind == XMLDomNodeType::node
                        ? k_mismatch
                        : handle_text(13, node.type);
         },
         always_null},
        takes_nodes("make_element", xml_dom_make_element, gives::handle,
                    [](const sample &node) {
                        const char *type = node.type == 2   ? "attribute"
                                           : node.type == 3 ? "text"
                                           : node.type == 9 ? "document"
                                                            : nullptr;
                        return type == nullptr ? handle_text(8, node.type)
                                               : "XX004 Node type " + std::string(type) +
                                                     " cannot be converted to desired type.";
                    }),
        {"is_null",
         xml_dom_is_null,
         {},
         gives::truth,
         "true",
         [](const sample &, XMLDomNodeType) { return std::string("false"); },
         [](XMLDomNodeType kind) {
             return std::string(kind == XMLDomNodeType::named_node_map ? "false" : "true");
         }},
    };
}

std::vector<tested_function> all_functions() {
    std::vector<tested_function> all;
    for (const auto &part : {navigation_functions(), node_functions(), element_functions(),
                             search_functions(), collection_functions(), other_functions()}) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

// A list stays a list when the document of its members ends, one without members.
std::string of_empty_list(const tested_function &function, const sample &node) {
    if (function.entry == xml_dom_get_length) {
        return "0";
    }
    if (function.label == std::string_view("item 0")) {
        return k_null;
    }
    return function.entry == xml_dom_is_null ? "true"
                                             : function.of(node, XMLDomNodeType::node_list);
}

// --- the matrix
// -----------------------------------------------------------------------------------

class matrix : public sql::session_test {
  protected:
    void TearDown() override {
        sql::session_test::TearDown();
        std::cout << "             " << cells_ << " cells, " << reports_ << " of them reports, "
                  << nulls_ << " nulls\n";
    }
    std::string call(const tested_function &function, const sql::value &handle,
                     const char *own_name = nullptr) {
        std::vector<sql::value> arguments{handle};
        arguments.insert(arguments.end(), function.more.begin(), function.more.end());
        const bool by_name =
            function.entry == xml_dom_get_named_item || function.entry == xml_dom_get_named_item_ns;
        if (by_name) {
            arguments[1] = own_name == nullptr ? "no such name" : own_name;
        }
        const sql::result outcome = sql::call_with(function.entry, arguments);
        ++cells_;
        reports_ += outcome.failed();
        nulls_ += outcome.is_null();
        std::string text = outcome_text(outcome, function.type);
        if (function.entry == xml_dom_get_detail_doc_tree_info && text.starts_with("|ID:")) {
            text.erase(0, text.find('\t') + 1);
        }
        return text;
    }
    static std::string label(const tested_function &function, XMLDomNodeType kind,
                             const char *node) {
        return std::string(function.label) + " of kind " + std::to_string(static_cast<int>(kind)) +
               ", " + node;
    }

  private:
    int cells_ = 0;
    int reports_ = 0;
    int nulls_ = 0;
};

TEST_F(matrix, every_function_for_every_kind_and_every_type) {
    for (const tested_function &function : all_functions()) {
        for (const XMLDomNodeType kind : samples::k_kinds) {
            const samples::collection nodes;
            for (int index = 0; index < samples::k_count; ++index) {
                const sample &node = samples::k_samples[index];
                EXPECT_EQ(call(function, nodes.handle(index, kind), node.raw),
                          function.of(node, kind))
                    << label(function, kind, node.label);
            }
            EXPECT_TRUE(sql::check_invariants());
            restart_session();
        }
    }
}

TEST_F(matrix, every_function_for_every_kind_released) {
    for (const tested_function &function : all_functions()) {
        for (const XMLDomNodeType kind : samples::k_kinds) {
            const samples::collection nodes;
            for (int index = 0; index < samples::k_count; ++index) {
                const sample &node = samples::k_samples[index];
                const sql::handle handle = nodes.handle(index, kind);
                if (handle == nodes.document) {
                    continue; // releasing it ends the document: below
                }
                release(handle);
                EXPECT_EQ(call(function, handle, node.raw), function.of_nothing(kind))
                    << label(function, kind, node.label);
            }
            restart_session();
        }
    }
}

TEST_F(matrix, every_function_for_every_kind_without_an_object) {
    for (const tested_function &function : all_functions()) {
        const sql::handle document = empty_document();
        for (const XMLDomNodeType kind : samples::k_kinds) {
            EXPECT_EQ(call(function, named(document, nullptr, kind)), function.of_nothing(kind))
                << label(function, kind, "no object");
        }
        restart_session();
    }
}

TEST_F(matrix, every_function_for_every_kind_after_its_document_ended) {
    for (const tested_function &function : all_functions()) {
        for (const XMLDomNodeType kind : samples::k_kinds) {
            const samples::collection nodes;
            std::vector<sql::handle> handles;
            for (int index = 0; index < samples::k_count; ++index) {
                handles.push_back(nodes.handle(index, kind));
            }
            release(nodes.document);
            for (int index = 0; index < samples::k_count; ++index) {
                const sql::handle &handle = handles[static_cast<std::size_t>(index)];
                const sample &node = samples::k_samples[index];
                const std::string expected = kind == XMLDomNodeType::node_list
                                                 ? of_empty_list(function, node)
                                                 : function.of_nothing(kind);
                EXPECT_EQ(call(function, handle, node.raw), expected)
                    << label(function, kind, node.label);
            }
            EXPECT_TRUE(sql::check_invariants());
            restart_session();
        }
    }
}

TEST_F(matrix, every_function_for_what_is_no_handle) {
    using form = sql::handle::header_form;
    for (const tested_function &function : all_functions()) {
        const sql::handle element = root(parsed("<r/>"));
        EXPECT_EQ(call(function, sql::null), function.for_null) << function.label;
        for (const std::size_t position : {0U, 4U, 8U, 12U}) {
            sql::handle unknown = element;
            unknown.bytes[position] = static_cast<std::uint8_t>(unknown.bytes[position] + 100);
            EXPECT_EQ(call(function, unknown), k_unknown) << function.label << " " << position;
        }
        for (const std::size_t size : {0U, 1U, 10U, 12U, 14U, 17U, 126U, 127U, 3000U}) {
            for (const form header : {form::long_form, form::short_form}) {
                if (size <= 126 || header == form::long_form) {
                    const sql::raw wrong{std::vector<std::uint8_t>(size, 1), header};
                    EXPECT_EQ(call(function, wrong), k_unknown) << function.label << " " << size;
                }
            }
        }
        restart_session();
    }
}

} // namespace
