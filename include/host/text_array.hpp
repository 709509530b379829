// Arrays of texts with two columns: names and values, as arguments of a function.
#pragma once

#include "host/call.hpp"

#include <cstddef>

namespace host {

// What is wrong with an array that should be one of pairs.
enum class pairs_fault {
    none,
    shape,      // neither two columns nor, with one dimension, an even number of members
    null_member // a name or a value is null
};

struct text_pairs {
    pairs_fault fault;
    std::size_t count; // of the pairs
    datum *members;    // 2 * count text values, in memory of the current context
};

// The pairs of an array of texts; an empty array has none. Throws what the host raises while
// reading it.
[[nodiscard]] text_pairs pairs_of_array(datum array);

// The texts of an array with one dimension, in a column, or with two columns.
struct text_table {
    pairs_fault fault;
    std::size_t rows;
    std::size_t columns; // 1 or 2
    datum *members;      // rows * columns text values, in memory of the current context
};

// The texts of an array; an empty one has no rows. Throws what the host raises while reading it.
[[nodiscard]] text_table texts_of_array(datum array);

} // namespace host
