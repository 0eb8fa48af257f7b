// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/ResultCode.hpp"

#include <gtest/gtest.h>

using namespace Ostrel;

namespace {

void expect_texts(unsigned long code, char const *name, char const *description) {
  SCOPED_TRACE(code);
  EXPECT_STREQ(result_code_get_name(code), name);
  EXPECT_STREQ(result_code_get_str(code), description);
  EXPECT_STREQ(result_code_get_description(code), description);
  if (auto const enumerator = static_cast<ResultCode>(code); enumerator == code) {
    EXPECT_STREQ(result_code_get_name(enumerator), name);
    EXPECT_STREQ(result_code_get_str(enumerator), description);
  }
}

TEST(ResultCode, NumbersHaveNamesAndDescriptions) {
  expect_texts(0, "RESULT_SUCCESS", "Successful result.");
  expect_texts(1, "RESULT_FAILURE", "Generic, unspecified failure. Avoid using.");
  expect_texts(9, "RESULT_NOT_IMPLEMENTED",
               "This message is not implemented. Please try again later.");
  expect_texts(18, "RESULT_INSUFFICIENT_ACCESS",
               "Insufficient access to perform the requested operation.");
  expect_texts(27, "RESULT_UNSUPPORTED_FORMAT", "Format not supported");
  for (unsigned long const none : {28UL, 0x80000000UL, 0xFFFFFFFFUL, ~0UL}) {
    expect_texts(none, "UNKNOWN_RESULT_CODE???", "Unknown result code; internal error???");
  }
  EXPECT_EQ(RESULT_UNSUPPORTED_FORMAT, 27);
  EXPECT_EQ(OVRA_INFINITE, 0xFFFFFFFF);
}

} // namespace
