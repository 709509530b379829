// The steps that nearly every SQL function shares.
#pragma once

#include "error_reports.hpp"
#include "host/call.hpp"
#include "registry.hpp"
#include "text/text_argument.hpp"
#include "tree/typed_access.hpp"

namespace pkg_dbe_xml {

// The 13 bytes of a handle argument where they lie, null when the value has neither of the two
// forms in which handles are passed: packed, or with a long header as they are returned.
[[nodiscard]] inline const DomKey *handle_in_place(host::datum value) noexcept {
    constexpr auto k_packed = static_cast<std::uint8_t>((k_packed_handle_size << 1U) | 1U);
    constexpr auto k_long = static_cast<std::uint32_t>(k_handle_size << 2U);
    const auto *bytes = reinterpret_cast<const std::byte *>(value);
    const auto first = std::to_integer<std::uint8_t>(*bytes);
    if (first == static_cast<std::uint8_t>(k_long)) [[likely]] { // else it may end before byte 4
        std::uint32_t header = 0;
        std::memcpy(&header, bytes, sizeof header);
        return header == k_long ? reinterpret_cast<const DomKey *>(bytes + host::k_long_header)
                                : nullptr;
    }
    return first == k_packed ? reinterpret_cast<const DomKey *>(bytes + host::k_short_header)
                             : nullptr;
}

// Checks that an argument is a handle and gives its key: where it lies, the road of nearly every
// call, or else brought into `room`. Reports handle_not_found. Copying a handle that was just
// written waits for the write.
[[nodiscard]] inline const DomKey &key_argument(const host::call &call, int index, DomKey &room) {
    const host::datum value = call.value(index);
    if (const DomKey *key = handle_in_place(value)) [[likely]] {
        return *key;
    }
    room = check_raw_id_valid(value);
    return room;
}

// Checks a handle argument and finds its entry; reports handle_not_found.
[[nodiscard]] inline XMLHashEntry &find_handle(const host::call &call, int index) {
    const host::datum value = call.value(index);
    if (const DomKey *const key = handle_in_place(value)) [[likely]] {
        return *xml_get_hashentry(XMLEntryType::dom_map, *key);
    }
    return find_handle(value);
}

// True for the kinds whose object is no node: node lists, and maps, which stand for all the
// attributes from their first on.
[[nodiscard]] inline bool is_collection(const XMLHashEntry &entry) noexcept {
    return entry.kind == XMLDomNodeType::node_list || entry.kind == XMLDomNodeType::named_node_map;
}

// The first attribute of a map, null when there is none. An own map names the element itself.
[[nodiscard]] inline xmlNodePtr first_of_map(const XMLHashEntry &entry) noexcept {
    xmlNodePtr const node = as_node(entry.object);
    return node != nullptr && entry.is_own ? as_node(first_attribute(node)) : node;
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
