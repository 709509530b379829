// How large the trees are that show that nothing recurses.
#pragma once

#include "sanitizers.hpp"

namespace trees {

// Of levels or members. Under AddressSanitizer a node takes several times the memory and the time,
// and a frame several times the stack: what recursed would end the process with fewer levels, too.
// That the time grows with the tree, the other builds show.
inline constexpr int k_large = PKG_DBE_XML_ADDRESS_SANITIZER != 0 ? 200000 : 1000000;

} // namespace trees
