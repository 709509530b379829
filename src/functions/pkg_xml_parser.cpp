// Parser objects: a parser keeps its settings and the last document it parsed, and hands that
// document over to the registry of DOM handles when it is asked for.
//
// A record owns its context, and its document until that is handed over; from then on the family
// of the document knows the record, and clears it when the document is released.
#include "registry/parser_registry.hpp"

#include "functions/call_frame.hpp"
#include "host/lob.hpp"
#include "host/records.hpp"
#include "libxml/xml.hpp"
#include "parse/parse_text.hpp"
#include "parse/parser_runs.hpp"
#include "row_reports.hpp"

#include <string>
#include <string_view>
#include <utility>

namespace pkg_dbe_xml {

namespace {

[[nodiscard]] parser_key key_argument(const host::call &call) {
    if (call.is_null(0)) {
        report(reports::handle_not_found);
    }
    return {check_raw_id_valid(call.value(0)).bytes};
}

// The record that a handle argument names; reports handle_not_found and parser_not_found.
[[nodiscard]] XmlParserHashEntry &find_parser(const host::call &call) {
    const parser_map_entry *entry = xml_parser_get_hashentry(key_argument(call));
    if (entry == nullptr) {
        report(reports::parser_not_found);
    }
    return *entry->parser;
}

// The text of an argument. A large one is held in the context of the parsers.
[[nodiscard]] parse_text fetch_text(host::datum value) {
    const host::context_scope scope(host::is_large_value(value) ? host::u_sess.xmlparser_context
                                                                : host::current_memory_context());
    return parse_text(value, reports::parser_text_too_large);
}

// A last look at whether the statement was asked to stop, once the text has been given back: who
// cancels a parse finds the parser empty.
void keep_unless_stopped(XmlParserHashEntry &parser) {
    xml_doc_ptr document(std::exchange(parser.doc, nullptr));
    host::check_for_interrupts();
    parser.doc = document.release();
}

void parse_value(XmlParserHashEntry &parser, host::datum value) {
    {
        const parse_text text = fetch_text(value);
        parse_inner(parser, text.bytes(), text.size());
    }
    keep_unless_stopped(parser);
}

// Length of a text argument in bytes, without fetching it when it is kept elsewhere in one piece
// too large for memory.
[[nodiscard]] std::size_t text_length(host::datum value) {
    if (host::is_large_value(value)) {
        return static_cast<std::size_t>(host::tupleam_get_toast_size_raw(value)) -
               host::k_long_header;
    }
    return host::payload(host::pg_detoast_datum(value)).size();
}

// A row for each complaint, and one that tells how many were not kept.
void add_complaints(const host::complaint_log &log, host::record_batch &batch) {
    constexpr std::string_view k_levels[] = {"warning", "error", "fatal"};
    std::size_t place = 0;
    for (std::uint32_t number = 0; number < log.count(); ++number) {
        const host::logged_complaint one = log.read(place);
        batch.begin_cell();
        if (one.line > 0) {
            batch.add_text(std::to_string(one.line));
        }
        batch.begin_cell();
        batch.add_text(k_levels[static_cast<std::size_t>(one.level)]);
        batch.begin_cell();
        batch.add_text(one.message);
    }
    if (log.left_out() != 0) {
        batch.begin_cell();
        batch.begin_cell();
        batch.add_text(k_levels[0]);
        batch.begin_cell();
        batch.add_text(std::to_string(log.left_out()) + " more complaints were not kept");
    }
}

} // namespace

} // namespace pkg_dbe_xml

// --- SQL functions ----------------------------------------------------------------------------

// A parser that validates. Reports too_many_parsers.
PKG_DBE_XML_FUNCTION(xmlparser_new_parser) {
    using namespace pkg_dbe_xml;
    xml_parser_ctxt_ptr context = make_context(true);
    parser_key key{};
    const std::uint32_t id = xml_parser_get_next_id();
    if (id > k_last_parser_id) {
        report(reports::too_many_parsers);
    }
    xml_parser_generate_key(id, key);
    require_parser_table();
    record_ptr parser = make_record(std::move(context), true);
    const host::subtransaction_number made_in = lifetime_of_new();
    const host::datum result = get_datum_by_dom_key({key.bytes});
    xml_parser_insert_hashentry(key, parser.get());
    set_parser_lifetime(*parser.release(), id, made_in); // the table owns it
    return result;
}

// Arguments: parser, CLOB. Reports null_not_allowed for a null CLOB, before anything else; a null
// parser is passed over in silence. Reports handle_not_found, parser_not_found and
// parser_text_too_large. A text that does not parse leaves the parser without a document.
PKG_DBE_XML_FUNCTION(xmlparser_parse_clob) {
    using namespace pkg_dbe_xml;
    if (call.is_null(1)) {
        report(reports::null_not_allowed, {}, {"2"});
    }
    if (call.is_null(0)) {
        return call.null();
    }
    parse_value(find_parser(call), call.value(1));
    return call.null();
}

