// What extensions of the library find of it.
#pragma once

namespace host {

// Puts the record where they look for it; once, when the library is loaded. Raises when memory runs
// out.
void offer_services();
// Has such an extension free what it keeps for the session.
void clean_up_guest() noexcept;

} // namespace host
