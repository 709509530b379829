// The record that extensions of the library work with: include/library_services.hpp.
#include "library_services.hpp"

#include "edit/tree_copy.hpp"
#include "functions/package_arguments.hpp"
#include "host/limits.hpp"
#include "host/memory.hpp"
#include "libxml/xml_parse_run.hpp"
#include "libxml/xml_unrefused.hpp"
#include "parse/document_parsing.hpp"
#include "parse/failure_words.hpp"
#include "text/text_limits.hpp"
#include "text/text_output.hpp"
#include "tree/node_path.hpp"

#include <algorithm>
#include <cstring>

namespace pkg_dbe_xml {

namespace {

// Lines beyond 65,535 are kept too.
constexpr int k_parse_options =
    XML_PARSE_NOENT | XML_PARSE_NONET | XML_PARSE_HUGE | XML_PARSE_BIG_LINES;

// The function as reports name it, of which one argument is known.
struct one_argument {
    package_function function;
    explicit one_argument(const argument_words &words) noexcept : function{words.function, {}} {
        function.arguments[words.index] = words.name;
    }
};

void report_for_guest(const report_row &row, std::initializer_list<std::string_view> arguments,
                      std::string_view context) {
    report(row, arguments, {}, context);
}

void fail_for_guest(host::call &frame, const argument_words &words, const report_row &row,
                    std::initializer_list<std::string_view> arguments) {
    const one_argument one(words);
    package_call(frame, one.function).fail(row, words.index, arguments);
}

void needs(host::call &frame, const argument_words &words) {
    const one_argument one(words);
    package_call(frame, one.function).needs(words.index);
}

const xmlNode *tree_argument(host::call &frame, const argument_words &words) {
    const one_argument one(words);
    return package_call(frame, one.function).node(words.index, k_element_or_document).node;
}

// Bytes in the caller's memory, with a zero byte behind them.
std::string_view kept(std::string_view text) {
    auto *const bytes = static_cast<char *>(
        host::mmgr_memory_alloc_huge(host::current_memory_context(), text.size() + 1));
    std::copy_n(text.data(), text.size(), bytes);
    bytes[text.size()] = '\0';
    return {bytes, text.size()};
}

std::string_view utf8_text(host::datum value) {
    const parse_text text(value, reports::text_too_large);
    return kept({text.bytes(), text.size()});
}

host::datum text_value(std::string_view text) {
    const std::string_view copy = kept(text);
    return text_result(reinterpret_cast<const xmlChar *>(copy.data()), copy.size());
}

xmlDocPtr parse_value(host::datum value) {
    const parse_text text(value, reports::text_too_large);
    return parse_document(text, k_parse_options).release();
}

xmlDocPtr parse_for_guest(std::string_view text, char (&words)[512], int &line) {
    const xml_parser_ctxt_ptr context(host::get_new_parser_ctxt());
    host::parse_diagnostics diagnostics{};
    xml_doc_ptr document(host::xml_parse_doc(context.get(), text.data(), text.size(),
                                             k_parse_options, true, diagnostics));
    if (document == nullptr) {
        const failure_words reason(diagnostics);
        const std::size_t size = std::min(reason.view().size(), sizeof words - 1);
        std::memcpy(words, reason.view().data(), size);
        words[size] = '\0';
        line = diagnostics.line;
    }
    return document.release();
}

xmlDocPtr copy_for_guest(const xmlNode *tree) {
    auto *const source = const_cast<xmlNodePtr>(tree);
    if (is_document(tree)) {
        return copy_whole_document(reinterpret_cast<xmlDocPtr>(source)).release();
    }
    xml_doc_ptr document;
    {
        const host::tree_scope scope;
        document.reset(xmlNewDoc(BAD_CAST "1.0"));
        if (document == nullptr || scope.refused()) {
            report(reports::out_of_memory);
        }
    }
    xml_node_ptr top = copy_tree(document.get(), source, true).top;
    xmlNodePtr const root = top.release();
    root->parent = reinterpret_cast<xmlNodePtr>(document.get());
    document->children = document->last = root;
    return document.release();
}

std::string_view path_of(const xmlNode *node) {
    text_output output(INT64_MAX);
    append_path(node, output);
    const char *const bytes = output.c_str();
    return kept({bytes, static_cast<std::size_t>(output.size())});
}

void run_unrefused(unrefused_work &work, void (*step)(void *state) noexcept, void *state) {
    host::release_abandoned();
    const host::unrefused_scope scope(work);
    step(state);
}

void end_stopped(unrefused_work &work, const report_row &over_budget) {
    if (work.starved) {
        host::raise_out_of_memory(0);
    }
    if (work.session_full) {
        report(reports::session_memory_full);
    }
    if (work.budget_spent) {
        report(over_budget);
    }
    if (work.cancelled) {
        host::process_interrupts();
        work.polls = false;
    }
}

std::int64_t bytes_in_use() noexcept { return host::gate.bytes_in_use; }
int deepest_tree() noexcept { return host::parse_limits.max_depth; }

} // namespace

library_services own_services() noexcept {
    library_services services{};
    services.size = sizeof services;
    services.revision = k_services_revision;
    services.release = k_services_release;
    services.invoke = host::invoke;
    services.report = report_for_guest;
    services.fail = fail_for_guest;
    services.check_for_interrupts = host::check_for_interrupts;
    services.needs = needs;
    services.tree_argument = tree_argument;
    services.utf8_text = utf8_text;
    services.text_value = text_value;
    services.texts_of_array = host::texts_of_array;
    services.parse_value = parse_value;
    services.parse_text = parse_for_guest;
    services.copy = copy_for_guest;
    services.free_document = host::free_document;
    services.path_of = path_of;
    services.run_unrefused = run_unrefused;
    services.may_go_on = host::unrefused_may_go_on;
    services.end_stopped = end_stopped;
    services.budget_for = host::budget_for;
    services.bytes_in_use = bytes_in_use;
    services.deepest_tree = deepest_tree;
    return services;
}

} // namespace pkg_dbe_xml
