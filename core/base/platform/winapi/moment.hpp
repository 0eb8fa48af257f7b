// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/platform/winapi/winapi.hpp"

#include <cstdint>
#include <ctime>

namespace Ostrel {

constexpr std::int64_t NANOSECONDS_PER_SECOND = 1000000000;
constexpr std::int64_t NANOSECONDS_PER_MILLISECOND = 1000000;
constexpr std::int64_t MILLISECONDS_PER_SECOND = 1000;

/// The moment that comes so many milliseconds after another.
inline timespec later(timespec const &moment, DWORD milliseconds) noexcept {
  std::int64_t const nanoseconds =
      moment.tv_nsec + milliseconds % MILLISECONDS_PER_SECOND * NANOSECONDS_PER_MILLISECOND;
  timespec result = {};
  result.tv_sec =
      moment.tv_sec + milliseconds / MILLISECONDS_PER_SECOND + nanoseconds / NANOSECONDS_PER_SECOND;
  result.tv_nsec = nanoseconds % NANOSECONDS_PER_SECOND;
  return result;
}

} // namespace Ostrel
