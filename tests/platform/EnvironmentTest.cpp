// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/Platform.hpp"
#include "core/base/platform/winapi/winapi.hpp"
#include "tests/support/Child.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <set>
#include <string>
#include <thread>

#include <unistd.h>

using Ostrel::Platform;

namespace {

std::string read_variable(char const *name) {
  std::string value = "(stale)";
  return Platform::get_environment_variable(name, &value) ? value : "(none)";
}

} // namespace

TEST(Environment, ChangesAsTold) {
  struct {
    char const *name, *value; // as SetEnvironmentVariableA takes them; a null name: _putenv(value)
    bool succeeds;
    char const *then; // the value of A afterwards
  } const steps[] = {
      {"A", "1", true, "1"},           {"A", "", true, ""},
      {nullptr, "A=2=3", true, "2=3"}, {nullptr, "A=", true, "(none)"},
      {nullptr, "A=", true, "(none)"}, {"AB", "x", true, "(none)"},
      {"A", "4", true, "4"},           {nullptr, "A", false, "4"},
      {nullptr, "=A", false, "4"},     {nullptr, nullptr, false, "4"},
      {"A=", "5", false, "4"},         {"", "5", false, "4"},
      {"A", nullptr, true, "(none)"},
  };
  for (auto const &s : steps) {
    SCOPED_TRACE(std::string(s.name == nullptr ? "_putenv" : s.name) + " " +
                 (s.value == nullptr ? "null" : s.value));
    if (s.name == nullptr) {
      EXPECT_EQ(_putenv(s.value), s.succeeds ? 0 : -1);
    } else {
      EXPECT_EQ(SetEnvironmentVariableA(s.name, s.value), s.succeeds ? TRUE : FALSE);
    }
    EXPECT_EQ(read_variable("A"), s.then);
  }
  EXPECT_EQ(SetEnvironmentVariableA(nullptr, "1"), FALSE);
  EXPECT_FALSE(Platform::get_environment_variable(nullptr, nullptr));
  EXPECT_TRUE(Platform::get_environment_variable("AB", nullptr));
}

TEST(Environment, GoesOnFromWhatOthersMadeOfIt) {
  static char only[] = "ONLY=1";
  static char *theirs[] = {only, nullptr};
  char **const before = environ;
  environ = theirs;
  _putenv("ONLY="); // the last variable
  EXPECT_EQ(environ[0], nullptr);
  clearenv();
  for (int i = 0; i < 200; ++i) {
    SetEnvironmentVariableA(("V" + std::to_string(i)).c_str(), "x");
  }
  setenv("OTHER", "1", 1);
  for (int i = 0; i < 200; i += 2) {
    SetEnvironmentVariableA(("V" + std::to_string(i)).c_str(), nullptr);
  }
  for (int i = 0; i < 50; ++i) {
    SetEnvironmentVariableA(("W" + std::to_string(i)).c_str(), "x");
  }
  std::set<std::string> found;
  for (char **entry = environ; *entry != nullptr; ++entry) {
    found.insert(*entry);
  }
  EXPECT_EQ(found.size(), 100U + 1U + 50U);
  EXPECT_EQ(found.count("V1=x") + found.count("V199=x") + found.count("W49=x"), 3U);
  EXPECT_EQ(found.count("V0=x"), 0U);
  environ = before;
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
  SetEnvironmentVariableA("CHANGING", "0000");
  std::atomic<bool> is_done{false};
  std::atomic<int> wrong{0};
  auto const read = [&] {
    while (!is_done) {
      if (std::getenv("STEADY") == nullptr || read_variable("STEADY") != "here" ||
          read_variable("CHANGING").size() != 4) {
        ++wrong;
      }
    }
  };
  std::thread first(read), second(read);
  for (int i = 0; i < 3000; ++i) {
    std::string const number = std::to_string(i % 100);
    SetEnvironmentVariableA("CHANGING",
                            ("00" + std::string(2 - number.size(), '0') + number).c_str());
    SetEnvironmentVariableA(("NEW" + number).c_str(), "x");
    SetEnvironmentVariableA(("NEW" + std::to_string((i + 50) % 100)).c_str(), nullptr);
  }
  is_done = true;
  first.join();
  second.join();
  EXPECT_EQ(wrong, 0);
}
