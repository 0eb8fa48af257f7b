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
  bool const is_owned = outcome == WAIT_OBJECT_0 || outcome == WAIT_ABANDONED;
  if (is_owned) {
    acquired_.store(true, std::memory_order_relaxed);
  }
  return is_owned;
}

bool ProcessMutex::release() {
  acquired_.store(false, std::memory_order_relaxed);
  return ReleaseMutex(handle()) != FALSE;
}

bool ProcessMutex::is_acquired() const {
  return acquired_.load(std::memory_order_relaxed);
}

void *ProcessMutex::handle() noexcept {
  return static_mutex(storage_);
}

} // namespace Ostrel
