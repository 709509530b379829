// Directory objects, file settings and file faults of the standalone host, for tests. All of it
// belongs to the session of the calling thread and goes with it.
#pragma once

#include "host/path.hpp"

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace host::standalone {

// A row of the directory catalogue.
struct directory_object {
    std::string name; // in the database encoding, as all texts of the catalogue
    std::string owner;
    std::optional<std::string> path;
    std::vector<std::string> writers; // roles that hold WRITE
};

// A role, and the roles it is a member of.
struct role {
    std::string name;
    bool superuser = false;
    std::vector<std::string> member_of;
};

using step_watcher = std::function<int(file_step step)>;

struct file_world {
    std::vector<directory_object> directories;
    std::vector<role> roles;
    std::string current_user = "tester";
    std::string safe_data_path; // "": not set
    // Ten settings of the instance and one of the session.
    std::array<std::optional<std::string>, 11> setting_paths;
    std::vector<std::string> protected_names;
    // The host's own directories, in which nothing is ever written.
    std::vector<std::string> own_directories;
    // The errno of an injected file fault (service::file).
    int fault_errno = 5; // EIO
    // Called before each step; what it returns, unless 0, is the errno the step fails with.
    step_watcher watcher;
};

// That of the session; made, with the defaults, when it is first asked for.
[[nodiscard]] file_world &files();
// Adds a directory object that `owner` owns.
void create_directory_object(std::string_view name, std::optional<std::string> path,
                             std::string_view owner = "tester");

} // namespace host::standalone
