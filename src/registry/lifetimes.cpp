// What ends with its transaction: documents and parsers made while the session's setting said so.
//
// They stand in one list, newest first, each with the number of the subtransaction that made it.
// When a subtransaction is rolled back, what it made and what those within it made are at the
// head, for nothing else was made meanwhile; at the end of the transaction all of them are. So an
// end takes from the head while the numbers are high enough, and costs nothing where there is none.
//
// Nothing here raises or allocates: the host calls when its transaction is gone.
#include "registry/lifetimes.hpp"

#include "registry/dom_map.hpp"
#include "registry/parser_registry.hpp"

#include "host/lifetime.hpp"
#include "host/usage.hpp"
#include "libxml/xml.hpp"

#include <cstddef>
#include <utility>

namespace host {

constinit PKG_DBE_XML_SESSION_STORAGE int lifetime_setting = static_cast<int>(lifetime::session);
constinit PKG_DBE_XML_SESSION_STORAGE object_counts counts{};

} // namespace host

namespace pkg_dbe_xml {
namespace {

constinit PKG_DBE_XML_SESSION_STORAGE transaction_member *newest = nullptr;

// The record that a member stands in.
template <class Record> [[nodiscard]] Record &record_of(transaction_member &member) noexcept {
    return *reinterpret_cast<Record *>(reinterpret_cast<std::byte *>(&member) -
                                       offsetof(Record, lifetime));
}

// Whether the document's own handle (node id 0) still names the document.
[[nodiscard]] bool holds_share(const document_entry &document) noexcept {
    const XMLHashEntry *const own = document.pieces[0];
    return own != nullptr && own->kind != XMLDomNodeType::none && own->object != nullptr;
}

// The id is handed out again if that needs no memory; else it stays unused.
void end_and_recycle(registry &state, document_entry &document) noexcept {
    const std::uint32_t document_id = document.document_id;
    end_document(state, document);
    if (state.recycled.count < state.recycled.capacity) {
        push_recycled(state.recycled, document_id);
    }
}

void end_parser(XmlParserHashEntry &parser) noexcept {
    parser_key key{};
    xml_parser_generate_key(parser.id, key);
    host::hash_search(host::u_sess.xmlparser_map, key.bytes.data(), host::hash_action::remove,
                      nullptr);
    if (!parser.docHandedOver) {
        host::free_document(std::exchange(parser.doc, nullptr)); // may be a large one
    }
    free_record(&parser);
}

// Goes on with what was too much for the end of a transaction. Throws when the statement is asked
// to stop; the rest stays for the next call.
void release_rest() {
    if (host::gate.depth != 0) {
        return; // within another call, which is at work on a tree
    }
    const std::int64_t before = host::gate.bytes_in_use;
    registry *const state = current_registry();
    if (state == nullptr || free_resting(*state, false)) {
        host::release_abandoned();
        host::u_sess.before_call = nullptr;
    }
    host::give_memory_back(before - host::gate.bytes_in_use);
    host::check_for_interrupts();
}

void end_members(host::subtransaction_number first) noexcept {
    if (newest == nullptr || newest->made_in < first) {
        return;
    }
    const host::brief_release brief;
    while (newest != nullptr && newest->made_in >= first) {
        transaction_member &member = *newest;
        leave_transaction(member);
        if (member.is_parser) {
            end_parser(record_of<XmlParserHashEntry>(member));
        } else {
            end_and_recycle(*current_registry(), record_of<document_entry>(member));
        }
    }
    const registry *const state = current_registry();
    if (host::has_abandoned() || (state != nullptr && state->resting != nullptr)) {
        host::u_sess.before_call = release_rest;
    }
}

} // namespace

host::subtransaction_number lifetime_of_new() {
    if (host::lifetime_setting == static_cast<int>(host::lifetime::session)) {
        return host::k_no_subtransaction;
    }
    host::watch_transactions(end_members);
    return host::current_subtransaction();
}

void join_transaction(transaction_member &member, host::subtransaction_number made_in) noexcept {
    if (made_in == host::k_no_subtransaction) {
        return;
    }
    host::counts.transactions += member.is_parser ? 0 : 1;
    member.made_in = made_in;
    member.older = newest;
    member.newer = nullptr;
    if (newest != nullptr) {
        newest->newer = &member;
    }
    newest = &member;
}

void leave_transaction(transaction_member &member) noexcept {
    if (member.made_in == host::k_no_subtransaction) {
        return;
    }
    host::counts.transactions -= member.is_parser ? 0 : 1;
    member.made_in = host::k_no_subtransaction;
    if (member.older != nullptr) {
        member.older->newer = member.newer;
    }
    if (member.newer != nullptr) {
        member.newer->older = member.older;
    } else {
        newest = member.older;
    }
}

void forget_transaction() noexcept {
    while (newest != nullptr) {
        leave_transaction(*newest);
    }
}

void set_parser_lifetime(XmlParserHashEntry &parser, std::uint32_t id,
                         host::subtransaction_number made_in) noexcept {
    parser.id = id;
    parser.lifetime.is_parser = true;
    join_transaction(parser.lifetime, made_in);
}

document_life life_of(const XMLHashEntry &entry) noexcept {
    const document_entry &document = *find_document(*current_registry(), entry.key.document_id());
    return {document.made_at, document.lifetime.made_in != host::k_no_subtransaction};
}

void end_document(registry &state, document_entry &document) noexcept {
    if (family *const owner = document.owner) {
        const std::uint32_t own_shares = holds_share(document) ? 1 : 0;
        if (owner->shares == own_shares) {
            if (!host::may_free_handles(document.next_node_id) &&
                rest_family(state, *owner, document)) {
                return;
            }
            end_family(state, *owner);
        } else {
            owner->shares -= own_shares;
        }
    }
    drop_document(state, document);
}

void end_document_unless_stopped(registry &state, document_entry &document) {
    family *const owner = document.owner;
    if (owner != nullptr && owner->shares == (holds_share(document) ? 1U : 0U)) {
        end_family_unless_stopped(state, *owner);
    }
    end_document(state, document);
}

} // namespace pkg_dbe_xml
