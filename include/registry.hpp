// The session's registry of DOM handles: which object a handle names, and who owns what.
//
// A handle is 13 bytes: document id, node id, serial, flag. Three tables stand behind it.
//   "XMLDOM map"        one XMLHashEntry per handle. Ids are small dense numbers, so the map is an
//                       index: pages of entries hang on the document id they belong to, and a
//                       look-up is two steps of an array and a comparison of the key.
//   "XMLDOM doc map"    one document_entry per document id: its node ids and its pages.
//   "XMLDOM domKeys map" one domkeys_entry per libxml2 document that handles share.
//
// Lifetimes. A family is one libxml2 document, the copies of documents imported into it, the
// document ids that name it and the detached nodes it keeps for those who still name them. A node
// never leaves its family. A family ends when its last document handle is released; then every
// handle into it keeps its entry and names nothing, and lists into it become empty.
//
// Documents and parsers made while the session's setting says so end with the transaction that made
// them, or sooner: src/registry/lifetimes.cpp.
//
// Every libxml2 node knows who names it: `_private` heads the chain of the entries whose object it
// is (a map handle chains on its first attribute), and `extra` counts the live lists that hold it.
// A tree that stands in no document is kept while any of its nodes is named or listed, and freed
// with the last of them: src/registry/kept_trees.cpp.
#pragma once

#include "host/call.hpp"
#include "host/session.hpp"
#include "host/text.hpp"
#include "host/transaction.hpp"
#include "tree/typed_access.hpp"
#include "xml_owner.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace pkg_dbe_xml {

// --- keys -------------------------------------------------------------------------------------

inline constexpr std::size_t k_key_size = 13;
// Stored size of a handle in the short form, header included.
inline constexpr std::size_t k_packed_handle_size = 14;
// Size of a handle as it is returned, with a four-byte header.
inline constexpr std::size_t k_handle_size = 17;
// What is allocated for it: the head of its entry is written in one go.
inline constexpr std::size_t k_handle_room = 20;

// No handle has this node id.
inline constexpr std::uint32_t k_no_node_id = 0xFFFFFFFFU;
// The last byte of every handle.
inline constexpr std::uint8_t k_handle_flag = 1;

// The 13 bytes of a handle, integers in the machine's byte order:
// document id (0-3), node id (4-7; 0 is the document itself), serial (8-11), flag 1 (12).
struct DomKey {
    std::array<std::byte, k_key_size> bytes;
    // Two words that overlap: every call compares a key.
    bool operator==(const DomKey &other) const noexcept {
        return word(0) == other.word(0) && word(k_key_size - 8) == other.word(k_key_size - 8);
    }

    [[nodiscard]] std::uint32_t document_id() const noexcept { return number(0); }
    [[nodiscard]] std::uint32_t node_id() const noexcept { return number(4); }
    [[nodiscard]] std::uint32_t serial() const noexcept { return number(8); }

  private:
    [[nodiscard]] std::uint32_t number(std::size_t place) const noexcept {
        std::uint32_t value = 0;
        std::memcpy(&value, bytes.data() + place, sizeof value);
        return value;
    }
    [[nodiscard]] std::uint64_t word(std::size_t place) const noexcept {
        std::uint64_t value = 0;
        std::memcpy(&value, bytes.data() + place, sizeof value);
        return value;
    }
};

void xml_dom_general_key(std::uint32_t document_id, std::uint32_t node_id, std::uint32_t serial,
                         DomKey &key) noexcept;
// A null key gives 0xFFFFFFFF.
[[nodiscard]] std::uint32_t xml_getdom_docid(const DomKey *key) noexcept;
[[nodiscard]] std::uint32_t xml_getdom_nodeid(const DomKey *key) noexcept;
[[nodiscard]] std::uint32_t xml_getdom_sessionid(const DomKey *key) noexcept;
// Like a comparison of memory: 0, or the difference of the first bytes that differ.
[[nodiscard]] int xml_dom_hash_key_cmp(const void *left, const void *right, std::size_t size);
// A handle value (17 bytes) in the caller's context. Throws when memory runs out.
[[nodiscard]] host::datum get_datum_by_dom_key(const DomKey &key);

