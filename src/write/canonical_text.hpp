// The characters of texts, attribute values, comments and processing instructions in canonical
// form: one way to write each.
#pragma once

#include "text/text_output.hpp"
#include "tree/poll_counter.hpp"

#include <string_view>

namespace pkg_dbe_xml {

// Where the characters stand; `verbatim` is in a comment or a processing instruction.
enum class canonical_place { text, attribute, verbatim };

// Appends a text in UTF-8 with references for the characters that would be read otherwise: "&#xD;"
// everywhere, "&amp;" and "&lt;" but verbatim, "&gt;" in texts, "&quot;", "&#x9;" and "&#xA;" in
// attribute values. False, having written something or nothing, when it holds what XML has no
// character for, or what is no UTF-8. Throws when the statement was asked to stop.
[[nodiscard]] bool append_canonical(text_output &output, std::string_view text,
                                    canonical_place place, poll_counter &poll);

} // namespace pkg_dbe_xml
