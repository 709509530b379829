// Parser objects: their registry, parsing and validation, and the hand-over of documents.
#include "support/sql.hpp"

#include "faults.hpp"
#include "host/session.hpp"
#include "libxml/xml.hpp"
#include "registry/parser_registry.hpp"
#include "standalone_session.hpp"

#include <cstring>
#include <functional>

namespace {

using pkg_dbe_xml::parser_key;
namespace standalone = host::standalone;

constexpr const char *k_invalid =
    "<!DOCTYPE a [<!ELEMENT a (b)><!ELEMENT b EMPTY>]>\n<a>\n  <c/>\n  <d/></a>";
constexpr const char *k_valid = "<!DOCTYPE a [<!ELEMENT a (b)><!ELEMENT b EMPTY>]><a><b/></a>";

class parser_objects : public sql::session_test {
  protected:
    static sql::handle new_parser() { return sql::call(xmlparser_new_parser).handle(); }
    static sql::result parse(const sql::handle &parser, std::string_view text) {
        return sql::call(xmlparser_parse_clob, parser, text);
    }
    static sql::result get_doc(const sql::handle &parser) {
        return sql::call(xmlparser_get_doc, parser);
    }
    static std::string root_name(const sql::handle &document) {
        return sql::call(xml_dom_get_tagname,
                         sql::call(xml_dom_get_document_element, document).handle())
            .text();
    }
    static pkg_dbe_xml::XmlParserHashEntry &record(const sql::handle &parser) {
        parser_key key{};
        std::memcpy(key.bytes.data(), parser.bytes.data(), parser.bytes.size());
        return *pkg_dbe_xml::xml_parser_get_hashentry(key)->parser;
    }
    static const std::vector<host::warning_fields> &warnings() { return standalone::warnings(); }
};

sql::handle handle_of(const parser_key &key) {
    sql::handle handle;
    std::memcpy(handle.bytes.data(), key.bytes.data(), handle.bytes.size());
    return handle;
}

// --- the registry -------------------------------------------------------------------------------

TEST_F(parser_objects, handles_are_numbers_and_zeros) {
    const sql::handle first = new_parser();
    const sql::handle second = new_parser();
    EXPECT_EQ(first.bytes, (std::array<std::uint8_t, 13>{}));
    EXPECT_EQ(second.bytes, (std::array<std::uint8_t, 13>{1}));
    EXPECT_EQ(host::u_sess.next_parser_id, 2U);
}

TEST_F(parser_objects, handles_have_a_four_byte_header_and_live_as_long_as_other_results) {
    const sql::result made = sql::call(xmlparser_new_parser);
    EXPECT_EQ(made.stored_bytes().size(), 17U);
    EXPECT_EQ(standalone::context_of_allocation(reinterpret_cast<const void *>(made.datum())),
              host::current_memory_context());
    parse(made.handle(), "<a/>");
    const sql::result document = get_doc(made.handle());
    EXPECT_EQ(document.stored_bytes().size(), 17U);
    EXPECT_EQ(standalone::context_of_allocation(reinterpret_cast<const void *>(document.datum())),
              host::current_memory_context());
}

TEST_F(parser_objects, first_use_makes_context_and_table) {
    EXPECT_EQ(host::u_sess.xmlparser_context, nullptr);
    EXPECT_EQ(host::u_sess.xmlparser_map, nullptr);
    new_parser();
    EXPECT_STREQ(standalone::name_of(host::u_sess.xmlparser_context), "SessionXMLMemoryContext");
    EXPECT_EQ(host::hash_get_num_entries(host::u_sess.xmlparser_map), 1U);
    EXPECT_EQ(host::u_sess.clean_up, pkg_dbe_xml::xml_clean_all_res);
    EXPECT_EQ(host::u_sess.registry, nullptr); // no DOM handle yet
}

TEST_F(parser_objects, first_parser_costs_kilobytes) {
    new_parser();
    const auto use = standalone::memory_of(host::u_sess.xmlparser_context);
    EXPECT_LT(use.bytes, 16U * 1024);
    EXPECT_LT(host::gate.bytes_in_use, 64 * 1024);
}

TEST_F(parser_objects, internal_functions) {
    using namespace pkg_dbe_xml;
    parser_key key{};
    xml_parser_generate_key(0x01020304, key);
    EXPECT_EQ(handle_of(key).bytes, (std::array<std::uint8_t, 13>{4, 3, 2, 1}));
    EXPECT_EQ(xml_parser_get_hashentry(key), nullptr); // makes the table
    EXPECT_NE(host::u_sess.xmlparser_map, nullptr);
    EXPECT_EQ(xml_parser_get_next_id(), 0U);
    EXPECT_EQ(xml_parser_get_next_id(), 1U);
    parser_map_entry *entry = xml_parser_insert_hashentry(key, nullptr);
    EXPECT_EQ(entry->key.bytes, key.bytes);
    EXPECT_EQ(xml_parser_get_hashentry(key), entry);
    xml_parser_delete_hashentry(key);
    EXPECT_EQ(xml_parser_get_hashentry(key), nullptr);
}

TEST_F(parser_objects, inserting_twice_and_deleting_twice_are_reported) {
    // A record under the number that comes next.
    const sql::handle first = new_parser();
    host::u_sess.next_parser_id = 0;
    EXPECT_REPORT(sql::call(xmlparser_new_parser), reports::parser_exists);
    EXPECT_EQ(host::hash_get_num_entries(host::u_sess.xmlparser_map), 1U);
    EXPECT_TRUE(sql::call(xmlparser_get_validation_mode, first).boolean());
}

host::datum delete_unknown_key(host::call &call) {
    pkg_dbe_xml::xml_parser_delete_hashentry({});
    return call.null();
}
host::datum delete_unknown_entry(host::call_record *record) {
    return host::invoke(record, delete_unknown_key);
}

TEST_F(parser_objects, deleting_an_unknown_key_is_reported) {
    EXPECT_REPORT(sql::call(delete_unknown_entry), reports::parser_not_found);
}

TEST_F(parser_objects, last_number_is_16777215) {
    host::u_sess.next_parser_id = 16777215;
    const sql::handle last = new_parser();
    EXPECT_EQ(last.bytes, (std::array<std::uint8_t, 13>{0xFF, 0xFF, 0xFF}));
    EXPECT_REPORT(sql::call(xmlparser_new_parser), reports::too_many_parsers);
    // Freeing makes no room.
    sql::call(xmlparser_free_parser, last);
    EXPECT_REPORT(sql::call(xmlparser_new_parser), reports::too_many_parsers);
    EXPECT_EQ(host::hash_get_num_entries(host::u_sess.xmlparser_map), 0U);
}

TEST_F(parser_objects, those_with_the_last_numbers_are_freed_as_others_are) {
    host::u_sess.next_parser_id = 16777214;
    new_parser();
    new_parser();
    EXPECT_REPORT(sql::call(xmlparser_new_parser), reports::too_many_parsers);
    EXPECT_EQ(pkg_dbe_xml::xml_parser_next_id(), pkg_dbe_xml::k_last_parser_id + 1);
    EXPECT_EQ(pkg_dbe_xml::xml_parser_release_since(16777215), 1U);
    EXPECT_EQ(pkg_dbe_xml::xml_parser_release_since(16777214), 1U);
    EXPECT_EQ(host::hash_get_num_entries(host::u_sess.xmlparser_map), 0U);
    // However often it is tried, the numbers do not begin again.
    for (int round = 0; round < 3; ++round) {
        EXPECT_REPORT(sql::call(xmlparser_new_parser), reports::too_many_parsers);
        EXPECT_EQ(host::u_sess.next_parser_id, 16777216U);
    }
}

TEST_F(parser_objects, an_entry_without_a_record_is_cleaned) {
    const sql::handle parser = new_parser();
    pkg_dbe_xml::parser_key key{};
    pkg_dbe_xml::xml_parser_generate_key(77, key);
    EXPECT_EQ(pkg_dbe_xml::xml_parser_insert_hashentry(key, nullptr)->parser, nullptr);
    EXPECT_EQ(standalone::reset_session(), 0);
    EXPECT_EQ(host::u_sess.xmlparser_map, nullptr);
    EXPECT_REPORT(get_doc(parser), reports::parser_not_found);
}

TEST_F(parser_objects, numbers_go_on_after_a_clean_up) {
    const sql::handle first = new_parser();
    EXPECT_EQ(standalone::reset_session(), 0);
    EXPECT_EQ(host::u_sess.xmlparser_map, nullptr);
    EXPECT_EQ(host::u_sess.xmlparser_context, nullptr);
    EXPECT_REPORT(get_doc(first), reports::parser_not_found);
    EXPECT_EQ(new_parser().bytes, (std::array<std::uint8_t, 13>{1}));
}

TEST_F(parser_objects, table_is_cleaned_alone) {
    const sql::handle handed_over = new_parser();
    parse(handed_over, "<kept/>");
    const sql::handle document = get_doc(handed_over).handle();
    const sql::handle holding = new_parser();
    parse(holding, "<freed/>");
    new_parser(); // empty
    pkg_dbe_xml::xml_parser_table_clean_res();
    EXPECT_EQ(host::u_sess.xmlparser_map, nullptr);
    EXPECT_NE(host::u_sess.xmlparser_context, nullptr);
    EXPECT_EQ(root_name(document), "kept");    // the registry's, not the parser's
    pkg_dbe_xml::xml_parser_table_clean_res(); // nothing left: does nothing
    EXPECT_REPORT(get_doc(holding), reports::parser_not_found);
}

TEST_F(parser_objects, session_ends_clean_in_every_state) {
    const sql::handle holding = new_parser();
    parse(holding, "<a/>");
    const sql::handle handed_over = new_parser();
    parse(handed_over, "<b/>");
    get_doc(handed_over);
    get_doc(handed_over);
    const sql::handle document_gone = new_parser();
    parse(document_gone, "<c/>");
    sql::call(xml_dom_free_document, get_doc(document_gone).handle());
    const sql::handle freed = new_parser();
    parse(freed, "<d/>");
    sql::call(xmlparser_free_parser, freed);
    new_parser();
    restart_session(); // fails when something is left
}

TEST_F(parser_objects, session_with_parsers_alone_ends_clean) {
    parse(new_parser(), "<a/>");
    EXPECT_EQ(host::u_sess.registry, nullptr);
    restart_session();
}

// --- handles ------------------------------------------------------------------------------------

constexpr sql::function k_reported[] = {xmlparser_get_doc, xmlparser_get_validation_mode};

TEST_F(parser_objects, unknown_parser_is_reported) {
    const sql::handle unknown = new_parser();
    sql::call(xmlparser_free_parser, unknown);
    for (const sql::function function : k_reported) {
        EXPECT_REPORT(sql::call(function, unknown), reports::parser_not_found);
    }
    EXPECT_REPORT(sql::call(xmlparser_set_validation_mode, unknown, true),
                  reports::parser_not_found);
    EXPECT_REPORT(sql::call(xmlparser_parse_clob, unknown, "<a/>"), reports::parser_not_found);
    EXPECT_REPORT(sql::call(xmlparser_parse_buffer, unknown, "<a/>"), reports::parser_not_found);
    EXPECT_TRUE(sql::call(xmlparser_free_parser, unknown).is_null()); // in silence
}

TEST_F(parser_objects, value_of_another_size_is_no_handle) {
    new_parser();
    for (const std::size_t size : {0U, 10U, 12U, 14U}) {
        for (const auto form :
             {sql::handle::header_form::long_form, sql::handle::header_form::short_form}) {
            const sql::raw value{std::vector<std::uint8_t>(size), form};
            for (const sql::function function : k_reported) {
                EXPECT_REPORT(sql::call(function, value), reports::handle_not_found);
            }
            EXPECT_REPORT(sql::call(xmlparser_free_parser, value), reports::handle_not_found);
            EXPECT_REPORT(sql::call(xmlparser_set_validation_mode, value, true),
                          reports::handle_not_found);
            EXPECT_REPORT(sql::call(xmlparser_parse_clob, value, "<a/>"),
                          reports::handle_not_found);
            EXPECT_REPORT(sql::call(xmlparser_parse_buffer, value, "<a/>"),
                          reports::handle_not_found);
        }
    }
}

TEST_F(parser_objects, both_header_forms_are_read) {
    sql::handle parser = new_parser();
    parser.header = sql::handle::header_form::short_form;
    EXPECT_FALSE(parse(parser, "<a/>").failed());
    parser.header = sql::handle::header_form::long_form;
    EXPECT_EQ(root_name(get_doc(parser).handle()), "a");
}

TEST_F(parser_objects, null_arguments) {
    const sql::handle parser = new_parser();
    // The text of a CLOB is tested first, the parser of a buffer.
    EXPECT_REPORT_WITH_HINT(sql::call(xmlparser_parse_clob, sql::null, sql::null),
                            reports::null_not_allowed, "2");
    EXPECT_REPORT_WITH_HINT(sql::call(xmlparser_parse_clob, parser, sql::null),
                            reports::null_not_allowed, "2");
    EXPECT_TRUE(sql::call(xmlparser_parse_clob, sql::null, "<a/>").is_null());
    EXPECT_TRUE(sql::call(xmlparser_parse_buffer, sql::null, sql::null).is_null());
    EXPECT_TRUE(sql::call(xmlparser_parse_buffer, sql::null, "<a/>").is_null());
    EXPECT_REPORT_WITH_HINT(sql::call(xmlparser_parse_buffer, parser, sql::null),
                            reports::null_not_allowed, "2");
    // A parser that is not tested for null is no handle.
    EXPECT_REPORT(sql::call(xmlparser_set_validation_mode, sql::null, true),
                  reports::handle_not_found);
    EXPECT_REPORT(sql::call(xmlparser_get_validation_mode, sql::null), reports::handle_not_found);
    EXPECT_REPORT(sql::call(xmlparser_get_doc, sql::null), reports::handle_not_found);
    EXPECT_REPORT(sql::call(xmlparser_free_parser, sql::null), reports::handle_not_found);
}

TEST_F(parser_objects, order_of_the_tests_of_a_buffer) {
    const sql::handle parser = new_parser();
    sql::call(xmlparser_free_parser, parser);
    const std::string long_text(32768, ' ');
    EXPECT_REPORT(sql::call(xmlparser_parse_buffer, sql::raw{{1, 2}}, sql::null),
                  reports::handle_not_found);
    EXPECT_REPORT_WITH_HINT(sql::call(xmlparser_parse_buffer, parser, sql::null),
                            reports::null_not_allowed, "2");
    EXPECT_REPORT(sql::call(xmlparser_parse_buffer, parser, long_text), reports::parser_not_found);
}

// --- parsing ------------------------------------------------------------------------------------

TEST_F(parser_objects, states) {
    const sql::handle parser = new_parser();
    EXPECT_TRUE(get_doc(parser).is_null()); // empty
    EXPECT_TRUE(parse(parser, "<a/>").is_null());
    EXPECT_FALSE(record(parser).docHandedOver); // holding
    const sql::handle first = get_doc(parser).handle();
    EXPECT_TRUE(record(parser).docHandedOver);
    EXPECT_EQ(record(parser).doc, pkg_dbe_xml::as_node(record(parser).doc)->doc);
    EXPECT_TRUE(parse(parser, "<b/>").is_null()); // the document handed over is left alone
    EXPECT_FALSE(record(parser).docHandedOver);
    const sql::handle second = get_doc(parser).handle();
    EXPECT_NE(first.document_id(), second.document_id());
    sql::call(xmlparser_free_parser, parser);
    EXPECT_EQ(root_name(first), "a");
    EXPECT_EQ(root_name(second), "b");
}

TEST_F(parser_objects, parsing_twice_frees_the_first_document) {
    const sql::handle parser = new_parser();
    parse(parser, "<a>" + std::string(100000, 'x') + "</a>");
    const std::int64_t held = host::gate.bytes_in_use;
    for (int i = 0; i < 20; ++i) {
        parse(parser, "<a>" + std::string(100000, 'x') + "</a>");
    }
    EXPECT_LT(host::gate.bytes_in_use, held + 50000);
    EXPECT_EQ(root_name(get_doc(parser).handle()), "a");
}

TEST_F(parser_objects, failed_parse_leaves_the_parser_empty) {
    const sql::handle parser = new_parser();
    parse(parser, "<a/>");
    EXPECT_TRUE(parse(parser, "<a>\n  <b></a>").is_null());
    EXPECT_TRUE(get_doc(parser).is_null());
    ASSERT_EQ(warnings().size(), 1U);
    EXPECT_EQ(warnings()[0].sqlstate, "01000");
    EXPECT_EQ(warnings()[0].message, "XML document could not be parsed, line 2, column 10: Opening "
                                     "and ending tag mismatch: b line 2 and a");
    EXPECT_EQ(warnings()[0].context, "");
    parse(parser, "<after/>");
    EXPECT_EQ(root_name(get_doc(parser).handle()), "after");
    EXPECT_EQ(warnings().size(), 1U);
}

TEST_F(parser_objects, empty_text_does_not_parse) {
    const sql::handle parser = new_parser();
    EXPECT_TRUE(parse(parser, "").is_null());
    EXPECT_TRUE(sql::call(xmlparser_parse_buffer, parser, "").is_null());
    EXPECT_TRUE(get_doc(parser).is_null());
    EXPECT_EQ(warnings().size(), 2U);
}

TEST_F(parser_objects, limit_is_named) {
    const sql::handle parser = new_parser();
    std::string deep;
    for (int i = 0; i < 300000; ++i) {
        deep += "<a>";
    }
    EXPECT_TRUE(parse(parser, deep).is_null());
    EXPECT_TRUE(get_doc(parser).is_null());
    ASSERT_EQ(warnings().size(), 1U);
    EXPECT_TRUE(warnings()[0].message.starts_with("XML document could not be parsed, line 1, "))
        << warnings()[0].message;
    EXPECT_TRUE(warnings()[0].message.ends_with(
        ": the limit of the setting pkg_dbe_xml.max_depth was reached"));
}

TEST_F(parser_objects, blank_texts_are_kept_and_defaults_added) {
    const sql::handle parser = new_parser();
    parse(parser, "<!DOCTYPE a [<!ATTLIST a b CDATA 'default'>]><a> <c/> </a>");
    const sql::handle document = get_doc(parser).handle();
    const sql::handle root = sql::call(xml_dom_get_document_element, document).handle();
    EXPECT_EQ(sql::call(xml_dom_get_attribute, root, "b").text(), "default");
    EXPECT_EQ(
        sql::call(xml_dom_get_node_name, sql::call(xml_dom_get_first_child, root).handle()).text(),
        "#text");
}

TEST_F(parser_objects, entities_are_substituted) {
    const sql::handle parser = new_parser();
    parse(parser, "<!DOCTYPE a [<!ENTITY e 'value'>]><a>&e;</a>");
    const sql::handle root =
        sql::call(xml_dom_get_document_element, get_doc(parser).handle()).handle();
    EXPECT_EQ(
        sql::call(xml_dom_get_node_value, sql::call(xml_dom_get_first_child, root).handle()).text(),
        "value");
}

TEST_F(parser_objects, text_in_the_encoding_of_the_database) {
    use_database_encoding("EUC_JP");
    const sql::handle parser = new_parser();
    parse(parser, "<?xml version='1.0' encoding='EUC-JP'?><a b='\xC6\xFC\xCB\xDC'/>");
    const sql::handle root =
        sql::call(xml_dom_get_document_element, get_doc(parser).handle()).handle();
    EXPECT_EQ(sql::call(xml_dom_get_attribute, root, "b").text(), "\xC6\xFC\xCB\xDC");
}

TEST_F(parser_objects, buffer_holds_32767_bytes) {
    const sql::handle parser = new_parser();
    std::string text = "<a>" + std::string(32767 - 7, 'x') + "</a>";
    ASSERT_EQ(text.size(), 32767U);
    EXPECT_TRUE(sql::call(xmlparser_parse_buffer, parser, text).is_null());
    EXPECT_EQ(root_name(get_doc(parser).handle()), "a");
    EXPECT_REPORT(sql::call(xmlparser_parse_buffer, parser, text + " "), reports::buffer_too_large);
    EXPECT_TRUE(sql::call(xmlparser_parse_clob, parser, text + " ").is_null());
}

TEST_F(parser_objects, refused_buffer_leaves_the_document) {
    const sql::handle parser = new_parser();
    parse(parser, "<a/>");
    EXPECT_REPORT(sql::call(xmlparser_parse_buffer, parser, std::string(32768, ' ')),
                  reports::buffer_too_large);
    EXPECT_EQ(root_name(get_doc(parser).handle()), "a");
}

TEST_F(parser_objects, large_value_is_read_in_slices_into_the_context_of_the_parsers) {
    const sql::handle parser = new_parser();
    standalone::set_piece_size(7);
    EXPECT_TRUE(
        sql::call(xmlparser_parse_clob, parser, sql::large_text{"<large><b c='d'>text</b></large>"})
            .is_null());
    EXPECT_EQ(root_name(get_doc(parser).handle()), "large");
    EXPECT_REPORT(sql::call(xmlparser_parse_buffer, parser,
                            sql::large_text{"<a>" + std::string(32768, 'x') + "</a>"}),
                  reports::buffer_too_large);
}

TEST_F(parser_objects, unreadable_slice_ends_the_session) {
    const sql::handle parser = new_parser();
    standalone::fail_call(standalone::service::missing_slice, 1);
    const sql::result outcome = sql::call(xmlparser_parse_clob, parser, sql::large_text{"<a/>"});
    ASSERT_TRUE(outcome.failed());
    EXPECT_EQ(outcome.error().report_id, 90060);
    EXPECT_NE(outcome.error().message.find("VARATT_IS_1B_E PTR is null."), std::string::npos);
}

TEST_F(parser_objects, text_of_2147483647_bytes) {
    const sql::handle parser = new_parser();
    const auto text_of_size = [](std::int64_t size) { // zeros behind the first bytes end the text
        return sql::value::of_datum(standalone::make_sparse_large_text(size, "<large/>", "x"));
    };
    EXPECT_TRUE(sql::call_with(xmlparser_parse_clob, {parser, text_of_size(2147483647)}).is_null());
    EXPECT_EQ(root_name(get_doc(parser).handle()), "large");
    EXPECT_REPORT(sql::call_with(xmlparser_parse_clob, {parser, text_of_size(2147483648)}),
                  reports::parser_text_too_large);
    EXPECT_EQ(root_name(get_doc(parser).handle()), "large"); // refused before anything changed
}

// --- validation ---------------------------------------------------------------------------------

TEST_F(parser_objects, validation_mode) {
    const sql::handle parser = new_parser();
    EXPECT_TRUE(sql::call(xmlparser_get_validation_mode, parser).boolean());
    EXPECT_TRUE(sql::call(xmlparser_set_validation_mode, parser, false).is_null());
    EXPECT_FALSE(sql::call(xmlparser_get_validation_mode, parser).boolean());
    EXPECT_EQ(record(parser).ctxt->options & XML_PARSE_DTDVALID, 0);
    parse(parser, "<a/>"); // the mode stays as it is
    EXPECT_FALSE(sql::call(xmlparser_get_validation_mode, parser).boolean());
    sql::call(xmlparser_set_validation_mode, parser, true);
    EXPECT_TRUE(sql::call(xmlparser_get_validation_mode, parser).boolean());
    EXPECT_NE(record(parser).ctxt->options & XML_PARSE_DTDVALID, 0);
    parse(parser, "<a");
    EXPECT_TRUE(sql::call(xmlparser_get_validation_mode, parser).boolean());
    sql::call(xmlparser_set_validation_mode, parser, sql::null);
    EXPECT_FALSE(sql::call(xmlparser_get_validation_mode, parser).boolean());
}

TEST_F(parser_objects, invalid_document_comes_back_with_one_warning) {
    const sql::handle parser = new_parser();
    EXPECT_TRUE(parse(parser, k_invalid).is_null());
    EXPECT_EQ(root_name(get_doc(parser).handle()), "a");
    ASSERT_EQ(warnings().size(), 1U);
    EXPECT_EQ(warnings()[0].sqlstate, "01000");
    EXPECT_EQ(warnings()[0].message, "XML document is not valid, line 3, column 7: No declaration "
                                     "for element c (and 2 more)");
}

TEST_F(parser_objects, single_validity_error_has_no_count) {
    parse(new_parser(), "<!DOCTYPE a [<!ELEMENT a EMPTY>]><a> </a>");
    ASSERT_EQ(warnings().size(), 1U);
    EXPECT_EQ(warnings()[0].message.find("more"), std::string::npos) << warnings()[0].message;
}

TEST_F(parser_objects, nothing_is_said_about_documents_that_need_no_warning) {
    const sql::handle parser = new_parser();
    parse(parser, k_valid);
    parse(parser, "<a><undeclared/></a>"); // no document type
    sql::call(xmlparser_set_validation_mode, parser, false);
    parse(parser, k_invalid);
    EXPECT_EQ(warnings().size(), 0U);
    EXPECT_EQ(root_name(get_doc(parser).handle()), "a");
    sql::call(xmlparser_set_validation_mode, parser, true);
    parse(parser, k_invalid);
    EXPECT_EQ(warnings().size(), 1U);
}

TEST_F(parser_objects, warning_that_cannot_be_sent_leaves_the_document) {
    const sql::handle parser = new_parser();
    standalone::fail_call(standalone::service::warning, 1);
    EXPECT_TRUE(parse(parser, k_invalid).failed());
    EXPECT_EQ(root_name(get_doc(parser).handle()), "a");
}

// --- documents handed over ----------------------------------------------------------------------

TEST_F(parser_objects, two_handles_on_one_tree) {
    const sql::handle parser = new_parser();
    parse(parser, "<a/>");
    const sql::handle first = get_doc(parser).handle();
    const sql::handle second = get_doc(parser).handle();
    EXPECT_NE(first.document_id(), second.document_id());
    EXPECT_EQ(second.serial(), first.serial() + 1);
    EXPECT_EQ(first.node_id(), 0U);
    const sql::handle root = sql::call(xml_dom_get_document_element, first).handle();
    sql::call(xml_dom_set_attribute, root, "b", "seen through both");
    EXPECT_EQ(sql::call(xml_dom_get_attribute,
                        sql::call(xml_dom_get_document_element, second).handle(), "b")
                  .text(),
              "seen through both");
    sql::call(xml_dom_free_document, first);
    EXPECT_EQ(root_name(second), "a"); // the tree lives as long as one of them
    EXPECT_EQ(root_name(get_doc(parser).handle()), "a");
}

TEST_F(parser_objects, released_document_is_not_handed_over_again) {
    const sql::handle parser = new_parser();
    parse(parser, "<a/>");
    const sql::handle first = get_doc(parser).handle();
    const sql::handle second = get_doc(parser).handle();
    sql::call(xml_dom_free_document, second);
    EXPECT_EQ(root_name(first), "a");
    sql::call(xml_dom_free_document, first);
    EXPECT_TRUE(get_doc(parser).is_null());
    EXPECT_TRUE(get_doc(parser).is_null());
    parse(parser, "<b/>");
    EXPECT_EQ(root_name(get_doc(parser).handle()), "b");
}

TEST_F(parser_objects, parser_freed_before_its_document) {
    const sql::handle parser = new_parser();
    parse(parser, "<a/>");
    const sql::handle document = get_doc(parser).handle();
    sql::call(xmlparser_free_parser, parser);
    EXPECT_EQ(root_name(document), "a");
    sql::call(xml_dom_free_document, document);
}

TEST_F(parser_objects, failed_parse_takes_leave_of_the_document_handed_over) {
    const sql::handle parser = new_parser();
    parse(parser, "<a/>");
    const sql::handle document = get_doc(parser).handle();
    parse(parser, "<a");
    EXPECT_TRUE(get_doc(parser).is_null());
    sql::call(xml_dom_free_document, document); // no longer concerns the parser
    EXPECT_TRUE(get_doc(parser).is_null());
    EXPECT_FALSE(sql::call(xmlparser_free_parser, parser).failed());
}

TEST_F(parser_objects, many_parsers_of_one_family_in_any_order) {
    // Documents of a hundred parsers, released and freed criss-cross.
    std::vector<sql::handle> parsers;
    std::vector<sql::handle> documents;
    for (int i = 0; i < 100; ++i) {
        parsers.push_back(new_parser());
        parse(parsers.back(), "<a/>");
        documents.push_back(get_doc(parsers.back()).handle());
    }
    for (int i = 0; i < 100; i += 3) {
        sql::call(xml_dom_free_document, documents[static_cast<std::size_t>(i)]);
    }
    for (int i = 0; i < 100; i += 2) {
        sql::call(xmlparser_free_parser, parsers[static_cast<std::size_t>(i)]);
    }
    for (int i = 1; i < 100; i += 2) {
        EXPECT_EQ(get_doc(parsers[static_cast<std::size_t>(i)]).is_null(), i % 3 == 0) << i;
    }
}

// --- failures -----------------------------------------------------------------------------------

TEST_F(parser_objects, cancelled_parse_leaves_the_parser_empty) {
    const sql::handle parser = new_parser();
    parse(parser, "<a/>");
    std::string text = "<a>";
    for (int i = 0; i < 20000; ++i) {
        text += "<b c='d'/>";
    }
    text += "</a>";
    standalone::cancel_after_polls(2);
    const sql::result outcome = parse(parser, text);
    ASSERT_TRUE(outcome.failed());
    EXPECT_EQ(outcome.error().sqlstate, "57014");
    EXPECT_TRUE(get_doc(parser).is_null());
    EXPECT_TRUE(parse(parser, text).is_null());
    EXPECT_EQ(root_name(get_doc(parser).handle()), "a");
}

// Fails the first, second, ... allocation until the call gets through: nothing may be lost, and the
// call must then do what it should.
void fail_allocations(standalone::service which, const std::function<sql::result()> &attempt) {
    for (int at = 1; at < 2000; ++at) {
        standalone::fail_call(which, at);
        const sql::result outcome = attempt();
        const bool injected = standalone::faults_of(which) != 0;
        standalone::clear_faults();
        if (!injected) {
            EXPECT_FALSE(outcome.failed());
            return;
        }
    }
    ADD_FAILURE() << "never got through";
}

TEST_F(parser_objects, memory_fails_while_a_parser_is_made) {
    for (const auto which :
         {standalone::service::allocation, standalone::service::libxml2_allocation}) {
        restart_session();
        fail_allocations(which, [] { return sql::call(xmlparser_new_parser); });
        EXPECT_EQ(host::hash_get_num_entries(host::u_sess.xmlparser_map), 1U);
        const std::uint32_t last = host::u_sess.next_parser_id - 1;
        parser_key key{};
        pkg_dbe_xml::xml_parser_generate_key(last, key);
        EXPECT_TRUE(sql::call(xmlparser_get_validation_mode, handle_of(key)).boolean());
    }
}

TEST_F(parser_objects, memory_fails_while_a_text_is_parsed) {
    for (const auto which :
         {standalone::service::allocation, standalone::service::libxml2_allocation}) {
        restart_session();
        const sql::handle parser = new_parser();
        fail_allocations(which, [&] { return parse(parser, k_valid); });
        EXPECT_EQ(root_name(get_doc(parser).handle()), "a");
    }
}

TEST_F(parser_objects, memory_fails_while_a_document_is_handed_over) {
    for (const auto which :
         {standalone::service::allocation, standalone::service::libxml2_allocation}) {
        restart_session();
        const sql::handle parser = new_parser();
        parse(parser, k_valid);
        fail_allocations(which, [&] { return get_doc(parser); });
        EXPECT_TRUE(record(parser).docHandedOver);
        EXPECT_EQ(root_name(get_doc(parser).handle()), "a");
    }
}

} // namespace
