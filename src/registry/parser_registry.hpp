// The session's registry of parser objects: which record a parser handle names.
//
// A parser handle is 13 bytes: the parser's number, then nine zeros. Numbers count up through the
// whole session and are never used twice, also not after a clean-up. The table "XMLPARSER map" and
// everything in it live in the context "SessionXMLMemoryContext"; both are made when the session
// first uses a parser.
#pragma once

#include "libxml/complaint_log.hpp"
#include "registry.hpp"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace pkg_dbe_xml {

// Highest number a parser may have: a session can make 16,777,216 parsers in all.
inline constexpr std::uint32_t k_last_parser_id = 0xFFFFFF;
// Longest text for xmlparser_parse_buffer, in bytes.
inline constexpr std::size_t k_longest_buffer = 32767;

// Parser keys have the size of DOM keys, but live in a table of their own and never meet them.
struct parser_key {
    std::array<std::byte, k_key_size> bytes;
};

// "XMLPARSER map"
struct parser_map_entry {
    parser_key key;
    XmlParserHashEntry *parser; // owned
};

// What the last parse of a parser complained of.
[[nodiscard]] host::complaint_log &complaints_of(XmlParserHashEntry &parser) noexcept;

// Leaves a record without a document: frees the one that it owns, or takes leave of the one that
// was handed over.
void let_go_of_document(XmlParserHashEntry &parser) noexcept;
// Frees a record with its context and the document that it owns.
void free_record(XmlParserHashEntry *parser) noexcept;

struct record_deleter {
    void operator()(XmlParserHashEntry *parser) const noexcept { free_record(parser); }
};
using record_ptr = std::unique_ptr<XmlParserHashEntry, record_deleter>;

// A record with a context of its own, in the context of the parsers. Throws.
[[nodiscard]] record_ptr make_record(xml_parser_ctxt_ptr context, bool validates);

// Enters a record that the table owns under this number among what ends with the transaction, or
// not, as `made_in` says (lifetime_of_new).
void set_parser_lifetime(XmlParserHashEntry &parser, std::uint32_t id,
                         host::subtransaction_number made_in) noexcept;

// Makes what the session lacks of context and table, and sets the session's clean-up. The others
// call it when it is needed. Throws when memory runs out, and can then be called again.
void xml_parser_init_hashtable();
// The same where there is no table yet.
void require_parser_table();
// Enters a record, which the table owns from here on; reports parser_exists. Throws before it
// changes anything.
parser_map_entry *xml_parser_insert_hashentry(const parser_key &key, XmlParserHashEntry *parser);
// The entry of a key, null when there is none.
[[nodiscard]] parser_map_entry *xml_parser_get_hashentry(const parser_key &key);
// Removes the entry and leaves its record alone; reports parser_not_found.
void xml_parser_delete_hashentry(const parser_key &key);
// Puts the number in bytes 0 to 3 of a zeroed key, in the machine's byte order.
void xml_parser_generate_key(std::uint32_t id, parser_key &key);
// The session's counter as it stands, which is then advanced; beyond k_last_parser_id it stays
// where it is, for the numbers have come to their end.
[[nodiscard]] std::uint32_t xml_parser_get_next_id() noexcept;
// The number that the next parser will get.
[[nodiscard]] std::uint32_t xml_parser_next_id() noexcept;
// Frees every parser with this number or a later one, as xmlparser_free_parser does; returns how
// many there were.
std::size_t xml_parser_release_since(std::uint32_t id);
// Frees every parser with its context and the document it still owns, then the table. Documents
// that were handed over are left to the registry of DOM handles. The context
// "SessionXMLMemoryContext" stays for the caller to delete. Does nothing without a table.
void xml_parser_table_clean_res() noexcept;

} // namespace pkg_dbe_xml
