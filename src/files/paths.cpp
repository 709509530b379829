// Paths as texts, and where directories stand.
#include "files/file_hooks.hpp"
#include "host/path.hpp"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>

namespace host {

namespace {

// Puts `part` behind what `result` holds, up to `size`; ".." takes the last part away again, where
// there is one. Returns the new size.
std::size_t add_part(char *result, std::size_t start, std::size_t size,
                     std::string_view part) noexcept {
    if (part.empty() || part == ".") {
        return size;
    }
    if (part == "..") {
        const std::string_view parts(result + start, size - start);
        const std::size_t slash = parts.rfind('/');
        std::string_view last = parts;
        last.remove_prefix(slash == std::string_view::npos ? 0 : slash + 1);
        if (!last.empty() && last != "..") {
            return slash == std::string_view::npos ? start : start + slash;
        }
        if (start == 1) {
            return size; // above the root is the root
        }
    }
    if (size > start) {
        result[size++] = '/';
    }
    std::memmove(result + size, part.data(), part.size());
    return size + part.size();
}

// The path with all links resolved; of a path that does not exist, its directory with all links
// resolved and the name. False when there is not even the directory.
bool resolve(const char *path, char (&result)[PATH_MAX + 1]) noexcept {
    if (realpath(path, result) != nullptr) {
        return true;
    }
    const char *slash = std::strrchr(path, '/');
    if (slash == nullptr || static_cast<std::size_t>(slash - path) >= sizeof result) {
        return false;
    }
    char directory[PATH_MAX + 1]{};
    std::memcpy(directory, path, static_cast<std::size_t>(slash - path));
    if (realpath(slash == path ? "/" : directory, result) == nullptr) {
        return false;
    }
    const std::size_t size = std::strlen(result);
    const std::size_t rest = std::strlen(slash);
    if (size + rest >= sizeof result) {
        return false;
    }
    std::memcpy(result + (size == 1 ? 0 : size), slash, rest + 1);
    return true;
}

// Whether one text of a path is the other, or goes on behind it with another part.
bool starts_below(std::string_view inner, std::string_view outer) noexcept {
    return outer == "/" || (inner.starts_with(outer) &&
                            (inner.size() == outer.size() || inner[outer.size()] == '/'));
}

} // namespace

void canonicalize_path(char *path) noexcept {
    if (path[0] == '\0') {
        return;
    }
    const std::size_t start = path[0] == '/' ? 1 : 0;
    std::size_t size = start;
    std::string_view rest(path + start);
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find('/'), rest.size());
        size = add_part(path, start, size, rest.substr(0, end));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    if (size == 0) {
        path[size++] = '.';
    }
    path[size] = '\0';
}

char *last_dir_separator(char *path) noexcept { return std::strrchr(path, '/'); }

bool path_lies_below(const char *path, const char *base) noexcept {
    if (base[0] != '/') {
        return false;
    }
    char resolved[PATH_MAX + 1];
    char resolved_base[PATH_MAX + 1];
    if (realpath(base, resolved_base) == nullptr) {
        return false;
    }
    // Where there is not even a directory nothing can be opened; the path counts as it is written.
    const bool is_resolved = resolve(path, resolved);
    return starts_below(is_resolved ? resolved : path, resolved_base) ||
           (!is_resolved && starts_below(path, base));
}

bool identify(const char *path, file_identity &identity) noexcept {
    struct stat status {};
    if (fstatat(AT_FDCWD, path, &status, 0) != 0) {
        return false;
    }
    identity = {status.st_dev, status.st_ino};
    return true;
}

bool stands_below(int directory, std::span<const file_identity> places, bool &failed) noexcept {
    failed = false;
    file_identity below{};
    int place = dup(directory);
    for (bool first = true; place >= 0; first = false) {
        struct stat status {};
        if (fstat(place, &status) != 0) {
            break;
        }
        const file_identity here{status.st_dev, status.st_ino};
        const bool found = std::ranges::find(places, here) != places.end();
        if (found || (!first && here == below)) { // the root is its own parent
            close(place);
            return found;
        }
        below = here;
        const int parent = openat(place, "..", O_PATH | O_DIRECTORY | O_CLOEXEC);
        const int reason = errno;
        close(place);
        errno = reason;
        place = parent;
    }
    if (place >= 0) {
        close(place);
    }
    failed = true;
    return false;
}

} // namespace host
