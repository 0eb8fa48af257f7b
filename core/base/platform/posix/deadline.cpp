// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/posix/deadline.hpp"

namespace Ostrel {

namespace {

constexpr std::int64_t NANOSECONDS_PER_MILLISECOND = 1000000;

} // namespace

std::int64_t monotonic_ns() noexcept {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * NANOSECONDS_PER_SECOND + now.tv_nsec;
}

Deadline::Deadline(std::uint32_t milliseconds) noexcept
    : is_never_(milliseconds == NO_LIMIT_MS),
      ns_(monotonic_ns() + milliseconds * NANOSECONDS_PER_MILLISECOND),
      time_{static_cast<time_t>(ns_ / NANOSECONDS_PER_SECOND),
            static_cast<long>(ns_ % NANOSECONDS_PER_SECOND)} {}

bool Deadline::is_over() const noexcept {
  return !is_never_ && monotonic_ns() >= ns_;
}

} // namespace Ostrel
