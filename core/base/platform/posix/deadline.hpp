// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <ctime>

namespace Ostrel {

constexpr std::int64_t NANOSECONDS_PER_SECOND = 1000000000;

/// The number of milliseconds that means a wait without a limit, as in Windows' calls.
constexpr std::uint32_t NO_LIMIT_MS = 0xFFFFFFFF;

/// The present time on the monotonic clock.
std::int64_t monotonic_ns() noexcept;

/// The time on the monotonic clock at which a wait ends without success. It is absolute, so that
/// neither a change of the calendar time nor an interruption prolongs the wait.
class Deadline {
public:
  /// @param milliseconds  from now; `NO_LIMIT_MS` means never.
  explicit Deadline(std::uint32_t milliseconds) noexcept;

  /// The time, absolute on `CLOCK_MONOTONIC`; null for never.
  timespec const *time() const noexcept { return is_never_ ? nullptr : &time_; }

  bool is_over() const noexcept;

private:
  bool is_never_;
  std::int64_t ns_;
  timespec time_; // `ns_` as system calls take it
};

} // namespace Ostrel
