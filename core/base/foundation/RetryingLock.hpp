// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/AcquirableLock.hpp"

namespace Ostrel {

/// Holds a mutex until the end of a block. Retries once, because the first attempt fails if the
/// previous owner ended while holding the mutex. On a null mutex it holds nothing. Internal to the
/// library.
class OSTBASE_SCOPED_CAPABILITY RetryingLock : public AcquirableLock {
public:
  explicit RetryingLock(IAcquirable *mutex) OSTBASE_ACQUIRE(mutex) : AcquirableLock(mutex) {
    AcquirableLock::acquire();
  }
  ~RetryingLock() override OSTBASE_RELEASE() = default;
};

} // namespace Ostrel
