// The registry of DOM handles: keys, registration, release, identifiers, clean-up.
#include "error_reports.hpp"
#include "registry.hpp"
#include "registry/parser_registry.hpp"

#include "growing_array.hpp"
#include "host/usage.hpp"
#include "libxml/xml.hpp"
#include "registry/clean_up.hpp"
#include "registry/dom_map.hpp"

#include <ctime>
#include <limits>

namespace pkg_dbe_xml {
namespace {

constexpr std::uint32_t k_first_serial = 2;
constexpr std::size_t k_expected_documents = 1048575;
constexpr std::size_t k_expected_shared_documents = 1024;
constexpr std::size_t k_smallest_block = 0;
constexpr std::size_t k_first_block = 8192;
constexpr std::size_t k_largest_block = 8388608;

// What a missing key reads as.
constexpr std::uint32_t k_no_number = std::numeric_limits<std::uint32_t>::max();

constexpr std::size_t k_document_id_place = 0;
constexpr std::size_t k_node_id_place = 4;
constexpr std::size_t k_serial_place = 8;
constexpr std::size_t k_flag_place = 12;

// The serial that the next document gets. Reports numbers_used_up.
[[nodiscard]] std::uint32_t next_serial() {
    if (host::u_sess.next_serial == k_no_number) [[unlikely]] {
        report(reports::numbers_used_up, {"the documents of this session"});
    }
    return host::u_sess.next_serial;
}

// The session's registry, set up on first use.
[[nodiscard]] registry &ready_registry() {
    if (!host::u_sess.initialised) [[unlikely]] {
        xml_init_hashtable(XMLEntryType::dom_map);
    }
    return *current_registry();
}

[[nodiscard]] host::hash_table *make_table(const char *name, std::size_t expected,
                                           std::size_t key_size, std::size_t entry_size) {
    return host::hash_create_func(name, expected,
                                  {key_size, entry_size, host::hashfn_tag_hash,
                                   xml_dom_hash_key_cmp, host::u_sess.xmldom_context});
}

// A handle value, its key not written yet, with room for the whole head of an entry in its place.
[[nodiscard]] inline std::byte *handle_room() {
    static_assert(k_handle_room == host::k_long_header + sizeof(entry_head));
    auto *const value =
        asserted(static_cast<std::byte *>(host::allocate_result(k_handle_room)), k_no_result_room);
    host::set_total_size(reinterpret_cast<host::varlena *>(value), k_handle_size);
    return value;
}

// Registers a handle whose slot is known. A document handle takes its share of the document.
// Throws before anything has changed.
void register_entry(registry &state, document_entry &document, XMLHashEntry &slot,
                    const DomKey &key, void *object, const char *text, XMLDomNodeType kind) {
    bool is_own = false;
    if (object != nullptr && key.node_id() == 0) {
        is_own = find_own_entry(as_node(object)) == nullptr;
        family *owner = find_shared(state, object);
        if (owner == nullptr) {
            owner = &make_family(state, static_cast<xmlDocPtr>(object));
        }
        if (owner->shares == k_no_number) {
            report(reports::numbers_used_up, {"the handles of this document"});
        }
        ++owner->shares;
        if (document.owner != owner) {
            leave_family(document);
            join_family(*owner, document);
        }
    }
    fill_slot(state, slot, head_of(key.document_id(), key.node_id(), key.serial(), kind, is_own),
              object, text, kind);
}

// Milliseconds since 1970, to a few of them.
[[nodiscard]] std::int64_t now() noexcept {
    std::timespec time{};
    clock_gettime(CLOCK_REALTIME_COARSE, &time); // reads what the kernel has written anyway
    return static_cast<std::int64_t>(time.tv_sec) * 1000 + time.tv_nsec / 1'000'000;
}

// Takes a document id back if the registration of its document does not succeed.
class document_id_guard {
  public:
    explicit document_id_guard(registry &state)
        : state_(state), recycled_(state.recycled.count != 0), id_(xml_get_next_docid()) {}
    ~document_id_guard() {
        if (armed_) {
            drop_document(state_, *find_document(state_, id_));
            if (recycled_) {
                push_recycled_first(state_.recycled, id_);
            }
        }
    }
    document_id_guard(const document_id_guard &) = delete;
    document_id_guard &operator=(const document_id_guard &) = delete;
    [[nodiscard]] std::uint32_t id() const noexcept { return id_; }
    void keep() noexcept { armed_ = false; }

