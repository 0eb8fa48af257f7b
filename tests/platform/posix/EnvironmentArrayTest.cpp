// SPDX-License-Identifier: Apache-2.0
// What the C library's array of entries is after a change.
#include "core/base/platform/winapi/winapi.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

// What a program that is started now gets, in alphabetical order. An entry that is no variable
// stands where one has been removed.
std::string inherited() {
  std::multiset<std::string> variables;
  for (char **entry = environ; *entry != nullptr; ++entry) {
    if (std::strchr(*entry, '=') != nullptr) {
      variables.insert(*entry);
    }
  }
  std::string all;
  for (std::string const &variable : variables) {
    EXPECT_STREQ(std::getenv(variable.substr(0, 1).c_str()), variable.c_str() + 2);
    all += (all.empty() ? "" : " ") + variable;
  }
  return all;
}

} // namespace

TEST(Environment, GoesOnFromWhatOthersMadeOfIt) {
  static char twice[] = "TWICE=1", only[] = "ONLY=1", theirs_of_l[] = "L=put";
  static char *theirs[] = {twice, twice, only, nullptr};
  // The entries, since `setenv` gives the array back that it had made itself.
  static auto &before = *new std::vector<char *>; // read until the very end of the program
  for (char **entry = environ; before.empty() || before.back() != nullptr; ++entry) {
    before.push_back(*entry);
  }
  environ = theirs;
  EXPECT_EQ(_putenv("ONLY=") + _putenv("TWICE="), 0);
  struct {
    int (*change)();
    char const *then; // what a child gets
  } const steps[] = {
      {[] { return clearenv() + setenv("A", "1", 1) + setenv("B", "1", 1) + setenv("L", "1", 1); },
       "A=1 B=1 L=1"},
      {[] { return _putenv("B="); }, "A=1 L=1"},
      {[] { return setenv("L", "2", 1); }, "A=1 L=2"},
      {[] { return _putenv("A="); }, "L=2"},
      {[] { return putenv(theirs_of_l) + _putenv("C=1"); }, "C=1 L=put"},
      {[] { return _putenv("C=") + setenv("H", "1", 1) + _putenv("D=1"); }, "D=1 H=1 L=put"},
      {[] { return unsetenv("L") + _putenv("H="); }, "D=1"},
      {[] { return _putenv("D="); }, ""}};
  for (auto const &s : steps) {
    SCOPED_TRACE(s.then);
    EXPECT_EQ(s.change(), 0);
    EXPECT_EQ(inherited(), s.then);
  }
  for (int i = 0; i < 200; ++i) {
    SetEnvironmentVariableA(("V" + std::to_string(i)).c_str(), "x");
  }
  EXPECT_STREQ(std::getenv("V0"), "x");
  EXPECT_STREQ(std::getenv("V199"), "x");
  environ = before.data();
}

TEST(Environment, KeepsNoMoreThanTheDistinctValues) {
  SetEnvironmentVariableA("KEPT", "a");
  char const *const first = std::getenv("KEPT");
  char **const array = environ;
  for (int i = 0; i < 1000; ++i) {
    SetEnvironmentVariableA("KEPT", "b");
    SetEnvironmentVariableA("KEPT", nullptr);
    SetEnvironmentVariableA("KEPT", "a");
  }
  EXPECT_EQ(std::getenv("KEPT"), first);
  EXPECT_EQ(environ, array);
}
