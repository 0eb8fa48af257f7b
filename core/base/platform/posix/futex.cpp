// SPDX-License-Identifier: Apache-2.0
// Sleeping on a word of this process. The kernel may wake a sleeper without reason, and a relative
// time-out would begin again each time: so deadlines are absolute.
#include "core/base/platform/posix/futex.hpp"

#include <cerrno>
#include <climits>

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Ostrel {

bool sleep_on(std::atomic<std::uint32_t> &word, std::uint32_t expected,
              Deadline const &deadline) noexcept {
  // Without FUTEX_CLOCK_REALTIME the time is one of the monotonic clock.
  long const result = syscall(SYS_futex, &word, FUTEX_WAIT_BITSET_PRIVATE, expected,
                              deadline.time(), nullptr, FUTEX_BITSET_MATCH_ANY);
  return result == 0 || errno != ETIMEDOUT;
}

void wake_one(std::atomic<std::uint32_t> *word) noexcept {
  syscall(SYS_futex, word, FUTEX_WAKE_PRIVATE, 1);
}

void wake_all(std::atomic<std::uint32_t> *word) noexcept {
  syscall(SYS_futex, word, FUTEX_WAKE_PRIVATE, INT_MAX);
}

} // namespace Ostrel
