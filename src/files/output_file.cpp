// Writing files so that nobody, neither a full disk nor a changed directory, makes the result a
// half-written file or one in another place.
//
// The directory is opened once, and everything else happens below that descriptor: no path is
// walked a second time. The bytes go to a file of a passing name, made new, which is renamed over
// the file proper after it was synchronised and closed without an error. Renaming follows no link.
#include "files/file_hooks.hpp"
#include "host/path.hpp"
#include "host/session.hpp"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace host {

namespace {

constexpr std::size_t k_longest_name = 255;
constexpr int k_descriptors = 2; // of one file: the directory and the file
constexpr int k_most_tries = 1000;

// Makes passing names differ within the process.
constinit std::atomic<unsigned> passing_number{0};

} // namespace

struct output_file {
    int directory;
    int descriptor; // -1: not open
    bool replaces;  // there is a file of the name already
    bool made;      // the file of the passing name is there
    bool counted;   // its descriptors are reserved
    mode_t mode;    // of the file it replaces
    gid_t group;    // of the file it replaces
    char name[k_longest_name + 1];
    char passing_name[64];
    output_file *next;
    output_file *previous;
};

namespace {

// Those of the session that are not yet closed.
constinit PKG_DBE_XML_SESSION_STORAGE output_file *open_files = nullptr;

bool fault(file_step step) noexcept {
    const int reason = file_fault(step);
    if (reason != 0) {
        errno = reason;
    }
    return reason != 0;
}

// Closes what is open, removes the passing name, frees the record. Leaves errno alone.
void give_up(output_file *file) noexcept {
    const int reason = errno;
    if (file->descriptor >= 0) {
        close(file->descriptor);
    }
    if (file->made) {
        unlinkat(file->directory, file->passing_name, 0);
    }
    if (file->directory >= 0) {
        close(file->directory);
    }
    if (file->counted) {
        release_descriptors(k_descriptors);
    }
    (file->previous != nullptr ? file->previous->next : open_files) = file->next;
    if (file->next != nullptr) {
        file->next->previous = file->previous;
    }
    mmgr_free_with_fl(file, __FILE__, __LINE__);
    errno = reason;
}

// A record in the list of those that are open. It is memory of the session: it is still there when
// the session ends in the middle of a statement.
output_file *make_record(const char *name) {
    void *memory = mmgr_memory_alloc_from_controller(session_memory_context(), sizeof(output_file));
    auto *file = new (memory) output_file{};
    file->directory = -1;
    file->descriptor = -1;
    std::memcpy(file->name, name, std::strlen(name) + 1);
    file->next = open_files;
    if (open_files != nullptr) {
        open_files->previous = file;
    }
    open_files = file;
    return file;
}

// Opens the directory part of `path`, up to `slash`.
bool open_directory(output_file *file, const char *path, const char *slash) noexcept {
    char directory[4097];
    const auto size = static_cast<std::size_t>(slash - path);
    if (size >= sizeof directory) {
        errno = ENAMETOOLONG;
        return false;
    }
    std::memcpy(directory, path, size);
    directory[size] = '\0';
    if (fault(file_step::open_directory)) {
        return false;
    }
    file->directory = openat(AT_FDCWD, size == 0 ? "/" : directory,
                             O_PATH | O_DIRECTORY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    return file->directory >= 0 && may_write_in(file->directory);
}

// What is there under the name must be a regular file that may be written.
bool inspect_existing(output_file *file) noexcept {
    struct stat status {};
    if (fault(file_step::inspect)) {
        return false;
    }
    if (fstatat(file->directory, file->name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
        return errno == ENOENT;
    }
    if (!S_ISREG(status.st_mode)) {
        errno = S_ISDIR(status.st_mode) ? EISDIR : S_ISLNK(status.st_mode) ? ELOOP : EPERM;
        return false;
    }
    if (fault(file_step::open_existing)) {
        return false;
    }
    const int existing = openat(file->directory, file->name,
                                O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (existing < 0) {
        return false;
    }
    const bool regular = fstat(existing, &status) == 0 && S_ISREG(status.st_mode);
    close(existing);
    errno = EPERM; // for the case that something else has come into its place just now
    file->replaces = regular;
    file->mode = status.st_mode & 07777;
    file->group = status.st_gid;
    return regular;
}

// Gives the new file the rights of the old one.
bool take_over_rights(output_file *file) noexcept {
    struct stat status {};
    if (fstat(file->descriptor, &status) != 0) {
        return false;
    }
    mode_t mode = file->mode & 0777;
    if (status.st_gid != file->group &&
        fchown(file->descriptor, static_cast<uid_t>(-1), file->group) != 0) {
        mode &= ~static_cast<mode_t>(070); // they were the rights of another group
    }
    return fchmod(file->descriptor, mode) == 0;
}

// Makes the file of a passing name; its rights are those of any new file.
bool make_passing_file(output_file *file) noexcept {
    if (fault(file_step::create)) {
        return false;
    }
    for (int i = 0; i < k_most_tries && file->descriptor < 0; ++i) {
        std::snprintf(file->passing_name, sizeof file->passing_name, ".pkg_dbe_xml.%ld.%u.tmp",
                      static_cast<long>(getpid()), passing_number.fetch_add(1));
        file->descriptor = openat(file->directory, file->passing_name,
                                  O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
        if (file->descriptor < 0 && errno != EEXIST) { // left by a process that was killed
            return false;
        }
    }
    file->made = file->descriptor >= 0;
    return file->made && (!file->replaces || take_over_rights(file));
}

// The bytes are on disk and the descriptor is closed, or false.
bool finish_bytes(output_file *file) noexcept {
    if (fault(file_step::synchronise) || synchronise_file(file->descriptor) != 0) {
        return false;
    }
    const bool refused = fault(file_step::close);
    const int reason = errno;
    const int result = close(std::exchange(file->descriptor, -1));
    if (refused) {
        errno = reason;
    }
    return !refused && (result == 0 || errno == EINTR); // interrupted, it is closed all the same
}

} // namespace

output_file *open_output_file(const char *path) {
    const char *slash = std::strrchr(path, '/');
    if (slash == nullptr || std::strlen(slash + 1) > k_longest_name) {
        errno = slash == nullptr ? ENOENT : ENAMETOOLONG;
        return nullptr;
    }
    watch_open_files();
    output_file *file = make_record(slash + 1);
    file->counted = reserve_descriptors(k_descriptors);
    if (file->counted && open_directory(file, path, slash) && inspect_existing(file) &&
        make_passing_file(file)) {
        return file;
    }
    give_up(file);
    return nullptr;
}

bool write_output_file(output_file *file, const void *bytes, std::size_t size) noexcept {
    const char *rest = static_cast<const char *>(bytes);
    while (size != 0) {
        if (fault(file_step::write)) {
            return false;
        }
        const ssize_t written = write(file->descriptor, rest, size);
        if (written > 0) {
            rest += written;
            size -= static_cast<std::size_t>(written);
        } else if (written == 0) {
            errno = ENOSPC; // so does the C library read it
            return false;
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

bool empty_output_file(output_file *file) noexcept {
    return !fault(file_step::write) && ftruncate(file->descriptor, 0) == 0 &&
           lseek(file->descriptor, 0, SEEK_SET) == 0;
}

bool close_output_file(output_file *file) noexcept {
    const bool done =
        finish_bytes(file) && !fault(file_step::rename) &&
        renameat(file->directory, file->passing_name, file->directory, file->name) == 0;
    if (done) {
        file->made = false;
    }
    give_up(file);
    return done;
}

void discard_output_file(output_file *file) noexcept { give_up(file); }

void leave_created_file(output_file *file) noexcept {
    if (!file->replaces && ftruncate(file->descriptor, 0) == 0) {
        // Fails where a file has come into being meanwhile, which then stays.
        [[maybe_unused]] const int linked =
            linkat(file->directory, file->passing_name, file->directory, file->name, 0);
    }
    give_up(file);
}

void discard_open_files() noexcept {
    while (open_files != nullptr) {
        give_up(open_files);
    }
}

} // namespace host
