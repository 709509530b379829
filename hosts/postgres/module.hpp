// The loading of the library.
#pragma once

namespace host {

// Puts the clean-up that follows DISCARD ALL in place; called once, when the library is loaded.
void watch_discards();

} // namespace host
