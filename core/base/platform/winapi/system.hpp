// SPDX-License-Identifier: Apache-2.0
#pragma once

/// @file
/// What the platform classes need of the operating system beyond Windows' calls. On Windows,
/// system_windows.cpp implements it on the system's own calls. Elsewhere system_posix.cpp does,
/// except where an operation belongs to the state behind a Windows call: that one is implemented
/// beside the call.

#include <cstddef>
#include <cstdint>

namespace Ostrel {

/// Whether a character separates the parts of a path, on every system.
constexpr bool is_separator(char c) noexcept {
  return c == '/' || c == '\\';
}

/// The default extension of a shared library's file name.
extern char const *const SHARED_LIBRARY_EXTENSION;

/// Whether ReplaceFileA flushes the new file itself, after it has set its permissions.
extern bool const REPLACE_FILE_FLUSHES;

/// Rewrites a path in place to the form that the system's own calls take. It becomes no longer.
void to_native_path(char *path) noexcept;

/// A time-out of the interface, in milliseconds, as Windows' calls take it: from their largest
/// number on there is no limit.
constexpr std::uint32_t timeout_from(unsigned long milliseconds) noexcept {
  constexpr unsigned long NO_LIMIT = 0xFFFFFFFF;
  return static_cast<std::uint32_t>(milliseconds < NO_LIMIT ? milliseconds : NO_LIMIT);
}

/// Finds the file that `path` names in the end, after all symbolic links; it need not exist. The
/// result is `path` itself if it is no link, or a link to an open file (below /proc) or to a name
/// that no path of the library can express.
///
/// @param target  receives the path, terminated.
/// @param size    of `target`, in characters.
/// @return false, with the last error, if the links form a circle or the system refuses to follow
///         them, if they lead to a name that no path can express and at which nothing exists, or if
///         the result does not fit.
bool follow_links(char const *path, char *target, std::size_t size) noexcept;

/// Acquires an advisory lock on the directory of a file. Every process that can read the directory
/// sees the lock, and it ends with the process. It is not recursive, and a process holds at most
/// one: a forked child closes its copy of the last one.
///
/// @param had_to_wait  set to true if another process has held it; else untouched.
/// @return false, with the last error: ERROR_SHARING_VIOLATION after the time-out; otherwise a
///         shortage of descriptors or memory, or that the directory may not be read or has no locks
///         (on Windows always).
bool lock_directory_of(char const *file, std::uint32_t timeout_ms, bool *had_to_wait) noexcept;

/// Releases the lock.
/// @param had_to_wait  as above: then pauses after the release. Otherwise a process that locks
///                     again at once would keep the lock from those that wait.
void unlock_directory(bool had_to_wait) noexcept;

/// Restores the last error, and its text, at the end of a block.
class LastErrorGuard {
public:
  LastErrorGuard() noexcept;
  LastErrorGuard(LastErrorGuard const &) = delete;
  LastErrorGuard &operator=(LastErrorGuard const &) = delete;
  ~LastErrorGuard();

private:
  std::uint32_t const number_;
  int const reason_; // not on Windows
};

/// Sets an event whose waiter acquires `mutex` next; null for no mutex. If the calling thread owns
/// the mutex, the release wakes the waiter, since a waiter that is woken earlier only goes to sleep
/// again: on one processor that is half the cost of a condition variable.
/// @return false if the event cannot be set (not on POSIX).
bool set_event_before(void *event, void *mutex) noexcept;

/// Registers a function to be called if the calling thread is terminated within a block, since no
/// destructor runs then. That thread calls it, and may acquire locks and memory in it. On Windows
/// it is not called.
class TerminationHook {
public:
  TerminationHook(void (*action)(void *), void *argument) noexcept;
  TerminationHook(TerminationHook const &) = delete;
  TerminationHook &operator=(TerminationHook const &) = delete;
  ~TerminationHook();

  void run() const noexcept { action_(argument_); }
  TerminationHook const *outer() const noexcept { return outer_; }

private:
  void (*action_)(void *);
  void *argument_;
  TerminationHook const *outer_; // of the block around this one
};

/// The thread that called `begin` last, so that another thread finds out whether it was terminated
/// in its wait. Only Windows needs this: elsewhere the thread's hook has run.
class ThreadInWait {
public:
  ThreadInWait() = default;
  ThreadInWait(ThreadInWait const &) = delete;
  ThreadInWait &operator=(ThreadInWait const &) = delete;
  ~ThreadInWait() { end(); }

  void begin() noexcept;
  bool has_ended() const noexcept;

private:
  void end() noexcept;

  std::uintptr_t thread_ = 0; // on Windows a handle
};

/// The handle of a mutex without a name in static storage: 64 bytes, zero at first. It is never
/// closed. Null without memory on Windows; elsewhere it needs none.
void *static_mutex(void *storage) noexcept;

} // namespace Ostrel
