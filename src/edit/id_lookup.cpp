// The table of a document's IDs: open addressing in one block of host memory, which the family
// frees.

#include "edit/id_lookup.hpp"

#include "edit/place.hpp"
#include "host/error.hpp"
#include "host/memory.hpp"
#include "host/session.hpp"
#include "tree/id_attributes.hpp"
#include "tree/node_text.hpp"
#include "tree/poll_counter.hpp"
#include "tree/text_compare.hpp"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace pkg_dbe_xml {

struct id_table {
    const xmlDoc *document;
    std::uint64_t made_at; // `id_changes` then
    std::size_t mask;      // number of slots, a power of two, less one
    struct slot {
        std::uint64_t hash;
        const xmlAttr *attribute; // null: empty
    } slots[1];
};

namespace {

[[nodiscard]] std::uint64_t hash_of(const xmlChar *text) noexcept {
    std::uint64_t hash = 1469598103934665603U;
    for (; *text != 0; ++text) {
        hash = (hash ^ *text) * 1099511628211U;
    }
    return hash ^ (hash >> 32U);
}

[[nodiscard]] const xmlChar *value_of(const xmlAttr *attribute, text_room &room) {
    return node_text(reinterpret_cast<const xmlNode *>(attribute), room).bytes;
}

// Calls `visit` for every ID attribute in the document.
template <class Visit> void for_each_id(xmlDocPtr document, Visit visit) {
    poll_counter poll;
    xmlNodePtr const top = as_node(document);
    for (xmlNodePtr node = top; node != nullptr; node = next_changeable(node, top)) {
        poll.step();
        for (const xmlAttr *attribute = first_attribute(node); attribute != nullptr;
             attribute = attribute->next) {
            if (is_id_attribute(attribute)) {
                visit(attribute);
            }
        }
    }
}

// The slot of an ID, an empty one when the table does not hold it.
[[nodiscard]] id_table::slot &find_slot(id_table &table, const xmlChar *id, std::uint64_t hash) {
    for (std::size_t place = hash & table.mask;; place = (place + 1) & table.mask) {
        id_table::slot &slot = table.slots[place];
        if (slot.attribute == nullptr) {
            return slot;
        }
        if (slot.hash == hash) {
            text_room room;
            if (same_or_absent(value_of(slot.attribute, room), id)) {
                return slot;
            }
        }
    }
}

void free_memory(void *memory) noexcept { host::mmgr_free_with_fl(memory, __FILE__, __LINE__); }

[[nodiscard]] id_table &make_table(family &owner, xmlDocPtr document) {
    std::size_t count = 0;
    for_each_id(document, [&count](const xmlAttr *) { ++count; });
    const std::size_t slots = std::bit_ceil(2 * count + 2);
    std::unique_ptr<id_table, host::memory_deleter> table(
        static_cast<id_table *>(host::mmgr_memory_alloc_huge(
            host::u_sess.xmldom_context, sizeof(id_table) + slots * sizeof(id_table::slot))));
    std::memset(static_cast<void *>(table->slots), 0, slots * sizeof(id_table::slot));
    table->document = document;
    table->made_at = id_changes;
    table->mask = slots - 1;
    for_each_id(document, [&table](const xmlAttr *attribute) {
        text_room room;
        const xmlChar *const id = value_of(attribute, room);
        const std::uint64_t hash = hash_of(id);
        if (id_table::slot &slot = find_slot(*table, id, hash); slot.attribute == nullptr) {
            slot = {hash, attribute};
        }
    });
    free_memory(owner.ids_by_value);
    owner.ids_by_value = table.release();
    ids_are_kept = true;
    return *owner.ids_by_value;
}

} // namespace

xmlNodePtr element_with_id(family &owner, xmlDocPtr document, const xmlChar *id) {
    id_table *table = owner.ids_by_value;
    if (table == nullptr || table->document != document || table->made_at != id_changes) {
        table = &make_table(owner, document);
    }
    const xmlAttr *const found = find_slot(*table, id, hash_of(id)).attribute;
    return found == nullptr ? nullptr : found->parent;
}

void make_id(xmlAttrPtr attribute, bool is_id) noexcept {
    forget_ids();
    forget_parsed_id(attribute);
    attribute->atype = is_id ? XML_ATTRIBUTE_ID : XML_ATTRIBUTE_CDATA;
}

} // namespace pkg_dbe_xml
