// Lets a leak-seeking sanitizer overlook what libxml2 loses when its own allocations fail, for as
// long as an object of this class lives. Tests count such losses by the gate.
#pragma once

#if defined(__SANITIZE_ADDRESS__)
#define PKG_DBE_XML_LEAKS_ARE_SOUGHT
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define PKG_DBE_XML_LEAKS_ARE_SOUGHT
#endif
#endif
#ifdef PKG_DBE_XML_LEAKS_ARE_SOUGHT
#include <sanitizer/lsan_interface.h>
#endif

namespace sql {

class losses_overlooked {
  public:
    losses_overlooked() {
#ifdef PKG_DBE_XML_LEAKS_ARE_SOUGHT
        __lsan_disable();
#endif
    }
    ~losses_overlooked() {
#ifdef PKG_DBE_XML_LEAKS_ARE_SOUGHT
        __lsan_enable();
#endif
    }
    losses_overlooked(const losses_overlooked &) = delete;
    losses_overlooked &operator=(const losses_overlooked &) = delete;
};

} // namespace sql
