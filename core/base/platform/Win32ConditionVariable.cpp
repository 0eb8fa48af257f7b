// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/Win32ConditionVariable.hpp"

#include "core/base/foundation/RetryingLock.hpp"
#include "core/base/foundation/TerminationPoint.hpp"
#include "core/base/platform/process/AtFork.hpp"
#include "core/base/platform/winapi/system.hpp"
#include "core/base/platform/winapi/winapi.hpp"

#include <algorithm>
#include <new>

namespace Ostrel {

namespace {

// Whether the system can release a mutex and wait for an event in one step.
bool can_signal_and_wait() noexcept {
  static bool const is_nt = [] {
    OSVERSIONINFOA version = {};
    version.dwOSVersionInfoSize = sizeof(version);
    return GetVersionExA(&version) != FALSE && version.dwPlatformId == VER_PLATFORM_WIN32_NT;
  }();
  return is_nt;
}

[[maybe_unused]] bool const found_at_load = can_signal_and_wait();

} // namespace

OSTBASE_TERMINATION_POINT bool IConditionVariable::acquire() {
  return lock_mutex();
}

bool IConditionVariable::release() {
  return unlock_mutex();
}

// Owned by the condition variable, not on the waiter's stack, since the thread may be terminated.
struct Win32ConditionVariable::Waiter {
  explicit Waiter(Win32ConditionVariable &condition)
      : owner(condition),
        event(CreateEventA(/*security=*/nullptr, /*manual_reset=*/FALSE, /*initial_state=*/FALSE,
                           /*name=*/nullptr)) {}
  Waiter(Waiter const &) = delete;
  Waiter &operator=(Waiter const &) = delete;
  ~Waiter() {
    if (event != nullptr) {
      CloseHandle(event);
    }
  }

  // Its thread was terminated, or is one of a parent process.
  bool has_ended() const { return generation != AtFork::generation() || thread.has_ended(); }

  Win32ConditionVariable &owner;
  void *const event;
  Outcome outcome = Outcome::NOT_WOKEN;
  bool reacquires = false;     // acquires the mutex after the wait
  ThreadInWait thread;         // while the waiter is in use
  unsigned int generation = 0; // of the process in which the thread waits
};

Win32ConditionVariable::Win32ConditionVariable()
    : mutex_(/*initially_owned=*/false, /*name=*/nullptr, /*open_existing=*/false,
             /*security=*/nullptr, /*result=*/nullptr),
      guard_(/*initially_owned=*/false, /*name=*/nullptr, /*open_existing=*/false,
             /*security=*/nullptr, /*result=*/nullptr) {}

Win32ConditionVariable::~Win32ConditionVariable() = default;

bool Win32ConditionVariable::is_acquired() const {
  return mutex_.is_acquired();
}

OSTBASE_TERMINATION_POINT bool Win32ConditionVariable::lock_mutex() {
  return mutex_.acquire();
}

bool Win32ConditionVariable::unlock_mutex() {
  return mutex_.release();
}

OSTBASE_TERMINATION_POINT bool Win32ConditionVariable::wait(unsigned long timeout, bool auto_lock) {
  if (auto_lock) {
    mutex_.acquire_for_certain();
  }
  bool const is_woken = wait_unlocked(timeout, /*reacquires=*/!auto_lock);
  if (!auto_lock) {
    mutex_.acquire_for_certain();
  }
  prevent_tail_call();
  return is_woken;
}

// Releases the mutex in any case.
bool Win32ConditionVariable::wait_unlocked(unsigned long timeout, bool reacquires) {
  Position waiter;
  if (!enqueue(reacquires, &waiter)) {
    mutex_.release();
    return false;
  }
  TerminationHook const withdrawal(withdraw, &waiter);
  auto const timeout_ms = static_cast<DWORD>(std::min<unsigned long>(timeout, INFINITE));
  if (can_signal_and_wait()) {
    mutex_.release_and_wait(waiter->event, timeout_ms);
  } else {
    mutex_.release();
    WaitForSingleObject(waiter->event, timeout_ms);
  }
  return finish(waiter) != Outcome::NOT_WOKEN;
}

// Appends a waiter to the queue. False without memory, and if the system has no mutex.
bool Win32ConditionVariable::enqueue(bool reacquires, Position *position) try {
  RetryingLock guarded(&guard_);
  if (!guarded.acquire()) {
    return false;
  }
  if (unused_.empty()) {
    unused_.emplace_front(*this);
  }
  if (unused_.front().event == nullptr) {
    unused_.pop_front();
    return false;
  }
  *position = unused_.begin();
  Waiter &waiter = **position;
  waiter.outcome = Outcome::NOT_WOKEN;
  waiter.reacquires = reacquires;
  waiter.thread.begin();
  waiter.generation = AtFork::generation();
  waiting_.splice(waiting_.end(), unused_, *position);
  return true;
} catch (std::bad_alloc const &) {
  return false;
}

// Ends a wait, and returns how it ended: a waiter may be woken after its time-out.
Win32ConditionVariable::Outcome Win32ConditionVariable::finish(Position waiter) {
  RetryingLock const guarded(&guard_);
  Outcome const outcome = waiter->outcome;
  bool const is_woken = outcome != Outcome::NOT_WOKEN;
  if (is_woken) {
    WaitForSingleObject(waiter->event, 0); // resets the event, if the wait did not
  }
  recycle(is_woken ? woken_ : waiting_, waiter);
  return outcome;
}

// Called when the thread is terminated in its wait. Passes a signal that it received to the next.
void Win32ConditionVariable::withdraw(void *waiter) {
  Position const position = *static_cast<Position *>(waiter);
  Win32ConditionVariable &owner = position->owner;
  if (owner.finish(position) == Outcome::SIGNALLED) {
    owner.signal();
  }
}

void Win32ConditionVariable::recycle(std::list<Waiter> &from, Position waiter) {
  waiter->thread.end();
  unused_.splice(unused_.begin(), from, waiter);
}

// Wakes the waiter at the front of the queue, if there is one, after the removal of those whose
// threads have ended. Needs the guard.
bool Win32ConditionVariable::wake_first(Outcome outcome) {
  while (!waiting_.empty() && waiting_.front().has_ended()) {
    recycle(waiting_, waiting_.begin());
  }
  if (waiting_.empty()) {
    return true;
  }
  Waiter &waiter = waiting_.front();
  waiter.outcome = outcome;
  woken_.splice(woken_.end(), waiting_, waiting_.begin());
  return set_event_before(waiter.event, waiter.reacquires ? mutex_.handle_ : nullptr);
}

bool Win32ConditionVariable::signal() {
  RetryingLock const guarded(&guard_);
  return wake_first(Outcome::SIGNALLED);
}

bool Win32ConditionVariable::broadcast() {
  RetryingLock const guarded(&guard_);
  bool is_done = true;
  while (!waiting_.empty()) {
    is_done = wake_first(Outcome::BROADCAST) && is_done;
  }
  return is_done;
}

} // namespace Ostrel
