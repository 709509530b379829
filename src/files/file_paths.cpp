// Which file a caller may write: the shape of the argument, the directory object behind it, the
// rules of the administrator and the names that are never written.
//
// Paths are UTF-8; the names in the directory catalogue are in the encoding of the database.
#include "files/file_paths.hpp"

#include "error_reports.hpp"
#include "host/catalog.hpp"
#include "host/encoding.hpp"
#include "host/memory.hpp"
#include "host/path.hpp"
#include "host/text.hpp"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

namespace pkg_dbe_xml {

namespace {

constexpr std::string_view k_extension = ".xml";
constexpr std::size_t k_longest_file_name = 255;
constexpr const char *k_write = "WRITE";

using host_text = std::unique_ptr<char, host::memory_deleter>;

// `size` bytes and a zero, new in the current context.
[[nodiscard]] char *new_string(const char *bytes, std::size_t size) {
    auto *copy =
        static_cast<char *>(host::mmgr_memory_alloc_zero(host::current_memory_context(), size + 1));
    host::copy_bytes(copy, size + 1, bytes, size);
    return copy;
}

// A copy of a text in another encoding.
[[nodiscard]] host_text converted(char *text, int from, int to) {
    const std::size_t size = std::strlen(text);
    char *result = host::mb_do_encoding_conversion(text, size, from, to, false);
    return host_text(result == text ? new_string(text, size) : result);
}

// A row of the catalogue for as long as it is looked at.
struct row_deleter {
    void operator()(host::catalog_row *row) const noexcept { host::release_sys_cache(row); }
};
using row_ptr = std::unique_ptr<host::catalog_row, row_deleter>;

// The directory's row, by its name as it is or in lower case; `name` becomes the one searched
// last.
[[nodiscard]] row_ptr find_directory(char *name) {
    row_ptr row(host::search_sys_cache1(name));
    if (row == nullptr) {
        host::node_tolower(name);
        row.reset(host::search_sys_cache1(name));
    }
    return row;
}

// The path of a directory in UTF-8. Reports directory_path_null.
[[nodiscard]] host_text directory_path(host::catalog_row *row, const char *name) {
    bool is_null = false;
    const host::datum value = host::sys_cache_get_attr(row, host::k_directory_path, is_null);
    if (is_null) {
        report(reports::directory_path_null, {name});
    }
    host_text path(host::text_to_cstring(value));
    return converted(path.get(), host::mb_get_database_encoding(), host::k_utf8);
}

// Whether one of the protected entries stands anywhere in the name. An empty entry stands in all.
[[nodiscard]] bool holds_protected_entry(const char *name) noexcept {
    for (const char *setting : host::protected_setting_paths()) {
        const char *entry = FindFileName(setting);
        if (entry != nullptr && std::string_view(name).find(entry) != std::string_view::npos) {
            return true;
        }
    }
    return std::ranges::any_of(host::protected_names(), [name](const char *entry) {
        return std::string_view(name).find(entry) != std::string_view::npos;
    });
}

// Control characters of ASCII, and those that Unicode has from 0x80 to 0x9F.
[[nodiscard]] bool holds_control_character(const char *name) noexcept {
    unsigned char before = 0;
    for (; *name != '\0'; ++name) {
        const auto byte = static_cast<unsigned char>(*name);
        if (byte < 0x20 || byte == 0x7F || (before == 0xC2 && byte >= 0x80 && byte <= 0x9F)) {
            return true;
        }
        before = byte;
    }
    return false;
}

} // namespace

void check_and_get_input_path(char *path, char *&directory, char *&file_part) {
    if (path == nullptr || *path == '\0') {
        report(reports::empty_path);
    }
    std::replace(path, path + std::strlen(path), '\\', '/');
    char *const slash = std::strrchr(path, '/');
    if (slash == nullptr || slash == path || slash[1] == '\0' ||
        std::find(path, slash, '/') != slash) {
        report(reports::path_shape);
    }
    const std::string_view name(slash + 1);
    if (name.size() > k_longest_file_name) {
        report(reports::file_name_too_long);
    }
    if (!name.ends_with(k_extension)) {
        report(reports::file_name_extension);
    }
    host_text directory_name(new_string(path, static_cast<std::size_t>(slash - path)));
    file_part = new_string(slash, name.size() + 1);
    directory = directory_name.release();
}

char *check_safe_path(char *directory, char *file_part) {
    const host_text part(file_part);
    const int database = host::mb_get_database_encoding();
    const host_text name = converted(directory, host::k_utf8, database);
    row_ptr row = find_directory(name.get());
    const host_text shown_name = converted(name.get(), database, host::k_utf8);
    if (row == nullptr) {
        report(reports::directory_not_found, {shown_name.get()});
    }
    const host_text base = directory_path(row.get(), shown_name.get());
    if (!host::has_directory_privilege_name(name.get(), k_write)) {
        report(reports::directory_denied, {k_write, shown_name.get()});
    }
    row.reset();
    const char *separator = host::last_dir_separator(part.get());
    const std::string_view file(separator == nullptr ? part.get() : separator + 1);
    const std::size_t base_size = std::strlen(base.get());
    const std::size_t size = base_size + 1 + file.size() + 1;
    host_text path(
        static_cast<char *>(host::mmgr_memory_alloc_zero(host::current_memory_context(), size)));
    host::copy_bytes(path.get(), size, base.get(), base_size);
    path.get()[base_size] = '/';
    host::copy_bytes(path.get() + base_size + 1, size - base_size - 1, file.data(), file.size());
    host::canonicalize_path(path.get());
    return path.release();
}

void check_copy_file_permission(const char *path) {
    // The file will be written under the name as it is given here, also when something has made
    // it a link to another name for the moment.
    const char *name = FindFileName(path);
    if (do_check_file_path(path) ||
        (name != nullptr && (holds_protected_entry(name) || holds_control_character(name)))) {
        report(reports::protected_file_name);
    }
}

bool do_check_file_path(const char *path) {
    char resolved[PATH_MAX + 1]{};
    const bool exists = realpath(path, resolved) != nullptr; // usually it does not, yet
    const char *const meant = exists ? resolved : path;
    check_file_permission(meant);
    const char *name = FindFileName(meant);
    return name != nullptr && holds_protected_entry(name);
}

void check_file_permission(const char *path) {
    if (!host::copyCheckSecurityPath(path)) {
        report(reports::outside_safe_path, {host::safe_data_path()});
    }
}

const char *FindFileName(const char *path) noexcept {
    if (path == nullptr || *path == '\0') {
        return nullptr;
    }
    const char *slash = std::strrchr(path, '/');
    return slash == nullptr ? path : slash + 1;
}

} // namespace pkg_dbe_xml
