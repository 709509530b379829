// Namespace records that no element declares: one for each document, URI and prefix.
//
// They hang on the document behind its record for "xml", which libxml2 takes to be the first.

#include "edit/tree_changes.hpp"

#include "error_reports.hpp"
#include "libxml/xml.hpp"

namespace pkg_dbe_xml {

namespace {

// Stands in the `context` of records that are used inside their element only; libxml2 leaves that
// member alone. Its address is what counts.
xmlDoc *used_inside() noexcept {
    static constinit const char mark = 0;
    return reinterpret_cast<xmlDoc *>(const_cast<char *>(&mark));
}

} // namespace

xmlNsPtr xml_namespace(xmlDocPtr document) {
    const host::tree_scope scope;
    xmlNsPtr record =
        xmlSearchNs(document, as_node(document), reinterpret_cast<const xmlChar *>("xml"));
    if (record == nullptr || scope.refused()) {
        report(reports::out_of_memory);
    }
    return record;
}

xmlNsPtr shared_namespace(xmlDocPtr document, const xmlChar *uri, const xmlChar *prefix) {
    xmlNsPtr const first = xml_namespace(document);
    xmlNsPtr before = first;
    for (xmlNsPtr record = first->next; record != nullptr; record = record->next) {
        if (xmlStrEqual(record->href, uri) != 0 && xmlStrEqual(record->prefix, prefix) != 0) {
            // To the front: programs use one URI many times over.
            before->next = record->next;
            record->next = first->next;
            first->next = record;
            return record;
        }
        before = record;
    }
    const host::tree_scope scope;
    xml_ns_ptr made(xmlNewNs(nullptr, uri, prefix));
    if (made == nullptr || scope.refused()) {
        report(reports::out_of_memory);
    }
    made->next = first->next;
    first->next = made.get();
    return made.release();
}

void mark_used_inside(xmlNsPtr record) noexcept { set_context(record, used_inside()); }

void mark_used_outside(const xmlNode *leaving) noexcept {
    for (const xmlNode *above = leaving->parent; above != nullptr; above = above->parent) {
        for (xmlNsPtr record = declared_namespaces(above); record != nullptr;
             record = record->next) {
            set_context(record, nullptr);
        }
    }
}

bool declares_for_others(const xmlNode *element) noexcept {
    for (const xmlNs *record = declared_namespaces(element); record != nullptr;
         record = record->next) {
        if (context_of(record) != used_inside()) {
            return true;
        }
    }
    return false;
}

} // namespace pkg_dbe_xml
