// Sessions of the standalone host share nothing.
#include "host/usage.hpp"

namespace host {

bool for_each_session(use_visitor /*visit*/, void * /*state*/) { return false; }

} // namespace host
