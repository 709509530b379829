// Path queries beside libxml2's evaluator, both with a compiled expression, libxml2's with a
// context that is kept.
//
//   bench_queries MEGABYTES...
//
// Prints for each query the best of several runs of either side in microseconds, taken in turns,
// and their ratio; at the end the geometric mean. Queries that take libxml2 more than a few seconds
// have no ratio.
#include "host/error.hpp"
#include "paths/paths.hpp"
#include "standalone_session.hpp"

#include "sql_functions.hpp"

#include <libxml/parser.h>
#include <libxml/xpath.h>
#include <libxml/xpathInternals.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

using pkg_dbe_xml::paths::value_type;
using seconds = std::chrono::duration<double>;

// Operations after which libxml2 is stopped.
constexpr unsigned long k_patience = 60'000'000;

struct query {
    const char *path;
    bool too_slow; // quadratic on libxml2's side: small documents only
};
constexpr query k_queries[] = {{"//item", false},
                               {"/r/item/price", false},
                               {"//item[@id='777']", false},
                               {"//item[price > 500]/name", false},
                               {"/r/item[100]", false},
                               {"/r/item[last()]", false},
                               {"count(//*)", false},
                               {"//item[contains(name, '7')]", false},
                               {"//price/parent::item/@id", true},
                               {"//item/following-sibling::item[1]", true},
                               {"//name | //price", true},
                               {"string(/r)", false},
                               {"count(/r/item[100]/following-sibling::item)", false},
                               {"sum(/r/item/price)", false},
                               {"/r/item[777]/name", false}};

std::string document(std::size_t megabytes) {
    std::string text = "<r>";
    for (std::size_t number = 1; text.size() < megabytes << 20U; ++number) {
        const std::string digits = std::to_string(number);
        text += "<item id='" + digits + "'><name>thing " + digits + "</name><price>" +
                std::to_string(number % 1000) + ".25</price><note>a short note for " + digits +
                "</note></item>\n";
    }
    return text + "</r>";
}

// Seconds that a run takes.
template <class Run> double time_of(Run run) {
    const auto begun = std::chrono::steady_clock::now();
    run();
    return seconds(std::chrono::steady_clock::now() - begun).count();
}

struct best_times {
    double one = 1e9;
    double other = 1e9;
};

// The best of several runs of either side, in seconds. They take turns, so that what else the
// machine does meets both.
template <class One, class Other> best_times race(One one, Other other) {
    constexpr int k_most_rounds = 2000;
    constexpr int k_least_rounds = 7;
    best_times best;
    double total = 0;
    for (int round = 0;
         round < k_most_rounds && (total < 2 || (round < k_least_rounds && total < 20)); ++round) {
        const double took = time_of(one);
        const double other_took = time_of(other);
        best = {std::min(best.one, took), std::min(best.other, other_took)};
        total += took + other_took;
    }
    return best;
}

std::size_t evaluate(const char *path, xmlNodePtr node) {
    const pkg_dbe_xml::path_lease compiled = pkg_dbe_xml::compile_path(path, {});
    pkg_dbe_xml::path_evaluation run(compiled.code(), node, {});
    switch (compiled.code().expressions[compiled.code().root].type) {
    case value_type::nodes:
        return run.nodes().size();
    case value_type::number:
        return static_cast<std::size_t>(run.number());
    case value_type::text:
        return run.text().size();
    default:
        return run.truth() ? 1 : 0;
    }
}

struct figures {
    double logarithms = 0;
    int ratios = 0;
    double worst = 0;
};

void measure(const query &asked, xmlDocPtr tree, figures &counted) {
    auto *const root = reinterpret_cast<xmlNodePtr>(tree);
    std::size_t answer = 0;
    xmlXPathContextPtr const context = xmlXPathNewContext(tree);
    xmlXPathCompExprPtr const compiled =
        xmlXPathCompile(reinterpret_cast<const xmlChar *>(asked.path));
    bool stopped = false;
    const auto ask_library = [&] { answer = evaluate(asked.path, root); };
    const auto ask_libxml2 = [&] {
        context->node = root;
        context->opCount = 0;
        context->opLimit = k_patience;
        xmlXPathObjectPtr given = xmlXPathCompiledEval(compiled, context);
        stopped = given == nullptr;
        xmlXPathFreeObject(given);
    };
    const auto [ours, theirs] = race(ask_library, ask_libxml2);
    xmlXPathFreeCompExpr(compiled);
    xmlXPathFreeContext(context);
    std::printf("| `%s` | %zu | %.1f | %s%.1f | %.2f |\n", asked.path, answer, ours * 1e6,
                stopped ? "> " : "", theirs * 1e6, ours / theirs);
    std::fflush(stdout);
    counted.logarithms += std::log(ours / theirs);
    counted.worst = std::max(counted.worst, ours / theirs);
    ++counted.ratios;
}

void measure_small() {
    xmlDocPtr tree = xmlReadDoc(reinterpret_cast<const xmlChar *>("<r><a><b>x</b></a></r>"),
                                nullptr, nullptr, 0);
    auto *const root = reinterpret_cast<xmlNodePtr>(tree);
    std::size_t found = 0;
    const auto ask = [&] {
        for (int round = 0; round < 1000; ++round) {
            found += evaluate("/r/a/b", root);
        }
    };
    const double took = race(ask, [] {}).one;
    std::printf("\n`/r/a/b` found in the cache and evaluated: %.0f ns (%zu)\n", took * 1e6, found);
    xmlFreeDoc(tree);
}

} // namespace

int main(int count, char **arguments) {
    xmlSetStructuredErrorFunc(nullptr, [](void *, auto) {});
    host::standalone::begin_session("UTF8");
    host::standalone::call_function(xml_dom_new_document_empty, nullptr, 0);
    for (int index = 1; index < count; ++index) {
        const std::size_t megabytes = std::strtoul(arguments[index], nullptr, 10);
        const std::string text = document(megabytes);
        xmlDocPtr const tree = xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr,
                                             nullptr, XML_PARSE_HUGE);
        std::printf("\n%zu MB\n\n| query | answer | library, us | libxml2, us | ratio |\n"
                    "|---|--:|--:|--:|--:|\n",
                    megabytes);
        figures counted;
        for (const query &asked : k_queries) {
            if (!asked.too_slow || megabytes <= 1) {
                measure(asked, tree, counted);
            }
        }
        std::printf("\ngeometric mean %.2f, worst %.2f\n",
                    std::exp(counted.logarithms / counted.ratios), counted.worst);
        xmlFreeDoc(tree);
    }
    measure_small();
    host::standalone::end_session();
    return 0;
}
