// The settings of the extension, `pkg_dbe_xml.*`.
#pragma once

struct Node;

namespace host {

// Defines the settings that are not defined yet. Fails as the server does, and can then be called
// again.
void define_settings();
[[nodiscard]] bool settings_are_defined() noexcept;

// Defines the settings, or sees to it that they are defined before anybody asks for one; called
// once, when the library is loaded.
void prepare_settings();
// Defines the settings if a utility statement, which is about to run, asks for one or sets one.
// Fails as the server does.
void define_settings_before(const Node *statement);
// Defines the settings if one was set in another way. Called before their values are used; throws
// server_error.
void adopt_settings();

// Defines pkg_dbe_xml.large_object_piece, which nobody but a test changes, if it is set; one of
// what define_settings does.
void define_large_object_piece();

// `pkg_dbe_xml.safe_data_path`, in the database encoding; null or "" when it is not set.
[[nodiscard]] const char *safe_data_path_setting() noexcept;

} // namespace host
