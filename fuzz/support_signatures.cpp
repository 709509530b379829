// The tables of functions, and the sets of the packages made of single calls.
#include "support_signatures.hpp"

#include <array>
#include <string_view>

#define PACKAGE_ENTRY(name) extern "C" host::datum name(host::call_record *record)
PACKAGE_ENTRY(xml_dom_set_attribute_returning);
PACKAGE_ENTRY(xml_dom_set_attribute_ns_returning);
PACKAGE_ENTRY(xml_dom_set_node_value_returning);
PACKAGE_ENTRY(xml_dom_set_charset_returning);
PACKAGE_ENTRY(xml_dom_set_doctype_returning);
PACKAGE_ENTRY(xml_dom_append_child_returning);
PACKAGE_ENTRY(xml_dom_free_document_returning);
PACKAGE_ENTRY(xml_dom_free_node_returning);
PACKAGE_ENTRY(xml_dom_free_nodelist_returning);
PACKAGE_ENTRY(xml_dom_write_to_file_doc_returning);
PACKAGE_ENTRY(xml_dom_write_to_file_node_returning);
PACKAGE_ENTRY(xmlparser_parse_clob_returning);
PACKAGE_ENTRY(xmlparser_parse_buffer_returning);
PACKAGE_ENTRY(xmlparser_set_validation_mode_returning);
PACKAGE_ENTRY(xmlparser_free_parser_returning);
PACKAGE_ENTRY(xml_dom_get_attributes_of_node);
PACKAGE_ENTRY(xml_dom_first_node);
PACKAGE_ENTRY(xml_dom_first_attribute);
PACKAGE_ENTRY(xml_dom_next_attribute);
PACKAGE_ENTRY(xml_dom_next_element);
PACKAGE_ENTRY(xml_dom_outline);
PACKAGE_ENTRY(xmldom_children);
PACKAGE_ENTRY(xmldom_child_elements);
PACKAGE_ENTRY(xmldom_attributes);
PACKAGE_ENTRY(xmldom_descendants);
PACKAGE_ENTRY(xmldom_nodes);
PACKAGE_ENTRY(xmldom_following_siblings);
PACKAGE_ENTRY(xmldom_ancestors);
PACKAGE_ENTRY(xml_dom_mark_scope);
PACKAGE_ENTRY(xml_dom_release_scope);
PACKAGE_ENTRY(xml_dom_free_all);
PACKAGE_ENTRY(xml_dom_get_memory_info);
PACKAGE_ENTRY(xml_dom_new_document_large_object);
PACKAGE_ENTRY(xmlparser_parse_large_object);
PACKAGE_ENTRY(xmlparser_parse_large_object_returning);
PACKAGE_ENTRY(xml_dom_write_to_large_object_doc);
PACKAGE_ENTRY(xml_dom_write_to_large_object_node);
#undef PACKAGE_ENTRY

