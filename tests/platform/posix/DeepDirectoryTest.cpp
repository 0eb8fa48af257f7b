// SPDX-License-Identifier: Apache-2.0
// Paths beyond what Windows takes.
#include "core/base/platform/Platform.hpp"
#include "tests/support/Child.hpp"
#include "tests/support/Files.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <iostream>

#include <unistd.h>

namespace {

using namespace Ostrel;

// Goes down into directories until the path is as long as asked, and prints what the library reads.
Role const deep_directory("deep-directory", [](Role::Arguments const &arguments) {
  std::string path = arguments[0];
  std::size_t const length = std::stoul(arguments[1]);
  std::filesystem::current_path(path);
  while (path.size() < length) {
    std::string const name(std::min<std::size_t>(200, length - path.size() - 1), 'd');
    std::filesystem::create_directory(name);
    std::filesystem::current_path(name);
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
    TemporaryDirectory const directory;
    EXPECT_EQ(run_child("deep-directory", {directory.path(), c.length}).out, c.out) << c.length;
  }
}

} // namespace
