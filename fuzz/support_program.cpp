// The machine that turns bytes into calls.
#include "support_program.hpp"

#include "standalone_files.hpp"
#include "standalone_session.hpp"
#include "support/invariants.hpp"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string_view>

namespace fuzz {
namespace {

// A function and the types of its arguments: h handle, n name, v value, u namespace URI, x text of
// a document, m XML value, i index, b truth value, p parser, f file, c character set. Of optional
// arguments the shorter form stands beside the longer one.
struct signature {
    const char *name;
    sql::function entry;
    const char *arguments;
    char result; // h handle, p parser, t text, i integer, b truth value, 0 none
};

#define CALL(function_name, arguments, result)                                                     \
    signature { #function_name, function_name, arguments, result }

constexpr std::array k_signatures{
    CALL(xml_dom_new_document_clob, "x", 'h'),
    CALL(xml_dom_new_document_empty, "", 'h'),
    CALL(xml_dom_new_document_xmltype, "m", 'h'),
    CALL(xml_dom_free_document, "h", 0),
    CALL(xml_dom_create_element, "hn", 'h'),
    CALL(xml_dom_create_element_ns, "hnu", 'h'),
    CALL(xml_dom_create_text_node, "hv", 'h'),
    CALL(xml_dom_create_attribute, "hn", 'h'),
    CALL(xml_dom_get_document_element, "h", 'h'),
    CALL(xml_dom_set_charset, "hc", 0),
    CALL(xml_dom_set_doctype, "hnvv", 0),
    CALL(xml_dom_get_parent_node, "h", 'h'),
    CALL(xml_dom_get_first_child, "h", 'h'),
    CALL(xml_dom_get_last_child, "h", 'h'),
    CALL(xml_dom_get_next_sibling, "h", 'h'),
    CALL(xml_dom_get_child_nodes, "h", 'h'),
    CALL(xml_dom_get_node_value, "h", 't'),
    CALL(xml_dom_get_node_name, "h", 't'),
    CALL(xml_dom_get_node_type, "h", 'i'),
    CALL(xml_dom_get_attributes, "h", 'h'),
    CALL(xml_dom_get_attribute_ns, "hnu", 't'),
    CALL(xml_dom_get_length, "h", 'i'),
    CALL(xml_dom_item, "hi", 'h'),
    CALL(xml_dom_get_named_item, "hn", 'h'),
    CALL(xml_dom_get_named_item_ns, "hnu", 'h'),
    CALL(xml_dom_get_session_tree_num, "", 'i'),
    CALL(xml_dom_get_detail_doc_tree_info, "h", 't'),
    CALL(xml_dom_get_attribute, "hn", 't'),
    CALL(xml_dom_get_tagname, "h", 't'),
    CALL(xml_dom_get_localname, "h", 't'),
    CALL(xml_dom_get_attribute_node, "hn", 'h'),
    CALL(xml_dom_get_attribute_node, "hnu", 'h'),
    CALL(xml_dom_get_children_by_tagname, "hn", 'h'),
    CALL(xml_dom_get_children_by_tagname_ns, "hnu", 'h'),
    CALL(xml_dom_get_elements_by_tagname_document, "hn", 'h'),
    CALL(xml_dom_get_elements_by_tagname_element, "hn", 'h'),
    CALL(xml_dom_get_elements_by_tagname_ns, "hnu", 'h'),
    CALL(xml_dom_set_attribute, "hnv", 0),
    CALL(xml_dom_set_attribute_node, "hh", 'h'),
    CALL(xml_dom_set_attribute_ns, "hnvu", 0),
    CALL(xml_dom_remove_attribute_node, "hh", 'h'),
    CALL(xml_dom_make_attr, "h", 'h'),
    CALL(xml_dom_free_element, "h", 0),
    CALL(xml_dom_append_child, "hh", 'h'),
    CALL(xml_dom_append_child, "hh", 'h'), // twice: most can go wrong here
    CALL(xml_dom_import_node, "hh", 'h'),
    CALL(xml_dom_import_node, "hhb", 'h'),
    CALL(xml_dom_set_node_value, "hv", 0),
    CALL(xml_dom_free_node, "h", 0),
    CALL(xml_dom_free_nodelist, "h", 0),
    CALL(xml_dom_make_element, "h", 'h'),
    CALL(xml_dom_makenode, "h", 'h'),
    CALL(xml_dom_is_null, "h", 'b'),
    CALL(xml_dom_has_child_nodes, "h", 'b'),
    CALL(xml_dom_write_to_buffer_doc, "h", 't'),
    CALL(xml_dom_write_to_clob_doc, "h", 't'),
    CALL(xml_dom_write_to_buffer_node, "h", 't'),
    CALL(xml_dom_write_to_clob_node, "h", 't'),
    CALL(xmlparser_new_parser, "", 'p'),
    CALL(xmlparser_free_parser, "p", 0),
    CALL(xmlparser_parse_clob, "px", 0),
    CALL(xmlparser_parse_buffer, "px", 0),
    CALL(xmlparser_get_doc, "p", 'h'),
    CALL(xmlparser_set_validation_mode, "pb", 0),
    CALL(xmlparser_get_validation_mode, "p", 'b'),
    // The rest depends on the machine or on the order of a table: not compared between hosts.
    CALL(xml_dom_get_doc_trees_info, "", 't'),
    CALL(xml_dom_write_to_file_doc, "hf", 0),
    CALL(xml_dom_write_to_file_doc, "hfc", 0),
    CALL(xml_dom_write_to_file_node, "hf", 0),
    CALL(xml_dom_write_to_file_node, "hfc", 0),
};
#undef CALL
constexpr std::size_t k_calls_without_files = k_signatures.size() - 5;

constexpr std::array<sql::function, 6> k_strict{
    xml_dom_free_node, xml_dom_free_nodelist, xml_dom_free_element,
    xmlparser_get_doc, xmlparser_free_parser, xmlparser_get_validation_mode};

constexpr std::array<std::string_view, 15> k_documents{
    "<a/>",
    "<a><b x='1'>t</b><b x='2'/>u<c/></a>",
    "<?xml version='1.0' encoding='ISO-8859-1'?><r>caf\xC3\xA9</r>",
    "<!DOCTYPE r [<!ELEMENT r ANY><!ATTLIST r k CDATA 'd' i ID #IMPLIED><!ENTITY e 'text'>"
    "<!ENTITY f '<g>in</g>'><!NOTATION n SYSTEM 'n'>]><r i='x'>&e;&f;</r>",
    "<r xmlns='urn:one' xmlns:p='urn:two'><p:q p:a='1' a='2'/><q/></r>",
    "<r><!-- comment --><?target data?><![CDATA[<raw> & ]]>text</r>",
    "<a><b><c><d><e><f>deep</f></e></d></c></b></a>",
    "<!-- before --><r/><!-- after --><?end?>",
    "<r>\n  <a/>\n  <b/>\n</r>",
    "<r a='1' b='2' c='3' d='4' e='5' f=''/>",
    "<!DOCTYPE r SYSTEM 'nowhere.dtd'><r>&unknown;</r>",
    "<a><b></a>",
    "",
    "<!DOCTYPE r [<!ENTITY a 'x&b;'><!ENTITY b 'y'>]><r t='&a;'>&a;<s>&b;</s></r>",
    "<html xmlns='http://www.w3.org/1999/xhtml'><head><title>t</title></head><body><br/></body>"
    "</html>",
};
constexpr std::array<std::string_view, 16> k_names{
    "a",    "b",    "x",        "r",           "k", "i",       "p:q",
    "text", "*",    "xml:lang", "caf\xC3\xA9", "",  "comment", "long-name-of-an-element",
    "q",    "xmlns"};
constexpr std::array<std::string_view, 12> k_values{
    "",           "1",       "text",
    "a & b",      "AT&T; x", "&e;",
    "<tag>",      "  ",      "caf\xC3\xA9 \xE2\x82\xAC",
    "line\nline", "]]>",     "-- ?>"};
constexpr std::array<std::string_view, 6> k_uris{
    "urn:one", "urn:two", "", "*", "http://www.w3.org/XML/1998/namespace", "urn:new"};
constexpr std::array<std::string_view, 7> k_character_sets{
    "UTF-8", "ISO-8859-1", "UTF-16", "EUC-JP", "no-such-set", "", "ascii"};
constexpr std::array<std::string_view, 8> k_files{
    "out/f.xml", "none/f.xml", "out\\g.xml", "f.xml", "out/a/f.xml", "out/f.txt", "", "out/.xml"};

constexpr std::size_t k_ring_size = 48;
constexpr std::size_t k_most_calls = 4000;
constexpr std::string_view k_hexadecimal = "0123456789abcdef";

template <std::size_t size>
std::string pick(const std::array<std::string_view, size> &choices, std::uint8_t choice) {
    return std::string(choices.at(choice % size));
}

std::string hexadecimal(std::span<const std::uint8_t> bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += k_hexadecimal[byte >> 4U];
        text += k_hexadecimal[byte & 15U];
    }
    return text;
}

std::string sql_literal(std::string_view text) {
    std::string result = "'";
    for (const char character : text) {
        result += character;
        if (character == '\'') {
            result += character;
        }
    }
    return result + "'";
}

const signature &signature_of(const program_call &call) {
    for (const signature &candidate : k_signatures) {
        if (candidate.entry == call.entry) {
            return candidate;
        }
    }
    std::abort();
}

void keep(std::vector<sql::handle> &ring, const sql::handle &handle, std::uint8_t place) {
    if (ring.size() < k_ring_size) {
        ring.push_back(handle);
    } else {
        ring[place % k_ring_size] = handle;
    }
}

} // namespace

program::program(std::span<const std::uint8_t> bytes, bool with_files)
    : bytes_(bytes), with_files_(with_files) {}

std::uint8_t program::byte() { return place_ < bytes_.size() ? bytes_[place_++] : 0; }

void program::add_null(program_call &call, const char *type) {
    call.arguments.emplace_back(sql::null);
    call.has_null = true;
    call.statement += std::string("null::") + type;
}

void program::add_text(program_call &call, const std::string &text, const char *type) {
    call.arguments.emplace_back(text);
    call.statement += sql_literal(text) + "::" + type;
}

// A handle of the ring; sometimes null, changed in one byte, or of another length.
void program::add_handle(program_call &call, const std::vector<sql::handle> &ring) {
    const std::uint8_t choice = byte();
    sql::handle chosen = ring.empty() ? sql::handle{} : ring[choice % ring.size()];
    if (choice >= 252) {
        add_null(call, "raw");
        return;
    }
    if (choice == 251) {
        chosen.bytes.at(byte() % chosen.bytes.size()) ^= byte();
    }
    if (choice % 2 == 1) {
        chosen.header = sql::handle::header_form::short_form;
    }
    if (choice == 250) {
        const sql::raw wrong{std::vector<std::uint8_t>(byte() % 20U, byte())};
        call.statement += "'\\x" + hexadecimal(wrong.bytes) + "'::raw";
        call.arguments.emplace_back(wrong);
        return;
    }
    call.statement += "'\\x" + hexadecimal(chosen.bytes) + "'::raw";
    call.arguments.emplace_back(chosen);
}

// A text of bytes of the program itself, printable.
std::string program::made_text() {
    std::string text;
    for (std::uint8_t count = byte() % 24; count > 0; --count) {
        text += static_cast<char>(' ' + byte() % 95);
    }
    return text;
}

void program::add_argument(program_call &call, char type) {
    if (type == 'h') {
        add_handle(call, handles_);
        return;
    }
    if (type == 'p') {
        add_handle(call, parsers_);
        return;
    }
    const std::uint8_t choice = byte();
    const bool is_null = choice >= 252;
    if (type == 'i') {
        const int number = static_cast<std::int8_t>(byte());
        if (is_null) {
            add_null(call, "int");
        } else {
            call.arguments.emplace_back(number);
            call.statement += "(" + std::to_string(number) + ")";
        }
        return;
    }
    if (type == 'b') {
        if (is_null) {
            add_null(call, "boolean");
        } else {
            call.arguments.emplace_back(choice % 2 == 1);
            call.statement += choice % 2 == 1 ? "true" : "false";
        }
        return;
    }
    if (is_null) {
        add_null(call, type == 'm' ? "xml" : "text");
    } else if (type == 'x') {
        add_text(call, choice < 240 ? pick(k_documents, choice) : made_text(), "text");
    } else if (type == 'm') {
        // The server itself refuses an XML value that is not well-formed.
        add_text(call, pick(k_documents, choice % 10), "xml");
    } else if (type == 'n') {
        add_text(call, choice < 200 ? pick(k_names, choice) : made_text(), "text");
    } else if (type == 'u') {
        add_text(call, pick(k_uris, choice), "text");
    } else if (type == 'c') {
        add_text(call, pick(k_character_sets, choice), "text");
    } else if (type == 'f') {
        add_text(call, pick(k_files, choice), "text");
    } else if (choice == 251) {
        add_text(call, std::string(std::size_t{32760} + byte() % 16, 'v'), "text");
    } else {
        add_text(call, choice < 180 ? pick(k_values, choice) : made_text(), "text");
    }
}

bool program::next(program_call &call) {
    if (place_ >= bytes_.size() || calls_ == k_most_calls) {
        return false;
    }
    ++calls_;
    const std::size_t count = with_files_ ? k_signatures.size() : k_calls_without_files;
    const signature &chosen = k_signatures.at(byte() % count);
    call.name = chosen.name;
    call.entry = chosen.entry;
    call.arguments.clear();
    call.has_null = false;
    call.statement = std::string(chosen.name) + "(";
    for (const char *type = chosen.arguments; *type != '\0'; ++type) {
        if (type != chosen.arguments) {
            call.statement += ", ";
        }
        add_argument(call, *type);
    }
    call.statement += ")";
    return true;
}

void program::note(const program_call &call, const sql::result &outcome) {
    if (outcome.failed() || outcome.is_null()) {
        return;
    }
    const char type = signature_of(call).result;
    const auto place = static_cast<std::uint8_t>(calls_ * 7U);
    if (type == 'h') {
        keep(handles_, outcome.handle(), place);
    } else if (type == 'p') {
        keep(parsers_, outcome.handle(), place);
    }
}

sql::result make(const program_call &call) {
    if (call.has_null &&
        std::find(k_strict.begin(), k_strict.end(), call.entry) != k_strict.end()) {
        sql::result nothing;
        nothing.is_null_ = true;
        return nothing;
    }
    return sql::call_with(call.entry, call.arguments);
}

std::string shown(const program_call &call, const sql::result &outcome) {
    if (outcome.failed()) {
        return "ERROR " + outcome.error().sqlstate + " " + outcome.error().message;
    }
    if (outcome.is_null()) {
        return "NULL";
    }
    switch (signature_of(call).result) {
    case 'h':
    case 'p':
        return "\\x" + hexadecimal(outcome.handle().bytes);
    case 't':
        return outcome.text();
    case 'i':
        return std::to_string(outcome.integer());
    case 'b':
        return outcome.boolean() ? "true" : "false";
    default:
        return "";
    }
}

std::string run_program(std::span<const std::uint8_t> bytes, bool with_files,
                        std::size_t check_every) {
    const sql::node_watch watch;
    host::standalone::begin_session("UTF8");
    if (with_files) {
        host::standalone::create_directory_object("out", "/tmp");
        host::standalone::create_directory_object("none", "/nonexistent");
        host::standalone::files().protected_names = {"f.xml", ".xml"};
    }
    program calls(bytes, with_files);
    program_call call{};
    std::string wrong;
    std::size_t count = 0;
    while (wrong.empty() && calls.next(call)) {
        const sql::result outcome = make(call);
        calls.note(call, outcome);
        ++count;
        if (check_every != 0 && count % check_every == 0) {
            wrong = sql::broken_invariants();
        }
        if (count % 256 == 0) {
            host::standalone::reset_caller_context();
        }
    }
    if (wrong.empty()) {
        wrong = sql::broken_invariants();
    }
    const host::standalone::session_remains remains = host::standalone::end_session();
    if (wrong.empty() && !remains.nothing()) {
        wrong = "the session left " + std::to_string(remains.host_blocks) + " blocks and " +
                std::to_string(remains.libxml2_bytes) + " bytes of libxml2";
    }
    return wrong;
}

} // namespace fuzz
