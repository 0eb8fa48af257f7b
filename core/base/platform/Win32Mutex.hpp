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
/// held; nobody may be waiting for it then.
class OSTBASE_API Win32Mutex : public IMutex {
public:
  /// Creates a mutex, or opens one that has a name.
  ///
  /// @param initially_owned  true: the calling thread owns the new mutex; `is_acquired` is false
  ///                         all the same. Means nothing when opening, or when a mutex of that
  ///                         name is there already.
  /// @param name             what other processes know it by, borrowed; null for none.
  /// @param open_existing    true: open the mutex of that name instead of creating one.
  /// @param security         the system's security attributes, borrowed; null for the default.
  ///                         Means nothing when opening.
  /// @param result           receives `RESULT_SUCCESS`, or `RESULT_SYSTEM_ERROR` when the mutex
  ///                         cannot be had and every operation fails; may be null.
  Win32Mutex(bool initially_owned, char const *name, bool open_existing, void *security,
             unsigned long *result);
  Win32Mutex(Win32Mutex const &) = delete;
  Win32Mutex &operator=(Win32Mutex const &) = delete;
  ~Win32Mutex() override;

  /// Waits without limit. The owner may take the mutex again, and gives it back as often.
  /// @return false, with nothing taken, on an error, and when the last owner ended without
  ///         releasing the mutex; the next call takes it then.
  bool acquire() override;

  /// @return false when the calling thread does not own the mutex; `is_acquired` is false then as
  ///         well.
  bool release() override;

  /// Whether anybody has acquired through this object since the last release through it, whatever
  /// the number of times.
  bool is_acquired() const override;

private:
  friend class Win32ConditionVariable;

  // Takes the mutex also when its last owner ended inside. False, with nothing taken, on an error.
  bool acquire_for_certain();

  // Releases the mutex and waits for the event, in one step to whoever sets it. False when the
  // event was not taken: on time-out, and without a wait when the calling thread does not own the
  // mutex.
  bool release_and_wait(void *event, std::uint32_t timeout_ms);

  void *handle_; // null when the mutex could not be had
  // Read by threads that do not hold the mutex and promise nothing by it: any order will do.
  std::atomic<bool> acquired_{false};
};

} // namespace Ostrel
