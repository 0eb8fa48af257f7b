// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"
#include "core/base/foundation/ThreadSafety.hpp"

namespace Ostrel {

class IAcquirable;

/// Holds an acquirable until the end of a block.
///
/// Acquiring may fail: when the target has no mutex, and once after a thread ended while it held
/// the mutex. The lock then holds nothing, and releases nothing at the end. The constructor cannot
/// report that: `acquire` tells whether the lock holds the target, and if it does not, tries again.
/// That succeeds after a thread ended inside; what the mutex guards may then be half changed.
///
///     AcquirableLock lock(mutex);
///     if (!lock.acquire()) {
///       return RESULT_ACQUISITION_ERROR;
///     }
///
/// Lives on the stack of the thread that made it and is used by that thread alone.
class OSTBASE_API OSTBASE_SCOPED_CAPABILITY AcquirableLock {
public:
  /// Acquires the target at once. @param target  borrowed; outlives the lock.
  explicit AcquirableLock(IAcquirable &target) OSTBASE_ACQUIRE(target);

  /// The same; a lock on a null pointer holds nothing, and every operation returns false.
  explicit AcquirableLock(IAcquirable *target) OSTBASE_ACQUIRE(target);

  AcquirableLock(AcquirableLock const &) = delete;
  AcquirableLock &operator=(AcquirableLock const &) = delete;

  /// Releases the target if, and only if, the lock holds it.
  virtual ~AcquirableLock() OSTBASE_RELEASE();

  /// Acquires the target unless the lock holds it already, in which case the target is not called:
  /// it is held once, however often this is called.
  /// @return whether the lock holds it now.
  virtual bool acquire();

  /// Releases the target early. Afterwards the lock does not hold it, whatever the target returned.
  /// @return what the target's release returned; false when the lock did not hold it.
  virtual bool release();

private:
  IAcquirable *target_; // borrowed; may be null
  bool acquired_;       // whether this lock holds the target
};

} // namespace Ostrel
