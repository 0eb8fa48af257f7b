// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/platform/IConditionVariable.hpp"
#include "core/base/platform/Win32Mutex.hpp"

#include <list>

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
  using Position = std::list<Waiter>::iterator;
  enum class Outcome { NOT_WOKEN, SIGNALLED, BROADCAST };

  static void withdraw(void *waiter);

  bool wait_unlocked(unsigned long timeout, bool reacquires);
  bool enqueue(bool reacquires, Position *position);
  Outcome finish(Position waiter);
  void recycle(std::list<Waiter> &from, Position waiter);
  bool wake_first(Outcome outcome);

  Win32Mutex mutex_;
  Win32Mutex guard_; // of the lists; acquired after mutex_; never held during a wait
  std::list<Waiter> waiting_, woken_, unused_; // the first in order of arrival
};

} // namespace Ostrel
