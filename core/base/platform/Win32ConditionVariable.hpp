// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/platform/IConditionVariable.hpp"
#include "core/base/platform/Win32Mutex.hpp"

#include <atomic>

namespace Ostrel {

/// The condition variable over the operating system's mutexes and events.
///
/// Each waiter has its own event, in a queue in order of arrival. A waiter that times out or is
/// terminated leaves the queue. If a thread is terminated after it was woken, while it waits for
/// the mutex, the wake-up is lost. The constructor never fails; if the system has no mutex, every
/// wait returns false at once.
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
  class Guarded;

  static void withdraw(void *waiter);

  bool wait_unlocked(unsigned long timeout, bool reacquires);
  Waiter *enqueue(bool reacquires);
  bool cancel(Waiter &waiter);
  void unlink(Waiter &waiter);
  void remove_ended();
  bool wake(Waiter const &waiter) const;
  void recycle(Waiter &waiter);

  Win32Mutex mutex_;
  Win32Mutex guard_;        // acquired after mutex_; never held during a wait
  Waiter *first_ = nullptr; // the queue, guarded by guard_
  Waiter *last_ = nullptr;  // likewise
  // Unused waiters, as a stack: popped under guard_, pushed without it. Acquire and release order
  // the writes of the last user before the reads of the next.
  std::atomic<Waiter *> spare_{nullptr};
};

} // namespace Ostrel
