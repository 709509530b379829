// Parsing a text into a document, under limits, with diagnostics.
//
// The text is handed to libxml2 piece by piece: no second copy of it is made, texts of any length
// can be read, and each piece is an occasion to see that the statement was asked to stop.
#include "error_reports.hpp"
#include "libxml/complaint_log.hpp"
#include "libxml/xml_parse_run.hpp"

#include "host/limits.hpp"
#include "libxml/library_version.hpp"
#include "libxml/passing_tree.hpp"
#include "libxml/xml_work.hpp"
#include "message_line.hpp"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <utility>

// The state of the parser is not for everyone in later versions, but there is no other way to it.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace host {

constinit PKG_DBE_XML_SESSION_STORAGE parse_run *current_run = nullptr;

namespace {

constexpr std::int64_t k_kilobyte = 1024;
#if LIBXML_VERSION >= 21300
constexpr unsigned k_no_amplification_limit = 1000000000;
#endif

// --- notes on what went wrong -------------------------------------------------------------------

template <std::size_t Size> void copy_message(char (&destination)[Size], std::string_view text) {
    text = pkg_dbe_xml::message_line(text, Size - 1);
    std::transform(text.begin(), text.end(), destination, pkg_dbe_xml::message_byte);
    destination[text.size()] = '\0';
}

struct place {
    int line;
    int column;
};

place place_of(const xmlParserCtxt *context) noexcept {
    if (context == nullptr || context->input == nullptr) {
        return {0, 0};
    }
    return {context->input->line, context->input->col};
}

bool is_validity_error(const xmlError &error) noexcept {
    return error.level != XML_ERR_FATAL &&
           (error.domain == XML_FROM_VALID || error.domain == XML_FROM_DTD);
}

void note_validity_error(parse_run &run, const xmlError &error) noexcept {
    parse_diagnostics &notes = *run.diagnostics;
    if (notes.validity_errors == 0) {
        const place here = place_of(run.context);
        copy_message(notes.first_validity, error.message == nullptr ? "" : error.message);
        notes.validity_line = error.line > 0 ? error.line : here.line;
        notes.validity_column = error.int2 > 0 ? error.int2 : here.column;
    }
    if (notes.validity_errors != UINT32_MAX) {
        ++notes.validity_errors;
    }
}

// --- the text, piece by piece -------------------------------------------------------------------

// That was the last piece: libxml2 need not ask for more, as it does before each few bytes of what
// it has left. Up to 2.10 it goes a long way to find out that there is nobody to ask, unless it
// takes the text for one that is pushed: 11 % of the parse of a text of 900 bytes. Of the functions
// that read a document in one go no other looks at that. What a document type brings in may be
// converted while it is read, and is asked for.
void stop_asking(parse_run &run) noexcept {
    xmlParserInputPtr const input = run.context->input;
    if (input != nullptr && input->buf != nullptr && input->buf->context == &run) {
        input->buf->readcallback = nullptr;
        const bool may_pass_as_pushed = libxml2_number() < 21100 && !run.diagnostics->has_doctype;
        run.context->progressive = may_pass_as_pushed ? 1 : 0;
    }
}

int read_text(void *state, char *buffer, int size) noexcept {
    parse_run &run = *static_cast<parse_run *>(state);
    if (must_stop(run, nullptr)) [[unlikely]] {
        return 0;
    }
    if (collects_too_many_attributes(run)) [[unlikely]] {
        // libxml2 is in the middle of its input: end that, and leave the context alone.
        stop_parse(run, nullptr, k_max_attributes_name, parse_limits.max_attributes);
        return 0;
    }
    if (run.context->inSubset != 0 && run.context->instate == XML_PARSER_DTD) {
        charge_declaration(run, nullptr, size);
        if (run.stopped) {
            return 0;
        }
    }
    const std::size_t count = std::min(static_cast<std::size_t>(size), run.length - run.position);
    work_for_text(run, nullptr, static_cast<std::int64_t>(count));
    if (run.stopped) [[unlikely]] {
        return 0;
    }
    std::memcpy(buffer, run.text + run.position, count);
    run.position += count;
    if (run.position == run.length) {
        stop_asking(run);
    }
    return static_cast<int>(count);
}

int end_text(void * /*state*/) noexcept { return 0; }

// --- the declared encoding ----------------------------------------------------------------------

bool is_blank(char byte) noexcept {
    return byte == ' ' || byte == '\t' || byte == '\n' || byte == '\r';
}

// The encoding that the XML declaration of a well-formed text names, empty when it names none.
std::string_view declared_encoding(std::string_view text) noexcept {
    constexpr std::string_view k_mark = "\xEF\xBB\xBF";
    constexpr std::string_view k_name = "encoding";
    if (text.starts_with(k_mark)) {
        text.remove_prefix(k_mark.size());
    }
    if (!text.starts_with("<?xml") || text.size() < 6 || !is_blank(text[5])) {
        return {};
    }
    text = text.substr(0, text.find("?>"));
    const std::size_t found = text.find(k_name);
    if (found == std::string_view::npos) {
        return {};
    }
    const std::size_t opening = text.find_first_of("'\"", found + k_name.size());
    if (opening == std::string_view::npos) {
        return {};
    }
    const std::size_t closing = text.find(text[opening], opening + 1);
    return {text.data() + opening + 1, closing - opening - 1};
}

// libxml2 was told to take the text as it is; the document must still say what it declared.
void set_declared_encoding(xmlDocPtr document, std::string_view text) noexcept {
    const std::string_view name = declared_encoding(text);
    if (document->encoding != nullptr) {
        if (document->dict == nullptr || xmlDictOwns(document->dict, document->encoding) == 0) {
            xmlFree(const_cast<xmlChar *>(document->encoding));
        }
        document->encoding = nullptr;
    }
    if (!name.empty()) {
        document->encoding = xmlStrndup(reinterpret_cast<const xmlChar *>(name.data()),
                                        static_cast<int>(name.size()));
    }
}

// --- one parse ----------------------------------------------------------------------------------

// Runs libxml2 over the text. Null when there is no document, or none that may be trusted.
xmlDocPtr run_parse(parse_run &run, int options) noexcept {
    xmlDocPtr document = nullptr;
    passing_tree passing;
    {
        const watched_parse watched(run);
        set_limit_callbacks(run.context);
        if (run.watch != nullptr) {
            run.passing = &passing;
            set_watch_callbacks(run.context, true);
        }
#if LIBXML_VERSION >= 21300
        // Of its own it refuses honest documents that use entities a lot; the budget does not.
        xmlCtxtSetMaxAmplification(run.context, k_no_amplification_limit);
#endif
        document = xmlCtxtReadIO(run.context, read_text, end_text, &run, nullptr, nullptr,
                                 options | XML_PARSE_IGNORE_ENC);
        run.context->progressive = 0;
        static_cast<void>(must_stop(run, nullptr));
        forget_weights(run);
    }
    if (run.watch != nullptr) {
        set_watch_callbacks(run.context, false);
    }
    if (document == nullptr) {
        return nullptr;
    }
    if (run.position != run.length || run.context->nameNr > 0) { // an element was not ended
        run.text_left = true;
    }
    if (!run.stopped && !gate.refused && !run.text_left) {
        set_declared_encoding(document, {run.text, run.length});
        if (!gate.refused) {
            return document;
        }
    }
    if (run.cancelled || (run.watch != nullptr && run.watch->stopped)) {
        discard_document(document);
    } else {
        xmlFreeDoc(document);
    }
    return nullptr;
}

} // namespace

