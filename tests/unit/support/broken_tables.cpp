// Breaking a session's registry by hand.
#include "support/broken_tables.hpp"

#include "registry/dom_map.hpp"

#include <gtest/gtest.h>

namespace sql {

using pkg_dbe_xml::current_registry;
using pkg_dbe_xml::domkeys_entry;

namespace {

domkeys_entry *key_entry(void *document, host::hash_action action) {
    return static_cast<domkeys_entry *>(host::hash_search(
        current_registry()->domkeys_map, static_cast<const void *>(&document), action, nullptr));
}

} // namespace

lost_document::lost_document(void *document) : document_(document), shared_(nullptr) {
    domkeys_entry *const entry = key_entry(document, host::hash_action::find);
    if (entry == nullptr) {
        ADD_FAILURE() << "no handle shares this document";
        return;
    }
    shared_ = entry->shared;
    key_entry(document, host::hash_action::remove);
}

lost_document::~lost_document() {
    if (shared_ != nullptr) {
        key_entry(document_, host::hash_action::enter)->shared =
            static_cast<pkg_dbe_xml::family *>(shared_);
    }
}

void set_serial_counter(std::uint32_t serial) { host::u_sess.next_serial = serial; }

std::size_t &handle_count() { return current_registry()->entry_count; }

pkg_dbe_xml::XMLHashEntry *&recent_entry(std::uint32_t node_id) {
    return pkg_dbe_xml::recent_entry(*pkg_dbe_xml::current_registry(), node_id);
}

} // namespace sql
