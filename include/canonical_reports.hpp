// The reports of the canonical form, as rows like those of error_reports.hpp.
#pragma once

#include "error_reports.hpp"

namespace pkg_dbe_xml {

// clang-format off
namespace reports {

// --- canonical form ---
inline constexpr report_row relative_namespace{0, "2200N",
    "%s has no canonical form: it declares the relative namespace URI \"%s\"",
    "What a relative namespace URI means depends on where the document is.",
    "Give the namespace an absolute URI, such as urn:example:orders.", nullptr, true};
inline constexpr report_row canonical_version{0, "22023",
    "\"%s\" is no version of the canonical form", "There are the versions 1.0 and 1.1.",
    "Write '1.0' or '1.1'.", nullptr, true};
inline constexpr report_row canonical_exclusive_version{0, "22023",
    "the exclusive canonical form has no version 1.1", "Its only version is 1.0.",
    "Leave the version out, or set exclusive to false.", nullptr, true};
inline constexpr report_row canonical_prefixes_unused{0, "22023",
    "inclusive prefixes belong to the exclusive form",
    "The inclusive form writes every namespace that is in scope.",
    "Set exclusive to true, or pass no prefixes.", nullptr, true};
inline constexpr report_row canonical_prefixes_shape{0, "22023",
    "the inclusive prefixes are no list of texts", "The array has two columns, or more dimensions.",
    "Write array['prefix', '#default'].", nullptr, true};
inline constexpr report_row canonical_prefix_null{0, "22004", "an inclusive prefix is null",
    "Prefixes are texts.", "Leave it out; the default namespace is '#default'.", nullptr, true};
inline constexpr report_row canonical_prefix{0, "22023", "\"%s\" is no prefix",
    "A prefix is a name without a colon.", "The default namespace is '#default'.", nullptr, true};

} // namespace reports
// clang-format on

} // namespace pkg_dbe_xml
