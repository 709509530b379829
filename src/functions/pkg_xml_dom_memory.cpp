// What the trees of the session take of the process's memory, for administrators.
//
// A tree is measured by going through it: each node, name and text counts with the size of the
// block that it needs, strings of the document's dictionary once with the dictionary. Detached
// trees that handles name, documents imported into it, and the handles themselves count with it.

#include "functions/call_frame.hpp"
#include "growing_array.hpp"
#include "libxml/xml.hpp"
#include "registry/kept_trees.hpp"
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

// One line for a document handle.
void append_document(const XMLHashEntry &entry, void *state) {
    if (xml_getdom_nodeid(&entry.key) != 0 || entry.kind != XMLDomNodeType::document ||
        !is_document(as_node(entry.object))) {
        return;
    }
    auto &collected = *static_cast<collected_text *>(state);
    char name[2 * k_key_size + 1];
    *write_hexadecimal(entry.key.bytes, k_upper_digits, name) = '\0';
    const tree_size size = measure(entry);
    collected.total.nodes += size.nodes;
    append_line(collected.text, name, size);
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
    const std::size_t size = collected.text.size() - 1; // without the last line's end
    collected.text.push_back(0);
    return text_result(collected.text.data(), size);
}

} // namespace pkg_dbe_xml
