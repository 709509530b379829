// Arguments of functions that take paths: texts that live as long as the call, pairs of names and
// values.
#pragma once

#include "functions/package_arguments.hpp"
#include "paths/paths.hpp"

#include <span>
#include <string_view>

namespace pkg_dbe_xml {

// A text in UTF-8 that lives as long as the call. Throws the host's error for bytes that are not
// valid in the database encoding.
[[nodiscard]] std::string_view utf8_text(host::datum value);

// The pairs of an argument; none for null. Reports path_bindings_shape and path_bindings_null.
[[nodiscard]] std::span<const path_binding> bindings_argument(const host::call &call,
                                                              const package_call &here, int index);

} // namespace pkg_dbe_xml
