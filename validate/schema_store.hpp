// Where schemas are kept: the host's table of locations and texts.
#pragma once

#include <string>
#include <string_view>

namespace pkg_dbe_xml::validation {

// The text of a schema in UTF-8; false when there is none at that location. Reads what was
// committed last, whatever the transaction saw before. Throws what the host raises.
[[nodiscard]] bool find_schema(std::string_view location, std::string &text);

// Whether a schema may have been added, changed or removed since this was last asked. Throws what
// the host raises.
[[nodiscard]] bool schemas_have_changed();

} // namespace pkg_dbe_xml::validation
