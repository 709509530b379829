// The functions that programs of calls are made of: those of the 65 that are called by their own
// names, and what the packages add.
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
// document, m XML value, i index, b truth value, f file, c character set, o large object; handles:
// h and p plain ones of nodes and of parsers, others as in k_handle_types. Of optional arguments
// the shorter form stands beside the longer one.
struct signature {
    const char *name; // in SQL; of a set everything up to its arguments
    sql::function entry;
    const char *arguments;
    char result; // h handle, p parser, s scope, t text, i integer, b truth value, 0 none
    bool strict = false;
    unsigned rarity = 1; // called once in so many times that it is chosen, on average
    set_function set = nullptr;
    const char *end = ")"; // what follows the arguments in SQL
};

// Where a program keeps handles.
enum class ring : std::size_t { handles, parsers, scopes };
inline constexpr std::size_t k_ring_count = 3;

// The SQL types under which handles are passed.
struct handle_type {
    char letter;
    const char *name;
    ring from;
};
inline constexpr handle_type k_handle_types[]{
    {'h', "raw", ring::handles},
    {'p', "raw", ring::parsers},
    {'D', "xmldom.document", ring::handles},
    {'E', "xmldom.element", ring::handles},
    {'A', "xmldom.attr", ring::handles},
    {'N', "xmldom.node", ring::handles},
    {'L', "xmldom.node_list", ring::handles},
    {'P', "xmlparser.parser", ring::parsers},
    {'S', "xmldom.scope", ring::scopes},
};

// Names of some of them.
inline constexpr const char *k_release = "xmldom.release(";
inline constexpr const char *k_free_all = "xmldom.free_all(";
inline constexpr const char *k_session =
    "(select documents || ' ' || handles || ' ' || nodes from xmldom.session";

// `with_files` adds those whose results depend on the machine: that write files or large objects,
// or tell of memory or of tables in no order of their own.
[[nodiscard]] std::span<const signature> own_functions(bool with_files);
[[nodiscard]] std::span<const signature> package_functions(bool with_files);

// Bytes as the server shows them.
[[nodiscard]] std::string hexadecimal(std::span<const std::uint8_t> bytes);

} // namespace fuzz
