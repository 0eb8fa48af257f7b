// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace Ostrel {

/// Holds an advisory lock on the directory of a file until the end of a block, so that processes
/// that read, change and replace the file do so one after another. After a wait the destructor
/// pauses, so that other processes get the lock. A process holds at most one. A child that is
/// forked meanwhile does not hold it. Internal to the library.
class DirectoryLock {
public:
  enum class State {
    HELD,
    BUSY,        ///< Another process, or another lock of this one, held it until the time-out.
    UNAVAILABLE, ///< There are no locks; the system's last error has the reason.
    FAILED       ///< A shortage of the system; likewise.
  };

  /// Waits for the lock.
  /// @param file  need not exist; a symbolic link is not followed.
  DirectoryLock(char const *file, std::uint32_t timeout_ms) noexcept;
  DirectoryLock(DirectoryLock const &) = delete;
  DirectoryLock &operator=(DirectoryLock const &) = delete;
  ~DirectoryLock();

  State state() const noexcept { return state_; }

private:
  State state_ = State::UNAVAILABLE;
  bool had_to_wait_ = false;
};

} // namespace Ostrel
