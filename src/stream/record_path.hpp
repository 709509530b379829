// Which elements of a stream are records: child steps with names or *, and // at one place.
//
// A path is matched while tags go by. What is known at an open element is a set of bits: bit i says
// that the first i steps lead to it.
#pragma once

#include "paths/paths.hpp"

#include <libxml/dict.h>
#include <libxml/tree.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace pkg_dbe_xml {

using path_states = std::uint64_t;

inline constexpr std::size_t k_most_record_steps = 60;

struct record_step {
    const xmlChar *name; // null: any
    const xmlChar *uri;  // null: none
    bool any_namespace;
    bool at_any_depth; // // stands before it
};

struct record_path {
    std::array<record_step, k_most_record_steps> steps;
    std::size_t count = 0;

    // Those of the document, and of a child with this name below an element with `above`.
    [[nodiscard]] static constexpr path_states of_document() noexcept { return 1; }
    [[nodiscard]] path_states below(path_states above, const xmlChar *name,
                                    const xmlChar *uri) const noexcept;
    [[nodiscard]] bool is_record(path_states states) const noexcept {
        return ((states >> count) & 1U) != 0;
    }
};

// Reads a path; its names come to lie in `dictionary`, whose own names they can be compared with by
// their addresses. Reports record_path_syntax and record_path_prefix; throws when memory runs out.
void read_record_path(record_path &path, std::string_view text,
                      std::span<const path_binding> namespaces, xmlDictPtr dictionary);

} // namespace pkg_dbe_xml
