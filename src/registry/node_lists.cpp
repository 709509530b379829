// Node lists: those of the packages are arrays. Those of the long-named functions are xmlLists,
// with an index made on first reading, so that reading all members by index costs linear time in
// all.
#include "registry/dom_map.hpp"

namespace pkg_dbe_xml {
namespace {

void hold_member(xmlNodePtr member) noexcept {
    if (counts_lists(member) && list_count(member) != k_many_lists) {
        set_list_count(member, static_cast<unsigned short>(list_count(member) + 1));
    }
}

void release_member(xmlNodePtr member, xmlNodePtr &chain) noexcept {
    if (!counts_lists(member) || list_count(member) == k_many_lists) {
        return;
    }
    set_list_count(member, static_cast<unsigned short>(list_count(member) - 1));
    let_go_later(chain, member);
}

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
        auto *const members = static_cast<xmlNodePtr *>(allocate_for_handles(
            host::u_sess.xmldom_context, entry.members.size * sizeof(xmlNodePtr)));
        index_writer writer{members, members + entry.members.size};
        xmlListWalk(static_cast<xmlListPtr>(entry.object), write_member, &writer);
        entry.members.index = members;
    }
    return entry.members.index[index];
}

void hold_list(XMLHashEntry &entry) noexcept {
    entry.members = {};
    for_each_member(entry, [&entry](xmlNodePtr member) {
        ++entry.members.size;
        hold_member(member);
    });
}

void hold_array(XMLHashEntry &entry, xmlNodePtr *members, std::size_t size) noexcept {
    entry.object = members;
    entry.members = {members, size};
    for (std::size_t index = 0; index < size; ++index) {
        hold_member(members[index]);
    }
}

void empty_list(XMLHashEntry &entry) noexcept {
    if (is_array(entry)) {
        free_list(entry);
        entry.object = no_members;
    } else {
        xmlListClear(static_cast<xmlListPtr>(entry.object));
        free_of_handles(entry.members.index, index_bytes(entry));
    }
    entry.members = {};
}

void free_list(XMLHashEntry &entry) noexcept {
    if (!is_array(entry)) {
        xmlListDelete(static_cast<xmlListPtr>(entry.object));
    }
    free_of_handles(entry.members.index, index_bytes(entry));
}

void delete_list(XMLHashEntry &entry) noexcept {
    xmlNodePtr chain = nullptr;
    delete_list(entry, chain);
    let_go_of_all(chain);
}

void delete_list(XMLHashEntry &entry, xmlNodePtr &chain) noexcept {
    for_each_member(entry, [&chain](xmlNodePtr member) { release_member(member, chain); });
    free_list(entry);
    entry.members = {};
    entry.object = nullptr;
}

} // namespace pkg_dbe_xml
