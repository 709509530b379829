// The settings of the extension, `pkg_dbe_xml.*`.
#pragma once

namespace host {

// Defines the settings; called once, when the library is loaded.
void define_settings();
// Defines pkg_dbe_xml.large_object_piece, which nobody but a test changes, if it was set before the
// library was loaded; called before that.
void define_large_object_piece();

// `pkg_dbe_xml.safe_data_path`, in the database encoding; null or "" when it is not set.
[[nodiscard]] const char *safe_data_path_setting() noexcept;

} // namespace host
