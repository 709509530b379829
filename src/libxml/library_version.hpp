// The version of the libxml2 that this process runs with, which may be another than the one that
// the library was built with.
#pragma once

#include <libxml/parserInternals.h>

namespace host {

// 21300 for 2.13.0.
[[nodiscard]] inline int libxml2_number() noexcept {
    int number = 0;
    for (const char *digit = xmlParserVersion; *digit >= '0' && *digit <= '9'; ++digit) {
        number = 10 * number + (*digit - '0');
    }
    return number;
}

} // namespace host
