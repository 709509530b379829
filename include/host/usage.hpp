// What each session of the host holds, for those who look after all of them.
#pragma once

#include "host/session.hpp"

#include <cstdint>

namespace host {

// What the library counts of its session as it goes.
struct object_counts {
    std::uint32_t documents;    // document ids
    std::uint32_t transactions; // those of them that end with their transaction
    std::uint32_t parsers;
};
extern constinit PKG_DBE_XML_SESSION_STORAGE object_counts counts;

struct session_use {
    std::int32_t process;
    object_counts objects;
    std::int64_t tree_bytes; // of parsers too
    std::int64_t handle_bytes;
};

// Calls `visit` for each session that holds something or has held it, this one included. False
// where the host cannot tell: then it calls nothing. The visitor may throw.
using use_visitor = void (*)(const session_use &use, void *state);
[[nodiscard]] bool for_each_session(use_visitor visit, void *state);

} // namespace host