namespace fuzz {
namespace {

#define CALL(function_name, arguments, result)                                                     \
    signature { #function_name "(", function_name, arguments, result }
#define STRICT(function_name, arguments, result)                                                   \
    signature { #function_name "(", function_name, arguments, result, true }

constexpr std::array k_own{
    CALL(xml_dom_new_document_clob, "x", 'd'),
    CALL(xml_dom_new_document_empty, "", 'd'),
    CALL(xml_dom_new_document_xmltype, "m", 'd'),
    CALL(xml_dom_free_document, "d", 0),
    CALL(xml_dom_create_element, "dn", 'e'),
    CALL(xml_dom_create_element_ns, "dnu", 'e'),
    CALL(xml_dom_create_text_node, "dv", 'h'),
    CALL(xml_dom_create_attribute, "dn", 'a'),
    CALL(xml_dom_get_document_element, "d", 'e'),
    CALL(xml_dom_set_charset, "dc", 0),
    CALL(xml_dom_set_doctype, "dnvv", 0),
    CALL(xml_dom_get_parent_node, "h", 'h'),
    CALL(xml_dom_get_first_child, "h", 'h'),
    CALL(xml_dom_get_last_child, "h", 'h'),
    CALL(xml_dom_get_next_sibling, "h", 'h'),
    CALL(xml_dom_get_child_nodes, "h", 'l'),
    CALL(xml_dom_get_node_value, "h", 't'),
    CALL(xml_dom_get_node_name, "h", 't'),
    CALL(xml_dom_get_node_type, "h", 'i'),
    CALL(xml_dom_get_attributes, "h", 'l'),
    CALL(xml_dom_get_attribute_ns, "enu", 't'),
    CALL(xml_dom_get_length, "l", 'i'),
    CALL(xml_dom_item, "li", 'h'),
    CALL(xml_dom_get_named_item, "ln", 'h'),
    CALL(xml_dom_get_named_item_ns, "lnu", 'h'),
    CALL(xml_dom_get_session_tree_num, "", 'i'),
    CALL(xml_dom_get_detail_doc_tree_info, "h", 't'),
    CALL(xml_dom_get_attribute, "en", 't'),
    CALL(xml_dom_get_tagname, "e", 't'),
    CALL(xml_dom_get_localname, "h", 't'),
    CALL(xml_dom_get_attribute_node, "en", 'a'),
    CALL(xml_dom_get_attribute_node, "enu", 'a'),
    CALL(xml_dom_get_children_by_tagname, "en", 'l'),
    CALL(xml_dom_get_children_by_tagname_ns, "enu", 'l'),
    CALL(xml_dom_get_elements_by_tagname_document, "dn", 'l'),
    CALL(xml_dom_get_elements_by_tagname_element, "en", 'l'),
    CALL(xml_dom_get_elements_by_tagname_ns, "hnu", 'l'),
    CALL(xml_dom_set_attribute, "env", 0),
    CALL(xml_dom_set_attribute_node, "ea", 'a'),
    CALL(xml_dom_set_attribute_ns, "envu", 0),
    CALL(xml_dom_remove_attribute_node, "ea", 'a'),
    CALL(xml_dom_make_attr, "h", 'a'),
    STRICT(xml_dom_free_element, "e", 0),
    CALL(xml_dom_append_child, "hh", 'h'),
    CALL(xml_dom_append_child, "eh", 'h'), // three times: most can go wrong here
    CALL(xml_dom_append_child, "ea", 'h'),
    CALL(xml_dom_import_node, "dh", 'h'),
    CALL(xml_dom_import_node, "dhb", 'h'),
    CALL(xml_dom_set_node_value, "hv", 0),
    STRICT(xml_dom_free_node, "h", 0),
    STRICT(xml_dom_free_nodelist, "l", 0),
    CALL(xml_dom_make_element, "h", 'e'),
    CALL(xml_dom_makenode, "h", 'h'),
    CALL(xml_dom_is_null, "h", 'b'),
    CALL(xml_dom_has_child_nodes, "h", 'b'),
    CALL(xml_dom_write_to_buffer_doc, "d", 't'),
    CALL(xml_dom_write_to_clob_doc, "d", 't'),
    CALL(xml_dom_write_to_buffer_node, "h", 't'),
    CALL(xml_dom_write_to_clob_node, "h", 't'),
    CALL(xmlparser_new_parser, "", 'p'),
    STRICT(xmlparser_free_parser, "p", 0),
    CALL(xmlparser_parse_clob, "px", 0),
    CALL(xmlparser_parse_buffer, "px", 0),
    STRICT(xmlparser_get_doc, "p", 'd'),
    CALL(xmlparser_set_validation_mode, "pb", 0),
    STRICT(xmlparser_get_validation_mode, "p", 'b'),
    // The rest depends on the machine or on the order of a table.
    // Reads all that there is.
    signature{"xml_dom_get_doc_trees_info(", xml_dom_get_doc_trees_info, "", 't', false, 8},
    CALL(xml_dom_write_to_file_doc, "df", 0),
    CALL(xml_dom_write_to_file_doc, "dfc", 0),
    CALL(xml_dom_write_to_file_node, "hf", 0),
    CALL(xml_dom_write_to_file_node, "hfc", 0),
};
constexpr std::size_t k_own_of_the_machine = 5;

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

#define SET(function_name, arguments)                                                              \
    signature {                                                                                    \
        "(select string_agg(found::raw::text, ' ') from xmldom." #function_name "(", nullptr,      \
            arguments, 't', false, 1, rows_of<xmldom_##function_name>, ") as found)"               \
    }

// The first of them stands in for a rare one that is not to be called this time.
constexpr std::array k_package{
    signature{"xmldom.mark(", xml_dom_mark_scope, "", 'S'},
    signature{"xmldom.append_child(", xml_dom_append_child_returning, "NE", 'e'},
    signature{"xmldom.set_attribute(", xml_dom_set_attribute_returning, "Env", 'e'},
    signature{"xmldom.next_element(", xml_dom_next_element, "NNn", 'e'},
    signature{"xmldom.first_attribute(", xml_dom_first_attribute, "E", 'a'},
    signature{"xmldom.next_attribute(", xml_dom_next_attribute, "A", 'a'},
    signature{"xmldom.set_node_value(", xml_dom_set_node_value_returning, "Nv", 'h'},
    SET(nodes, "L"),
    SET(descendants, "Nn"),
    SET(descendants, "Nnu"),
    SET(children, "N"),
    SET(child_elements, "Nn"),
    SET(attributes, "N"),
    SET(following_siblings, "N"),
    SET(ancestors, "N"),
    signature{"xmldom.outline(", xml_dom_outline, "N", 't'},
    signature{k_session, nullptr, "", 't', false, 1, session},
    signature{"xmldom.first_node(", xml_dom_first_node, "N", 'h'},
    signature{"xmldom.get_attributes(", xml_dom_get_attributes_of_node, "N", 'l'},
    signature{"xmldom.set_attribute_ns(", xml_dom_set_attribute_ns_returning, "Envu", 'e'},
    signature{"xmldom.set_charset(", xml_dom_set_charset_returning, "Dc", 'd'},
    signature{"xmldom.set_doctype(", xml_dom_set_doctype_returning, "Dnvv", 'd'},
    signature{"xmldom.free_document(", xml_dom_free_document_returning, "D", 'h'},
    signature{"xmldom.free_node(", xml_dom_free_node_returning, "N", 'h', true},
    signature{"xmldom.free_node_list(", xml_dom_free_nodelist_returning, "L", 'h', true},
    signature{"xmlparser.parse(", xmlparser_parse_clob_returning, "Px", 'p'},
    signature{"xmlparser.parse_buffer(", xmlparser_parse_buffer_returning, "Px", 'p'},
    signature{"xmlparser.set_validation_mode(", xmlparser_set_validation_mode_returning, "Pb", 'p'},
    signature{"xmlparser.free_parser(", xmlparser_free_parser_returning, "P", 'p', true},
    // The rest depends on the machine, or frees documents in the order of a table: which of their
    // numbers is given out next is another one there.
    signature{k_release, xml_dom_release_scope, "S", 'i', false, 3},
    signature{k_free_all, xml_dom_free_all, "", 'i', false, 24},
    signature{"xml_dom_get_memory_info(", xml_dom_get_memory_info, "", 't'},
    signature{"xmldom.write_to_file(", xml_dom_write_to_file_doc_returning, "Df", 'h'},
    signature{"xmldom.write_to_file(", xml_dom_write_to_file_doc_returning, "Dfc", 'h'},
    signature{"xmldom.write_to_file(", xml_dom_write_to_file_node_returning, "Nf", 'h'},
    signature{"xmldom.write_to_file(", xml_dom_write_to_file_node_returning, "Nfc", 'h'},
    // What large objects hold is kept between sessions of a server.
    signature{"xmldom.write_to_clob(", xml_dom_write_to_large_object_doc, "Do", 'i'},
    signature{"xmldom.write_to_clob(", xml_dom_write_to_large_object_node, "No", 'i'},
    signature{"xmldom.write_to_large_object(", xml_dom_write_to_large_object_doc, "D", 'i'},
    signature{"xmldom.write_to_large_object(", xml_dom_write_to_large_object_node, "N", 'i'},
    signature{"xmldom.parse(", xml_dom_new_document_large_object, "o", 'd'},
    signature{"xmlparser.parse(", xmlparser_parse_large_object_returning, "Po", 'p'},
    signature{"xml_dom_write_to_clob_doc(", xml_dom_write_to_large_object_doc, "do", 'i'},
    signature{"xml_dom_write_to_clob_node(", xml_dom_write_to_large_object_node, "ho", 'i'},
    signature{"xml_dom_new_document_clob(", xml_dom_new_document_large_object, "o", 'd'},
    signature{"xmlparser_parse_clob(", xmlparser_parse_large_object, "po", 0},
};
constexpr std::size_t k_package_of_the_machine = 17;
#undef SET

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

std::span<const signature> own_functions(bool with_files) {
    return std::span(k_own).first(k_own.size() - (with_files ? 0 : k_own_of_the_machine));
}

std::span<const signature> changing_functions() { return k_changing; }

std::span<const signature> package_functions(bool with_files) {
    return std::span(k_package).first(k_package.size() -
                                      (with_files ? 0 : k_package_of_the_machine));
}

} // namespace fuzz
