// The reports about what sessions hold, as rows like those of error_reports.hpp.
#pragma once

#include "error_reports.hpp"

namespace pkg_dbe_xml {

// clang-format off
namespace reports {

// --- sessions ---
inline constexpr report_row sessions_unknown{0, "55000",
    "what other sessions hold is not known",
    "The library was not loaded when the server started, so the sessions share no memory.",
    "Add pkg_dbe_xml to shared_preload_libraries and restart the server.", nullptr, false};

} // namespace reports
// clang-format on

} // namespace pkg_dbe_xml
