// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"

namespace Ostrel {

class IAcquirable;

/// Holds an acquirable until the end of a block.
///
/// Lives on the stack of the thread that made it and is used by that thread alone.
class OSTBASE_API AcquirableLock {
public:
  /// Acquires the target at once. @param target  borrowed; outlives the lock.
  explicit AcquirableLock(IAcquirable &target);

  /// The same; a lock on a null pointer holds nothing, and every operation gives false.
  explicit AcquirableLock(IAcquirable *target);

  AcquirableLock(AcquirableLock const &) = delete;
  AcquirableLock &operator=(AcquirableLock const &) = delete;

  /// Releases the target if, and only if, the lock holds it.
  virtual ~AcquirableLock();

  /// Acquires the target unless the lock holds it already.
  /// @return whether the lock holds it now.
  virtual bool acquire();

  /// Releases the target early.
  /// @return what the target's release gave; false when the lock did not hold it.
  virtual bool release();

private:
  IAcquirable *target_; // borrowed; may be null
  bool acquired_;       // whether this lock holds the target
};

} // namespace Ostrel
