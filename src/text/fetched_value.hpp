// A value of the server as its bytes.
#pragma once

#include "host/call.hpp"
#include "host/memory.hpp"
#include "host/text.hpp"

#include <memory>
#include <string_view>

namespace pkg_dbe_xml {

// A text or bytea argument, fetched and decompressed where it is stored elsewhere; what was made
// for that is freed with the object.
class fetched_value {
  public:
    // Throws what the host raises.
    explicit fetched_value(host::datum value) : stored_(host::pg_detoast_datum(value)) {
        if (host::from_pointer(stored_) != value) {
            fetched_.reset(const_cast<host::varlena *>(stored_));
        }
    }
    // The bytes; good as long as the object and the argument live.
    [[nodiscard]] std::string_view view() const noexcept { return host::text_view(stored_); }

  private:
    const host::varlena *stored_;
    std::unique_ptr<host::varlena, host::memory_deleter> fetched_;
};

} // namespace pkg_dbe_xml
