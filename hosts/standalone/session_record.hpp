// The record of a session of the standalone host, for the sources of this folder only.
#pragma once

#include "host/encoding.hpp"
#include "host/error.hpp"
#include "host/memory.hpp"
#include "host/transaction.hpp"
#include "standalone_faults.hpp"
#include "standalone_session.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iconv.h>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace host::standalone {

// A text of bounded length that never allocates: reports are begun where nothing may fail.
struct bounded_text {
    std::array<char, 8192> bytes;
    std::size_t size;
    void assign(std::string_view text) noexcept {
        size = std::min(text.size(), bytes.size());
        while (size < text.size() && size > 0 &&
               (static_cast<unsigned char>(text[size]) & 0xC0U) == 0x80U) {
            --size; // never cuts a UTF-8 character
        }
        if (size != 0) {
            std::memcpy(bytes.data(), text.data(), size);
        }
    }
    [[nodiscard]] std::string_view view() const noexcept { return {bytes.data(), size}; }
};

// The report begun last.
struct report_draft {
    int id;
    report_level level;
    int module_id;
    const char *file;
    const char *function;
    int line;
    bool internal_action;
    bounded_text sqlstate, message, cause, action, hint, context;
};

struct fault_plan {
    std::int64_t calls;  // since the plan was made
    std::int64_t first;  // the first call that fails; 0: none
    std::int64_t repeat; // how many fail from there
    std::int64_t injected;
};

// Where the bytes of a large value are.
struct large_object {
    std::int64_t size;
    const char *mapped; // `size` bytes, or null: then beginning, fill, end
    std::string beginning, end;
    char fill;
};

// A large object with a number; bytes beyond those kept are zeros.
struct numbered_object {
    std::uint32_t number;
    std::string bytes;
    std::int64_t size;
    bool read_only;
    bool length_only; // what is written into it is counted, not kept
};

inline constexpr int k_most_end_callbacks = 8;
inline constexpr int k_most_transaction_callbacks = 8;

struct session {
    memory_context *top;
    memory_context *session_context;
    memory_context *caller_context;
    memory_context *current;
    int depth;
    bool terminated;
    report_draft draft;
    report_fields last;
    std::vector<warning_fields> warnings;

    int encoding;
    std::string encoding_name; // for messages
    std::string iconv_name;
    iconv_t to_utf8;
    iconv_t from_utf8;

    std::int64_t piece_size;
    std::vector<large_object *> large_objects;
    std::vector<numbered_object> objects;
    std::vector<std::uint32_t> open_objects; // by descriptor; 0 where none is open
    std::uint32_t last_object;

    std::atomic<bool> cancel;
    std::int64_t polls;
    std::int64_t cancel_at; // number of the poll that finds the cancel; 0: none
    bool cancels_are_withdrawn;

    fault_plan plans[static_cast<int>(service::count)];
    int fault_pauses; // none fails while it is not 0

    void (*end_callbacks[k_most_end_callbacks])() noexcept;
    int end_callback_count;

    std::vector<subtransaction_number> subtransactions; // open, the innermost last
    subtransaction_number last_subtransaction = 1;      // begun in this transaction
    transaction_end_callback transaction_callbacks[k_most_transaction_callbacks];
    int transaction_callback_count;
};

// The session of this thread, null when none was begun.
extern constinit thread_local session *t_session;

// The session of this thread; ends the program when there is none.
[[nodiscard]] session &current_session() noexcept;

// The library or a test misused the host: prints what and ends the program.
[[noreturn]] void misuse(const char *what) noexcept;

// Lets `callback` run when the session ends, after the library's clean-up. Asking twice is once.
void at_session_end(void (*callback)() noexcept) noexcept;

// Makes a report of the host's own, at error level; throws.
[[noreturn]] void raise_host_error(const char *sqlstate, std::string_view message,
                                   std::string_view detail = {});

// --- between the sources ------------------------------------------------------------------------

void create_session_contexts(session &owner);
void delete_session_contexts(session &owner) noexcept;
void list_blocks(const memory_context *context, std::vector<std::string> &lines, std::size_t most);
// Sets the encoding of the database; throws std::invalid_argument for an unknown one.
void open_encoding(session &owner, std::string_view name);
void close_encoding(session &owner) noexcept;
void free_large_objects(session &owner) noexcept;

} // namespace host::standalone
