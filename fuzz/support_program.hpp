// A small machine that turns bytes into calls of the SQL functions, over rings of handles: those
// that calls gave, of every kind, live and stale, and forged ones.
//
// The same bytes always give the same calls. Each call can also be written as the SQL statement
// that makes it, so that one program can be run on several hosts.
#pragma once

#include "support/sql.hpp"
#include "support_signatures.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace fuzz {

// One call: what to make it with, and how it is written in SQL.
struct program_call {
    const signature *function;
    std::vector<sql::value> arguments;
    bool has_null;
    std::string statement; // an SQL expression: name(argument, ...); "" when not asked for
};

class program {
  public:
    // `with_files` lets it choose the functions that write files, into directory objects "out"
    // and "none"; `with_statements` has the calls written as SQL.
    program(std::span<const std::uint8_t> bytes, bool with_files, bool with_statements);
    // The next call; false when the bytes are used up.
    bool next(program_call &call);
    // To be told what the call gave, so that its handle can be used by later calls.
    void note(const program_call &call, const sql::result &outcome);
    // The documents that it would use next.
    [[nodiscard]] std::span<const sql::handle> documents() { return kept_in(ring::documents); }
    // Calls to end with, which give back what was made since the first scope, then everything. How
    // documents are numbered after that differs between hosts.
    [[nodiscard]] std::vector<program_call> closing_calls();

  private:
    [[nodiscard]] std::uint8_t byte();
    [[nodiscard]] const signature &choose();
    [[nodiscard]] std::vector<sql::handle> &kept_in(ring which) {
        return kept_.at(static_cast<std::size_t>(which));
    }
    void add_argument(program_call &call, char type);
    void add_handle(program_call &call, const handle_type &type);
    [[nodiscard]] sql::handle choose_handle(ring preferred, std::uint8_t kind);
    void add_array(program_call &call);
    void add_null(program_call &call, const char *type);
    void add_text(program_call &call, const std::string &text, const char *type);
    void add_chosen_text(program_call &call, char type, std::uint8_t choice);
    void add_bytes(program_call &call, std::span<const std::uint8_t> bytes, const char *type);
    template <class... Part> void write(program_call &call, const Part &...parts) const {
        if (with_statements_) {
            ((call.statement += parts), ...);
        }
    }
    [[nodiscard]] std::string made_text();

    std::span<const std::uint8_t> bytes_;
    std::size_t place_ = 0;
    std::size_t calls_ = 0;
    bool with_files_;
    bool with_statements_;
    bool packages_only_;
    std::array<std::vector<sql::handle>, k_ring_count> kept_;
    std::vector<sql::handle> used_; // those of nodes in the call that is made up
};

// Makes the call as a server does: functions declared STRICT are not called with a null, and give
// null.
[[nodiscard]] sql::result make(const program_call &call);

// What a call gave, in a form that is the same on every host: the value, NULL, or the error with
// SQLSTATE and message.
[[nodiscard]] std::string shown(const program_call &call, const sql::result &outcome);

// How many calls of `bytes` lie between two checks, 1 to 64: as the last byte says, so that
// programs are checked after every call, and others run far between two checks.
inline constexpr std::size_t k_longest_interval = 64;
[[nodiscard]] std::size_t drawn_interval(std::span<const std::uint8_t> bytes);

// Whether a program calls functions of the packages only, as its last byte says as well.
[[nodiscard]] bool calls_packages_only(std::span<const std::uint8_t> bytes);

// What became of a program.
struct played {
    std::string wrong; // "" when nothing is
    std::size_t calls = 0;
    std::size_t audits = 0; // checks of the invariants
};

// Runs the calls of `bytes` in a session of this thread; checks the invariants after every
// `check_every` calls (0: not before the last) and after the last, that its documents are written
// so that they are read again, and that nothing is left at the end.
[[nodiscard]] played run_program(std::span<const std::uint8_t> bytes, bool with_files,
                                 std::size_t check_every);

} // namespace fuzz
