// The tables of functions, and the sets of the packages made of single calls.
#include "support_signatures.hpp"

#include "standalone_session.hpp"

#include <algorithm>
#include <array>
#include <string_view>

namespace fuzz {
namespace {

constexpr std::array k_own{
#include "own_signatures.inc"
};

#define CALL(function_name, arguments, result)                                                     \
    signature { #function_name "(", function_name, arguments, result }
#define STRICT(function_name, arguments, result)                                                   \
    signature { #function_name "(", function_name, arguments, result, true }
// What a tree is made of and taken apart by.
constexpr std::array k_changing{
    CALL(xml_dom_create_element, "dn", 'e'),     CALL(xml_dom_create_attribute, "dn", 'a'),
    CALL(xml_dom_set_attribute, "env", 0),       CALL(xml_dom_set_attribute_ns, "envu", 0),
    CALL(xml_dom_get_attribute_node, "en", 'a'), CALL(xml_dom_append_child, "eh", 'h'),
    CALL(xml_dom_append_child, "ee", 'h'),       CALL(xml_dom_append_child, "ea", 'h'),
    CALL(xml_dom_get_first_child, "h", 'h'),     CALL(xml_dom_get_first_child, "a", 'h'),
    CALL(xml_dom_import_node, "dhb", 'h'),       CALL(xml_dom_set_node_value, "hv", 0),
    CALL(xml_dom_set_node_value, "av", 0),       STRICT(xml_dom_free_node, "h", 0),
    STRICT(xml_dom_free_node, "a", 0),           STRICT(xml_dom_free_element, "e", 0),
    STRICT(xml_dom_free_element, "e", 0),
};
#undef CALL
#undef STRICT

// --- sets ---------------------------------------------------------------------------------------

sql::result text_result(const std::string &text) {
    sql::result given;
    given.is_null_ = text.empty();
    given.datum_ = text.empty() ? 0 : sql::value(text).argument().value;
    return given;
}

void append_row(std::string &rows, const sql::handle &row) {
    rows += (rows.empty() ? "\\x" : " \\x") + hexadecimal(row.bytes);
}

template <sql::function entry> sql::result rows_of(const std::vector<sql::value> &arguments) {
    sql::result given = sql::call_with(entry, arguments);
    if (given.failed()) {
        return given;
    }
    std::string rows;
    for (const sql::handle &row : given.rows()) {
        append_row(rows, row);
    }
    return text_result(rows);
}

// Documents, handles and nodes of the session, read from what the function for administrators
// tells. The bytes depend on the machine.
sql::result session(const std::vector<sql::value> & /*arguments*/) {
    sql::result told = sql::call(xml_dom_get_memory_info);
    if (told.failed()) {
        return told;
    }
    const std::string lines = told.text();
    std::size_t documents = 0;
    for (const char byte : lines) {
        documents += byte == '\n' ? 1 : 0;
    }
    const std::size_t nodes_begin = lines.rfind("all ") + 4;
    const std::string nodes_held =
        lines.substr(nodes_begin, lines.find(' ', nodes_begin) - nodes_begin);
    return text_result(std::to_string(documents) + " " +
                       std::to_string(sql::call(xml_dom_get_session_tree_num).integer()) + " " +
                       nodes_held);
}

// --- streams ------------------------------------------------------------------------------------

// The text that a value stands for; "" for null.
std::string text_of(const sql::value &value) {
    const host::argument argument = value.argument();
    sql::result read;
    read.datum_ = argument.value;
    return argument.is_null ? "" : read.text();
}

// Up to so many characters from the beginning of a text in UTF-8, in bytes.
std::size_t size_of_characters(std::string_view text, int count) {
    std::size_t size = 0;
    while (size < text.size() &&
           ((static_cast<unsigned char>(text[size]) & 0xC0U) == 0x80U || count-- > 0)) {
        ++size;
    }
    return size;
}

constexpr int k_characters_fed_first = 7; // as the statement says below

// The first record of a text that is fed in two pieces, as a document of the session. All in one
// statement, since a stream ends with its transaction.
sql::result first_record(const std::vector<sql::value> &arguments) {
    sql::result stream = sql::call(xmlparser_open_stream, arguments[0], sql::null, false, 0);
    if (stream.failed()) {
        return stream;
    }
    const sql::handle opened = stream.handle();
    const std::string text = text_of(arguments[1]);
    const std::size_t cut = size_of_characters(text, k_characters_fed_first);
    const bool is_null = arguments[1].argument().is_null;
    sql::result given;
    for (const std::string &piece : {text.substr(0, cut), text.substr(cut)}) {
        given = sql::call(xmlparser_feed_text, opened, is_null ? sql::null : sql::value(piece));
        if (given.failed()) {
            break;
        }
    }
    if (!given.failed()) {
        given = sql::call(xmlparser_next_record, opened);
    }
    sql::call(xmlparser_close_stream, opened);
    return given;
}

// --- rows ---------------------------------------------------------------------------------------

// Rows with three columns of a node, a text or the records of a text, each as one text.
template <sql::function entry> sql::result columns_of(const std::vector<sql::value> &arguments) {
    std::vector<sql::value> passed = arguments;
    if (passed.size() == 1) {
        passed.emplace_back("descendant-or-self::*");
    }
    passed.push_back(sql::value::of_datum(
        host::standalone::make_text_array({"name()", "@*", "count(node())"}, 1)));
    const host::column_form array{true, false, false};
    std::vector<sql::cells> rows;
    sql::result given = sql::call_for_rows(
        entry, passed, {{"a", {}, nullptr}, {"b", array, nullptr}, {"c", {}, nullptr}}, rows);
    if (given.failed()) {
        return given;
    }
    std::string text;
    for (const sql::cells &row : rows) {
        text += (text.empty() ? "" : ",") + row[0][0] + "|";
        for (std::size_t place = 0; place < row[1].size(); ++place) {
            text += row[1][place] + (place + 1 < row[1].size() ? "/" : "|");
        }
        text += row[2][0];
    }
    return text_result(text);
}
#define COLUMNS ", array['name()', '@*', 'count(node())']) as t(a text, b text[], c text))"
#define ROWS_FROM "(select string_agg(concat_ws('|', a, array_to_string(b, '/'), c), ',') from "

// Canonical forms by the later version, and with prefixes that the exclusive form treats as the
// others do.
sql::result later_form(const std::vector<sql::value> &arguments) {
    std::vector<sql::value> passed = arguments;
    passed.insert(passed.end(), {false, true, sql::null, "1.1"});
    return sql::call_with(xmldom_canonical, passed);
}
sql::result form_with_prefixes(const std::vector<sql::value> &arguments) {
    std::vector<sql::value> passed = arguments;
    passed.push_back(sql::value::of_datum(
        host::standalone::make_text_array({"p", "ns", "#default", "none"}, 1)));
    return sql::call_with(xmldom_canonical, passed);
}

constexpr std::array k_package{
    signature{k_session, nullptr, "", 't', false, 1, session},
    signature{ROWS_FROM "xmldom.rows(", nullptr, "N", 't', false, 8, columns_of<xmldom_rows>,
              ", 'descendant-or-self::*'" COLUMNS},
    signature{ROWS_FROM "xmldom.rows_of_text(", nullptr, "x", 't', false, 8,
              columns_of<xmldom_rows_of_text>, ", 'descendant-or-self::*'" COLUMNS},
    signature{ROWS_FROM "xmlparser.rows(", nullptr, "xr", 't', false, 4,
              columns_of<xmlparser_rows_of_text>, COLUMNS},
    signature{"(select xmlparser.next_record(xmlparser.feed(xmlparser.feed("
              "xmlparser.open_stream(p), left(x, 7)), substr(x, 8))) from (select ",
              nullptr, "rx", 'd', false, 1, first_record, ") as t(p, x))"},
    signature{"convert_from(xmldom.canonical(", nullptr, "N", 't', false, 2, later_form,
              ", false, true, null, '1.1'), 'UTF8')"},
    signature{"convert_from(xmldom.canonical(", nullptr, "Nbb", 't', false, 2, form_with_prefixes,
              ", array['p', 'ns', '#default', 'none']), 'UTF8')"},
#include "package_signatures.inc"
};

// Those that depend on the machine come last.
std::span<const signature> chosen_of(std::span<const signature> all, bool with_files) {
    const auto of_the_machine = std::ranges::count_if(all, &signature::of_the_machine);
    return all.first(all.size() - (with_files ? 0 : static_cast<std::size_t>(of_the_machine)));
}

// The first that SQL calls by this name.
const signature &named(std::span<const signature> all, std::string_view name) {
    return *std::ranges::find(all, name, &signature::name);
}

} // namespace

std::string hexadecimal(std::span<const std::uint8_t> bytes) {
    constexpr std::string_view k_digits = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += k_digits[byte >> 4U];
        text += k_digits[byte & 15U];
    }
    return text;
}

std::span<const signature> own_functions(bool with_files) { return chosen_of(k_own, with_files); }

std::span<const signature> changing_functions() { return k_changing; }

std::span<const signature> package_functions(bool with_files) {
    return chosen_of(k_package, with_files);
}

const signature &document_maker() { return named(k_own, "xml_dom_new_document_clob("); }

const signature &scope_maker() { return named(k_package, "xmldom.mark("); }

} // namespace fuzz
