// SPDX-License-Identifier: Apache-2.0
#include "core/base/logging/LoggingTimeStamp.hpp"

#include "core/base/foundation/Formatting.h"

#include <atomic>

namespace Ostrel {

namespace {

// Unsigned, so that overflow is defined. Relaxed: the number orders no other data.
std::atomic<std::uint32_t> last_number{0};

std::uint32_t absolute(std::int32_t number) {
  auto const bits = static_cast<std::uint32_t>(number);
  return number < 0 ? 0U - bits : bits;
}

} // namespace

LoggingTimeStamp::LoggingTimeStamp() noexcept
    : time_(static_cast<std::int32_t>(last_number.fetch_add(1, std::memory_order_relaxed) + 1)) {}

std::string LoggingTimeStamp::get_time_string() const {
  constexpr std::uint32_t LIMIT = 1000000; // six digits
  char text[sizeof "000000"];
  ovra_snprintf(text, sizeof text, "%06u", absolute(time_) % LIMIT);
  return text; // short enough to be stored without an allocation
}

} // namespace Ostrel
