// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>

#include <pthread.h>

namespace Ostrel {

/// Disables the cancellation of the calling thread until the end of a block. Many a system call is
/// a point of cancellation: inside the layer the thread would end with a file half written, or in a
/// `noexcept` function, which ends the process.
class NotCancelled {
public:
  NotCancelled() noexcept { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before_); }
  NotCancelled(NotCancelled const &) = delete;
  NotCancelled &operator=(NotCancelled const &) = delete;
  ~NotCancelled() { pthread_setcancelstate(before_, nullptr); }

private:
  int before_ = PTHREAD_CANCEL_ENABLE;
};

/// A block in which the calling thread can be ended by force: it only waits, and holds nothing but
/// mutexes, which are abandoned then. Elsewhere in the layer it is not ended. Not to be nested.
class TerminableWait {
public:
  TerminableWait() noexcept { _word = &_unused; }
  /// @param word  what the thread sleeps on, if a wake-up reaches one sleeper alone: a thread that
  ///              is ended passes on the wake-up that it may have received.
  explicit TerminableWait(std::atomic<std::uint32_t> *word) noexcept { _word = word; }
  TerminableWait(TerminableWait const &) = delete;
  TerminableWait &operator=(TerminableWait const &) = delete;
  ~TerminableWait() { _word = nullptr; }

  /// The word of the calling thread's block, for its signal handler; null outside of one.
  static std::atomic<std::uint32_t> *word() noexcept { return _word; }

private:
  static inline std::atomic<std::uint32_t> _unused{0};
  static inline thread_local std::atomic<std::uint32_t> *volatile _word = nullptr;
};

} // namespace Ostrel
