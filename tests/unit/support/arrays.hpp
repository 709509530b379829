// Arrays of handles as the server stores them, as arguments.
#pragma once

#include "support/sql.hpp"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace sql {

// One dimension without nulls, from index 1 on; of no members none at all.
inline raw array_of(const std::vector<handle> &members) {
    raw made;
    const auto put = [&made](std::size_t word) {
        for (unsigned shift = 0; shift < 32; shift += 8) {
            made.bytes.push_back(static_cast<std::uint8_t>(word >> shift));
        }
    };
    const std::size_t dimensions = members.empty() ? 0 : 1;
    put(dimensions);
    put(0); // no nulls
    put(0); // type of the members, which nobody looks at
    if (dimensions != 0) {
        put(members.size());
        put(1);
    }
    for (const handle &member : members) {
        put(17U << 2U);
        made.bytes.insert(made.bytes.end(), member.bytes.begin(), member.bytes.end());
        made.bytes.insert(made.bytes.end(), 3, 0);
    }
    return made;
}

} // namespace sql