void raise_refused(std::size_t size) {
    if (gate.session_full) {
        pkg_dbe_xml::report(pkg_dbe_xml::reports::session_memory_full);
    }
    raise_out_of_memory(size);
}

std::int64_t budget_for(std::size_t length) noexcept {
    return parse_limits.budget_base * k_kilobyte +
           parse_limits.budget_factor * static_cast<std::int64_t>(length);
}

std::int64_t work_for(std::size_t length) noexcept {
    constexpr std::int64_t k_million = 1'000'000;
    return parse_limits.work * k_million + k_work_per_byte * static_cast<std::int64_t>(length);
}

void set_ceiling(const parse_run &run) noexcept {
    gate.ceiling = std::min(run.start + run.budget, session_room());
    gate.wall = gate.ceiling + run.budget;
}

watched_parse::watched_parse(parse_run &run) noexcept {
    current_run = &run;
    gate.budget_spent = false;
    gate.cancelled = false;
    gate.parsing = true;
    set_ceiling(run);
    gate.polls = run.polls;
    gate.countdown = 1;
}

watched_parse::~watched_parse() {
    gate.parsing = false;
    gate.polls = false;
    gate.ceiling = session_room();
    gate.wall = INT64_MAX;
    current_run = nullptr;
}

void halt_context(xmlParserCtxtPtr context) noexcept {
    context->wellFormed = 0;
    xmlStopParser(context);
}

