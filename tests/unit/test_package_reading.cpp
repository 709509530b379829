// Reading with the package xmldom: what each function gives for nodes of every type.
#include "standalone_session.hpp"
#include "support/faults.hpp"
#include "support/invariants.hpp"
#include "support/sql.hpp"
#include "trees.hpp"

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#define PACKAGE_ENTRY(name) extern "C" host::datum name(host::call_record *record)
PACKAGE_ENTRY(xmldom_parse_text);
PACKAGE_ENTRY(xmldom_get_node_name);
PACKAGE_ENTRY(xmldom_get_node_value);
PACKAGE_ENTRY(xmldom_get_node_type);
PACKAGE_ENTRY(xmldom_get_namespace_uri);
PACKAGE_ENTRY(xmldom_get_prefix);
PACKAGE_ENTRY(xmldom_get_local_name);
PACKAGE_ENTRY(xmldom_get_base_uri);
PACKAGE_ENTRY(xmldom_get_text_content);
PACKAGE_ENTRY(xmldom_get_owner_document);
PACKAGE_ENTRY(xmldom_get_path);
PACKAGE_ENTRY(xmldom_get_line_number);
PACKAGE_ENTRY(xmldom_get_parent_node);
PACKAGE_ENTRY(xmldom_get_first_child);
PACKAGE_ENTRY(xmldom_get_last_child);
PACKAGE_ENTRY(xmldom_get_previous_sibling);
PACKAGE_ENTRY(xmldom_get_next_sibling);
PACKAGE_ENTRY(xmldom_get_child_nodes);
PACKAGE_ENTRY(xmldom_has_child_nodes);
PACKAGE_ENTRY(xmldom_get_document_element);
PACKAGE_ENTRY(xmldom_first_element_child);
PACKAGE_ENTRY(xmldom_last_element_child);
PACKAGE_ENTRY(xmldom_previous_element_sibling);
PACKAGE_ENTRY(xmldom_next_element_sibling);
PACKAGE_ENTRY(xmldom_child_element_count);
PACKAGE_ENTRY(xmldom_is_same_node);
PACKAGE_ENTRY(xmldom_is_equal_node);
PACKAGE_ENTRY(xmldom_contains);
PACKAGE_ENTRY(xmldom_compare_document_position);
PACKAGE_ENTRY(xmldom_lookup_prefix);
PACKAGE_ENTRY(xmldom_lookup_namespace_uri);
PACKAGE_ENTRY(xmldom_is_default_namespace);
PACKAGE_ENTRY(xmldom_get_doctype);
PACKAGE_ENTRY(xmldom_get_xml_version);
PACKAGE_ENTRY(xmldom_get_xml_standalone);
PACKAGE_ENTRY(xmldom_get_xml_encoding);
PACKAGE_ENTRY(xmldom_get_input_encoding);
PACKAGE_ENTRY(xmldom_get_document_uri);
PACKAGE_ENTRY(xmldom_get_name);
PACKAGE_ENTRY(xmldom_get_public_id);
PACKAGE_ENTRY(xmldom_get_system_id);
PACKAGE_ENTRY(xmldom_get_internal_subset);
PACKAGE_ENTRY(xmldom_get_entities);
PACKAGE_ENTRY(xmldom_get_notation_name);
PACKAGE_ENTRY(xmldom_get_target);
PACKAGE_ENTRY(xmldom_get_tag_name);
PACKAGE_ENTRY(xmldom_get_attribute);
PACKAGE_ENTRY(xmldom_get_attribute_ns);
PACKAGE_ENTRY(xmldom_has_attribute);
PACKAGE_ENTRY(xmldom_has_attribute_ns);
PACKAGE_ENTRY(xmldom_get_attribute_node);
PACKAGE_ENTRY(xmldom_get_attribute_node_ns);
PACKAGE_ENTRY(xmldom_get_attributes);
PACKAGE_ENTRY(xmldom_has_attributes);
PACKAGE_ENTRY(xmldom_get_elements_by_tag_name);
PACKAGE_ENTRY(xmldom_get_elements_by_tag_name_ns);
PACKAGE_ENTRY(xmldom_get_value);
PACKAGE_ENTRY(xmldom_get_specified);
PACKAGE_ENTRY(xmldom_get_owner_element);
PACKAGE_ENTRY(xmldom_get_data);
PACKAGE_ENTRY(xmldom_get_length_of_data);
PACKAGE_ENTRY(xmldom_substring_data);
PACKAGE_ENTRY(xmldom_get_whole_text);
PACKAGE_ENTRY(xmldom_is_element_content_whitespace);
PACKAGE_ENTRY(xmldom_get_length);
PACKAGE_ENTRY(xmldom_item);
PACKAGE_ENTRY(xmldom_get_length_of_map);
PACKAGE_ENTRY(xmldom_item_of_map);
PACKAGE_ENTRY(xmldom_get_named_item);
PACKAGE_ENTRY(xmldom_get_named_item_ns);
#undef PACKAGE_ENTRY

