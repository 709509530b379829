// Asking paths of trees, for tests: the answer as text.
#pragma once

#include "paths/paths.hpp"
#include "standalone_session.hpp"
#include "trees.hpp"

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace asking {

using pkg_dbe_xml::path_binding;
using pkg_dbe_xml::path_bindings;
using pkg_dbe_xml::paths::value_type;

// A node in short: its name or what it is, with "@" before attributes; texts and the like in full.
inline std::string shown(const xmlNode *node) {
    const auto text = [node] {
        return node->content == nullptr ? "" : reinterpret_cast<const char *>(node->content);
    };
    const auto name = [node] { return reinterpret_cast<const char *>(node->name); };
    switch (node->type) {
    case XML_ELEMENT_NODE:
        return name();
    case XML_ATTRIBUTE_NODE:
        return std::string("@") + name();
    case XML_TEXT_NODE:
        return std::string("'") + text() + "'";
    case XML_CDATA_SECTION_NODE:
        return std::string("[") + text() + "]";
    case XML_COMMENT_NODE:
        return std::string("!") + text();
    case XML_PI_NODE:
        return std::string("?") + name();
    case XML_DOCUMENT_NODE:
        return "/";
    default:
        return "type " + std::to_string(node->type);
    }
}

inline std::string number_shown(double number) {
    char digits[64];
    std::snprintf(digits, sizeof digits, "%.17g", number);
    return number != number ? "nan" : digits;
}

// The value of a path: nodes with blanks between them, a number, a text in "", true or false; of
// one that fails "SQLSTATE message".
inline std::string ask(xmlNodePtr node, std::string_view path, const path_bindings &bindings = {}) {
    std::string answer;
    const host::call_record outcome = sql::run_in_call([&] {
        const pkg_dbe_xml::path_lease compiled = pkg_dbe_xml::compile_path(path, bindings);
        pkg_dbe_xml::path_evaluation run(compiled.code(), node, bindings.variables);
        switch (compiled.code().expressions[compiled.code().root].type) {
        case value_type::nodes:
            for (const xmlNode *found : run.nodes()) {
                answer += (answer.empty() ? "" : " ") + shown(found);
            }
            break;
        case value_type::number:
            answer = number_shown(run.number());
            break;
        case value_type::text:
            answer = '"' + std::string(run.text()) + '"';
            break;
        case value_type::truth:
            answer = run.truth() ? "true" : "false";
            break;
        }
    });
    return outcome.failed ? outcome.report.sqlstate + " " + outcome.report.message : answer;
}

// The same of a document, from its document node.
inline std::string ask(const sql::handle &document, std::string_view path,
                       const path_bindings &bindings = {}) {
    return ask(trees::node_of(document), path, bindings);
}

// The first node that a path gives, null for none.
inline xmlNodePtr find(const sql::handle &document, std::string_view path) {
    xmlNodePtr found = nullptr;
    static_cast<void>(sql::run_in_call([&] {
        const pkg_dbe_xml::path_lease compiled = pkg_dbe_xml::compile_path(path, {});
        pkg_dbe_xml::path_evaluation run(compiled.code(), trees::node_of(document), {});
        found = run.first();
    }));
    return found;
}

} // namespace asking
