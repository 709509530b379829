// Which file a caller may write.
#pragma once

namespace pkg_dbe_xml {

// Splits DIR/NAME.xml (backslashes count as slashes; changed in place) into the directory name and
// "/NAME.xml", both new strings in the current context. Reports empty_path, path_shape,
// file_name_too_long, file_name_extension.
void check_and_get_input_path(char *path, char *&directory, char *&file_part);
// The full canonical path of a file in a directory object; frees `file_part`. Reports
// directory_not_found, directory_path_null, directory_denied.
[[nodiscard]] char *check_safe_path(char *directory, char *file_part);
// Reports protected_file_name for a path that do_check_file_path calls protected.
void check_copy_file_permission(const char *path);
// True when the name of the file is protected. Reports outside_safe_path.
[[nodiscard]] bool do_check_file_path(const char *path);
// Reports outside_safe_path when the host refuses the path.
void check_file_permission(const char *path);
// What follows the last "/", the whole path when there is none; null for a missing or empty path.
[[nodiscard]] const char *FindFileName(const char *path) noexcept;

} // namespace pkg_dbe_xml