  private:
    registry &state_;
    bool recycled_;
    bool armed_ = true;
    std::uint32_t id_;
};

// Gives up the share of a document handle, whose name is gone already; it has it again when this
// fails. `is_own` as it was.
void release_share(XMLHashEntry &entry, bool is_own) {
    try {
        xml_domkeys_hash_decrease_key(&entry);
    } catch (...) {
        entry.is_own = is_own;
        add_name(entry);
        throw;
    }
}

// Lets an entry go of its object: its share, its name, its list.
void release_object(XMLHashEntry &entry) {
    if (entry.kind == XMLDomNodeType::node_list) {
        delete_list(entry);
        return;
    }
    const bool is_own = entry.is_own;
    remove_name(entry);
    if (entry.key.node_id() == 0) {
        release_share(entry, is_own);
    }
    entry.object = nullptr;
}

// The keys under which documents are registered: those whose serial is `first` or later, or all.
using document_keys = growing_array<DomKey, 32>;
void collect_documents(registry &state, const std::uint32_t *first, document_keys &keys) {
    keys.reserve(host::hash_get_num_entries(state.document_map)); // a walk must come to its end
    host::hash_walk walk;
    host::hash_seq_init(walk, state.document_map);
    while (auto *const document = static_cast<document_entry *>(host::hash_seq_search(walk))) {
        const XMLHashEntry *const own = document->pieces[0];
        if (own == nullptr || own->kind == XMLDomNodeType::none) {
            continue; // an id that was just taken
        }
        if (first == nullptr || own->key.serial() >= *first) {
            keys.push_back(own->key);
        }
    }
}

std::size_t release_documents(const std::uint32_t *first) {
    registry *const state = current_registry();
    if (state == nullptr || state->document_map == nullptr) {
        return 0;
    }
    document_keys keys;
    collect_documents(*state, first, keys);
    for (const DomKey &key : keys) {
        xml_release_document(key);
    }
    return keys.size();
}

// Ends every family, deletes every list and destroys the tables that were made.
void release_everything(registry &state) noexcept {
    free_resting(state, true);
    if (state.document_map != nullptr) {
        host::hash_walk walk;
        host::hash_seq_init(walk, state.document_map);
        while (auto *const document = static_cast<document_entry *>(host::hash_seq_search(walk))) {
            if (document->owner != nullptr) {
                end_family(state, *document->owner);
            }
            for_each_slot(*document, [](XMLHashEntry &entry) {
                if (entry.object != nullptr) {
                    delete_list(entry); // all else was let go of with its family
                }
            });
        }
        host::hash_destroy(state.document_map);
    }
    if (state.domkeys_map != nullptr) {
        host::hash_destroy(state.domkeys_map);
    }
}

} // namespace

// --- keys ---------------------------------------------------------------------------------------

void xml_dom_general_key(std::uint32_t document_id, std::uint32_t node_id, std::uint32_t serial,
                         DomKey &key) noexcept {
    std::memcpy(key.bytes.data() + k_document_id_place, &document_id, sizeof document_id);
    std::memcpy(key.bytes.data() + k_node_id_place, &node_id, sizeof node_id);
    std::memcpy(key.bytes.data() + k_serial_place, &serial, sizeof serial);
    key.bytes[k_flag_place] = std::byte{k_handle_flag};
}

std::uint32_t xml_getdom_docid(const DomKey *key) noexcept {
    return key == nullptr ? k_no_number : key->document_id();
}
std::uint32_t xml_getdom_nodeid(const DomKey *key) noexcept {
    return key == nullptr ? k_no_number : key->node_id();
}
std::uint32_t xml_getdom_sessionid(const DomKey *key) noexcept {
    return key == nullptr ? k_no_number : key->serial();
}

int xml_dom_hash_key_cmp(const void *left, const void *right, std::size_t size) {
    const auto *const left_bytes = static_cast<const std::uint8_t *>(left);
    const auto *const right_bytes = static_cast<const std::uint8_t *>(right);
    for (std::size_t index = 0; index < size; ++index) {
        if (left_bytes[index] != right_bytes[index]) {
            return left_bytes[index] - right_bytes[index];
        }
    }
    return 0;
}

host::datum get_datum_by_dom_key(const DomKey &key) {
    std::byte *const value = handle_room();
    std::memcpy(value + host::k_long_header, key.bytes.data(), k_key_size);
    return host::from_pointer(value);
}

DomKey check_raw_id_valid(host::datum value) {
    host::packed_room room;
    const host::varlena *const packed =
        asserted(host::pg_detoast_datum_packed(value, room), k_no_short_value);
    if (host::total_size(packed) != k_packed_handle_size || !host::has_short_header(packed)) {
        report(reports::handle_not_found);
    }
    DomKey key;
    std::memcpy(key.bytes.data(), host::payload(packed).data(), k_key_size);
    return key;
}

// --- registry -----------------------------------------------------------------------------------

void xml_init_hashtable(XMLEntryType /*type*/) {
    host::session_state &session = host::u_sess;
    session.clean_up = xml_clean_all_res; // first: the rest may be left half made
    if (session.xmldom_context == nullptr) {
        session.xmldom_context = host::mmgr_memory_set_controller_create(
            host::session_memory_context(), "SessionXMLDOMMemoryContext", k_smallest_block,
            k_first_block, k_largest_block);
    }
    if (session.registry == nullptr) {
        session.registry = host::mmgr_memory_alloc_zero(session.xmldom_context, sizeof(registry));
    }
    registry &state = *current_registry();
    if (state.dom_map == nullptr) {
        state.dom_map = host::mmgr_memory_set_controller_create(
            session.xmldom_context, "XMLDOM map", k_smallest_block, k_first_block, k_largest_block);
    }
    if (state.document_map == nullptr) {
        state.document_map = make_table("XMLDOM doc map", k_expected_documents,
                                        sizeof(std::uint32_t), sizeof(document_entry));
    }
    if (state.domkeys_map == nullptr) {
        state.domkeys_map = make_table("XMLDOM domKeys map", k_expected_shared_documents,
                                       sizeof(void *), sizeof(domkeys_entry));
    }
    if (session.next_serial == 0) {
        session.next_serial = k_first_serial;
    }
    session.initialised = true;
}

XMLHashEntry *xml_insert_hashentry(XMLEntryType /*type*/, const DomKey &key, void *object,
                                   const char *text, XMLDomNodeType kind) {
    registry &state = ready_registry();
    document_entry *const document = find_document(state, key.document_id());
    if (document == nullptr) {
        report(reports::handle_not_found);
    }
    if (find_entry(state, key) != nullptr) {
        report(reports::handle_exists);
    }
    XMLHashEntry &slot = slot_for_insert(state, *document, key.node_id());
    if (slot.kind != XMLDomNodeType::none) {
        report(reports::handle_exists);
    }
    register_entry(state, *document, slot, key, object, text, kind);
    return &slot;
}

XMLHashEntry *xml_find_hashentry(const DomKey &key) noexcept {
    registry *const state = current_registry();
    return state == nullptr ? nullptr : find_entry(*state, key);
}

XMLHashEntry *search_entry_or_null(const DomKey &key) {
    registry &state = ready_registry();
    XMLHashEntry *const entry = find_entry(state, key);
    if (entry != nullptr && entry != &state.released_entry) {
        recent_entry(state, key.node_id()) = entry;
    }
    return entry;
}

XMLHashEntry *search_entry(const DomKey &key) {
    XMLHashEntry *const entry = search_entry_or_null(key);
    if (entry == nullptr) {
        report(reports::handle_not_found);
    }
    return entry;
}

XMLHashEntry &find_handle(host::datum value) {
    return *xml_get_hashentry(XMLEntryType::dom_map, check_raw_id_valid(value));
}

void release_handle(XMLHashEntry &entry) { release_entry(entry); }

void xml_free_hashentry(XMLEntryType type, const DomKey &key) {
    release_entry(*xml_get_hashentry(type, key));
}

void release_list_or_document(XMLHashEntry &entry) {
    release_object(entry);
    settle_slot(entry, entry.key);
}

void xml_delete_hashentry(XMLEntryType type, const DomKey &key) {
    const DomKey own_key = key;
    xml_get_hashentry(type, own_key);
    registry &state = *current_registry();
    document_entry &document = *find_document(state, own_key.document_id());
    // Brings the entry back into memory if its page was given back.
    XMLHashEntry &entry = slot_for_insert(state, document, own_key.node_id());
    const bool was_settled = entry.object == nullptr;
    const bool names_node = entry.kind != XMLDomNodeType::node_list && own_key.node_id() != 0;
    xmlNodePtr const node = names_node ? as_node(entry.object) : nullptr;
    if (!was_settled) {
        release_object(entry);
    }
    empty_slot(state, document, entry, was_settled, true);
    if (node != nullptr && may_go(node)) {
        let_go(node);
    }
}

// --- identifiers --------------------------------------------------------------------------------

std::uint32_t xml_get_next_docid() {
    registry &state = ready_registry();
    reserve_recycled(state.recycled);
    if (state.recycled.count != 0) {
        const std::uint32_t document_id =
            state.recycled.ids[state.recycled.first]; // taken once its entry is made
        enter_document(state, document_id);
        return take_recycled(state.recycled);
    }
    std::uint32_t document_id = next_serial() - k_first_serial;
    // An id that was taken and has no document yet is passed over.
    while (find_document(state, document_id) != nullptr) {
        ++document_id;
    }
    enter_document(state, document_id);
    return document_id;
}

std::uint32_t xml_get_next_nodeid(std::uint32_t document_id) {
    document_entry *const document = find_document(ready_registry(), document_id);
    if (document == nullptr) {
        report(reports::invalid_document_id);
    }
    require_next_node_id(*document);
    const std::uint32_t node_id = next_node_id(*document);
    take_node_id(*document);
    return node_id;
}

std::uint32_t xml_current_serial() noexcept { return host::u_sess.next_serial; }

void xml_domkeys_hash_decrease_key(XMLHashEntry *entry) {
    if (entry == nullptr) {
        report(reports::null_entry);
    }
    if (entry->object == nullptr || entry->key.node_id() != 0) {
        return;
    }
    registry &state = ready_registry();
    family *const owner = find_shared(state, entry->object);
    if (owner == nullptr) {
        report(reports::dom_keys_not_found);
    }
    if (owner->shares == 1) {
        end_family_unless_stopped(state, *owner);
    } else {
        --owner->shares;
    }
}

void xml_dom_remove_doc_entry(std::uint32_t document_id) {
    registry &state = ready_registry();
    document_entry *const document = find_document(state, document_id);
    if (document == nullptr) {
        report(reports::handle_not_found);
    }
    drop_document(state, *document);
}

void xml_recycle_docid(std::uint32_t document_id) {
    registry &state = ready_registry();
    reserve_recycled(state.recycled);
    push_recycled(state.recycled, document_id);
}

void xml_release_document(const DomKey &key) {
    registry &state = ready_registry();
    if (find_entry(state, key) == nullptr) {
        return;
    }
    const std::uint32_t document_id = key.document_id();
    document_entry &document = *find_document(state, document_id);
    reserve_recycled(state.recycled);
    end_document_unless_stopped(state, document);
    push_recycled(state.recycled, document_id);
}

std::uint32_t xml_next_serial() {
    static_cast<void>(ready_registry());
    return host::u_sess.next_serial;
}

std::size_t xml_release_documents_since(std::uint32_t serial) { return release_documents(&serial); }

std::size_t xml_release_all_documents() { return release_documents(nullptr); }

std::size_t xml_count_hashentries() noexcept {
    const registry *const state = current_registry();
    return state == nullptr ? 0 : state->entry_count;
}

void xml_for_each_hashentry(void (*visit)(const XMLHashEntry &entry, void *state), void *state) {
    const registry *const session = current_registry();
    if (session == nullptr || session->document_map == nullptr) {
        return;
    }
    host::table_walk walk(session->document_map); // the visitor may throw
    while (void *const document = walk.next()) {
        for_each_slot(*static_cast<document_entry *>(document),
                      [visit, state](const XMLHashEntry &entry) {
                          if (entry.object != nullptr) {
                              visit(entry, state);
                          }
                      });
    }
}

// --- making handles -----------------------------------------------------------------------------

host::datum register_document(xmlDocPtr document) {
    registry &state = ready_registry();
    const std::uint32_t serial = next_serial();
    const host::subtransaction_number made_in = lifetime_of_new();
    document_id_guard id(state);
    DomKey key;
    xml_dom_general_key(id.id(), 0, serial, key);
    const host::datum value = get_datum_by_dom_key(key);
    xml_insert_hashentry(XMLEntryType::dom_map, key, document, "", XMLDomNodeType::document);
    document_entry &entry = *find_document(state, id.id());
    entry.made_at = now();
    join_transaction(entry.lifetime, made_in);
    id.keep();
    ++host::u_sess.next_serial;
    return value;
}

namespace {

// Registers a handle whose node id and slot are known, and writes it.
[[nodiscard]] inline host::datum finish_handle(registry &state, const document_entry &document,
                                               XMLHashEntry &slot, std::uint32_t node_id,
                                               std::uint32_t serial, void *object,
                                               XMLDomNodeType kind, std::byte *value) noexcept {
    const entry_head head = head_of(document.document_id, node_id, serial, kind);
    recent_entry(state, node_id) = &slot;
    std::memcpy(value + host::k_long_header, &head, sizeof head);
    fill_slot(state, slot, head, object, "", kind);
    return host::from_pointer(value);
}

// The document or the slot of its next node is not at hand. Apart from the short road, which has
// less to keep without it.
[[nodiscard, gnu::noinline]] host::datum mint_after_search(const XMLHashEntry &from,
                                                           std::uint32_t serial, void *object,
                                                           XMLDomNodeType kind, std::byte *value) {
    registry &state = *current_registry();
    document_entry &document = *find_document(state, from.key.document_id());
    XMLHashEntry &slot = slot_of_next_node(state, document);
    const std::uint32_t node_id = next_node_id(document);
    take_node_id(document);
    return finish_handle(state, document, slot, node_id, serial, object, kind, value);
}

} // namespace

template <XMLDomNodeType kind> host::datum mint_handle(const XMLHashEntry &from, void *object) {
    std::byte *const value = handle_room(); // first, when there is least to keep across the call
    registry &state = *current_registry();
    document_entry *const document = cached_document(state, from.key.document_id());
    if (document == nullptr || document->next_slot == nullptr) [[unlikely]] {
        return mint_after_search(from, from.key.serial(), object, kind, value);
    }
    const std::uint32_t node_id = document->next_node_id;
    XMLHashEntry &slot = *document->next_slot;
    take_fresh_node_id(*document);
    return finish_handle(state, *document, slot, node_id, from.key.serial(), object, kind, value);
}

template host::datum mint_handle<XMLDomNodeType::attribute>(const XMLHashEntry &, void *);
template host::datum mint_handle<XMLDomNodeType::element>(const XMLHashEntry &, void *);
template host::datum mint_handle<XMLDomNodeType::named_node_map>(const XMLHashEntry &, void *);
template host::datum mint_handle<XMLDomNodeType::node>(const XMLHashEntry &, void *);
template host::datum mint_handle<XMLDomNodeType::node_list>(const XMLHashEntry &, void *);
template host::datum mint_handle<XMLDomNodeType::text>(const XMLHashEntry &, void *);

host::datum mint_handle(const XMLHashEntry &from, std::uint32_t serial, void *object,
                        XMLDomNodeType kind) {
    return mint_after_search(from, serial, object, kind, handle_room());
}

// --- clean-up -----------------------------------------------------------------------------------

constinit PKG_DBE_XML_SESSION_STORAGE clean_up_step end_streams_of_session = nullptr;

extern "C" int xml_clean_all_res() {
    host::session_state &session = host::u_sess;
    if (end_streams_of_session != nullptr) {
        end_streams_of_session();
    }
    forget_transaction();
    session.before_call = nullptr;
    if (registry *const state = current_registry()) {
        release_everything(*state);
        host::counts.documents = 0;
        host::count_handle_bytes(-host::gate.handle_bytes); // they go with their context
        session.registry = nullptr;
        session.initialised = false;
    }
    if (session.xmlparser_map != nullptr) {
        xml_parser_table_clean_res();
    }
    if (session.xmlparser_context != nullptr) {
        host::mmgr_memory_controller_delete(session.xmlparser_context);
        session.xmlparser_context = nullptr;
    }
    if (session.xmldom_context != nullptr) {
        host::mmgr_memory_controller_delete(session.xmldom_context);
        session.xmldom_context = nullptr;
        session.path_cache = nullptr;
    }
    host::forget_abandoned();
    return 0;
}

} // namespace pkg_dbe_xml
