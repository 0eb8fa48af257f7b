// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/IMutex.hpp"

#include <atomic>
#include <cstdint>

namespace Ostrel {

/// The mutex of the operating system, with or without a name that other processes can open.
///
/// Any thread may use it at any time. It may be destroyed while it is held, but not while a thread
/// waits for it; a held mutex with a name is then abandoned, unless the process has another object
/// of that name. A child of fork uses the named mutexes of its parent, but owns none; if it has no
/// free descriptor for their files, every operation on them fails in it.
class OSTBASE_API Win32Mutex : public IMutex {
public:
  /// Creates a mutex, or opens one that has a name.
  ///
  /// @param initially_owned  true: the calling thread owns the new mutex; `is_acquired` is false
  ///                         nevertheless. Ignored when opening, or if a mutex of that name exists.
  /// @param name             the name for other processes of the same user, borrowed; null for
  ///                         none.
  /// @param open_existing    true: open the mutex of that name instead of creating one.
  /// @param security         the system's security attributes, borrowed; null for the default.
  ///                         Ignored when opening.
  /// @param result           receives `RESULT_SUCCESS`, or `RESULT_SYSTEM_ERROR` if the mutex
  ///                         cannot be created or opened, and every operation fails; may be null.
  ///                         For a mutex with a name the reason is logged at debug. If another
  ///                         process was stopped while it created or removed that mutex, the
  ///                         constructor waits for it for 1 s; meanwhile forks and the ends of
  ///                         threads that hold named mutexes wait as well.
  Win32Mutex(bool initially_owned, char const *name, bool open_existing, void *security,
             unsigned long *result);
  Win32Mutex(Win32Mutex const &) = delete;
  Win32Mutex &operator=(Win32Mutex const &) = delete;
  ~Win32Mutex() override;

  /// Waits without limit.
  /// @return false, with nothing acquired, on an error, and once if the last owner ended without
  ///         releasing the mutex.
  bool acquire() override;

  /// @return false if the calling thread does not own the mutex; `is_acquired` is false then, too.
  bool release() override;

  bool is_acquired() const override;

private:
  friend class Win32ConditionVariable;

  // Acquires the mutex, also after an owner that ended without releasing it. False on an error.
  bool acquire_for_certain();

  // Atomically releases the mutex and waits for the event. False on time-out, and without a wait if
  // the calling thread does not own the mutex.
  bool release_and_wait(void *event, std::uint32_t timeout_ms);

  void *handle_; // null if the mutex could not be created or opened
  // Relaxed: it orders no other memory.
  std::atomic<bool> acquired_{false};
};

} // namespace Ostrel
