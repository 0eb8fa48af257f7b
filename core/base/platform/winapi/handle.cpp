// SPDX-License-Identifier: Apache-2.0
// CloseHandle, WaitForSingleObject and SignalObjectAndWait, on the objects that the calls of the
// layer create. A handle is the address of its object, so that using one costs no look-up; one that
// was closed must not be used again.
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

} // namespace Ostrel

using Ostrel::Handle;

BOOL CloseHandle(HANDLE handle) {
  if (handle == nullptr) {
    return Ostrel::fail(ERROR_INVALID_HANDLE);
  }
  Handle::is_mutex(handle) ? Ostrel::close_mutex(handle) : Handle::of(handle)->close();
  return TRUE;
}

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
  if (Handle::is_mutex(handle)) {
    return Ostrel::wait_for_mutex(handle, milliseconds);
  }
  if (handle == nullptr) {
    SetLastError(ERROR_INVALID_HANDLE);
    return WAIT_FAILED;
  }
  return Handle::of(handle)->wait(milliseconds);
}

// The wait may begin after the release: an event that is set in between stays set.
DWORD SignalObjectAndWait(HANDLE to_signal, HANDLE to_wait_on, DWORD milliseconds, BOOL alertable) {
  if (alertable != FALSE) {
    SetLastError(ERROR_NOT_SUPPORTED);
    return WAIT_FAILED;
  }
  return ReleaseMutex(to_signal) == FALSE ? WAIT_FAILED
                                          : WaitForSingleObject(to_wait_on, milliseconds);
}
