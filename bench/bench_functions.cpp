// Every family of functions on the standalone host, beside the bare libxml2 call that does the
// same. What stands between the two is the library: the call frame, the handle, the registry.
//
//   build/release/bench_functions [--benchmark_filter=...]
#include "host/memory.hpp"
#include "standalone_session.hpp"
#include "support/sql.hpp"

#include <benchmark/benchmark.h>

#include <libxml/list.h>
#include <libxml/parser.h>
#include <libxml/tree.h>

#include <initializer_list>
#include <string>
#include <vector>

namespace {

using namespace host::standalone;

const xmlChar *bytes(const char *text) { return reinterpret_cast<const xmlChar *>(text); }

// An orders document of `records` records, some 250 bytes each.
std::string orders(int records) {
    std::string text = "<?xml version=\"1.0\"?><orders>";
    for (int number = 0; number < records; ++number) {
        const std::string digits = std::to_string(number);
        text += "<order id=\"" + digits + "\"><customer>Customer " + digits +
                " &amp; Sons</customer><date>2026-01-02</date><item>Article number " + digits +
                "</item><quantity>3</quantity><price>12.50</price>"
                "<note>To be delivered to the gate</note></order>";
    }
    return text + "</orders>";
}

constexpr int k_options = XML_PARSE_NOENT | XML_PARSE_NOBLANKS | XML_PARSE_NONET | XML_PARSE_HUGE;

// A session for the length of a benchmark, with a document of `records` records.
class session {
  public:
    explicit session(int records) : text(orders(records)) {
        begin_session("UTF8");
        content = make_text(text);
        document = one(xml_dom_new_document_clob, {content});
        root = one(xml_dom_get_document_element, {document});
    }
    ~session() { end_session(); }
    session(const session &) = delete;
    session &operator=(const session &) = delete;
    // Calls a function with values at hand; the result lives in the caller's context.
    static host::datum one(function_entry entry, std::initializer_list<host::datum> values) {
        host::argument arguments[4];
        int count = 0;
        for (const host::datum value : values) {
            arguments[count++] = {value, false};
        }
        const host::call_record record = call_function(entry, arguments, count);
        if (record.failed) {
            std::abort();
        }
        return record.result;
    }
    std::string text;
    host::datum content = 0;
    host::datum document = 0;
    host::datum root = 0;
};

xmlDocPtr parse_bare(const std::string &text) {
    return xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, "UTF-8", k_options);
}

