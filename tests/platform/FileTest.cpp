// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/Platform.hpp"
#include "tests/support/Child.hpp"
#include "tests/support/Files.hpp"

#include <gtest/gtest.h>

#include <iostream>

#include <sys/stat.h>

namespace {

using Ostrel::Platform;

TEST(File, WhatExists) {
  TemporaryDirectory const directory;
  write_file(directory.path("sub/file"), "x");
  ASSERT_EQ(mkfifo(directory.path("pipe").c_str(), 0600), 0);
  struct {
    std::string path;
    unsigned long file, is_directory;
  } const cases[] = {
      {directory.path("sub"), Ostrel::RESULT_FAILURE, Ostrel::RESULT_SUCCESS},
      {directory.path("sub/file"), Ostrel::RESULT_SUCCESS, Ostrel::RESULT_FAILURE},
      {directory.path() + "\\sub\\file", Ostrel::RESULT_SUCCESS, Ostrel::RESULT_FAILURE},
      {"Z:" + directory.path("sub\\"), Ostrel::RESULT_FAILURE, Ostrel::RESULT_SUCCESS},
      {directory.path("pipe"), Ostrel::RESULT_SUCCESS, Ostrel::RESULT_FAILURE}, // without waiting
      {directory.path("sub/file/"), Ostrel::RESULT_FAILURE, Ostrel::RESULT_FAILURE},
      {directory.path("none"), Ostrel::RESULT_FAILURE, Ostrel::RESULT_FAILURE},
      {std::string(5000, 'x'), Ostrel::RESULT_FAILURE, Ostrel::RESULT_FAILURE},
      {"", Ostrel::RESULT_FAILURE, Ostrel::RESULT_FAILURE},
  };
  for (auto const &c : cases) {
    SCOPED_TRACE(c.path);
    EXPECT_EQ(Platform::file_exists(c.path.c_str()), c.file);
    EXPECT_EQ(Platform::directory_exists(c.path.c_str()), c.is_directory);
  }
  EXPECT_EQ(Platform::file_exists(nullptr), Ostrel::RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(Platform::directory_exists(nullptr), Ostrel::RESULT_INVALID_ARGUMENT);
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
  EXPECT_EQ(Platform::directory_exists(directory.path("a/b/c").c_str()), Ostrel::RESULT_SUCCESS);
}

} // namespace
