// SPDX-License-Identifier: Apache-2.0
#include "core/base/capi/ovra.h"
#include "core/base/foundation/Array.hpp"
#include "core/base/foundation/ResultCode.hpp"
#include "tests/support/CapturedLog.hpp"

#include <gtest/gtest.h>

#include <numeric>
#include <vector>

extern "C" {
#include "tests/capi/check.h"
}

namespace {

using namespace Ostrel;
using Lines = std::vector<std::string>;

TEST(CInterface, EnumeratorsMatchTheClasses) {
  auto const numbers = [](auto... values) { return std::vector<int>{static_cast<int>(values)...}; };
  std::vector<int> codes(28);
  std::iota(codes.begin(), codes.end(), 0);
  EXPECT_EQ(
      codes,
      numbers(OVRA_RESULT_SUCCESS, OVRA_RESULT_FAILURE, OVRA_RESULT_INTERNAL_ERROR,
              OVRA_RESULT_PRECONDITION_ERROR, OVRA_RESULT_INVALID_ARGUMENT,
              OVRA_RESULT_INVALID_STATE, OVRA_RESULT_OUT_OF_MEMORY, OVRA_RESULT_SYSTEM_ERROR,
              OVRA_RESULT_UNKNOWN_ERROR, OVRA_RESULT_NOT_IMPLEMENTED, OVRA_RESULT_NOT_FOUND,
              OVRA_RESULT_ALREADY_EXISTS, OVRA_RESULT_NOT_EMPTY, OVRA_RESULT_OUT_OF_BOUND,
              OVRA_RESULT_INVALID_CONFIGURATION, OVRA_RESULT_NOT_ACTIVE,
              OVRA_RESULT_BUFFER_TOO_SMALL, OVRA_RESULT_IO_ERROR, OVRA_RESULT_INSUFFICIENT_ACCESS,
              OVRA_RESULT_BUSY, OVRA_RESULT_ACQUISITION_ERROR, OVRA_RESULT_NETWORK_ERROR,
              OVRA_RESULT_CORBA_ERROR, OVRA_RESULT_CRC_FAILURE, OVRA_RESULT_INVALID_TYPE,
              OVRA_RESULT_TIMEOUT, OVRA_RESULT_FILE_NOT_OPEN, OVRA_RESULT_UNSUPPORTED_FORMAT));
  EXPECT_EQ(numbers(OVRA_PRIORITY_DISABLED, OVRA_PRIORITY_FATAL, OVRA_PRIORITY_ERROR,
                    OVRA_PRIORITY_WARN, OVRA_PRIORITY_INFO, OVRA_PRIORITY_TRACE,
                    OVRA_PRIORITY_DEBUG, OVRA_PRIORITY_VERBOSE, OVRA_PRIORITY_NOT_SET),
            numbers(0, 100, 200, 300, 400, 450, 500, 600, 1000));
  EXPECT_EQ(numbers(OVRA_UNIT_TYPE_DISTANCE, OVRA_UNIT_TYPE_ANGLE, OVRA_UNIT_TYPE_TIME),
            numbers(0, 1, 2));
}

TEST(CInterface, ValuesPassBothWays) {
  EXPECT_STREQ(check_values(), nullptr);
  double const values[] = {1.5, 2};
  ovra_array *const array = ovra_doublearray__create(values, 2);
  EXPECT_TRUE(*reinterpret_cast<Array *>(array) == DoubleArray(values, 2));
  ovra_doublearray__delete(array);
}

TEST(CInterface, MessagesReachTheCategoryUnchanged) {
  CapturedLog log("Test.In.C");
  EXPECT_STREQ(check_log("Test.In.C"), nullptr);
  EXPECT_EQ(log.take(), (Lines{"WARN  - x=5 [a.c:12]", "DEBUG - 100%d [:-1]", "INFO  - i1%s",
                               "INFO  - io2", "WARN  - 002.5 %"}));
  EXPECT_TRUE(ovra_log__warn_no_debug("Test.In.C", "%s", std::string(5000, 'x').c_str()));
  EXPECT_EQ(log.take(), Lines{"WARN  - " + std::string(3999, 'x')});
}

TEST(CInterface, EachFunctionHasItsPriority) {
  CapturedLog log("Test.In.C");
  Lines const lines = {"WARN  - w", "WARN  - w [f:1]", "INFO  - i", "INFO  - p", "DEBUG - d [f:1]"};
  struct {
    int priority, passing; // number of the lines that pass
  } const cases[] = {{299, 0}, {300, 2}, {399, 2}, {400, 4}, {499, 4}, {500, 5}};
  for (auto const &c : cases) {
    SCOPED_TRACE(c.priority);
    ovra_log__set_priority(ovra_log__get_instance("Test.In.C"), c.priority);
    EXPECT_EQ(ovra_log__warn_no_debug("Test.In.C", "w"), c.passing >= 2);
    ovra_log__warn("Test.In.C", "w", "f", 1);
    EXPECT_EQ(ovra_log__info("Test.In.C", "i"), c.passing >= 4);
    EXPECT_EQ(ovra_log__io_prof("Test.In.C", "p"), c.passing >= 4);
    ovra_log__debug("Test.In.C", "d", "f", 1);
    EXPECT_EQ(log.take(), Lines(lines.begin(), lines.begin() + c.passing));
  }
}

TEST(CInterface, ARootWithoutPriorityIsReportedOnce) {
  LoggingCategory::set_root_priority(LoggingPriority::NOT_SET);
  testing::internal::CaptureStderr();
  EXPECT_TRUE(ovra_log__warn_no_debug("Test.Inheriting", "w"));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "NOT SET - <ROOT CATEGORY NOT SET>\nWARN  - w\n");
  LoggingCategory::set_root_priority(LoggingPriority::INFO);
}

} // namespace
