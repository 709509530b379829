// Making reports out of rows.
#include "error_reports.hpp"

#include "host/session.hpp"
#include "libxml/xml.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <span>
#include <utility>

namespace pkg_dbe_xml {
namespace {

constexpr std::size_t k_longest_message = 4095; // what the hosts keep, with a zero byte 4096
constexpr std::string_view k_assertion_message =
    "Failed on assertion in %s function %s line %d. %s.";

// A text with its place-holders filled in, cut at its bound.
struct filled_text {
    std::array<char, k_longest_message> bytes;
    std::size_t size = 0;

    void append(std::string_view part) noexcept {
        const std::size_t count = std::min(part.size(), bytes.size() - size);
        std::copy_n(part.data(), count, bytes.data() + size);
        size += count;
    }
    [[nodiscard]] std::string_view view() const noexcept { return {bytes.data(), size}; }
};

// Replaces each %s and %d of `format` by the next argument.
void fill(filled_text &result, std::string_view format,
          std::span<const std::string_view> arguments) noexcept {
    std::size_t next = 0;
    while (!format.empty()) {
        const std::size_t place = format.find('%');
        result.append(format.substr(0, place));
        if (place == std::string_view::npos) {
            return;
        }
        if (next < arguments.size()) {
            result.append(arguments[next]);
            ++next;
        }
        format.remove_prefix(std::min(place + 2, format.size()));
    }
}

constinit PKG_DBE_XML_SESSION_STORAGE const report_row *t_last_row = nullptr;

// Reports that tell of memory that libxml2 could not have.
[[nodiscard]] bool tells_of_memory(const report_row &row) noexcept {
    return row.id == reports::out_of_memory.id || row.id == reports::no_memory_for_buffer.id ||
           row.id == reports::list_not_made.id || row.id == reports::list_not_filled.id;
}

// The place in the source as reports show it: the file without its folders.
const char *file_name(const char *path) noexcept {
    const std::string_view view(path);
    const std::size_t slash = view.rfind('/');
    return slash == std::string_view::npos ? path : path + slash + 1;
}

} // namespace

const report_row *take_last_row() noexcept { return std::exchange(t_last_row, nullptr); }

void report(const report_row &row, std::initializer_list<std::string_view> arguments,
            std::initializer_list<std::string_view> hint_arguments, std::string_view context,
            const char *file, int line, const char *function) {
    const int saved_errno = errno;
    if (host::gate.session_full && tells_of_memory(row)) {
        host::gate.session_full = false;
        report(reports::session_memory_full, {}, {}, {}, file, line, function);
    }
    t_last_row = context.empty() ? &row : nullptr;
    filled_text text;
    host::errproc_template(row.id, host::report_level::error, file_name(file), line, function);
    if (row.with_module) {
        host::err_module(k_module_id);
    }
    if (row.sqlstate != nullptr) {
        host::err_ecode(row.sqlstate);
    } else {
        host::err_code_for_file_access(saved_errno);
    }
    fill(text, row.message, arguments);
    host::err_msg(text.view());
    host::err_cause(row.cause);
    if (row.action != nullptr) {
        host::err_action(row.action);
    } else {
        host::err_action_internal();
    }
    if (row.hint != nullptr) {
        text.size = 0;
        fill(text, row.hint, hint_arguments);
        host::err_hint(text.view());
    }
    if (!context.empty()) {
        host::err_context(context);
    }
    host::errfinish();
}

void fail_assertion(std::string_view step, const char *file, int line, const char *function) {
    std::array<char, 16> line_text{};
    const int digits = std::snprintf(line_text.data(), line_text.size(), "%d", line);
    const std::array<std::string_view, 4> arguments{
        file_name(file), function,
        std::string_view(line_text.data(), static_cast<std::size_t>(digits)), step};
    filled_text text;
    fill(text, k_assertion_message, arguments);
    host::errproc_template(k_assertion_report_id, host::report_level::internal_assertion,
                           file_name(file), line, function);
    host::err_ecode("29003");
    host::err_msg(text.view());
    host::err_cause("This is an internal error.");
    host::err_action("Please check pointer is valid or not.");
    host::errfinish();
}

} // namespace pkg_dbe_xml