// Reads a handle argument, whichever header form it has; reports handle_not_found unless it carries
// exactly 13 bytes.
[[nodiscard]] DomKey check_raw_id_valid(host::datum value);

// --- entries ----------------------------------------------------------------------------------

enum class XMLEntryType : std::uint8_t { dom_map = 1 };

// What a handle names.
enum class XMLDomNodeType : std::uint8_t {
    none = 0, // no handle: the slot is empty
    attribute = 1,
    document = 5,
    element = 8,
    named_node_map = 12, // the object is the element's first attribute; of an own map the element
    node = 13,
    node_list = 14, // the object is an xmlList of nodes, or the array of the members
    text = 17
};

struct XMLHashEntry {
    DomKey key;
    XMLEntryType type;
    XMLDomNodeType kind;
    bool is_own;  // the own handle of its object, or the own map of that element; see own_handle
    void *object; // null once the handle was released, or its family ended
    const char *text; // supplied by the maker; "" everywhere
    union {
        struct { // every kind but node_list, while the object is not null
            XMLHashEntry *next;
            XMLHashEntry *previous;
        } names;               // the entries that name the same node
        struct {               // node_list
            xmlNodePtr *index; // the members in order; of an xmlList null until first read
            std::size_t size;
        } members;
    };
};
static_assert(sizeof(XMLHashEntry) == 48, "one entry per live handle: keep it lean");

// An entry of a page whose handles are all released is given back in a shared scratch record: read
// it before the next look-up.

struct family;
struct XmlParserHashEntry;

// A document id or a parser in the list of what ends with the transaction, newest first.
struct transaction_member {
    host::subtransaction_number made_in; // k_no_subtransaction: lives as long as the session, and
    bool is_parser;                      // stands in no list
    transaction_member *older;
    transaction_member *newer;
};

struct entry_page; // 256 entries, src/registry/dom_map.cpp

// "XMLDOM doc map": one per document id.
struct document_entry {
    std::uint32_t document_id; // the key
    std::uint32_t next_node_id;
    std::uint32_t first_freed;   // node ids to hand out again, first in first out; chained through
    std::uint32_t last_freed;    // their empty slots; 0 ends the chain
    std::uint32_t page_capacity; // of `pages`
    XMLHashEntry *next_slot;     // of `next_node_id`; null when it is to be looked up, and while
                                 // there are freed ids
    XMLHashEntry *last_slot;     // that lies side by side with `next_slot`
    XMLHashEntry *pieces[3];     // node ids 0-7, 8-39, 40-255
    std::uintptr_t *pages;       // node ids from 256 on; see src/registry/dom_map.cpp
    family *owner;               // null while no document is alive under the id
    document_entry *next_in_family;
    document_entry *previous_in_family;
    std::int64_t made_at; // milliseconds since 1970, UTC
    transaction_member lifetime;
};

// Nodes or documents kept by a family.
template <class Object> struct kept_objects {
    Object *objects;
    std::size_t count;
    std::size_t capacity;
};

struct id_table;        // src/edit/id_lookup.cpp
struct resting_handles; // src/registry/resting_families.cpp

struct family {
    xmlDocPtr main;       // null for a family of nodes whose document was released before them
    std::uint32_t shares; // document handles (node id 0) that name `main`
    bool has_detached;    // there is, or was, a detached tree; never taken back
    document_entry *ids;  // the document ids that belong to the family
    kept_objects<xmlDocPtr> copies; // documents imported into it
    xmlNsPtr namespaces;            // of freed trees, that nodes elsewhere may use
    xmlNodePtr remains;             // of trees that a call had no time to free, chained by `next`
    XmlParserHashEntry *parsers;    // parser objects that handed `main` over and still name it
    id_table *ids_by_value;         // the IDs of one of its documents, or null; host memory
    resting_handles *handles;       // that are still to be freed, of a family that has ended
    xmlNodePtr trees;               // the same of detached trees
    family *next_resting;
};

