// Reporting failures. A report is begun with `errproc_template`, filled with the `err_` functions
// and made with `errfinish`, which does not return: it throws, and `host::invoke` turns the
// exception into the host's own error once every destructor has run.
#pragma once

#include <cstddef>
#include <string_view>

namespace host {

// Levels of a report. The numbers are the ones reports are written with; a host maps them by
// name to its own.
enum class report_level : int {
    error = 20,             // ends the statement
    internal_assertion = 21 // ends the session, never the server
};

// The exception by which a report leaves the library. Thrown only by a host. The library lets it
// pass, but for the odd allocation that it can do without.
struct raised {
    report_level level;
};

// Begins a report: its number, level and the place in the source. True when it is to be made.
bool errproc_template(int report_id, report_level level, const char *file, int line,
                      const char *function) noexcept;

// Each of these adds one field to the report begun last and returns 0. Texts are UTF-8 or ASCII;
// they are copied, cut at the host's bound.
int err_module(int module_id) noexcept;
int err_ecode(const char *sqlstate) noexcept; // five characters
int err_msg(std::string_view message) noexcept;
int err_cause(std::string_view cause) noexcept;
int err_action(std::string_view action) noexcept;
int err_hint(std::string_view hint) noexcept;
// The host's own advice for failures that the user cannot mend.
int err_action_internal() noexcept;
// A line of CONTEXT, beside what the host itself adds there.
int err_context(std::string_view line) noexcept;
// The SQLSTATE that the host has for the operating-system error in `saved_errno`.
int err_code_for_file_access(int saved_errno) noexcept;

// Makes the report begun last; throws `raised`.
[[noreturn]] void finish_report();
template <class... Field> [[noreturn]] void errfinish(Field... /*fields, already set*/) {
    finish_report();
}

// Reports that memory for `size` bytes could not be had (SQLSTATE 53200, the host's own words);
// throws.
[[noreturn]] void raise_out_of_memory(std::size_t size);

// Shows the user a warning with a line of context; the statement goes on. May throw what the host
// raises while sending it.
void report_warning(const char *sqlstate, std::string_view message, std::string_view context);

// A bounds-checked copy or fill was asked to leave its bounds: an internal failure that ends the
// statement. `freeSecurityFuncSpace` releases what the check keeps aside, if anything.
[[noreturn]] void report_securec_error(int code, const char *file, int line);
void freeSecurityFuncSpace() noexcept;

// True when the statement was asked to stop. Cheap; may be called from anywhere.
[[nodiscard]] bool interrupts_pending() noexcept;
// Ends the statement if it was asked to stop; throws. Call only where nothing is half done.
void process_interrupts();
inline void check_for_interrupts() {
    if (interrupts_pending()) [[unlikely]] {
        process_interrupts();
    }
}

} // namespace host
