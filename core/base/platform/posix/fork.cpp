// SPDX-License-Identifier: Apache-2.0
// The system calls what was registered first as the innermost: by registering at load, the library
// stands inside the steps of a program that uses it from its own.
#include "core/base/platform/posix/fork.hpp"

#include "core/base/platform/process/AtFork.hpp"

#include <atomic>

#include <pthread.h>

namespace Ostrel {

void register_around_fork() noexcept {
  static std::atomic<bool> is_registered{false};
  if (!is_registered.load(std::memory_order_relaxed) && !is_registered.exchange(true) &&
      pthread_atfork(AtFork::before, AtFork::after_in_parent, AtFork::after_in_child) != 0) {
    is_registered = false;
  }
}

} // namespace Ostrel
