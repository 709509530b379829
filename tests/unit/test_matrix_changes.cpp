// Every function that changes, releases, imports or writes, called with a handle of every kind that
// there is for a node of every type, in each of its arguments, live, released and empty: each has
// one outcome, and it is written down here. After each call the session is sound.
#include "samples.hpp"

#include "invariants.hpp"
#include "standalone_files.hpp"

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>

namespace {

using namespace trees;
using samples::is_collection;
using samples::sample;

std::string report_text(const pkg_dbe_xml::report_row &row) {
    return std::string(row.sqlstate) + " " + row.message;
}
const std::string k_null = "null";
const std::string k_some = "some text";
const std::string k_inconsistent = report_text(reports::inconsistent_types);
const std::string k_not_allowed = report_text(reports::not_allowed);
const std::string k_no_document = report_text(reports::not_a_document);
const std::string k_gone = report_text(reports::node_gone);

std::string handle_text(int kind, int type) {
    return std::to_string(kind) + ":" + std::to_string(type);
}

enum class gives { handle, text, nothing };

std::string outcome_text(const sql::result &outcome, gives type) {
    if (outcome.failed()) {
        return outcome.error().sqlstate + " " + outcome.error().message;
    }
    if (outcome.is_null() || type == gives::nothing) {
        return k_null;
    }
    if (type == gives::text) {
        return outcome.text().empty() ? "no text" : k_some;
    }
    const XMLHashEntry *entry = entry_of(outcome.handle());
    if (entry == nullptr) {
        return "a handle that is not registered";
    }
    const int kind = static_cast<int>(entry->kind);
    return entry->object == nullptr
               ? std::to_string(kind) + ":nothing"
               : handle_text(kind, static_cast<int>(pkg_dbe_xml::as_node(entry->object)->type));
}

// What stands in a declaration, or below one, never changes.
bool is_immutable(const sample &node) { return node.type >= 14 || node.parent >= 14; }
bool is_called(const sample &node, std::string_view label) { return node.label == label; }

using on_handle = std::function<std::string(const sample &, XMLDomNodeType)>;
using on_kind = std::function<std::string(XMLDomNodeType)>;
using other_arguments =
    std::function<std::vector<sql::value>(const samples::collection &, const sql::handle &)>;

// A function, and in which of its arguments the handle stands.
struct tested_argument {
    const char *label;
    sql::function entry;
    other_arguments arguments;
    gives type;
    on_handle of;
    on_kind of_nothing;
};

on_kind always(const std::string &text) {
    return [text](XMLDomNodeType) { return text; };
}
// Nodes only: collections are refused.
on_handle of_nodes(std::function<std::string(const sample &)> of) {
    return [of = std::move(of)](const sample &node, XMLDomNodeType kind) {
        return is_collection(kind) ? k_inconsistent : of(node);
    };
}
on_handle of_documents(const std::string &text) {
    return [text](const sample &node, XMLDomNodeType kind) {
        return is_collection(kind) || node.type != 9 ? k_no_document : text;
    };
}
on_handle of_elements(const std::string &text) {
    return [text](const sample &, XMLDomNodeType kind) {
        return kind == XMLDomNodeType::element ? text : report_text(reports::unsupported_kind);
    };
}

// The handle first, then these.
other_arguments then(std::vector<sql::value> more) {
    return [more = std::move(more)](const samples::collection &, const sql::handle &handle) {
        std::vector<sql::value> all{handle};
        all.insert(all.end(), more.begin(), more.end());
        return all;
    };
}
sql::handle new_attribute(const samples::collection &nodes, const char *name) {
    return sql::call(xml_dom_create_attribute, nodes.document, name).handle();
}

// --- appending
// ------------------------------------------------------------------------------------

std::string appended_below(const sample &parent, int child) {
    if (is_immutable(parent) || parent.type == 5 || (parent.type == 2 && child != 3)) {
        return k_not_allowed;
    }
    // A text with content takes the text of anything up.
    return handle_text(13, parent.type == 3 ? 3 : child);
}

std::string appended_to_root(const sample &child) {
    if (child.type == 9) {
        return "13:nothing";
    }
    return is_called(child, "root") || is_immutable(child) || child.type == 11
               ? k_not_allowed
               : handle_text(13, child.type);
}

std::vector<tested_argument> appending() {
    return {
        {"append an element to", xml_dom_append_child,
         [](const samples::collection &nodes, const sql::handle &handle) {
             return std::vector<sql::value>{
                 handle, sql::call(xml_dom_create_element, nodes.document, "new").handle()};
         },
         gives::handle, of_nodes([](const sample &node) { return appended_below(node, 1); }),
         always(k_null)},
        {"append a text to", xml_dom_append_child,
         [](const samples::collection &nodes, const sql::handle &handle) {
             return std::vector<sql::value>{
                 handle, sql::call(xml_dom_create_text_node, nodes.document, "new").handle()};
         },
         gives::handle, of_nodes([](const sample &node) { return appended_below(node, 3); }),
         always(k_null)},
        {"append an attribute to", xml_dom_append_child,
         [](const samples::collection &nodes, const sql::handle &handle) {
             return std::vector<sql::value>{handle, new_attribute(nodes, "a")};
         },
         gives::handle, of_nodes([](const sample &node) {
             return node.type == 1 && !is_immutable(node) ? handle_text(13, 2) : k_not_allowed;
         }),
         always(k_null)},
        {"append to the root", xml_dom_append_child,
         [](const samples::collection &nodes, const sql::handle &handle) {
             return std::vector<sql::value>{root(nodes.document), handle};
         },
         gives::handle, of_nodes(appended_to_root), always(k_null)},
        {"append to an element within", xml_dom_append_child,
         [](const samples::collection &nodes, const sql::handle &handle) {
             return std::vector<sql::value>{named(nodes.document, nodes.nodes[1]), handle};
         },
         gives::handle, of_nodes([](const sample &node) {
             return is_called(node, "root") || is_called(node, "element") ? k_not_allowed
                                                                          : appended_to_root(node);
         }),
         always(k_null)},
    };
}

// --- making, importing, values
// --------------------------------------------------------------------

std::vector<tested_argument> making() {
    return {
        {"create_element", xml_dom_create_element, then({"new"}), gives::handle,
         of_documents("8:1"), always(k_null)},
        {"create_element_ns", xml_dom_create_element_ns, then({"new", "urn:new"}), gives::handle,
         of_documents("8:1"), always(k_null)},
        {"create_attribute", xml_dom_create_attribute, then({"new"}), gives::handle,
         of_documents("1:2"), always(k_null)},
        // The object is not looked at.
        {"create_text_node", xml_dom_create_text_node, then({"new"}), gives::handle,
         [](const sample &, XMLDomNodeType) { return std::string("17:3"); }, always("17:3")},
        {"import into", xml_dom_import_node,
         [](const samples::collection &nodes, const sql::handle &handle) {
             return std::vector<sql::value>{handle, root(nodes.document), true};
         },
         gives::handle, of_documents("13:1"), always(k_null)},
        {"import deep", xml_dom_import_node,
         [](const samples::collection &nodes, const sql::handle &handle) {
             return std::vector<sql::value>{nodes.document, handle, true};
         },
         gives::handle, of_nodes([](const sample &node) {
             return node.type > 12 ? report_text(reports::import_unsupported)
                                   : handle_text(13, node.type);
         }),
         always(k_null)},
        {"import shallow", xml_dom_import_node,
         [](const samples::collection &nodes, const sql::handle &handle) {
             return std::vector<sql::value>{nodes.document, handle};
         },
         gives::handle, of_nodes([](const sample &node) {
             return node.type > 12 ? report_text(reports::import_unsupported)
                                   : handle_text(13, node.type);
         }),
         always(k_null)},
        {"set_node_value", xml_dom_set_node_value, then({"new"}), gives::nothing,
         of_nodes([](const sample &node) {
             const bool has_value =
                 node.type >= 2 && node.type <= 8 && node.type != 5 && !is_immutable(node);
             return has_value ? k_null : report_text(reports::no_modification);
         }),
         always(report_text(reports::invalid_node_handle))},
    };
}

// --- attributes
// -----------------------------------------------------------------------------------

std::string made_attribute(const sample &node) {
    if (node.type == 2) {
        return "1:2";
    }
    const std::string type = node.type == 1   ? "element"
                             : node.type == 3 ? "textnode"
                             : node.type == 9 ? "document"
                                              : "";
    return "XX004 Node type " + type + " cannot be converted to desired type.";
}

std::vector<tested_argument> attributes() {
    const on_handle root_only = of_nodes(
        [](const sample &node) { return is_called(node, "root") ? std::string("1:2") : k_null; });
    return {
        {"set_attribute", xml_dom_set_attribute, then({"a", "new"}), gives::nothing,
         of_elements(k_null), always(k_null)},
        {"set_attribute, a null value", xml_dom_set_attribute, then({"new", sql::null}),
         gives::nothing, of_elements(k_null), always(k_null)},
        {"set_attribute_ns", xml_dom_set_attribute_ns, then({"b", "new", "urn:p"}), gives::nothing,
         of_elements(k_null), always(k_null)},
        {"set_attribute_node on", xml_dom_set_attribute_node,
         [](const samples::collection &nodes, const sql::handle &handle) {
             return std::vector<sql::value>{handle, new_attribute(nodes, "a")};
         },
         gives::handle, root_only, always(k_null)},
        {"set_attribute_node of", xml_dom_set_attribute_node,
         [](const samples::collection &nodes, const sql::handle &handle) {
             return std::vector<sql::value>{root(nodes.document), handle};
         },
         gives::handle,
         [](const sample &node, XMLDomNodeType kind) {
             if (is_collection(kind)) {
                 return k_inconsistent;
             }
             if (is_called(node, "attribute declaration")) { // there is a default of that name
                 return k_not_allowed;
             }
             // The very handle that was given.
             return is_called(node, "attribute") ? handle_text(static_cast<int>(kind), 2) : k_null;
         },
         always(k_null)},
        {"remove_attribute_node from", xml_dom_remove_attribute_node,
         [](const samples::collection &nodes, const sql::handle &handle) {
             return std::vector<sql::value>{handle, named(nodes.document, nodes.nodes[2])};
         },
         gives::handle, root_only, always(k_null)},
        {"remove_attribute_node of", xml_dom_remove_attribute_node,
         [](const samples::collection &nodes, const sql::handle &handle) {
             return std::vector<sql::value>{root(nodes.document), handle};
         },
         gives::handle, of_nodes([](const sample &node) {
             return is_called(node, "attribute") ? std::string("1:2") : k_null;
         }),
         always(k_null)},
        {"make_attr", xml_dom_make_attr, then({}), gives::handle, of_nodes(made_attribute),
         always(k_gone)},
    };
}

// --- releasing
// ------------------------------------------------------------------------------------

std::vector<tested_argument> releasing() {
    const on_handle anything = [](const sample &, XMLDomNodeType) { return k_null; };
    const on_kind lists_are_gone = [](XMLDomNodeType kind) {
        return kind == XMLDomNodeType::node_list ? k_gone : k_null;
    };
    return {
        {"free_node", xml_dom_free_node, then({}), gives::nothing, anything, lists_are_gone},
        {"free_element", xml_dom_free_element, then({}), gives::nothing, anything, lists_are_gone},
        {"free_nodelist", xml_dom_free_nodelist, then({}), gives::nothing,
         [](const sample &, XMLDomNodeType kind) {
             return kind == XMLDomNodeType::node_list ? k_null : k_inconsistent;
         },
         always(k_gone)},
        {"free_document", xml_dom_free_document, then({}), gives::nothing, anything,
         always(k_null)},
    };
}

// --- writing
// --------------------------------------------------------------------------------------

tested_argument writing_node(const char *label, sql::function entry,
                             const pkg_dbe_xml::report_row &refusal) {
    return {label,
            entry,
            then({}),
            gives::text,
            of_nodes([&refusal](const sample &node) {
                const bool is_written = node.type <= 3 || node.type == 9;
                return is_written ? k_some : report_text(refusal);
            }),
            always(k_gone)};
}

std::vector<tested_argument> writing() {
    return {
        {"write_to_buffer_doc", xml_dom_write_to_buffer_doc, then({}), gives::text,
         of_documents(k_some), always(k_gone)},
        {"write_to_clob_doc", xml_dom_write_to_clob_doc, then({}), gives::text,
         of_documents(k_some), always(k_gone)},
        writing_node("write_to_buffer_node", xml_dom_write_to_buffer_node,
                     reports::not_for_write_to_buffer),
        writing_node("write_to_clob_node", xml_dom_write_to_clob_node,
                     reports::not_for_write_to_clob),
        {"write_to_file_doc", xml_dom_write_to_file_doc, then({"out/document.xml"}), gives::nothing,
         of_documents(k_null), always(k_gone)},
        {"write_to_file_node", xml_dom_write_to_file_node, then({"out/node.xml"}), gives::nothing,
         of_nodes([](const sample &node) {
             const bool is_written = node.type <= 3 || node.type == 9;
             return is_written ? k_null : report_text(reports::not_for_write_to_file);
         }),
         always(k_gone)},
    };
}

// --- the matrix
// -----------------------------------------------------------------------------------

class matrix_of_changes : public sql::session_test {
  protected:
    void SetUp() override {
        sql::session_test::SetUp();
        char name[] = "/tmp/pkg_dbe_xml_matrix_XXXXXX";
        ASSERT_NE(mkdtemp(name), nullptr);
        folder_ = name;
    }
    void TearDown() override {
        sql::session_test::TearDown();
        std::filesystem::remove_all(folder_);
        std::cout << "             " << cells_ << " cells, " << reports_ << " of them reports, "
                  << nulls_ << " nulls\n";
    }
    void begin() { host::standalone::create_directory_object("out", folder_); }
    // One call in a session of its own, which is sound afterwards and leaves nothing behind.
    void check(const tested_argument &function, const samples::collection &nodes,
               const sql::handle &handle, const std::string &expected, const std::string &label) {
        const std::vector<sql::value> arguments = function.arguments(nodes, handle);
        const sql::result outcome = sql::call_with(function.entry, arguments);
        EXPECT_EQ(outcome_text(outcome, function.type), expected)
            << function.label << ", " << label;
        ++cells_;
        reports_ += outcome.failed();
        nulls_ += outcome.is_null();
        EXPECT_TRUE(sql::check_invariants()) << function.label << ", " << label;
    }
    static std::string label(XMLDomNodeType kind, const char *text) {
        return "kind " + std::to_string(static_cast<int>(kind)) + ", " + text;
    }

