// Names that Relax NG lets an element or an attribute choose from.
#pragma once

#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace pkg_dbe_xml::validation {

// The line of a choice of names that stands within another one behind a name, 0 when there is none.
// libxml2 links such a choice to itself, and recurses until the stack is used up. Adds to `waiting`
// the locations that the schema refers to and that are not `known` yet. A text that is no XML has
// neither. To be called where libxml2 is refused nothing.
[[nodiscard]] long look_at_name_classes(std::string_view location, std::string_view text,
                                        std::set<std::string, std::less<>> &known,
                                        std::vector<std::string> &waiting);

} // namespace pkg_dbe_xml::validation
