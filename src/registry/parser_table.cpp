// The session's registry of parser objects.
#include "registry/parser_registry.hpp"

#include "error_reports.hpp"
#include "host/memory.hpp"
#include "host/table.hpp"
#include "host/usage.hpp"
#include "registry/dom_map.hpp"

#include <memory>
#include <new>
#include <type_traits>
#include <utility>

namespace pkg_dbe_xml {

namespace {

// A record as it is allocated.
struct record_with_log {
    XmlParserHashEntry parser; // the first member: its address is the whole's
    host::complaint_log complaints;
};
static_assert(std::is_standard_layout_v<record_with_log>);

} // namespace

host::complaint_log &complaints_of(XmlParserHashEntry &parser) noexcept {
    return reinterpret_cast<record_with_log &>(parser).complaints;
}

void let_go_of_document(XmlParserHashEntry &parser) noexcept {
    xml_doc_ptr document(std::exchange(parser.doc, nullptr));
    if (std::exchange(parser.docHandedOver, false)) {
        static_cast<void>(document.release()); // the registry of DOM handles owns it
    }
    if (parser.handed_to != nullptr) {
        unlink_parser(parser);
    }
}

void free_record(XmlParserHashEntry *parser) noexcept {
    leave_transaction(parser->lifetime);
    --host::counts.parsers;
    let_go_of_document(*parser);
    xmlFreeParserCtxt(parser->ctxt);
    complaints_of(*parser).forget();
    host::mmgr_free_with_fl(parser, __FILE__, __LINE__);
}

record_ptr make_record(xml_parser_ctxt_ptr context, bool validates) {
    void *memory =
        host::mmgr_memory_alloc_zero(host::u_sess.xmlparser_context, sizeof(record_with_log));
    record_ptr parser(&(new (memory) record_with_log{})->parser);
    parser->ctxt = context.release();
    parser->validates = validates;
    ++host::counts.parsers;
    return parser;
}

void xml_parser_init_hashtable() {
    host::session_state &session = host::u_sess;
    session.clean_up = xml_clean_all_res; // first: the rest may be left half made
    if (session.xmlparser_context == nullptr) {
        session.xmlparser_context = host::mmgr_memory_set_controller_create(
            host::session_memory_context(), "SessionXMLMemoryContext", 0, 8192, 8388608);
    }
    // A session has a handful of parsers; the table grows with them.
    constexpr std::size_t k_expected_parsers = 16;
    host::hash_control control{};
    control.key_size = k_key_size;
    control.entry_size = sizeof(parser_map_entry);
    control.hash = host::hashfn_tag_hash;
    control.context = session.xmlparser_context;
    session.xmlparser_map = host::hash_create_func("XMLPARSER map", k_expected_parsers, control);
}

namespace {

[[nodiscard]] host::hash_table *parser_map() {
    if (host::u_sess.xmlparser_map == nullptr) [[unlikely]] {
        xml_parser_init_hashtable();
    }
    return host::u_sess.xmlparser_map;
}

} // namespace

void require_parser_table() { static_cast<void>(parser_map()); }

parser_map_entry *xml_parser_insert_hashentry(const parser_key &key, XmlParserHashEntry *parser) {
    bool found = false;
    auto *entry = static_cast<parser_map_entry *>(
        host::hash_search(parser_map(), key.bytes.data(), host::hash_action::enter, &found));
    if (found) {
        report(reports::parser_exists);
    }
    entry->parser = parser;
    return entry;
}

parser_map_entry *xml_parser_get_hashentry(const parser_key &key) {
    return static_cast<parser_map_entry *>(
        host::hash_search(parser_map(), key.bytes.data(), host::hash_action::find, nullptr));
}

void xml_parser_delete_hashentry(const parser_key &key) {
    bool found = false;
    host::hash_search(parser_map(), key.bytes.data(), host::hash_action::remove, &found);
    if (!found) {
        report(reports::parser_not_found);
    }
}

void xml_parser_generate_key(std::uint32_t id, parser_key &key) {
    host::copy_bytes(key.bytes.data(), k_key_size, &id, sizeof id);
}

std::uint32_t xml_parser_get_next_id() noexcept {
    std::uint32_t &next = host::u_sess.next_parser_id;
    return next > k_last_parser_id ? next : next++;
}

std::uint32_t xml_parser_next_id() noexcept { return host::u_sess.next_parser_id; }

std::size_t xml_parser_release_since(std::uint32_t id) {
    if (host::u_sess.xmlparser_map == nullptr) {
        return 0;
    }
    std::size_t count = 0;
    for (; id < host::u_sess.next_parser_id && id <= k_last_parser_id; ++id) {
        parser_key key{};
        xml_parser_generate_key(id, key);
        if (const parser_map_entry *entry = xml_parser_get_hashentry(key)) {
            XmlParserHashEntry *parser = entry->parser;
            xml_parser_delete_hashentry(key);
            free_record(parser);
            ++count;
        }
    }
    return count;
}

void xml_parser_table_clean_res() noexcept {
    host::hash_table *table = std::exchange(host::u_sess.xmlparser_map, nullptr);
    if (table == nullptr) {
        return;
    }
    host::hash_walk walk{};
    host::hash_seq_init(walk, table);
    while (auto *entry = static_cast<parser_map_entry *>(host::hash_seq_search(walk))) {
        if (entry->parser != nullptr) {
            free_record(std::exchange(entry->parser, nullptr));
        }
    }
    host::hash_destroy(table);
}

} // namespace pkg_dbe_xml