// "XMLDOM domKeys map"
struct domkeys_entry {
    void *document; // the key
    family *shared;
};

// A parser object (src/functions/pkg_xml_parser.cpp); here because a family clears those that name
// it.
struct XmlParserHashEntry {
    xmlParserCtxtPtr ctxt; // owned
    xmlDocPtr doc;         // the last document parsed; owned until it is handed over
    bool docHandedOver;
    bool validates;    // validation mode, for the next parse
    family *handed_to; // the family that names this record while docHandedOver and doc
    XmlParserHashEntry *next_in_family;
    XmlParserHashEntry *previous_in_family;
    std::uint32_t id; // the number in its handle
    transaction_member lifetime;
};

// --- registry operations ----------------------------------------------------------------------

// Makes whatever the session's registry lacks; called by the others when it is needed. Throws when
// memory runs out, and can then be called again.
void xml_init_hashtable(XMLEntryType type);

// Registers a handle. A document handle (node id 0) takes a share of its document, and makes the
// family when it is the first. Reports handle_exists, and handle_not_found for a document id that
// was not given out. Throws before anything has changed.
XMLHashEntry *xml_insert_hashentry(XMLEntryType type, const DomKey &key, void *object,
                                   const char *text, XMLDomNodeType kind);
// The entry of a key, wherever it is; reports handle_not_found.
[[nodiscard]] XMLHashEntry *search_entry(const DomKey &key);
// The same without a report: null when there is none.
[[nodiscard]] XMLHashEntry *search_entry_or_null(const DomKey &key);

// The entries made or found last, by the low bits of the node id; the registry of the session
// begins with them. None of them is empty.
inline constexpr std::size_t k_recent_entries = 32;
struct recent_entries {
    XMLHashEntry *entries[k_recent_entries];
};

// The entry of a handle where it is one of these, null else.
[[nodiscard]] inline XMLHashEntry *find_recent_entry(const DomKey &key) noexcept {
    if (const void *const registry = host::u_sess.registry) [[likely]] {
        XMLHashEntry *const recent = static_cast<const recent_entries *>(registry)
                                         ->entries[key.node_id() % k_recent_entries];
        if (recent != nullptr && recent->key == key) [[likely]] {
            return recent;
        }
    }
    return nullptr;
}
// The entry of a handle; reports handle_not_found. The object may be null. It is one of the last
// in nearly every call.
inline XMLHashEntry *xml_get_hashentry(XMLEntryType /*type*/, const DomKey &key) {
    XMLHashEntry *const recent = find_recent_entry(key);
    return recent != nullptr ? recent : search_entry(key);
}
// The same without a report: null when there is none.
[[nodiscard]] inline XMLHashEntry *look_up_handle(const DomKey &key) {
    XMLHashEntry *const recent = find_recent_entry(key);
    return recent != nullptr ? recent : search_entry_or_null(key);
}
// The entry of a handle value in whatever form; reports handle_not_found.
[[nodiscard]] XMLHashEntry &find_handle(host::datum value);
// The same of a key and without a report: null when there is none.
XMLHashEntry *xml_find_hashentry(const DomKey &key) noexcept;
// The handle lets go of its object and goes on naming nothing. Of a document handle this gives up
// the share, which may end the family. Reports handle_not_found.
void xml_free_hashentry(XMLEntryType type, const DomKey &key);
// The same for an entry at hand. It may be given back with its page: do not read it afterwards.
void release_handle(XMLHashEntry &entry);
// Removes the handle; its node id will be handed out again. Reports handle_not_found.
void xml_delete_hashentry(XMLEntryType type, const DomKey &key);

