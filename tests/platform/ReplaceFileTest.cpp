// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/Platform.hpp"
#include "tests/support/FailingAllocations.hpp"
#include "tests/support/Files.hpp"

#include <gtest/gtest.h>

#include <filesystem>

namespace {

using namespace Ostrel;

std::ptrdiff_t entries(std::string const &directory) {
  return std::distance(std::filesystem::directory_iterator(directory), {});
}

TEST(ReplaceFile, WithoutMemoryNothingChanges) {
  TemporaryDirectory const directory;
  std::string const path = directory.path("file");
  for (char const *old : {"", "old text"}) { // "" stands for no file
    unsigned long result = RESULT_OUT_OF_MEMORY;
    for (int count = 0; result == RESULT_OUT_OF_MEMORY; ++count) {
      EXPECT_EQ(read_file(path), old);
      EXPECT_EQ(entries(directory.path()), *old == '\0' ? 0 : 1);
      fail_allocation(count);
      result = Platform::replace_file(path.c_str(), "old text", 8);
      stop_failing();
    }
    EXPECT_EQ(result, RESULT_SUCCESS);
  }
}

} // namespace
