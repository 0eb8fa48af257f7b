// SPDX-License-Identifier: Apache-2.0
// CloseHandle, on the objects that the calls of the layer create. A handle is the address of its
// object, so that using one costs no look-up; one that was closed must not be used again.
#include "core/base/platform/winapi/handle.hpp"

#include "core/base/platform/winapi/error.hpp"
#include "core/base/platform/winapi/mutex.hpp"

namespace Ostrel {

DWORD Handle::wait(DWORD /*milliseconds*/) noexcept {
  SetLastError(ERROR_INVALID_HANDLE);
  return WAIT_FAILED;
}

BOOL Handle::release_mutex() noexcept {
  return fail(ERROR_INVALID_HANDLE);
}

DWORD Handle::resume() noexcept {
  SetLastError(ERROR_INVALID_HANDLE);
  return static_cast<DWORD>(-1);
}

BOOL Handle::terminate() noexcept {
  return fail(ERROR_INVALID_HANDLE);
}

} // namespace Ostrel

BOOL CloseHandle(HANDLE handle) {
  if (Ostrel::Handle::is_mutex(handle)) {
    Ostrel::close_mutex(handle);
    return TRUE;
  }
  Ostrel::Handle *const object = Ostrel::Handle::of(handle);
  if (object == nullptr) {
    return Ostrel::fail(ERROR_INVALID_HANDLE);
  }
  object->close();
  return TRUE;
}
