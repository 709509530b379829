// The settings of the extension, `pkg_dbe_xml.*`.
#pragma once

namespace host {

// Defines the settings; called once, when the library is loaded.
void define_settings();

// `pkg_dbe_xml.safe_data_path`, in the database encoding; null or "" when it is not set.
[[nodiscard]] const char *safe_data_path_setting() noexcept;

} // namespace host
