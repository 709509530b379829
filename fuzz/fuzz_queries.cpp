// Fuzzer of path queries. The first byte decides: the rest is the text of a path over a tree that
// is always the same, or chooses a tree and a path over it. Whatever they are, there is an answer
// or a report of a path, within the limits, and nothing is left.
#include "host/limits.hpp"
#include "paths/paths.hpp"
#include "standalone_session.hpp"
#include "support/sql.hpp"
#include "support_queries.hpp"

#include <libxml/parser.h>

#include <cstdio>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

namespace {

using pkg_dbe_xml::path_binding;

constexpr path_binding k_namespaces[] = {{"p", fuzz::k_prefix_uri}};
constexpr path_binding k_variables[] = {{"v", fuzz::k_variable_v}, {"w", fuzz::k_variable_w}};

[[noreturn]] void fail(const std::string &reason) {
    std::fprintf(stderr, "%s\n", reason.c_str());
    std::abort();
}

void ask(const std::string &path, xmlNodePtr node) {
    const host::call_record outcome = sql::run_in_call([&] {
        const pkg_dbe_xml::path_lease compiled =
            pkg_dbe_xml::compile_path(path, {k_namespaces, k_variables});
        const auto begin = [&] {
            return pkg_dbe_xml::path_evaluation(compiled.code(), node, k_variables);
        };
        static_cast<void>(begin().text());
        static_cast<void>(begin().number());
        const bool truth = begin().truth();
        const auto type = compiled.code().expressions[compiled.code().root].type;
        if (type == pkg_dbe_xml::paths::value_type::nodes) {
            const std::size_t count = begin().count();
            if (truth != (count != 0)) {
                fail("truth and count differ: " + path);
            }
            pkg_dbe_xml::path_evaluation all(compiled.code(), node, k_variables);
            const auto nodes = all.nodes();
            if (nodes.size() != count || begin().first() != (nodes.empty() ? nullptr : nodes[0])) {
                fail("nodes, count and first differ: " + path);
            }
        }
    });
    const std::string &state = outcome.report.sqlstate;
    if (outcome.failed && !state.starts_with("XP0") && !state.starts_with("5400")) {
        fail(state + " " + outcome.report.message + ": " + path);
    }
}

xmlDocPtr parsed(const std::string &text) {
    return xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, "UTF-8",
                         XML_PARSE_NONET | XML_PARSE_NOERROR);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    if (size < 2) {
        return 0;
    }
    host::standalone::begin_session("UTF8");
    sql::call(xml_dom_new_document_empty); // sets the session up
    host::path_limits.max_work = 200000;
    host::path_limits.max_memory = 4096;
    std::string text = "<a x='1' xmlns:p='urn:p'><b>2<p:a/></b><!--c--><?t 1?><a>ab</a></a>";
    std::string path(reinterpret_cast<const char *>(data + 1), size - 1);
    std::size_t start = 0;
    if (data[0] % 2 != 0) {
        fuzz::choices from(data + 1, size - 1);
        start = from.below(256);
        path = fuzz::random_path(from);
        text = fuzz::random_document(from, data[0] % 4 == 1);
    }
    xmlDocPtr const document = parsed(text);
    if (document == nullptr) {
        fail("does not parse: " + text);
    }
    const std::vector<xmlNodePtr> nodes = fuzz::context_nodes(document);
    ask(path, nodes[start % nodes.size()]);
    xmlFreeDoc(document);
    host::path_limits = {};
    if (!host::standalone::end_session().nothing()) {
        fail("the session left something");
    }
    return 0;
}
