// Names and prefixes of a tree that is being written: whether they are read again as what they are.
#pragma once

#include "tree/namespace_scope.hpp"
#include "tree/typed_access.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace pkg_dbe_xml {

// Looks at names once: those of a tree are few, and stand in its dictionary. Good for as long as
// the tree does not change.
class known_names {
  public:
    // Whether a text is a name in XML, colons included.
    [[nodiscard]] bool is_name(const xmlChar *name) noexcept;
    // The same without colons.
    [[nodiscard]] bool is_plain_name(const xmlChar *name) noexcept;

  private:
    static constexpr std::size_t k_places = 256;
    std::array<const xmlChar *, k_places> names_{};
    std::array<const xmlChar *, k_places> plain_names_{};
};

// What prefixes mean at a place of the text, which grows and shrinks with the elements open there.
class written_scope {
  public:
    void declare(const xmlChar *prefix, const xmlChar *uri);
    // Takes the last declarations back.
    void take_back(std::size_t count) noexcept;
    // What a prefix (null: the default namespace) means; null for nothing.
    [[nodiscard]] const xmlChar *meaning(const xmlChar *prefix) const noexcept;
    // The same for a prefix that does not end in a zero byte.
    [[nodiscard]] const xmlChar *meaning(std::string_view prefix) const noexcept;
    // Whether a record says what its prefix means here; null stands for no namespace. Costs nothing
    // where it was asked before and nothing has been declared since.
    [[nodiscard]] bool agrees(const xmlNs *record, bool is_attribute) noexcept;

  private:
    struct answer {
        const xmlNs *record;
        std::uint64_t version;
        bool is_attribute;
    };
    [[nodiscard]] bool finds(const xmlNs *record, bool is_attribute) const noexcept;

    static constexpr std::size_t k_places = 64;
    namespace_scope bindings_;
    std::array<answer, k_places> answers_{}; // of yes
    std::uint64_t version_ = 1;
};

} // namespace pkg_dbe_xml
