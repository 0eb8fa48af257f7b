// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/process/ProcessMutex.hpp"

#include "core/base/platform/winapi/system.hpp"
#include "core/base/platform/winapi/winapi.hpp"

namespace Ostrel {

ProcessMutex ProcessMutex::_all[RANKS];

bool ProcessMutex::acquire() {
  return acquire_within(INFINITE);
}

bool ProcessMutex::acquire_within(std::uint32_t timeout_ms) noexcept {
  DWORD const outcome = WaitForSingleObject(handle(), timeout_ms);
  return outcome == WAIT_OBJECT_0 || outcome == WAIT_ABANDONED;
}

bool ProcessMutex::release() {
  return ReleaseMutex(handle()) != FALSE;
}

bool ProcessMutex::is_acquired() const {
  if (WaitForSingleObject(handle(), 0) == WAIT_TIMEOUT) {
    return true;
  }
  ReleaseMutex(handle());
  return false;
}

void *ProcessMutex::handle() const noexcept {
  return static_mutex(storage_);
}

} // namespace Ostrel
