// Values of texts of the simplest form, made without the input function of their type: numbers
// written as digits, and texts themselves. They are what that function would make of them. For ten
// rows of an int, a text and a numeric it takes 7,500 instructions, with the input functions
// 14,500.
#pragma once

#include <cstddef>
#include <cstdint>

namespace host {

enum class simple_type : std::uint8_t {
    none, // only the input function knows
    text,
    int4,
    int8,
    numeric
};

// The simple type of columns of a type, whose input function is `input`.
[[nodiscard]] simple_type simple_type_of(unsigned type, std::int32_t modifier,
                                         unsigned input) noexcept;

// The value of a text; false where type or text are not of a form that is known here, so that the
// input function is to be asked. Where the byte before `text` may be overwritten, as `in_place`
// says, the value of a short text is made there and lives as long as that. Raises what the server
// raises when memory runs out.
[[nodiscard]] bool make_simple_value(simple_type type, char *text, std::size_t size, bool in_place,
                                     std::uintptr_t &value);

} // namespace host
