// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/AcquirableLock.hpp"

namespace Ostrel {

class IMutex;

/// Counts one more user of the mutex of all XML sources, and makes the mutex for the first one.
/// Internal to the library.
void join_source_mutex();

/// Counts one user less; the last one destroys the mutex.
void leave_source_mutex();

/// Holds the mutex of all XML sources until the end of a block, which runs without the mutex where
/// that cannot be acquired. Only while there is a user. Internal to the library.
class SourceLock {
public:
  SourceLock();

  /// False when the mutex could not be acquired.
  explicit operator bool() const noexcept { return is_held_; }

  /// Whether the mutex could not be made; the next lock tries again.
  bool lacks_memory() const noexcept { return mutex_ == nullptr; }

private:
  IMutex *mutex_;
  AcquirableLock lock_;
  bool is_held_;
};

} // namespace Ostrel
