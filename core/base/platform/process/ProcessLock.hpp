// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/AcquirableLock.hpp"
#include "core/base/platform/process/ProcessMutex.hpp"

namespace Ostrel {

/// Holds a mutex of the process-wide state until the end of a block. Internal to the library.
class OSTBASE_SCOPED_CAPABILITY ProcessLock : public AcquirableLock {
public:
  explicit ProcessLock(ProcessMutex::Rank rank) OSTBASE_ACQUIRE(ProcessMutex::of(rank))
      : AcquirableLock(ProcessMutex::of(rank)), is_held_(AcquirableLock::acquire()) {}
  ~ProcessLock() override OSTBASE_RELEASE() = default;

  /// False only where the system has no memory for a mutex (not on POSIX).
  explicit operator bool() const noexcept { return is_held_; }

private:
  bool is_held_;
};

} // namespace Ostrel
