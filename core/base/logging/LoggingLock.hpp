// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/AcquirableLock.hpp"
#include "core/base/platform/IMutex.hpp"

namespace Ostrel {

/// Holds a mutex of the logging system until the end of a block; on null it holds nothing, and the
/// block runs all the same. Internal to the library.
class LoggingLock : public AcquirableLock {
public:
  explicit LoggingLock(IMutex *mutex) : AcquirableLock(mutex) {
    // A mutex whose owner was terminated refuses once: asked again, so that nobody works unlocked.
    AcquirableLock::acquire();
  }
};

} // namespace Ostrel
