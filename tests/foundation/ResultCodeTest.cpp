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

TEST(ResultCode, EveryNumberHasANameAndADescription) {
  struct {
    char const *name, *description;
  } const codes[] = {
      {"RESULT_SUCCESS", "Successful result."},
      {"RESULT_FAILURE", "Generic, unspecified failure. Avoid using."},
      {"RESULT_INTERNAL_ERROR", "An internal, implementation error."},
      {"RESULT_PRECONDITION_ERROR", "A precondition failed."},
      {"RESULT_INVALID_ARGUMENT", "Invalid argument to a method."},
      {"RESULT_INVALID_STATE", "The state requirements of an object method were violated."},
      {"RESULT_OUT_OF_MEMORY", "Out of memory."},
      {"RESULT_SYSTEM_ERROR", "System error."},
      {"RESULT_UNKNOWN_ERROR", "Unknown error, generally an unexpected exception was detected."},
      {"RESULT_NOT_IMPLEMENTED", "This message is not implemented. Please try again later."},
      {"RESULT_NOT_FOUND", "The requested item or information was not found."},
      {"RESULT_ALREADY_EXISTS", "The item to be stored already exists."},
      {"RESULT_NOT_EMPTY", "The container is not empty."},
      {"RESULT_OUT_OF_BOUND", "An index or value is out of the accepted bounds."},
      {"RESULT_INVALID_CONFIGURATION", "Error in configuration files."},
      {"RESULT_NOT_ACTIVE", "The object is not active."},
      {"RESULT_BUFFER_TOO_SMALL", "Required buffer size is too small."},
      {"RESULT_IO_ERROR", "Local input/output error."},
      {"RESULT_INSUFFICIENT_ACCESS", "Insufficient access to perform the requested operation."},
      {"RESULT_BUSY", "An object needed for the operation was busy with another operation."},
      {"RESULT_ACQUISITION_ERROR", "Some abstract resource could not be acquired."},
      {"RESULT_NETWORK_ERROR", "Generic network error."},
      {"RESULT_CORBA_ERROR", "Generic CORBA error."},
      {"RESULT_CRC_FAILURE", "Data set failed CRC check."},
      {"RESULT_INVALID_TYPE", "Data is of invalid type."},
      {"RESULT_TIMEOUT", "The function is timed out."},
      {"RESULT_FILE_NOT_OPEN", "An error when trying to use a file which is not open yet."},
      {"RESULT_UNSUPPORTED_FORMAT", "Format not supported"}};
  unsigned long code = 0;
  for (auto const &c : codes) {
    expect_texts(code++, c.name, c.description);
  }
  ASSERT_EQ(code, 28U);
  for (unsigned long const none : {28UL, 0x80000000UL, 0xFFFFFFFFUL, ~0UL}) {
    expect_texts(none, "UNKNOWN_RESULT_CODE???", "Unknown result code; internal error???");
  }
  EXPECT_EQ(RESULT_UNSUPPORTED_FORMAT, 27);
  EXPECT_EQ(OVRA_INFINITE, 0xFFFFFFFF);
}

} // namespace
