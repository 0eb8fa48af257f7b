// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/IMutex.hpp"

#include <atomic>
#include <cstdint>

namespace Ostrel {

/// The mutex of the operating system, with or without a name that other processes can open.
///
/// Any thread may use it at any time. Destroying it closes the system's mutex, also while it is
/// held, but not while a thread waits for it. A mutex with a name is abandoned if no other object
/// of the process has this name. A child of fork uses the named mutexes of its parent, but owns
/// none; if it has no free descriptor for their files, every operation on them fails in it.
class OSTBASE_API Win32Mutex : public IMutex {
public:
  /// Creates a mutex, or opens one that has a name.
  ///
  /// @param initially_owned  true: the calling thread owns the new mutex; `is_acquired` is false
  ///                         all the same. Means nothing when opening, or when a mutex of that
  ///                         name is there already.
  /// @param name             under which other processes of the same user find it, borrowed; null
  ///                         for none.
  /// @param open_existing    true: open the mutex of that name instead of creating one.
  /// @param security         the system's security attributes, borrowed; null for the default.
  ///                         Means nothing when opening.
  /// @param result           receives `RESULT_SUCCESS`, or `RESULT_SYSTEM_ERROR` when the mutex
  ///                         cannot be created or opened, and every operation fails; may be null.
  ///                         For a mutex with a name the reason is logged at debug. If another
  ///                         process was stopped while it created or removed that mutex, this waits
  ///                         for it for 1 s, and meanwhile forks and the ends of threads that hold
  ///                         named mutexes wait as well.
  Win32Mutex(bool initially_owned, char const *name, bool open_existing, void *security,
             unsigned long *result);
  Win32Mutex(Win32Mutex const &) = delete;
  Win32Mutex &operator=(Win32Mutex const &) = delete;
  ~Win32Mutex() override;

  /// Waits without limit. The owner may acquire the mutex again, and releases it as often.
  /// @return false, with nothing acquired, on an error, and when the last owner ended without
  ///         releasing the mutex; the next call acquires it then.
  bool acquire() override;

  /// @return false when the calling thread does not own the mutex; `is_acquired` is false then as
  ///         well.
  bool release() override;

  /// Whether a thread has acquired the mutex through this object since the last release through it,
  /// however often.
  bool is_acquired() const override;

private:
  friend class Win32ConditionVariable;

  // Acquires the mutex also when its last owner ended without releasing it. False, with nothing
  // acquired, on an error.
  bool acquire_for_certain();

  // Releases the mutex and waits for the event, as one step to the thread that sets it. False on
  // time-out, and without a wait when the calling thread does not own the mutex.
  bool release_and_wait(void *event, std::uint32_t timeout_ms);

  void *handle_; // null when the mutex could not be created or opened
  // Relaxed: threads that do not hold the mutex read it, and conclude nothing from it.
  std::atomic<bool> acquired_{false};
};

} // namespace Ostrel
