// What a family keeps that nobody needs any more: imported documents, and namespace records that
// outlived their elements.
//
// Nothing says at once that such a thing is needed no more: a handle of any detached node that came
// from an imported document needs that document, and any node may use a record. So both are looked
// for now and then: when what may have become waste is as much as looking costs.
#pragma once

#include "registry.hpp"

#include <cstddef>

namespace pkg_dbe_xml {

// Less than so many bytes are not looked for, and 0 stands for any, whatever looking costs. Tests
// set it.
extern constinit PKG_DBE_XML_SESSION_STORAGE std::size_t least_waste;

// Bytes, as they were when they were counted.
struct family_waste {
    std::size_t copies;      // of all imported documents
    std::size_t idle_copies; // of those that may have become waste since these were looked for
    std::size_t namespaces;  // the same for namespace records
};

// A family as the registry makes it: the rest of the library knows its first member.
struct whole_family {
    family face;
    family_waste waste;
};
[[nodiscard]] inline family_waste &waste_of(family &owner) noexcept {
    return reinterpret_cast<whole_family &>(owner).waste;
}

// A document was imported; its copy takes so many bytes.
void count_copy(family &owner, std::size_t bytes) noexcept;
// The last handle that named an imported document itself is gone. Looks for waste.
void count_idle_copy(family &owner) noexcept;
// The family keeps a record whose element is gone.
void count_kept_namespace(family &owner) noexcept;
// The same for a record that a document keeps; nothing for a document of no family yet.
void count_namespace_of(const xmlDoc *document) noexcept;

// Takes the namespace records of a tree that nodes elsewhere may use over to the family. False when
// the statement was asked to stop before it was done; it can be called again.
[[nodiscard]] bool save_namespaces(family &owner, xmlNodePtr top) noexcept;

// Each looks for waste where there may be enough of it, and frees it. Not for the middle of a
// change. Ends without having freed anything when the statement is asked to stop; linear in the
// family's handles, and for namespaces in its nodes.
void free_idle_copies(family &owner) noexcept;
void free_idle_namespaces(family &owner) noexcept;

} // namespace pkg_dbe_xml
