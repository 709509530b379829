// What this session holds, where other sessions can read it: only in a server that loads the
// library when it starts, since the memory that processes share is given out then.
#pragma once

#include <cstdint>

namespace host {

// One for each process that can have sessions.
struct published_use;

[[gnu::visibility("hidden")]] extern constinit published_use *published_uses;

void write_use() noexcept;
// Shows what the session holds now.
inline void publish_use() noexcept {
    if (published_uses != nullptr) [[unlikely]] {
        write_use();
    }
}
// The session has ended.
void withdraw_use() noexcept;

// Has the server give out the memory; called when the library is loaded by a server that starts.
void ask_for_shared_memory();

} // namespace host