// A document id, fresh or recycled, with its entry in the doc map. Reports numbers_used_up, and
// throws when memory runs out.
[[nodiscard]] std::uint32_t xml_get_next_docid();
// A node id of the document; reports invalid_document_id and numbers_used_up.
[[nodiscard]] std::uint32_t xml_get_next_nodeid(std::uint32_t document_id);
// The session's serial counter as it stands; it goes on when the registry is cleaned up, so that a
// handle never names a document of somebody later.
[[nodiscard]] std::uint32_t xml_current_serial() noexcept;
// Gives up the share that a document handle has in its document; entries of other handles and
// entries without an object are left alone. Reports null_entry and dom_keys_not_found.
void xml_domkeys_hash_decrease_key(XMLHashEntry *entry);
// Drops a document id and every entry still under it, without recycling the id. Reports
// handle_not_found.
void xml_dom_remove_doc_entry(std::uint32_t document_id);
// Puts a document id at the end of those to be handed out again. Throws before it changes anything.
void xml_recycle_docid(std::uint32_t document_id);

// The subtransaction with which a document or parser that is made now ends; k_no_subtransaction
// when that is the session. Throws when memory runs out, and can then be called again.
[[nodiscard]] host::subtransaction_number lifetime_of_new();

// Everything that xml_dom_free_document does for a registered handle; unknown keys are ignored.
void xml_release_document(const DomKey &key);

// The serial that the next document will get.
[[nodiscard]] std::uint32_t xml_next_serial();
// Releases every document id whose document got this serial or a later one, as
// xml_release_document does; returns their number. Throws when memory runs out; can then be called
// again.
std::size_t xml_release_documents_since(std::uint32_t serial);
// The same for every document id of the session.
std::size_t xml_release_all_documents();

// Number of handles of every kind, released ones included.
[[nodiscard]] std::size_t xml_count_hashentries() noexcept;
// Bytes that the handles of an entry's document id take.
[[nodiscard]] std::size_t handle_bytes_of(const XMLHashEntry &entry) noexcept;
// Calls `visit` for each entry of the session that names something. The visitor must not change the
// registry.
void xml_for_each_hashentry(void (*visit)(const XMLHashEntry &entry, void *state), void *state);

// Frees everything the session made, parsers included, and forgets it. Returns 0; does nothing when
// there is nothing. Exported: the host calls it when the session ends or is reset, and never while
// a call is in progress.
extern "C" PKG_DBE_XML_EXPORT int xml_clean_all_res();

// --- making handles ---------------------------------------------------------------------------

// A handle of a new document: a document id, the next serial, a share. The registry owns the
// document from here on; when this throws, the caller still owns it. Reports numbers_used_up.
[[nodiscard]] host::datum register_document(xmlDocPtr document);
// A new handle for `object` under document id and serial of `from`. Throws before anything has
// changed; reports numbers_used_up. For a list the registry owns it from here on. There is one for
// each kind but document.
template <XMLDomNodeType kind>
[[nodiscard]] host::datum mint_handle(const XMLHashEntry &from, void *object);
// The same of a kind that is not known before, or with a serial of the caller's.
[[nodiscard]] host::datum mint_handle(const XMLHashEntry &from, std::uint32_t serial, void *object,
                                      XMLDomNodeType kind);

// --- own handles ------------------------------------------------------------------------------
//
// The packages know a node by one handle, its own: they hand out the same 13 bytes for it again and
// again. It stands at the head of the chain of the node's names, in front of whatever other handles
// name the node, so that it is found at once however many these are. An element can have an own map
// of its attributes too, which stands behind its own handle.

// The kind of a node's own handle. CDATA sections, comments and all others are plain nodes.
[[nodiscard]] constexpr XMLDomNodeType own_kind(xmlElementType type) noexcept {
    switch (type) {
    case XML_DOCUMENT_NODE:
        return XMLDomNodeType::document;
    case XML_ELEMENT_NODE:
        return XMLDomNodeType::element;
    case XML_ATTRIBUTE_NODE:
        return XMLDomNodeType::attribute;
    case XML_TEXT_NODE:
        return XMLDomNodeType::text;
    default:
        return XMLDomNodeType::node;
    }
}
[[nodiscard]] inline XMLDomNodeType own_kind(const xmlNode *node) noexcept {
    return own_kind(node->type);
}

