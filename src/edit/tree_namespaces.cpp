// Namespace records that no element declares: one for each document, URI and prefix.
//
// They hang on the document behind its record for "xml", which libxml2 takes to be the first.

#include "edit/tree_namespaces.hpp"

#include "error_reports.hpp"
#include "libxml/xml.hpp"
#include "registry/family_waste.hpp"
#include "tree/text_compare.hpp"
#include "tree/typed_access.hpp"
#include "xml_owner.hpp"

namespace pkg_dbe_xml {

xmlNsPtr xml_namespace(xmlDocPtr document) {
    if (document->oldNs != nullptr) {
        return document->oldNs; // what libxml2 would find
    }
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
        if (same_or_absent(record->href, uri) && same_or_absent(record->prefix, prefix)) {
            // To the front: programs use one URI many times over.
            before->next = record->next;
            record->next = first->next;
            first->next = record;
            return record;
        }
        before = record;
    }
    return add_shared_namespace(document, uri, prefix);
}

xmlNsPtr add_shared_namespace(xmlDocPtr document, const xmlChar *uri, const xmlChar *prefix) {
    xmlNsPtr const first = xml_namespace(document);
    const host::tree_scope scope;
    xml_ns_ptr made(xmlNewNs(nullptr, uri, prefix));
    if (made == nullptr || scope.refused()) {
        report(reports::out_of_memory);
    }
    count_namespace_of(document);
    made->next = first->next;
    first->next = made.get();
    return made.release();
}

} // namespace pkg_dbe_xml
