// The stack of this thread, as the system tells it.
#include "host/stack.hpp"

#include <cstddef>
#include <cstdint>
#include <pthread.h>

namespace host {

namespace {

// What is kept free. Stacks of programs have 8 MB; with the sanitizers frames are several times as
// large.
constexpr std::size_t k_reserve = std::size_t{512} * 1024;

// The lowest address that may be used; 0 where the system does not tell.
std::uintptr_t lowest_address() noexcept {
    pthread_attr_t attributes;
    if (pthread_getattr_np(pthread_self(), &attributes) != 0) {
        return 0;
    }
    void *base = nullptr;
    std::size_t size = 0;
    const bool known = pthread_attr_getstack(&attributes, &base, &size) == 0;
    pthread_attr_destroy(&attributes);
    return known ? reinterpret_cast<std::uintptr_t>(base) + k_reserve : 0;
}

} // namespace

bool stack_is_deep() noexcept {
    thread_local const std::uintptr_t lowest = lowest_address();
    return reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0)) < lowest;
}

} // namespace host
