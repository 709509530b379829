// How a walk through a tree notices that the statement was asked to stop.
#pragma once

#include "host/error.hpp"

#include <cstddef>

namespace pkg_dbe_xml {

// To be stepped for every node that is looked at.
class poll_counter {
  public:
    // Throws when the statement was asked to stop.
    void step() { step_by(1); }
    // The same for a text of that many bytes.
    void step_over(std::size_t bytes) { step_by(1 + bytes / k_bytes_of_a_step); }
    // The same for so many nodes.
    void step_by(std::size_t nodes) {
        steps_ += nodes;
        if (steps_ >= k_nodes_between_polls) [[unlikely]] {
            steps_ = 0;
            host::check_for_interrupts();
        }
    }

  private:
    static constexpr std::size_t k_nodes_between_polls = 4096;
    static constexpr std::size_t k_bytes_of_a_step = 64;
    std::size_t steps_ = 0;
};

} // namespace pkg_dbe_xml
