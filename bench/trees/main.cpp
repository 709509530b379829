// Whole trees on the standalone host: copies, text and comparisons of large ones beside the calls
// of libxml2 that do the same, and how the time of changes grows with the tree.
//
//   bench_trees
//
// Prints the smallest processor time of several runs of either side, taken in turns, and the ratio.
// For growth the ratio is that of the time for eight times as much to eight times the time.
#include "host/memory.hpp"
#include "host/text.hpp"
#include "libxml/xml.hpp"
#include "standalone_session.hpp"

#include "sql_functions.hpp"

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <initializer_list>
#include <string>

namespace {

constexpr int k_rounds = 5;
constexpr int k_options = XML_PARSE_NOENT | XML_PARSE_NONET | XML_PARSE_HUGE;

[[nodiscard]] double processor_seconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

template <class Action> double seconds_of(Action action) {
    const double begun = processor_seconds();
    action();
    return processor_seconds() - begun;
}

// Calls a function with values; a failure ends the program. Null gives 0.
host::datum call(host::standalone::function_entry entry,
                 std::initializer_list<host::datum> values) {
    host::argument arguments[8];
    int count = 0;
    for (const host::datum value : values) {
        arguments[count++] = {value, value == 0};
    }
    host::call_record record;
    record.arguments = arguments;
    record.argument_count = count;
    entry(&record);
    if (record.failed) {
        std::fprintf(stderr, "a call failed: %s\n", record.report.message.c_str());
        std::abort();
    }
    return record.result_is_null ? 0 : record.result;
}

[[nodiscard]] host::datum text(const std::string &bytes) {
    return host::from_pointer(host::cstring_to_text_with_length(bytes.data(), bytes.size()));
}

std::string records(std::size_t megabytes) {
    std::string made = "<r>";
    for (std::size_t number = 1; made.size() < megabytes << 20U; ++number) {
        const std::string digits = std::to_string(number);
        made += "<item id='" + digits + "'><name>thing " + digits +
                "</name><price>12.25</price><note>a short note for " + digits + "</note></item>\n";
    }
    return made + "</r>";
}

std::string children(int count) {
    std::string made = "<r>";
    for (int i = 0; i < count; ++i) {
        made += "<c/>";
    }
    return made + "</r>";
}

struct tree {
    host::datum document;
    host::datum root;
    explicit tree(const std::string &content)
        : document(call(xmldom_parse_text, {text(content)})),
          root(call(xmldom_get_document_element, {document})) {}
    ~tree() { call(xmldom_free_document, {document}); }
    tree(const tree &) = delete;
    tree &operator=(const tree &) = delete;
};

void show(const char *what, const char *one, double first, const char *other, double second,
          double ratio) {
    std::printf("%-44s %-10s %9.2f ms  %-10s %9.2f ms  %5.2f\n", what, one, 1e3 * first, other,
                1e3 * second, ratio);
}

// The smallest time of either side.
template <class Ours, class Theirs> void compare(const char *what, Ours ours, Theirs theirs) {
    double here = 1e9;
    double there = 1e9;
    for (int round = 0; round < k_rounds; ++round) {
        here = std::min(here, ours());
        there = std::min(there, theirs());
    }
    show(what, "here", here, "libxml2", there, here / there);
}

template <class Work> void grow(const char *what, int count, Work work) {
    double small = 1e9;
    double large = 1e9;
    for (int round = 0; round < k_rounds; ++round) {
        small = std::min(small, work(count));
        large = std::min(large, work(8 * count));
    }
    show(what, "n", small, "8 n", large, large / (8 * small));
}

// Frees the trees that the timed calls make outside the time that counts.
void clone_fifty_megabytes() {
    const std::string content = records(50);
    const tree ours(content);
    xmlDocPtr const theirs = xmlReadMemory(content.data(), static_cast<int>(content.size()),
                                           nullptr, nullptr, k_options);
    xmlNodePtr const root = xmlDocGetRootElement(theirs);
    compare(
        "clone_node of 50 MB",
        [&] {
            host::datum copy = 0;
            const double taken = seconds_of([&] {
                copy = call(xmldom_clone_node, {ours.root, host::from_boolean(true)});
            });
            call(xml_dom_free_node, {copy});
            return taken;
        },
        [&] {
            xmlNodePtr copy = nullptr;
            const double taken = seconds_of([&] { copy = xmlDocCopyNode(root, theirs, 1); });
            xmlFreeNode(copy);
            return taken;
        });
    xmlFreeDoc(theirs);
}

void text_of_ten_megabytes() {
    const std::string content = records(20); // half of it is text
    const tree ours(content);
    xmlDocPtr const theirs = xmlReadMemory(content.data(), static_cast<int>(content.size()),
                                           nullptr, nullptr, k_options);
    compare(
        "get_text_content of 20 MB with markup",
        [&] {
            host::datum found = 0;
            const double taken =
                seconds_of([&] { found = call(xmldom_get_text_content, {ours.root}); });
            host::mmgr_free_with_fl(reinterpret_cast<void *>(found), __FILE__, __LINE__);
            return taken;
        },
        [&] {
            xmlChar *found = nullptr;
            const double taken =
                seconds_of([&] { found = xmlNodeGetContent(xmlDocGetRootElement(theirs)); });
            xmlFree(found);
            return taken;
        });
    xmlFreeDoc(theirs);
}

double insert_in_front(int count) {
    const tree made(children(count));
    const host::datum first = call(xmldom_get_first_child, {made.root});
    const host::datum name = text("n");
    return seconds_of([&] {
        for (int i = 0; i < count; ++i) {
            const host::datum node = call(xmldom_create_element, {made.document, name});
            call(xmldom_insert_before, {made.root, node, first});
            host::mmgr_free_with_fl(reinterpret_cast<void *>(node), __FILE__, __LINE__);
        }
    });
}

double compare_trees(int count) {
    const tree one(children(count));
    const tree other(children(count));
    return seconds_of([&] { call(xmldom_is_equal_node, {one.root, other.root}); });
}

} // namespace

int main() {
    host::standalone::begin_session("UTF8");
    clone_fifty_megabytes();
    text_of_ten_megabytes();
    grow("insert_before in front of the first of n", 12500, insert_in_front);
    grow("is_equal_node of n children", 100000, compare_trees);
    host::standalone::end_session();
}
