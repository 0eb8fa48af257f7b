// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/ResultCode.hpp"

#include <gtest/gtest.h>

using namespace Ostrel;

// The compiler holds the texts in between to the order of the codes.
TEST(ResultCode, EveryNumberHasANameAndADescription) {
  struct {
    unsigned int code;
    char const *name, *description;
  } const cases[] = {
      {0, "RESULT_SUCCESS", "Successful result."},
      {1, "RESULT_FAILURE", "Generic, unspecified failure. Avoid using."},
      {10, "RESULT_NOT_FOUND", "The requested item or information was not found."},
      {27, "RESULT_UNSUPPORTED_FORMAT", "Format not supported"},
      {28, "UNKNOWN_RESULT_CODE???", "Unknown result code; internal error???"},
      {0xFFFFFFFF, "UNKNOWN_RESULT_CODE???", "Unknown result code; internal error???"}};
  for (auto const &c : cases) {
    SCOPED_TRACE(c.code);
    EXPECT_STREQ(result_code_get_name(static_cast<ResultCode>(c.code)), c.name);
    EXPECT_STREQ(result_code_get_str(static_cast<ResultCode>(c.code)), c.description);
  }
}
