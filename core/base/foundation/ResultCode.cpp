// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/ResultCode.hpp"

#include <array>
#include <cstddef>

namespace Ostrel {

namespace {

struct ResultText {
  ResultCode code;
  char const *name;
  char const *description;
};

// In ascending order without gaps, checked by the assertion below: a code is its own index.
constexpr std::array<ResultText, 28> RESULT_TEXTS = {{
    {RESULT_SUCCESS, "RESULT_SUCCESS", "Successful result."},
    {RESULT_FAILURE, "RESULT_FAILURE", "Generic, unspecified failure. Avoid using."},
    {RESULT_INTERNAL_ERROR, "RESULT_INTERNAL_ERROR", "An internal, implementation error."},
    {RESULT_PRECONDITION_ERROR, "RESULT_PRECONDITION_ERROR", "A precondition failed."},
    {RESULT_INVALID_ARGUMENT, "RESULT_INVALID_ARGUMENT", "Invalid argument to a method."},
    {RESULT_INVALID_STATE, "RESULT_INVALID_STATE",
     "The state requirements of an object method were violated."},
    {RESULT_OUT_OF_MEMORY, "RESULT_OUT_OF_MEMORY", "Out of memory."},
    {RESULT_SYSTEM_ERROR, "RESULT_SYSTEM_ERROR", "System error."},
    {RESULT_UNKNOWN_ERROR, "RESULT_UNKNOWN_ERROR",
     "Unknown error, generally an unexpected exception was detected."},
    {RESULT_NOT_IMPLEMENTED, "RESULT_NOT_IMPLEMENTED",
     "This message is not implemented. Please try again later."},
    {RESULT_NOT_FOUND, "RESULT_NOT_FOUND", "The requested item or information was not found."},
    {RESULT_ALREADY_EXISTS, "RESULT_ALREADY_EXISTS", "The item to be stored already exists."},
    {RESULT_NOT_EMPTY, "RESULT_NOT_EMPTY", "The container is not empty."},
    {RESULT_OUT_OF_BOUND, "RESULT_OUT_OF_BOUND",
     "An index or value is out of the accepted bounds."},
    {RESULT_INVALID_CONFIGURATION, "RESULT_INVALID_CONFIGURATION", "Error in configuration files."},
    {RESULT_NOT_ACTIVE, "RESULT_NOT_ACTIVE", "The object is not active."},
    {RESULT_BUFFER_TOO_SMALL, "RESULT_BUFFER_TOO_SMALL", "Required buffer size is too small."},
    {RESULT_IO_ERROR, "RESULT_IO_ERROR", "Local input/output error."},
    {RESULT_INSUFFICIENT_ACCESS, "RESULT_INSUFFICIENT_ACCESS",
     "Insufficient access to perform the requested operation."},
    {RESULT_BUSY, "RESULT_BUSY",
     "An object needed for the operation was busy with another operation."},
    {RESULT_ACQUISITION_ERROR, "RESULT_ACQUISITION_ERROR",
     "Some abstract resource could not be acquired."},
    {RESULT_NETWORK_ERROR, "RESULT_NETWORK_ERROR", "Generic network error."},
    {RESULT_CORBA_ERROR, "RESULT_CORBA_ERROR", "Generic CORBA error."},
    {RESULT_CRC_FAILURE, "RESULT_CRC_FAILURE", "Data set failed CRC check."},
    {RESULT_INVALID_TYPE, "RESULT_INVALID_TYPE", "Data is of invalid type."},
    {RESULT_TIMEOUT, "RESULT_TIMEOUT", "The function is timed out."},
    {RESULT_FILE_NOT_OPEN, "RESULT_FILE_NOT_OPEN",
     "An error when trying to use a file which is not open yet."},
    {RESULT_UNSUPPORTED_FORMAT, "RESULT_UNSUPPORTED_FORMAT", "Format not supported"},
}};

constexpr bool every_code_is_its_own_index() {
  for (std::size_t i = 0; i < RESULT_TEXTS.size(); ++i) {
    if (RESULT_TEXTS[i].code != i) {
      return false;
    }
  }
  return true;
}

static_assert(every_code_is_its_own_index());

} // namespace

unsigned long const OVRA_INFINITE = 0xFFFFFFFFUL;

char const *result_code_get_name(ResultCode code) noexcept {
  return result_code_get_name(static_cast<unsigned long>(code));
}

char const *result_code_get_name(unsigned long code) noexcept {
  return code < RESULT_TEXTS.size() ? RESULT_TEXTS[code].name : "UNKNOWN_RESULT_CODE???";
}

char const *result_code_get_str(ResultCode code) noexcept {
  return result_code_get_str(static_cast<unsigned long>(code));
}

char const *result_code_get_str(unsigned long code) noexcept {
  return code < RESULT_TEXTS.size() ? RESULT_TEXTS[code].description
                                    : "Unknown result code; internal error???";
}

} // namespace Ostrel
