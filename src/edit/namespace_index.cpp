// See namespace_index.hpp.

#include "edit/namespace_index.hpp"

#include "edit/tree_namespaces.hpp"
#include "error_reports.hpp"
#include "libxml/xml.hpp"
#include "tree/text_compare.hpp"

namespace pkg_dbe_xml {

namespace {

// Up to so many are looked through.
constexpr std::size_t k_few = 16;
// Places that a table begins with; it grows by itself. libxml2's own 256 cost a copy of five
// elements as much as all the rest of it.
constexpr int k_first_room = 8;

// A hash table has no place for a null; no prefix is empty.
[[nodiscard]] const xmlChar *key_of(const xmlChar *prefix) noexcept {
    return prefix == nullptr ? reinterpret_cast<const xmlChar *>("") : prefix;
}

} // namespace

void declared_prefixes::begin(const xmlNode *element) {
    element_ = element;
    last_ = nullptr;
    count_ = 0;
    by_prefix_.reset();
}

// The first record of a prefix counts, as it does for libxml2.
void declared_prefixes::enter(xmlNsPtr record) {
    xmlHashAddEntry(by_prefix_.get(), key_of(record->prefix), record);
}

xmlNsPtr declared_prefixes::find(const xmlNode *element, const xmlChar *prefix) {
    if (element != element_) {
        begin(element);
    }
    // Declarations that were added since the last look-up come behind those that were known.
    xmlNsPtr record = last_ == nullptr ? element->nsDef : last_->next;
    for (; record != nullptr; record = record->next) {
        last_ = record;
        if (++count_ > k_few && by_prefix_ == nullptr) {
            by_prefix_.reset(xmlHashCreate(k_first_room));
            for (xmlNsPtr known = element->nsDef; known != record; known = known->next) {
                enter(known);
            }
        }
        if (by_prefix_ != nullptr) {
            enter(record);
        }
    }
    if (by_prefix_ != nullptr) {
        return static_cast<xmlNsPtr>(xmlHashLookup(by_prefix_.get(), key_of(prefix)));
    }
    for (record = element->nsDef; record != nullptr; record = record->next) {
        if (same_or_absent(record->prefix, prefix)) {
            return record;
        }
    }
    return nullptr;
}

void declared_prefixes::append(xmlNodePtr element, xmlNsPtr record) {
    if (element != element_) {
        begin(element);
    }
    xmlNsPtr last = last_ == nullptr ? element->nsDef : last_;
    while (last != nullptr && last->next != nullptr) {
        last = last->next;
    }
    (last == nullptr ? element->nsDef : last->next) = record;
}

void kept_namespaces::enter(xmlNsPtr record) {
    if (record->href != nullptr) {
        xmlHashAddEntry2(by_uri_.get(), record->href, key_of(record->prefix), record);
    }
}

xmlNsPtr kept_namespaces::get(xmlDocPtr document, const xmlChar *uri, const xmlChar *prefix) {
    if (uri == nullptr) {
        return shared_namespace(document, uri, prefix);
    }
    const host::tree_scope scope;
    if (by_uri_ == nullptr) {
        by_uri_.reset(xmlHashCreate(k_first_room));
        for (xmlNsPtr record = xml_namespace(document)->next; record != nullptr;
             record = record->next) {
            enter(record);
        }
    }
    void *const known = xmlHashLookup2(by_uri_.get(), uri, key_of(prefix));
    if (known != nullptr) {
        return static_cast<xmlNsPtr>(known);
    }
    xmlNsPtr const made = add_shared_namespace(document, uri, prefix);
    enter(made);
    if (scope.refused()) {
        report(reports::out_of_memory);
    }
    return made;
}

} // namespace pkg_dbe_xml
