// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/ResultCode.hpp"

#include <gtest/gtest.h>

using namespace Ostrel;

namespace {

TEST(ResultCode, NamesAndDescriptions) {
  struct {
    unsigned int code;
    char const *name, *description;
  } const cases[] = {
      {0, "RESULT_SUCCESS", "Successful result."},
      {6, "RESULT_OUT_OF_MEMORY", "Out of memory."},
      {10, "RESULT_NOT_FOUND", "The requested item or information was not found."},
      {27, "RESULT_UNSUPPORTED_FORMAT", "Format not supported"},
      {28, "UNKNOWN_RESULT_CODE???", "Unknown result code; internal error???"},
      {0xFFFFFFFFU, "UNKNOWN_RESULT_CODE???", "Unknown result code; internal error???"},
  };
  for (auto const &c : cases) {
    SCOPED_TRACE(c.code);
    EXPECT_STREQ(result_code_get_name(static_cast<ResultCode>(c.code)), c.name);
    EXPECT_STREQ(result_code_get_str(static_cast<ResultCode>(c.code)), c.description);
  }
}

} // namespace
