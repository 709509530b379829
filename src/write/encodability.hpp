// Which characters an encoding has.
#pragma once

#include "text/encoding_handler.hpp"

#include <string_view>

namespace pkg_dbe_xml {

// An encoding that a text is to be written in.
class encodability {
  public:
    // Takes the handler of an encoding.
    explicit encodability(encoding_handler_ptr handler) noexcept : handler_(std::move(handler)) {}
    // Whether every character of a text in UTF-8 has a place in the encoding. Reports
    // out_of_memory.
    [[nodiscard]] bool holds(std::string_view text) const;

  private:
    encoding_handler_ptr handler_;
};

} // namespace pkg_dbe_xml
