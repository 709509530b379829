// What a program has of the standalone host beside the host interface: sessions, calls, reports,
// faults. Tests, fuzzers and benchmarks are written against this header.
//
// A session belongs to the thread that began it; as many threads as wanted have one each.
#pragma once

#include "host/call.hpp"
#include "host/error.hpp"
#include "host/memory.hpp"
#include "host/records.hpp"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace host {

// A report as it left the library.
struct report_fields {
    int id = 0;
    report_level level = report_level::error;
    int module_id = 0; // 0: none
    std::string sqlstate, message, cause, action, hint, context;
    std::string file, function; // where it was begun
    int line = 0;
    bool internal_action = false; // the host's own advice stands in the place of the action
};

struct warning_fields {
    std::string sqlstate, message, context;
};

// A column of the rows that a function is to give, as a server's caller would list it. With a
// function, values are converted by it, whatever it does.
struct record_column {
    std::string name;
    column_form form{};
    std::function<std::string(const std::string &text)> convert{};
};
// The values of a column in a row: none for null, several in an array.
using record_cell = std::vector<std::string>;

// The record of a call: the caller fills the arguments, `invoke` the rest.
struct call_record {
    const argument *arguments = nullptr;
    int argument_count = 0;
    datum result = 0;
    bool result_is_null = false;
    bool failed = false;
    report_fields report{};               // when it failed
    std::vector<datum> rows{};            // of a set: values in the caller's context
    std::vector<record_column> columns{}; // that the caller lists
    bool null_on_error = false;           // as the function asked for
    std::vector<std::vector<record_cell>> records{};
};

namespace standalone {

// --- sessions ----------------------------------------------------------------------------------

// What was left when a session had ended, after the library had cleaned up.
struct session_remains {
    int clean_up_result = 0;     // what the library's clean-up returned
    std::size_t host_blocks = 0; // allocations below the session's context
    std::size_t host_bytes = 0;
    std::size_t host_contexts = 0;       // contexts below the session's
    std::int64_t libxml2_bytes = 0;      // held by libxml2 on behalf of the session
    std::vector<std::string> block_list; // "context: size", the first of them
    [[nodiscard]] bool nothing() const {
        return clean_up_result == 0 && host_blocks == 0 && host_contexts == 0 && libxml2_bytes == 0;
    }
};

// Begins a session of this thread in a database of that encoding ("UTF8", "SQL_ASCII", "EUC_JP",
// any name that iconv knows). Throws std::invalid_argument for an unknown one.
void begin_session(std::string_view database_encoding = "UTF8");
// Ends it: the library cleans up, what is left is counted and freed.
session_remains end_session();
[[nodiscard]] bool session_begun() noexcept;
// Lets the library clean up, as at the end of a session, and the session go on. Does nothing while
// a call is in progress.
int reset_session();
// True once an internal assertion failed: the session refuses every further call.
[[nodiscard]] bool session_terminated() noexcept;
// Calls of `invoke` in progress.
[[nodiscard]] int call_depth() noexcept;

// The report of the last call that failed.
[[nodiscard]] const report_fields &last_report();
// The warnings shown so far; the caller may clear them.
[[nodiscard]] std::vector<warning_fields> &warnings();

// Calls an exported function with these arguments.
using function_entry = datum (*)(call_record *);
call_record call_function(function_entry entry, const argument *arguments, int count);

// --- memory ------------------------------------------------------------------------------------

struct memory_use {
    std::size_t blocks;
    std::size_t bytes;
    std::size_t contexts; // below, itself not counted
};
// What a context and all below it hold.
[[nodiscard]] memory_use memory_of(const memory_context *context) noexcept;
[[nodiscard]] const char *name_of(const memory_context *context) noexcept;
// The size asked for; ends the program for a pointer that is no live allocation of this session.
[[nodiscard]] std::size_t size_of_allocation(const void *pointer) noexcept;
[[nodiscard]] memory_context *context_of_allocation(const void *pointer) noexcept;
// Frees all that calls have left in the caller's context: arguments and results.
void reset_caller_context() noexcept;

// --- values ------------------------------------------------------------------------------------

// Values in the current context.
[[nodiscard]] datum make_text(std::string_view bytes);       // four-byte header
[[nodiscard]] datum make_short_text(std::string_view bytes); // one-byte header; at most 126 bytes
// An array of texts with so many columns; a null pointer is a null member.
[[nodiscard]] datum make_text_array(const std::vector<const char *> &members,
                                    std::size_t columns = 2);
// A pointer to a value stored elsewhere, as a stored column gives it: read by detoasting.
[[nodiscard]] datum make_stored_text(std::string_view bytes);
// A large value that can only be read in slices. It lives as long as the session.
[[nodiscard]] datum make_large_text(std::string_view bytes);
// The same with `size` bytes, zeros between `beginning` and `end`; memory is taken only for what
// is not zero.
[[nodiscard]] datum make_sparse_large_text(std::int64_t size, std::string_view beginning,
                                           std::string_view end);
// The same, of which every byte between beginning and end is `fill`: made when a slice is read.
[[nodiscard]] datum make_filled_large_text(std::int64_t size, std::string_view beginning, char fill,
                                           std::string_view end);
// Sets the piece size in force, 0 for the true one; lasts until the session ends.
void set_piece_size(std::int64_t bytes) noexcept;

// --- large objects ------------------------------------------------------------------------------

// A new one with these bytes; its number. It lives as long as the session.
std::uint32_t make_numbered_object(std::string_view bytes);
// Makes it as long as `size`, with zeros behind its bytes, for which no memory is taken.
void set_object_size(std::uint32_t number, std::int64_t size) noexcept;
// The session may not write into it any more.
void forbid_writing(std::uint32_t number) noexcept;
// Keeps none of the bytes that are written into it, only their number: for texts that would fill
// the machine's memory.
void keep_length_only(std::uint32_t number) noexcept;
[[nodiscard]] std::int64_t size_of_object(std::uint32_t number);
[[nodiscard]] std::string bytes_of_object(std::uint32_t number);
// How many there are, and how many of them are open.
[[nodiscard]] std::size_t count_of_objects() noexcept;
[[nodiscard]] std::size_t open_objects() noexcept;

// --- interrupts --------------------------------------------------------------------------------

// Asks the statement to stop, now or when it has polled `polls` times.
void cancel_statement() noexcept;
void cancel_after_polls(std::int64_t polls) noexcept;
void forget_cancel() noexcept;
// Whether such requests are withdrawn as soon as a poll has found them, until `forget_cancel`.
void withdraw_cancels() noexcept;
// Polls since the session began.
[[nodiscard]] std::int64_t poll_count() noexcept;
// Another thread's way to ask: valid until the session ends.
struct session;
[[nodiscard]] session *this_session() noexcept;
void cancel_statement_of(session *other) noexcept;

} // namespace standalone
} // namespace host