// The own handle of a node of the family of `from`, made under document id and serial of `from`
// when the node has none; a value in the caller's context. The own handle of a family's document is
// one of those that have a share in it. Throws before anything has changed.
[[nodiscard]] host::datum own_handle(const XMLHashEntry &from, xmlNodePtr node);
// The same for a node that was just made, which has none.
[[nodiscard]] host::datum own_handle_of_new(const XMLHashEntry &from, xmlNodePtr node);
// The same for the map of an element's attributes; its object is the element, so it holds the
// attributes that there are whenever it is read.
[[nodiscard]] host::datum own_map(const XMLHashEntry &from, xmlNodePtr element);
// The entry of the own handle, made when there is none. Throws before anything has changed. Good
// until the next handle is released.
[[nodiscard]] XMLHashEntry &own_entry(const XMLHashEntry &from, xmlNodePtr node);
// The entry of a node's own handle, null when it has none.
[[nodiscard]] XMLHashEntry *find_own_entry(const xmlNode *node) noexcept;
// A handle value (17 bytes, room for k_handle_room) written to `room`.
void write_handle(const XMLHashEntry &entry, std::byte *room) noexcept;

// --- lists ------------------------------------------------------------------------------------

// Number of members of a node list (kind node_list, object not null).
[[nodiscard]] std::size_t list_size(const XMLHashEntry &entry) noexcept;
// Member `index`, null beyond the end. All members by index cost linear time in all. Throws when
// memory runs out.
[[nodiscard]] xmlNodePtr list_member(XMLHashEntry &entry, std::size_t index);
// Deletes the list of a node_list entry and its index; the entry's object becomes null.
void delete_list(XMLHashEntry &entry) noexcept;

// --- names and lifetimes ----------------------------------------------------------------------

// The first entry that names the node (follow names.next), null when none does. The own handle
// comes first, then the own map.
[[nodiscard]] XMLHashEntry *first_name(const xmlNode *node) noexcept;
// True when an entry names `node` or a live list holds it.
[[nodiscard]] bool is_kept(const xmlNode *node) noexcept;

// The family of a handle's document id, making an empty one when its document is gone. Throws when
// memory runs out.
[[nodiscard]] family &family_of(const XMLHashEntry &entry);
// The same without making one: null.
[[nodiscard]] family *find_family(const XMLHashEntry &entry) noexcept;

// Takes a node that is named or about to be out of its tree, for another place or for none. What it
// leaves is freed if that was a detached tree kept for what is leaving.
void unlink_node(xmlNodePtr node) noexcept;
// The same for a node that uses no namespace declared above it, or will use none.
void unlink_fitted_node(xmlNodePtr node) noexcept;
// Takes a node out of use: unlinks it, and frees it with all below it, at once or when none of it
// is kept any more.
void retire(family &owner, xmlNodePtr node) noexcept;
// Takes a tree out of use, wherever it stands: from now on its handles name nothing; lists that
// hold nodes of it go on to. Never throws.
void retire_with_names(family &owner, xmlNodePtr top) noexcept;
// Retires each child of a node (the old content of an attribute, say).
void retire_children(family &owner, xmlNodePtr parent) noexcept;
// Drops every entry that names `node` from the map: such handles are unknown from now on. Their
// node ids are not handed out again. The node is retired next.
void drop_names(xmlNodePtr node) noexcept;
// The family owns the copy of a document from here on. Throws before; the caller then still owns
// it.
void adopt_copy(family &owner, xml_doc_ptr &copy);

// A parser object has handed its document over to `owner` and goes on naming it, until either
// ends.
void link_parser(family &owner, XmlParserHashEntry &parser) noexcept;
void unlink_parser(XmlParserHashEntry &parser) noexcept;

} // namespace pkg_dbe_xml
