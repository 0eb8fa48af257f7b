// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/platform/IConditionVariable.hpp"
#include "core/base/platform/Win32Mutex.hpp"

#include <atomic>

namespace Ostrel {

/// The condition variable over the operating system's mutexes and events.
///
/// Each waiter has an event of its own, in the order of their coming: so a wake-up reaches the
/// waiter that it was meant for, however long that takes to wake, and a waiter that times out or is
/// terminated is taken from the row. A thread that is terminated after its release, while it waits
/// for the mutex, takes the wake-up with it. Making one never fails; without the system's mutexes
/// every wait ends at once with false.
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

  bool wait_released(unsigned long timeout, bool takes_mutex);
  Waiter *enlist(bool takes_mutex);
  bool dismiss(Waiter &waiter);
  void unlink(Waiter &waiter);
  void drop_ended();
  bool wake(Waiter const &waiter) const;
  void keep(Waiter &waiter);

  Win32Mutex mutex_;
  Win32Mutex guard_;        // taken after mutex_; never held during a wait
  Waiter *first_ = nullptr; // who waits, guarded by guard_
  Waiter *last_ = nullptr;  // likewise
  // Waiters that nobody uses, for the next who come. Taken under guard_, given back without it:
  // acquire and release order what the last user wrote before what the next one reads.
  std::atomic<Waiter *> spare_{nullptr};
};

} // namespace Ostrel
