// Reading node lists: an xmlList with an index made on first reading, so that reading all members
// by index costs linear time in all.
#include "registry/dom_map.hpp"

namespace pkg_dbe_xml {
namespace {

struct index_writer {
    xmlNodePtr *next;
    xmlNodePtr *end;
};

// xmlListWalker: writes a member; 0 ends the walk.
int write_member(const void *member, void *state) {
    auto &writer = *static_cast<index_writer *>(state);
    if (writer.next == writer.end) {
        return 0;
    }
    *writer.next = static_cast<xmlNodePtr>(const_cast<void *>(member));
    ++writer.next;
    return 1;
}

} // namespace

std::size_t list_size(const XMLHashEntry &entry) noexcept { return entry.members.size; }

xmlNodePtr list_member(XMLHashEntry &entry, std::size_t index) {
    if (index >= entry.members.size) {
        return nullptr;
    }
    if (entry.members.index == nullptr) {
        auto *const members = static_cast<xmlNodePtr *>(host::mmgr_memory_alloc_huge(
            host::u_sess.xmldom_context, entry.members.size * sizeof(xmlNodePtr)));
        index_writer writer{members, members + entry.members.size};
        xmlListWalk(static_cast<xmlListPtr>(entry.object), write_member, &writer);
        entry.members.index = members;
    }
    return entry.members.index[index];
}

void delete_list(XMLHashEntry &entry) noexcept {
    host::mmgr_free_with_fl(entry.members.index, __FILE__, __LINE__);
    entry.members = {};
    xmlListDelete(static_cast<xmlListPtr>(entry.object));
    entry.object = nullptr;
}

} // namespace pkg_dbe_xml
