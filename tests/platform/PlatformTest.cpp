// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/Platform.hpp"
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/winapi/winapi.hpp"

#include <gtest/gtest.h>

namespace {

using namespace Ostrel;

TEST(Environment, ChangesByEachCall) {
  struct {
    char const *name, *value; // for SetEnvironmentVariableA; null name: _putenv(value)
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
    std::string now = "(stale)";
    EXPECT_EQ(Platform::get_environment_variable("A", &now) ? now : "(none)", s.then);
  }
  EXPECT_EQ(SetEnvironmentVariableA(nullptr, "1"), FALSE);
  EXPECT_FALSE(Platform::get_environment_variable(nullptr, nullptr));
  EXPECT_TRUE(Platform::get_environment_variable("AB", nullptr));
}

TEST(Clock, ReadingsAgreeAndASleepIsLongEnough) {
  double const before_us = Platform::get_microsecond_time();
  auto const before_ms = std::uint32_t(Platform::get_millisecond_time());
  double const before = Platform::get_timestamp();
  Platform::millisecond_sleep(20);
  double const elapsed_s = Platform::get_timestamp() - before;
  auto const elapsed_ms = std::uint32_t(Platform::get_millisecond_time()) - before_ms;
  double const elapsed_us = Platform::get_microsecond_time() - before_us;
  EXPECT_GE(elapsed_s, 0.0199);
  EXPECT_GE(elapsed_ms + 1, elapsed_s * 1e3 - 1);
  EXPECT_GE(elapsed_us + 1, elapsed_ms * 1e3 - 1e3);
  EXPECT_LE(Platform::get_millisecond_time(), 0xFFFFFFFFUL);
}

TEST(Process, DoesNotStartOrKillProcesses) {
  int process = 7;
  EXPECT_EQ(Platform::kill(0), RESULT_FAILURE);
  EXPECT_EQ(Platform::spawn("true", &process), RESULT_FAILURE);
  EXPECT_EQ(process, 7);
}

TEST(Process, StandardErrorReceivesBytes) {
  testing::internal::CaptureStderr();
  Platform::write_standard_error("a\0b", 3);
  Platform::write_standard_error(nullptr, 3);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), std::string("a\0b", 3));
}

} // namespace