    void live(const std::vector<tested_argument> &functions) {
        for (const tested_argument &function : functions) {
            for (const XMLDomNodeType kind : samples::k_kinds) {
                for (int index = 0; index < samples::k_count; ++index) {
                    const sample &node = samples::k_samples[index];
                    if (samples::is_reachable(kind, node.type)) {
                        begin();
                        const samples::collection nodes;
                        check(function, nodes, nodes.handle(index, kind), function.of(node, kind),
                              label(kind, node.label));
                        restart_session();
                    }
                }
            }
        }
    }
    void released_and_empty(const std::vector<tested_argument> &functions) {
        for (const tested_argument &function : functions) {
            for (const XMLDomNodeType kind : samples::k_kinds) {
                begin();
                const samples::collection nodes;
                check(function, nodes, named(nodes.document, nullptr, kind),
                      function.of_nothing(kind), label(kind, "no object"));
                restart_session();
                for (int index = 0; index < samples::k_count; ++index) {
                    const sample &node = samples::k_samples[index];
                    if (samples::is_reachable(kind, node.type) &&
                        kind != XMLDomNodeType::document) {
                        begin();
                        const samples::collection others;
                        const sql::handle handle = others.handle(index, kind);
                        release(handle);
                        check(function, others, handle, function.of_nothing(kind),
                              label(kind, node.label) + ", released");
                        restart_session();
                    }
                }
            }
        }
    }

  private:
    std::string folder_;
    int cells_ = 0;
    int reports_ = 0;
    int nulls_ = 0;
};

TEST_F(matrix_of_changes, appending) { live(appending()); }
TEST_F(matrix_of_changes, making) { live(making()); }
TEST_F(matrix_of_changes, attributes) { live(attributes()); }
TEST_F(matrix_of_changes, releasing) { live(releasing()); }
TEST_F(matrix_of_changes, writing) { live(writing()); }
TEST_F(matrix_of_changes, appending_nothing) { released_and_empty(appending()); }
TEST_F(matrix_of_changes, making_nothing) { released_and_empty(making()); }
TEST_F(matrix_of_changes, attributes_of_nothing) { released_and_empty(attributes()); }
TEST_F(matrix_of_changes, releasing_nothing) { released_and_empty(releasing()); }
TEST_F(matrix_of_changes, writing_nothing) { released_and_empty(writing()); }

} // namespace
