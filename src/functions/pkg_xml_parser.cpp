// Parser objects: a parser keeps its settings and the last document it parsed, and hands that
// document over to the registry of DOM handles when it is asked for.
//
// A record owns its context, and its document until that is handed over; from then on the family
// of the document knows the record, and clears it when the document is released.
#include "registry/parser_registry.hpp"

#include "common.hpp"
#include "functions/call_frame.hpp"
#include "host/lob.hpp"
#include "host/table.hpp"
#include "libxml/xml.hpp"

#include <algorithm>
#include <charconv>
#include <memory>
#include <new>
#include <string_view>
#include <utility>

namespace pkg_dbe_xml {

namespace {

// Blank texts are kept and defaults of attributes are added, unlike in documents made from text.
constexpr int k_parse_options =
    XML_PARSE_NOENT | XML_PARSE_DTDATTR | XML_PARSE_NONET | XML_PARSE_HUGE;

constexpr const char *k_warning_sqlstate = "01000";
constexpr std::string_view k_not_valid = "XML document is not valid";
constexpr std::string_view k_not_parsed = "XML document could not be parsed";
constexpr std::string_view k_limit_reached = "the limit of the setting ";

// One line of text of bounded length, put together without memory.
class line_of_text {
  public:
    line_of_text &operator<<(std::string_view piece) noexcept {
        const std::size_t count = std::min(piece.size(), sizeof bytes_ - size_);
        std::memcpy(bytes_ + size_, piece.data(), count);
        size_ += count;
        return *this;
    }
    line_of_text &operator<<(std::int64_t number) noexcept {
        char digits[24];
        const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
        return *this << std::string_view(digits, static_cast<std::size_t>(end - digits));
    }
    [[nodiscard]] std::string_view view() const noexcept { return {bytes_, size_}; }

