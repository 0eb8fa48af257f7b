// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/Platform.hpp"
#include "tests/support/Child.hpp"
#include "tests/support/Files.hpp"

#include <gtest/gtest.h>

#include <iostream>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using Ostrel::Platform;

TEST(Path, FormsOfPaths) {
  struct {
    char const *path;
    bool is_absolute;
    char const *native;
  } const cases[] = {
      {"/x", true, "/x"},
      {"\\x", true, "/x"},
      {"C:/x", true, "/x"},
      {"c:\\x\\y", true, "/x/y"},
      {"./x", true, "./x"},
      {".\\x", true, "./x"},
      {"C:\\", true, "/"},
      {"C:", false, "C:"},
      {"C:x", false, "C:x"},
      {"1:/x", false, "1:/x"},
      {"..\\x", false, "../x"},
      {"x", false, "x"},
      {"", false, ""},
      {".", false, "."},
      {nullptr, false, ""},
      {"\xE9:/x", false, "\xE9:/x"},
      {"a/c:\\x", false, "a/c:/x"},
  };
  for (auto const &c : cases) {
    SCOPED_TRACE(c.path == nullptr ? "null" : c.path);
    EXPECT_EQ(Platform::is_absolute_path(c.path), c.is_absolute);
    EXPECT_EQ(Platform::native_path(c.path), c.native);
  }
  std::string const beyond_the_system = std::string(100000, 'x') + "\\y";
  EXPECT_EQ(Platform::native_path(beyond_the_system.c_str()), std::string(100000, 'x') + "/y");
}

TEST(Path, OnlyRelativePathsBecomeAbsolute) {
  std::string current;
  ASSERT_EQ(Platform::get_current_directory(&current), Ostrel::RESULT_SUCCESS);
  EXPECT_EQ(Platform::get_current_directory(nullptr), Ostrel::RESULT_INVALID_ARGUMENT);
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

// Goes down into directories until the path is as long as asked, and prints what the library reads.
Role const deep_directory("deep-directory", [](Role::Arguments const &arguments) {
  std::string path = arguments[0];
  std::size_t const length = std::stoul(arguments[1]);
  if (chdir(path.c_str()) != 0) {
    return 1;
  }
  while (path.size() < length) {
    std::string const name(std::min<std::size_t>(200, length - path.size() - 1), 'd');
    if (mkdir(name.c_str(), 0700) != 0 || chdir(name.c_str()) != 0) {
      return 1;
    }
    path += "/" + name;
  }
  std::string current, absolute = "stale";
  bool const is_short = Platform::make_absolute_path("a", &absolute);
  std::cout << (Platform::get_current_directory(&current) == 0 && current == path) << is_short
            << (absolute == (is_short ? path + "\\a" : "stale"));
  rmdir(current.c_str());
  std::string gone = "stale";
  std::cout << Platform::get_current_directory(&gone) << gone;
  return 0;
});

TEST(Path, CurrentDirectoryOfAnyLength) {
  struct {
    char const *length, *out;
  } const cases[] = {
      {"250", "11117stale"}, {"259", "11117stale"}, {"260", "10117stale"}, {"3000", "10117stale"}};
  for (auto const &c : cases) {
    SCOPED_TRACE(c.length);
    TemporaryDirectory const directory;
    EXPECT_EQ(run_child("deep-directory", {directory.path(), c.length}).out, c.out);
  }
}

} // namespace
