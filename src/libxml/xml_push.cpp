// See xml_push.hpp.
#include "libxml/xml_push.hpp"

#include "host/limits.hpp"
#include "libxml/xml_service.hpp"
#include "libxml/xml_work.hpp"

#include <libxml/parserInternals.h>

#include <algorithm>
#include <cstring>
#include <string_view>

// The state of the parser is not for everyone in later versions, but there is no other way to it.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace host {

namespace {

// Values that the document type declares for attributes are added: what declares them is not there
// any more when the tree is read.
constexpr int k_options =
    XML_PARSE_NOENT | XML_PARSE_DTDATTR | XML_PARSE_NONET | XML_PARSE_HUGE | XML_PARSE_IGNORE_ENC;
// Bytes to a piece while nothing long is unfinished.
constexpr std::size_t k_piece = 32768;
// The internal subset is parsed in one go, in which nobody is asked.
constexpr std::size_t k_longest_subset = 65536;
#if LIBXML_VERSION >= 21300
constexpr unsigned k_no_amplification_limit = 1000000000;
#endif

// --- tokens ------------------------------------------------------------------------------------

// Bytes of a comment, a section or an instruction up to its end; all of them where it does not end
// there.
std::size_t scan_marked(open_token &token, std::string_view bytes) noexcept {
    const bool is_instruction = token.is == open_token::kind::instruction;
    const char mark = token.is == open_token::kind::comment ? '-' : ']';
    const auto byte_before = [&](std::size_t place, std::size_t back) noexcept {
        return back <= place ? bytes[place - back] : token.last[2 - (back - place)];
    };
    std::size_t end = bytes.find('>');
    while (end != std::string_view::npos) {
        if (is_instruction ? byte_before(end, 1) == '?'
                           : byte_before(end, 1) == mark && byte_before(end, 2) == mark) {
            token.is = open_token::kind::none;
            return end + 1;
        }
        end = bytes.find('>', end + 1);
    }
    for (const char byte : bytes.substr(bytes.size() - std::min<std::size_t>(2, bytes.size()))) {
        token.last[0] = token.last[1];
        token.last[1] = byte;
    }
    return bytes.size();
}

std::size_t scan_tag(open_token &token, std::string_view bytes) noexcept {
    for (std::size_t place = 0; place < bytes.size(); ++place) {
        const char byte = bytes[place];
        if (token.quote != '\0') {
            token.quote = byte == token.quote ? '\0' : token.quote;
        } else if (byte == '\'' || byte == '"') {
            token.quote = byte;
        } else if (byte == '=') {
            ++token.attributes;
        } else if (byte == '>') {
            token.is = open_token::kind::none;
            return place + 1;
        }
    }
    return bytes.size();
}

std::size_t scan(open_token &token, std::string_view bytes) noexcept {
    return token.is == open_token::kind::tag ? scan_tag(token, bytes) : scan_marked(token, bytes);
}

open_token::kind kind_of(std::string_view held) noexcept {
    if (held.starts_with("<!--")) {
        return open_token::kind::comment;
    }
    if (held.starts_with("<![CDATA[")) { // held back by libxml2 2.14 and later
        return open_token::kind::section;
    }
    if (held.starts_with("<?")) {
        return open_token::kind::instruction;
    }
    return held.starts_with('<') ? open_token::kind::tag : open_token::kind::none;
}

std::string_view held_text(const push_parse &parse) noexcept {
    const xmlParserInput *const input = parse.run.context->input;
    return input == nullptr || input->end <= input->cur
               ? std::string_view()
               : std::string_view(reinterpret_cast<const char *>(input->cur),
                                  static_cast<std::size_t>(input->end - input->cur));
}

// Looks at what libxml2 did not use of a piece.
void note_token(push_parse &parse) noexcept {
    const std::string_view held = held_text(parse);
    parse_run &run = parse.run;
    if (held.size() < k_piece) {
        parse.token.is = open_token::kind::none;
        return;
    }
    if (run.depth == 0 && (run.context->instate == XML_PARSER_DTD || held.starts_with("<!D"))) {
        if (held.size() > k_longest_subset) {
            fail_parse(run, run.context,
                       "the document type declaration is longer than 65536 bytes, which a stream "
                       "does not take");
        }
        return;
    }
    const auto start = static_cast<std::int64_t>(run.position - held.size());
    if (parse.token.is != open_token::kind::none && parse.token.start == start) {
        return;
    }
    parse.token = {};
    parse.token.is = kind_of(held);
    parse.token.start = start;
    if (parse.token.is != open_token::kind::none) {
        static_cast<void>(scan(parse.token, held));
    }
}

#if LIBXML_VERSION < 21100

// A comment that begins with <!--> or <!---> is ended by that too soon, unless libxml2 is given all
// of it at once. Where the first such one begins; exclamation marks are rarer than angle brackets.
std::size_t find_early_end(std::string_view bytes) noexcept {
    for (std::size_t mark = bytes.find("!--"); mark != std::string_view::npos;
         mark = bytes.find("!--", mark + 1)) {
        const std::string_view behind = bytes.substr(mark + 3, 2);
        if (mark != 0 && bytes[mark - 1] == '<' && (behind.starts_with('>') || behind == "->")) {
            return mark - 1;
        }
    }
    return std::string_view::npos;
}

// Whether what begins here is a comment, if it looks like one.
bool is_between_tokens(const xmlParserCtxt *context) noexcept {
    return context->instate == XML_PARSER_CONTENT || context->instate == XML_PARSER_MISC ||
           context->instate == XML_PARSER_PROLOG || context->instate == XML_PARSER_EPILOG;
}

// Bytes to the end of such a comment, of which libxml2 holds `held`; none when it is to wait.
std::size_t whole_comment(std::string_view held, std::string_view bytes) noexcept {
    constexpr std::size_t k_start = 4; // of its text
    const std::size_t behind = k_start - std::min(held.size(), k_start);
    const std::size_t end = bytes.find("-->", behind);
    return end == std::string_view::npos ? 0 : end + 3;
}

std::size_t choose_short_piece(const push_parse &parse, std::string_view bytes) noexcept {
    const std::string_view held = held_text(parse);
    const std::string_view open = held.starts_with('<') ? held.substr(0, 6) : std::string_view();
    if (is_between_tokens(parse.run.context)) {
        char beginning[6];
        const std::size_t more = std::min(sizeof beginning - open.size(), bytes.size());
        std::copy_n(open.data(), open.size(), beginning);
        std::copy_n(bytes.data(), more, beginning + open.size());
        if (find_early_end({beginning, open.size() + more}) == 0) {
            return whole_comment(open.empty() ? open : held, bytes);
        }
    }
    const std::string_view piece = bytes.substr(0, k_piece);
    const std::size_t early = find_early_end(piece);
    return early == 0 ? piece.size() : std::min(piece.size(), early);
}

#else

std::size_t choose_short_piece(const push_parse & /*parse*/, std::string_view bytes) noexcept {
    return std::min(bytes.size(), k_piece);
}

#endif

// How many of these bytes to give libxml2 next.
std::size_t choose_piece(push_parse &parse, std::string_view bytes) noexcept {
    open_token &token = parse.token;
    if (token.is == open_token::kind::none) {
        return choose_short_piece(parse, bytes);
    }
    const std::size_t held = held_text(parse).size();
    const std::size_t most = std::min(bytes.size(), std::max(held, k_piece));
    if (token.seen < most) {
        token.seen += scan(token, bytes.substr(token.seen, most - token.seen));
    }
    if (token.attributes > parse_limits.max_attributes) {
        stop_parse(parse.run, parse.run.context, k_max_attributes_name,
                   parse_limits.max_attributes);
        parse.failed = true;
        return 0;
    }
    const bool ends = token.is == open_token::kind::none;
    if (!ends && bytes.size() < held / 4) {
        return 0;
    }
    const std::size_t size = token.seen;
    token.seen = 0;
    return size;
}

// --- a piece -----------------------------------------------------------------------------------

void begin_piece(push_parse &parse, std::size_t size) noexcept {
    parse_run &run = parse.run;
    parse.piece = size;
    parse.unit_text += size;
    parse.credit += size;
    run.start = gate.bytes_in_use - parse.unit_bytes;
    run.entity_start = gate.bytes_in_use;
    run.position += size;
    run.length = run.position;
    run.budget = budget_for(parse.unit_text);
    run.work_allowed = work_for(parse.unit_text);
}

// True when memory was refused.
bool parse_piece(push_parse &parse, const char *bytes, std::size_t size) noexcept {
    parse_run &run = parse.run;
    const xml_scope scope;
    {
        const watched_parse watched(run);
        work_for_text(run, run.context, static_cast<std::int64_t>(size));
        if (!run.stopped) {
            xmlParseChunk(run.context, bytes, static_cast<int>(size), 0);
        }
        static_cast<void>(must_stop(run, nullptr));
        if (!run.stopped) {
            note_token(parse);
        }
    }
    parse.unit_bytes = gate.bytes_in_use - run.start;
    parse.failed = run.stopped || scope.refused() || run.context->wellFormed == 0;
    return scope.refused() && !gate.budget_spent && !run.cancelled;
}

xmlParserCtxtPtr new_push_context() {
    release_abandoned();
    const xml_scope scope;
    xmlParserCtxtPtr const context = xmlCreatePushParserCtxt(nullptr, nullptr, nullptr, 0, nullptr);
    if (context != nullptr) {
        xmlCtxtUseOptions(context, k_options);
        xmlSwitchEncoding(context, XML_CHAR_ENCODING_UTF8);
#if LIBXML_VERSION >= 21300
        // Of its own it refuses honest documents that use entities a lot; the budget does not.
        xmlCtxtSetMaxAmplification(context, k_no_amplification_limit);
#endif
    }
    if (context == nullptr || scope.refused()) {
        xmlFreeParserCtxt(context);
        raise_refused(sizeof(xmlParserCtxt));
    }
    return context;
}

} // namespace