void stop_parse(parse_run &run, xmlParserCtxtPtr context, const char *name, int value) noexcept {
    if (!run.stopped) {
        run.stopped = true;
        run.cancelled = name == nullptr;
        if (run.cancelled) {
            run.context->recovery = 1; // libxml2 leaves freeing the document to us
        } else {
            parse_diagnostics &notes = *run.diagnostics;
            const place here = place_of(run.context);
            char text[128];
            std::snprintf(text, sizeof text, "the limit %.64s = %d", name, value);
            notes.limit = name;
            notes.line = here.line;
            notes.column = here.column;
            copy_message(notes.first_error, text);
        }
    }
    if (context != nullptr) {
        halt_context(context);
    }
}

void fail_parse(parse_run &run, xmlParserCtxtPtr context, const char *words) noexcept {
    if (!run.stopped) {
        run.stopped = true;
        const place here = place_of(run.context);
        copy_message(run.diagnostics->first_error, words);
        run.diagnostics->line = here.line;
        run.diagnostics->column = here.column;
    }
    halt_context(context);
}

void note_text_left(parse_run &run) noexcept {
    run.text_left = true;
    if (run.diagnostics->first_error[0] == '\0') {
        const place here = place_of(run.context);
        copy_message(run.diagnostics->first_error, "Extra content at the end of the document");
        run.diagnostics->line = here.line;
        run.diagnostics->column = here.column;
    }
}

bool must_stop(parse_run &run, xmlParserCtxtPtr context) noexcept {
    if (run.stopped) {
        if (context != nullptr) {
            halt_context(context);
        }
    } else if (gate.cancelled || (run.polls && interrupts_pending())) {
        stop_parse(run, context, nullptr, 0);
    } else if (gate.budget_spent) {
        stop_for_budget(run, context);
    }
    return run.stopped;
}

void stop_for_budget(parse_run &run, xmlParserCtxtPtr context) noexcept {
    if (gate.session_full) {
        stop_parse(run, context, k_session_memory_name, max_session_memory);
        return;
    }
    const bool base_is_larger = parse_limits.budget_base * k_kilobyte >= run.budget / 2;
    stop_parse(run, context, base_is_larger ? k_budget_base_name : k_budget_factor_name,
               base_is_larger ? parse_limits.budget_base : parse_limits.budget_factor);
}

void note_xml_error(void * /*context*/, xml_error *error) noexcept {
    parse_run *run = current_run;
    if (run == nullptr || run->stopped || error == nullptr) {
        return;
    }
#if LIBXML_VERSION >= 21100
    // Otherwise it tells of a hundred of them, and then not even of what ends the parse.
    run->context->nbErrors = 0;
    run->context->nbWarnings = 0;
#endif
    work_for_error(*run);
    if (current_log != nullptr && error->level != XML_ERR_NONE) {
        const place here = place_of(run->context);
        log_complaint(*error, is_validity_error(*error), error->line > 0 ? error->line : here.line);
    }
    if (error->level <= XML_ERR_WARNING) {
        return;
    }
    if (error->level != XML_ERR_FATAL && run->context->wellFormed != 0) {
        // 2.12 does not say that a text ends too early, and takes it, after any error at all.
        run->context->errNo = XML_ERR_OK;
    }
    if (is_validity_error(*error)) {
        note_validity_error(*run, *error);
        return;
    }
    parse_diagnostics &notes = *run->diagnostics;
    const bool fatal = error->level == XML_ERR_FATAL;
    if (notes.first_error[0] != '\0' && (run->fatal_noted || !fatal)) {
        return;
    }
    run->fatal_noted = fatal;
    copy_message(notes.first_error, error->message == nullptr ? "" : error->message);
    notes.line = error->line;
    notes.column = error->int2;
}

