// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <csignal>

#include <pthread.h>

// There if the process runs under that sanitizer.
extern "C" __attribute__((weak)) void __asan_init();
extern "C" __attribute__((weak)) void __tsan_init();
extern "C" __attribute__((weak)) void __tsan_release(void *address);

namespace Ostrel {

/// Whether the process runs under a sanitizer, which takes the end of a thread without its last
/// steps for a fault.
inline bool is_sanitized() noexcept {
  return __asan_init != nullptr || __tsan_init != nullptr;
}

/// Tells the thread sanitizer, if it watches, of a release store by a thread that is ended in a
/// system call: it takes the call for going on, and looks at no atomic operation meanwhile.
inline void show_release(void *address) noexcept {
  if (__tsan_release != nullptr) {
    __tsan_release(address);
  }
}

/// How many blocks the thread is in that it must leave before it may be terminated. A signal
/// handler of the same thread reads it.
inline thread_local std::sig_atomic_t volatile not_ended_blocks
    __attribute__((tls_model("initial-exec"))) = 0;

/// Keeps the thread from being cancelled, and from being terminated, for the length of a block.
///
/// Many a system call is a point at which such a thread ends. Inside the layer it would end with a
/// file half written, or in a function that nothing may leave: the whole process then ends.
class NotCancelled {
public:
  NotCancelled() noexcept {
    not_ended_blocks = not_ended_blocks + 1;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before_);
  }
  NotCancelled(NotCancelled const &) = delete;
  NotCancelled &operator=(NotCancelled const &) = delete;
  ~NotCancelled() {
    pthread_setcancelstate(before_, nullptr);
    not_ended_blocks = not_ended_blocks - 1;
  }

  /// Takes that back for the length of a block inside: what the thread waits for there.
  class Pause {
  public:
    explicit Pause(NotCancelled const &outer) noexcept : blocks_(not_ended_blocks) {
      not_ended_blocks = 0;
      pthread_setcancelstate(outer.before_, nullptr);
    }
    Pause(Pause const &) = delete;
    Pause &operator=(Pause const &) = delete;
    ~Pause() {
      pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
      not_ended_blocks = blocks_;
    }

  private:
    std::sig_atomic_t blocks_;
  };

private:
  int before_ = PTHREAD_CANCEL_ENABLE;
};

} // namespace Ostrel
