// Numbers and their texts, as the language writes them: no exponent, "NaN", "Infinity".
#pragma once

#include <cstddef>
#include <string_view>

namespace pkg_dbe_xml::paths {

// Blanks, an optional "-", digits with an optional point, blanks; NaN for every other text.
[[nodiscard]] double number_of_text(std::string_view text) noexcept;

// The shortest text that gives the number again.
struct number_text {
    explicit number_text(double number) noexcept;
    [[nodiscard]] std::string_view view() const noexcept { return {bytes_, size_}; }

  private:
    void assign(std::string_view text) noexcept;
    char bytes_[352]; // 1.8e308 has 309 digits, 5e-324 has 326 characters
    std::size_t size_;
};

// To the nearest integer, to the greater of two; keeps NaN, infinities and the sign of zero.
[[nodiscard]] double rounded(double number) noexcept;

} // namespace pkg_dbe_xml::paths