PKG_DBE_XML_RETURNING(xmlparser_parse_clob, call.same_as(0))

// Arguments: parser, number of a large object. The same for the text that this holds.
PKG_DBE_XML_FUNCTION(xmlparser_parse_large_object) {
    using namespace pkg_dbe_xml;
    if (call.is_null(1)) {
        report(reports::null_not_allowed, {}, {"2"});
    }
    if (call.is_null(0)) {
        return call.null();
    }
    XmlParserHashEntry &parser = find_parser(call);
    {
        const parse_text text(call.uint4(1), reports::parser_text_too_large,
                              host::u_sess.xmlparser_context);
        parse_inner(parser, text.bytes(), text.size());
    }
    keep_unless_stopped(parser);
    return call.null();
}

PKG_DBE_XML_RETURNING(xmlparser_parse_large_object, call.same_as(0))

// Arguments: parser, text of at most 32,767 bytes. A null parser is passed over in silence, before
// anything else. Reports handle_not_found, null_not_allowed, parser_not_found and
// buffer_too_large, in this order.
PKG_DBE_XML_FUNCTION(xmlparser_parse_buffer) {
    using namespace pkg_dbe_xml;
    if (call.is_null(0)) {
        return call.null();
    }
    static_cast<void>(check_raw_id_valid(call.value(0)));
    if (call.is_null(1)) {
        report(reports::null_not_allowed, {}, {"2"});
    }
    XmlParserHashEntry &parser = find_parser(call);
    if (text_length(call.value(1)) > k_longest_buffer) {
        report(reports::buffer_too_large);
    }
    parse_value(parser, call.value(1));
    return call.null();
}

PKG_DBE_XML_RETURNING(xmlparser_parse_buffer, call.same_as(0))

// The parser's document as a new document handle; null when it has none. Asked twice, two handles
// name one tree. Reports handle_not_found and parser_not_found.
PKG_DBE_XML_FUNCTION(xmlparser_get_doc) {
    using namespace pkg_dbe_xml;
    XmlParserHashEntry &parser = find_parser(call);
    if (parser.doc == nullptr) {
        return call.null();
    }
    const host::datum result = register_document(parser.doc);
    if (!parser.docHandedOver) {
        parser.docHandedOver = true; // the registry owns the document
        // Nothing may fail between the registration and the link.
        DomKey key;
        const auto bytes = host::payload(reinterpret_cast<const host::varlena *>(result));
        std::memcpy(key.bytes.data(), bytes.data(), k_key_size);
        const XMLHashEntry *entry = xml_find_hashentry(key);
        link_parser(*find_family(*entry), parser);
    }
    return result;
}

// Arguments: parser, whether its next parse validates; null means that it does not. Reports
// handle_not_found, also for a null parser, and parser_not_found.
PKG_DBE_XML_FUNCTION(xmlparser_set_validation_mode) {
    using namespace pkg_dbe_xml;
    XmlParserHashEntry &parser = find_parser(call);
    parser.validates = !call.is_null(1) && call.boolean(1);
    set_validation(*parser.ctxt, parser.validates);
    return call.null();
}

PKG_DBE_XML_RETURNING(xmlparser_set_validation_mode, call.same_as(0))

// Whether the parser's next parse validates. Reports handle_not_found and parser_not_found.
PKG_DBE_XML_FUNCTION(xmlparser_get_validation_mode) {
    using namespace pkg_dbe_xml;
    return host::from_boolean((find_parser(call).ctxt->options & XML_PARSE_DTDVALID) != 0);
}

// Argument: parser. What its last parse complained of, in a row each: line, null where it is not
// known, level and message. None for null. Reports handle_not_found and parser_not_found.
PKG_DBE_XML_FUNCTION(xmlparser_get_complaints) {
    using namespace pkg_dbe_xml;
    if (host::record_set::fault(call, false) != host::records_fault::none) {
        report(reports::rows_without_columns);
    }
    host::record_set rows(call, false);
    host::record_batch batch;
    if (!call.is_null(0)) {
        add_complaints(complaints_of(find_parser(call)), batch);
    }
    rows.put(batch);
    return rows.finish();
}

// Frees a parser and the document it still owns; an unknown parser is passed over in silence.
// Reports handle_not_found for a value that is no handle.
PKG_DBE_XML_FUNCTION(xmlparser_free_parser) {
    using namespace pkg_dbe_xml;
    const parser_key key = key_argument(call);
    const parser_map_entry *entry = xml_parser_get_hashentry(key);
    if (entry == nullptr) {
        return call.null();
    }
    XmlParserHashEntry *parser = entry->parser;
    xml_parser_delete_hashentry(key);
    free_record(parser);
    return call.null();
}

PKG_DBE_XML_RETURNING(xmlparser_free_parser, call.null())
