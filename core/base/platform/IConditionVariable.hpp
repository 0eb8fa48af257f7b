// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/IAcquirable.hpp"

namespace Ostrel {

/// A condition variable with its own mutex. Made by `Platform::create_condition_variable`; the
/// caller deletes it when nobody uses it any more.
///
/// As an acquirable it stands for its mutex, which is recursive: `wait` gives it back once. The
/// usual pattern is `lock_mutex`, `wait(timeout, false)` for as long as the condition does not
/// hold, `unlock_mutex`; on the other side `lock_mutex`, a change, `signal` or `broadcast`,
/// `unlock_mutex`. Test the condition after every return. Any thread may use it at any time.
class OSTBASE_API IConditionVariable : public IAcquirable {
public:
  IConditionVariable() = default;
  IConditionVariable(IConditionVariable const &) = delete;
  IConditionVariable &operator=(IConditionVariable const &) = delete;

  /// `lock_mutex`.
  bool acquire() override;
  /// `unlock_mutex`.
  bool release() override;
  /// Whether the mutex is taken.
  bool is_acquired() const override = 0;

  virtual ~IConditionVariable() = default;

  /// Gives the mutex back and waits until `signal` or `broadcast` releases this waiter; both are
  /// one step for whoever signals.
  ///
  /// @param timeout    in milliseconds on the monotonic clock; `OVRA_INFINITE`, and what is above
  ///                   it, means without limit. A waiter that times out is not counted any more.
  /// @param auto_lock  false: the caller holds the mutex and holds it again at the return, whatever
  ///                   happened. true: the caller does not hold it, `wait` takes it first, and it
  ///                   is not held at the return.
  /// @return true when released; false on time-out, on an error (the caller did not hold the
  ///         mutex) and without memory.
  virtual bool wait(unsigned long timeout, bool auto_lock) = 0;

  /// Releases the waiter that has waited longest. Nothing is remembered when there is none.
  /// @return false when a waiter could not be woken.
  virtual bool signal() = 0;

  /// Releases every waiter that is waiting now, and none that comes later.
  /// @return false when one of them could not be woken.
  virtual bool broadcast() = 0;

  /// Takes the mutex, as `IMutex::acquire` does.
  virtual bool lock_mutex() = 0;
  /// Gives it back, as `IMutex::release` does.
  virtual bool unlock_mutex() = 0;
};

} // namespace Ostrel
