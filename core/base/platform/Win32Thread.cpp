// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/Win32Thread.hpp"

#include "core/base/foundation/TerminationPoint.hpp"
#include "core/base/platform/winapi/system.hpp"
#include "core/base/platform/winapi/winapi.hpp"

namespace Ostrel {

Win32Thread::Win32Thread(Routine routine, void *argument)
    : routine_(routine), argument_(argument) {}

Win32Thread::~Win32Thread() {
  if (handle_ != nullptr) {
    CloseHandle(handle_);
  }
}

unsigned long Win32Thread::get_id() const {
  return id_;
}

bool Win32Thread::start() {
  if (routine_ == nullptr || running_) {
    return false;
  }
  unsigned int id = 0;
  // Suspended, so that this object is complete when the routine runs: the routine may read the
  // identifier or stop the thread.
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the call returns the handle as a number.
  auto *const started = reinterpret_cast<void *>(_beginthreadex(
      /*security=*/nullptr, /*stack_size=*/0, routine_, argument_, CREATE_SUSPENDED, &id));
  if (handle_ != nullptr) {
    CloseHandle(handle_);
  }
  handle_ = started;
  if (started == nullptr) {
    return false;
  }
  id_ = id;
  running_ = true;
  ResumeThread(started);
  return true;
}

// A termination point: a thread that stops itself ends inside.
OSTBASE_TERMINATION_POINT bool Win32Thread::stop() {
  return !running_.exchange(false) || TerminateThread(handle_, 1) != FALSE;
}

// Clears `running_` only after the wait: until then another thread, or the routine itself, may stop
// the thread.
OSTBASE_TERMINATION_POINT bool Win32Thread::wait_for_exit(unsigned long timeout) {
  bool const has_ended =
      handle_ != nullptr && WaitForSingleObject(handle_, timeout_from(timeout)) == WAIT_OBJECT_0;
  running_ = false;
  return has_ended;
}

} // namespace Ostrel
