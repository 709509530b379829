// What the sessions of the server hold, in memory that they share.
//
// Each process has a place of its own, which it alone writes, after every call. A reader may find a
// place half written; then the numbers are of two moments.
#include "usage.hpp"

#include "host/usage.hpp"
#include "invocation.hpp"
#include "libxml/xml.hpp"

#include <atomic>
#include <cstddef>

#include "server.hpp"

extern "C" {
#include <storage/lwlock.h>
#include <storage/proc.h>
#include <storage/shmem.h>
#if PG_VERSION_NUM < 170000
#include <storage/backendid.h>
#endif
}

namespace host {

struct alignas(64) published_use {
    std::atomic<std::int32_t> process; // 0: none
    std::atomic<std::uint32_t> documents;
    std::atomic<std::uint32_t> transactions;
    std::atomic<std::uint32_t> parsers;
    std::atomic<std::int64_t> tree_bytes;
    std::atomic<std::int64_t> handle_bytes;
};
static_assert(std::atomic<std::int64_t>::is_always_lock_free);

constinit published_use *published_uses = nullptr;

namespace {

constinit shmem_request_hook_type next_request_hook = nullptr;
constinit shmem_startup_hook_type next_startup_hook = nullptr;
constinit published_use *own_use = nullptr;

constexpr auto k_relaxed = std::memory_order_relaxed;

Size size_of_uses() { return mul_size(sizeof(published_use), static_cast<Size>(MaxBackends)); }

void request_memory() {
    if (next_request_hook != nullptr) {
        next_request_hook();
    }
    RequestAddinShmemSpace(size_of_uses());
}

// Called by the server when it starts, and again after a process has crashed.
void find_memory() {
    if (next_startup_hook != nullptr) {
        next_startup_hook();
    }
    bool found = false;
    LWLockAcquire(AddinShmemInitLock, LW_EXCLUSIVE);
    auto *const uses = static_cast<published_use *>(
        ShmemInitStruct("pkg_dbe_xml sessions", size_of_uses(), &found));
    if (!found) {
        MemSet(static_cast<void *>(uses), 0, size_of_uses());
    }
    LWLockRelease(AddinShmemInitLock);
    published_uses = uses;
}

// The number of this process among those that can have sessions; -1 when it is none of them.
int own_number() noexcept {
#if PG_VERSION_NUM >= 170000
    const int number = MyProcNumber;
#else
    const int number = MyBackendId - 1;
#endif
    return number >= 0 && number < MaxBackends ? number : -1;
}

} // namespace

void ask_for_shared_memory() {
    next_request_hook = shmem_request_hook;
    shmem_request_hook = request_memory;
    next_startup_hook = shmem_startup_hook;
    shmem_startup_hook = find_memory;
}

void write_use() noexcept {
    if (own_use == nullptr) {
        const int number = own_number();
        if (number < 0) {
            return;
        }
        own_use = published_uses + number;
        watch_session_end();
    }
    own_use->documents.store(counts.documents, k_relaxed);
    own_use->transactions.store(counts.transactions, k_relaxed);
    own_use->parsers.store(counts.parsers, k_relaxed);
    own_use->tree_bytes.store(gate.bytes_in_use, k_relaxed);
    own_use->handle_bytes.store(gate.handle_bytes, k_relaxed);
    own_use->process.store(MyProcPid, k_relaxed);
}

void withdraw_use() noexcept {
    if (own_use != nullptr) {
        own_use->process.store(0, k_relaxed);
        own_use = nullptr;
        published_uses = nullptr;
    }
}

bool for_each_session(use_visitor visit, void *state) {
    if (published_uses == nullptr) {
        return false;
    }
    write_use();
    for (int number = 0; number < MaxBackends; ++number) {
        const published_use &use = published_uses[number];
        const std::int32_t process = use.process.load(k_relaxed);
        if (process != 0) {
            visit({process,
                   {use.documents.load(k_relaxed), use.transactions.load(k_relaxed),
                    use.parsers.load(k_relaxed)},
                   use.tree_bytes.load(k_relaxed),
                   use.handle_bytes.load(k_relaxed)},
                  state);
        }
    }
    return true;
}

} // namespace host
