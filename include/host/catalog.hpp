// The directory catalogue `pg_directory` and its privileges.
#pragma once

#include "host/call.hpp"

namespace host {

// A row of the catalogue, held until it is released.
struct catalog_row;

inline constexpr int k_directory_path = 3; // the attribute that holds the server path

// The row of the directory of that name (database encoding, exact), null when there is none.
// Throws.
[[nodiscard]] catalog_row *search_sys_cache1(const char *directory_name);
// An attribute of a row as text; `is_null` tells when it has none. The value lives as long as the
// row is held.
[[nodiscard]] datum sys_cache_get_attr(catalog_row *row, int attribute, bool &is_null);
void release_sys_cache(catalog_row *row) noexcept;

// Whether the current user holds `privilege` ("WRITE") on the directory. Throws.
[[nodiscard]] bool has_directory_privilege_name(const char *directory_name, const char *privilege);
// Folds a name of the database encoding to lower case, in place.
void node_tolower(char *name) noexcept;

} // namespace host