void begin_push(push_parse &parse, void *stream) {
    parse.run.context = new_push_context();
    parse.run.diagnostics = &parse.notes;
    parse.run.gated = gate_in_force();
    parse.run.polls = true;
    parse.run.stream = stream;
    set_limit_callbacks(parse.run.context);
}

std::size_t push_some(push_parse &parse, const char *bytes, std::size_t size) {
    check_for_interrupts();
    const std::size_t taken = choose_piece(parse, {bytes, size});
    if (taken == 0) {
        return 0;
    }
    begin_piece(parse, taken);
    const bool starved = parse_piece(parse, bytes, taken);
    if (parse.run.cancelled) {
        process_interrupts();
    }
    if (starved) {
        raise_refused(gate.refused_size);
    }
    return taken;
}

void begin_unit(push_parse &parse) noexcept {
    parse_run &run = parse.run;
    const auto credit = static_cast<std::int64_t>(parse.credit);
    run.work = std::max<std::int64_t>(0, run.work - credit * k_work_per_byte);
    run.charged = std::max<std::int64_t>(0, run.charged - credit * parse_limits.budget_factor);
    parse.credit = 0;
    parse.unit_text = parse.piece;
    run.start = gate.bytes_in_use;
    run.entity_start = run.start;
    run.budget = budget_for(parse.unit_text);
    run.work_allowed = work_for(parse.unit_text);
    set_ceiling(run);
}

std::size_t held_back(const push_parse &parse) noexcept { return held_text(parse).size(); }

bool holds_only_blanks(const push_parse &parse) noexcept {
    return held_text(parse).find_first_not_of(" \t\r\n") == std::string_view::npos;
}

void end_push(push_parse &parse) noexcept {
    xmlParserCtxtPtr const context = parse.run.context;
    if (context == nullptr) {
        return;
    }
    parse.run.context = nullptr;
    forget_weights(parse.run);
    xmlDocPtr const document = context->myDoc;
    context->myDoc = nullptr;
    xmlFreeParserCtxt(context);
    if (document != nullptr) {
        discard_document(document);
    }
}

} // namespace host
