// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/Platform.hpp"
#include "tests/support/Files.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace {

using namespace Ostrel;

unsigned long replace(std::string const &path, std::string const &text) {
  return Platform::replace_file(path.c_str(), text.data(), text.size());
}

TEST(ReplaceFile, ReplacesTheWholeContents) {
  TemporaryDirectory const directory;
  struct {
    char const *name, *text;
    unsigned long result;
  } const steps[] = {
      {"file", "new", RESULT_SUCCESS},     {"file", "longer than before", RESULT_SUCCESS},
      {"file", "short", RESULT_SUCCESS},   {"file", "", RESULT_SUCCESS},
      {"other", "other", RESULT_SUCCESS},  {"", "x", RESULT_IO_ERROR},
      {"none/file", "x", RESULT_IO_ERROR}, {"file/none", "x", RESULT_IO_ERROR}};
  for (auto const &s : steps) {
    SCOPED_TRACE(s.name + std::string(" ") + s.text);
    std::string const path = directory.path(s.name);
    EXPECT_EQ(replace(path, s.text), s.result);
    EXPECT_EQ(read_file(path), s.result == RESULT_SUCCESS ? s.text : "");
  }
  EXPECT_EQ(count_entries(directory.path()), 2);
  EXPECT_EQ(Platform::replace_file(nullptr, "x", 1), RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(Platform::replace_file("x", nullptr, 1), RESULT_INVALID_ARGUMENT);
}

TEST(ReplaceFile, KeepsItsOtherNamesAndItsReaders) {
  TemporaryDirectory const directory;
  std::string const path = directory.path("file"), other = directory.path("other");
  write_file(path, "old");
  std::filesystem::create_hard_link(path, other);
  for (char const *text : {"a longer text", "short", ""}) {
    EXPECT_EQ(replace(path, text), RESULT_SUCCESS);
    EXPECT_EQ(read_file(other), text);
  }
  std::filesystem::remove(other);
  std::ifstream const reader(path); // on Windows it prevents a rename
  EXPECT_EQ(replace(path, "read"), RESULT_SUCCESS);
  EXPECT_EQ(read_file(path), "read");
}

} // namespace
