// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/EnvironmentSetup.hpp"
#include "tests/support/Files.hpp"
#include "tests/support/System.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

namespace {

using namespace Ostrel;

std::string shown(char const *text) {
  return text == nullptr ? "-" : text;
}

// Prints the environment, the program path and the number of its owners.
struct State : EnvironmentSetup {
  static std::string show() {
    return shown(getenv("OSTREL_CONFIG_PATH")) + " " + shown(getenv("OSTREL_LIBRARY_PATH")) + " " +
           shown(_argv0) + std::to_string(_argv0_ref_count);
  }
};

// The appended directory.
std::string const TREE =
    ";" + std::string(__FILE__).substr(0, std::string(__FILE__).rfind("/tests/")) + "/config";

TEST(EnvironmentSetup, AppendsTheConfigDirectoryInTheSourceTree) {
  TemporaryDirectory const directory;
  std::string const &outside = directory.path(), inside = directory.path("ostrel-core");
  std::filesystem::create_directory(inside);
  struct {
    std::string directory, program;
    char const *before;
    std::string then, at_last; // after the second `init`
  } const cases[] = {{outside, "ostrel-core/t", "V", "V" + TREE, "V" + TREE + TREE},
                     {outside, "ostrel-core2", nullptr, TREE, TREE + TREE},
                     {outside, "Ostrel-Core", "V", "V", "V"},
                     {outside, "t", "", "-", "-"},
                     {outside, "", nullptr, "-", "-"},
                     {inside, "t", "V", "V" + TREE, "V" + TREE + TREE},
                     {inside, "", "", TREE, TREE + TREE}};
  auto const before = std::filesystem::current_path();
  for (auto const &c : cases) {
    SCOPED_TRACE(c.directory + " " + c.program);
    std::filesystem::current_path(c.directory);
    set_variable("OSTREL_CONFIG_PATH", c.before);
    set_variable("OSTREL_LIBRARY_PATH", "L");
    std::string name = c.program, other = "other";
    char *argv[] = {name.empty() ? nullptr : name.data()}, *others[] = {other.data()};
    {
      EnvironmentSetup second;
      {
        EnvironmentSetup const first(1, argv);
        std::string const rest = " L " + (name.empty() ? "-0" : name + "1");
        EXPECT_EQ(State::show(), c.then + rest);
        second.init(0, name.empty() ? nullptr : others);
        EXPECT_EQ(State::show(), c.at_last + rest);
      }
      EXPECT_EQ(State::show(), "- - -0");
      second.init(0, others);
      EXPECT_EQ(State::show(), (c.directory == inside ? TREE : "-") + " - other1");
    }
    EXPECT_EQ(State::show(), "- - -0");
  }
  std::filesystem::current_path(before);
}

TEST(EnvironmentSetup, PathsBelowSrcdir) {
  struct {
    char const *directory, *path, *result;
  } const cases[] = {{nullptr, "x", "x"},  {nullptr, nullptr, "-"}, {"S", "data/x", "S\\data/x"},
                     {"S", "/x", "S\\/x"}, {"S", "", "S\\"},        {"S", "\\x", "\\x"},
                     {"", "x", "\\x"}};
  for (auto const &c : cases) {
    SCOPED_TRACE(shown(c.directory) + " " + shown(c.path));
    set_variable("srcdir", c.directory);
    std::unique_ptr<char[]> const path(EnvironmentSetup::make_srcdir_path(c.path));
    EXPECT_EQ(shown(path.get()), c.result);
  }
}

} // namespace
