// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/platform/IConditionVariable.hpp"
#include "core/base/platform/Win32Mutex.hpp"

#include <cstdint>
#include <forward_list>

namespace Ostrel {

/// The condition variable over the operating system's mutexes and events.
///
/// Each waiter has its own event. A signal wakes the one that has waited longest, and looks at all
/// of them for it. A waiter that times out or is terminated no longer counts. If a thread is
/// terminated after it was woken, while it waits for the mutex, the wake-up is lost. The
/// constructor never fails; if the system has no mutex, every wait returns false at once.
class OSTBASE_API Win32ConditionVariable : public IConditionVariable {
public:
  Win32ConditionVariable();
  Win32ConditionVariable(Win32ConditionVariable const &) = delete;
  Win32ConditionVariable &operator=(Win32ConditionVariable const &) = delete;

  bool is_acquired() const override;
  ~Win32ConditionVariable() override;
  bool wait(unsigned long timeout, bool auto_lock) override;
  bool signal() override;
  bool broadcast() override;
  bool lock_mutex() override;
  bool unlock_mutex() override;

private:
  struct Waiter;
  enum class State { UNUSED, WAITING, SIGNALLED, BROADCAST };

  static void withdraw(void *waiter);

  bool wait_unlocked(unsigned long timeout, bool reacquires);
  Waiter *enqueue(bool reacquires);
  static State finish(Waiter &waiter, bool is_set);
  bool set_events(Waiter *woken) const;

  Win32Mutex mutex_;
  Win32Mutex guard_; // of the waiters; acquired after mutex_; never held during a wait
  // Reused and never moved, so that a child of fork finds the list whole.
  std::forward_list<Waiter> waiters_;
  std::uint64_t arrivals_ = 0; // the number of waits so far
};

} // namespace Ostrel
