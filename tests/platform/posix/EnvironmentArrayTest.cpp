// SPDX-License-Identifier: Apache-2.0
// What the C library's array of entries is after a change.
#include "core/base/platform/Platform.hpp"
#include "core/base/platform/winapi/winapi.hpp"
#include "tests/support/Threads.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

using Ostrel::Platform;

namespace {

std::string read_variable(char const *name) {
  std::string value = "(stale)";
  return Platform::get_environment_variable(name, &value) ? value : "(none)";
}

// What a program that is started now gets, in alphabetical order, without what the shell between
// sets for itself.
std::string inherited() {
  std::FILE *const child = popen("exec /usr/bin/env", "r");
  std::multiset<std::string> variables;
  char line[100];
  while (std::fgets(line, sizeof line, child) != nullptr) {
    std::string const text(line, std::strcspn(line, "\n"));
    if (text.find('=') == 1 && text[0] != '_') {
      variables.insert(text);
    }
  }
  EXPECT_EQ(pclose(child), 0);
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
    std::function<int()> change;
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
  EXPECT_TRUE(read_variable("V0") == "x" && read_variable("V199") == "x");
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

TEST(Environment, ReadersSeeTheOldValueOrTheNewOne) {
  SetEnvironmentVariableA("STEADY", "here");
  SetEnvironmentVariableA("CHANGING", "1000");
  std::atomic<bool> is_done{false};
  std::atomic<int> wrong{0};
  std::thread writer([&] {
    for (int i = 0; i < 3000; ++i) {
      std::string const number = std::to_string(1000 + i % 100);
      SetEnvironmentVariableA("CHANGING", number.c_str());
      SetEnvironmentVariableA(("NEW" + number).c_str(), "x");
      SetEnvironmentVariableA(("NEW" + std::to_string(1000 + (i + 50) % 100)).c_str(), nullptr);
    }
    is_done = true;
  });
  in_threads(2, [&](int) {
    while (!is_done) {
      bool const is_steady = std::getenv("STEADY") != nullptr && read_variable("STEADY") == "here";
      wrong += is_steady && read_variable("CHANGING").size() == 4 ? 0 : 1;
    }
  });
  writer.join();
  EXPECT_EQ(wrong, 0);
}
