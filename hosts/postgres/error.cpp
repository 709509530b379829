// Reports and interrupts.
//
// A report is kept in one record of the process while its C++ exception travels, and becomes the
// server's error in `raise_report`, once every destructor has run. The record is plain memory: the
// jump by which the server fails leaves nothing behind.
#include "host/error.hpp"
#include "host/notice.hpp"

#include "guard.hpp"
#include "invocation.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "server.hpp"

namespace host {

namespace {

// A text of a report, cut at its bound; never within a character.
template <std::size_t Bound> struct report_text {
    std::size_t size;
    char bytes[Bound];

    void assign(std::string_view text) noexcept {
        size = std::min(text.size(), Bound - 1);
        while (size < text.size() && size > 0 &&
               (static_cast<unsigned char>(text[size]) & 0xC0U) == 0x80U) {
            --size;
        }
        if (size != 0) {
            std::memcpy(bytes, text.data(), size);
        }
        bytes[size] = '\0';
    }
    [[nodiscard]] bool empty() const noexcept { return size == 0; }
};

enum class wording { given, out_of_memory, request_size, conversion_size };

struct report_record {
    report_level level;
    const char *file; // literals: they live as long as the library
    int line;
    const char *function;
    char sqlstate[6];
    int file_errno; // not 0: the SQLSTATE is that of this operating-system error
    wording words;
    std::size_t request; // bytes, for the server's own words
    bool internal_action;
    report_text<4096> message;
    report_text<1024> cause;
    report_text<1024> action;
    report_text<4096> hint;
    report_text<4096> context;
};

constinit report_record current_report{};
constinit server_error kept_interrupt{nullptr};

constexpr char k_internal_advice[] =
    "Internal error: please report it with the statement that caused it.";

// SQLSTATE of five characters as the server packs it.
int packed_sqlstate(const char *state) noexcept {
    for (int i = 0; i < 5; ++i) {
        if (state[i] == '\0') {
            return ERRCODE_INTERNAL_ERROR;
        }
    }
    return MAKE_SQLSTATE(state[0], state[1], state[2], state[3], state[4]);
}

// Appends one UTF-8 character in the database encoding; '?' where it has none there.
char *append_character(char *end, const char *character, int size, int encoding, Oid conversion) {
    const auto *bytes = reinterpret_cast<const unsigned char *>(character);
    if (!pg_utf8_islegal(bytes, size)) {
        *end++ = '?';
        return end;
    }
    if (encoding == PG_UTF8) {
        std::memcpy(end, character, static_cast<std::size_t>(size));
        return end + size;
    }
    unsigned char source[8] = {};
    unsigned char target[8 * MAX_CONVERSION_GROWTH + 1] = {};
    std::copy_n(bytes, size, source);
    if (!OidIsValid(conversion) ||
        pg_do_encoding_conversion_buf(conversion, PG_UTF8, encoding, source, size, target,
                                      static_cast<int>(sizeof target), true) != size) {
        *end++ = '?';
        return end;
    }
    const std::size_t length = std::strlen(reinterpret_cast<char *>(target));
    std::memcpy(end, target, length);
    return end + length;
}

// UTF-8 text in the database encoding, in the server's memory; a report must not fail because of a
// character that the database does not have. Raises what the server raises when memory runs out.
const char *in_database_encoding(const char *text) {
    const int encoding = GetDatabaseEncoding();
    const auto *bytes = reinterpret_cast<const unsigned char *>(text);
    const std::size_t size = std::strlen(text);
    if (encoding == PG_SQL_ASCII ||
        std::all_of(bytes, bytes + size, [](unsigned char byte) { return byte < 0x80U; })) {
        return text;
    }
    const Oid conversion =
        encoding == PG_UTF8 ? InvalidOid : FindDefaultConversionProc(PG_UTF8, encoding);
    auto *result = static_cast<char *>(palloc(size * MAX_CONVERSION_GROWTH + 1));
    char *end = result;
    for (std::size_t at = 0; at < size;) {
        const auto wanted = static_cast<std::size_t>(pg_utf_mblen(bytes + at));
        if (bytes[at] < 0x80U) {
            *end++ = text[at++];
        } else if (wanted > size - at) {
            *end++ = '?';
            break;
        } else {
            const bool legal = pg_utf8_islegal(bytes + at, static_cast<int>(wanted));
            end = append_character(end, text + at, static_cast<int>(wanted), encoding, conversion);
            at += legal ? wanted : 1;
        }
    }
    *end = '\0';
    return result;
}

// The fields of a report in its own words, for the error that errstart has begun.
void fill_report(const report_record &report) {
    errmsg_internal("%s", in_database_encoding(report.message.bytes));
    if (!report.cause.empty()) {
        errdetail_internal("%s", in_database_encoding(report.cause.bytes));
    }
    const char *action = report.internal_action ? k_internal_advice : report.action.bytes;
    if (!report.hint.empty()) {
        errhint("%s%s%s", in_database_encoding(report.hint.bytes), *action != '\0' ? "\n" : "",
                in_database_encoding(action));
    } else if (*action != '\0') {
        errhint("%s", in_database_encoding(action));
    }
    if (!report.context.empty()) {
        set_errcontext_domain(nullptr);
        errcontext_msg("%s", in_database_encoding(report.context.bytes));
    }
}

void fill_host_report(const report_record &report) {
    switch (report.words) {
    case wording::out_of_memory:
        errcode(ERRCODE_OUT_OF_MEMORY);
        errmsg("out of memory");
        if (report.request != 0) { // 0: the size is not known
            errdetail("Failed on request of size %zu in memory context \"%s\".", report.request,
                      CurrentMemoryContext->name);
        }
        break;
    case wording::request_size:
        errcode(ERRCODE_PROGRAM_LIMIT_EXCEEDED);
        errmsg_internal("invalid memory alloc request size %zu", report.request);
        break;
    case wording::conversion_size:
        errcode(ERRCODE_PROGRAM_LIMIT_EXCEEDED);
        errmsg("out of memory");
        errdetail_internal("String of %zu bytes is too long for encoding conversion.",
                           report.request);
        break;
    case wording::given:
        break;
    }
}

struct warning_fields {
    const char *sqlstate;
    std::string_view message;
    std::string_view context;
};

} // namespace

bool errproc_template(int /*report_id*/, report_level level, const char *file, int line,
                      const char *function) noexcept {
    report_record &report = current_report;
    report.level = level;
    report.file = file;
    report.line = line;
    report.function = function;
    report.sqlstate[0] = '\0';
    report.file_errno = 0;
    report.words = wording::given;
    report.internal_action = false;
    report.message.assign({});
    report.cause.assign({});
    report.action.assign({});
    report.hint.assign({});
    report.context.assign({});
    return true;
}

int err_module(int /*module_id*/) noexcept { return 0; } // the server knows no modules

int err_ecode(const char *sqlstate) noexcept {
    const std::size_t size = std::min(std::strlen(sqlstate), sizeof current_report.sqlstate - 1);
    std::memcpy(current_report.sqlstate, sqlstate, size);
    current_report.sqlstate[size] = '\0';
    return 0;
}

int err_msg(std::string_view message) noexcept {
    current_report.message.assign(message);
    return 0;
}

int err_cause(std::string_view cause) noexcept {
    current_report.cause.assign(cause);
    return 0;
}

int err_action(std::string_view action) noexcept {
    current_report.action.assign(action);
    return 0;
}

int err_hint(std::string_view hint) noexcept {
    current_report.hint.assign(hint);
    return 0;
}

int err_action_internal() noexcept {
    current_report.internal_action = true;
    return 0;
}

int err_context(std::string_view line) noexcept {
    current_report.context.assign(line);
    return 0;
}

int err_code_for_file_access(int saved_errno) noexcept {
    current_report.file_errno = saved_errno;
    return 0;
}

void finish_report() { throw raised{current_report.level}; }

void begin_host_report(host_failure failure, std::size_t size, const char *text) noexcept {
    errproc_template(0, report_level::error, __FILE__, __LINE__, __func__);
    current_report.request = size;
    switch (failure) {
    case host_failure::out_of_memory:
        current_report.words = wording::out_of_memory;
        break;
    case host_failure::request_size:
        current_report.words = wording::request_size;
        break;
    case host_failure::conversion_size:
        current_report.words = wording::conversion_size;
        break;
    case host_failure::exception:
        err_ecode("XX000");
        err_msg(text);
        err_action_internal();
        break;
    }
}

void raise_report() {
    const report_record &report = current_report;
    // By name, never by number: the server's own numbers mean other things.
    const int level = report.level == report_level::internal_assertion ? FATAL : ERROR;
    errno = report.file_errno; // errstart keeps it for errcode_for_file_access
    if (errstart(level, TEXTDOMAIN)) {
        if (report.words != wording::given) {
            fill_host_report(report);
        } else {
            if (report.file_errno != 0) {
                errcode_for_file_access();
            } else {
                errcode(packed_sqlstate(report.sqlstate));
            }
            fill_report(report);
        }
        errfinish(report.file, report.line, report.function);
    }
    pg_unreachable();
}

void raise_out_of_memory(std::size_t size) {
    begin_host_report(host_failure::out_of_memory, size, "");
    finish_report();
}

void report_securec_error(int code, const char *file, int line) {
    errproc_template(0, report_level::error, file, line, __func__);
    err_ecode("XX000");
    err_msg("a copy of memory would have left its bounds");
    char cause[64];
    snprintf(cause, sizeof cause, "The bounds check gave the code %d.", code);
    err_cause(cause);
    err_action_internal();
    finish_report();
}

void freeSecurityFuncSpace() noexcept {} // nothing is kept aside

namespace {

// Shows what is no failure, at a level below ERROR.
void show(int level, const char *sqlstate, std::string_view message, std::string_view context) {
    errproc_template(0, report_level::error, __FILE__, __LINE__, __func__);
    err_ecode(sqlstate);
    err_msg(message);
    err_context(context);
    guard([level] {
        if (errstart(level, TEXTDOMAIN)) {
            errcode(packed_sqlstate(current_report.sqlstate));
            fill_report(current_report);
            errfinish(__FILE__, __LINE__, __func__);
        }
    });
}

} // namespace

void report_warning(const char *sqlstate, std::string_view message, std::string_view context) {
    show(WARNING, sqlstate, message, context);
}

void report_notice(std::string_view message) { show(NOTICE, "00000", message, {}); }

constinit bool interrupt_is_kept = false;

// The server sets InterruptPending for requests of many kinds, most of which do not stop the
// statement. So they are served here and now: what comes back as a failure is kept until it can be
// raised. A request to end the session ends it from here, which frees nothing of ours.
bool interrupts_pending() noexcept {
    if (InterruptPending && !interrupt_is_kept && call_in_progress()) [[unlikely]] {
        const guarded_step serve = [](void *) noexcept { CHECK_FOR_INTERRUPTS(); };
        interrupt_is_kept = !run_and_keep(serve, nullptr, kept_interrupt);
    }
    return interrupt_is_kept;
}

void process_interrupts() {
    if (interrupts_pending()) {
        throw take_kept_interrupt();
    }
}

server_error take_kept_interrupt() noexcept {
    interrupt_is_kept = false;
    return kept_interrupt;
}

} // namespace host
