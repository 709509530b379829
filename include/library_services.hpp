// What the library offers to an extension of it that has a shared object of its own.
//
// The names of the library are hidden, and its state must not exist twice. So whoever builds on it
// is handed one record of functions, and the library goes on being the only place where failures
// are made, calls are run and libxml2 is guarded. Both objects come out of one build; what differs
// in size, revision or release is not used.
//
// Each function fails as the library does, by an exception, unless it is noexcept.
#pragma once

#include "error_reports.hpp"
#include "host/call.hpp"
#include "host/text_array.hpp"

#include <libxml/tree.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string_view>

namespace host {
struct parse_diagnostics; // libxml/xml.hpp
}

namespace pkg_dbe_xml {

// To be raised with every change of the record or of what its functions do.
inline constexpr std::uint32_t k_services_revision = 1;
inline constexpr const char *k_services_release = "1.0";
// Where the server keeps the address of the record for whoever is loaded later.
inline constexpr const char *k_services_variable = "pkg_dbe_xml services";

// An argument as reports name it.
struct argument_words {
    const char *function; // with its schema
    const char *name;
    int index; // from 0
};

// Work of libxml2's that cannot bear a failed allocation, so that none is refused while it lasts.
// What it takes is counted, and whoever can stop the work asks `may_go_on` now and then.
struct unrefused_work {
    std::int64_t budget = 0; // bytes
    // Gives libxml2 a text that the work names, null where there is none; may be null.
    bool (*open)(void *state, const char *location, std::string_view &text) noexcept = nullptr;
    void *state = nullptr;
    bool polls = true; // look for requests to stop

    // Kept by the library.
    std::int64_t start = 0;
    bool cancelled = false;
    bool budget_spent = false;
    bool session_full = false;
    bool starved = false;

    [[nodiscard]] bool was_stopped() const noexcept { return cancelled || budget_spent || starved; }
};

using guest_clean_up = void (*)() noexcept;

struct library_services {
    std::uint32_t size; // of this record
    std::uint32_t revision;
    const char *release;

    // --- calls and reports ---

    // As host::invoke.
    host::datum (*invoke)(host::call_record *record, host::function_body body, const char *name);
    // Runs a step that calls the host and may be left by the host's own way of failing; null on
    // hosts that have none.
    void (*run_guarded)(void (*step)(void *state) noexcept, void *state);
    // As report(); does not return.
    void (*report)(const report_row &row, std::initializer_list<std::string_view> arguments,
                   std::string_view context);
    // The same about an argument.
    void (*fail)(host::call &frame, const argument_words &words, const report_row &row,
                 std::initializer_list<std::string_view> arguments);
    void (*check_for_interrupts)();
    // Called when the session's objects are cleaned up; null at first. The caller's to set.
    guest_clean_up *clean_up;

    // --- values ---

    // Reports null_package_argument for a null argument.
    void (*needs)(host::call &frame, const argument_words &words);
    // The element or document that an argument which is not null names, to be read only. Reports
    // unknown_handle, stale_handle and wrong_node_type.
    const xmlNode *(*tree_argument)(host::call &frame, const argument_words &words);
    // A text value in UTF-8, in the caller's memory.
    std::string_view (*utf8_text)(host::datum value);
    // A text value from UTF-8, in the caller's memory.
    host::datum (*text_value)(std::string_view text);
    host::text_table (*texts_of_array)(host::datum array);

    // --- trees ---

    // The document of a text or XML value, which the caller frees with `free_document`. Reports
    // text_too_large and invalid_document.
    xmlDocPtr (*parse_value)(host::datum value);
    // The document of a text in UTF-8; null when there is none, and `words` and `line` say why.
    xmlDocPtr (*parse_text)(std::string_view text, char (&words)[512], int &line);
    // A copy of a document or of an element, as a document of its own.
    xmlDocPtr (*copy)(const xmlNode *tree);
    void (*free_document)(xmlDocPtr document) noexcept;
    // The path of a node as xmldom.get_path gives it, in the caller's memory.
    std::string_view (*path_of)(const xmlNode *node);

    // --- libxml2 ---

    // Runs `step(state)` with libxml2's errors, defaults and loader set and nothing refused.
    // Afterwards the work says whether it should have been stopped.
    void (*run_unrefused)(unrefused_work &work, void (*step)(void *state) noexcept, void *state);
    // For use within: false when the work is to stop as soon as it can. Also counts `bytes` more
    // that the budget may grow with.
    bool (*may_go_on)(unrefused_work &work, std::size_t bytes) noexcept;
    // After work that was to stop: ends the statement, or returns when the request to stop was
    // withdrawn. Then the work is to be done again, without looking for others. Reports
    // out_of_memory, session_memory_full and `over_budget`.
    void (*end_stopped)(unrefused_work &work, const report_row &over_budget);
    // What a piece of work with a text of so many bytes may take.
    std::int64_t (*budget_for)(std::size_t bytes) noexcept;
    std::int64_t (*bytes_in_use)() noexcept;
    int (*deepest_tree)() noexcept; // levels of elements
};

// The record of this library, without what its host has to add.
[[nodiscard]] library_services own_services() noexcept;

} // namespace pkg_dbe_xml
