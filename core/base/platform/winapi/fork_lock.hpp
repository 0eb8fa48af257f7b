// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <pthread.h>

namespace Ostrel {

/// Holds a mutex of the process-wide state until the end of a block, and across every fork: in a
/// child that is made while another thread holds it, nobody would ever give it back.
///
/// @tparam MUTEX  in static storage, constant at first and never destroyed, since the state is used
///                before constructors have run and after destructors have.
template <pthread_mutex_t *MUTEX> class ForkLock {
public:
  ForkLock() noexcept {
    [[maybe_unused]] static int const registered = pthread_atfork(lock, unlock, unlock);
    lock();
  }
  ForkLock(ForkLock const &) = delete;
  ForkLock &operator=(ForkLock const &) = delete;
  ~ForkLock() { unlock(); }

private:
  static void lock() noexcept { pthread_mutex_lock(MUTEX); }
  static void unlock() noexcept { pthread_mutex_unlock(MUTEX); }
};

} // namespace Ostrel