xmlParserCtxtPtr get_new_parser_ctxt() {
    release_abandoned();
    const xml_scope scope;
    xmlParserCtxtPtr context = xmlNewParserCtxt();
    if (context == nullptr || scope.refused()) {
        xmlFreeParserCtxt(context);
        raise_refused(sizeof(xmlParserCtxt));
    }
    return context;
}

namespace {

// A context with more than that has met unusual documents, and is not worth its memory.
constexpr std::size_t k_most_kept_name_bytes = 32768;
constexpr int k_most_kept_levels = 256;

constinit PKG_DBE_XML_SESSION_STORAGE xmlParserCtxtPtr kept_context = nullptr;

bool is_small(const xmlParserCtxt &context) noexcept {
    return xmlDictGetUsage(context.dict) <= k_most_kept_name_bytes &&
           context.nodeMax <= k_most_kept_levels && context.nameMax <= k_most_kept_levels &&
           context.nsMax <= k_most_kept_levels && context.maxatts <= k_most_kept_levels;
}

} // namespace

xmlParserCtxtPtr borrow_parser_ctxt() {
    if (kept_context == nullptr) {
        return get_new_parser_ctxt();
    }
    release_abandoned();
    return std::exchange(kept_context, nullptr);
}

void give_parser_ctxt_back(xmlParserCtxtPtr context) noexcept {
    if (kept_context == nullptr && is_small(*context)) {
        kept_context = context;
    } else {
        xmlFreeParserCtxt(context);
    }
}

void forget_parser_ctxt() noexcept {
    if (kept_context != nullptr) {
        xmlFreeParserCtxt(std::exchange(kept_context, nullptr));
    }
}

xmlDocPtr xml_parse_doc(xmlParserCtxtPtr context, const char *text, std::size_t length, int options,
                        bool /*document_mode*/, parse_diagnostics &diagnostics,
                        element_watch *watch) {
    bool polls = true;
    for (;;) {
        diagnostics = {};
        if (current_log != nullptr) {
            current_log->forget();
        }
        parse_run run{};
        run.context = context;
        run.text = text;
        run.length = length;
        run.diagnostics = &diagnostics;
        run.budget = budget_for(length);
        run.work_allowed = work_for(length);
        run.start = gate.bytes_in_use;
        run.entity_start = run.start;
        run.gated = gate_in_force();
        run.polls = polls;
        run.watch = watch;
        context->recovery = 0;
        xmlDocPtr document = nullptr;
        bool starved = false;
        {
            const xml_scope scope;
            document = run_parse(run, options);
            diagnostics.work = run.work;
            const bool watch_stopped = watch != nullptr && watch->stopped;
            starved = scope.refused() && !gate.budget_spent && !run.cancelled && !watch_stopped;
        }
        if (run.cancelled) {
            process_interrupts();
            polls = false; // the request was withdrawn: once more, without looking for others
            if (watch != nullptr) {
                watch->start_over(watch->state);
            }
            continue;
        }
        if (starved) {
            raise_refused(gate.refused_size);
        }
        if (!diagnostics.has_doctype) {
            diagnostics.validity_errors = 0; // there is nothing to be valid by
            diagnostics.first_validity[0] = '\0';
            diagnostics.validity_line = 0;
            diagnostics.validity_column = 0;
        }
        return document;
    }
}

} // namespace host
