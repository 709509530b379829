// Arrays of texts on the standalone host: what a program made with make_text_array.
#include "host/text_array.hpp"

#include "session_record.hpp"

#include <algorithm>

namespace host {

namespace {

struct stored_array {
    std::size_t columns;
    std::size_t count;
    bool has_null;
    datum members[1]; // `count` of them
};

} // namespace

text_pairs pairs_of_array(datum array) {
    const auto *const stored = reinterpret_cast<const stored_array *>(array);
    if (stored->count != 0 && (stored->columns != 2 || stored->count % 2 != 0)) {
        return {pairs_fault::shape, 0, nullptr};
    }
    if (stored->has_null) {
        return {pairs_fault::null_member, 0, nullptr};
    }
    auto *const members = static_cast<datum *>(mmgr_memory_alloc_from_controller(
        current_memory_context(), (stored->count + 1) * sizeof(datum)));
    std::copy_n(stored->members, stored->count, members);
    return {pairs_fault::none, stored->count / 2, members};
}

text_table texts_of_array(datum array) {
    const auto *const stored = reinterpret_cast<const stored_array *>(array);
    if (stored->count != 0 && stored->columns != 1 && stored->columns != 2) {
        return {pairs_fault::shape, 0, 1, nullptr};
    }
    if (stored->has_null) {
        return {pairs_fault::null_member, 0, 1, nullptr};
    }
    auto *const members = static_cast<datum *>(mmgr_memory_alloc_from_controller(
        current_memory_context(), (stored->count + 1) * sizeof(datum)));
    std::copy_n(stored->members, stored->count, members);
    const std::size_t columns = stored->columns == 2 ? 2 : 1;
    return {pairs_fault::none, stored->count / columns, columns, members};
}

namespace standalone {

datum make_text_array(const std::vector<const char *> &members, std::size_t columns) {
    const fault_pause no_faults;
    auto *const stored = static_cast<stored_array *>(mmgr_memory_alloc_zero(
        current_memory_context(), sizeof(stored_array) + members.size() * sizeof(datum)));
    stored->columns = columns;
    stored->count = members.size();
    for (std::size_t index = 0; index < members.size(); ++index) {
        stored->has_null = stored->has_null || members[index] == nullptr;
        stored->members[index] = members[index] == nullptr ? 0 : make_text(members[index]);
    }
    return from_pointer(stored);
}

} // namespace standalone
} // namespace host
