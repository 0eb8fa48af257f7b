// SPDX-License-Identifier: Apache-2.0
#include "tests/support/Child.hpp"

#include <gtest/gtest.h>

#include <cstring>

int main(int argc, char **argv) {
  if (argc > 2 && std::strcmp(argv[1], "--role") == 0) {
    int const status = Role::play(argv[2], Role::Arguments(argv + 3, argv + argc));
    return status == 0 && testing::Test::HasFailure() ? 1 : status;
  }
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
