// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/posix/deadline.hpp"

namespace Ostrel {

timespec monotonic_time() noexcept {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now;
}

timespec after_ms(timespec const &start, std::uint32_t milliseconds) noexcept {
  std::int64_t const nanoseconds =
      start.tv_nsec + milliseconds % MILLISECONDS_PER_SECOND * NANOSECONDS_PER_MILLISECOND;
  timespec result = {};
  result.tv_sec =
      start.tv_sec + milliseconds / MILLISECONDS_PER_SECOND + nanoseconds / NANOSECONDS_PER_SECOND;
  result.tv_nsec = nanoseconds % NANOSECONDS_PER_SECOND;
  return result;
}

Deadline::Deadline(std::uint32_t milliseconds) noexcept
    : is_never_(milliseconds == NO_LIMIT_MS), time_(after_ms(monotonic_time(), milliseconds)) {}

bool Deadline::is_over() const noexcept {
  timespec const now = monotonic_time();
  return !is_never_ &&
         (now.tv_sec != time_.tv_sec ? now.tv_sec > time_.tv_sec : now.tv_nsec >= time_.tv_nsec);
}

} // namespace Ostrel
