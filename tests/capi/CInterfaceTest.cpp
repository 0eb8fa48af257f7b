// SPDX-License-Identifier: Apache-2.0
#include "core/base/capi/ovra.h"
#include "core/base/foundation/ResultCode.hpp"
#include "tests/support/CapturedLog.hpp"
#include "tests/support/FailingAllocations.hpp"

#include <gtest/gtest.h>

#include <functional>

extern "C" {
#include "tests/capi/check.h"
}

namespace {

using namespace Ostrel;
using Lines = std::vector<std::string>;

TEST(CInterface, ValuesPassBothWays) {
  EXPECT_STREQ(check_values(), nullptr);
}

TEST(CInterface, MessagesReachTheCategoryUnchanged) {
  CapturedLog log("Test.In.C");
  EXPECT_STREQ(check_log("Test.In.C"), nullptr);
  EXPECT_EQ(log.take(), (Lines{"WARN  - x=5 [a.c:12]", "DEBUG - 100%d [:-1]", "INFO  - i1%s",
                               "INFO  - io2", "WARN  - 002.5 %"}));
  EXPECT_TRUE(ovra_log__warn_no_debug("Test.In.C", "%s", std::string(5000, 'x').c_str()));
  EXPECT_EQ(log.take(), Lines{"WARN  - " + std::string(3999, 'x')});
}

TEST(CInterface, ARootWithoutPriorityIsReportedOnce) {
  LoggingCategory::set_root_priority(LoggingPriority::NOT_SET);
  testing::internal::CaptureStderr();
  EXPECT_TRUE(ovra_log__warn_no_debug("Test.Heir", "w"));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "NOT SET - <ROOT CATEGORY NOT SET>\nWARN  - w\n");
  LoggingCategory::set_root_priority(LoggingPriority::INFO);
}

TEST(CInterface, LackOfMemoryIsToldAndKeptIn) {
  constexpr char LONG[] = "a name that needs memory of its own";
  double value = 0;
  std::function<unsigned long()> const operations[] = {
      [&] { return ovra_units__set_default(0, LONG); },
      [&] { return ovra_units__convert_to_default(0, LONG, 1, &value); },
      [&] { return ovra_units__convert_from_default(0, LONG, 1, &value); },
      [&] { return ovra_units__convert(0, "m", 1, LONG, &value); }};
  for (auto const &operation : operations) {
    fail_allocation(0);
    EXPECT_EQ(operation(), RESULT_OUT_OF_MEMORY) << &operation - operations;
    stop_failing();
    EXPECT_EQ(value, 0);
  }
}

} // namespace
