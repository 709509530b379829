// The canonical form beside libxml2's own, of whole documents of several kinds.
//
//   bench_canonical MEGABYTES...
//
// Each side runs in processes of its own, in turns, libxml2 without the library's memory service.
// Prints the best of all runs in milliseconds, their ratio and at the end the worst one; checks
// that both sides make as many bytes.
#include "host/error.hpp"
#include "standalone_session.hpp"
#include "tree/typed_access.hpp"
#include "write/canonical_writer.hpp"
#include "xml_owner.hpp"

#include "sql_functions.hpp"

#include <libxml/c14n.h>
#include <libxml/parser.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using pkg_dbe_xml::canonical_form;

std::string plain_item(const std::string &digits) {
    return "<item id='" + digits + "'><name>thing " + digits +
           "</name><price>7.25</price><note>a short note for " + digits + "</note></item>\n";
}
std::string item_with_prefixes(const std::string &digits) {
    return "<o:item xmlns:o='urn:o' o:id='" + digits + "' b='2' a='1'><o:name>thing " + digits +
           "</o:name><p:price cur='EUR'>7.25</p:price><note xmlns='urn:n'>short</note></o:item>\n";
}
std::string item_with_text(const std::string &digits) {
    std::string text = "<p n='" + digits + "'>";
    for (int line = 0; line < 20; ++line) {
        text += "Some words of a longer text &amp; a <b>few</b> more in line " + digits + ".\n";
    }
    return text + "</p>\n";
}

struct kind {
    const char *name;
    std::string (*item)(const std::string &digits);
};
constexpr kind k_kinds[]{
    {"elements", plain_item}, {"namespaces", item_with_prefixes}, {"text", item_with_text}};

struct form {
    const char *name;
    canonical_form ours;
    xmlC14NMode theirs;
};
constexpr form k_forms[]{{"1.0", canonical_form::version_1_0, XML_C14N_1_0},
                         {"1.1", canonical_form::version_1_1, XML_C14N_1_1},
                         {"exclusive", canonical_form::exclusive, XML_C14N_EXCLUSIVE_1_0}};

std::string document(const kind &of, std::size_t megabytes) {
    std::string text = "<r xmlns:p='urn:p'>";
    for (std::size_t number = 1; text.size() < megabytes << 20U; ++number) {
        text += of.item(std::to_string(number));
    }
    return text + "</r>";
}

// What a process found: the best time in seconds, and the bytes that were made.
struct outcome {
    double best = 1e9;
    std::size_t bytes = 0;
};

// Seconds of the processor that the process has taken.
double processor_time() {
    timespec taken{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &taken);
    return static_cast<double>(taken.tv_sec) + static_cast<double>(taken.tv_nsec) * 1e-9;
}

template <class Run> outcome best_of(Run run) {
    outcome found;
    double total = 0;
    for (int round = 0; round < 200 && (total < 0.5 || round < 2); ++round) {
        const double begun = processor_time();
        found.bytes = run();
        const double took = processor_time() - begun;
        found.best = std::min(found.best, took);
        total += took;
    }
    return found;
}

xmlDocPtr parsed(const std::string &text) {
    return xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr,
                         XML_PARSE_HUGE);
}

outcome take_theirs(const std::string &text, const form &wanted) {
    const pkg_dbe_xml::xml_doc_ptr tree(parsed(text));
    return best_of([&] {
        xmlChar *made = nullptr;
        const int size =
            xmlC14NDocDumpMemory(tree.get(), nullptr, wanted.theirs, nullptr, 0, &made);
        xmlFree(made);
        return static_cast<std::size_t>(size);
    });
}

outcome take_ours(const std::string &text, const form &wanted) {
    host::standalone::begin_session("UTF8");
    host::standalone::call_function(xml_dom_new_document_empty, nullptr, 0);
    outcome found;
    {
        const pkg_dbe_xml::xml_doc_ptr tree(parsed(text));
        found = best_of([&] {
            pkg_dbe_xml::text_output output(INT64_MAX);
            pkg_dbe_xml::write_canonical(pkg_dbe_xml::as_node(tree.get()), {wanted.ours, false, {}},
                                         output);
            return static_cast<std::size_t>(output.size());
        });
    }
    host::standalone::end_session();
    return found;
}

// What `take` finds, in a process of its own.
template <class Take> outcome in_process(Take take) {
    int ends[2];
    if (pipe(ends) != 0) {
        std::exit(1);
    }
    const pid_t child = fork();
    if (child == 0) {
        const outcome found = take();
        const bool told = write(ends[1], &found, sizeof found) == sizeof found;
        _exit(told ? 0 : 1);
    }
    outcome found;
    const bool heard = read(ends[0], &found, sizeof found) == sizeof found;
    close(ends[0]);
    close(ends[1]);
    int status = 0;
    waitpid(child, &status, 0);
    if (!heard || status != 0) {
        std::fprintf(stderr, "a run failed\n");
        std::exit(1);
    }
    return found;
}

double measure(const kind &of, const form &wanted, const std::string &text) {
    outcome ours, theirs;
    for (int turn = 0; turn < 2; ++turn) {
        const outcome their_turn = in_process([&] { return take_theirs(text, wanted); });
        const outcome our_turn = in_process([&] { return take_ours(text, wanted); });
        if (their_turn.bytes != our_turn.bytes) {
            std::fprintf(stderr, "%zu bytes beside %zu\n", our_turn.bytes, their_turn.bytes);
            std::exit(1);
        }
        theirs.best = std::min(theirs.best, their_turn.best);
        ours.best = std::min(ours.best, our_turn.best);
    }
    std::printf("| %s | %s | %.2f | %.2f | %.2f |\n", of.name, wanted.name, ours.best * 1e3,
                theirs.best * 1e3, ours.best / theirs.best);
    std::fflush(stdout);
    return ours.best / theirs.best;
}

} // namespace

int main(int count, char **arguments) {
    double worst = 0;
    for (int index = 1; index < count; ++index) {
        const std::size_t megabytes = std::strtoul(arguments[index], nullptr, 10);
        std::printf("\n%zu MB\n\n| document | form | library, ms | libxml2, ms | ratio |\n"
                    "|---|---|--:|--:|--:|\n",
                    megabytes);
        for (const kind &of : k_kinds) {
            const std::string text = document(of, megabytes);
            for (const form &wanted : k_forms) {
                worst = std::max(worst, measure(of, wanted, text));
            }
        }
    }
    std::printf("\nworst ratio %.2f\n", worst);
    return 0;
}
