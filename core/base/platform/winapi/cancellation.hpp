// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <pthread.h>

namespace Ostrel {

/// Keeps the thread from being cancelled for the length of a block.
///
/// Many a system call is a point at which a cancelled thread ends. Inside the layer it would end
/// with a file half written, or in a function that nothing may leave: the whole process then ends.
class NotCancelled {
public:
  NotCancelled() noexcept { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before_); }
  NotCancelled(NotCancelled const &) = delete;
  NotCancelled &operator=(NotCancelled const &) = delete;
  ~NotCancelled() { pthread_setcancelstate(before_, nullptr); }

  /// What the thread had set before the block.
  int before() const noexcept { return before_; }

private:
  int before_ = PTHREAD_CANCEL_ENABLE;
};

} // namespace Ostrel
