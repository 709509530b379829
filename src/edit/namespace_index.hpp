// Finding namespace records by what they say, in a time that does not grow with their number.
//
// An element with twenty thousand attributes in as many namespaces is copied in a fraction of a
// second by these, and in many by going through the records for each.
#pragma once

#include "xml_owner.hpp"

#include <libxml/hash.h>
#include <libxml/tree.h>

#include <cstddef>
#include <memory>

namespace pkg_dbe_xml {

struct hash_deleter {
    void operator()(xmlHashTablePtr table) const noexcept { xmlHashFree(table, nullptr); }
};
using xml_hash_ptr = std::unique_ptr<xmlHashTable, hash_deleter>;

// What one element declares, while it is the only one that adds to it. To be used within a scope;
// memory that cannot be had is the scope's to tell.
class declared_prefixes {
  public:
    // Its first declaration of a prefix, which may be null; null when there is none.
    [[nodiscard]] xmlNsPtr find(const xmlNode *element, const xmlChar *prefix);
    // Puts a record behind those that the element of the last `find` declares.
    void append(xmlNodePtr element, xmlNsPtr record);

  private:
    void begin(const xmlNode *element);
    void enter(xmlNsPtr record);

    const xmlNode *element_ = nullptr;
    xmlNsPtr last_ = nullptr; // of its declarations that were looked at
    std::size_t count_ = 0;
    xml_hash_ptr by_prefix_; // null while there are few
};

// The records that a document keeps for namespaces no element declares, for many look-ups in a row.
class kept_namespaces {
  public:
    // The same as shared_namespace (edit/tree_namespaces.hpp). The document is always the same one,
    // and nobody else adds to its records meanwhile. Reports out_of_memory.
    [[nodiscard]] xmlNsPtr get(xmlDocPtr document, const xmlChar *uri, const xmlChar *prefix);

  private:
    void enter(xmlNsPtr record);

    xml_hash_ptr by_uri_;
};

} // namespace pkg_dbe_xml
