// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>

#include <pthread.h>

namespace Ostrel {

/// A mutex of the process-wide state that is held across every fork: in a child that is made while
/// another thread holds it, nobody would ever give it back. In static storage, constant at first
/// and never destroyed, since the state is used before constructors have run and after destructors
/// have.
class ForkMutex {
public:
  constexpr ForkMutex() noexcept = default;
  ForkMutex(ForkMutex const &) = delete;
  ForkMutex &operator=(ForkMutex const &) = delete;

  void lock() noexcept {
    if (!is_known_.load(std::memory_order_relaxed)) {
      make_known();
    }
    pthread_mutex_lock(&mutex_);
  }
  void unlock() noexcept { pthread_mutex_unlock(&mutex_); }

private:
  friend class Forking;

  void make_known() noexcept;

  pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
  std::atomic<bool> is_known_{false}; // once: to those who fork
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

} // namespace Ostrel
