// The loading of the library.
#pragma once

namespace host {

// Puts in place the clean-up that follows DISCARD ALL; called once, when the library is loaded.
void watch_utility_statements();

} // namespace host
