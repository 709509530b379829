// Lists of the server: arrays that grow by doubling, so that appending takes constant time.
#include "host/list.hpp"

#include "guard.hpp"

#include "server.hpp"

namespace host {

namespace {

List *server_list(list *members) noexcept { return reinterpret_cast<List *>(members); }
const List *server_list(const list *members) noexcept {
    return reinterpret_cast<const List *>(members);
}
list *our_list(List *members) noexcept { return reinterpret_cast<list *>(members); }

} // namespace

list *list_append_func(list *members, void *member) {
    List *result = nullptr;
    // The server makes room before it changes the list.
    guard([&] { result = lappend(server_list(members), member); });
    return our_list(result);
}

list *list_append_unique_ptr_func(list *members, void *member) {
    // Looking allocates nothing.
    if (::list_member_ptr(server_list(members), member)) {
        return members;
    }
    return list_append_func(members, member);
}

list *list_delete_ptr(list *members, const void *member) noexcept {
    // Moves the members behind the one removed, or frees the list: nothing is allocated.
    return our_list(::list_delete_ptr(server_list(members), const_cast<void *>(member)));
}

std::size_t list_length(const list *members) noexcept {
    return static_cast<std::size_t>(::list_length(server_list(members)));
}

void *list_nth_cell(const list *members, std::size_t index) noexcept {
    return ::list_nth(server_list(members), static_cast<int>(index));
}

void list_free(list *members) noexcept {
    ::list_free(server_list(members)); // frees only
}

} // namespace host
