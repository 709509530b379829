// How the library of validation reaches the library that it builds on.
#pragma once

#include "library_services.hpp"

namespace pkg_dbe_xml::validation {

// The record of the library; checked when this one was loaded.
[[nodiscard]] const library_services &services() noexcept;

} // namespace pkg_dbe_xml::validation
