// SPDX-License-Identifier: Apache-2.0
// WaitForSingleObject and SignalObjectAndWait, on the objects' own waits, which sleep on a futex of
// this process. A futex may wake its sleeper without reason, and a relative time-out would begin
// again each time: so deadlines are absolute, on the monotonic clock.
#include "core/base/platform/winapi/wait.hpp"

#include "core/base/platform/winapi/error.hpp"
#include "core/base/platform/winapi/handle.hpp"
#include "core/base/platform/winapi/moment.hpp"
#include "core/base/platform/winapi/mutex.hpp"

#include <climits>

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Ostrel {

Deadline::Deadline(DWORD milliseconds) noexcept : is_never_(milliseconds == INFINITE) {
  clock_gettime(CLOCK_MONOTONIC, &moment_);
  moment_ = later(moment_, milliseconds);
}

bool Deadline::is_over() const noexcept {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return !is_never_ && (now.tv_sec != moment_.tv_sec ? now.tv_sec > moment_.tv_sec
                                                     : now.tv_nsec >= moment_.tv_nsec);
}

bool sleep_on(std::atomic<std::uint32_t> &word, std::uint32_t expected,
              Deadline const &deadline) noexcept {
  word_slept_on = &word;
  // Without FUTEX_CLOCK_REALTIME the moment is taken as one of the monotonic clock.
  long const result = syscall(SYS_futex, &word, FUTEX_WAIT_BITSET_PRIVATE, expected,
                              deadline.moment(), nullptr, FUTEX_BITSET_MATCH_ANY);
  word_slept_on = nullptr;
  return result == 0 || errno != ETIMEDOUT;
}

void wake_one(std::atomic<std::uint32_t> *word) noexcept {
  syscall(SYS_futex, word, FUTEX_WAKE_PRIVATE, 1);
}

void wake_all(std::atomic<std::uint32_t> *word) noexcept {
  syscall(SYS_futex, word, FUTEX_WAKE_PRIVATE, INT_MAX);
}

} // namespace Ostrel

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
  if (Ostrel::Handle::is_mutex(handle)) {
    return Ostrel::wait_for_mutex(handle, milliseconds);
  }
  Ostrel::Handle *const object = Ostrel::Handle::of(handle);
  if (object == nullptr) {
    SetLastError(ERROR_INVALID_HANDLE);
    return WAIT_FAILED;
  }
  return object->wait(milliseconds);
}

// The wait may begin after the release: what an event is set to meanwhile stays in it.
DWORD SignalObjectAndWait(HANDLE to_signal, HANDLE to_wait_on, DWORD milliseconds, BOOL alertable) {
  if (alertable != FALSE) {
    SetLastError(ERROR_NOT_SUPPORTED);
    return WAIT_FAILED;
  }
  return ReleaseMutex(to_signal) == FALSE ? WAIT_FAILED
                                          : WaitForSingleObject(to_wait_on, milliseconds);
}
