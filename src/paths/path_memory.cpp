#include "paths/path_memory.hpp"

#include "host/limits.hpp"
#include "path_reports.hpp"

#include <algorithm>

namespace pkg_dbe_xml::paths {

namespace {

constexpr std::size_t k_context_block = 8192;
constexpr std::size_t k_largest_context_block = std::size_t{1024} * 1024;

} // namespace

path_memory::~path_memory() {
    if (context_ != nullptr) {
        host::mmgr_memory_controller_delete(context_);
    }
}

// Reports path_memory_limit where `more` bytes are more than the evaluation may have.
void path_memory::allow(std::size_t more) const {
    if (more > account_.limit - std::min(account_.taken, account_.limit)) {
        report(reports::path_memory_limit, {host::k_max_path_memory_name});
    }
}

void *path_memory::take_from_new_block(std::size_t size) {
    const std::size_t wanted = size + sizeof(block);
    if (spare_ != nullptr &&
        static_cast<std::size_t>(spare_->end - reinterpret_cast<std::byte *>(spare_)) >= wanted) {
        block *const again = spare_;
        spare_ = nullptr;
        again->before = last_;
        last_ = again;
        next_ = reinterpret_cast<std::byte *>(again + 1);
        end_ = again->end;
        return take(size);
    }
    const std::size_t whole = std::max(wanted, next_size_);
    allow(whole);
    if (context_ == nullptr) {
        context_ = host::mmgr_memory_set_controller_create(
            host::current_memory_context(), "XML path evaluation", 0, k_context_block,
            k_largest_context_block);
    }
    auto *made = static_cast<block *>(host::mmgr_memory_alloc_huge(context_, whole));
    account_.taken += whole;
    next_size_ = std::min(next_size_ * 2, k_largest_block);
    made->before = last_;
    made->end = reinterpret_cast<std::byte *>(made) + whole;
    last_ = made;
    next_ = reinterpret_cast<std::byte *>(made + 1);
    end_ = made->end;
    return take(size);
}

// For an array that is all the last block holds: large blocks are moved without being copied, and
// no old array stays behind.
void path_memory::enlarge_last_block(std::size_t whole) {
    const auto size = static_cast<std::size_t>(end_ - reinterpret_cast<std::byte *>(last_));
    allow(whole - size);
    last_ = static_cast<block *>(host::mmgr_resize(last_, whole));
    account_.taken += whole - size;
    last_->end = reinterpret_cast<std::byte *>(last_) + whole;
    end_ = last_->end;
}

void path_memory::free_blocks_behind(const block *last) noexcept {
    while (last_ != last) {
        block *const gone = last_;
        const auto size = static_cast<std::size_t>(gone->end - reinterpret_cast<std::byte *>(gone));
        last_ = gone->before;
        if (spare_ == nullptr && size <= k_largest_block) {
            spare_ = gone;
        } else {
            account_.taken -= size;
            host::mmgr_free_with_fl(gone, __FILE__, __LINE__);
        }
    }
}

void *path_memory::resize(void *taken, std::size_t size, std::size_t wanted) {
    auto *const begin = static_cast<std::byte *>(taken);
    const std::size_t whole = rounded(wanted);
    const std::size_t held = rounded(size);
    if (begin != nullptr && begin + held == next_ &&
        whole - held <= static_cast<std::size_t>(end_ - next_)) {
        next_ = begin + whole;
        return taken;
    }
    if (stands_alone(taken, size)) {
        enlarge_last_block(whole + sizeof(block));
        next_ = reinterpret_cast<std::byte *>(last_ + 1) + whole;
        return last_ + 1;
    }
    void *const moved = take(wanted);
    if (size != 0) {
        std::memcpy(moved, taken, size);
    }
    return moved;
}

} // namespace pkg_dbe_xml::paths
