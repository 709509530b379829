// How a walk through a tree notices that the statement was asked to stop.
#pragma once

#include "host/error.hpp"

#include <cstddef>

namespace pkg_dbe_xml {

// To be stepped for every node that is looked at.
class poll_counter {
  public:
    // Throws when the statement was asked to stop.
    void step() {
        if (++steps_ % k_nodes_between_polls == 0) [[unlikely]] {
            host::check_for_interrupts();
        }
    }

  private:
    static constexpr std::size_t k_nodes_between_polls = 4096;
    std::size_t steps_ = 0;
};

} // namespace pkg_dbe_xml
