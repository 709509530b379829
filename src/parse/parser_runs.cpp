// What a parser object does with a text.
#include "parse/parser_runs.hpp"

#include "host/error.hpp"
#include "libxml/xml.hpp"
#include "parse/failure_words.hpp"
#include "registry/parser_registry.hpp"

#include <algorithm>
#include <charconv>
#include <cstring>
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
    words << failure_words(diagnostics).view();
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

// While one lives, what the parse complains of is kept.
class logged_parse {
  public:
    explicit logged_parse(host::complaint_log &log) noexcept { host::current_log = &log; }
    ~logged_parse() { host::current_log = nullptr; }
    logged_parse(const logged_parse &) = delete;
    logged_parse &operator=(const logged_parse &) = delete;
};

// A text without a document type is not invalid; one that gave no document has a reason.
void complete_log(host::complaint_log &log, const XmlParserHashEntry &parser,
                  const host::parse_diagnostics &diagnostics) noexcept {
    if (!diagnostics.has_doctype) {
        log.forget_validity();
    }
    if (parser.doc == nullptr && diagnostics.limit != nullptr) {
        log.add(host::complaint_level::fatal, false, diagnostics.line,
                failure_words(diagnostics).view());
    }
}

} // namespace

void set_validation(xmlParserCtxt &context, bool validates) noexcept {
    context.options =
        validates ? context.options | XML_PARSE_DTDVALID : context.options & ~XML_PARSE_DTDVALID;
}

xml_parser_ctxt_ptr make_context(bool validates) {
    xml_parser_ctxt_ptr context(host::get_new_parser_ctxt());
    set_validation(*context, validates);
    return context;
}

void parse_inner(XmlParserHashEntry &parser, const char *text, std::size_t size) {
    // libxml2 contexts remember options and names from one parse to the next: each serves once.
    // The next one is made first, so that the record is never without.
    xml_parser_ctxt_ptr next = make_context(parser.validates);
    let_go_of_document(parser);
    xml_parser_ctxt_ptr context(std::exchange(parser.ctxt, next.release()));
    const int options = parser.validates ? k_parse_options | XML_PARSE_DTDVALID : k_parse_options;
    host::parse_diagnostics diagnostics{};
    {
        const logged_parse logged(complaints_of(parser));
        parser.doc = host::xml_parse_doc(context.get(), text, size, options, false, diagnostics);
    }
    context.reset();
    complete_log(complaints_of(parser), parser, diagnostics);
    if (parser.doc == nullptr) {
        warn_not_parsed(diagnostics);
    } else if (parser.validates && diagnostics.has_doctype && diagnostics.validity_errors != 0) {
        warn_not_valid(diagnostics);
    }
}

} // namespace pkg_dbe_xml
