// SPDX-License-Identifier: Apache-2.0
// WaitForSingleObject and SignalObjectAndWait, on the objects' own waits.
#include "core/base/platform/winapi/handle.hpp"
#include "core/base/platform/winapi/mutex.hpp"

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
  if (Ostrel::Handle::is_mutex(handle)) {
    return Ostrel::wait_for_mutex(handle, milliseconds);
  }
  Ostrel::Handle *const object = Ostrel::Handle::of(handle);
  if (object == nullptr) {
    SetLastError(ERROR_INVALID_HANDLE);
    return WAIT_FAILED;
  }
  return object->wait(milliseconds);
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
