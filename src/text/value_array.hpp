// An argument that is an array of values of varying length, such as handles.
#pragma once

#include "growing_array.hpp"
#include "host/text.hpp"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace pkg_dbe_xml {

// The members of an array of any number of dimensions, in the order in which they are stored. The
// layout is the same on every host: the number of dimensions, the place of the first member where
// there are nulls (else 0), the type of the members, lengths and lower bounds of the dimensions, a
// bitmap of those that are not null, and the members, aligned to four bytes.
class value_array {
  public:
    // Fetches the value; throws what the host raises.
    explicit value_array(host::datum value);
    [[nodiscard]] std::size_t size() const noexcept { return members_.size(); }
    // Member `index` as a datum, 0 for null.
    [[nodiscard]] host::datum operator[](std::size_t index) const noexcept {
        return host::from_pointer(members_[index]);
    }

  private:
    growing_array<const std::byte *, 16> members_;
};

} // namespace pkg_dbe_xml
