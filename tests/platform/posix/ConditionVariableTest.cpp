// SPDX-License-Identifier: Apache-2.0
#include "tests/support/posix/ConditionRound.hpp"

#include <gtest/gtest.h>

#include <vector>

TEST(ConditionVariable, LosesAndInventsNoWakeUp) {
  for (unsigned int seed = 0; seed < 40; ++seed) {
    SCOPED_TRACE(seed);
    EXPECT_EQ(play_condition_round(seed).faults, std::vector<char const *>());
  }
}
