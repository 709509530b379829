// Lists of pointers. An empty list is null.
#pragma once

#include "host/memory.hpp"

#include <cstddef>

namespace host {

struct list;

// Appends `member`, in the current memory context; returns the list, which may have moved. Throws,
// and has then changed nothing.
[[nodiscard]] list *list_append_func(list *members, void *member);
// The same, unless the pointer is already a member.
[[nodiscard]] list *list_append_unique_ptr_func(list *members, void *member);
// Removes the first occurrence of `member`, if any; returns the list, null when it became empty.
[[nodiscard]] list *list_delete_ptr(list *members, const void *member) noexcept;
[[nodiscard]] std::size_t list_length(const list *members) noexcept;
// Member `index`, from 0; the index must be below the length.
[[nodiscard]] void *list_nth_cell(const list *members, std::size_t index) noexcept;
void list_free(list *members) noexcept;

} // namespace host
