// The text that is to be parsed: out of a value or a large object, in UTF-8, in one piece.
#pragma once

#include "error_reports.hpp"
#include "host/large_object.hpp"
#include "host/memory.hpp"
#include "host/text.hpp"

#include <cstddef>

namespace pkg_dbe_xml {

// The text of a value in UTF-8, for parsing, in one piece of host memory or in place.
class parse_text {
  public:
    // `too_large` is the report for a large value above k_longest_text. Throws.
    parse_text(host::datum value, const report_row &too_large);
    // The text of a large object, in memory of `context`; `too_large` as above. Throws.
    parse_text(host::object_number number, const report_row &too_large,
               host::memory_context *context);
    ~parse_text();
    parse_text(const parse_text &) = delete;
    parse_text &operator=(const parse_text &) = delete;
    [[nodiscard]] const char *bytes() const noexcept { return bytes_; }
    [[nodiscard]] std::size_t size() const noexcept { return size_; }

  private:
    const char *bytes_;
    std::size_t size_;
    char *owned_; // host memory to give back, or null
};

} // namespace pkg_dbe_xml
