// Settings about files, and where files may be written on this server.
#include "host/path.hpp"

#include "files/file_hooks.hpp"
#include "host/encoding.hpp"
#include "own_directories.hpp"
#include "settings.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <dirent.h>
#include <iterator>

#include "server.hpp"

extern "C" {
#include <storage/fd.h>
}

namespace host {

namespace {

// Files that decide who may connect and how, in the order in which their names are protected; the
// last is of the session: it names code that is loaded into it.
constexpr std::array<const char *, 11> k_protected_settings{"config_file",
                                                            "hba_file",
                                                            "ident_file",
                                                            "external_pid_file",
                                                            "ssl_cert_file",
                                                            "ssl_key_file",
                                                            "ssl_ca_file",
                                                            "ssl_crl_file",
                                                            "ssl_dh_params_file",
                                                            "krb_server_keyfile",
                                                            "session_preload_libraries"};

// Why each: docs/security.md.
constexpr std::array<const char *, 7> k_protected_names{
    ".key",        // private keys, enciphered or not
    ".rnd",        // seeds of the TLS library
    "openssl.cnf", // its configuration
    "pgaudit",     // audit trails
    ".log",        // the server's log
    "initdb",      // what makes a server
    "patroni.yml"  // what manages one
};

constinit std::array<const char *, k_protected_settings.size()> setting_paths{};
constinit char library_path[MAXPGPATH]{};
constinit bool exit_is_watched = false;

void at_exit(int /*code*/, Datum /*argument*/) { discard_open_files(); }

[[nodiscard]] bool has_safe_path() noexcept {
    const char *setting = safe_data_path_setting();
    return setting != nullptr && setting[0] != '\0';
}

// What follows is named relative to the data directory, which is where a backend works.
[[nodiscard]] bool stands_in(int directory, const char *path, bool &failed) noexcept {
    file_identity place{};
    return identify(path, place) && stands_below(directory, {&place, 1}, failed);
}

[[nodiscard]] bool stands_in_tablespace(int directory, bool &failed) noexcept {
    DIR *tablespaces = opendir("pg_tblspc");
    if (tablespaces == nullptr) {
        failed = true;
        return false;
    }
    bool found = false;
    while (const dirent *entry = ::readdir(tablespaces)) {
        char path[MAXPGPATH];
        snprintf(path, sizeof path, "pg_tblspc/%s", entry->d_name);
        if (entry->d_name[0] != '.' && stands_in(directory, path, failed)) {
            found = true;
            break;
        }
    }
    closedir(tablespaces);
    return found;
}

} // namespace

bool stands_in_own_directory(int directory, bool &failed) noexcept {
    failed = false;
    return stands_in(directory, DataDir, failed) || stands_in(directory, "pg_wal", failed) ||
           stands_in_tablespace(directory, failed);
}

bool copyCheckSecurityPath(const char *path) {
    return !has_safe_path() || path_lies_below(path, safe_data_path());
}

const char *safe_data_path() {
    if (!has_safe_path()) {
        return "";
    }
    char *setting = const_cast<char *>(safe_data_path_setting()); // which is only read
    return mb_do_encoding_conversion(setting, std::strlen(setting), mb_get_database_encoding(),
                                     k_utf8, false);
}

std::span<const char *const> protected_setting_paths() noexcept {
    // Cannot fail: settings that are missing are allowed for, and no right to see them is asked.
    std::ranges::transform(k_protected_settings, setting_paths.begin(),
                           [](const char *name) { return GetConfigOption(name, true, false); });
    // The server keeps the names of libraries in quotes.
    const char *libraries = setting_paths.back() != nullptr ? setting_paths.back() : "";
    const std::size_t size = std::min(std::strlen(libraries), sizeof library_path - 1);
    *std::remove_copy(libraries, libraries + size, library_path, '"') = '\0';
    setting_paths.back() = library_path;
    return setting_paths;
}

std::span<const char *const> protected_names() noexcept { return k_protected_names; }

int file_fault(file_step /*step*/) noexcept { return 0; }

bool may_write_in(int directory) noexcept {
    bool failed = false;
    file_identity safe{};
    if (stands_in_own_directory(directory, failed)) {
        errno = EPERM;
        return false;
    }
    if (failed || !has_safe_path()) {
        return !failed;
    }
    // Compared as it stands in the setting: a directory is what its path leads to.
    if (!identify(safe_data_path_setting(), safe)) {
        return false;
    }
    const bool allowed = stands_below(directory, {&safe, 1}, failed);
    if (!allowed && !failed) {
        errno = EPERM;
    }
    return allowed;
}

// None of the two can fail: they count, and may close files that the server can open again.
bool reserve_descriptors(int count) noexcept {
    for (int held = 0; held < count; ++held) {
        if (!AcquireExternalFD()) {
            release_descriptors(held);
            errno = EMFILE;
            return false;
        }
    }
    return true;
}
void release_descriptors(int count) noexcept {
    for (; count > 0; --count) {
        ReleaseExternalFD();
    }
}

// Obeys the server's setting fsync. Cannot fail otherwise than by its result.
int synchronise_file(int descriptor) noexcept { return pg_fsync(descriptor); }

void watch_open_files() noexcept {
    if (!exit_is_watched) {
        exit_is_watched = true;
        // Fails only when all its places are taken, and then ends the backend.
        before_shmem_exit(at_exit, 0);
    }
}

} // namespace host
