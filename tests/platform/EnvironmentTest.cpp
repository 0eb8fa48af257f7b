// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/Platform.hpp"
#include "core/base/platform/winapi/winapi.hpp"

#include <gtest/gtest.h>

#include <string>

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
  } const steps[] = {{"A", "1", true, "1"},           {"A", "", true, ""},
                     {nullptr, "A=2=3", true, "2=3"}, {nullptr, "A=", true, "(none)"},
                     {nullptr, "A=", true, "(none)"}, {"AB", "x", true, "(none)"},
                     {"A", "4", true, "4"},           {nullptr, "A", false, "4"},
                     {nullptr, "=A", false, "4"},     {nullptr, nullptr, false, "4"},
                     {"A=", "5", false, "4"},         {"", "5", false, "4"},
                     {"A", nullptr, true, "(none)"}};
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
