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
// Whether the administrator's safe_data_path lets the path be used; true when it is not set.
[[nodiscard]] bool copyCheckSecurityPath(const char *path);
// The setting itself, for the report; "" when it is not set.
[[nodiscard]] const char *safe_data_path() noexcept;

// File paths that settings of the host name, in the order in which they are protected: ten of the
// instance, one of the session. Null for a setting that is unset.
[[nodiscard]] std::span<const char *const> protected_setting_paths() noexcept;
// Names and fragments of names that are protected besides, in order.
[[nodiscard]] std::span<const char *const> protected_names() noexcept;

// A file being written. It is closed, and what was written so far is dropped, when the statement
// fails without closing it.
struct output_file;

enum class open_result : int { opened, failed, refused };

// Opens the file `path` for writing, so that it takes the place of the old one only when it is
// closed well. `path` is a directory, a "/" and a name: the directory is opened first and the name
// below it, following no link in the name's place; what is there already must be a regular file.
// `failed` leaves the reason in errno; `refused` means that it is not a file one may write.
open_result open_output_file(const char *path, output_file *&file);
// All bytes, or false (the reason in errno). Never throws.
[[nodiscard]] bool write_output_file(output_file *file, const void *bytes,
                                     std::size_t size) noexcept;
// Ends the writing and makes the file take its place; false when that failed, with the reason in
// errno and the old file as it was. Frees `file` in any case. Never throws.
[[nodiscard]] bool close_output_file(output_file *file) noexcept;
// Gives the writing up: the old file, if any, stays as it was. Frees `file`.
void discard_output_file(output_file *file) noexcept;

} // namespace host
