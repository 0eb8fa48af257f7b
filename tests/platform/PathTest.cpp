// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/Platform.hpp"
#include "tests/support/System.hpp"

#include <gtest/gtest.h>

namespace {

using namespace Ostrel;

TEST(Path, FormsOfPaths) {
  struct {
    char const *path, *native;
    bool is_absolute;
  } const cases[] = {{"\xE9:/x", "\xE9:/x", false}, {".\\x", "./x", true}, {"\\x", "/x", true},
                     {"a/c:\\x", "a/c:/x", false},  {"C:/x", "/x", true},  {"/x", "/x", true},
                     {"c:\\x\\y", "/x/y", true},    {"./x", "./x", true},  {"x", "x", false},
                     {"..\\x", "../x", false},      {nullptr, "", false},  {".", ".", false},
                     {"1:/x", "1:/x", false},       {"C:", "C:", false},   {"", "", false},
                     {"C:x", "C:x", false},         {"C:\\", "/", true}};
  for (auto const &c : cases) {
    SCOPED_TRACE(c.path == nullptr ? "null" : c.path);
    EXPECT_EQ(Platform::is_absolute_path(c.path), c.is_absolute);
    EXPECT_EQ(Platform::native_path(c.path), ON_WINDOWS && c.path != nullptr ? c.path : c.native);
  }
  EXPECT_STREQ(Platform::get_line_delimiter(), "\r\n");
  std::string const beyond_the_system(100000, 'x');
  EXPECT_EQ(Platform::native_path(beyond_the_system.c_str()), beyond_the_system);
}

TEST(Path, OnlyRelativePathsBecomeAbsolute) {
  std::string current;
  ASSERT_EQ(Platform::get_current_directory(&current), RESULT_SUCCESS);
  EXPECT_EQ(Platform::get_current_directory(nullptr), RESULT_INVALID_ARGUMENT);
  struct {
    char const *path;
    bool result;
    std::string out;
  } const cases[] = {
      {"a", true, current + "\\a"}, {"../a/", true, current + "\\../a/"},
      {"./a", true, "./a"},         {"", false, "stale"},
      {nullptr, false, "stale"},
  };
  for (auto const &c : cases) {
    std::string out = "stale";
    EXPECT_EQ(Platform::make_absolute_path(c.path, &out), c.result);
    EXPECT_EQ(out, c.out);
  }
  EXPECT_FALSE(Platform::make_absolute_path("a", nullptr));
}

} // namespace
