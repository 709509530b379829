// Growing an allocation of the server. Apart from the rest of the memory service, since this is the
// one request of it that can only be made in a way that fails by a jump.
#include "host/memory.hpp"

#include "guard.hpp"

#include "server.hpp"

namespace host {

void *mmgr_resize(void *pointer, std::size_t size) {
    if (!AllocHugeSizeIsValid(size)) {
        raise_out_of_memory(size);
    }
    void *resized = nullptr;
    guard([&] { resized = repalloc_huge(pointer, size); });
    return resized;
}

} // namespace host