namespace {

using sql::call;

constexpr const char *k_text =
    "<!DOCTYPE r [<!ELEMENT r ANY><!ENTITY e 'v'><!NOTATION n SYSTEM 's'>"
    "<!ENTITY pic SYSTEM 'p.gif' NDATA n><!ATTLIST r d CDATA 'default'>]>"
    "<?p i?><r a='1' p:b='2' xmlns:p='urn:p'>text<p:x><y/></p:x><!--c--><![CDATA[d]]> <z/></r>";

class package_reading : public sql::session_test {
  protected:
    static sql::handle parsed(std::string_view text) {
        return call(xmldom_parse_text, text).handle();
    }
    static sql::handle root(const sql::handle &document) {
        return call(xmldom_get_document_element, document).handle();
    }
    // The child of a node at a place, from 0.
    static sql::handle child(const sql::handle &parent, int place) {
        return call(xmldom_item, call(xmldom_get_child_nodes, parent).handle(), place).handle();
    }
    static sql::handle attribute(const sql::handle &element, std::string_view name) {
        return call(xmldom_get_attribute_node, element, name).handle();
    }
    // A result as text: "null", a number, a truth value, a text, a node by its name, an SQLSTATE.
    static std::string shown(const sql::result &result, char kind) {
        if (result.failed()) {
            return result.error_->sqlstate;
        }
        if (result.is_null()) {
            return "null";
        }
        switch (kind) {
        case 't':
            return result.text();
        case 'i':
            return std::to_string(result.integer());
        case 'b':
            return result.boolean() ? "true" : "false";
        case 'l':
            return "list of " + std::to_string(call(xmldom_get_length, result.handle()).integer());
        case 'm':
            return "map of " +
                   std::to_string(call(xmldom_get_length_of_map, result.handle()).integer());
        default:
            return call(xmldom_get_node_name, result.handle()).text();
        }
    }
    void TearDown() override {
        EXPECT_TRUE(sql::check_invariants());
        sql::session_test::TearDown();
    }
};

// --- every function for nodes of every type -----------------------------------------------------

struct reader {
    const char *name;
    sql::function entry;
    char kind; // of the result
    // Outcomes for: document, element r, attribute p:b, text, section, comment, instruction,
    // document type, entity
    const char *outcomes[9];
};

// XD024: a node of another type is wanted.
constexpr const char *k_no = "XD024";
// clang-format off
const reader k_readers[] = {
    {"get_node_name", xmldom_get_node_name, 't',
     {"#document", "r", "p:b", "#text", "#cdata-section", "#comment", "p", "r", "pic"}},
    {"get_node_value", xmldom_get_node_value, 't',
     {"null", "null", "2", "text", "d", "c", "i", "null", "null"}},
    {"get_node_type", xmldom_get_node_type, 'i', {"9", "1", "2", "3", "4", "8", "7", "10", "6"}},
    {"get_namespace_uri", xmldom_get_namespace_uri, 't',
     {"null", "null", "urn:p", "null", "null", "null", "null", "null", "null"}},
    {"get_prefix", xmldom_get_prefix, 't',
     {"null", "null", "p", "null", "null", "null", "null", "null", "null"}},
    {"get_local_name", xmldom_get_local_name, 't',
     {"null", "r", "b", "null", "null", "null", "null", "null", "null"}},
    {"get_text_content", xmldom_get_text_content, 't',
     {"null", "textd ", "2", "text", "d", "c", "i", "null", "null"}},
    {"get_owner_document", xmldom_get_owner_document, 'n',
     {"null", "#document", "#document", "#document", "#document", "#document", "#document",
      "#document", "#document"}},
    {"get_path", xmldom_get_path, 't',
     {"/", "/r", "/r/@*[local-name()='b' and namespace-uri()='urn:p']", "/r/text()[1]",
      "/r/text()[2]", "/r/comment()", "/processing-instruction('p')", "null", "null"}},
    {"get_base_uri", xmldom_get_base_uri, 't',
     {"null", "null", "null", "null", "null", "null", "null", "null", "null"}},
    {"get_line_number", xmldom_get_line_number, 'i',
     {"null", "1", "1", "1", "null", "1", "1", "null", "null"}},
    {"get_parent_node", xmldom_get_parent_node, 'n',
     {"null", "#document", "null", "r", "r", "r", "#document", "#document", "null"}},
    {"get_first_child", xmldom_get_first_child, 'n',
     {"r", "#text", "#text", "null", "null", "null", "null", "null", "null"}},
    {"get_last_child", xmldom_get_last_child, 'n',
     {"r", "z", "#text", "null", "null", "null", "null", "null", "null"}},
    {"get_previous_sibling", xmldom_get_previous_sibling, 'n',
     {"null", "p", "null", "null", "#comment", "p:x", "r", "null", "null"}},
    {"get_next_sibling", xmldom_get_next_sibling, 'n',
     {"null", "null", "null", "p:x", "#text", "#cdata-section", "r", "p", "null"}},
    {"get_child_nodes", xmldom_get_child_nodes, 'l',
     {"list of 3", "list of 6", "list of 0", "list of 0", "list of 0", "list of 0", "list of 0",
      "list of 0", "list of 0"}},
    {"has_child_nodes", xmldom_has_child_nodes, 'b',
     {"true", "true", "false", "false", "false", "false", "false", "false", "false"}},
    {"get_document_element", xmldom_get_document_element, 'n',
     {"r", k_no, k_no, k_no, k_no, k_no, k_no, k_no, k_no}},
    {"first_element_child", xmldom_first_element_child, 'n',
     {"r", "p:x", "null", "null", "null", "null", "null", "null", "null"}},
    {"last_element_child", xmldom_last_element_child, 'n',
     {"r", "z", "null", "null", "null", "null", "null", "null", "null"}},
    {"previous_element_sibling", xmldom_previous_element_sibling, 'n',
     {"null", "null", "null", "null", "p:x", "p:x", "null", "null", "null"}},
    {"next_element_sibling", xmldom_next_element_sibling, 'n',
     {"null", "null", "null", "p:x", "z", "z", "r", "r", "null"}},
    {"child_element_count", xmldom_child_element_count, 'i',
     {"1", "2", "0", "0", "0", "0", "0", "0", "0"}},
    {"get_doctype", xmldom_get_doctype, 'n',
     {"r", k_no, k_no, k_no, k_no, k_no, k_no, k_no, k_no}},
    {"get_xml_version", xmldom_get_xml_version, 't',
     {"1.0", k_no, k_no, k_no, k_no, k_no, k_no, k_no, k_no}},
    {"get_xml_standalone", xmldom_get_xml_standalone, 'b',
     {"false", k_no, k_no, k_no, k_no, k_no, k_no, k_no, k_no}},
    {"get_xml_encoding", xmldom_get_xml_encoding, 't',
     {"null", k_no, k_no, k_no, k_no, k_no, k_no, k_no, k_no}},
    {"get_input_encoding", xmldom_get_input_encoding, 't',
     {"UTF-8", k_no, k_no, k_no, k_no, k_no, k_no, k_no, k_no}},
    {"get_document_uri", xmldom_get_document_uri, 't',
     {"null", k_no, k_no, k_no, k_no, k_no, k_no, k_no, k_no}},
    {"get_name", xmldom_get_name, 't',
     {k_no, k_no, "p:b", k_no, k_no, k_no, k_no, "r", "pic"}},
    {"get_public_id", xmldom_get_public_id, 't',
     {k_no, k_no, k_no, k_no, k_no, k_no, k_no, "null", "null"}},
    {"get_system_id", xmldom_get_system_id, 't',
     {k_no, k_no, k_no, k_no, k_no, k_no, k_no, "null", "p.gif"}},
    {"get_entities", xmldom_get_entities, 'l',
     {k_no, k_no, k_no, k_no, k_no, k_no, k_no, "list of 2", k_no}},
    {"get_notation_name", xmldom_get_notation_name, 't',
     {k_no, k_no, k_no, k_no, k_no, k_no, k_no, k_no, "n"}},
    {"get_target", xmldom_get_target, 't',
     {k_no, k_no, k_no, k_no, k_no, k_no, "p", k_no, k_no}},
    {"get_tag_name", xmldom_get_tag_name, 't',
     {k_no, "r", k_no, k_no, k_no, k_no, k_no, k_no, k_no}},
    {"get_attributes", xmldom_get_attributes, 'm',
     {"null", "map of 2", "null", "null", "null", "null", "null", "null", "null"}},
    {"has_attributes", xmldom_has_attributes, 'b',
     {"false", "true", "false", "false", "false", "false", "false", "false", "false"}},
    {"get_value", xmldom_get_value, 't',
     {k_no, k_no, "2", k_no, k_no, k_no, k_no, k_no, k_no}},
    {"get_specified", xmldom_get_specified, 'b',
     {k_no, k_no, "true", k_no, k_no, k_no, k_no, k_no, k_no}},
    {"is_id", xmldom_is_id, 'b',
     {k_no, k_no, "false", k_no, k_no, k_no, k_no, k_no, k_no}},
    {"get_owner_element", xmldom_get_owner_element, 'n',
     {k_no, k_no, "r", k_no, k_no, k_no, k_no, k_no, k_no}},
    {"get_data", xmldom_get_data, 't',
     {k_no, k_no, k_no, "text", "d", "c", "i", k_no, k_no}},
    {"get_length of data", xmldom_get_length_of_data, 'i',
     {k_no, k_no, k_no, "4", "1", "1", "1", k_no, k_no}},
    {"get_whole_text", xmldom_get_whole_text, 't',
     {k_no, k_no, k_no, "text", "d ", k_no, k_no, k_no, k_no}},
    {"is_element_content_whitespace", xmldom_is_element_content_whitespace, 'b',
     {k_no, k_no, k_no, "false", "false", k_no, k_no, k_no, k_no}},
};
// clang-format on

TEST_F(package_reading, every_function_for_every_type) {
    const sql::handle document = parsed(k_text);
    const sql::handle r = root(document);
    const sql::handle type = call(xmldom_get_doctype, document).handle();
    const sql::handle entity =
        call(xmldom_item, call(xmldom_get_entities, type).handle(), 1).handle();
    const sql::handle nodes[] = {document,           r,           attribute(r, "p:b"),
                                 child(r, 0),        child(r, 3), child(r, 2),
                                 child(document, 1), type,        entity};
    for (const reader &each : k_readers) {
        for (std::size_t place = 0; place < std::size(nodes); ++place) {
            // The first child of the document is its document type, which bears the root's name.
            EXPECT_EQ(shown(call(each.entry, nodes[place]), each.kind), each.outcomes[place])
                << each.name << " of node " << place;
        }
        EXPECT_TRUE(call(each.entry, sql::null).is_null()) << each.name;
    }
}

TEST_F(package_reading, lists_maps_and_handles_that_name_nothing) {
    const sql::handle document = parsed(k_text);
    const sql::handle r = root(document);
    const sql::handle list = call(xmldom_get_child_nodes, r).handle();
    const sql::handle map = call(xmldom_get_attributes, r).handle();
    const sql::handle gone = call(xml_dom_makenode, r).handle();
    call(xml_dom_free_node, gone);
    sql::handle forged = r;
    forged.bytes[4] = 0x7F;
    for (const reader &each : k_readers) {
        EXPECT_EQ(shown(call(each.entry, list), 'n'), k_no) << each.name;
        EXPECT_EQ(shown(call(each.entry, map), 'n'), k_no) << each.name;
        EXPECT_REPORT(call(each.entry, gone), reports::stale_handle) << each.name;
        EXPECT_REPORT(call(each.entry, forged), reports::unknown_handle) << each.name;
    }
    EXPECT_EQ(shown(call(xmldom_get_length, map), 'n'), k_no);
    EXPECT_EQ(shown(call(xmldom_get_length_of_map, list), 'n'), k_no);
    EXPECT_EQ(shown(call(xmldom_item, r, 0), 'n'), k_no);
}

TEST_F(package_reading, the_same_node_has_the_same_handle) {
    const sql::handle document = parsed(k_text);
    const sql::handle r = root(document);
    EXPECT_EQ(root(document), r);
    EXPECT_EQ(call(xmldom_get_parent_node, child(r, 1)).handle(), r);
    EXPECT_EQ(call(xmldom_get_owner_document, r).handle(), document);
    EXPECT_EQ(call(xmldom_get_owner_element, attribute(r, "a")).handle(), r);
    EXPECT_EQ(call(xmldom_get_attributes, r).handle(), call(xmldom_get_attributes, r).handle());
    EXPECT_EQ(call(xmldom_get_named_item, call(xmldom_get_attributes, r).handle(), "a").handle(),
              attribute(r, "a"));
    const int before = call(xml_dom_get_session_tree_num).integer();
    for (int round = 0; round < 3; ++round) {
        call(xmldom_get_first_child, r);
        call(xmldom_get_last_child, r);
        call(xmldom_next_element_sibling, child(r, 0));
    }
    // No handle of a node more than the nodes reached, and no list: there was one of these
    // children.
    EXPECT_EQ(call(xml_dom_get_session_tree_num).integer(), before + 2);
}

// --- attributes ---------------------------------------------------------------------------------

TEST_F(package_reading, attributes_by_name_and_by_namespace) {
    const sql::handle r = root(parsed(k_text));
    EXPECT_EQ(call(xmldom_get_attribute, r, "a").text(), "1");
    EXPECT_EQ(call(xmldom_get_attribute, r, "p:b").text(), "2");
    EXPECT_TRUE(call(xmldom_get_attribute, r, "b").is_null());
    EXPECT_TRUE(call(xmldom_get_attribute, r, "q:b").is_null());
    EXPECT_EQ(call(xmldom_get_attribute_ns, r, "b", "urn:p").text(), "2");
    EXPECT_TRUE(call(xmldom_get_attribute_ns, r, "b", sql::null).is_null());
    EXPECT_TRUE(call(xmldom_get_attribute_ns, r, "a", "urn:p").is_null());
    EXPECT_EQ(call(xmldom_get_attribute_ns, r, "a", sql::null).text(), "1");
    EXPECT_EQ(call(xmldom_get_attribute_ns, r, "a", "").text(), "1");
    EXPECT_TRUE(call(xmldom_has_attribute, r, "p:b").boolean());
    EXPECT_FALSE(call(xmldom_has_attribute, r, "b").boolean());
    EXPECT_TRUE(call(xmldom_has_attribute_ns, r, "b", "urn:p").boolean());
    EXPECT_FALSE(call(xmldom_has_attribute_ns, r, "b", "urn:q").boolean());
    EXPECT_EQ(call(xmldom_get_attribute_node_ns, r, "b", "urn:p").handle(), attribute(r, "p:b"));
    EXPECT_TRUE(call(xmldom_get_attribute_node, r, "b").is_null());
    EXPECT_TRUE(call(xmldom_get_attribute, r, sql::null).is_null());
    EXPECT_TRUE(call(xmldom_get_attribute, sql::null, "a").is_null());
    EXPECT_TRUE(call(xmldom_has_attribute, r, sql::null).is_null());
}

TEST_F(package_reading, a_default_has_a_value_and_no_node) {
    const sql::handle r = root(parsed(k_text));
    EXPECT_EQ(call(xmldom_get_attribute, r, "d").text(), "default");
    EXPECT_TRUE(call(xmldom_has_attribute, r, "d").boolean());
    EXPECT_EQ(call(xmldom_get_attribute_ns, r, "d", sql::null).text(), "default");
    EXPECT_TRUE(call(xmldom_get_attribute_ns, r, "d", "urn:p").is_null());
    EXPECT_TRUE(call(xmldom_get_attribute_node, r, "d").is_null());
}

TEST_F(package_reading, items_of_a_map_are_attributes) {
    const sql::handle map = call(xmldom_get_attributes, root(parsed(k_text))).handle();
    EXPECT_EQ(shown(call(xmldom_item_of_map, map, 0), 'n'), "a");
    EXPECT_EQ(shown(call(xmldom_item_of_map, map, 1), 'n'), "p:b");
    EXPECT_EQ(shown(call(xmldom_get_named_item, map, "p:b"), 'n'), "p:b");
    EXPECT_EQ(shown(call(xmldom_get_named_item_ns, map, "b", "urn:p"), 'n'), "p:b");
    for (const sql::result &nothing :
         {call(xmldom_item_of_map, map, 2), call(xmldom_item_of_map, map, -1),
          call(xmldom_item_of_map, map, sql::null), call(xmldom_item_of_map, sql::null, 0),
          call(xmldom_get_named_item, map, "b"), call(xmldom_get_named_item, map, sql::null),
          call(xmldom_get_named_item_ns, map, "b", sql::null)}) {
        EXPECT_TRUE(nothing.is_null());
    }
}

TEST_F(package_reading, items_of_a_list) {
    const sql::handle list = call(xmldom_get_child_nodes, root(parsed("<r> <a/></r>"))).handle();
    EXPECT_EQ(shown(call(xmldom_item, list, 0), 'n'), "#text");
    EXPECT_EQ(shown(call(xmldom_item, list, 1), 'n'), "a");
    EXPECT_TRUE(call(xmldom_item, list, 2).is_null());
    EXPECT_TRUE(call(xmldom_item, list, -1).is_null());
    EXPECT_TRUE(call(xmldom_item, list, sql::null).is_null());
    EXPECT_TRUE(call(xmldom_item, sql::null, 0).is_null());
    EXPECT_TRUE(call(xmldom_get_length, sql::null).is_null());
}

TEST_F(package_reading, elements_by_name) {
    const sql::handle document =
        parsed("<r xmlns:p='u' xmlns:q='u'><p:a/><a/><q:a><p:a/></q:a><b xmlns='u'/></r>");
    const auto count = [&document](sql::function entry, auto... arguments) {
        return call(xmldom_get_length, call(entry, document, arguments...).handle()).integer();
    };
    EXPECT_EQ(count(xmldom_get_elements_by_tag_name, "a"), 1);
    EXPECT_EQ(count(xmldom_get_elements_by_tag_name, "p:a"), 2);
    EXPECT_EQ(count(xmldom_get_elements_by_tag_name, "*"), 6);
    EXPECT_EQ(count(xmldom_get_elements_by_tag_name_ns, "a", "u"), 3);
    EXPECT_EQ(count(xmldom_get_elements_by_tag_name_ns, "*", "u"), 4);
    EXPECT_EQ(count(xmldom_get_elements_by_tag_name_ns, "a", "*"), 4);
    EXPECT_EQ(count(xmldom_get_elements_by_tag_name_ns, "a", ""), 1);
    EXPECT_EQ(count(xmldom_get_elements_by_tag_name_ns, "*", sql::null), 2);
    EXPECT_TRUE(call(xmldom_get_elements_by_tag_name, document, sql::null).is_null());
    EXPECT_EQ(
        call(xmldom_get_length, call(xmldom_get_elements_by_tag_name, root(document), "r").handle())
            .integer(),
        0);
}

// --- where nodes stand --------------------------------------------------------------------------

TEST_F(package_reading, positions) {
    const sql::handle document = parsed("<r a='1' b='2'><x><y/></x><z/>t</r>");
    const sql::handle r = root(document);
    const sql::handle x = child(r, 0);
    const sql::handle y = child(x, 0);
    const sql::handle z = child(r, 1);
    const sql::handle a = attribute(r, "a");
    const sql::handle b = attribute(r, "b");
    const auto position = [](const sql::handle &node, const sql::handle &other) {
        return call(xmldom_compare_document_position, node, other).integer();
    };
    EXPECT_EQ(position(x, x), 0);
    EXPECT_EQ(position(x, z), 4);
    EXPECT_EQ(position(z, x), 2);
    EXPECT_EQ(position(y, z), 4);
    EXPECT_EQ(position(z, y), 2);
    EXPECT_EQ(position(r, y), 16 + 4);
    EXPECT_EQ(position(y, r), 8 + 2);
    EXPECT_EQ(position(document, y), 16 + 4);
    EXPECT_EQ(position(r, a), 16 + 4);
    EXPECT_EQ(position(a, r), 8 + 2);
    EXPECT_EQ(position(a, x), 4);
    EXPECT_EQ(position(y, a), 2);
    EXPECT_EQ(position(a, b), 32 + 4);
    EXPECT_EQ(position(b, a), 32 + 2);
    EXPECT_TRUE(call(xmldom_compare_document_position, x, sql::null).is_null());
    const sql::handle other = root(parsed("<o/>"));
    EXPECT_EQ(position(x, other), 1 + 32 + 4);
    EXPECT_EQ(position(other, x), 1 + 32 + 2);
    EXPECT_EQ(position(y, other), 1 + 32 + 4);
    EXPECT_TRUE(call(xmldom_contains, r, y).boolean());
    EXPECT_TRUE(call(xmldom_contains, r, r).boolean());
    EXPECT_FALSE(call(xmldom_contains, x, z).boolean());
    EXPECT_FALSE(call(xmldom_contains, r, a).boolean());
    EXPECT_FALSE(call(xmldom_contains, r, sql::null).boolean());
    EXPECT_TRUE(call(xmldom_contains, sql::null, r).is_null());
    EXPECT_TRUE(call(xmldom_is_same_node, r, call(xml_dom_makenode, r).handle()).boolean());
    EXPECT_FALSE(call(xmldom_is_same_node, r, x).boolean());
}

TEST_F(package_reading, positions_of_siblings_far_apart) {
    std::string text = "<r>";
    for (int place = 0; place < 20000; ++place) {
        text += "<e/>";
    }
    const sql::handle r = root(parsed(text + "</r>"));
    const sql::handle first = call(xmldom_get_first_child, r).handle();
    const sql::handle last = call(xmldom_get_last_child, r).handle();
    EXPECT_EQ(call(xmldom_compare_document_position, first, last).integer(), 4);
    EXPECT_EQ(call(xmldom_compare_document_position, last, first).integer(), 2);
}

// --- equality -----------------------------------------------------------------------------------

TEST_F(package_reading, equality) {
    const auto equal = [](std::string_view left, std::string_view right) {
        return call(xmldom_is_equal_node, parsed(left), parsed(right)).boolean();
    };
    EXPECT_TRUE(equal(k_text, k_text));
    EXPECT_TRUE(equal("<a x='1' y='2'/>", "<a y='2' x='1'/>"));
    EXPECT_TRUE(equal("<a xmlns:p='u'/>", "<a/>"));
    EXPECT_TRUE(equal("<a>t</a>", "<a>t</a>"));
    for (const auto &[left, right] : std::vector<std::pair<const char *, const char *>>{
             {"<a/>", "<b/>"},
             {"<a/>", "<a> </a>"},
             {"<a>t</a>", "<a>u</a>"},
             {"<a>t</a>", "<a><![CDATA[t]]></a>"},
             {"<a x='1'/>", "<a x='2'/>"},
             {"<a x='1'/>", "<a/>"},
             {"<a/>", "<a x='1'/>"},
             {"<a x='1' y='2'/>", "<a x='1' z='2'/>"},
             {"<p:a xmlns:p='u'/>", "<q:a xmlns:q='u'/>"},
             {"<p:a xmlns:p='u'/>", "<p:a xmlns:p='v'/>"},
             {"<a xmlns='u'/>", "<a/>"},
             {"<a><b/></a>", "<a><b/><b/></a>"},
             {"<a><b/><b/></a>", "<a><b/></a>"},
             {"<a><b><c/></b></a>", "<a><b/><c/></a>"},
             {"<a><!--x--></a>", "<a><!--y--></a>"},
             {"<a><?x y?></a>", "<a><?z y?></a>"},
             {"<!DOCTYPE a><a/>", "<a/>"},
             {"<!DOCTYPE a><a/>", "<!DOCTYPE a SYSTEM 's'><a/>"},
             {"<!DOCTYPE a [<!ENTITY e 'x'>]><a/>", "<!DOCTYPE a [<!ENTITY e 'y'>]><a/>"}}) {
        EXPECT_FALSE(equal(left, right)) << left << " " << right;
    }
    const sql::handle r = root(parsed("<r><a>x</a><b/><a>x</a><c/></r>"));
    EXPECT_TRUE(call(xmldom_is_equal_node, child(r, 0), child(r, 2)).boolean());
    EXPECT_FALSE(call(xmldom_is_equal_node, child(r, 0), child(r, 1)).boolean());
    EXPECT_FALSE(call(xmldom_is_equal_node, r, sql::null).boolean());
    EXPECT_TRUE(call(xmldom_is_equal_node, sql::null, r).is_null());
}

TEST_F(package_reading, equality_of_many_attributes_in_another_order) {
    std::string forward = "<a";
    std::string backward = "<a";
    for (int place = 0; place < 2000; ++place) {
        forward += " a" + std::to_string(place) + "='v'";
        backward += " a" + std::to_string(1999 - place) + "='v'";
    }
    EXPECT_TRUE(
        call(xmldom_is_equal_node, parsed(forward + "/>"), parsed(backward + "/>")).boolean());
    EXPECT_FALSE(
        call(xmldom_is_equal_node, parsed(forward + "/>"), parsed(backward + " b=''/>")).boolean());
}

// --- namespaces ---------------------------------------------------------------------------------

TEST_F(package_reading, namespaces_in_scope) {
    const sql::handle document =
        parsed("<r xmlns='d' xmlns:p='u' xmlns:q='u'><a xmlns:p='v' xmlns=''><b/>t</a></r>");
    const sql::handle r = root(document);
    const sql::handle b = child(child(r, 0), 0);
    const auto uri = [](const sql::handle &node, const sql::value &prefix) {
        return shown(call(xmldom_lookup_namespace_uri, node, prefix), 't');
    };
    EXPECT_EQ(uri(b, "p"), "v");
    EXPECT_EQ(uri(b, "q"), "u");
    EXPECT_EQ(uri(b, sql::null), "null");
    EXPECT_EQ(uri(r, sql::null), "d");
    EXPECT_EQ(uri(r, "p"), "u");
    EXPECT_EQ(uri(document, "p"), "u");
    EXPECT_EQ(uri(child(child(r, 0), 1), "p"), "v");
    EXPECT_EQ(uri(b, "none"), "null");
    EXPECT_EQ(uri(b, "xml"), "http://www.w3.org/XML/1998/namespace");
    EXPECT_EQ(uri(b, "xmlns"), "http://www.w3.org/2000/xmlns/");
    const auto prefix = [](const sql::handle &node, const sql::value &of) {
        return shown(call(xmldom_lookup_prefix, node, of), 't');
    };
    EXPECT_EQ(prefix(b, "u"), "q"); // p means something else here
    EXPECT_EQ(prefix(r, "u"), "p");
    EXPECT_EQ(prefix(b, "v"), "p");
    EXPECT_EQ(prefix(b, "d"), "null");
    EXPECT_EQ(prefix(b, sql::null), "null");
    EXPECT_EQ(prefix(b, "http://www.w3.org/XML/1998/namespace"), "xml");
    EXPECT_TRUE(call(xmldom_is_default_namespace, r, "d").boolean());
    EXPECT_FALSE(call(xmldom_is_default_namespace, b, "d").boolean());
    EXPECT_TRUE(call(xmldom_is_default_namespace, b, sql::null).boolean());
    EXPECT_TRUE(call(xmldom_is_default_namespace, sql::null, "d").is_null());
}

TEST_F(package_reading, base_uris) {
    const sql::handle document =
        parsed("<r xml:base='http://h/a/'><b xml:base='c/d'><e xml:base='../f'/></b><g/></r>");
    const sql::handle r = root(document);
    EXPECT_EQ(call(xmldom_get_base_uri, r).text(), "http://h/a/");
    EXPECT_EQ(call(xmldom_get_base_uri, child(r, 0)).text(), "http://h/a/c/d");
    EXPECT_EQ(call(xmldom_get_base_uri, child(child(r, 0), 0)).text(), "http://h/a/f");
    EXPECT_EQ(call(xmldom_get_base_uri, child(r, 1)).text(), "http://h/a/");
}

// --- texts --------------------------------------------------------------------------------------

TEST_F(package_reading, data_counts_characters) {
    const sql::handle text = child(root(parsed("<r>gr\xC3\xB6\xC3\x9F"
                                               "e \xF0\x9F\x98\x80!</r>")),
                                   0);
    EXPECT_EQ(call(xmldom_get_length_of_data, text).integer(), 8);
    const auto part = [&text](int start, int count) {
        return call(xmldom_substring_data, text, start, count).text();
    };
    EXPECT_EQ(part(0, 2), "gr");
    EXPECT_EQ(part(2, 2), "\xC3\xB6\xC3\x9F");
    EXPECT_EQ(part(6, 1), "\xF0\x9F\x98\x80");
    EXPECT_EQ(part(7, 100), "!");
    EXPECT_EQ(part(8, 1), "");
    EXPECT_EQ(part(3, 0), "");
    EXPECT_EQ(shown(call(xmldom_substring_data, text, 9, 1), 't'), "XD001");
    EXPECT_EQ(shown(call(xmldom_substring_data, text, -1, 1), 't'), "XD001");
    EXPECT_EQ(shown(call(xmldom_substring_data, text, 1, -1), 't'), "XD001");
    EXPECT_TRUE(call(xmldom_substring_data, text, sql::null, 1).is_null());
    EXPECT_TRUE(call(xmldom_substring_data, sql::null, 0, 1).is_null());
    const sql::result failed = call(xmldom_substring_data, text, 9, 1);
    EXPECT_EQ(failed.error_->message,
              "offset 9 lies beyond the end of a text, which has 8 characters");
}

TEST_F(package_reading, texts_of_trees) {
    const sql::handle r = root(parsed("<r>a<b>b<![CDATA[<c>]]></b><!--no--><?no no?><d/> e</r>"));
    EXPECT_EQ(call(xmldom_get_text_content, r).text(), "ab<c> e");
    EXPECT_EQ(call(xmldom_get_text_content, child(r, 1)).text(), "b<c>");
    EXPECT_EQ(call(xmldom_get_text_content, child(r, 4)).text(), "");
    EXPECT_EQ(call(xmldom_get_whole_text, child(child(r, 1), 1)).text(), "b<c>");
}

TEST_F(package_reading, blanks_between_elements) {
    const char *const type = "<!DOCTYPE r [<!ELEMENT r (a*)><!ELEMENT a (#PCDATA)>]>";
    const sql::handle r = root(parsed(std::string(type) + "<r> <a> </a></r>"));
    EXPECT_TRUE(call(xmldom_is_element_content_whitespace, child(r, 0)).boolean());
    EXPECT_FALSE(call(xmldom_is_element_content_whitespace, child(child(r, 1), 0)).boolean());
    const sql::handle untyped = root(parsed("<r> <a/></r>"));
    EXPECT_FALSE(call(xmldom_is_element_content_whitespace, child(untyped, 0)).boolean());
    const sql::handle prefixed =
        root(parsed("<!DOCTYPE p:r [<!ELEMENT p:r (p:a)><!ELEMENT r ANY><!ELEMENT p:a ANY>"
                    "<!ELEMENT a (r)>]><p:r xmlns:p='u'> <p:a> </p:a></p:r>"));
    EXPECT_TRUE(call(xmldom_is_element_content_whitespace, child(prefixed, 0)).boolean());
    EXPECT_FALSE(
        call(xmldom_is_element_content_whitespace, child(child(prefixed, 1), 0)).boolean());
}

// --- documents ----------------------------------------------------------------------------------

TEST_F(package_reading, what_a_document_declares) {
    const sql::handle document =
        parsed("<?xml version='1.0' encoding='ISO-8859-1' standalone='yes'?>"
               "<!DOCTYPE r PUBLIC 'pub' 'sys' [<!--c--><!ENTITY e 'v'>]><r/>");
    EXPECT_EQ(call(xmldom_get_xml_version, document).text(), "1.0");
    EXPECT_EQ(call(xmldom_get_xml_encoding, document).text(), "ISO-8859-1");
    EXPECT_EQ(call(xmldom_get_input_encoding, document).text(), "ISO-8859-1");
    EXPECT_TRUE(call(xmldom_get_xml_standalone, document).boolean());
    const sql::handle type = call(xmldom_get_doctype, document).handle();
    EXPECT_EQ(call(xmldom_get_public_id, type).text(), "pub");
    EXPECT_EQ(call(xmldom_get_system_id, type).text(), "sys");
    EXPECT_EQ(call(xmldom_get_internal_subset, type).text(), "<!--c-->\n<!ENTITY e \"v\">\n");
    const sql::handle made = call(xml_dom_new_document_empty).handle();
    EXPECT_TRUE(call(xmldom_get_input_encoding, made).is_null());
    EXPECT_TRUE(call(xmldom_get_doctype, made).is_null());
    EXPECT_TRUE(call(xmldom_get_document_element, made).is_null());
    EXPECT_EQ(call(xmldom_get_xml_version, made).text(), "1.0");
}

// --- paths --------------------------------------------------------------------------------------

TEST_F(package_reading, paths_count_what_they_share_a_step_with) {
    const sql::handle r = root(parsed(
        "<r><a/>t<b/><a x='1'/><![CDATA[c]]><p:a xmlns:p='u'/><?i 1?><?j?><?i 2?><!--c--></r>"));
    const std::vector<const char *> expected = {"/r/a[1]",
                                                "/r/text()[1]",
                                                "/r/b",
                                                "/r/a[2]",
                                                "/r/text()[2]",
                                                "/r/*[4]",
                                                "/r/processing-instruction('i')[1]",
                                                "/r/processing-instruction('j')",
                                                "/r/processing-instruction('i')[2]",
                                                "/r/comment()"};
    for (std::size_t place = 0; place < expected.size(); ++place) {
        EXPECT_EQ(call(xmldom_get_path, child(r, static_cast<int>(place))).text(), expected[place]);
    }
    EXPECT_EQ(call(xmldom_get_path, attribute(child(r, 3), "x")).text(), "/r/a[2]/@x");
    const sql::handle document = parsed("<d/>");
    const sql::handle loose = call(xml_dom_create_element, document, "loose").handle();
    EXPECT_EQ(call(xmldom_get_path, loose).text(), "/");
}

TEST_F(package_reading, lines) {
    const sql::handle r = root(parsed("<r>\n<a/>\n\n<b\n x='1'/></r>"));
    EXPECT_EQ(call(xmldom_get_line_number, r).integer(), 1);
    EXPECT_EQ(call(xmldom_get_line_number, child(r, 1)).integer(), 2);
    const sql::handle made =
        call(xml_dom_create_element, call(xmldom_get_owner_document, r).handle(), "m").handle();
    EXPECT_TRUE(call(xmldom_get_line_number, made).is_null());
    const sql::handle far = root(parsed("<r>" + std::string(70000, '\n') + "<a/></r>"));
    EXPECT_TRUE(call(xmldom_get_line_number, child(far, 1)).is_null());
}

// --- deep and wide ------------------------------------------------------------------------------

TEST_F(package_reading, deep_trees) {
    constexpr int k_depth = 2000;
    std::string text;
    for (int level = 0; level < k_depth; ++level) {
        text += "<a>";
    }
    text += "t";
    for (int level = 0; level < k_depth; ++level) {
        text += "</a>";
    }
    const sql::handle document = parsed(text);
    const sql::handle other = parsed(text);
    EXPECT_TRUE(call(xmldom_is_equal_node, document, other).boolean());
    EXPECT_EQ(call(xmldom_get_text_content, root(document)).text(), "t");
    const sql::handle list = call(xmldom_get_elements_by_tag_name, document, "a").handle();
    const sql::handle deepest = call(xmldom_item, list, k_depth - 1).handle();
    EXPECT_EQ(call(xmldom_compare_document_position, document, deepest).integer(), 16 + 4);
    EXPECT_EQ(call(xmldom_get_path, deepest).text().size(), 2U * k_depth);
}

// --- failures -----------------------------------------------------------------------------------

struct read_trees {
    sql::handle document, r, attribute, text, type, list, map;

