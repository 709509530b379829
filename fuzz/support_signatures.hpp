// The functions that programs of calls are made of: those in long names, and what the packages add.
// scripts/sql_functions.py makes the tables from the declarations in SQL.
#pragma once

#include "support/sql.hpp"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace fuzz {

// A set of rows has no entry of its own: this makes the calls that the set's SQL makes and gives
// the rows as one text.
using set_function = sql::result (*)(const std::vector<sql::value> &arguments);

// A function and the types of its arguments: n name, v value, u namespace URI, x text of a
// document, q path, r path of records, m XML value, i index, b truth value, f file, c character
// set, o large object, V an array of nodes, which is the last one; handles as in k_handle_types, by
// what the function is for: now and then it gets others. Of optional arguments the shorter form
// stands beside the longer one.
struct signature {
    const char *name; // in SQL; of a set everything up to its arguments
    sql::function entry;
    const char *arguments;
    char result; // a handle as in k_handle_types, t text, i integer, b truth value, 0 none
    bool strict = false;
    unsigned rarity = 1; // called once in so many times that it is chosen, on average
    set_function set = nullptr;
    const char *end = ")"; // what follows the arguments in SQL
    // The result depends on the machine or on the order of a table.
    bool of_the_machine = false;
};

// Where a program keeps handles: by what the function that gave them gives.
enum class ring : std::size_t { nodes, documents, elements, attributes, lists, parsers, scopes };
inline constexpr std::size_t k_ring_count = 7;

// The SQL types under which handles are passed.
struct handle_type {
    char letter;
    const char *name;
    ring from;
};
inline constexpr handle_type k_handle_types[]{
    {'h', "raw", ring::nodes}, // of any kind
    {'d', "raw", ring::documents},
    {'e', "raw", ring::elements},
    {'a', "raw", ring::attributes},
    {'l', "raw", ring::lists}, // and maps
    {'p', "raw", ring::parsers},
    {'N', "xmldom.node", ring::nodes},
    {'D', "xmldom.document", ring::documents},
    {'E', "xmldom.element", ring::elements},
    {'A', "xmldom.attr", ring::attributes},
    {'T', "xmldom.text_node", ring::nodes},
    {'L', "xmldom.node_list", ring::lists},
    {'M', "xmldom.named_node_map", ring::lists},
    {'P', "xmlparser.parser", ring::parsers},
    {'S', "xmldom.scope", ring::scopes},
};

// Names of some of them.
inline constexpr const char *k_release = "xmldom.release(";
inline constexpr const char *k_free_all = "xmldom.free_all(";
inline constexpr const char *k_session =
    "(select documents || ' ' || handles || ' ' || nodes from xmldom.session";

// `with_files` adds those whose results depend on the machine.
[[nodiscard]] std::span<const signature> own_functions(bool with_files);
// Some of them that change trees, and what leads to these.
[[nodiscard]] std::span<const signature> changing_functions();
[[nodiscard]] std::span<const signature> package_functions(bool with_files);
// What a program does first, and what it does where a rare function is passed over.
[[nodiscard]] const signature &document_maker();
[[nodiscard]] const signature &scope_maker();

// Bytes as the server shows them.
[[nodiscard]] std::string hexadecimal(std::span<const std::uint8_t> bytes);

} // namespace fuzz
