// Why a text is no document, in words.
#pragma once

#include "libxml/xml.hpp"

#include <algorithm>
#include <cstdio>
#include <string_view>

namespace pkg_dbe_xml {

// libxml2's own first words, or the setting whose limit ended the parse.
class failure_words {
  public:
    explicit failure_words(const host::parse_diagnostics &diagnostics) noexcept {
        int length = 0;
        if (diagnostics.limit != nullptr) {
            length = std::snprintf(bytes_, sizeof bytes_, "the limit of the setting %s was reached",
                                   diagnostics.limit);
        } else {
            length =
                std::snprintf(bytes_, sizeof bytes_, "%s",
                              diagnostics.first_error[0] != '\0' ? diagnostics.first_error
                                                                 : "the text is not well-formed");
        }
        size_ = std::min(static_cast<std::size_t>(length), sizeof bytes_ - 1);
    }
    [[nodiscard]] const char *c_str() const noexcept { return bytes_; }
    [[nodiscard]] std::string_view view() const noexcept { return {bytes_, size_}; }

  private:
    char bytes_[sizeof host::parse_diagnostics::first_error + 64];
    std::size_t size_;
};

} // namespace pkg_dbe_xml
