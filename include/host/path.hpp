// Paths, the files that must never be written, and the writing of files.
//
// Paths are NUL-terminated, in the encoding of the file system.
#pragma once

#include <cstddef>
#include <span>

namespace host {

// Removes doubled and trailing slashes, "." and what ".." makes needless, in place.
void canonicalize_path(char *path) noexcept;
// The last "/" of the path, null when there is none.
[[nodiscard]] char *last_dir_separator(char *path) noexcept;
// Whether the administrator's safe_data_path lets the path be used; true when it is not set. The
// path need not exist. Throws when memory runs out.
[[nodiscard]] bool copyCheckSecurityPath(const char *path);
// The setting itself in UTF-8, for the report; "" when it is not set. Lives until the statement
// ends. Throws when memory runs out.
[[nodiscard]] const char *safe_data_path();

// File paths that settings of the host name, in the order in which they are protected: ten of the
// instance, one of the session. Null for a setting that is unset. Good until the next call.
[[nodiscard]] std::span<const char *const> protected_setting_paths() noexcept;
// Names and fragments of names that are protected besides, in order.
[[nodiscard]] std::span<const char *const> protected_names() noexcept;

// A file being written: a file of a passing name in the same directory, which takes the place of
// the file proper when it is closed well. Until then the old file, if any, stays as it is.
struct output_file;

// Opens the file `path` for writing. `path` is a directory, a "/" and a name. The directory is
// opened first, not through a link in its own place, and everything else is done below what was
// opened; it must not lie in the host's own directories, and must lie below safe_data_path when
// that is set. What is there under the name must be a regular file that may be written. Returns
// null with the reason in errno when the file cannot be opened; throws when memory runs out.
[[nodiscard]] output_file *open_output_file(const char *path);
// Writes all bytes; false with the reason in errno.
[[nodiscard]] bool write_output_file(output_file *file, const void *bytes,
                                     std::size_t size) noexcept;
// Takes back what was written; false with the reason in errno.
[[nodiscard]] bool empty_output_file(output_file *file) noexcept;
// Ends the writing: the bytes are on disk and the file has taken its place, or false with the
// reason in errno and the old file as it was. Frees `file` in any case.
[[nodiscard]] bool close_output_file(output_file *file) noexcept;
// Gives the writing up: the old file, if any, stays as it was. Frees `file`.
void discard_output_file(output_file *file) noexcept;
// The same, but where there was no file an empty one is left.
void leave_created_file(output_file *file) noexcept;

// Gives up every file of the session that is still being written: for a session that ends in the
// middle of a statement.
void discard_open_files() noexcept;

// The steps of writing a file, in their order; a host for tests lets them fail.
enum class file_step : int {
    open_directory,
    inspect,
    open_existing,
    create,
    write,
    synchronise,
    close,
    rename
};

struct output_file_deleter {
    void operator()(output_file *file) const noexcept { discard_output_file(file); }
};

} // namespace host