    void build() {
        document = call(xmldom_parse_text, k_text).handle();
        r = call(xmldom_get_document_element, document).handle();
        attribute = call(xmldom_get_attribute_node, r, "p:b").handle();
        text = call(xmldom_get_first_child, r).handle();
        type = call(xmldom_get_doctype, document).handle();
        list = call(xmldom_get_child_nodes, r).handle();
        map = call(xmldom_get_attributes, r).handle();
    }
    [[nodiscard]] std::string state() const {
        return call(xml_dom_write_to_buffer_doc, document).text();
    }
};

using argument_list = std::vector<sql::value>;
struct failing_call {
    const char *name;
    sql::function entry;
    argument_list (*arguments)(const read_trees &);
};
#define FAILING(function, ...)                                                                     \
    failing_call {                                                                                 \
#function, function,                                                                       \
            []([[maybe_unused]] const read_trees &t) { return argument_list{__VA_ARGS__}; }        \
    }
// clang-format off
const failing_call k_failing[] = {
    FAILING(xmldom_get_node_name, t.attribute), FAILING(xmldom_get_node_value, t.attribute),
    FAILING(xmldom_get_text_content, t.document), FAILING(xmldom_get_text_content, t.r),
    FAILING(xmldom_get_base_uri, t.r), FAILING(xmldom_get_path, t.attribute),
    FAILING(xmldom_get_first_child, t.r), FAILING(xmldom_get_last_child, t.r),
    FAILING(xmldom_get_child_nodes, t.r), FAILING(xmldom_get_child_nodes, t.document),
    FAILING(xmldom_get_children_by_tag_name, t.r, "*"), FAILING(xmldom_get_elements_by_tag_name, t.r, "*"),
    FAILING(xmldom_get_elements_by_tag_name_ns, t.r, "x", "urn:p"),
    FAILING(xmldom_get_attribute, t.r, "p:b"), FAILING(xmldom_get_attribute, t.r, "d"),
    FAILING(xmldom_get_attribute_ns, t.r, "b", "urn:p"),
    FAILING(xmldom_get_attribute_node, t.r, "a"), FAILING(xmldom_get_attributes, t.r),
    FAILING(xmldom_item, t.list, 2), FAILING(xmldom_item_of_map, t.map, 0),
    FAILING(xmldom_get_named_item, t.map, "a"),
    FAILING(xmldom_is_equal_node, t.document, t.document),
    FAILING(xmldom_compare_document_position, t.r, t.attribute),
    FAILING(xmldom_lookup_prefix, t.r, "urn:p"), FAILING(xmldom_lookup_namespace_uri, t.r, "p"),
    FAILING(xmldom_get_internal_subset, t.type), FAILING(xmldom_get_entities, t.type),
    FAILING(xmldom_substring_data, t.text, 1, 2), FAILING(xmldom_get_whole_text, t.text),
    FAILING(xmldom_get_owner_document, t.r),
};
// clang-format on
#undef FAILING

// Every allocation of every call fails once: it is reported or does not matter, and nothing
// changes.
TEST(package_reading_failures, every_allocation) {
    sql::sweep_figures figures;
    for (const failing_call &each : k_failing) {
        auto trees = std::make_shared<read_trees>();
        sql::scenario played;
        played.name = each.name;
        played.prepare = [trees] { trees->build(); };
        played.run = [trees, &each] { return sql::call_with(each.entry, each.arguments(*trees)); };
        played.state = [trees] { return trees->state(); };
        figures += sql::sweep_allocation_failures(played);
    }
    EXPECT_GT(figures.reported, 50);
    std::printf("             %lld injected, %lld reported, %lld harmless\n",
                static_cast<long long>(figures.rounds), static_cast<long long>(figures.reported),
                static_cast<long long>(figures.harmless));
}

} // namespace
