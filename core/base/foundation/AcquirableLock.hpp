// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"
#include "core/base/foundation/ThreadSafety.hpp"

namespace Ostrel {

class IAcquirable;

/// Holds an acquirable until the end of a block.
///
/// Acquiring fails if the target has no mutex, and once after a thread ended while it held the
/// mutex. The lock then holds nothing and releases nothing. The constructor cannot report that:
/// call `acquire`, which retries and returns whether the lock holds the target. After a thread
/// ended while holding the mutex the retry succeeds, but the data that the mutex guards may be
/// inconsistent.
///
///     AcquirableLock lock(mutex);
///     if (!lock.acquire()) {
///       return RESULT_ACQUISITION_ERROR;
///     }
///
/// For the stack and the use of one thread.
class OSTBASE_API OSTBASE_SCOPED_CAPABILITY AcquirableLock {
public:
  /// Acquires the target. @param target  borrowed; outlives the lock.
  explicit AcquirableLock(IAcquirable &target) OSTBASE_ACQUIRE(target);

  /// The same. If the pointer is null, the lock holds nothing and every operation returns false.
  explicit AcquirableLock(IAcquirable *target) OSTBASE_ACQUIRE(target);

  AcquirableLock(AcquirableLock const &) = delete;
  AcquirableLock &operator=(AcquirableLock const &) = delete;

  /// Releases the target if the lock holds it.
  virtual ~AcquirableLock() OSTBASE_RELEASE();

  /// Acquires the target unless the lock holds it already: repeated calls acquire it once.
  /// @return whether the lock now holds the target.
  virtual bool acquire();

  /// Releases the target before the end of the block. The lock no longer holds it, even if the
  /// target's `release` fails.
  /// @return the result of the target's `release`; false if the lock did not hold the target.
  virtual bool release();

private:
  IAcquirable *target_; // borrowed; may be null
  bool acquired_;
};

} // namespace Ostrel
