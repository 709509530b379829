// Calls of the server that can fail, run by the library that this one builds on.
#pragma once

#include "services.hpp"

namespace pkg_dbe_xml::validation {

template <class Step> void guarded_step(void *state) noexcept { (*static_cast<Step *>(state))(); }

// Runs a lambda that calls the server and holds nothing with a destructor. Throws what the server
// raises.
template <class Step> void guard(Step step) { services().run_guarded(guarded_step<Step>, &step); }

} // namespace pkg_dbe_xml::validation
