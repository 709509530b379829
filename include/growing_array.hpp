// An array that grows at its end: the first members lie in the object itself, more in memory of
// the host's current context. For members that can be copied as bytes.
#pragma once

#include "host/memory.hpp"

#include <cstddef>
#include <cstring>
#include <type_traits>

namespace pkg_dbe_xml {

template <class Member, std::size_t Room> class growing_array {
    static_assert(std::is_trivially_copyable_v<Member> && Room > 0);

  public:
    // User-provided, so that the room is not filled with zeros.
    growing_array() noexcept {}
    ~growing_array() { release(); }
    growing_array(const growing_array &) = delete;
    growing_array &operator=(const growing_array &) = delete;

    // Throws when memory runs out, and has then changed nothing.
    void push_back(const Member &member) {
        const Member copy = member; // it may be a member of this array, which moves
        reserve(size_ + 1);
        members_[size_++] = copy;
    }
    // The same for `count` members, which must not be members of this array.
    void append(const Member *members, std::size_t count) {
        reserve(size_ + count);
        if (count != 0) {
            std::memcpy(members_ + size_, members, count * sizeof(Member));
        }
        size_ += count;
    }
    // Makes room for `count` members in all. Throws as above.
    void reserve(std::size_t count) {
        if (count > capacity_) [[unlikely]] {
            grow(count);
        }
    }
    void pop_back() noexcept { --size_; }
    void clear() noexcept { size_ = 0; }
    // Takes the last members away; `size` is at most what there are.
    void shrink(std::size_t size) noexcept { size_ = size; }

    [[nodiscard]] std::size_t size() const noexcept { return size_; }
    [[nodiscard]] bool empty() const noexcept { return size_ == 0; }
    [[nodiscard]] Member &back() noexcept { return members_[size_ - 1]; }
    [[nodiscard]] Member &operator[](std::size_t index) noexcept { return members_[index]; }
    [[nodiscard]] const Member &operator[](std::size_t index) const noexcept {
        return members_[index];
    }
    [[nodiscard]] Member *data() noexcept { return members_; }
    [[nodiscard]] const Member *begin() const noexcept { return members_; }
    [[nodiscard]] const Member *end() const noexcept { return members_ + size_; }
    [[nodiscard]] Member *begin() noexcept { return members_; }
    [[nodiscard]] Member *end() noexcept { return members_ + size_; }

  private:
    void grow(std::size_t count) {
        std::size_t capacity = capacity_ * 2;
        if (capacity < count) {
            capacity = count;
        }
        auto *members = static_cast<Member *>(host::mmgr_memory_alloc_from_controller(
            host::current_memory_context(), capacity * sizeof(Member)));
        std::memcpy(members, members_, size_ * sizeof(Member));
        release();
        members_ = members;
        capacity_ = capacity;
    }
    void release() noexcept {
        if (members_ != room()) {
            host::mmgr_free_with_fl(members_, __FILE__, __LINE__);
        }
    }
    [[nodiscard]] Member *room() noexcept { return reinterpret_cast<Member *>(bytes_); }

    alignas(Member) std::byte bytes_[Room * sizeof(Member)];
    Member *members_ = room();
    std::size_t size_ = 0;
    std::size_t capacity_ = Room;
};

} // namespace pkg_dbe_xml
