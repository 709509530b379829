// The server's own bound on its stack, max_stack_depth.
#include "host/stack.hpp"

#include "server.hpp"

extern "C" {
#include <miscadmin.h>
}

namespace host {

bool stack_is_deep() noexcept {
    return stack_is_too_deep(); // compares addresses
}

} // namespace host
