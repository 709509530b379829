// Compiling schemas. Whatever they refer to comes out of the store and from nowhere else.
#include "compiled_schema.hpp"

#include "complaints.hpp"
#include "identifier_attributes.hpp"
#include "name_classes.hpp"
#include "schema_store.hpp"
#include "services.hpp"
#include "validation_reports.hpp"

#include <libxml/parser.h>

#include <algorithm>
#include <exception>
#include <map>
#include <utility>
#include <vector>

namespace pkg_dbe_xml::validation {

namespace {

constexpr std::string_view k_xsd_namespace = "http://www.w3.org/2001/XMLSchema";
constexpr std::string_view k_relax_ng_namespace = "http://relaxng.org/ns/structure/1.0";
// Complaints that a report tells, at most.
constexpr std::size_t k_told = 10;

enum class language : std::uint8_t { xsd, relax_ng, dtd, unknown };

struct document_owner {
    void operator()(xmlDoc *document) const noexcept { services().free_document(document); }
};
using owned_document = std::unique_ptr<xmlDoc, document_owner>;

std::string_view view_of(const xmlChar *text) noexcept {
    return text == nullptr ? std::string_view{} : reinterpret_cast<const char *>(text);
}

bool ends_with(std::string_view location, std::string_view end) noexcept {
    return location.size() >= end.size() &&
           std::ranges::equal(location.substr(location.size() - end.size()), end,
                              [](char left, char right) {
                                  return (left >= 'A' && left <= 'Z' ? left + 32 : left) == right;
                              });
}

bool is_dtd(std::string_view location) noexcept { return ends_with(location, ".dtd"); }
bool is_part_of_dtd(std::string_view location) noexcept {
    return is_dtd(location) || ends_with(location, ".mod") || ends_with(location, ".ent");
}

owned_document parse(std::string_view location, std::string_view text) {
    char words[512] = "";
    int line = 0;
    owned_document document(services().parse_text(text, words, line));
    if (document == nullptr) {
        services().report(reports::schema_not_xml, {location, std::to_string(line), words}, {});
    }
    return document;
}

language language_of(const xmlNode *root) noexcept {
    const std::string_view uri = root->ns == nullptr ? std::string_view{} : view_of(root->ns->href);
    if (uri == k_xsd_namespace && view_of(root->name) == "schema") {
        return language::xsd;
    }
    return uri == k_relax_ng_namespace ? language::relax_ng : language::unknown;
}

// Reports schema_not_known.
language known_language(std::string_view location, xmlDocPtr document) {
    const xmlNode *const root = xmlDocGetRootElement(document);
    const language found = language_of(root);
    if (found == language::unknown) {
        const std::string_view uri =
            root->ns == nullptr ? std::string_view{} : view_of(root->ns->href);
        std::string name;
        if (!uri.empty()) {
            name.append("{").append(uri).append("}");
        }
        name += view_of(root->name);
        services().report(reports::schema_not_known, {location, name}, {});
    }
    return found;
}

// The texts are in UTF-8 by now, whatever their declarations say: blanks take the place of these,
// so that lines stay what they are.
void blank_declaration(std::string &text) {
    if (!text.starts_with("<?xml") || text.size() < 6 ||
        std::string_view(" \t\r\n").find(text[5]) == std::string_view::npos) {
        return;
    }
    const std::size_t end = text.find("?>");
    if (end != std::string::npos) {
        std::replace_if(
            text.begin(), text.begin() + static_cast<std::ptrdiff_t>(end) + 2,
            [](char byte) { return byte != '\n'; }, ' ');
    }
}

// One compilation, and what it asks for.
struct compilation {
    std::string location;
    language is = language::unknown;
    std::unique_ptr<compiled_schema> result;
    complaint_list complaints;
    unrefused_work work;
    std::map<std::string, std::string, std::less<>> texts; // that were read, by their locations
    std::string missing;                                   // the first one that is not there
    std::string nested_choice;  // where names are chosen in a way that libxml2 cannot bear
    std::exception_ptr failure; // while one was read
};

// Gives libxml2 a text, noting what is not there. No exception leaves it.
bool open_text(void *state, const char *location, std::string_view &text) noexcept {
    auto &task = *static_cast<compilation *>(state);
    if (task.failure != nullptr) {
        return false;
    }
    try {
        auto found = task.texts.find(std::string_view(location));
        if (found == task.texts.end()) {
            std::string read;
            if (!find_schema(location, read)) {
                task.missing = task.missing.empty() ? location : task.missing;
                return false;
            }
            blank_declaration(read);
            static_cast<void>(services().may_go_on(task.work, read.size()));
            found = task.texts.emplace(location, std::move(read)).first;
        }
        text = found->second;
        return true;
    } catch (...) {
        task.failure = std::current_exception();
        return false;
    }
}

void compile_xsd(compilation &task) noexcept {
    xmlSchemaParserCtxtPtr const context = xmlSchemaNewParserCtxt(task.location.c_str());
    if (context != nullptr) {
        xmlSchemaSetParserStructuredErrors(context, note_complaint, &task.complaints);
        task.result->xsd.reset(xmlSchemaParse(context));
        xmlSchemaFreeParserCtxt(context);
    }
}

// Looks for nested choices of names in a schema and in all that it refers to. No exception leaves
// it.
void look_for_nested_choices(compilation &task) noexcept {
    try {
        std::set<std::string, std::less<>> known{task.location};
        std::vector<std::string> waiting{task.location};
        while (!waiting.empty() && task.nested_choice.empty()) {
            const std::string location = std::move(waiting.back());
            waiting.pop_back();
            std::string_view text;
            if (!open_text(&task, location.c_str(), text)) {
                return;
            }
            const long line = look_at_name_classes(location, text, known, waiting);
            if (line != 0) {
                task.nested_choice = location + ", line " + std::to_string(line);
            }
        }
    } catch (...) {
        task.failure = std::current_exception();
    }
}

void compile_relax_ng(compilation &task) noexcept {
    if (task.failure != nullptr || !task.missing.empty() || !task.nested_choice.empty()) {
        return;
    }
    xmlRelaxNGParserCtxtPtr const context = xmlRelaxNGNewParserCtxt(task.location.c_str());
    if (context != nullptr) {
        xmlRelaxNGSetParserStructuredErrors(context, note_complaint, &task.complaints);
        task.result->relax_ng.reset(xmlRelaxNGParse(context));
        xmlRelaxNGFreeParserCtxt(context);
    }
}

void compile_step(void *state) noexcept {
    auto &task = *static_cast<compilation *>(state);
    if (task.is == language::relax_ng) {
        look_for_nested_choices(task);
    }
    // Of the texts that schemas are, when these are no XML.
    xmlSetStructuredErrorFunc(&task.complaints, note_complaint);
    switch (task.is) {
    case language::xsd:
        compile_xsd(task);
        break;
    case language::relax_ng:
        compile_relax_ng(task);
        break;
    default:
        task.result->dtd.reset(xmlParseDTD(nullptr, BAD_CAST task.location.c_str()));
        break;
    }
}

std::string words_of(const complaint &one, std::string_view location) {
    std::string words(one.file.empty() ? location : std::string_view(one.file));
    if (one.line > 0) {
        words += ", line " + std::to_string(one.line);
    }
    return words + ": " + one.message;
}

// Reports what kept a schema from being compiled, if anything did.
void check_outcome(compilation &task) {
    if (task.failure != nullptr) {
        std::rethrow_exception(task.failure);
    }
    if (!task.missing.empty()) {
        services().report(reports::schema_reference_not_there, {task.location, task.missing}, {});
    }
    if (!task.nested_choice.empty()) {
        services().report(reports::schema_unusable,
                          {task.location, task.nested_choice +
                                              ": a choice of names within another one, which "
                                              "libxml2 cannot compile; put the names into one"},
                          {});
    }
    const compiled_schema &made = *task.result;
    if (made.xsd != nullptr || made.relax_ng != nullptr ||
        (made.dtd != nullptr && task.complaints.errors == 0)) {
        return;
    }
    std::vector<complaint> &found = task.complaints.found;
    std::erase_if(found, [](const complaint &one) { return one.level[0] == 'w'; });
    std::string lines;
    for (std::size_t number = 0; number < std::min(found.size(), k_told); ++number) {
        lines += number == 0 ? "" : "\n";
        lines += words_of(found[number], task.location);
    }
    services().report(
        reports::schema_unusable,
        {task.location, found.empty() ? "no reason given" : words_of(found.front(), task.location)},
        lines);
}

// Schemas are compiled in one go, which nobody can stop: a request to stop is served afterwards.
void run_compilation(compilation &task) {
    task.work.open = open_text;
    task.work.state = &task;
    task.work.polls = false;
    task.work.budget = services().budget_for(0);
    const std::int64_t before = services().bytes_in_use();
    services().run_unrefused(task.work, compile_step, &task);
    if (task.failure == nullptr) {
        services().check_for_interrupts();
        services().end_stopped(task.work, reports::validation_over_budget);
    }
    check_outcome(task);
    task.result->bytes = services().bytes_in_use() - before;
}

void look_for_identifiers(compilation &task) {
    std::vector<derivation> derivations;
    for (const auto &[location, text] : task.texts) {
        const owned_document document = parse(location, text);
        note_derivations(xmlDocGetRootElement(document.get()), derivations);
    }
    find_identifiers(derivations, *task.result);
}

} // namespace

void check_schema_text(std::string_view location, std::string_view text) {
    if (!is_part_of_dtd(location)) {
        static_cast<void>(known_language(location, parse(location, text).get()));
    }
}

std::unique_ptr<compiled_schema> compile_schema(std::string_view location) {
    compilation task;
    task.location = location;
    task.is = language::dtd;
    task.result = std::make_unique<compiled_schema>();
    task.result->location = location;
    std::string text;
    if (!find_schema(location, text)) {
        services().report(reports::schema_not_there, {location}, {});
    }
    if (!is_dtd(location)) {
        task.is = known_language(location, parse(location, text).get());
    }
    run_compilation(task);
    if (task.is == language::xsd) {
        look_for_identifiers(task);
    }
    return std::move(task.result);
}

} // namespace pkg_dbe_xml::validation
