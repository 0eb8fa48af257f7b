// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/AcquirableLock.hpp"

namespace Ostrel {

/// Holds a mutex until the end of a block, also one that a thread left behind by ending inside: the
/// first attempt only reports that. On null it holds nothing, and the block runs all the same.
/// Internal to the library.
class OSTBASE_SCOPED_CAPABILITY RetryingLock : public AcquirableLock {
public:
  explicit RetryingLock(IAcquirable *mutex) OSTBASE_ACQUIRE(mutex) : AcquirableLock(mutex) {
    AcquirableLock::acquire();
  }
  ~RetryingLock() override OSTBASE_RELEASE() = default;
};

} // namespace Ostrel
