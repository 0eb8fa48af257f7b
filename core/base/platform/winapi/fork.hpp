// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/platform/winapi/shareable_lock.hpp"
#include "core/base/platform/winapi/winapi.hpp"

#include <atomic>

#include <pthread.h>

namespace Ostrel {

/// A mutex of the process-wide state that is held across every fork: in a child that is made while
/// another thread holds it, nobody would ever give it back. In static storage, constant at first
/// and never destroyed, since the state is used before constructors have run and after destructors
/// have.
///
/// The thread that forks holds them all, and may use the state in other people's steps around the
/// fork, which the system calls as well: what it locks then, it has until after the fork. Such a
/// step must not wait for another thread, which may need one of them.
///
/// One that another thread keeps (a file system that does not answer, another process that was
/// stopped) is left out after a while: the child has it free, with the state as that thread left
/// it.
class ForkMutex {
public:
  /// @param in_child  called in the child of every fork once the mutex has been used, to make the
  ///                  state that of the one thread that is left; null for nothing.
  constexpr explicit ForkMutex(void (*in_child)() noexcept = nullptr) noexcept
      : in_child_(in_child) {}
  ForkMutex(ForkMutex const &) = delete;
  ForkMutex &operator=(ForkMutex const &) = delete;

  void lock() noexcept;
  /// Together with others that share it.
  void lock_shared() noexcept;
  void unlock() noexcept;

  /// Has all that is held across forks taken by those that follow. @return false without memory.
  static bool register_with_system() noexcept;

private:
  static void before() noexcept;
  static void after() noexcept;
  static void after_in_child() noexcept;

  bool take_if_forking() noexcept;
  bool take_to_fork() noexcept;
  void make_known() noexcept;

  static pthread_mutex_t _guard;
  static ForkMutex *_first; // guarded by _guard

  ShareableLock lock_;
  void (*const in_child_)() noexcept;
  std::atomic<bool> is_known_{false}; // once: to those who fork
  bool is_taken_ = false;             // by the thread that forks; guarded by _guard
  ForkMutex *next_ = nullptr;
};

/// Holds such a mutex until the end of a block.
class ForkLock {
public:
  explicit ForkLock(ForkMutex &mutex) noexcept : mutex_(mutex) { mutex_.lock(); }
  ForkLock(ForkLock const &) = delete;
  ForkLock &operator=(ForkLock const &) = delete;
  ~ForkLock() { mutex_.unlock(); }

private:
  ForkMutex &mutex_;
};

/// What is left of a wait for a mutex, which ends early when the calling thread is forking.
DWORD limit_while_forking(DWORD milliseconds) noexcept;

} // namespace Ostrel
