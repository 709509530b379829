// What the trees of the session take of the process's memory, for administrators.
//
// A tree is measured by going through it: each node, name and text counts with the size of the
// block that it needs, strings of the document's dictionary once with the dictionary. Detached
// trees that handles name, documents imported into it, and the handles themselves count with it.

#include "functions/call_frame.hpp"
#include "growing_array.hpp"
#include "host/lifetime.hpp"
#include "host/usage.hpp"
#include "libxml/xml.hpp"
#include "lifetime_reports.hpp"
#include "registry/kept_trees.hpp"
#include "registry/lifetimes.hpp"
#include "text/hexadecimal.hpp"
#include "text/text_argument.hpp"
#include "tree/tree_sizes.hpp"
#include "tree/typed_access.hpp"

#include <algorithm>
#include <cstdint>
#include <cstdio>

namespace pkg_dbe_xml {

namespace {

using report_text = growing_array<xmlChar, 512>;

tree_size measure(const XMLHashEntry &entry) {
    const auto *document = static_cast<const xmlDoc *>(entry.object);
    tree_measure measured(document->dict);
    measured.document(document);
    const family &owner = *find_family(entry); // a document that is named has one
    detached_trees detached;
    detached.collect(owner);
    for (xmlNodePtr const root : detached) {
        measured.subtree(root);
    }
    measured.namespaces(owner.namespaces);
    for (std::size_t i = 0; i < owner.copies.count; ++i) {
        measured.document(owner.copies.objects[i]);
    }
    tree_size size = measured.size();
    size.bytes += static_cast<std::int64_t>(handle_bytes_of(entry));
    return size;
}

void append_line(report_text &text, const char *name, const tree_size &size) {
    char line[128];
    const int length =
        std::snprintf(line, sizeof line, "%s %lld %lld\n", name, static_cast<long long>(size.nodes),
                      static_cast<long long>(size.bytes));
    text.append(reinterpret_cast<const xmlChar *>(line), static_cast<std::size_t>(length));
}

struct collected_text {
    report_text text;
    tree_size total{0, 0};
};

// The document of an entry that is a document's handle; null for all others.
const xmlDoc *document_of(const XMLHashEntry &entry) {
    const bool is_handle =
        xml_getdom_nodeid(&entry.key) == 0 && entry.kind == XMLDomNodeType::document;
    return is_handle && is_document(as_node(entry.object))
               ? static_cast<const xmlDoc *>(entry.object)
               : nullptr;
}

using handle_name = char[2 * k_key_size + 1];
void write_name(const XMLHashEntry &entry, handle_name &name) {
    *write_hexadecimal(entry.key.bytes, k_upper_digits, name) = '\0';
}

// One line for a document handle.
void append_document(const XMLHashEntry &entry, void *state) {
    if (document_of(entry) == nullptr) {
        return;
    }
    auto &collected = *static_cast<collected_text *>(state);
    handle_name name;
    write_name(entry, name);
    const tree_size size = measure(entry);
    collected.total.nodes += size.nodes;
    append_line(collected.text, name, size);
}

// The same with what is known of its life.
void describe_document(const XMLHashEntry &entry, void *state) {
    if (document_of(entry) == nullptr) {
        return;
    }
    handle_name name;
    write_name(entry, name);
    const document_life life = life_of(entry);
    char start[128];
    std::snprintf(start, sizeof start, "%s %lld %s", name, static_cast<long long>(life.made_at),
                  host::k_lifetime_names[life.ends_with_transaction ? 1 : 0]);
    append_line(*static_cast<report_text *>(state), start, measure(entry));
}

void describe_session(const host::session_use &use, void *state) {
    char line[160];
    const int length = std::snprintf(line, sizeof line, "%d %u %u %u %lld %lld\n", use.process,
                                     use.objects.documents, use.objects.transactions,
                                     use.objects.parsers, static_cast<long long>(use.tree_bytes),
                                     static_cast<long long>(use.handle_bytes));
    static_cast<report_text *>(state)->append(reinterpret_cast<const xmlChar *>(line),
                                              static_cast<std::size_t>(length));
}

// The lines, without the end of the last; null when there are none.
host::datum lines_result(host::call &call, report_text &lines) {
    if (lines.size() == 0) {
        return call.null();
    }
    const std::size_t size = lines.size() - 1;
    lines.push_back(0);
    return text_result(lines.data(), size);
}

} // namespace

// The memory behind each document handle of the session, and all that libxml2 holds for it.
//
// One line for each document handle: its 26 hexadecimal digits, the nodes of its tree and their
// bytes; documents that share a tree each tell of all of it. A last line "all" gives the nodes told
// of and the bytes of every block that libxml2 holds in this session, parser objects and what a
// cancelled parse has left included, and of all handles. Takes the time of a walk through all
// trees; can be cancelled.
PKG_DBE_XML_FUNCTION(xml_dom_get_memory_info) {
    collected_text collected;
    xml_for_each_hashentry(append_document, &collected);
    collected.total.bytes =
        std::max<std::int64_t>(host::gate.bytes_in_use + host::gate.handle_bytes, 0);
    append_line(collected.text, "all", collected.total);
    return lines_result(call, collected.text);
}

// A line for each document handle of the session: its 26 hexadecimal digits, when it was made in
// milliseconds since 1970, its lifetime, nodes and bytes as above. Null when there is none.
PKG_DBE_XML_FUNCTION(xmldom_describe_documents) {
    report_text lines;
    xml_for_each_hashentry(describe_document, &lines);
    return lines_result(call, lines);
}

// A line for each session of the server that has used the library: its process, documents, those of
// them that end with their transaction, parsers, bytes of trees and parsers, bytes of handles.
// Reports sessions_unknown where the sessions share no memory.
PKG_DBE_XML_FUNCTION(xmldom_describe_sessions) {
    report_text lines;
    if (!host::for_each_session(describe_session, &lines)) {
        report(reports::sessions_unknown);
    }
    return lines_result(call, lines);
}

} // namespace pkg_dbe_xml
