// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/Win32Mutex.hpp"

#include "core/base/foundation/ResultCode.hpp"
#include "core/base/foundation/TerminationPoint.hpp"
#include "core/base/logging/ClassCategory.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/platform/SystemErrorText.hpp"
#include "core/base/platform/winapi/winapi.hpp"

namespace Ostrel {

namespace {

ClassCategory category("Ostrel.Core.Base.Win32Mutex");

} // namespace

Win32Mutex::Win32Mutex(bool initially_owned, char const *name, bool open_existing, void *security,
                       unsigned long *result)
    : handle_(open_existing ? OpenMutexA(MUTEX_ALL_ACCESS, TRUE, name)
                            : CreateMutexA(static_cast<SECURITY_ATTRIBUTES *>(security),
                                           initially_owned ? TRUE : FALSE, name)) {
  if (result != nullptr) {
    *result = handle_ != nullptr ? RESULT_SUCCESS : RESULT_SYSTEM_ERROR;
  }
  // Logging itself uses mutexes, but without names.
  if (handle_ == nullptr && name != nullptr) {
    SystemErrorText const reason;
    category().debug("Failed to %s mutex '%s': %s", open_existing ? "open" : "create", name,
                     reason.c_str());
  }
}

Win32Mutex::~Win32Mutex() {
  if (handle_ != nullptr) {
    CloseHandle(handle_);
  }
}

OSTBASE_TERMINATION_POINT bool Win32Mutex::acquire() {
  DWORD const outcome = WaitForSingleObject(handle_, INFINITE);
  if (outcome == WAIT_OBJECT_0) {
    acquired_.store(true, std::memory_order_relaxed);
    return true;
  }
  if (outcome == WAIT_ABANDONED) {
    // The wait made the caller the owner, but this call returns false.
    ReleaseMutex(handle_);
  }
  return false;
}

// Flattened: link-time optimisation then inlines the system layer's release, a single locked
// operation, which is cheaper than a call.
[[gnu::flatten]] bool Win32Mutex::release() {
  acquired_.store(false, std::memory_order_relaxed);
  return ReleaseMutex(handle_) != FALSE;
}

bool Win32Mutex::acquire_for_certain() {
  DWORD const outcome = WaitForSingleObject(handle_, INFINITE);
  if (outcome != WAIT_OBJECT_0 && outcome != WAIT_ABANDONED) {
    return false;
  }
  acquired_.store(true, std::memory_order_relaxed);
  return true;
}

bool Win32Mutex::release_and_wait(void *event, std::uint32_t timeout_ms) {
  acquired_.store(false, std::memory_order_relaxed);
  return SignalObjectAndWait(handle_, event, timeout_ms, /*alertable=*/FALSE) == WAIT_OBJECT_0;
}

bool Win32Mutex::is_acquired() const {
  return acquired_.load(std::memory_order_relaxed);
}

} // namespace Ostrel
