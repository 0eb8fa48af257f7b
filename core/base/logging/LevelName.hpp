// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/logging/LoggingPriority.hpp"

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace Ostrel {

/// The text that stands for a level at the start of a line; terminated. Internal to the library.
constexpr std::string_view level_name(LoggingPriority::PriorityLevel level) noexcept {
  switch (level) {
  case LoggingPriority::DISABLED:
    return "<LOGGING DISABLED>";
  case LoggingPriority::FATAL:
    return "FATAL";
  case LoggingPriority::ERROR:
    return "ERROR";
  case LoggingPriority::WARN:
    return "WARN ";
  case LoggingPriority::INFO:
    return "INFO ";
  case LoggingPriority::TRACE:
    return "TRACE ";
  case LoggingPriority::DEBUG:
    return "DEBUG";
  case LoggingPriority::VERBOSE:
    return "VERBOSE";
  case LoggingPriority::NOT_SET:
    return "NOT SET";
  }
  return "<NO SUCH PRIORITY>";
}

/// The most characters that `level_name` gives, for any level and for what is none.
constexpr std::size_t LONGEST_LEVEL_NAME = [] {
  std::size_t longest = 0;
  for (int level = -1; level <= LoggingPriority::NOT_SET; ++level) {
    longest =
        std::max(longest, level_name(static_cast<LoggingPriority::PriorityLevel>(level)).size());
  }
  return longest;
}();

} // namespace Ostrel
