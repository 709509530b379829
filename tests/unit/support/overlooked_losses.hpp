// Lets a leak-seeking sanitizer overlook what libxml2 loses when its own allocations fail, for as
// long as an object of this class lives. Tests count such losses by the gate.
#pragma once

#include "sanitizers.hpp"

#if PKG_DBE_XML_ADDRESS_SANITIZER
#include <sanitizer/lsan_interface.h>
#endif

namespace sql {

class losses_overlooked {
  public:
    losses_overlooked() {
#if PKG_DBE_XML_ADDRESS_SANITIZER
        __lsan_disable();
#endif
    }
    ~losses_overlooked() {
#if PKG_DBE_XML_ADDRESS_SANITIZER
        __lsan_enable();
#endif
    }
    losses_overlooked(const losses_overlooked &) = delete;
    losses_overlooked &operator=(const losses_overlooked &) = delete;
};

} // namespace sql
