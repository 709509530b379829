// Settings about files, and the faults that tests inject into their writing.
#include "host/path.hpp"

#include "files/file_hooks.hpp"
#include "session_record.hpp"
#include "standalone_files.hpp"

#include <cerrno>
#include <unistd.h>
#include <vector>

namespace host {

namespace {

constexpr std::size_t k_most_names = 32;
constinit thread_local const char *t_settings[11]{};
constinit thread_local const char *t_names[k_most_names]{};

// The place of the safe path for comparing opened directories; false when it leads nowhere.
bool identify_safe_path(file_identity &place) noexcept {
    return identify(standalone::files().safe_data_path.c_str(), place);
}

} // namespace

bool copyCheckSecurityPath(const char *path) {
    const std::string &safe = standalone::files().safe_data_path;
    return safe.empty() || path_lies_below(path, safe.c_str());
}

const char *safe_data_path() { return standalone::files().safe_data_path.c_str(); }

std::span<const char *const> protected_setting_paths() noexcept {
    const auto &paths = standalone::files().setting_paths;
    for (std::size_t i = 0; i < paths.size(); ++i) {
        t_settings[i] = paths[i] ? paths[i]->c_str() : nullptr;
    }
    return t_settings;
}

std::span<const char *const> protected_names() noexcept {
    const auto &names = standalone::files().protected_names;
    if (names.size() > k_most_names) {
        standalone::misuse("too many protected names");
    }
    for (std::size_t i = 0; i < names.size(); ++i) {
        t_names[i] = names[i].c_str();
    }
    return {t_names, names.size()};
}

int file_fault(file_step step) noexcept {
    const standalone::file_world &world = standalone::files();
    if (world.watcher) {
        if (const int reason = world.watcher(step); reason != 0) {
            return reason;
        }
    }
    return standalone::fault_due(standalone::service::file) ? world.fault_errno : 0;
}

bool may_write_in(int directory) noexcept {
    bool failed = false;
    file_identity place{};
    for (const std::string &own : standalone::files().own_directories) {
        if (identify(own.c_str(), place) && stands_below(directory, {&place, 1}, failed)) {
            errno = EPERM;
            return false;
        }
    }
    if (failed || standalone::files().safe_data_path.empty()) {
        return !failed;
    }
    if (!identify_safe_path(place)) {
        return false;
    }
    const bool allowed = stands_below(directory, {&place, 1}, failed);
    if (!allowed && !failed) {
        errno = EPERM;
    }
    return allowed;
}

bool reserve_descriptors(int /*count*/) noexcept { return true; }
void release_descriptors(int /*count*/) noexcept {}

int synchronise_file(int descriptor) noexcept { return fsync(descriptor); }

void watch_open_files() noexcept { standalone::at_session_end(discard_open_files); }

} // namespace host
