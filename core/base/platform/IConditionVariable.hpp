// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/IAcquirable.hpp"

namespace Ostrel {

/// A condition variable with its own mutex. Created by `Platform::create_condition_variable`; the
/// caller deletes it when no thread uses it any more.
///
/// The mutex is recursive; `wait` releases it once. The usual pattern of a waiter is `lock_mutex`,
/// `wait(timeout, false)` in a loop until the condition holds, `unlock_mutex`. The other side calls
/// `lock_mutex`, changes the condition, and calls `signal` or `broadcast`, then `unlock_mutex`. Any
/// thread may use it at any time.
class OSTBASE_API IConditionVariable : public IAcquirable {
public:
  IConditionVariable() = default;
  IConditionVariable(IConditionVariable const &) = delete;
  IConditionVariable &operator=(IConditionVariable const &) = delete;

  /// `lock_mutex`.
  bool acquire() override;
  /// `unlock_mutex`.
  bool release() override;
  /// As `IMutex::is_acquired`, for the mutex.
  bool is_acquired() const override = 0;

  virtual ~IConditionVariable() = default;

  /// Releases the mutex and waits for `signal` or `broadcast`, in one atomic step.
  ///
  /// @param timeout    in milliseconds on the monotonic clock; `OVRA_INFINITE` and larger values
  ///                   mean a wait without limit. A later `signal` skips a waiter that timed out.
  /// @param auto_lock  false: the caller holds the mutex, and holds it again when `wait` returns,
  ///                   also after an error. true: the caller does not hold the mutex; `wait`
  ///                   acquires it first, and returns without it.
  /// @return true if woken; false on time-out, on an error (the caller did not hold the mutex) and
  ///         without memory.
  virtual bool wait(unsigned long timeout, bool auto_lock) = 0;

  /// Wakes the thread that has waited longest; does nothing if no thread waits.
  /// @return false if a waiter could not be woken.
  virtual bool signal() = 0;

  /// Wakes every thread that is waiting now.
  /// @return false if one of them could not be woken.
  virtual bool broadcast() = 0;

  /// Acquires the mutex, as `IMutex::acquire` does.
  virtual bool lock_mutex() = 0;
  /// Releases the mutex, as `IMutex::release` does.
  virtual bool unlock_mutex() = 0;
};

} // namespace Ostrel
