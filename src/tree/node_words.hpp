// A node in plain words, for reports: "an element <b>", "a text", "the attribute id".
#pragma once

#include "tree/typed_access.hpp"

#include <array>
#include <cstddef>
#include <string_view>

namespace pkg_dbe_xml {

// The words for a node, in UTF-8; long names are cut.
class node_words {
  public:
    // A null node is "nothing".
    explicit node_words(const xmlNode *node) noexcept;
    [[nodiscard]] std::string_view view() const noexcept { return {bytes_.data(), size_}; }
    operator std::string_view() const noexcept { return view(); }

  private:
    void append(std::string_view part) noexcept;
    void append_name(const xmlNode *node) noexcept;

    std::array<char, 192> bytes_;
    std::size_t size_ = 0;
};

} // namespace pkg_dbe_xml
