// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/Platform.hpp"
#include "tests/support/Child.hpp"
#include "tests/support/Files.hpp"
#include "tests/support/System.hpp"

#include <gtest/gtest.h>

#include <iostream>

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

Role const make_directories("mkdir", [](Role::Arguments const &paths) {
  for (std::string const &path : paths) {
    std::cout << Platform::mkdir(path.c_str(), 0) << ' ';
  }
  std::cout << Platform::mkdir(nullptr, 0);
  return 0;
});

TEST(File, DirectoriesAreMadeOneByOne) {
  TemporaryDirectory const directory;
  std::string const made = directory.path() + "\\a", below = made + "\\b\\c";
  ChildResult const child = run_child("mkdir", {made, made, below, made + "/b", below});
  EXPECT_EQ(child.out, "0 17 17 0 0 17");
  std::string const failure = "INFO  - Failed to mkdir('";
  EXPECT_EQ(child.err, failure + made + "')\n" + failure + below + "')\n" + failure + "')\n");
  EXPECT_EQ(Platform::directory_exists(directory.path("a/b/c").c_str()), RESULT_SUCCESS);
}

} // namespace
