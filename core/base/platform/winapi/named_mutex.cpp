// SPDX-License-Identifier: Apache-2.0
// The mutexes with a name, behind CreateMutexA and OpenMutexA.
#include "core/base/platform/winapi/error.hpp"
#include "core/base/platform/winapi/mutex.hpp"

namespace Ostrel {

HANDLE create_named_mutex(char const * /*name*/, bool /*initially_owned*/) noexcept {
  SetLastError(ERROR_NOT_SUPPORTED);
  return nullptr;
}

HANDLE open_named_mutex(char const * /*name*/) noexcept {
  SetLastError(ERROR_NOT_SUPPORTED);
  return nullptr;
}

} // namespace Ostrel
