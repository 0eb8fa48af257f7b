// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/platform/posix/cancellation.hpp"

#include <cerrno>

namespace Ostrel {

/// Restores `errno` at the end of a block, for clean-up that must not hide why a call failed.
class ErrnoGuard {
public:
  ErrnoGuard() noexcept : saved_(errno) {}
  ErrnoGuard(ErrnoGuard const &) = delete;
  ErrnoGuard &operator=(ErrnoGuard const &) = delete;
  ~ErrnoGuard() { errno = saved_; }

private:
  int const saved_;
};

/// Retries a system call while a signal interrupts it. The thread is not cancelled inside. Not for
/// `close`, which has closed the descriptor when it is interrupted.
template <typename Call> auto retry(Call call) noexcept -> decltype(call()) {
  NotCancelled const here;
  decltype(call()) result = call();
  while (result == -1 && errno == EINTR) {
    result = call();
  }
  return result;
}

} // namespace Ostrel
