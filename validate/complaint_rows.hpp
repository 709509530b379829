// The rows of xmlschema.validate: the host's.
#pragma once

#include "host/call.hpp"

#include <cstdint>

namespace pkg_dbe_xml::validation {

// Begin it before anything else, also for a set without rows; end the body with
// `return rows.finish();`.
class complaint_rows {
  public:
    // Throws the host's own error when the function was called where a set cannot be used.
    explicit complaint_rows(host::call &frame);
    complaint_rows(const complaint_rows &) = delete;
    complaint_rows &operator=(const complaint_rows &) = delete;

    // A row: line or null for 0, path or null for 0, level, message. Throws what the host raises.
    void put(std::int32_t line, host::datum path, host::datum level, host::datum message);
    [[nodiscard]] host::datum finish() noexcept { return frame_.null(); }

  private:
    host::call &frame_;
    void *store_;
    void *shape_;
};

} // namespace pkg_dbe_xml::validation