void parse_write_free(benchmark::State &state) {
    session s(static_cast<int>(state.range(0)));
    for (auto step : state) {
        const host::datum document = s.one(xml_dom_new_document_clob, {s.content});
        benchmark::DoNotOptimize(s.one(xml_dom_write_to_clob_doc, {document}));
        s.one(xml_dom_free_document, {document});
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(s.text.size()));
}
void parse_write_free_bare(benchmark::State &state) {
    const std::string text = orders(static_cast<int>(state.range(0)));
    for (auto step : state) {
        xmlDocPtr document = parse_bare(text);
        xmlChar *dump = nullptr;
        int size = 0;
        xmlDocDumpFormatMemoryEnc(document, &dump, &size, "UTF-8", 1);
        xmlFree(dump);
        xmlFreeDoc(document);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
BENCHMARK(parse_write_free)->Arg(42)->Arg(4250)->Unit(benchmark::kMicrosecond);
BENCHMARK(parse_write_free_bare)->Arg(42)->Arg(4250)->Unit(benchmark::kMicrosecond);

// One step or one reading from the root element, its handle released again where one is made.
template <auto function> void read_text(benchmark::State &state) {
    session s(42);
    const host::datum node = s.one(xml_dom_get_first_child, {s.root});
    for (auto step : state) {
        benchmark::DoNotOptimize(s.one(function, {node}));
    }
}
BENCHMARK(read_text<xml_dom_get_node_name>);
void node_name_bare(benchmark::State &state) {
    xmlDocPtr document = parse_bare(orders(42));
    xmlNodePtr node = xmlDocGetRootElement(document)->children;
    for (auto step : state) {
        xmlChar *name = xmlStrdup(node->name);
        benchmark::DoNotOptimize(name);
        xmlFree(name);
    }
    xmlFreeDoc(document);
}
BENCHMARK(node_name_bare);

void step_and_release(benchmark::State &state) {
    session s(42);
    for (auto step : state) {
        const host::datum child = s.one(xml_dom_get_first_child, {s.root});
        s.one(xml_dom_free_node, {child});
    }
}
BENCHMARK(step_and_release);

void read_attribute(benchmark::State &state) {
    session s(42);
    const host::datum order =
        s.one(xml_dom_make_element, {s.one(xml_dom_get_first_child, {s.root})});
    const host::datum name = make_text("id");
    for (auto step : state) {
        benchmark::DoNotOptimize(s.one(xml_dom_get_attribute, {order, name}));
    }
}
BENCHMARK(read_attribute);
void read_attribute_bare(benchmark::State &state) {
    xmlDocPtr document = parse_bare(orders(42));
    xmlNodePtr node = xmlDocGetRootElement(document)->children;
    for (auto step : state) {
        xmlChar *value = xmlGetProp(node, bytes("id"));
        benchmark::DoNotOptimize(value);
        xmlFree(value);
    }
    xmlFreeDoc(document);
}
BENCHMARK(read_attribute_bare);

void set_attribute(benchmark::State &state) {
    session s(42);
    const host::datum name = make_text("id");
    const host::datum value = make_text("a new value");
    for (auto step : state) {
        s.one(xml_dom_set_attribute, {s.root, name, value});
    }
}
BENCHMARK(set_attribute);
void set_attribute_bare(benchmark::State &state) {
    xmlDocPtr document = parse_bare(orders(42));
    xmlNodePtr node = xmlDocGetRootElement(document);
    for (auto step : state) {
        xmlSetProp(node, bytes("id"), bytes("a new value"));
    }
    xmlFreeDoc(document);
}
BENCHMARK(set_attribute_bare);

void build_elements(benchmark::State &state) {
    session s(1);
    const host::datum tag = make_text("item");
    const host::datum data = make_text("an article");
    for (auto step : state) {
        const host::datum document = s.one(xml_dom_new_document_empty, {});
        const host::datum top =
            s.one(xml_dom_append_child, {document, s.one(xml_dom_create_element, {document, tag})});
        for (int count = 0; count < 1000; ++count) {
            const host::datum item = s.one(xml_dom_create_element, {document, tag});
            s.one(xml_dom_append_child, {item, s.one(xml_dom_create_text_node, {document, data})});
            s.one(xml_dom_append_child, {top, item});
        }
        s.one(xml_dom_free_document, {document});
    }
    state.SetItemsProcessed(state.iterations() * 1000);
}
BENCHMARK(build_elements)->Unit(benchmark::kMicrosecond);
void build_elements_bare(benchmark::State &state) {
    for (auto step : state) {
        xmlDocPtr document = xmlNewDoc(bytes("1.0"));
        xmlNodePtr top = xmlNewDocNode(document, nullptr, bytes("item"), nullptr);
        xmlAddChild(reinterpret_cast<xmlNodePtr>(document), top);
        for (int count = 0; count < 1000; ++count) {
            xmlNodePtr item = xmlNewDocNode(document, nullptr, bytes("item"), nullptr);
            xmlAddChild(item, xmlNewDocText(document, bytes("an article")));
            xmlAddChild(top, item);
        }
        xmlFreeDoc(document);
    }
    state.SetItemsProcessed(state.iterations() * 1000);
}
BENCHMARK(build_elements_bare)->Unit(benchmark::kMicrosecond);

void search_and_read(benchmark::State &state) {
    session s(1000);
    const host::datum name = make_text("price");
    for (auto step : state) {
        const host::datum list =
            s.one(xml_dom_get_elements_by_tagname_document, {s.document, name});
        const auto length = static_cast<int>(s.one(xml_dom_get_length, {list}));
        for (int index = 0; index < length; ++index) {
            const host::datum item = s.one(xml_dom_item, {list, host::from_int4(index)});
            s.one(xml_dom_free_node, {item});
        }
        s.one(xml_dom_free_nodelist, {list});
    }
    state.SetItemsProcessed(state.iterations() * 1000);
}
BENCHMARK(search_and_read)->Unit(benchmark::kMicrosecond);
void search_bare(benchmark::State &state) {
    xmlDocPtr document = parse_bare(orders(1000));
    for (auto step : state) {
        std::vector<xmlNodePtr> found;
        for (xmlNodePtr order = xmlDocGetRootElement(document)->children; order != nullptr;
             order = order->next) {
            for (xmlNodePtr child = order->children; child != nullptr; child = child->next) {
                if (xmlStrEqual(child->name, bytes("price")) != 0) {
                    found.push_back(child);
                }
            }
        }
        benchmark::DoNotOptimize(found.data());
    }
    xmlFreeDoc(document);
    state.SetItemsProcessed(state.iterations() * 1000);
}
BENCHMARK(search_bare)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
