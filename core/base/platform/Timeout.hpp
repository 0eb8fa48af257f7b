// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <limits>

namespace Ostrel {

/// Converts a time-out to the 32 bits of the system's calls, in which the largest number means no
/// limit. A longer time-out has no limit either.
constexpr std::uint32_t timeout_from(unsigned long milliseconds) noexcept {
  constexpr std::uint32_t NO_LIMIT = std::numeric_limits<std::uint32_t>::max();
  return milliseconds < NO_LIMIT ? static_cast<std::uint32_t>(milliseconds) : NO_LIMIT;
}

} // namespace Ostrel
