// Writing documents and nodes, as text and into files.
#include "support.hpp"

#include "standalone_files.hpp"

#include <cstdlib>
#include <filesystem>
#include <libxml/xmlsave.h>

namespace bench {

namespace {

void write_bare(xmlDocPtr document) {
    xmlChar *dump = nullptr;
    int size = 0;
    xmlDocDumpFormatMemoryEnc(document, &dump, &size, "UTF-8", 1);
    bare::drop(dump);
}

void write_bare_node(const bare &b, xmlNodePtr node) {
    xmlBufferPtr buffer = xmlBufferCreate();
    xmlNodeDump(buffer, b.document, node, 0, 1);
    benchmark::DoNotOptimize(xmlBufferContent(buffer));
    xmlBufferFree(buffer);
}

void enter_document(const char *name, host::standalone::function_entry entry, int records) {
    pair(
        {"writing", name, 1, records},
        [=](session &s) { return [&s, entry] { s.drop(s.call(entry, {s.document})); }; },
        [](bare &b) { return [&b] { write_bare(b.document); }; });
}

void enter_node(const char *name, host::standalone::function_entry entry,
                host::datum session::*handle, xmlNodePtr bare::*node, int records) {
    pair(
        {"writing", name, 1, records},
        [=](session &s) { return [&s, entry, handle] { s.drop(s.call(entry, {s.*handle})); }; },
        [=](bare &b) { return [&b, node] { write_bare_node(b, b.*node); }; });
}

// A folder of its own below the temporary ones, made a directory object on the library's side.
class folder {
  public:
    folder() {
        std::string pattern = std::filesystem::temp_directory_path() / "bench_XXXXXX";
        path = mkdtemp(pattern.data());
    }
    ~folder() { std::filesystem::remove_all(path); }
    folder(const folder &) = delete;
    folder &operator=(const folder &) = delete;
    std::string path;
};

void enter_file(const char *name, host::standalone::function_entry entry,
                host::datum session::*handle, bool whole) {
    static folder shared;
    pair(
        {"writing", name},
        [=](session &s) {
            host::standalone::create_directory_object("out", shared.path);
            return [&s, entry, handle, file = s.text("out/here.xml")] {
                s.call(entry, {s.*handle, file});
            };
        },
        [=](bare &b) {
            return [&b, whole, file = shared.path + "/bare.xml"] {
                xmlSaveCtxtPtr context = xmlSaveToFilename(file.c_str(), "UTF-8", XML_SAVE_FORMAT);
                if (whole) {
                    xmlSaveDoc(context, b.document);
                } else {
                    xmlSaveTree(context, b.order);
                }
                xmlSaveClose(context);
            };
        });
}

} // namespace

void enter_writing() {
    enter_document("write_to_buffer_doc: 10 kB", xml_dom_write_to_buffer_doc, k_small);
    enter_document("write_to_clob_doc: 10 kB", xml_dom_write_to_clob_doc, k_small);
    enter_document("write_to_clob_doc: 1 MB", xml_dom_write_to_clob_doc, k_large);
    enter_node("write_to_buffer_node: 300 B", xml_dom_write_to_buffer_node, &session::order,
               &bare::order, k_small);
    enter_node("write_to_clob_node: 300 B", xml_dom_write_to_clob_node, &session::order,
               &bare::order, k_small);
    enter_node("write_to_clob_node: 1 MB", xml_dom_write_to_clob_node, &session::root, &bare::root,
               k_large);
    enter_file("write_to_file_doc: 10 kB", xml_dom_write_to_file_doc, &session::document, true);
    enter_file("write_to_file_node: 300 B", xml_dom_write_to_file_node, &session::order, false);
}

} // namespace bench
