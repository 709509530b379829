// The directory catalogue of a session, in memory.
#include "host/catalog.hpp"

#include "host/text.hpp"
#include "session_record.hpp"
#include "standalone_files.hpp"

#include <algorithm>
#include <memory>
#include <new>
#include <set>
#include <utility>

namespace host {

// A row that is looked at: a copy, as a catalogue may change meanwhile.
struct catalog_row {
    varlena *path; // null when it has none
};

namespace standalone {

namespace {

constinit thread_local file_world *t_files = nullptr;

void drop_files() noexcept { delete std::exchange(t_files, nullptr); }

const directory_object *find_directory(std::string_view name) {
    const auto &rows = files().directories;
    const auto found = std::ranges::find(rows, name, &directory_object::name);
    return found == rows.end() ? nullptr : &*found;
}

const role *find_role(std::string_view name) {
    const auto &roles = files().roles;
    const auto found = std::ranges::find(roles, name, &role::name);
    return found == roles.end() ? nullptr : &*found;
}

// Whether a user has the rights of a role: as itself, by membership, or as a superuser.
bool has_rights_of(std::string_view user, std::string_view wanted) {
    std::vector<std::string> open{std::string(user)};
    std::set<std::string> seen;
    while (!open.empty()) {
        const std::string name = std::move(open.back());
        open.pop_back();
        if (name == wanted) {
            return true;
        }
        const role *known = find_role(name);
        if (known != nullptr && seen.insert(name).second) {
            open.insert(open.end(), known->member_of.begin(), known->member_of.end());
        }
    }
    return false;
}

} // namespace

file_world &files() {
    if (t_files == nullptr) {
        at_session_end(drop_files);
        t_files = new file_world;
        t_files->setting_paths = {"/etc/server/server.conf",        "/etc/server/access.conf",
                                  "/etc/server/ident.conf",         "/run/server/server.pid",
                                  "/etc/server/server.crt",         "/etc/server/private.pem",
                                  "/etc/server/authorities.pem",    "/etc/server/revoked.crl",
                                  "/etc/server/dh_params.pem",      "/etc/server/server.keytab",
                                  "/var/lib/server/session_library"};
        t_files->protected_names = {".key.cipher", ".key.rand",   "openssl.cnf", "_audit_",
                                    ".eventlog",   "deploy_tool", "agent.config"};
    }
    return *t_files;
}

void create_directory_object(std::string_view name, std::optional<std::string> path,
                             std::string_view owner) {
    files().directories.push_back({std::string(name), std::string(owner), std::move(path), {}});
}

} // namespace standalone

catalog_row *search_sys_cache1(const char *directory_name) {
    standalone::fault_point(standalone::service::catalogue);
    const standalone::directory_object *found = standalone::find_directory(directory_name);
    if (found == nullptr) {
        return nullptr;
    }
    std::unique_ptr<varlena, memory_deleter> path;
    if (found->path) {
        path.reset(cstring_to_text_with_length(found->path->data(), found->path->size()));
    }
    void *memory = mmgr_memory_alloc_from_controller(current_memory_context(), sizeof(catalog_row));
    return new (memory) catalog_row{path.release()};
}

datum sys_cache_get_attr(catalog_row *row, int attribute, bool &is_null) {
    standalone::fault_point(standalone::service::catalogue);
    is_null = attribute != k_directory_path || row->path == nullptr;
    return is_null ? 0 : from_pointer(row->path);
}

void release_sys_cache(catalog_row *row) noexcept {
    mmgr_free_with_fl(row->path, __FILE__, __LINE__);
    mmgr_free_with_fl(row, __FILE__, __LINE__);
}

bool has_directory_privilege_name(const char *directory_name, const char *privilege) {
    standalone::fault_point(standalone::service::catalogue);
    const standalone::directory_object *found = standalone::find_directory(directory_name);
    const std::string &user = standalone::files().current_user;
    const standalone::role *own = standalone::find_role(user);
    if (found == nullptr || std::string_view(privilege) != "WRITE") {
        return false;
    }
    return (own != nullptr && own->superuser) || standalone::has_rights_of(user, found->owner) ||
           std::ranges::any_of(found->writers, [&user](const std::string &writer) {
               return standalone::has_rights_of(user, writer);
           });
}

void node_tolower(char *name) noexcept {
    for (; *name != '\0'; ++name) {
        if (*name >= 'A' && *name <= 'Z') {
            *name = static_cast<char>(*name - 'A' + 'a');
        }
    }
}

} // namespace host
