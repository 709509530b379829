// The settings of the extension, `pkg_dbe_xml.*`.
//
// They guard the server, so only an administrator may change them, but for the lifetime of what is
// made, which is anybody's. A session in which one was given
// a value that cannot stand does not get to use the library: see settings_arrival.cpp for values
// that were there before the library, stored_settings.cpp for those of a library that was loaded
// when the server started.
#pragma once

namespace host {

// Defines the settings; called when the library is loaded. Raises the server's error, and can then
// be called again: when a value that a setting was given before cannot stand, and when memory runs
// out.
void define_settings();

// Whether it is certain that this session lost no stored value.
[[gnu::visibility("hidden")]] extern constinit bool session_is_admitted;
// Sees to it; throws server_error when one was lost. Called before whatever the library does.
void admit_session();

// `pkg_dbe_xml.safe_data_path`, in the database encoding; null or "" when it is not set.
[[nodiscard]] const char *safe_data_path_setting() noexcept;
// `pkg_dbe_xml.large_object_piece`, which nobody but a test changes.
[[gnu::visibility("hidden")]] extern constinit int large_object_piece_setting;

} // namespace host
