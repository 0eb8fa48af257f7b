// SPDX-License-Identifier: Apache-2.0
// Paths beyond what Windows takes.
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/Platform.hpp"
#include "tests/support/Files.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

namespace {

using namespace Ostrel;

TEST(Path, CurrentDirectoryOfAnyLength) {
  auto const before = std::filesystem::current_path();
  for (std::size_t const length : {250U, 259U, 260U, 3000U}) {
    SCOPED_TRACE(length);
    TemporaryDirectory const directory;
    std::string path = directory.path();
    while (path.size() < length) {
      path += "/" + std::string(std::min<std::size_t>(200, length - path.size() - 1), 'd');
    }
    std::filesystem::create_directories(path);
    std::filesystem::current_path(path);
    std::string current, absolute = "stale";
    EXPECT_EQ(Platform::get_current_directory(&current), RESULT_SUCCESS);
    EXPECT_EQ(current, path);
    bool const is_short = length < 260; // MAX_PATH, the end of the text included
    EXPECT_EQ(Platform::make_absolute_path("a", &absolute), is_short);
    EXPECT_EQ(absolute, is_short ? path + "\\a" : "stale");
    std::filesystem::remove(path);
    EXPECT_EQ(Platform::get_current_directory(&current), RESULT_IO_ERROR);
    EXPECT_EQ(current, path);
  }
  std::filesystem::current_path(before);
}

} // namespace
