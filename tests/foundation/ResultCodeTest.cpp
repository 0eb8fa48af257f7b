// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/ResultCode.hpp"

#include <gtest/gtest.h>

#include <utility>

using namespace Ostrel;

TEST(ResultCode, NamesAndDescriptions) {
  constexpr std::pair<char const *, char const *> TEXTS[] = {
      {"SUCCESS", "Successful result."},
      {"FAILURE", "Generic, unspecified failure. Avoid using."},
      {"INTERNAL_ERROR", "An internal, implementation error."},
      {"PRECONDITION_ERROR", "A precondition failed."},
      {"INVALID_ARGUMENT", "Invalid argument to a method."},
      {"INVALID_STATE", "The state requirements of an object method were violated."},
      {"OUT_OF_MEMORY", "Out of memory."},
      {"SYSTEM_ERROR", "System error."},
      {"UNKNOWN_ERROR", "Unknown error, generally an unexpected exception was detected."},
      {"NOT_IMPLEMENTED", "This message is not implemented. Please try again later."},
      {"NOT_FOUND", "The requested item or information was not found."},
      {"ALREADY_EXISTS", "The item to be stored already exists."},
      {"NOT_EMPTY", "The container is not empty."},
      {"OUT_OF_BOUND", "An index or value is out of the accepted bounds."},
      {"INVALID_CONFIGURATION", "Error in configuration files."},
      {"NOT_ACTIVE", "The object is not active."},
      {"BUFFER_TOO_SMALL", "Required buffer size is too small."},
      {"IO_ERROR", "Local input/output error."},
      {"INSUFFICIENT_ACCESS", "Insufficient access to perform the requested operation."},
      {"BUSY", "An object needed for the operation was busy with another operation."},
      {"ACQUISITION_ERROR", "Some abstract resource could not be acquired."},
      {"NETWORK_ERROR", "Generic network error."},
      {"CORBA_ERROR", "Generic CORBA error."},
      {"CRC_FAILURE", "Data set failed CRC check."},
      {"INVALID_TYPE", "Data is of invalid type."},
      {"TIMEOUT", "The function is timed out."},
      {"FILE_NOT_OPEN", "An error when trying to use a file which is not open yet."},
      {"UNSUPPORTED_FORMAT", "Format not supported"},
      {nullptr, "Unknown result code; internal error???"}};
  unsigned int code = 0;
  for (auto const &[name, description] : TEXTS) {
    SCOPED_TRACE(code);
    EXPECT_EQ(result_code_get_name(static_cast<ResultCode>(code)),
              name == nullptr ? "UNKNOWN_RESULT_CODE???" : std::string("RESULT_") + name);
    EXPECT_STREQ(result_code_get_str(static_cast<ResultCode>(code)), description);
    ++code;
  }
}
