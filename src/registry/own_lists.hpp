// Lists of the packages, found by what they hold: a list is a snapshot, so that one of the same
// nodes in the same order is the same list, and is given again.
#pragma once

#include "registry.hpp"

#include <cstddef>
#include <cstdint>

namespace pkg_dbe_xml {

// What is known of the members of a list, one after the other.
class list_digest {
  public:
    void add(const xmlNode *member) noexcept {
        // Nodes lie at multiples of 8 at least; the multiplication spreads the bits that differ.
        hash_ = (hash_ ^ (reinterpret_cast<std::uintptr_t>(member) >> 3U)) * 0x9E3779B97F4A7C15U;
        hash_ ^= hash_ >> 29U;
        ++size_;
    }
    [[nodiscard]] std::uint64_t hash() const noexcept { return hash_ | 1U; } // never 0
    [[nodiscard]] std::size_t size() const noexcept { return size_; }

  private:
    std::uint64_t hash_ = 0x2545F4914F6CDD1DU;
    std::size_t size_ = 0;
};

// The handle of a list of these members under document id and serial of `from`, as many as `digest`
// knows of: that of a list which is known already, or of a new one. Throws before anything has
// changed, when memory runs out; reports numbers_used_up and session_memory_full.
[[nodiscard]] host::datum own_list(const XMLHashEntry &from, const xmlNodePtr *members,
                                   const list_digest &digest);

} // namespace pkg_dbe_xml
