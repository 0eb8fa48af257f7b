// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"

namespace Ostrel {

/// The outcome of an operation. Operations return it as an `unsigned long`; success is 0.
enum ResultCode : unsigned int {
  RESULT_SUCCESS = 0,            ///< Successful result.
  RESULT_FAILURE = 1,            ///< Generic, unspecified failure. Avoid using.
  RESULT_INTERNAL_ERROR = 2,     ///< An internal, implementation error.
  RESULT_PRECONDITION_ERROR = 3, ///< A precondition failed.
  RESULT_INVALID_ARGUMENT = 4,   ///< Invalid argument to a method.
  RESULT_INVALID_STATE = 5,      ///< The state requirements of an object method were violated.
  RESULT_OUT_OF_MEMORY = 6,      ///< Out of memory.
  RESULT_SYSTEM_ERROR = 7,       ///< System error.
  RESULT_UNKNOWN_ERROR = 8,      ///< Unknown error, generally an unexpected exception was detected.
  RESULT_NOT_IMPLEMENTED = 9,    ///< This message is not implemented. Please try again later.
  RESULT_NOT_FOUND = 10,         ///< The requested item or information was not found.
  RESULT_ALREADY_EXISTS = 11,    ///< The item to be stored already exists.
  RESULT_NOT_EMPTY = 12,         ///< The container is not empty.
  RESULT_OUT_OF_BOUND = 13,      ///< An index or value is out of the accepted bounds.
  RESULT_INVALID_CONFIGURATION = 14, ///< Error in configuration files.
  RESULT_NOT_ACTIVE = 15,            ///< The object is not active.
  RESULT_BUFFER_TOO_SMALL = 16,      ///< Required buffer size is too small.
  RESULT_IO_ERROR = 17,              ///< Local input/output error.
  RESULT_INSUFFICIENT_ACCESS = 18,   ///< Insufficient access to perform the requested operation.
  RESULT_BUSY = 19, ///< An object needed for the operation was busy with another operation.
  RESULT_ACQUISITION_ERROR = 20,  ///< Some abstract resource could not be acquired.
  RESULT_NETWORK_ERROR = 21,      ///< Generic network error.
  RESULT_CORBA_ERROR = 22,        ///< Generic CORBA error.
  RESULT_CRC_FAILURE = 23,        ///< Data set failed CRC check.
  RESULT_INVALID_TYPE = 24,       ///< Data is of invalid type.
  RESULT_TIMEOUT = 25,            ///< The function is timed out.
  RESULT_FILE_NOT_OPEN = 26,      ///< An error when trying to use a file which is not open yet.
  RESULT_UNSUPPORTED_FORMAT = 27, ///< Format not supported
};

/// The time-out that waits without limit.
extern OSTBASE_API unsigned long const OVRA_INFINITE;

/// Returns the name of a code, for example "RESULT_NOT_FOUND".
///
/// @return a static text, never null; "UNKNOWN_RESULT_CODE???" for a value that is not a code.
///         Callable from any thread at any time.
OSTBASE_API char const *result_code_get_name(ResultCode code) noexcept;

/// The same for the result of an operation (addition). All bits count: if `long` has 64 bits,
/// 0x100000000 is not a code.
OSTBASE_API char const *result_code_get_name(unsigned long code) noexcept;

/// Returns the one-line description of a code.
///
/// @return a static text, never null; "Unknown result code; internal error???" for a value that
///         is not a code. Callable from any thread at any time.
OSTBASE_API char const *result_code_get_str(ResultCode code) noexcept;

/// The same for the result of an operation (addition).
OSTBASE_API char const *result_code_get_str(unsigned long code) noexcept;

/// The same as `result_code_get_str`, under the name that the C interface uses (addition).
inline char const *result_code_get_description(unsigned long code) noexcept {
  return result_code_get_str(code);
}

} // namespace Ostrel
