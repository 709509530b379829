// Lists of the standalone host: an array that doubles, in the context in which the list began.
#include "host/list.hpp"

#include "session_record.hpp"

namespace host {

struct list {
    std::size_t length;
    std::size_t capacity;
    void **members; // an allocation of its own
};

namespace {

list *create(void *member) {
    constexpr std::size_t first_capacity = 4;
    memory_context *context = current_memory_context();
    auto *members = static_cast<list *>(mmgr_memory_alloc_from_controller(context, sizeof(list)));
    try {
        members->members = static_cast<void **>(
            mmgr_memory_alloc_from_controller(context, first_capacity * sizeof(void *)));
    } catch (...) {
        mmgr_free_with_fl(members, __FILE__, __LINE__);
        throw;
    }
    members->capacity = first_capacity;
    members->length = 1;
    members->members[0] = member;
    return members;
}

// A list grows where it began: it may outlive the context that is current now.
void grow(list &members) {
    memory_context *context = standalone::context_of_allocation(&members);
    const std::size_t capacity = members.capacity * 2;
    auto *bigger =
        static_cast<void **>(mmgr_memory_alloc_from_controller(context, capacity * sizeof(void *)));
    std::memcpy(bigger, members.members, members.length * sizeof(void *));
    mmgr_free_with_fl(members.members, __FILE__, __LINE__);
    members.members = bigger;
    members.capacity = capacity;
}

} // namespace

list *list_append_func(list *members, void *member) {
    if (members == nullptr) {
        return create(member);
    }
    if (members->length == members->capacity) {
        grow(*members);
    }
    members->members[members->length++] = member;
    return members;
}

list *list_append_unique_ptr_func(list *members, void *member) {
    for (std::size_t i = 0; i < list_length(members); ++i) {
        if (members->members[i] == member) {
            return members;
        }
    }
    return list_append_func(members, member);
}

list *list_delete_ptr(list *members, const void *member) noexcept {
    for (std::size_t i = 0; i < list_length(members); ++i) {
        if (members->members[i] != member) {
            continue;
        }
        if (members->length == 1) {
            list_free(members);
            return nullptr;
        }
        std::memmove(members->members + i, members->members + i + 1,
                     (members->length - i - 1) * sizeof(void *));
        --members->length;
        return members;
    }
    return members;
}

std::size_t list_length(const list *members) noexcept {
    return members == nullptr ? 0 : members->length;
}

void *list_nth_cell(const list *members, std::size_t index) noexcept {
    if (index >= list_length(members)) {
        standalone::misuse("a member beyond the end of a list");
    }
    return members->members[index];
}

void list_free(list *members) noexcept {
    if (members != nullptr) {
        mmgr_free_with_fl(members->members, __FILE__, __LINE__);
        mmgr_free_with_fl(members, __FILE__, __LINE__);
    }
}

} // namespace host
