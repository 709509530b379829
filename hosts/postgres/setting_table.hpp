// The table of the settings, and what is done with each of its rows. Included last, as server.hpp
// is.
#pragma once

#include <span>

#include "server.hpp"

struct config_generic;

namespace host {

// One setting: a whole number, or a directory.
struct setting {
    const char *name = nullptr; // as the server knows it
    const char *text = nullptr;
    const char *details = nullptr; // null when there are none
    int *number = nullptr;         // where its value is kept, until then its default; or null
    int least = 0;
    int most = 0;
    int flags = 0;         // of the server: units, whether it is shown
    char **path = nullptr; // where its value is kept if it is a directory; or null
};

[[nodiscard]] std::span<const setting> all_settings() noexcept;

// The server's record of a setting; null when it has none.
[[nodiscard]] config_generic *find_setting(const char *name);

// The functions below raise the server's error; nothing in them has a destructor.

// When a value cannot be one of the setting. `source` is where it came from.
void require_readable(const setting &row, const char *value, GucSource source);
// When a value that the setting was given before the library was loaded cannot stand. Changes
// nothing. Called when the setting is not defined yet.
void require_values_that_stand(const setting &row);
// Calls `define`, which defines the setting and makes the server hand it the values it was given
// before. Raises an error when the server dropped one of them, and from then on always.
void define_with_its_values(const setting &row, void (*define)(const setting &row));

} // namespace host
