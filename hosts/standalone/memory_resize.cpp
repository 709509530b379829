// Growing an allocation of the standalone host: always at another place, so that whoever goes on
// using the old one is found out.
#include "host/memory.hpp"

#include "standalone_session.hpp"

#include <algorithm>

namespace host {

void *mmgr_resize(void *pointer, std::size_t size) {
    const std::size_t kept = std::min(size, standalone::size_of_allocation(pointer));
    void *const resized = mmgr_memory_alloc_huge(standalone::context_of_allocation(pointer), size);
    copy_bytes(resized, size, pointer, kept);
    mmgr_free_with_fl(pointer, __FILE__, __LINE__);
    return resized;
}

} // namespace host
