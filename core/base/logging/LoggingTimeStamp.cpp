// SPDX-License-Identifier: Apache-2.0
#include "core/base/logging/LoggingTimeStamp.hpp"

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
  constexpr std::uint32_t BASE = 10;
  std::string text = "000000"; // short enough to be stored without an allocation
  std::uint32_t rest = absolute(time_);
  for (auto digit = text.rbegin(); digit != text.rend(); ++digit) {
    *digit = static_cast<char>('0' + rest % BASE);
    rest /= BASE;
  }
  return text;
}

} // namespace Ostrel
