// What must hold for a session at any moment between two calls: handles name live nodes, chains
// and tables agree, trees are trees, lists have live members, nothing is kept twice.
#pragma once

#include <gtest/gtest.h>

#include <string>

namespace sql {

// While one lives, the nodes that libxml2 makes and frees in this thread are watched, so that
// broken_invariants knows which are alive without looking at them. To be made before the first
// call of a session, and destroyed after its end. One per thread.
class node_watch {
  public:
    node_watch();
    ~node_watch();
    node_watch(const node_watch &) = delete;
    node_watch &operator=(const node_watch &) = delete;
};

// Goes through the whole registry of the session and all its trees. Returns what is wrong, a line
// for each, "" when nothing is. Changes nothing.
[[nodiscard]] std::string broken_invariants();

// The same for EXPECT_TRUE.
[[nodiscard]] ::testing::AssertionResult check_invariants();

} // namespace sql
