// The stack of the session's thread: what recursion of bounded depth asks before it goes deeper.
#pragma once

namespace host {

// True when less is left of the stack than the host wants to keep free. Cheap; may be called from
// anywhere.
[[nodiscard]] bool stack_is_deep() noexcept;

} // namespace host
