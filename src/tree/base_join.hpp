// Joining the bases of elements that are left out, as Canonical XML 1.1 has it.
//
// It is the resolution of RFC 3986 but for four things: the base may be relative itself, and then
// the result is relative too and keeps the ".." at its beginning; several slashes count as one;
// a ".." at the end gets a slash; a fragment is dropped.
#pragma once

#include "growing_array.hpp"

#include <string_view>

namespace pkg_dbe_xml {

using joined_base = growing_array<char, 256>;

// Puts `reference`, seen from `base`, into `joined`, which is neither of them. Throws when memory
// runs out.
void join_bases(std::string_view base, std::string_view reference, joined_base &joined);

[[nodiscard]] inline std::string_view view_of(const joined_base &joined) noexcept {
    return {joined.begin(), joined.size()};
}

} // namespace pkg_dbe_xml