  private:
    char bytes_[1024];
    std::size_t size_ = 0;
};

// `what`, the place if it is known, and the words.
void show_warning(std::string_view what, int line, int column, const line_of_text &words) {
    line_of_text message;
    message << what;
    if (line > 0) {
        message << ", line " << line << ", column " << column;
    }
    message << ": " << words.view();
    host::report_warning(k_warning_sqlstate, message.view(), {});
}

// Why a parse gave no document.
void warn_not_parsed(const host::parse_diagnostics &diagnostics) {
    line_of_text words;
    if (diagnostics.limit != nullptr) {
        words << k_limit_reached << diagnostics.limit << " was reached";
    } else if (diagnostics.first_error[0] != '\0') {
        words << diagnostics.first_error;
    } else {
        words << "the text is not well-formed";
    }
    show_warning(k_not_parsed, diagnostics.line, diagnostics.column, words);
}

// What a validating parse complained of: the first error, and how many more there are.
void warn_not_valid(const host::parse_diagnostics &diagnostics) {
    line_of_text words;
    words << diagnostics.first_validity;
    if (diagnostics.validity_errors > 1) {
        words << " (and " << static_cast<std::int64_t>(diagnostics.validity_errors) - 1 << " more)";
    }
    show_warning(k_not_valid, diagnostics.validity_line, diagnostics.validity_column, words);
}

void set_validation(xmlParserCtxt &context, bool validates) noexcept {
    context.options =
        validates ? context.options | XML_PARSE_DTDVALID : context.options & ~XML_PARSE_DTDVALID;
}

[[nodiscard]] xml_parser_ctxt_ptr make_context(bool validates) {
    xml_parser_ctxt_ptr context(host::get_new_parser_ctxt());
    set_validation(*context, validates);
    return context;
}

// Leaves the record empty: frees the document it owns, or takes leave of the one handed over.
void let_go_of_document(XmlParserHashEntry &parser) noexcept {
    xml_doc_ptr document(std::exchange(parser.doc, nullptr));
    if (std::exchange(parser.docHandedOver, false)) {
        static_cast<void>(document.release()); // the registry of DOM handles owns it
    }
    if (parser.handed_to != nullptr) {
        unlink_parser(parser);
    }
}

void free_record(XmlParserHashEntry *parser) noexcept {
    let_go_of_document(*parser);
    xmlFreeParserCtxt(parser->ctxt);
    host::mmgr_free_with_fl(parser, __FILE__, __LINE__);
}

struct record_deleter {
    void operator()(XmlParserHashEntry *parser) const noexcept { free_record(parser); }
};
using record_ptr = std::unique_ptr<XmlParserHashEntry, record_deleter>;

// A record with a context of its own, in the context of the parsers.
[[nodiscard]] record_ptr make_record(xml_parser_ctxt_ptr context, bool validates) {
    void *memory =
        host::mmgr_memory_alloc_zero(host::u_sess.xmlparser_context, sizeof(XmlParserHashEntry));
    record_ptr parser(new (memory) XmlParserHashEntry{});
    parser->ctxt = context.release();
    parser->validates = validates;
    return parser;
}

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

} // namespace

// --- the registry -----------------------------------------------------------------------------

void xml_parser_init_hashtable() {
    host::session_state &session = host::u_sess;
    session.clean_up = xml_clean_all_res; // first: the rest may be left half made
    if (session.xmlparser_context == nullptr) {
        session.xmlparser_context = host::mmgr_memory_set_controller_create(
            host::session_memory_context(), "SessionXMLMemoryContext", 0, 8192, 8388608);
    }
    // A session has a handful of parsers; the table grows with them.
    constexpr std::size_t k_expected_parsers = 16;
    host::hash_control control{};
    control.key_size = k_key_size;
    control.entry_size = sizeof(parser_map_entry);
    control.hash = host::hashfn_tag_hash;
    control.context = session.xmlparser_context;
    session.xmlparser_map = host::hash_create_func("XMLPARSER map", k_expected_parsers, control);
}

static host::hash_table *parser_map() {
    if (host::u_sess.xmlparser_map == nullptr) [[unlikely]] {
        xml_parser_init_hashtable();
    }
    return host::u_sess.xmlparser_map;
}

parser_map_entry *xml_parser_insert_hashentry(const parser_key &key, XmlParserHashEntry *parser) {
    bool found = false;
    auto *entry = static_cast<parser_map_entry *>(
        host::hash_search(parser_map(), key.bytes.data(), host::hash_action::enter, &found));
    if (found) {
        report(reports::parser_exists);
    }
    entry->parser = parser;
    return entry;
}

parser_map_entry *xml_parser_get_hashentry(const parser_key &key) {
    return static_cast<parser_map_entry *>(
        host::hash_search(parser_map(), key.bytes.data(), host::hash_action::find, nullptr));
}

void xml_parser_delete_hashentry(const parser_key &key) {
    bool found = false;
    host::hash_search(parser_map(), key.bytes.data(), host::hash_action::remove, &found);
    if (!found) {
        report(reports::parser_not_found);
    }
}

void xml_parser_generate_key(std::uint32_t id, parser_key &key) {
    host::copy_bytes(key.bytes.data(), k_key_size, &id, sizeof id);
}

std::uint32_t xml_parser_get_next_id() noexcept {
    std::uint32_t &next = host::u_sess.next_parser_id;
    return next > k_last_parser_id ? next : next++;
}

std::uint32_t xml_parser_next_id() noexcept { return host::u_sess.next_parser_id; }

std::size_t xml_parser_release_since(std::uint32_t id) {
    if (host::u_sess.xmlparser_map == nullptr) {
        return 0;
    }
    std::size_t count = 0;
    for (; id < host::u_sess.next_parser_id && id <= k_last_parser_id; ++id) {
        parser_key key{};
        xml_parser_generate_key(id, key);
        if (const parser_map_entry *entry = xml_parser_get_hashentry(key)) {
            XmlParserHashEntry *parser = entry->parser;
            xml_parser_delete_hashentry(key);
            free_record(parser);
            ++count;
        }
    }
    return count;
}

void xml_parser_table_clean_res() noexcept {
    host::hash_table *table = std::exchange(host::u_sess.xmlparser_map, nullptr);
    if (table == nullptr) {
        return;
    }
    host::hash_walk walk{};
    host::hash_seq_init(walk, table);
    while (auto *entry = static_cast<parser_map_entry *>(host::hash_seq_search(walk))) {
        if (entry->parser != nullptr) {
            free_record(std::exchange(entry->parser, nullptr));
        }
    }
    host::hash_destroy(table);
}

// --- parsing ----------------------------------------------------------------------------------

void parse_inner(XmlParserHashEntry &parser, const char *text, std::size_t size) {
    // libxml2 contexts remember options and names from one parse to the next: each serves once.
    // The next one is made first, so that the record is never without.
    xml_parser_ctxt_ptr next = make_context(parser.validates);
    let_go_of_document(parser);
    xml_parser_ctxt_ptr context(std::exchange(parser.ctxt, next.release()));
    const int options = parser.validates ? k_parse_options | XML_PARSE_DTDVALID : k_parse_options;
    host::parse_diagnostics diagnostics{};
    parser.doc = host::xml_parse_doc(context.get(), text, size, options, false, diagnostics);
    context.reset();
    if (parser.doc == nullptr) {
        warn_not_parsed(diagnostics);
    } else if (parser.validates && diagnostics.has_doctype && diagnostics.validity_errors != 0) {
        warn_not_valid(diagnostics);
    }
}

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
    parser_map();
    record_ptr parser = make_record(std::move(context), true);
    const host::datum result = get_datum_by_dom_key({key.bytes});
    xml_parser_insert_hashentry(key, parser.get());
    static_cast<void>(parser.release()); // the table owns it
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
