// What the benchmarks of the function families share: a session with a document on the library's
// side, the same document bare on the other, and the table of pairs.
//
// Both sides of a pair do the same work on the same document in each step, and each step leaves
// the tree as it found it: what is made is given back.
#pragma once

#include "host/call.hpp"
#include "host/memory.hpp"
#include "sql_functions.hpp"
#include "standalone_session.hpp"

#include <benchmark/benchmark.h>

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace bench {

inline const xmlChar *bytes(const char *text) { return reinterpret_cast<const xmlChar *>(text); }

// Orders of some 250 bytes each: an attribute, six children with text, two in a namespace.
[[nodiscard]] std::string orders(int records);

inline constexpr int k_small = 42;   // 10 kB
inline constexpr int k_medium = 143; // 1,002 elements
inline constexpr int k_large = 4250; // 1 MB
inline constexpr int k_options =
    XML_PARSE_NOENT | XML_PARSE_NOBLANKS | XML_PARSE_NONET | XML_PARSE_HUGE;
inline constexpr const char *k_namespace = "urn:example:orders";

// The library's side: a session of its own with a parsed document.
class session {
  public:
    explicit session(int records);
    ~session();
    session(const session &) = delete;
    session &operator=(const session &) = delete;

    // Calls a function with values that are there; a failure ends the program. Null gives 0.
    host::datum call(host::standalone::function_entry entry,
                     std::initializer_list<host::datum> values) {
        int count = 0;
        for (const host::datum value : values) {
            arguments_[count++] = {value, false};
        }
        record_.arguments = arguments_;
        record_.argument_count = count;
        entry(&record_);
        if (record_.failed) [[unlikely]] {
            fail();
        }
        return record_.result_is_null ? 0 : record_.result;
    }
    // Gives back a result that is a handle or a text, as a program does that is done with it.
    static void drop(host::datum result) {
        host::mmgr_free_with_fl(reinterpret_cast<void *>(result), __FILE__, __LINE__);
    }
    // Releases what a handle names or names no more, and the handle.
    void release(host::datum handle) {
        call(xml_dom_free_node, {handle});
        drop(handle);
    }
    void release_list(host::datum handle) {
        call(xml_dom_free_nodelist, {handle});
        drop(handle);
    }
    void release_document(host::datum handle) {
        call(xml_dom_free_document, {handle});
        drop(handle);
    }
    // A text that lives as long as the session.
    static host::datum text(std::string_view value) { return host::standalone::make_text(value); }

    std::string content;
    host::datum content_value = 0;
    host::datum document = 0;
    host::datum root = 0;          // all of these are of the kind element or node
    host::datum order = 0;         // the first order
    host::datum order_node = 0;    // the same as a node
    host::datum customer = 0;      // its first child
    host::datum customer_text = 0; // a text
    host::datum id = 0;            // the order's attribute

  private:
    [[noreturn]] void fail() const;

    host::argument arguments_[4]{};
    host::call_record record_;
};

// libxml2's side: the same document with its bare nodes.
class bare {
  public:
    explicit bare(int records);
    ~bare() { xmlFreeDoc(document); }
    bare(const bare &) = delete;
    bare &operator=(const bare &) = delete;

    [[nodiscard]] static xmlDocPtr parsed(const std::string &content) {
        return xmlReadMemory(content.data(), static_cast<int>(content.size()), nullptr, "UTF-8",
                             k_options);
    }
    // A text that libxml2 made: looked at and freed.
    static void drop(xmlChar *text) {
        benchmark::DoNotOptimize(text);
        xmlFree(text);
    }

    std::string content;
    xmlDocPtr document = nullptr;
    xmlNodePtr root = nullptr;
    xmlNodePtr order = nullptr;
    xmlNodePtr customer = nullptr;
    xmlNodePtr customer_text = nullptr;
    xmlAttrPtr id = nullptr;
};

// How a pair is shown, and on what it works.
struct description {
    const char *family;
    const char *name;
    int calls = 1;         // SQL functions called in each step of the library's side
    int records = k_small; // orders in the document
};

// "family/name" of all pairs, in the order of the table.
[[nodiscard]] std::vector<std::string> &pairs();

// One side of a pair. `Prepare` takes the session or the bare document and returns the step.
template <class Side, class Prepare>
void enter_side(const description &what, const char *side, int calls, Prepare prepare) {
    const std::string name = std::string(what.family) + "/" + what.name;
    if (pairs().empty() || pairs().back() != name) {
        pairs().push_back(name);
    }
    benchmark::RegisterBenchmark((name + "/" + side).c_str(),
                                 [what, calls, prepare](benchmark::State &state) {
                                     Side world(what.records);
                                     auto step = prepare(world);
                                     for ([[maybe_unused]] auto iteration : state) {
                                         step();
                                     }
                                     state.counters["calls"] = calls;
                                 });
}

// A pair: what the library does, and the bare call that does the same.
template <class Ours, class Bare> void pair(const description &what, Ours ours, Bare other) {
    enter_side<session>(what, "here", what.calls, ours);
    enter_side<bare>(what, "bare", 0, other);
}
// What only the library does.
template <class Ours> void alone(const description &what, Ours ours) {
    enter_side<session>(what, "here", what.calls, ours);
}

// --- the families, in the order of the table ----------------------------------------------------

void enter_documents();
void enter_parsers();
void enter_reading();
void enter_navigation();
void enter_attributes();
void enter_lists();
void enter_search();
void enter_new_nodes();
void enter_changes();
void enter_imports();
void enter_writing();
void enter_release();
void enter_packages();
void enter_overviews();

} // namespace bench
