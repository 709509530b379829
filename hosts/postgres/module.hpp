// The loading of the library.
#pragma once

namespace host {

// Puts in place what goes before a statement that asks for settings and the clean-up that follows
// DISCARD ALL; called once, when the library is loaded.
void watch_utility_statements();

} // namespace host
