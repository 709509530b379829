// The table `pg_directory` of the extension. Everything here calls the server without a guard.
#pragma once

#include "server.hpp"

namespace host {

inline constexpr int k_directory_name_column = 1;
inline constexpr int k_directory_owner_column = 2;
inline constexpr int k_directory_path_column = 3;
inline constexpr int k_directory_privileges_column = 4;

// A row, copied into the current memory context.
struct directory_row {
    Oid owner;  // InvalidOid when the role is gone
    char *path; // null when there is none
    int writer_count;
    Oid *writers; // the roles that hold WRITE
};

// The schema the extension is in, InvalidOid when it is not installed.
[[nodiscard]] Oid extension_schema();
// The row of that name as it is now, changes of other sessions included; false when there is none.
[[nodiscard]] bool read_directory_row(const char *name, directory_row &row);
// Whether the current user may write into the directory.
[[nodiscard]] bool may_write_into(const directory_row &row);

} // namespace host
