// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/Platform.hpp"
#include "tests/support/CapturedLog.hpp"
#include "tests/support/Files.hpp"
#include "tests/support/System.hpp"

#include <gtest/gtest.h>

namespace {

using namespace Ostrel;

// On Windows the path of a test begins with one, and what ends in a separator has no status.
constexpr char const *DRIVE = ON_WINDOWS ? "" : "Z:";

TEST(File, WhatExists) {
  TemporaryDirectory const directory;
  write_file(directory.path("sub/file"), "x");
  struct {
    std::string path;
    bool is_file, is_directory;
  } const cases[] = {{directory.path() + "\\sub\\file", true, false},
                     {std::string(5000, 'x'), false, false},
                     {DRIVE + directory.path("sub\\"), false, !ON_WINDOWS},
                     {directory.path("sub/file/"), false, false},
                     {directory.path("sub"), false, true},
                     {directory.path("sub/file"), true, false},
                     {std::string(), false, false},
                     {directory.path("none"), false, false}};
  for (auto const &c : cases) {
    SCOPED_TRACE(c.path);
    EXPECT_EQ(Platform::file_exists(c.path.c_str()), c.is_file ? RESULT_SUCCESS : RESULT_FAILURE);
    EXPECT_EQ(Platform::directory_exists(c.path.c_str()),
              c.is_directory ? RESULT_SUCCESS : RESULT_FAILURE);
  }
  EXPECT_EQ(Platform::file_exists(nullptr), RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(Platform::directory_exists(nullptr), RESULT_INVALID_ARGUMENT);
}

TEST(File, DirectoriesAreMadeOneByOne) {
  TemporaryDirectory const directory;
  std::string const made = directory.path() + "\\a", below = made + "\\b\\c";
  CapturedLog log("Ostrel.Core.Base.Win32Platform");
  EXPECT_EQ(Platform::mkdir(made.c_str(), 0), RESULT_SUCCESS);
  for (char const *path : {made.c_str(), below.c_str(), static_cast<char const *>(nullptr)}) {
    EXPECT_EQ(Platform::mkdir(path, 0), RESULT_IO_ERROR);
    std::string const name = path == nullptr ? "" : path;
    EXPECT_EQ(log.take(), std::vector<std::string>{"INFO  - Failed to mkdir('" + name + "')"});
  }
  EXPECT_EQ(Platform::mkdir((made + "/b").c_str(), 0), RESULT_SUCCESS);
  EXPECT_EQ(Platform::mkdir(below.c_str(), 0), RESULT_SUCCESS);
  EXPECT_EQ(Platform::directory_exists(directory.path("a/b/c").c_str()), RESULT_SUCCESS);
}

} // namespace
