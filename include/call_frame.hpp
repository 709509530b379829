// The steps that nearly every SQL function shares.
#pragma once

#include "error_reports.hpp"
#include "host/call.hpp"
#include "registry.hpp"
#include "text_argument.hpp"
#include "typed_access.hpp"

namespace pkg_dbe_xml {

// Checks a handle argument and finds its entry; reports handle_not_found.
[[nodiscard]] inline XMLHashEntry &find_handle(const host::call &call, int index) {
    return *xml_get_hashentry(XMLEntryType::dom_map, check_raw_id_valid(call.value(index)));
}

// True for the kinds whose object is no node: node lists, and maps, which stand for all the
// attributes from their first on.
[[nodiscard]] inline bool is_collection(const XMLHashEntry &entry) noexcept {
    return entry.kind == XMLDomNodeType::node_list || entry.kind == XMLDomNodeType::named_node_map;
}

// The node a handle names, null when it names nothing. Reports inconsistent_types for a list or a
// map that names something.
[[nodiscard]] inline xmlNodePtr node_or_null(const XMLHashEntry &entry) {
    if (entry.object != nullptr && is_collection(entry)) [[unlikely]] {
        report(reports::inconsistent_types);
    }
    return as_node(entry.object);
}

// The document a handle names. Reports node_gone when it names nothing, not_a_document when it
// names anything else.
[[nodiscard]] inline xmlDocPtr require_document(const XMLHashEntry &entry) {
    if (entry.object == nullptr) {
        report(reports::node_gone);
    }
    if (is_collection(entry) || !is_document(as_node(entry.object))) {
        report(reports::not_a_document);
    }
    return static_cast<xmlDocPtr>(entry.object);
}

} // namespace pkg_dbe_xml
