// What libxml2 complains of.
#pragma once

#include <libxml/tree.h>
#include <libxml/xmlerror.h>

#include <cstddef>
#include <string>
#include <vector>

namespace pkg_dbe_xml::validation {

#if LIBXML_VERSION >= 21200
using xml_error = const xmlError;
#else
using xml_error = xmlError;
#endif

struct complaint {
    long line; // 0: not known
    const xmlNode *node;
    const char *level;
    int code;
    std::string message;
    std::string file; // the location of the schema that it is about, of complaints about schemas
};

// Complaints in their order, of which no more are kept than are wanted.
struct complaint_list {
    std::size_t at_most = 1000;
    // The nodes are of a tree that somebody has, which does not know lines beyond 65,534.
    bool is_of_others = false;
    // The node that is being looked at, of complaints that name none.
    const xmlNode *current = nullptr;
    std::vector<complaint> found;
    std::size_t errors = 0;   // of all, kept or not
    bool internal = false;    // one of them tells of a failure of libxml2's own
    bool lost_memory = false; // one was lost for want of memory

    [[nodiscard]] bool is_full() const noexcept { return found.size() >= at_most; }
    // The line of a node, of an attribute that of its element; 0 when that is not known.
    [[nodiscard]] long line_of(const xmlNode *node) const noexcept;
    // Forgets all complaints.
    void clear() noexcept;
};

// For libxml2; `list` is a complaint_list.
void note_complaint(void *list, xml_error *error) noexcept;

// The line of a node, of an attribute that of its element; 0 when that is not known.
[[nodiscard]] long line_of(const xmlNode *node) noexcept;

} // namespace pkg_dbe_xml::validation
