// Who uses the namespaces that an element declares.
#include "tree/namespace_marks.hpp"

#include "tree/typed_access.hpp"

namespace pkg_dbe_xml {

namespace {

// Stands in the `context` of records that are used inside their element only; libxml2 leaves that
// member alone. Its address is what counts.
xmlDoc *used_inside() noexcept {
    static constinit const char mark = 0;
    return reinterpret_cast<xmlDoc *>(const_cast<char *>(&mark));
}

// The same for declarations that were asked for.
xmlDoc *asked_for() noexcept {
    static constinit const char mark = 1;
    return reinterpret_cast<xmlDoc *>(const_cast<char *>(&mark));
}

} // namespace

void mark_used_inside(xmlNsPtr record) noexcept { set_context(record, used_inside()); }

void mark_asked_for(xmlNsPtr record) noexcept { set_context(record, asked_for()); }

bool is_made_for_name(const xmlNs *record) noexcept { return context_of(record) == used_inside(); }

void mark_used_outside(const xmlNode *leaving) noexcept {
    const bool may_use_namespaces = leaving->type == XML_ELEMENT_NODE ||
                                    leaving->type == XML_ATTRIBUTE_NODE ||
                                    first_child(leaving) != nullptr;
    if (!may_use_namespaces) {
        return;
    }
    for (const xmlNode *above = leaving->parent; above != nullptr; above = above->parent) {
        for (xmlNsPtr record = declared_namespaces(above); record != nullptr;
             record = record->next) {
            set_context(record, nullptr);
        }
    }
}

bool declares_for_others(const xmlNode *element) noexcept {
    for (const xmlNs *record = declared_namespaces(element); record != nullptr;
         record = record->next) {
        if (context_of(record) != used_inside() && context_of(record) != asked_for()) {
            return true;
        }
    }
    return false;
}

} // namespace pkg_dbe_xml
